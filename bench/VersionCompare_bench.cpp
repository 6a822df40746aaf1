// Version comparisons of typical version strings.
#include <benchmark/benchmark.h>

#include "vantorcore/text/String+Collation.h"

namespace {

void VersionCompare(benchmark::State& state) {
  const std::pair<lx::String, lx::String> pairs[] = {
      {u"10.15.7", u"10.15.10"}, {u"1.0b3", u"1.0"},
      {u"2.3.4", u"2.3.4"},      {u"1.0.1", u"1.0"},
      {u"12.0", u"11.6.8"},      {u"3.2b1", u"3.2a9"},
      {u"1.10", u"1.9"},         {u"5.0.0.1234", u"5.0.0.1235"},
  };
  std::size_t i = 0;
  for (auto _ : state) {
    const auto& p = pairs[i++ & 7];
    benchmark::DoNotOptimize(lx::lx_versionCompare(p.first, p.second));
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}
BENCHMARK(VersionCompare);

void VersionCompareLong(benchmark::State& state) {
  const lx::String a = lx::String(100000, u'9'), b = a + u".1";
  for (auto _ : state) benchmark::DoNotOptimize(lx::lx_versionCompare(a, b));
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}
BENCHMARK(VersionCompareLong);

}  // namespace

BENCHMARK_MAIN();
