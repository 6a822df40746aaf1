// URL loading against a local server: a large body through LXURLTask, to a
// file in $TMPDIR and into memory, and many small requests over kept-alive
// connections through the shared session. `--serve` runs the server alone (for curl, see
// url_compare.sh); otherwise the benchmarks use the server named by URL_BENCH_BASE, or start their
// own.
//
// usage: URLLoading_bench --serve             prints "port N", serves until stdin closes
//        URL_BENCH_BASE=http://127.0.0.1:N URLLoading_bench [benchmark flags]
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <atomic>
#include <filesystem>
#include <future>
#include <iostream>
#include <memory>

#include "support/TestHTTPServer.h"
#include "vantorcore/platform/URLSession.h"
#include "vantorcore/web/LXURLTask.h"

namespace {

using lx::test::HTTPReply;
using lx::test::TestHTTPServer;

// "/bytes/N": N pattern bytes; "/small": a 32-byte JSON body.
HTTPReply serve(const lx::test::HTTPRequestRecord& request) {
  if (request.target.starts_with("/bytes/"))
    return HTTPReply::large(std::stoull(request.target.substr(7)));
  return HTTPReply::json(200, R"({"ok":true,"padding":"........"})");
}

std::string base() {
  static std::unique_ptr<TestHTTPServer> own;
  if (const char* given = getenv("URL_BENCH_BASE")) return given;
  if (!own) own = std::make_unique<TestHTTPServer>(serve);
  return own->url("");
}

lx::URL url(const std::string& path) {
  return *lx::URL::URLWithString(lx::fromUTF8(base() + path));
}

void BM_DownloadThroughURLTask(benchmark::State& state) {
  const auto bytes = static_cast<std::uint64_t>(state.range(0));
  const auto source = url("/bytes/" + std::to_string(bytes));
  const std::filesystem::path target = std::filesystem::temp_directory_path() / "url-bench.bin";
  for (auto _ : state) {
    std::filesystem::remove(target);
    std::promise<lx::ErrorPtr> done;
    lx::LXURLTask::downloadWithURL(source, lx::URL::fileURLWithPath(lx::fromUTF8(target.string())),
                                   [&](lx::ErrorPtr error, auto) { done.set_value(error); });
    if (done.get_future().get()) state.SkipWithError("download failed");
  }
  std::filesystem::remove(target);
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
}
BENCHMARK(BM_DownloadThroughURLTask)
    ->Arg(1LL << 30)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

void BM_SendThroughURLTask(benchmark::State& state) {
  const auto bytes = static_cast<std::uint64_t>(state.range(0));
  const lx::URLRequest request(url("/bytes/" + std::to_string(bytes)));
  for (auto _ : state) {
    lx::ErrorPtr error;
    const auto body = lx::LXURLTask::sendSynchronousRequest(request, nullptr, &error);
    if (error || !body || body->size() != bytes) state.SkipWithError("send failed");
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
}
BENCHMARK(BM_SendThroughURLTask)
    ->Arg(1LL << 30)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

void BM_KeptAliveSmallRequests(benchmark::State& state) {
  const auto count = static_cast<int>(state.range(0));
  const auto session = lx::URLSession::sharedSession();
  const auto small = url("/small");
  for (auto _ : state) {
    std::atomic<int> left{count};
    std::atomic<int> failed{0};
    std::promise<void> done;
    for (int i = 0; i < count; ++i) {
      session
          ->dataTaskWithURL(small,
                            [&](auto body, auto, lx::ErrorPtr error) {
                              if (error || !body) ++failed;
                              if (--left == 0) done.set_value();
                            })
          ->resume();
    }
    done.get_future().wait();
    if (failed.load()) state.SkipWithError("requests failed");
  }
  state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(BM_KeptAliveSmallRequests)
    ->Arg(10'000)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1 && std::string(argv[1]) == "--serve") {
    TestHTTPServer server(serve);
    std::cout << "port " << server.port() << std::endl;
    std::string ignored;
    while (std::getline(std::cin, ignored)) {
    }
    return 0;
  }
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
