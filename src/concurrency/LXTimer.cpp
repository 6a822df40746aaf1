#include "vantorcore/concurrency/LXTimer.h"

#include <algorithm>

#include "vantorcore/concurrency/Timer+Tolerance.h"
#include "vantorcore/platform/Log.h"

namespace lx {

LX_DEFINE_CLASS(LXTimer, Object)

namespace {
Date clockNow() { return Clock::current()->currentDate(); }
}  // namespace

LXTimer::LXTimer(Key, Date fireDate, double interval, bool repeats, Value userInfo)
    : userInfo_(std::move(userInfo)), self_(std::make_shared<std::weak_ptr<LXTimer>>()) {
  // The run-loop timer's callout: a temporary reference keeps the timer
  // alive through an invalidate made inside its own call.
  auto clock = Clock::current();
  timer_ = std::make_shared<Timer>(clock->timePointForDate(fireDate), durationFromSeconds(interval),
                                   repeats, [self = self_](Timer&) {
                                     if (auto timer = self->lock()) timer->fire();
                                   });
}

LXTimer::~LXTimer() { timer_->invalidate(); }

std::shared_ptr<LXTimer> LXTimer::make(Date fireDate, double interval, bool repeats,
                                       Value userInfo) {
  auto timer = std::make_shared<LXTimer>(Key{}, fireDate, interval, repeats, std::move(userInfo));
  *timer->self_ = timer;
  return timer;
}

std::shared_ptr<LXTimer> LXTimer::initWithFireDate(Date fireDate, double interval,
                                                   std::shared_ptr<LXInvocation> invocation,
                                                   Value userInfo, bool repeats) {
  if (!invocation) return nullptr;
  auto timer = make(fireDate, interval, repeats, std::move(userInfo));
  timer->invocation_ = std::move(invocation);
  return timer;
}

std::shared_ptr<LXTimer> LXTimer::initWithFireDate(Date fireDate, double interval,
                                                   std::shared_ptr<Object> target,
                                                   std::string selector, Value userInfo,
                                                   bool repeats) {
  auto invocation = LXInvocation::make(std::move(target), std::move(selector));
  if (!invocation) return nullptr;
  bool passesTimer = invocation->argumentCount() == 1;
  if (invocation->argumentCount() > 1) {
    LXConditionFailed(u"Selector is expected to have timer as single argument (or no arguments)");
  }
  auto timer =
      initWithFireDate(fireDate, interval, std::move(invocation), std::move(userInfo), repeats);
  timer->passesTimer_ = passesTimer;
  return timer;
}

std::shared_ptr<LXTimer> LXTimer::initTolerantWithFireDate(Date fireDate, double interval,
                                                           std::shared_ptr<Object> target,
                                                           std::string selector, Value userInfo,
                                                           bool repeats) {
  auto timer = initWithFireDate(fireDate, interval, std::move(target), std::move(selector),
                                std::move(userInfo), repeats);
  if (timer) timer->setDefaultTolerance();
  return timer;
}

std::shared_ptr<LXTimer> LXTimer::timerWithTimeInterval(double interval,
                                                        std::shared_ptr<LXInvocation> invocation,
                                                        bool repeats) {
  return initWithFireDate(clockNow().addingTimeInterval(interval), interval, std::move(invocation),
                          Value(), repeats);
}

std::shared_ptr<LXTimer> LXTimer::timerWithTimeInterval(double interval,
                                                        std::shared_ptr<Object> target,
                                                        std::string selector, Value userInfo,
                                                        bool repeats) {
  return initWithFireDate(clockNow().addingTimeInterval(interval), interval, std::move(target),
                          std::move(selector), std::move(userInfo), repeats);
}

std::shared_ptr<LXTimer> LXTimer::timerWithTimeInterval(double interval, Block block,
                                                        bool repeats) {
  if (!block) return nullptr;
  auto timer = make(clockNow().addingTimeInterval(interval), interval, repeats, Value());
  timer->block_ = std::move(block);
  return timer;
}

namespace {
std::shared_ptr<LXTimer> scheduled(std::shared_ptr<LXTimer> timer) {
  if (timer) timer->addTimerToRunLoop();
  return timer;
}
}  // namespace

std::shared_ptr<LXTimer> LXTimer::scheduledTimerWithTimeInterval(
    double interval, std::shared_ptr<LXInvocation> invocation, bool repeats) {
  return scheduled(timerWithTimeInterval(interval, std::move(invocation), repeats));
}

std::shared_ptr<LXTimer> LXTimer::scheduledTimerWithTimeInterval(double interval,
                                                                 std::shared_ptr<Object> target,
                                                                 std::string selector,
                                                                 Value userInfo, bool repeats) {
  return scheduled(timerWithTimeInterval(interval, std::move(target), std::move(selector),
                                         std::move(userInfo), repeats));
}

std::shared_ptr<LXTimer> LXTimer::scheduledTimerWithTimeInterval(double interval, Block block,
                                                                 bool repeats) {
  return scheduled(timerWithTimeInterval(interval, std::move(block), repeats));
}

std::shared_ptr<LXTimer> LXTimer::scheduledTolerantTimerWithTimeInterval(
    double interval, std::shared_ptr<Object> target, std::string selector, Value userInfo,
    bool repeats) {
  auto timer = scheduledTimerWithTimeInterval(interval, std::move(target), std::move(selector),
                                              std::move(userInfo), repeats);
  if (timer) timer->setDefaultTolerance();
  return timer;
}

void LXTimer::addTimerToRunLoop() { addTimerToRunLoop(RunLoop::current(), DefaultRunLoopMode); }

void LXTimer::addTimerToRunLoopForMode(StringView mode) {
  addTimerToRunLoop(RunLoop::current(), mode);
}

void LXTimer::addTimerToRunLoop(const std::shared_ptr<RunLoop>& runLoop, StringView mode) {
  if (!runLoop) return;
  {
    std::lock_guard lock(mutex_);
    if (deferThreshold_ != 0) deferStartDate_ = clockNow();
    if (timer_->isValid()) selfWhileScheduled_ = sharedAs<LXTimer>();
  }
  runLoop->addTimer(timer_, mode);
}

void LXTimer::invokeTarget() {
  if (block_) {
    block_(*this);
    return;
  }
  if (!invocation_) return;
  if (passesTimer_) invocation_->setArgument(Value(sharedAs<LXTimer>()), 2);
  invocation_->invoke();
  // The argument is only lent for the call, so the invocation does not keep
  // its timer alive.
  if (passesTimer_) invocation_->setArgument(Value(), 2);
}

void LXTimer::fire() {
  if (!timer_->isValid()) return;
  invokeTarget();
  if (!timer_->repeats()) {
    invalidate();
    return;
  }
  {
    std::lock_guard lock(mutex_);
    if (deferThreshold_ != 0) deferStartDate_ = clockNow();
  }
  if (timer_->isValid()) timer_->setFireDate(clockNow().addingTimeInterval(timeInterval()));
}

void LXTimer::invalidate() {
  std::shared_ptr<LXTimer> released;  // may be the last reference: let go at the end
  if (!timer_->isValid()) return;
  timer_->invalidate();
  std::lock_guard lock(mutex_);
  released = std::move(selfWhileScheduled_);
}

void LXTimer::setFireDate(Date date) {
  {
    std::lock_guard lock(mutex_);
    if (deferThreshold_ != 0 && deferStartDate_) {
      date = std::min(date, deferStartDate_->addingTimeInterval(deferThreshold_));
    }
  }
  timer_->setFireDate(date);
}

double LXTimer::deferThreshold() const {
  std::lock_guard lock(mutex_);
  return deferThreshold_;
}

void LXTimer::setDeferThreshold(double seconds) {
  std::lock_guard lock(mutex_);
  deferThreshold_ = seconds;
}

std::optional<Date> LXTimer::deferStartDate() const {
  std::lock_guard lock(mutex_);
  return deferStartDate_;
}

void LXTimer::setDeferStartDate(std::optional<Date> date) {
  std::lock_guard lock(mutex_);
  deferStartDate_ = date;
}

void LXTimer::setDefaultTolerance() { setTolerance(lx_toleranceForTimeInterval(timeInterval())); }

}  // namespace lx
