// `LXWorkerThread`: a long-lived thread that runs its run loop until
// `finish` stops it and waits for it to leave its loop.
#pragma once

#include "vantorcore/Export.h"

#include <atomic>
#include <condition_variable>
#include <mutex>

#include "vantorcore/platform/Thread.h"

namespace LX_API lx {

class LXWorkerThread : public Thread {
  LX_DECLARE_CLASS(LXWorkerThread)

 public:
  /// A worker not yet started (`start()`); each run-loop pass may wait as
  /// long as the largest finite double allows.
  LXWorkerThread();

  /// The body: keeps a placeholder timer (firing in the distant future) in
  /// the default mode so the loop always has a source, then runs the loop in
  /// the default mode pass after pass until the thread is cancelled. An
  /// exception thrown out of a pass is caught and, with debug logging on,
  /// logged as "caught exception <reason>". Leaving the loop sets the status
  /// to 1.
  void threadMain() override;

  /// Sets how long each pass may wait, from a number value (seconds).
  void setRunLoopInterval(const Value& seconds);
  /// How long each pass of the worker's run loop waits, in seconds.
  [[nodiscard]] double runLoopInterval() const noexcept { return runLoopInterval_.load(); }

  /// Stops the worker and returns once it has left its loop (at most about
  /// 10 ms after its current pass): asks it through its run loop to shorten
  /// its passes to 0.01 s, cancels it, waits for status 1. A worker never
  /// started, or already gone, returns at once; called on the worker itself
  /// it only cancels (waiting for oneself would never end).
  void finish();
  /// 0 while the worker runs its loop, 1 once it has left it.
  [[nodiscard]] int status() const;

  /// The platform name, then `lx_setName` (so the prefix applies).
  void setName(StringView name) override;

 private:
  std::atomic<double> runLoopInterval_;
  mutable std::mutex statusMutex_;
  std::condition_variable statusChanged_;
  int status_ = 0;
};

}  // namespace lx
