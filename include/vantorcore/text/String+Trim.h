// Trimming: prefixes, suffixes, runs of characters from a set, and
// replacing or deleting the members of a set.
//
// All functions are pure and may be called from any thread. Character tests
// use `CharacterSet` membership; a surrogate pair is tested as its code point.
#pragma once

#include "vantorcore/Export.h"

#include <cstddef>

#include "vantorcore/platform/CharacterSet.h"
#include "vantorcore/platform/String.h"

namespace LX_API lx {

/// The string without `prefix` when it starts with it (removed once).
///   'foo.bar' - 'foo.' => 'bar',  'aab' - 'a' => 'ab',  'bar' - 'x' => 'bar'
String lx_stringByTrimmingPrefix(StringView string, StringView prefix);

/// The string without `suffix` when it ends with it (removed once).
///   'a.txt.txt' - '.txt' => 'a.txt',  'a' - 'b' => 'a'
String lx_stringByTrimmingSuffix(StringView string, StringView suffix);

/// The string without the run of members of `set` at its end; leading
/// members stay. With white space:
///   '  a  ' => '  a',  '   ' => '',  'a' => 'a'
String lx_stringByTrimmingCharactersInSet(StringView string, const CharacterSet& set);

/// The run of members of `set` removed at the end, then at the start.
/// With white space:
///   '  a  ' => 'a',  ' a b ' => 'a b'
String lx_stringByTrimmingLeadingAndTrailingCharactersInSet(StringView string,
                                                            const CharacterSet& set);

/// Every member of `set` replaced by `replacement`; the string unchanged when
/// none occurs. The replacement text itself is never searched again, so a
/// replacement holding members of the set is inserted as it is.
///   'a-b_c' with {-, _} by ' ' => 'a b c'
///   'a-b'   with {-}    by '--' => 'a--b'
String lx_stringByReplacingCharactersInSet(StringView string, const CharacterSet& set,
                                           StringView replacement);

/// Every member of `set` deleted.
///   'a-b_c' without {-, _} => 'abc'
String lx_stringByDeletingCharactersInSet(StringView string, const CharacterSet& set);

/// The first `index` units; the whole string when `index` is past its end.
///   'abc', 2 => 'ab',  'abc', 10 => 'abc',  'abc', 0 => ''
String lx_substringToIndex(const String& string, std::size_t index);

}  // namespace lx
