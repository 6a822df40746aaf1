// The platform's string scanner: reads tokens and numbers from a string,
// moving a scan location forward.
//
// Every scan first passes over `charactersToBeSkipped` (white space and
// newlines unless changed), then tries to read; a scan that fails leaves the
// location where it was, skipped characters included. Results come back
// through out-pointers that may be null. Set tests and advances work on whole
// code points, so a surrogate pair is never split. A Scanner is a plain
// value: one thread at a time.
#pragma once

#include "vantorcore/Export.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>

#include "vantorcore/platform/CharacterSet.h"
#include "vantorcore/platform/String.h"

namespace LX_API lx {

class Scanner {
 public:
  /// A scanner at location 0 over a copy of `string`, case-insensitive,
  /// skipping white space and newlines.
  explicit Scanner(String string);
  /// A scanner at the start of `string`.
  static Scanner scannerWithString(StringView string) { return Scanner(String(string)); }

  /// The scanned text, never changed by scanning.
  [[nodiscard]] const String& string() const noexcept { return string_; }

  /// The UTF-16 index of the next unit to read.
  [[nodiscard]] std::size_t scanLocation() const noexcept { return location_; }
  /// Moves the location; past the end of the string throws `RangeException`.
  void setScanLocation(std::size_t location);

  /// Whether `scanString`/`scanUpToString` compare case-sensitively (default false).
  [[nodiscard]] bool caseSensitive() const noexcept { return caseSensitive_; }
  /// Whether literal scans match case; off by default.
  void setCaseSensitive(bool caseSensitive) noexcept { caseSensitive_ = caseSensitive; }

  /// The set passed over before each scan; absent means nothing is skipped.
  [[nodiscard]] const std::optional<CharacterSet>& charactersToBeSkipped() const noexcept {
    return skip_;
  }
  /// The characters skipped before each scan; absent skips nothing.
  void setCharactersToBeSkipped(std::optional<CharacterSet> set) { skip_ = std::move(set); }

  /// True when nothing but skipped characters remains.
  [[nodiscard]] bool isAtEnd() const noexcept;

  /// Reads `string` if the text at the location matches it (under the case
  /// rule). An empty `string` never matches.
  bool scanString(StringView string, String* into = nullptr);

  /// Reads the longest run of members of `set`; false when the run is empty.
  bool scanCharactersFromSet(const CharacterSet& set, String* into = nullptr);

  /// Reads up to the next occurrence of `string` (or to the end when there is
  /// none); false when that text is empty, i.e. `string` starts right at the
  /// location or nothing is left.
  ///   'key = value' up to '=' => 'key ' (location on '=')
  bool scanUpToString(StringView string, String* into = nullptr);

  /// Reads up to the next member of `set` (or to the end); false when empty.
  bool scanUpToCharactersFromSet(const CharacterSet& set, String* into = nullptr);

  /// Reads an optional '+' or '-' and decimal digits. Out-of-range values
  /// saturate at the type's limits and still succeed.
  ///   '42abc' => 42 (location 2),  '-7' => -7,  '99999999999' => INT_MAX,  '-' => fails
  ///@{
  bool scanInt(int* value);
  bool scanInteger(std::int64_t* value);
  bool scanLongLong(long long* value);
  ///@}

  /// Reads a decimal floating-point number with '.' as separator and an
  /// optional exponent ('1.5e3'); a bare '.' or an exponent without digits
  /// is not consumed. Overflow yields ±HUGE_VAL.
  ///   '3.25' => 3.25,  '.5' => 0.5,  '2e' => 2 (location on 'e'),  'e5' => fails
  bool scanDouble(double* value);

  /// Reads hexadecimal digits after an optional '0x'/'0X'; saturates at UINT_MAX.
  ///   'ff' => 255,  '0x1A' => 26,  '0xg' => 0 (location on 'x'),  'g' => fails
  bool scanHexInt(unsigned* value);

 private:
  std::size_t skippedLocation() const noexcept;
  std::size_t endOfRun(std::size_t from, const CharacterSet& set, bool members) const noexcept;
  bool finishScan(std::size_t start, std::size_t end, String* into);
  template <class T>
  bool scanSigned(T* value);

  String string_;
  std::size_t location_ = 0;
  bool caseSensitive_ = false;
  std::optional<CharacterSet> skip_;
};

}  // namespace lx
