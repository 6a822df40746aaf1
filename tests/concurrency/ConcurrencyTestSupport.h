// Helpers for tests of run loops, threads, queues and timers.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <thread>

#include "vantorcore/platform/Clock.h"
#include "vantorcore/platform/RunLoop.h"
#include "vantorcore/platform/Thread.h"
#include "vantorcore/platform/Timer.h"

namespace lx::test {

/// Installs a manual clock for the life of the object.
class ManualClockScope {
 public:
  ManualClockScope() : clock_(std::make_shared<ManualClock>()) { Clock::setCurrent(clock_); }
  ~ManualClockScope() { Clock::setCurrent(nullptr); }
  ManualClock& clock() { return *clock_; }
  void advance(double seconds) { clock_->advanceSeconds(seconds); }

 private:
  std::shared_ptr<ManualClock> clock_;
};

/// Runs non-blocking passes of the calling thread's run loop in `mode` until
/// `done()` holds. Gives up after a generous real-time bound so a broken
/// build fails instead of hanging; the result says which happened.
inline bool spinUntil(const std::function<bool()>& done, StringView mode = DefaultRunLoopMode) {
  auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  auto loop = RunLoop::current();
  while (!done()) {
    if (std::chrono::steady_clock::now() > giveUp) return false;
    loop->runMode(mode, Date::distantPast());
    std::this_thread::sleep_for(std::chrono::microseconds(200));
  }
  return true;
}

/// A started thread that runs its run loop in the default mode until it is
/// cancelled (and woken).
inline std::shared_ptr<Thread> startRunLoopThread() {
  auto thread = std::make_shared<Thread>([] {
    auto self = Thread::current();
    auto keepAlive = Timer::make(Date::distantFuture(), 0, false, [](Timer&) {});
    RunLoop::current()->addTimer(keepAlive);
    while (!self->isCancelled())
      RunLoop::current()->runMode(DefaultRunLoopMode, Date::distantFuture());
    keepAlive->invalidate();
  });
  thread->start();
  return thread;
}

/// Cancels a thread from `startRunLoopThread` and waits until it has ended.
inline void stopRunLoopThread(const std::shared_ptr<Thread>& thread) {
  thread->cancel();
  thread->runLoop()->stop();
  spinUntil([&] { return thread->isFinished(); });
}

}  // namespace lx::test
