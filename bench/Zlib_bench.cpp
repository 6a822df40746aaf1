// zlib through the library beside zlib called directly with the same
// calls and the same 128 KiB output chunks.
#include <benchmark/benchmark.h>
#include <zlib.h>

#include <random>
#include <string>

#include "vantorcore/text/Data+Compression.h"

namespace {

// 16 MiB of word salad: English-like text that compresses about 3:1.
const lx::Data& text() {
  static const lx::Data data = [] {
    static const char* kWords[] = {
        "the",  "of",   "and",  "a",     "to",      "in",          "is",        "you",    "that",
        "it",   "he",   "was",  "for",   "on",      "are",         "as",        "with",   "his",
        "they", "I",    "at",   "be",    "this",    "have",        "from",      "or",     "one",
        "had",  "by",   "word", "but",   "not",     "what",        "all",       "were",   "we",
        "when", "your", "can",  "said",  "there",   "use",         "an",        "each",   "which",
        "she",  "do",   "how",  "their", "library", "compression", "benchmark", "stream", "chunk"};
    std::mt19937 random(1);
    std::string s;
    while (s.size() < (16u << 20)) {
      s += kWords[random() % std::size(kWords)];
      s += (random() % 12 == 0) ? ".\n" : " ";
    }
    return lx::Data(s.begin(), s.end());
  }();
  return data;
}

const lx::Data& compressedText() {
  static const lx::Data data = *lx::lx_compressedData(text());
  return data;
}

void Library_Compress(benchmark::State& state) {
  (void)text();
  for (auto _ : state) benchmark::DoNotOptimize(lx::lx_compressedData(text()));
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text().size()));
}

void Zlib_Compress(benchmark::State& state) {
  (void)text();
  lx::Data out(compressBound(text().size()));
  for (auto _ : state) {
    uLongf length = out.size();
    compress(out.data(), &length, text().data(), text().size());
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text().size()));
}

void Library_Inflate(benchmark::State& state) {
  (void)compressedText();
  for (auto _ : state) benchmark::DoNotOptimize(lx::lx_decompressedData(compressedText()));
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text().size()));
}

// The textbook loop: inflate into a 128 KiB buffer, append it to the result.
void Zlib_Inflate(benchmark::State& state) {
  (void)compressedText();
  std::vector<unsigned char> chunk(131072);
  for (auto _ : state) {
    lx::Data out;
    z_stream s{};
    inflateInit(&s);
    s.next_in = const_cast<Bytef*>(compressedText().data());
    s.avail_in = static_cast<uInt>(compressedText().size());
    do {
      s.next_out = chunk.data();
      s.avail_out = static_cast<uInt>(chunk.size());
      inflate(&s, Z_NO_FLUSH);
      out.insert(out.end(), chunk.begin(), chunk.end() - s.avail_out);
    } while (s.avail_out == 0);
    inflateEnd(&s);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text().size()));
}

BENCHMARK(Zlib_Compress)->Unit(benchmark::kMillisecond);
BENCHMARK(Library_Compress)->Unit(benchmark::kMillisecond);
BENCHMARK(Zlib_Inflate)->Unit(benchmark::kMillisecond);
BENCHMARK(Library_Inflate)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
