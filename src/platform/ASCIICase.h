// ASCII-only character helpers: case folding for identifiers, extensions and
// MIME types, and digits for the parsers, none of which may depend on the
// locale or on Unicode rules.
#pragma once

#include <string_view>

#include "vantorcore/platform/String.h"

namespace lx::detail {

inline char16_t asciiLowercase(char16_t c) noexcept {
  return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c + (u'a' - u'A')) : c;
}

inline String asciiLowercase(StringView text) {
  String out(text);
  for (char16_t& c : out) c = asciiLowercase(c);
  return out;
}

inline String asciiLowercase(std::string_view utf8) { return asciiLowercase(fromUTF8(utf8)); }

/// True for '0' to '9' only.
constexpr bool isASCIIDigit(char32_t c) noexcept { return c >= U'0' && c <= U'9'; }

/// The value of an ASCII hexadecimal digit (either case), or -1.
constexpr int asciiHexValue(char32_t c) noexcept {
  if (isASCIIDigit(c)) return static_cast<int>(c - U'0');
  if (c >= U'a' && c <= U'f') return static_cast<int>(c - U'a') + 10;
  if (c >= U'A' && c <= U'F') return static_cast<int>(c - U'A') + 10;
  return -1;
}

/// True when every unit of `text` is ASCII.
inline bool isASCII(StringView text) noexcept {
  for (const char16_t c : text) {
    if (c >= 0x80) return false;
  }
  return true;
}

/// Equal but for ASCII case: HTTP field names, URL schemes.
inline bool asciiCaseInsensitiveEquals(StringView a, StringView b) noexcept {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (asciiLowercase(a[i]) != asciiLowercase(b[i])) return false;
  }
  return true;
}

}  // namespace lx::detail
