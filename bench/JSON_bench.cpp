// JSON reading into `Value` and writing from it, against nlohmann::json on the
// same 50 MB document of mixed objects (records with ASCII and non-ASCII
// strings, integers, doubles, floats, booleans, nulls, nested objects and
// arrays), in the same binary:
//   - Read/VantorCore: JSONSerialization::JSONObjectWithData into a Value;
//   - Read/nlohmann:   nlohmann::json::parse;
//   - Write/VantorCore compact and pretty: stringWithJSONObject;
//   - Write/nlohmann compact and pretty: dump() / dump(2).
// Bytes per second are the document's size per run.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>

#include "BenchRandom.h"
#include "vantorcore/platform/JSON.h"

#if __has_include(<nlohmann/json.hpp>)
#include <nlohmann/json.hpp>
#define VANTOR_HAVE_NLOHMANN 1
#endif

namespace {

constexpr std::size_t kDocumentSize = 50u << 20;

using vantor::bench::Random;

std::string word(Random& random) {
  static const char* const kWords[] = {
      "alpha",       "beta",         "gamma",        "delta",        "epsilon",
      "caf\xC3\xA9", "na\xC3\xAFve", "\xE2\x82\xAC", "path/to/file", "quote\\\""};
  return kWords[random.below(std::size(kWords))];
}

// One record, as a JSON-RPC body or a server's list entry might look.
void appendRecord(std::string& out, Random& random, std::size_t id) {
  out += "{\"id\":" + std::to_string(id);
  out += ",\"name\":\"" + word(random) + " " + word(random) + "\"";
  out += ",\"balance\":" + std::to_string(static_cast<double>(random.below(1000000)) / 100);
  out += ",\"ratio\":0." + std::to_string(random.below(100000));
  out += ",\"active\":";
  out += random.below(2) ? "true" : "false";
  out += ",\"parent\":null";
  out += ",\"tags\":[";
  for (std::uint64_t i = 0, n = random.below(5); i < n; ++i) {
    if (i) out += ',';
    out += "\"" + word(random) + "\"";
  }
  out += "],\"owner\":{\"first\":\"" + word(random) +
         "\",\"age\":" + std::to_string(random.below(100)) + ",\"scores\":[";
  for (std::uint64_t i = 0, n = random.below(6); i < n; ++i) {
    if (i) out += ',';
    out += std::to_string(random.below(1000)) + "." + std::to_string(random.below(10));
  }
  out += "]},\"note\":\"" + std::string(random.below(60), 'x') + "\"}";
}

const std::string& document() {
  static const std::string doc = [] {
    std::string out = "{\"records\":[";
    Random random;
    for (std::size_t id = 0; out.size() < kDocumentSize; ++id) {
      if (id) out += ',';
      appendRecord(out, random, id);
    }
    out += "]}";
    return out;
  }();
  return doc;
}

void BM_Read_VantorCore(benchmark::State& state) {
  const std::string& doc = document();
  for (auto _ : state) {
    auto value = lx::JSONSerialization::JSONObjectWithData(doc);
    if (!value) state.SkipWithError("parse failed");
    benchmark::DoNotOptimize(value);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * doc.size()));
}
BENCHMARK(BM_Read_VantorCore)->Unit(benchmark::kMillisecond);

void writeVantorCore(benchmark::State& state, unsigned options) {
  const lx::Value value = *lx::JSONSerialization::JSONObjectWithData(document());
  std::size_t size = 0;
  for (auto _ : state) {
    auto text = lx::JSONSerialization::stringWithJSONObject(value, options);
    size = text->size();
    benchmark::DoNotOptimize(text);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * size));
}
void BM_Write_VantorCore(benchmark::State& state) { writeVantorCore(state, 0); }
void BM_WritePretty_VantorCore(benchmark::State& state) {
  writeVantorCore(state, lx::JSONWritingPrettyPrinted);
}
BENCHMARK(BM_Write_VantorCore)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WritePretty_VantorCore)->Unit(benchmark::kMillisecond);

#ifdef VANTOR_HAVE_NLOHMANN
void BM_Read_nlohmann(benchmark::State& state) {
  const std::string& doc = document();
  for (auto _ : state) {
    auto value = nlohmann::json::parse(doc);
    benchmark::DoNotOptimize(value);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * doc.size()));
}
BENCHMARK(BM_Read_nlohmann)->Unit(benchmark::kMillisecond);

void writeNlohmann(benchmark::State& state, int indent) {
  const auto value = nlohmann::json::parse(document());
  std::size_t size = 0;
  for (auto _ : state) {
    std::string text = value.dump(indent);
    size = text.size();
    benchmark::DoNotOptimize(text);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * size));
}
void BM_Write_nlohmann(benchmark::State& state) { writeNlohmann(state, -1); }
void BM_WritePretty_nlohmann(benchmark::State& state) { writeNlohmann(state, 2); }
BENCHMARK(BM_Write_nlohmann)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WritePretty_nlohmann)->Unit(benchmark::kMillisecond);
#endif

}  // namespace

BENCHMARK_MAIN();
