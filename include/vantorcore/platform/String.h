// The library's one string type and the conversions, formatting, comparison
// and search every other part builds on.
//
// All lengths, indexes and ranges count UTF-16 code units, so `String` is a
// `std::u16string`. Conversions never throw: ill-formed input is replaced by
// U+FFFD so that a bad byte can never take a caller down.
#pragma once

#include "vantorcore/Export.h"

#include <compare>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace LX_API lx {

/// Text as UTF-16 code units; lengths and indexes count code units.
using String = std::u16string;
/// A borrowed `String`.
using StringView = std::u16string_view;

/// Converts UTF-16 to UTF-8. A lone surrogate becomes U+FFFD.
std::string toUTF8(StringView text);

/// Converts UTF-8 to UTF-16. Each maximal ill-formed subsequence becomes one
/// U+FFFD (the WHATWG rule), so the result is always well-formed.
String fromUTF8(std::string_view text);

/// True when `text` is well-formed UTF-8 (no overlongs, no surrogates).
bool isValidUTF8(std::string_view text) noexcept;

/// True when `text` holds no lone surrogate.
bool isValidUTF16(StringView text) noexcept;

/// Decodes the code point starting at `index`, or the lone surrogate itself.
/// `length` receives 1 or 2.
char32_t codePointAt(StringView text, std::size_t index, std::size_t* length = nullptr) noexcept;

/// Appends `c` to `out` as one or two UTF-16 units.
void appendCodePoint(String& out, char32_t c);

/// A (location, length) pair of code-unit positions, as the library's range
/// results use. `NotFound` is the location of an unsuccessful search.
struct Range {
  /// The location of an unsuccessful search.
  static constexpr std::size_t NotFound = 0x7fffffffffffffffULL;

  /// The first code unit.
  std::size_t location = NotFound;
  /// The number of code units.
  std::size_t length = 0;

  /// One past the last code unit.
  [[nodiscard]] constexpr std::size_t end() const noexcept { return location + length; }
  /// Whether a search found something.
  [[nodiscard]] constexpr bool found() const noexcept { return location != NotFound; }
  /// Equal when location and length are.
  friend constexpr bool operator==(const Range&, const Range&) = default;
};

/// Options of comparison and search, with the platform's bit values (callers
/// and stored preferences pass them as integers).
enum StringCompareOptions : unsigned {
  CaseInsensitiveSearch = 1,
  LiteralSearch = 2,
  BackwardsSearch = 4,
  AnchoredSearch = 8,
  NumericSearch = 64,
  DiacriticInsensitiveSearch = 128,
  WidthInsensitiveSearch = 256,
};

/// The order of two items: the first before, equal to, or after the second.
enum class ComparisonResult : int { Ascending = -1, Same = 0, Descending = 1 };

/// Compares two strings under `options`. Without `LiteralSearch`, canonically
/// equivalent strings ('é' precomposed or decomposed) compare equal. Case
/// folding is Unicode's full default folding; `NumericSearch` compares runs of
/// ASCII digits by value ('file9' < 'file10').
ComparisonResult compare(StringView a, StringView b, unsigned options = 0);

/// Finds `needle` in `haystack[range]` under `options` (`BackwardsSearch`
/// finds the last match, `AnchoredSearch` only matches at the start, or the
/// end when searching backwards). An empty needle is never found. A range
/// outside the string throws `RangeException`.
Range rangeOfString(StringView haystack, StringView needle, unsigned options = 0,
                    std::optional<Range> range = std::nullopt);

/// `rangeOfString` that answers only whether there is a match.
bool containsString(StringView haystack, StringView needle, unsigned options = 0);

/// Whether `s` starts with `prefix` (always for an empty prefix).
[[nodiscard]] inline bool hasPrefix(StringView s, StringView prefix) noexcept {
  return s.starts_with(prefix);
}
/// Whether `s` ends with `suffix` (always for an empty suffix).
[[nodiscard]] inline bool hasSuffix(StringView s, StringView suffix) noexcept {
  return s.ends_with(suffix);
}

/// Case mapping in the root locale (full mappings: 'ß' upper-cases to 'SS').
String lowercaseString(StringView s);
/// `s` in upper case, by the root locale's rules (a string may grow, as "ß" to "SS").
String uppercaseString(StringView s);

/// `compare(a, b, CaseInsensitiveSearch) == Same`.
bool isEqualCaseInsensitive(StringView a, StringView b);

/// Splits at every occurrence of `separator` (empty pieces kept), as the
/// platform's componentsSeparatedByString does.
std::vector<String> componentsSeparatedByString(StringView s, StringView separator);

/// Joins with `separator` between the pieces.
String componentsJoinedByString(std::span<const String> pieces, StringView separator);

/// Replaces every non-overlapping occurrence of `target`, searching forward.
String stringByReplacingOccurrences(StringView s, StringView target, StringView replacement);

/// A UTF-16 literal from ASCII or UTF-8 text: `u8"..."` literals convert here.
inline String operator""_s(const char* text, std::size_t size) {
  return fromUTF8(std::string_view(text, size));
}

}  // namespace lx

#include "vantorcore/platform/StringFormat.h"
