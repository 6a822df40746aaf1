// LXSystemVersion: comparisons of pairs already compared once (answered from
// the receiver's memo under its lock), exactly 10 million of them, and
// parsing for reference.
#include <benchmark/benchmark.h>

#include <vector>

#include "vantorcore/files/LXSystemVersion.h"

namespace {

using Pair = std::pair<std::shared_ptr<lx::LXSystemVersion>, std::shared_ptr<lx::LXSystemVersion>>;

std::vector<Pair> cachedPairs() {
  const std::pair<lx::StringView, lx::StringView> texts[] = {
      {u"10.15.7", u"10.15.10"}, {u"12.0b3", u"12.0"},           {u"2.3.4", u"2.3.4"},
      {u"1.0.1", u"1.0"},        {u"12.0", u"11.6.8"},           {u"3.2b1", u"3.2a9"},
      {u"1.10", u"1.9"},         {u"5.0.0.1234", u"5.0.0.1235"},
  };
  std::vector<Pair> pairs;
  for (const auto& [a, b] : texts) {
    pairs.emplace_back(lx::LXSystemVersion::systemVersionWithString(a),
                       lx::LXSystemVersion::systemVersionWithString(b));
    pairs.back().first->compare(*pairs.back().second);
  }
  return pairs;
}

void CachedComparisons(benchmark::State& state) {
  const auto pairs = cachedPairs();
  std::size_t i = 0;
  for (auto _ : state) {
    const Pair& p = pairs[i++ & 7];
    benchmark::DoNotOptimize(p.first->compare(*p.second));
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}
BENCHMARK(CachedComparisons)->Iterations(10'000'000)->Unit(benchmark::kMillisecond);

void Parse(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(lx::LXSystemVersion::systemVersionWithString(u"10.15.7b3"));
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}
BENCHMARK(Parse);

}  // namespace

BENCHMARK_MAIN();
