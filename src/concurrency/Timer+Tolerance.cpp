#include "vantorcore/concurrency/Timer+Tolerance.h"
#include "vantorcore/platform/RunLoop.h"

namespace lx {

double lx_toleranceForTimeInterval(double interval) noexcept {
  double factor = 0.1;
  if (interval > 600) {
    factor = 0.3;
  } else if (interval > 300) {
    factor = 0.25;
  } else if (interval > 180) {
    factor = 0.2;
  }
  return interval * factor;
}

void lx_setDefaultTolerance(Timer& timer) {
  timer.setTolerance(lx_toleranceForTimeInterval(timer.timeInterval()));
}

namespace {
std::shared_ptr<Timer> withDefaultTolerance(std::shared_ptr<Timer> timer, bool schedule) {
  if (!timer) return nullptr;
  // A one-shot timer reports an interval of 0, so it gets no tolerance.
  lx_setDefaultTolerance(*timer);
  if (schedule) RunLoop::current()->addTimer(timer);
  return timer;
}
}  // namespace

std::shared_ptr<Timer> lx_tolerantTimerWithTimeInterval(double interval,
                                                        std::shared_ptr<Object> target,
                                                        std::string selector, Value userInfo,
                                                        bool repeats) {
  return withDefaultTolerance(
      Timer::make(interval, std::move(target), std::move(selector), std::move(userInfo), repeats),
      false);
}

std::shared_ptr<Timer> lx_tolerantTimerWithTimeInterval(double interval, bool repeats,
                                                        Timer::Callback block) {
  return withDefaultTolerance(Timer::make(interval, repeats, std::move(block)), false);
}

std::shared_ptr<Timer> lx_scheduledTolerantTimerWithTimeInterval(double interval,
                                                                 std::shared_ptr<Object> target,
                                                                 std::string selector,
                                                                 Value userInfo, bool repeats) {
  return withDefaultTolerance(
      Timer::make(interval, std::move(target), std::move(selector), std::move(userInfo), repeats),
      true);
}

std::shared_ptr<Timer> lx_scheduledTolerantTimerWithTimeInterval(double interval, bool repeats,
                                                                 Timer::Callback block) {
  return withDefaultTolerance(Timer::make(interval, repeats, std::move(block)), true);
}

std::shared_ptr<Timer> initTolerantWithFireDate(Date fireDate, double interval,
                                                std::shared_ptr<Object> target,
                                                std::string selector, Value userInfo,
                                                bool repeats) {
  auto timer =
      Timer::make(interval, std::move(target), std::move(selector), std::move(userInfo), repeats);
  if (timer) timer->setFireDate(fireDate);
  return withDefaultTolerance(std::move(timer), false);
}

}  // namespace lx
