// Base64, Base32 and Base16 throughput: the byte-level codecs the `vantor
// encode` command streams through, and the `lx_` operations on `String`s.
// Figures are MB/s of the binary side (input when encoding, output when
// decoding), as coreutils' figures in encodings_compare.sh are.
#include <benchmark/benchmark.h>

#include <random>

#include "vantorcore/text/Data+Base64.h"

namespace {

using lx::BinaryTextEncoding;

constexpr std::size_t kSize = 16 << 20;

const lx::Data& input() {
  static const lx::Data data = [] {
    lx::Data d(kSize);
    std::mt19937_64 random(42);
    for (auto& b : d) b = static_cast<std::uint8_t>(random());
    return d;
  }();
  return data;
}

std::string encoded(BinaryTextEncoding encoding) {
  std::string text(lx::encodedBinaryTextLength(encoding, input().size()), '\0');
  lx::encodeBinaryText(encoding, input(), text.data());
  return text;
}

void Encode(benchmark::State& state, BinaryTextEncoding encoding) {
  std::string out(lx::encodedBinaryTextLength(encoding, kSize), '\0');
  for (auto _ : state) {
    lx::encodeBinaryText(encoding, input(), out.data());
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kSize));
}

void Decode(benchmark::State& state, BinaryTextEncoding encoding) {
  const std::string text = encoded(encoding);
  lx::Data out;
  out.reserve(kSize + 64);
  for (auto _ : state) {
    out.clear();
    lx::BinaryTextDecoder decoder(encoding);
    if (!decoder.update(text, out) || !decoder.finish(out)) state.SkipWithError("decoding failed");
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kSize));
}

// Base64 text with a line break every 76 characters, as mail and PEM carry it.
void DecodeBase64Wrapped(benchmark::State& state) {
  const std::string flat = encoded(BinaryTextEncoding::Base64);
  std::string text;
  for (std::size_t at = 0; at < flat.size(); at += 76) text += flat.substr(at, 76) + "\n";
  lx::Data out;
  for (auto _ : state) {
    out.clear();
    lx::BinaryTextDecoder decoder(BinaryTextEncoding::Base64);
    if (!decoder.update(text, out) || !decoder.finish(out)) state.SkipWithError("decoding failed");
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kSize));
}

void Base64StringRoundTrip(benchmark::State& state) {
  const lx::DataView data = lx::DataView(input()).first(1 << 20);
  for (auto _ : state) {
    const lx::String text = lx::lx_base64String(data);
    auto back = lx::lx_dataWithBase64String(text);
    benchmark::DoNotOptimize(back);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * data.size()));
}

BENCHMARK_CAPTURE(Encode, base64, BinaryTextEncoding::Base64);
BENCHMARK_CAPTURE(Decode, base64, BinaryTextEncoding::Base64);
BENCHMARK(DecodeBase64Wrapped);
BENCHMARK_CAPTURE(Encode, base32, BinaryTextEncoding::Base32);
BENCHMARK_CAPTURE(Decode, base32, BinaryTextEncoding::Base32);
BENCHMARK_CAPTURE(Encode, base16, BinaryTextEncoding::Base16);
BENCHMARK_CAPTURE(Decode, base16, BinaryTextEncoding::Base16);
BENCHMARK(Base64StringRoundTrip);

}  // namespace

BENCHMARK_MAIN();
