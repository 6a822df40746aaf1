#include "vantorcore/text/Data+Hash.h"
#include "vantorcore/text/String+Hash.h"

namespace lx {
namespace {

// The UTF-8 bytes of `string` as a C string: up to the first NUL.
std::string cStringUTF8(StringView string) {
  return toUTF8(string.substr(0, std::min(string.size(), string.find(u'\0'))));
}

DataView bytes(const std::string& s) {
  return {reinterpret_cast<const std::uint8_t*>(s.data()), s.size()};
}

}  // namespace

Data lx_MD5Data(StringView string) { return lx_MD5Data(bytes(cStringUTF8(string))); }
Data lx_SHA1Data(StringView string) { return lx_SHA1Hash(bytes(cStringUTF8(string))); }
String lx_MD5String(StringView string) { return lx_hexString(lx_MD5Data(string)); }
String lx_SHA1String(StringView string) { return lx_hexString(lx_SHA1Data(string)); }

std::optional<String> lx_hashWithAlgorithm(StringView string, int algorithm) {
  const std::string utf8 = toUTF8(string);
  switch (algorithm) {
    case 0:
      return lx_hexString(lx_MD5Data(bytes(utf8)));
    case 1:
      return lx_hexString(lx_SHA1Hash(bytes(utf8)));
    case 2:
      if (auto digest = lx_SHA256Hash(bytes(utf8))) return lx_hexString(*digest);
      break;
    default:
      break;
  }
  return std::nullopt;
}

}  // namespace lx
