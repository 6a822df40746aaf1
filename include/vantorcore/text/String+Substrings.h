// Counting and delimiting substrings.
//
// `options` are `StringCompareOptions` bits as `rangeOfString` takes them. All
// functions are pure and may be called from any thread.
#pragma once

#include "vantorcore/Export.h"

#include <cstddef>
#include <optional>

#include "vantorcore/platform/String.h"

namespace LX_API lx {

/// Whether a search under `options` finds `other` in the string; false for an
/// absent or empty `other`.
///   'Hello', 'ell'                       => true
///   'Hello', 'ELL', CaseInsensitiveSearch => true
///   'Hello', absent                      => false
bool lx_containsString(StringView string, const std::optional<String>& other, unsigned options = 0);

/// The number of non-overlapping occurrences of `other`, searching forward
/// from the start (the `BackwardsSearch` bit is ignored); 0 for an empty
/// `other`.
///   'aaaa', 'aa' => 2,  'abcabc', 'c' => 2,  'abc', 'x' => 0
std::size_t lx_numberOfInstancesOfString(StringView string, StringView other, unsigned options = 0);

/// The range between the first `open` found from `range.location` on (to the
/// end of the string; `range.length` is not used) and the first `close` after
/// it. The backwards and anchored bits are ignored.
///   'a[bc]d', '[', ']', (0, 6) => (2, 2)
///   'x(1)(2)', '(', ')', (3, 0) => (5, 1)
/// Callers pass strings that hold both delimiters. Otherwise the result lies
/// outside the string: location `Range::NotFound` when `open` is missing, and
/// a length reaching to `Range::NotFound` when `close` is; nothing throws.
Range lx_rangeOfSubstringDelimitedByString(StringView string, StringView open, StringView close,
                                           unsigned options, Range range);

}  // namespace lx
