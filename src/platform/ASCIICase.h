// ASCII-only case folding for identifiers, extensions and MIME types, whose
// comparisons must not depend on the locale or on Unicode case rules.
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
