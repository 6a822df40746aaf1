// `vantor zlib compress|decompress`: zlib streams from standard input to
// standard output.
#include "Command.h"
#include "StreamIO.h"
#include "vantorcore/text/Data+Compression.h"

namespace {

constexpr char kUsage[] =
    "usage: vantor zlib compress|decompress\n\n"
    "compress reads all of standard input and writes one zlib stream (default\n"
    "level). decompress inflates standard input as it arrives; a truncated\n"
    "stream gives what could be inflated, a corrupt one an error (exit 1).";

int compress() {
  std::vector<std::uint8_t> in;
  if (!vantor::readAll(0, in)) return vantor::fail("zlib", "cannot read standard input");
  const auto out = lx::lx_compressedData(in);
  if (!out) return vantor::fail("zlib", "compression failed");
  return vantor::writeOut(*out) ? 0 : vantor::fail("zlib", "cannot write standard output");
}

int decompress() {
  lx::ZlibInflater inflater;
  std::vector<std::uint8_t> in(1 << 20);
  lx::Data out;
  for (;;) {
    const long n = vantor::readBlock(0, in.data(), in.size());
    if (n < 0) return vantor::fail("zlib", "cannot read standard input");
    if (n == 0) return 0;
    out.clear();
    if (!inflater.update(lx::DataView(in.data(), static_cast<std::size_t>(n)), out)) {
      return vantor::fail("zlib", "not a valid zlib stream");
    }
    if (!vantor::writeOut(out)) return vantor::fail("zlib", "cannot write standard output");
  }
}

int run(vantor::Arguments args) {
  const vantor::Command self{"zlib", "", kUsage, nullptr};
  if (args.size() != 1) return vantor::usageError(self, "compress or decompress?");
  if (args[0] == "compress") return compress();
  if (args[0] == "decompress") return decompress();
  return vantor::usageError(self, "unknown mode '" + args[0] + "'");
}

}  // namespace

VANTOR_COMMAND("zlib", "zlib compression and decompression of standard input", kUsage, run);
