// HTTP and ISO 8601 dates with the per-thread formatters.
#include <benchmark/benchmark.h>

#include "vantorcore/text/Date+Conversions.h"
#include "vantorcore/text/LXISO8601WithUTCDateFormatter.h"
#include "vantorcore/text/LXRFC2616DateFormatter.h"

namespace {

void RFC1123_Format(benchmark::State& state) {
  double t = 784111777;
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        lx::LXRFC2616DateFormatter::defaultFormatter()->stringFromDate(lx::Date(t)));
    t += 61;
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}

void RFC1123_Parse(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(lx::LXRFC2616DateFormatter::defaultFormatter()->dateFromString(
        u"Sun, 06 Nov 1994 08:49:37 GMT"));
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}

void RFC850_ParseThroughFallback(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(lx::LXRFC2616DateFormatter::defaultFormatter()->dateFromString(
        u"Sunday, 06-Nov-94 08:49:37 GMT"));
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}

void RFC1123_SharedString(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(lx::lx_rfc1123String(lx::Date(784111777)));
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}

void ISO8601_Parse(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(lx::LXISO8601WithUTCDateFormatter::defaultFormatter()->dateFromString(
        u"2020-01-02T03:04:05+0000"));
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}

BENCHMARK(RFC1123_Format);
BENCHMARK(RFC1123_Parse);
BENCHMARK(RFC850_ParseThroughFallback);
BENCHMARK(RFC1123_SharedString);
BENCHMARK(ISO8601_Parse);

}  // namespace

BENCHMARK_MAIN();
