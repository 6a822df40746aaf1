#include "vantorcore/platform/PercentEncoding.h"

#include "ASCIICase.h"

namespace lx {
namespace {

constexpr char kUpperHex[] = "0123456789ABCDEF";

}  // namespace

std::string percentEncodeUTF8(std::string_view utf8, const URLAllowedSet& allowed) {
  std::string out;
  out.reserve(utf8.size());
  for (const char ch : utf8) {
    const auto c = static_cast<unsigned char>(ch);
    if (allowed.contains(c)) {
      out.push_back(ch);
    } else {
      out.push_back('%');
      out.push_back(kUpperHex[c >> 4]);
      out.push_back(kUpperHex[c & 15]);
    }
  }
  return out;
}

std::optional<String> stringByAddingPercentEncoding(StringView text, const URLAllowedSet& allowed) {
  if (!isValidUTF16(text)) return std::nullopt;
  return fromUTF8(percentEncodeUTF8(toUTF8(text), allowed));
}

std::optional<std::string> percentDecodeUTF8(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      out.push_back(text[i]);
      continue;
    }
    if (i + 2 >= text.size()) return std::nullopt;
    const int high = detail::asciiHexValue(static_cast<unsigned char>(text[i + 1]));
    const int low = detail::asciiHexValue(static_cast<unsigned char>(text[i + 2]));
    if (high < 0 || low < 0) return std::nullopt;
    out.push_back(static_cast<char>(high * 16 + low));
    i += 2;
  }
  return out;
}

std::optional<String> stringByRemovingPercentEncoding(StringView text) {
  auto bytes = percentDecodeUTF8(toUTF8(text));
  if (!bytes || !isValidUTF8(*bytes)) return std::nullopt;
  return fromUTF8(*bytes);
}

}  // namespace lx
