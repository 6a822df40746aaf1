// The concurrency runtime: message-queue posting, cross-thread calls, serial
// queues against a raw Asio strand, and how late timers fire.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/strand.hpp>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "vantorcore/concurrency/LXGCDTimer.h"
#include "vantorcore/concurrency/LXMessageQueue.h"
#include "vantorcore/concurrency/LXTimer.h"
#include "vantorcore/concurrency/LXWorkerThread.h"
#include "vantorcore/concurrency/Thread+LXAdditions.h"

namespace {

using namespace lx;

std::shared_ptr<LXWorkerThread> startedWorker() {
  auto worker = std::make_shared<LXWorkerThread>();
  worker->start();
  lx_performSyncBlock(worker, [] {});  // running its loop
  return worker;
}

// One queue per mask for the whole run, drained by a worker thread every
// millisecond, so posting is measured against a live consumer.
LXMessageQueue& postingQueue(unsigned mask) {
  static auto worker = startedWorker();
  static auto* queues = new std::vector<std::shared_ptr<LXMessageQueue>>;
  static std::mutex mutex;
  std::lock_guard lock(mutex);
  while (queues->size() <= mask) {
    auto q = LXMessageQueue::messageQueue();
    q->setTargetThread(worker);
    q->setThrottleInterval(0.001);
    q->setMaximumMessageDeliveryCount(1u << 20);
    queues->push_back(q);
  }
  return *(*queues)[mask];
}

// Arg 0: the coalescing mask. Posts cycle through 100 names, so with mask 1
// the queue holds (and every post scans) up to 100 messages.
void MessageQueue_Post(benchmark::State& state) {
  auto mask = static_cast<unsigned>(state.range(0));
  auto& queue = postingQueue(mask);
  if (state.thread_index() == 0) {
    // Start every run from an empty queue: a backlog left by an earlier
    // run would be scanned by every coalescing post.
    while (queue.queuedMessageCount() != 0)
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  std::vector<String> names;
  for (int i = 0; i < 100; ++i) names.push_back(u"n" + fromUTF8(std::to_string(i)));
  std::size_t i = 0;
  for (auto _ : state) {
    queue.enqueueMessageWithName(names[i++ % names.size()], nullptr, mask, [] {});
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}
BENCHMARK(MessageQueue_Post)->Arg(0)->Arg(1)->Threads(1)->Threads(2)->Threads(4)->UseRealTime();

void Perform_RoundTrip(benchmark::State& state) {
  auto worker = startedWorker();
  for (auto _ : state)
    Thread::perform(
        worker, [] {}, true);
  worker->finish();
}
BENCHMARK(Perform_RoundTrip)->UseRealTime();

// The floor for a cross-thread hand-off: a waiting thread woken by a
// condition variable, answering through another.
void ConditionVariable_RoundTrip(benchmark::State& state) {
  std::mutex mutex;
  std::condition_variable cv;
  int request = 0, answer = 0;
  bool stop = false;
  std::thread peer([&] {
    std::unique_lock lock(mutex);
    while (true) {
      cv.wait(lock, [&] { return stop || request != answer; });
      if (stop) return;
      answer = request;
      cv.notify_all();
    }
  });
  for (auto _ : state) {
    std::unique_lock lock(mutex);
    ++request;
    cv.notify_all();
    cv.wait(lock, [&] { return answer == request; });
  }
  {
    std::lock_guard lock(mutex);
    stop = true;
  }
  cv.notify_all();
  peer.join();
}
BENCHMARK(ConditionVariable_RoundTrip)->UseRealTime();

constexpr int kBurst = 10000;

void SerialQueue_Async(benchmark::State& state) {
  auto queue = DispatchQueue::makeSerial(u"bench.serial");
  std::atomic<int> done{0};
  for (auto _ : state) {
    done = 0;
    for (int i = 0; i < kBurst; ++i)
      queue->async([&] { done.fetch_add(1, std::memory_order_relaxed); });
    queue->sync([] {});
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * kBurst);
}
BENCHMARK(SerialQueue_Async)->UseRealTime();

// The same burst on a bare strand over a pool of the same width.
void AsioStrand_Post(benchmark::State& state) {
  boost::asio::io_context context;
  auto guard = boost::asio::make_work_guard(context);
  std::vector<std::thread> pool;
  unsigned width = std::max(4u, 2 * std::thread::hardware_concurrency());
  for (unsigned i = 0; i < width; ++i) pool.emplace_back([&] { context.run(); });
  auto strand = boost::asio::make_strand(context);
  std::atomic<int> done{0};
  for (auto _ : state) {
    done = 0;
    for (int i = 0; i < kBurst; ++i) {
      boost::asio::post(strand, [&] { done.fetch_add(1, std::memory_order_release); });
    }
    while (done.load(std::memory_order_acquire) != kBurst) std::this_thread::yield();
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * kBurst);
  guard.reset();
  context.stop();
  for (auto& t : pool) t.join();
}
BENCHMARK(AsioStrand_Post)->UseRealTime();

// Lateness of a repeating timer against its ideal schedule, as counters
// (median and 99th percentile, milliseconds). Arg 0: the period in ms.
void reportLateness(benchmark::State& state, std::vector<double> lateness) {
  std::sort(lateness.begin(), lateness.end());
  auto at = [&](double q) {
    return lateness[std::min(lateness.size() - 1, static_cast<std::size_t>(q * lateness.size()))];
  };
  state.counters["median_ms"] = at(0.5);
  state.counters["p99_ms"] = at(0.99);
}

int firingsFor(int periodMs) { return periodMs >= 300 ? 15 : 150; }

// How late each firing of a periodic timer is against its ideal
// start + k·period grid. `record` runs on the timer's thread.
class LatenessRecorder {
 public:
  explicit LatenessRecorder(int periodMs) : periodMs_(periodMs) { restart(); }

  void restart() {
    std::lock_guard lock(mutex_);
    start_ = std::chrono::steady_clock::now();
  }
  void record() {
    const auto now = std::chrono::steady_clock::now();
    std::lock_guard lock(mutex_);
    const auto ideal =
        start_ + std::chrono::milliseconds(periodMs_) * static_cast<int>(lateness_.size() + 1);
    lateness_.push_back(std::chrono::duration<double, std::milli>(now - ideal).count());
  }
  void waitForFirings() {
    while (true) {
      std::this_thread::sleep_for(std::chrono::milliseconds(periodMs_));
      std::lock_guard lock(mutex_);
      if (static_cast<int>(lateness_.size()) >= firingsFor(periodMs_)) return;
    }
  }
  void report(benchmark::State& state) {
    std::lock_guard lock(mutex_);
    reportLateness(state, lateness_);
  }

 private:
  const int periodMs_;
  std::mutex mutex_;
  std::chrono::steady_clock::time_point start_;
  std::vector<double> lateness_;
};

void GCDTimer_Lateness(benchmark::State& state) {
  const int periodMs = static_cast<int>(state.range(0));
  for (auto _ : state) {
    LatenessRecorder recorder(periodMs);
    auto timer = LXGCDTimer::scheduledTolerantTimerWithTimeInterval(
        periodMs / 1000.0, true, [&](LXGCDTimer&) { recorder.record(); });
    recorder.waitForFirings();
    timer->invalidate();
    recorder.report(state);
  }
}
BENCHMARK(GCDTimer_Lateness)->Arg(10)->Arg(330)->Iterations(1)->Unit(benchmark::kMillisecond);

void RunLoopTimer_Lateness(benchmark::State& state) {
  const int periodMs = static_cast<int>(state.range(0));
  auto worker = startedWorker();
  for (auto _ : state) {
    LatenessRecorder recorder(periodMs);
    std::shared_ptr<Timer> timer;
    lx_performSyncBlock(worker, [&] {
      recorder.restart();
      timer = Timer::scheduled(periodMs / 1000.0, true, [&](Timer&) { recorder.record(); });
    });
    recorder.waitForFirings();
    lx_performSyncBlock(worker, [&] { timer->invalidate(); });
    recorder.report(state);
  }
  worker->finish();
}
BENCHMARK(RunLoopTimer_Lateness)->Arg(10)->Arg(330)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
