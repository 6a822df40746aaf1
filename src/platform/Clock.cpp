#include "vantorcore/platform/Clock.h"

#include <cmath>
#include <limits>
#include <map>
#include <vector>

namespace lx {

namespace {

Date systemDate() noexcept {
  using namespace std::chrono;
  return Date(duration<double>(system_clock::now().time_since_epoch()).count());
}

class SystemClock final : public Clock {
 public:
  TimePoint now() const noexcept override { return std::chrono::steady_clock::now(); }
  Date currentDate() const noexcept override { return systemDate(); }
  std::optional<Duration> realWaitUntil(TimePoint deadline) const override {
    auto remaining = deadline - now();
    return remaining < Duration::zero() ? Duration::zero() : remaining;
  }
};

struct ClockState {
  std::mutex mutex;
  std::shared_ptr<Clock> clock = std::make_shared<SystemClock>();
  std::uint64_t nextObserverId = 1;
  std::map<std::uint64_t, std::shared_ptr<std::function<void()>>> observers;
};

ClockState& state() {
  static auto* s = new ClockState;  // used by threads that outlive static destruction
  return *s;
}

}  // namespace

Clock::Duration durationFromSeconds(double seconds) noexcept {
  // A quarter of the range keeps `now() + duration` from overflowing.
  using Duration = Clock::Duration;
  constexpr double kLimit = static_cast<double>(std::numeric_limits<Duration::rep>::max() / 4);
  double ns = seconds * 1e9;
  if (std::isnan(ns) || ns <= 0) return Duration::zero();
  if (ns >= kLimit) return Duration(static_cast<Duration::rep>(kLimit));
  return Duration(static_cast<Duration::rep>(ns));
}

double secondsFromDuration(Clock::Duration duration) noexcept {
  return std::chrono::duration<double>(duration).count();
}

Clock::TimePoint Clock::timePointForDate(Date date) const noexcept {
  double delta = date.timeIntervalSinceDate(currentDate());
  auto base = now();
  return delta >= 0 ? base + durationFromSeconds(delta) : base - durationFromSeconds(-delta);
}

Date Clock::dateForTimePoint(TimePoint point) const noexcept {
  return currentDate().addingTimeInterval(secondsFromDuration(point - now()));
}

std::shared_ptr<Clock> Clock::current() {
  auto& s = state();
  std::lock_guard lock(s.mutex);
  return s.clock;
}

std::shared_ptr<Clock> Clock::setCurrent(std::shared_ptr<Clock> clock) {
  std::shared_ptr<Clock> previous;
  {
    auto& s = state();
    std::lock_guard lock(s.mutex);
    previous = std::exchange(s.clock, clock ? std::move(clock) : std::make_shared<SystemClock>());
  }
  notifyAdvanced();
  return previous;
}

Clock::ObserverToken& Clock::ObserverToken::operator=(ObserverToken&& other) noexcept {
  if (this != &other) {
    reset();
    id_ = std::exchange(other.id_, 0);
  }
  return *this;
}

Clock::ObserverToken::~ObserverToken() { reset(); }

void Clock::ObserverToken::reset() {
  if (id_ == 0) return;
  auto& s = state();
  std::lock_guard lock(s.mutex);
  s.observers.erase(std::exchange(id_, 0));
}

Clock::ObserverToken Clock::addAdvanceObserver(std::function<void()> observer) {
  auto& s = state();
  std::lock_guard lock(s.mutex);
  auto id = s.nextObserverId++;
  s.observers.emplace(id, std::make_shared<std::function<void()>>(std::move(observer)));
  return ObserverToken(id);
}

void Clock::notifyAdvanced() {
  std::vector<std::shared_ptr<std::function<void()>>> observers;
  {
    auto& s = state();
    std::lock_guard lock(s.mutex);
    for (auto& [id, fn] : s.observers) observers.push_back(fn);
  }
  for (auto& fn : observers) (*fn)();
}

ManualClock::ManualClock() : now_(std::chrono::steady_clock::now()), date_(systemDate()) {}

Clock::TimePoint ManualClock::now() const noexcept {
  std::lock_guard lock(mutex_);
  return now_;
}

Date ManualClock::currentDate() const noexcept {
  std::lock_guard lock(mutex_);
  return date_;
}

std::optional<Clock::Duration> ManualClock::realWaitUntil(TimePoint deadline) const {
  if (deadline <= now()) return Duration::zero();
  return std::nullopt;
}

void ManualClock::advance(Duration by) {
  if (by <= Duration::zero()) return;
  {
    std::lock_guard lock(mutex_);
    now_ += by;
    date_ = date_.addingTimeInterval(secondsFromDuration(by));
  }
  notifyAdvanced();
}

void ManualClock::advanceSeconds(double seconds) { advance(durationFromSeconds(seconds)); }

void ManualClock::setCurrentDate(Date date) {
  {
    std::lock_guard lock(mutex_);
    date_ = date;
  }
  notifyAdvanced();
}

}  // namespace lx
