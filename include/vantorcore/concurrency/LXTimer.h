// `LXTimer`: a run-loop timer that calls an invocation (or a target's method,
// or a closure) and can cap how far its fire date may be pushed back.
#pragma once

#include "vantorcore/Export.h"

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "vantorcore/concurrency/LXInvocation.h"
#include "vantorcore/platform/RunLoop.h"
#include "vantorcore/platform/Timer.h"

namespace LX_API lx {

class LXTimer : public Object {
  LX_DECLARE_CLASS(LXTimer)
  struct Key {};  // only the makers below construct timers

 public:
  /// The timer's handler, called on the run loop's thread with the timer itself.
  using Block = std::function<void(LXTimer& timer)>;

  /// A timer first firing `interval` seconds from now, not scheduled. The
  /// target/selector form calls the method with the timer as its argument
  /// when the selector takes one ("tick:"), with none for "tick"; a selector
  /// of two or more arguments logs "CONDITION FAILED: Selector is expected to
  /// have timer as single argument (or no arguments)" and gets null ones. It
  /// is null when the target has no such method. The target is held until
  /// the timer is invalidated.
  ///@{
  static std::shared_ptr<LXTimer> timerWithTimeInterval(double interval,
                                                        std::shared_ptr<LXInvocation> invocation,
                                                        bool repeats);
  static std::shared_ptr<LXTimer> timerWithTimeInterval(double interval,
                                                        std::shared_ptr<Object> target,
                                                        std::string selector, Value userInfo,
                                                        bool repeats);
  static std::shared_ptr<LXTimer> timerWithTimeInterval(double interval, Block block, bool repeats);
  ///@}
  /// The same, then `addTimerToRunLoop()` (current run loop, default mode).
  ///@{
  static std::shared_ptr<LXTimer> scheduledTimerWithTimeInterval(
      double interval, std::shared_ptr<LXInvocation> invocation, bool repeats);
  static std::shared_ptr<LXTimer> scheduledTimerWithTimeInterval(double interval,
                                                                 std::shared_ptr<Object> target,
                                                                 std::string selector,
                                                                 Value userInfo, bool repeats);
  static std::shared_ptr<LXTimer> scheduledTimerWithTimeInterval(double interval, Block block,
                                                                 bool repeats);
  ///@}
  /// Scheduled, then `setDefaultTolerance`.
  static std::shared_ptr<LXTimer> scheduledTolerantTimerWithTimeInterval(
      double interval, std::shared_ptr<Object> target, std::string selector, Value userInfo,
      bool repeats);

  /// The designated maker: first firing at `fireDate`, then every `interval`
  /// seconds when `repeats`. Null without an invocation.
  ///@{
  static std::shared_ptr<LXTimer> initWithFireDate(Date fireDate, double interval,
                                                   std::shared_ptr<LXInvocation> invocation,
                                                   Value userInfo, bool repeats);
  static std::shared_ptr<LXTimer> initWithFireDate(Date fireDate, double interval,
                                                   std::shared_ptr<Object> target,
                                                   std::string selector, Value userInfo,
                                                   bool repeats);
  static std::shared_ptr<LXTimer> initTolerantWithFireDate(Date fireDate, double interval,
                                                           std::shared_ptr<Object> target,
                                                           std::string selector, Value userInfo,
                                                           bool repeats);
  ///@}

  /// Made by the factory functions above; the key keeps the constructor private to them.
  LXTimer(Key, Date fireDate, double interval, bool repeats, Value userInfo);
  ~LXTimer() override;

  /// Schedules the timer; while scheduled it keeps itself alive. Opens the
  /// deferral period when a threshold is set. Any thread.
  void addTimerToRunLoop();
  /// Adds the timer to the current thread's run loop in `mode`.
  void addTimerToRunLoopForMode(StringView mode);
  /// Adds the timer to `runLoop` in `mode`; it fires on that loop's thread.
  void addTimerToRunLoop(const std::shared_ptr<RunLoop>& runLoop, StringView mode);

  /// Calls the invocation if the timer is valid; a one-shot timer is then
  /// invalidated, a repeating one re-armed `timeInterval` after now (the
  /// period runs from the end of each call) with a new deferral period.
  void fire();
  /// Stops the timer and lets go of its self-reference. Any thread, also
  /// from inside its own call (the timer lives until the call returns).
  void invalidate();
  /// False once invalidated or, for a one-shot timer, fired.
  [[nodiscard]] bool isValid() const noexcept { return timer_->isValid(); }

  /// When the timer fires next.
  [[nodiscard]] Date fireDate() const { return timer_->fireDate(); }
  /// Moves the next firing, but never past the deferral period's start plus
  /// `deferThreshold` (when the threshold is not 0).
  void setFireDate(Date date);
  /// The repeat interval; 0 for a one-shot timer.
  [[nodiscard]] double timeInterval() const noexcept { return timer_->timeInterval(); }
  /// The invocation the timer calls; null for a block timer.
  [[nodiscard]] const std::shared_ptr<LXInvocation>& targetInvocation() const noexcept {
    return invocation_;
  }
  /// The underlying run-loop timer, for APIs that take one.
  [[nodiscard]] const std::shared_ptr<Timer>& timerRef() const noexcept { return timer_; }
  /// The value passed at creation, for the handler to read.
  [[nodiscard]] const Value& userInfo() const noexcept { return userInfo_; }

  /// 0 (the default) means no cap on deferral.
  [[nodiscard]] double deferThreshold() const;
  /// Firings closer than `seconds` to the defer start date are held back to it; 0 turns deferral
  /// off.
  void setDeferThreshold(double seconds);
  /// Start of the current deferral period; absent until scheduled with a
  /// threshold.
  [[nodiscard]] std::optional<Date> deferStartDate() const;
  /// The date deferral counts from; absent turns deferral off.
  void setDeferStartDate(std::optional<Date> date);

  /// `setTolerance(lx_toleranceForTimeInterval(timeInterval()))`.
  void setDefaultTolerance();
  /// How late the timer may fire, in seconds, so that wake-ups can be coalesced.
  ///@{
  void setTolerance(double seconds) { timer_->setTolerance(seconds); }
  [[nodiscard]] double tolerance() const { return timer_->tolerance(); }
  ///@}

 private:
  static std::shared_ptr<LXTimer> make(Date fireDate, double interval, bool repeats,
                                       Value userInfo);
  void invokeTarget();

  Value userInfo_;
  std::shared_ptr<std::weak_ptr<LXTimer>> self_;  // read by the run-loop timer's callout
  std::shared_ptr<Timer> timer_;
  std::shared_ptr<LXInvocation> invocation_;
  bool passesTimer_ = false;  // the selector takes the timer as its one argument
  Block block_;
  mutable std::mutex mutex_;
  double deferThreshold_ = 0;
  std::optional<Date> deferStartDate_;
  std::shared_ptr<LXTimer> selfWhileScheduled_;
};

}  // namespace lx
