// Base64, Base32 and Base16 decoders on arbitrary text: no crash, and what
// decodes re-encodes to text that decodes to the same bytes. The first byte
// picks the decoder and a chunk size, so the streaming path is covered too.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "vantorcore/text/Data+Base64.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const auto encoding = static_cast<lx::BinaryTextEncoding>(data[0] % 3);
  const std::size_t chunk = 1 + (data[0] >> 2);
  const std::string_view text(reinterpret_cast<const char*>(data + 1), size - 1);

  lx::BinaryTextDecoder whole(encoding);
  lx::Data once;
  const bool ok = whole.update(text, once) && whole.finish(once);

  lx::BinaryTextDecoder pieces(encoding);
  lx::Data streamed;
  bool streamOk = true;
  for (std::size_t at = 0; at < text.size() && streamOk; at += chunk) {
    streamOk = pieces.update(text.substr(at, chunk), streamed);
  }
  streamOk = streamOk && pieces.finish(streamed);
  if (ok != streamOk || (ok && once != streamed)) std::abort();

  if (ok) {
    std::string again(lx::encodedBinaryTextLength(encoding, once.size()), '\0');
    lx::encodeBinaryText(encoding, once, again.data());
    lx::BinaryTextDecoder check(encoding);
    lx::Data back;
    if (!check.update(again, back) || !check.finish(back) || back != once) std::abort();
  }
  // The String forms, with the bytes read as UTF-16 units.
  lx::String units(text.size() / 2, u'\0');
  for (std::size_t i = 0; i < units.size(); ++i) {
    units[i] =
        static_cast<char16_t>(text[2 * i] | (static_cast<unsigned char>(text[2 * i + 1]) << 8));
  }
  (void)lx::lx_dataWithBase64String(units);
  (void)lx::lx_dataWithBase32String(units);
  (void)lx::lx_dataWithBase16String(units);
  return 0;
}
