// Run loop, message queue and timers: the main thread runs its run loop while
// a background queue posts progress to a coalescing message queue, a
// run-loop timer ticks with the library's standard tolerance, and a dispatch
// timer on a global queue finishes the run by posting to the main queue.
//
// Messages posted with `LXMessageCoalesceByName` replace the one still
// queued under the same name, so a burst of progress reports reaches the
// main thread as its latest value. Exits non-zero if anything is missing.
#include <atomic>
#include <cstdio>

#include "vantorcore/concurrency/LXGCDTimer.h"
#include "vantorcore/concurrency/LXMessageQueue.h"
#include "vantorcore/concurrency/Timer+Tolerance.h"
#include "vantorcore/platform/DispatchQueue.h"
#include "vantorcore/platform/RunLoop.h"
#include "vantorcore/platform/Timer.h"

int main() {
  auto mainLoop = lx::RunLoop::main();

  // A repeating run-loop timer: 0.1 of its interval as tolerance.
  int ticks = 0;
  auto ticker =
      lx::lx_scheduledTolerantTimerWithTimeInterval(0.05, true, [&](lx::Timer&) { ++ticks; });
  std::printf("tick every 50 ms, tolerance %.3f s\n", ticker->tolerance());

  // Progress from a worker: only the newest report is delivered.
  auto messages = lx::LXMessageQueue::messageQueue();  // delivers on the main thread
  messages->setThrottleInterval(0.05);
  int lastProgress = -1, deliveries = 0;
  auto worker = lx::DispatchQueue::makeSerial(u"example.worker");
  worker->async([messages, &lastProgress, &deliveries] {
    for (int percent = 0; percent <= 100; percent += 10) {
      messages->enqueueMessageWithName(u"progress", nullptr, lx::LXMessageCoalesceByName,
                                       [percent, &lastProgress, &deliveries] {
                                         lastProgress = percent;
                                         ++deliveries;
                                       });
    }
  });

  // A one-shot dispatch timer on a global queue ends the run from the
  // main queue, which the main run loop drains.
  std::atomic<bool> finished{false};
  auto stopper = lx::LXGCDTimer::scheduledTolerantTimerWithTimeInterval(
      0.4, false, [&finished, mainLoop](lx::LXGCDTimer&) {
        lx::DispatchQueue::main()->async([&finished, mainLoop] {
          finished = true;
          mainLoop->stop();
        });
      });

  // The run loop is the main thread's event loop; the limit is a safety net.
  const lx::Date limit = lx::Date::now().addingTimeInterval(3);
  while (!finished && limit.timeIntervalSinceNow() > 0) {
    mainLoop->runMode(lx::DefaultRunLoopMode, limit);
  }
  ticker->invalidate();

  std::printf("ticks: %d\nprogress deliveries: %d, last %d%%\nfinished by dispatch timer: %s\n",
              ticks, deliveries, lastProgress, finished ? "yes" : "no");
  const bool ok = finished && ticks >= 3 && lastProgress == 100 && deliveries < 11;
  return ok ? 0 : 1;
}
