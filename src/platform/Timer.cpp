#include "vantorcore/platform/Timer.h"

#include "vantorcore/platform/RunLoop.h"

namespace lx {

LX_DEFINE_CLASS(Timer, Object)

namespace {
// The platform's floor for repeating intervals: a zero period would spin.
constexpr Clock::Duration kMinimumRepeat = std::chrono::microseconds(100);
}  // namespace

Timer::Timer(Clock::TimePoint firstFire, Clock::Duration interval, bool repeats, Callback callback)
    : deadline_(firstFire),
      interval_(repeats ? std::max(interval, kMinimumRepeat) : Clock::Duration::zero()),
      repeats_(repeats),
      callback_(std::make_shared<Callback>(std::move(callback))) {}

Timer::~Timer() = default;

std::shared_ptr<Timer> Timer::make(Date fireDate, double interval, bool repeats,
                                   Callback callback) {
  auto clock = Clock::current();
  return std::make_shared<Timer>(clock->timePointForDate(fireDate), durationFromSeconds(interval),
                                 repeats, std::move(callback));
}

std::shared_ptr<Timer> Timer::make(double interval, bool repeats, Callback callback) {
  auto clock = Clock::current();
  auto d = durationFromSeconds(interval);
  return std::make_shared<Timer>(clock->now() + d, d, repeats, std::move(callback));
}

std::shared_ptr<Timer> Timer::make(double interval, std::shared_ptr<Object> target,
                                   std::string selector, Value userInfo, bool repeats) {
  if (!target || !target->respondsToSelector(selector)) return nullptr;
  auto timer = make(interval, repeats, [target, selector](Timer& t) {
    if (auto* method = target->objectClass().methodNamed(selector)) {
      Value argument(t.sharedAs<Timer>());
      (*method)(*target, std::span<const Value>(&argument, 1));
    }
  });
  timer->userInfo_ = std::move(userInfo);
  return timer;
}

std::shared_ptr<Timer> Timer::scheduled(double interval, bool repeats, Callback callback) {
  auto timer = make(interval, repeats, std::move(callback));
  RunLoop::current()->addTimer(timer);
  return timer;
}

void Timer::fire() {
  std::shared_ptr<Callback> callback;
  {
    std::lock_guard lock(mutex_);
    if (!isValid()) return;
    callback = callback_;
  }
  if (callback && *callback) (*callback)(*this);
  if (!repeats_) invalidate();
}

void Timer::fireFromRunLoop(Clock::TimePoint now) {
  std::shared_ptr<Callback> callback;
  {
    std::lock_guard lock(mutex_);
    if (!isValid() || deadline_ > now) return;
    if (repeats_) {
      // Stay on the original grid; missed firings collapse into this one.
      auto missed = (now - deadline_) / interval_;
      deadline_ += interval_ * (missed + 1);
    } else {
      deadline_ = Clock::TimePoint::max();  // no second call from a nested run
    }
    callback = callback_;
  }
  // A one-shot timer is spent even when its callback throws.
  struct Spend {
    Timer* timer;
    ~Spend() {
      if (timer) timer->invalidate();
    }
  } spend{repeats_ ? nullptr : this};
  if (callback && *callback) (*callback)(*this);
}

void Timer::invalidate() {
  std::shared_ptr<Callback> released;
  std::shared_ptr<RunLoop> loop;
  {
    std::lock_guard lock(mutex_);
    if (!valid_.exchange(false, std::memory_order_acq_rel)) return;
    released = std::move(callback_);
    loop = runLoop_.lock();
  }
  if (loop) loop->wakeUp();
}

Date Timer::fireDate() const {
  auto clock = Clock::current();
  return clock->dateForTimePoint(deadline());
}

void Timer::setFireDate(Date date) {
  auto point = Clock::current()->timePointForDate(date);
  std::shared_ptr<RunLoop> loop;
  {
    std::lock_guard lock(mutex_);
    deadline_ = point;
    loop = runLoop_.lock();
  }
  if (loop) loop->wakeUp();
}

double Timer::timeInterval() const noexcept { return secondsFromDuration(interval_); }
double Timer::tolerance() const noexcept { return tolerance_.load(); }
void Timer::setTolerance(double seconds) noexcept { tolerance_.store(seconds < 0 ? 0 : seconds); }

Clock::TimePoint Timer::deadline() const {
  std::lock_guard lock(mutex_);
  return deadline_;
}

void Timer::attach(const std::shared_ptr<RunLoop>& loop) {
  std::lock_guard lock(mutex_);
  runLoop_ = loop;
}

}  // namespace lx
