// Percent decoding and the encoders on arbitrary UTF-16 text (lone
// surrogates and NULs included): no crash, and encoded text always decodes
// back to the well-formed input.
#include <cstdint>
#include <cstdlib>

#include "vantorcore/platform/URLComponents.h"
#include "vantorcore/text/String+PunyCode.h"
#include "vantorcore/text/String+URLEncode.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  lx::String text(size / 2, u'\0');
  for (std::size_t i = 0; i < text.size(); ++i)
    text[i] = static_cast<char16_t>(data[2 * i] | (data[2 * i + 1] << 8));
  (void)lx::lx_stringByDecodingURL(text);
  const lx::String encoded = lx::lx_stringByEncodingPathURLWithSlashes(text);
  if (lx::isValidUTF16(text) && lx::lx_stringByDecodingURL(encoded) != text) std::abort();
  (void)lx::lx_stringByEncodingURL(text);
  (void)lx::lx_decomposedStringByEncodingURL(text);
  (void)lx::lx_stringByEscapingXMLEntities(text);
  (void)lx::lx_punyCode(text);
  if (auto url = lx::lx_URLWithString(lx::StringView(text))) (void)lx::lx_punyCode(*url);
  if (auto components = lx::URLComponents::componentsWithString(text)) {
    (void)components->queryItems();
    (void)components->URL();
  }
  return 0;
}
