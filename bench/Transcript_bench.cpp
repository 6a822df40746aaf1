// Transcripts under load: lines appended from 4 threads until they are in
// both logs (the shared and the session log, each opened per line), against
// spdlog's basic file sink writing the same lines to two files (kept open,
// buffered; and flushed per line, closer to our per-line cost).
#include <benchmark/benchmark.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#include <stdlib.h>

#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "vantorcore/transcript/LXTranscript.h"

namespace {

constexpr int kThreads = 4;
constexpr int kLinesPerThread = 5000;

class Connection final : public lx::LXTranscriptConnection {
 public:
  std::shared_ptr<lx::LXUUID> uuid() const override { return uuid_; }

 private:
  std::shared_ptr<lx::LXUUID> uuid_ = lx::LXUUID::UUID();
};

std::string lineText(int thread, int n) {
  return R"({"jsonrpc":"2.0","id":)" + std::to_string(thread * kLinesPerThread + n) +
         R"(,"method":"echo","params":["bench"]})";
}

void BM_TranscriptAppend4Threads(benchmark::State& state) {
  auto transcript =
      lx::LXTranscript::transcriptWithDisplayName(lx::String(u"Bench"), u"bench.session");
  std::vector<Connection> connections(kThreads);
  // Fonts, folders and formatters are looked up once per process: not here.
  transcript->appendTranscript(connections[0], u"warm-up", false);
  lx::LXTranscript::waitUntilWritten(600);
  for (auto _ : state) {
    std::vector<std::thread> writers;
    for (int t = 0; t < kThreads; ++t) {
      writers.emplace_back([&, t] {
        for (int n = 0; n < kLinesPerThread; ++n) {
          transcript->appendTranscript(connections[t], lx::fromUTF8(lineText(t, n)), n % 2 == 0);
        }
      });
    }
    for (auto& writer : writers) writer.join();
    // Hand-overs wait for this (the main) thread's run loop; this also waits
    // until every line is in both files.
    lx::LXTranscript::waitUntilWritten(600);
    state.PauseTiming();
    transcript->clearTranscript();  // a fresh session log per round
    lx::LXTranscript::waitUntilWritten(600);
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * kThreads * kLinesPerThread);
}
BENCHMARK(BM_TranscriptAppend4Threads)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_SpdlogTwoFiles4Threads(benchmark::State& state) {
  const bool flushEachLine = state.range(0) != 0;
  const std::filesystem::path folder = std::filesystem::path(getenv("HOME")) / "spdlog";
  for (auto _ : state) {
    state.PauseTiming();
    std::filesystem::remove_all(folder);
    auto shared = spdlog::basic_logger_mt("shared", (folder / "Transcript.log").string());
    auto session = spdlog::basic_logger_mt("session", (folder / "session.log").string());
    for (auto& logger : {shared, session}) {
      logger->set_pattern("%v");
      if (flushEachLine) logger->flush_on(spdlog::level::info);
    }
    state.ResumeTiming();
    std::vector<std::thread> writers;
    for (int t = 0; t < kThreads; ++t) {
      writers.emplace_back([&, t] {
        for (int n = 0; n < kLinesPerThread; ++n) {
          const std::string line = "Bench [" + std::to_string(t + 1) +
                                   "]: " + (n % 2 == 0 ? "-> " : "") + lineText(t, n);
          shared->info(line);
          session->info(line);
        }
      });
    }
    for (auto& writer : writers) writer.join();
    shared->flush();
    session->flush();
    state.PauseTiming();
    spdlog::drop_all();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * kThreads * kLinesPerThread);
}
BENCHMARK(BM_SpdlogTwoFiles4Threads)
    ->ArgName("flush_each_line")
    ->Arg(0)
    ->Arg(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  // Logs go to a throw-away home, never the user's.
  char home[] = "/tmp/vantor-transcript-bench-XXXXXX";
  if (!mkdtemp(home)) return 1;
  for (const char* name :
       {"HOME", "TMPDIR", "XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_CONFIG_HOME"}) {
    setenv(name, home, 1);
  }
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  std::error_code ec;
  std::filesystem::remove_all(home, ec);
  return 0;
}
