#include "vantorcore/concurrency/LXGCDTimer.h"

#include <cmath>

#include "vantorcore/concurrency/Timer+Tolerance.h"

namespace lx {

LX_DEFINE_CLASS(LXGCDTimer, Object)

namespace {
std::uint64_t nanoseconds(double seconds) {
  double ns = seconds * 1e9;
  if (!(ns > 0)) return 0;
  if (ns >= 1.8e19) return UINT64_MAX;
  return static_cast<std::uint64_t>(ns);
}

Clock::Duration asDuration(std::uint64_t ns) {
  constexpr auto kMax = static_cast<std::uint64_t>(Clock::Duration::max().count() / 4);
  return Clock::Duration(static_cast<Clock::Duration::rep>(std::min(ns, kMax)));
}
}  // namespace

LXGCDTimer::LXGCDTimer(Key, double interval, double tolerance, std::shared_ptr<DispatchQueue> queue,
                       bool repeats, Block block)
    : timer_(DispatchTimerSource::make(queue ? std::move(queue) : DispatchQueue::global())),
      interval_(nanoseconds(interval)),
      leeway_(nanoseconds(tolerance)),
      repeats_(repeats),
      block_(std::move(block)) {}

LXGCDTimer::~LXGCDTimer() {
  if (timer_) timer_->cancel();
}

std::shared_ptr<LXGCDTimer> LXGCDTimer::initWithTimeInterval(double interval, double tolorance,
                                                             std::shared_ptr<DispatchQueue> queue,
                                                             bool repeats, Block block) {
  auto timer = std::make_shared<LXGCDTimer>(Key{}, interval, tolorance, std::move(queue), repeats,
                                            std::move(block));
  timer->resetInterval();
  // Weak until started: a timer that never starts must not keep itself.
  timer->timer_->setEventHandler([weak = std::weak_ptr<LXGCDTimer>(timer)] {
    if (auto self = weak.lock()) self->onEvent();
  });
  return timer;
}

std::shared_ptr<LXGCDTimer> LXGCDTimer::initWithTimeInterval(double interval, bool repeats,
                                                             Block block) {
  return initWithTimeInterval(interval, 0, DispatchQueue::global(), repeats, std::move(block));
}

std::shared_ptr<LXGCDTimer> LXGCDTimer::scheduledTolerantTimerWithTimeInterval(double interval,
                                                                               bool repeats,
                                                                               Block block) {
  auto timer = initWithTimeInterval(interval, lx_toleranceForTimeInterval(interval),
                                    DispatchQueue::global(), repeats, std::move(block));
  timer->start();
  return timer;
}

void LXGCDTimer::resetInterval() {
  std::lock_guard lock(lock_);
  if (!timer_) return;
  auto interval = asDuration(interval_);
  timer_->setTimer(Clock::current()->now() + interval,
                   repeats_ ? interval : DispatchTimerSource::kForever, asDuration(leeway_));
}

void LXGCDTimer::start() {
  std::lock_guard lock(lock_);
  if (!timer_ || selfWhileRunning_) return;
  selfWhileRunning_ = sharedAs<LXGCDTimer>();
  timer_->resume();
}

void LXGCDTimer::onEvent() {
  if (block_) block_(*this);
  if (!repeats_) invalidate();
}

void LXGCDTimer::fire() {
  std::lock_guard lock(lock_);
  if (timer_ && block_) block_(*this);
  if (!isValid()) return;
  if (repeats_) {
    resetInterval();
  } else {
    invalidate();
  }
}

void LXGCDTimer::invalidate() {
  std::shared_ptr<LXGCDTimer> released;  // may be the last reference: let go at the end
  std::lock_guard lock(lock_);
  if (timer_) {
    timer_->cancel();
    timer_.reset();
  }
  released = std::move(selfWhileRunning_);
}

bool LXGCDTimer::isValid() const {
  std::lock_guard lock(lock_);
  return timer_ && !timer_->testCancel();
}

}  // namespace lx
