// A minimal forward scanner over a private copy of a string: runs of set
// members, runs of non-members, and exact strings. Unlike `Scanner` it skips
// nothing, tests one UTF-16 unit at a time and is always case-sensitive.
// A plain value; one thread at a time.
#pragma once

#include "vantorcore/Export.h"

#include <cstddef>

#include "vantorcore/platform/CharacterSet.h"
#include "vantorcore/platform/String.h"

namespace LX_API lx {

class LXSimpleScanner {
 public:
  /// A scanner at location 0 whose end is `string`'s length.
  explicit LXSimpleScanner(StringView string) : string_(string), end_(string_.size()) {}
  /// A scanner at the start of `string`.
  static LXSimpleScanner scannerWithString(StringView string) { return LXSimpleScanner(string); }

  /// The scanned text.
  [[nodiscard]] const String& string() const noexcept { return string_; }
  /// Where the next scan starts, in code units.
  [[nodiscard]] std::size_t scanLocation() const noexcept { return location_; }

  /// True when the location is at or past the end.
  [[nodiscard]] bool isAtEnd() const noexcept { return location_ >= end_; }

  /// Advances over members of `set`; true when at least one was passed, and
  /// then the passed text goes to `into` (when given).
  bool scanCharactersFromSet(const CharacterSet& set, String* into = nullptr);

  /// Advances over non-members of `set`; same result rules.
  bool scanUpToCharactersFromSet(const CharacterSet& set, String* into = nullptr);

  /// `scanCharactersFromSet(set, nullptr)`.
  bool scanPastCharactersFromSet(const CharacterSet& set) {
    return scanCharactersFromSet(set, nullptr);
  }

  /// Reads `string` when the next units equal it exactly and it ends strictly
  /// before the end: a string that would end exactly at the end is not
  /// matched (a settled behaviour callers rely on).
  ///   on 'abc': 'ab' => true (location 2);  'abc' => false;  'AB' => false
  bool scanString(StringView string, String* into = nullptr);

 private:
  bool scanRun(const CharacterSet& set, bool members, String* into);

  String string_;
  std::size_t location_ = 0;
  std::size_t end_;
};

}  // namespace lx
