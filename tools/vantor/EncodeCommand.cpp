// `vantor encode base64|base32|hex [--decode]`: standard input to standard
// output through the library's Base64/Base32/Base16 codecs.
#include <cstring>
#include <optional>
#include <string>

#include "Command.h"
#include "StreamIO.h"
#include "vantorcore/text/Data+Base64.h"

namespace {

using lx::BinaryTextEncoding;

constexpr char kUsage[] =
    "usage: vantor encode base64|base32|hex [--decode]\n\n"
    "Encodes standard input (no line breaks in the output), or with --decode\n"
    "decodes it. Base64 decoding skips characters outside its alphabet; Base32\n"
    "and hex decoding are strict, except that line breaks are ignored. Invalid\n"
    "input ends with an error and exit status 1.";

// Divisible by 3 and by 5, so every block but the last encodes without padding.
constexpr std::size_t kBlock = 15 * 65536;

// The text without its line breaks ("\n", "\r\n"): copied a line at a time
// between the breaks, which memchr finds far faster than a byte loop.
std::string_view withoutLineBreaks(std::string_view chunk, std::string& buffer) {
  buffer.resize(chunk.size());
  char* out = buffer.data();
  while (!chunk.empty()) {
    const void* found = std::memchr(chunk.data(), '\n', chunk.size());
    std::size_t line =
        found ? static_cast<std::size_t>(static_cast<const char*>(found) - chunk.data())
              : chunk.size();
    const std::size_t next = found ? line + 1 : line;
    if (line > 0 && chunk[line - 1] == '\r') --line;
    std::memcpy(out, chunk.data(), line);
    out += line;
    chunk.remove_prefix(next);
  }
  return std::string_view(buffer.data(), static_cast<std::size_t>(out - buffer.data()));
}

int encode(BinaryTextEncoding encoding) {
  std::vector<std::uint8_t> in(kBlock);
  std::string out;
  for (;;) {
    const long n = vantor::readBlock(0, in.data(), in.size());
    if (n < 0) return vantor::fail("encode", "cannot read standard input");
    if (n == 0) return 0;
    const lx::DataView block(in.data(), static_cast<std::size_t>(n));
    out.resize(lx::encodedBinaryTextLength(encoding, block.size()));
    lx::encodeBinaryText(encoding, block, out.data());
    if (!vantor::writeOut(out)) return vantor::fail("encode", "cannot write standard output");
    if (static_cast<std::size_t>(n) < in.size()) return 0;
  }
}

int decode(BinaryTextEncoding encoding) {
  std::vector<std::uint8_t> in(kBlock);
  std::string text;
  lx::Data out;
  lx::BinaryTextDecoder decoder(encoding);
  for (;;) {
    const long n = vantor::readBlock(0, in.data(), in.size());
    if (n < 0) return vantor::fail("encode", "cannot read standard input");
    std::string_view chunk(reinterpret_cast<const char*>(in.data()), static_cast<std::size_t>(n));
    if (encoding != BinaryTextEncoding::Base64) chunk = withoutLineBreaks(chunk, text);
    out.clear();
    const bool ok = n > 0 ? decoder.update(chunk, out) : decoder.finish(out);
    if (!ok) return vantor::fail("encode", "invalid input");
    if (!vantor::writeOut(out)) return vantor::fail("encode", "cannot write standard output");
    if (n == 0) return 0;
  }
}

int run(vantor::Arguments args) {
  const vantor::Command self{"encode", "", kUsage, nullptr};
  std::optional<BinaryTextEncoding> encoding;
  bool decoding = false;
  for (const std::string& a : args) {
    if (a == "--decode" || a == "-d") {
      decoding = true;
    } else if (a == "base64") {
      encoding = BinaryTextEncoding::Base64;
    } else if (a == "base32") {
      encoding = BinaryTextEncoding::Base32;
    } else if (a == "hex" || a == "base16") {
      encoding = BinaryTextEncoding::Base16;
    } else {
      return vantor::usageError(self, "unknown argument '" + a + "'");
    }
  }
  if (!encoding) return vantor::usageError(self, "which encoding?");
  return decoding ? decode(*encoding) : encode(*encoding);
}

}  // namespace

VANTOR_COMMAND("encode", "Base64, Base32 or hex encoding of standard input", kUsage, run);
