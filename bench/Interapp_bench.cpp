// Round trips of an interapplication command between two processes through
// the session bus: open "HOST://echo?...&x-success=CLIENT://r" with the GIO
// opener, and wait until the host's reply reaches our receiver. Needs the
// bus and the installed host that bench/interapp_roundtrip.sh sets up; it
// names them in VANTOR_BENCH_INTERAPP_HOST (scheme), VANTOR_BENCH_INTERAPP_CLIENT
// (scheme) and VANTOR_BENCH_INTERAPP_ID (our application ID). Reports the
// median and 99th percentile as counters (milliseconds).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <mutex>

#include "vantorcore/platform/ApplicationURLReceiver.h"
#include "vantorcore/platform/GIOURLOpener.h"

namespace {

void BM_CommandRoundTrip(benchmark::State& state) {
  const char* host = std::getenv("VANTOR_BENCH_INTERAPP_HOST");
  const char* client = std::getenv("VANTOR_BENCH_INTERAPP_CLIENT");
  const char* applicationID = std::getenv("VANTOR_BENCH_INTERAPP_ID");
  if (!host || !client || !applicationID)
    return state.SkipWithError("run through bench/interapp_roundtrip.sh");
  std::mutex mutex;
  std::condition_variable arrived;
  std::vector<std::string> replies;
  lx::ErrorPtr error;
  const auto receiver =
      lx::ApplicationURLReceiver::start(lx::fromUTF8(applicationID),
                                        {[&](const lx::String& uri) {
                                           const std::lock_guard lock(mutex);
                                           replies.push_back(lx::toUTF8(uri));
                                           arrived.notify_all();
                                         },
                                         nullptr, nullptr},
                                        lx::DispatchQueue::makeSerial(u"bench-replies"), &error);
  if (!receiver) return state.SkipWithError(lx::toUTF8(error->localizedDescription()).c_str());
  lx::GIOURLOpener opener;
  std::vector<double> milliseconds;
  std::size_t round = 0;
  for (auto _ : state) {
    const std::string n = std::to_string(round++);
    const auto url = lx::URL::URLWithString(
        lx::fromUTF8(std::string(host) + "://echo?n=" + n + "&x-success=" + client + "://r"));
    const std::string expected = std::string(client) + "://r?n=" + n;
    const auto start = std::chrono::steady_clock::now();
    if (!opener.openURL(*url, &error))
      return state.SkipWithError(lx::toUTF8(error->localizedDescription()).c_str());
    std::unique_lock lock(mutex);
    if (!arrived.wait_for(lock, std::chrono::seconds(10), [&] {
          return std::find(replies.begin(), replies.end(), expected) != replies.end();
        }))
      return state.SkipWithError("no reply within 10 seconds");
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    state.SetIterationTime(elapsed.count());
    milliseconds.push_back(elapsed.count() * 1000);
  }
  std::sort(milliseconds.begin(), milliseconds.end());
  const auto percentile = [&](double p) {
    return milliseconds[std::min(
        milliseconds.size() - 1,
        static_cast<std::size_t>(p * static_cast<double>(milliseconds.size())))];
  };
  state.counters["p50_ms"] = percentile(0.50);
  state.counters["p99_ms"] = percentile(0.99);
}
BENCHMARK(BM_CommandRoundTrip)->UseManualTime()->Iterations(500)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
