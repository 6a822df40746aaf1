// Inflating arbitrary bytes: absent or some bytes, never a crash or a hang.
// Inputs that inflate also go through the streaming inflater in pieces.
#include <cstdint>
#include <cstdlib>

#include "vantorcore/platform/Log.h"
#include "vantorcore/text/Data+Compression.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool quiet = [] {
    lx::setLogSink([](const lx::String&) {});
    return true;
  }();
  (void)quiet;
  const lx::DataView input(data, size);
  (void)lx::lx_decompressedData(input);
  lx::ZlibInflater inflater;
  lx::Data out;
  for (std::size_t at = 0; at < size; at += 7) {
    if (!inflater.update(input.subspan(at, std::min<std::size_t>(7, size - at)), out)) break;
  }
  return 0;
}
