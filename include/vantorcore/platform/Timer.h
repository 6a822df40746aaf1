// `Timer`: the platform's run-loop timer. It fires on the thread whose run
// loop it was added to, in the modes it was added for.
#pragma once

#include "vantorcore/Export.h"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "vantorcore/platform/Clock.h"
#include "vantorcore/platform/Date.h"
#include "vantorcore/platform/Object.h"

namespace LX_API lx {

class RunLoop;

class Timer : public Object {
  LX_DECLARE_CLASS(Timer)

 public:
  /// Called on the run loop's thread with the timer itself.
  using Callback = std::function<void(Timer& timer)>;

  /// A timer first firing at `fireDate`, then (when `repeats`) every
  /// `interval` seconds; not scheduled. An interval of 0 or less on a
  /// repeating timer is taken as 0.1 ms, as the platform does, so it cannot
  /// spin a run loop.
  static std::shared_ptr<Timer> make(Date fireDate, double interval, bool repeats,
                                     Callback callback);
  /// A timer first firing `interval` seconds from now; not scheduled.
  static std::shared_ptr<Timer> make(double interval, bool repeats, Callback callback);
  /// The target/selector form: calls the method named `selector` on `target`
  /// (held strongly until the timer is invalidated) with the timer as its one
  /// argument. Null when the target has no such method.
  static std::shared_ptr<Timer> make(double interval, std::shared_ptr<Object> target,
                                     std::string selector, Value userInfo, bool repeats);
  /// `make(interval, repeats, callback)` added to the current run loop in
  /// the default mode.
  static std::shared_ptr<Timer> scheduled(double interval, bool repeats, Callback callback);

  /// A timer first firing at `firstFire`, then every `interval` when `repeats`; not scheduled.
  Timer(Clock::TimePoint firstFire, Clock::Duration interval, bool repeats, Callback callback);
  ~Timer() override;

  /// Calls the callback now (if still valid); a non-repeating timer is then
  /// invalidated. The schedule of a repeating timer is not changed.
  void fire();
  /// Stops the timer for good and lets its run loop drop it. Any thread; may
  /// be called from inside the callback.
  void invalidate();
  /// False once invalidated or, for a one-shot timer, fired.
  [[nodiscard]] bool isValid() const noexcept { return valid_.load(std::memory_order_acquire); }

  /// The next fire date by the current clock.
  [[nodiscard]] Date fireDate() const;
  /// Moves the next firing; a date in the past fires at the next pass.
  void setFireDate(Date date);
  /// The repeat interval in seconds; 0 for a timer that does not repeat.
  [[nodiscard]] double timeInterval() const noexcept;
  /// How late the timer may fire to save wake-ups. Recorded and reported; the
  /// run loop fires at the fire date regardless.
  [[nodiscard]] double tolerance() const noexcept;
  /// How late the timer may fire, in seconds (negative values count as 0).
  void setTolerance(double seconds) noexcept;
  /// A value for the callback to read; null unless set.
  [[nodiscard]] const Value& userInfo() const noexcept { return userInfo_; }

  // The run loop's view of the timer.
  [[nodiscard]] Clock::TimePoint deadline() const;
  /// Whether the timer fires more than once.
  [[nodiscard]] bool repeats() const noexcept { return repeats_; }

 private:
  friend class RunLoop;
  // Called by the run loop when the deadline has come: reschedules a
  // repeating timer on its own grid, then runs the callback.
  void fireFromRunLoop(Clock::TimePoint now);
  void attach(const std::shared_ptr<RunLoop>& loop);

  mutable std::mutex mutex_;
  Clock::TimePoint deadline_;
  const Clock::Duration interval_;
  const bool repeats_;
  std::atomic<double> tolerance_{0};
  std::atomic<bool> valid_{true};
  std::shared_ptr<Callback> callback_;  // dropped on invalidate to free what it holds
  Value userInfo_;
  std::weak_ptr<RunLoop> runLoop_;
};

}  // namespace lx
