// Natural collation, version order, collation keys and HFS Plus style name
// equivalence for strings.
//
// Operations that call the Unicode collator log one diagnostic line per
// collator call, "<operation> : status: <code>" (for example
// "lx_compareCollationKey:withCollationKey: : status: 0"), success included;
// hosts that sort large lists may install a log sink that drops them.
// Everything here may be called from any thread.
#pragma once

#include "vantorcore/Export.h"

#include <optional>

#include "vantorcore/platform/Collator.h"
#include "vantorcore/platform/Data.h"
#include "vantorcore/platform/String.h"

namespace LX_API lx {

/// The file browser's natural order of `receiver` against `other`: numbers
/// by value, case and width ignored, punctuation significant. An absent
/// `other` orders the receiver after it (Descending). Uses the platform's
/// `localizedStandardCompare` collator; when none can be opened it falls
/// back to a root-locale collator with the same settings and logs
/// "lx_localizedStandardCompare: : status: <code>" per call (the order is
/// Same when that collator cannot be opened either).
///   'file9' vs 'File10' => Ascending      'a' vs absent => Descending
ComparisonResult lx_localizedStandardCompare(StringView receiver, std::optional<StringView> other);

/// Version order of `receiver` against `other`. Tokens are runs of digits
/// (numbers, compared as saturating 32-bit values), single "." (separators)
/// and runs of anything else (text, compared literally and case-sensitively);
/// where types differ, text < separator < number. When one string has more
/// tokens, its first extra token decides: text makes it the smaller (a
/// pre-release), anything else the greater. Never logs; allocates nothing
/// for ASCII versions.
///   '1.9' < '1.10'    '1.0b2' < '1.0'    '1.0' < '1.0.1'    '1.0' < '1.0.'
///   '1.a' < '1.0'     '1.02' == '1.2'    'B' < 'a'          '' == ''
ComparisonResult lx_versionCompare(StringView receiver, StringView other) noexcept;

/// The collation key of `receiver` under `collator`: its ICU sort key, made
/// with a measuring call and a filling call (each logs
/// "lx_collationKeyForCollator: : status: 0"). Keys compare as bytes.
Data lx_collationKeyForCollator(StringView receiver, const Collator& collator);

/// Compares two collation keys as bytes (shorter prefix first), logging
/// "lx_compareCollationKey:withCollationKey: : status: 0".
ComparisonResult lx_compareCollationKey(DataView key, DataView otherKey);

/// `lx_compareCollationKey(receiver, otherKey)`.
ComparisonResult lx_compareWithCollationKey(DataView receiver, DataView otherKey);

/// The decomposed form the HFS Plus file system stores: canonical
/// decomposition except for U+2000–U+2FFF, U+F900–U+FAFF and
/// U+2F800–U+2FAFF, which stay as they are. The name is a C string on disk,
/// so it ends at the first NUL. Absent for a string with a lone surrogate.
///   'é' => 'e' U+0301     'Å' => 'A' U+030A     'ℌ' (U+210C) => 'ℌ'
///   'a' U+0000 'b' => 'a'                         U+D800 => absent
std::optional<String> lx_decomposedStringWithHFSExtendedMapping(StringView receiver);

/// True when both strings name the same file on a case-insensitive HFS Plus
/// volume: both decomposed as above, folded with the HFS Plus table, and
/// compared ignoring the ignorable characters (those the table maps to 0).
/// Logs "lx_isEqualToHFSExtendedString: : status: 0".
///   'Straße' vs 'STRASSE' => false (no multi-character folding)
///   'Café' (precomposed) vs 'cafe' U+0301 => true     'a' U+200D vs 'A' => true
bool lx_isEqualToHFSExtendedString(StringView receiver, StringView other);

/// The HFS Plus case folding of the decomposed receiver, unit for unit: the
/// result has the decomposed string's length and ignorable characters become
/// NUL units. '' when decomposition fails.
///   'ABC' => 'abc'    'Ä' => 'a' U+0308    'x' U+200C 'y' => 'x' U+0000 'y'
String lx_stringByHFSExtendedFolding(StringView receiver);

}  // namespace lx
