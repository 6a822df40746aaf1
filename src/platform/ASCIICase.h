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

}  // namespace lx::detail
