// The file-system watcher on a tree of $VANTOR_WATCH_TREE (else a generated
// tree of 20,000 files in 220 folders under /tmp, removed afterwards):
// - WriteToDelivery: a file written to the moment its folder's change
//   reaches the delegate, at latency 0 (p50 and p99 as counters);
// - Start: making and starting a watcher on the whole tree (one inotify
//   watch per folder), with the process's resident-memory growth;
// - ResumeAfter1000Changes: unarchiving a saved watcher after 1,000 files
//   were changed while none ran, until its history-done event.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>

#include "vantorcore/archiving/KeyedArchiver.h"
#include "vantorcore/archiving/KeyedUnarchiver.h"
#include "vantorcore/files/LXFileSystemWatcher.h"
#include "vantorcore/platform/RunLoop.h"
#include "vantorcore/platform/String+Paths.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

// The tree the benchmarks watch; a generated one is removed at exit.
class Tree {
 public:
  Tree() {
    if (const char* given = std::getenv("VANTOR_WATCH_TREE")) {
      root_ = given;
      return;
    }
    root_ = fs::temp_directory_path() / ("watcher-bench-" + std::to_string(getpid()));
    generated_ = true;
    std::mt19937 random(20261124);
    for (int a = 0; a < 10; ++a) {
      for (int b = 0; b < 21; ++b)
        fs::create_directories(root_ / std::to_string(a) / std::to_string(b));
    }
    for (int i = 0; i < 20000; ++i) {
      const fs::path folder = root_ / std::to_string(random() % 10) / std::to_string(random() % 21);
      std::ofstream(folder / ("f" + std::to_string(i))) << i;
    }
  }
  ~Tree() {
    if (generated_) fs::remove_all(root_);
  }
  [[nodiscard]] const fs::path& root() const { return root_; }
  [[nodiscard]] lx::String path() const {
    return lx::stringWithFileSystemRepresentation(root_.native());
  }
  // Every folder of the tree, for spreading writes.
  [[nodiscard]] std::vector<fs::path> folders() const {
    std::vector<fs::path> result;
    for (const auto& entry : fs::recursive_directory_iterator(root_)) {
      if (entry.is_directory()) result.push_back(entry.path());
    }
    return result;
  }

 private:
  fs::path root_;
  bool generated_ = false;
};

const Tree& tree() {
  static const Tree instance;
  return instance;
}

class Counter : public lx::LXFileSystemWatcherDelegate {
 public:
  void didRecieveChanges(
      lx::LXFileSystemWatcher&,
      const std::vector<std::shared_ptr<lx::LXFileSystemChange>>& changes) override {
    for (const auto& change : changes) {
      ++received;
      if (change->flags() & lx::kFSEventStreamEventFlagHistoryDone) historyDone = true;
    }
  }
  long received = 0;
  bool historyDone = false;
};

void runMainUntil(const std::function<bool()>& done) {
  while (!done()) lx::RunLoop::main()->runMode(lx::DefaultRunLoopMode, lx::Date::distantPast());
}

long residentKilobytes() {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind("VmRSS:", 0) == 0) return std::stol(line.substr(6));
  }
  return 0;
}

void WriteToDelivery(benchmark::State& state) {
  const auto watcher = lx::LXFileSystemWatcher::initWithRootPath(tree().path());
  const auto counter = std::make_shared<Counter>();
  watcher->setDelegate(counter);
  watcher->setLatency(0);
  watcher->start();
  const std::vector<fs::path> folders = tree().folders();
  std::vector<double> micros;
  std::size_t next = 0;
  for (auto _ : state) {
    const long before = counter->received;
    const fs::path file = folders[next++ % folders.size()] / "probe";
    const auto start = Clock::now();
    std::ofstream(file) << next;
    runMainUntil([&] { return counter->received > before; });
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    state.SetIterationTime(seconds);
    micros.push_back(seconds * 1e6);
    // Let the rest of this write's events (close, …) arrive before the next.
    const auto settle = Clock::now() + std::chrono::milliseconds(2);
    runMainUntil([&] { return Clock::now() > settle; });
  }
  std::sort(micros.begin(), micros.end());
  state.counters["p50_us"] = micros[micros.size() / 2];
  state.counters["p99_us"] = micros[micros.size() * 99 / 100];
}
BENCHMARK(WriteToDelivery)->UseManualTime()->Iterations(500)->Unit(benchmark::kMicrosecond);

void Start(benchmark::State& state) {
  long growth = 0;
  for (auto _ : state) {
    const long before = residentKilobytes();
    const auto watcher = lx::LXFileSystemWatcher::initWithRootPath(tree().path());
    watcher->start();
    growth = residentKilobytes() - before;
  }
  state.counters["rss_growth_kB"] = static_cast<double>(growth);
}
BENCHMARK(Start)->Iterations(3)->Unit(benchmark::kMillisecond);

void ResumeAfter1000Changes(benchmark::State& state) {
  const std::vector<fs::path> folders = tree().folders();
  long reported = 0;
  for (auto _ : state) {
    state.PauseTiming();
    lx::Data saved;
    {
      const auto watcher = lx::LXFileSystemWatcher::initWithRootPath(tree().path());
      watcher->start();
      saved = *lx::KeyedArchiver::archivedDataWithRootObject(lx::Value(watcher), true);
    }
    for (int i = 0; i < 1000; ++i) {
      std::ofstream(folders[i % folders.size()] / ("changed" + std::to_string(i))) << i;
    }
    state.ResumeTiming();
    const auto watcher =
        lx::KeyedUnarchiver::unarchivedObjectOfClass(lx::LXFileSystemWatcher::staticClass(), saved)
            .objectAs<lx::LXFileSystemWatcher>();
    const auto counter = std::make_shared<Counter>();
    watcher->setDelegate(counter);
    watcher->setLatency(0);
    watcher->start();
    runMainUntil([&] { return counter->historyDone; });
    reported = counter->received - 1;
  }
  state.counters["folders_reported"] = static_cast<double>(reported);
}
BENCHMARK(ResumeAfter1000Changes)->Iterations(3)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
