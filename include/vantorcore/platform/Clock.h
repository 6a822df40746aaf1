// `Clock`: the one replaceable source of time for run-loop timers, dispatch
// timers and `asyncAfter`, so timer tests can move time by hand instead of
// sleeping.
#pragma once

#include "vantorcore/Export.h"

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "vantorcore/platform/Date.h"

namespace LX_API lx {

class Clock {
 public:
  /// A reading of the monotonic clock.
  using TimePoint = std::chrono::steady_clock::time_point;
  /// Spans of the monotonic clock.
  using Duration = std::chrono::nanoseconds;

  virtual ~Clock() = default;

  /// Monotonic time; timers fire when it reaches their deadline.
  [[nodiscard]] virtual TimePoint now() const noexcept = 0;
  /// Wall-clock time taken together with `now()`, for dates such as a
  /// timer's fire date.
  [[nodiscard]] virtual Date currentDate() const noexcept = 0;
  /// How long a waiter may block in real time before `deadline` can have
  /// come: the remaining time for the system clock, absent for a clock that
  /// only moves when told (the waiter then waits for `notifyAdvanced`).
  [[nodiscard]] virtual std::optional<Duration> realWaitUntil(TimePoint deadline) const = 0;

  /// The monotonic time at which this clock's date reaches `date`, and back.
  [[nodiscard]] TimePoint timePointForDate(Date date) const noexcept;
  /// The wall-clock date for a monotonic reading.
  [[nodiscard]] Date dateForTimePoint(TimePoint point) const noexcept;

  /// The clock in use; the system clock unless a test installed another.
  /// Thread-safe.
  static std::shared_ptr<Clock> current();
  /// Installs `clock` (null restores the system clock), wakes every waiter so
  /// it re-reads the time, and returns the clock it replaces.
  static std::shared_ptr<Clock> setCurrent(std::shared_ptr<Clock> clock);

  /// A callback registered with `addAdvanceObserver`; unregisters itself
  /// when destroyed. Move-only.
  class ObserverToken {
   public:
    ObserverToken() = default;
    /// A registration handle; destroying or resetting it removes the observer.
    ///@{
    explicit ObserverToken(std::uint64_t id) : id_(id) {}
    ObserverToken(ObserverToken&& other) noexcept : id_(std::exchange(other.id_, 0)) {}
    ObserverToken& operator=(ObserverToken&& other) noexcept;
    ///@}
    ~ObserverToken();
    /// Removes the observer now; later calls do nothing.
    void reset();

   private:
    std::uint64_t id_ = 0;
  };
  /// Calls `observer` (on the advancing thread) every time the time jumps:
  /// a manual clock advanced, or a clock installed. Waiters use it to
  /// re-evaluate their deadlines.
  [[nodiscard]] static ObserverToken addAdvanceObserver(std::function<void()> observer);
  /// Runs every advance observer. Called by clocks that move by hand.
  static void notifyAdvanced();
};

/// A clock that stands still until `advance` moves it; both its monotonic
/// time and its date start at the system's values when it is made.
/// Thread-safe.
class ManualClock final : public Clock {
 public:
  ManualClock();
  [[nodiscard]] TimePoint now() const noexcept override;
  [[nodiscard]] Date currentDate() const noexcept override;
  [[nodiscard]] std::optional<Duration> realWaitUntil(TimePoint deadline) const override;

  /// Moves time forward by `by` (negative values are ignored) and wakes
  /// every waiter, so due timers fire on their own threads.
  void advance(Duration by);
  /// `advance` by a number of seconds.
  void advanceSeconds(double seconds);
  /// Sets the wall-clock date alone, forwards or backwards, as when the
  /// user or a time server resets the system time: monotonic time (and so
  /// every timer's remaining wait) is unchanged.
  void setCurrentDate(Date date);

 private:
  mutable std::mutex mutex_;
  TimePoint now_;
  Date date_;
};

/// Seconds as a clock duration (saturating for huge values such as the
/// largest double, so "for ever" stays representable).
Clock::Duration durationFromSeconds(double seconds) noexcept;
/// A clock duration as seconds.
double secondsFromDuration(Clock::Duration duration) noexcept;

}  // namespace lx
