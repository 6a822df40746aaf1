#include "vantorcore/platform/DispatchQueue.h"
#include "vantorcore/platform/DispatchEngine.h"

#include <boost/asio/dispatch.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>
#include <condition_variable>
#include <thread>
#include <vector>

#include "vantorcore/platform/RunLoop.h"
#include "vantorcore/platform/Thread.h"

namespace lx {

namespace asio = boost::asio;

namespace {

// The one engine under queues, timers and sockets. Made on first use and
// never destroyed: its threads serve closures until the process ends.
class Engine {
 public:
  static Engine& shared() {
    static auto* engine = new Engine;
    return *engine;
  }
  asio::io_context& context() noexcept { return context_; }

 private:
  Engine() : guard_(asio::make_work_guard(context_)) {
    // Blocking closures (sync, waits on other threads) must not starve the
    // pool, so it is wider than the core count.
    unsigned count = std::max(4u, 2 * std::thread::hardware_concurrency());
    for (unsigned i = 0; i < count; ++i) {
      std::thread([this] {
        Thread::current()->setName(u"lx.dispatch");
        context_.run();
      }).detach();
    }
  }
  asio::io_context context_;
  asio::executor_work_guard<asio::io_context::executor_type> guard_;
};

thread_local DispatchQueue* tCurrentQueue = nullptr;

// Runs `closure` as a closure of `queue` (for `DispatchQueue::current`).
void runAs(DispatchQueue* queue, const std::function<void()>& closure) {
  DispatchQueue* outer = std::exchange(tCurrentQueue, queue);
  closure();
  tCurrentQueue = outer;
}

}  // namespace

asio::io_context& dispatchEngineContext() { return Engine::shared().context(); }

namespace detail {

// Calls `onFire` on a pool thread once the current clock reaches the armed
// deadline. Real clocks are waited for with a steady timer; clocks moved by
// hand wake the alarm through their advance notification. While armed the
// alarm keeps itself alive.
class ClockAlarm : public std::enable_shared_from_this<ClockAlarm> {
 public:
  static std::shared_ptr<ClockAlarm> make(std::function<void()> onFire) {
    auto alarm = std::make_shared<ClockAlarm>(std::move(onFire));
    alarm->observer_ = Clock::addAdvanceObserver([weak = std::weak_ptr<ClockAlarm>(alarm)] {
      if (auto a = weak.lock()) a->check();
    });
    return alarm;
  }
  explicit ClockAlarm(std::function<void()> onFire)
      : timer_(Engine::shared().context()), onFire_(std::move(onFire)) {}

  void arm(Clock::TimePoint deadline) {
    std::lock_guard lock(mutex_);
    deadline_ = deadline;
    self_ = shared_from_this();
    ++generation_;
    scheduleLocked();
  }
  void disarm() {
    std::shared_ptr<ClockAlarm> self;
    std::lock_guard lock(mutex_);
    ++generation_;
    timer_.cancel();
    self = std::move(self_);
  }

 private:
  void scheduleLocked() {
    auto wait = Clock::current()->realWaitUntil(deadline_);
    timer_.cancel();
    if (!wait) return;  // a hand-moved clock tells us when it moves
    timer_.expires_after(*wait);
    timer_.async_wait([self = shared_from_this(), gen = generation_](boost::system::error_code ec) {
      if (!ec) self->check(gen);
    });
  }
  void check(std::optional<std::uint64_t> gen = std::nullopt) {
    std::shared_ptr<ClockAlarm> self;
    {
      std::lock_guard lock(mutex_);
      if (!self_ || (gen && *gen != generation_)) return;
      if (Clock::current()->now() < deadline_) {
        scheduleLocked();
        return;
      }
      ++generation_;
      self = std::move(self_);
    }
    asio::post(Engine::shared().context(), [self] { self->onFire_(); });
  }

  std::mutex mutex_;
  asio::steady_timer timer_;
  std::function<void()> onFire_;
  Clock::TimePoint deadline_{};
  std::uint64_t generation_ = 0;
  std::shared_ptr<ClockAlarm> self_;
  Clock::ObserverToken observer_;
};

}  // namespace detail

struct DispatchQueue::Impl {
  explicit Impl(asio::io_context& context) : strand(asio::make_strand(context)) {}
  asio::strand<asio::io_context::executor_type> strand;
};

DispatchQueue::DispatchQueue(Kind kind, String label, DispatchQueuePriority priority)
    : kind_(kind), label_(std::move(label)), priority_(priority) {
  if (kind == Kind::Serial) impl_ = std::make_unique<Impl>(Engine::shared().context());
}

DispatchQueue::~DispatchQueue() = default;

std::shared_ptr<DispatchQueue> DispatchQueue::main() {
  static auto* queue = new std::shared_ptr<DispatchQueue>(
      std::make_shared<DispatchQueue>(Kind::Main, u"main", DispatchQueuePriority::Default));
  return *queue;
}

std::shared_ptr<DispatchQueue> DispatchQueue::global(DispatchQueuePriority priority) {
  static auto* queues = new std::vector<std::shared_ptr<DispatchQueue>>{
      std::make_shared<DispatchQueue>(Kind::Global, u"global.high", DispatchQueuePriority::High),
      std::make_shared<DispatchQueue>(Kind::Global, u"global.default",
                                      DispatchQueuePriority::Default),
      std::make_shared<DispatchQueue>(Kind::Global, u"global.low", DispatchQueuePriority::Low),
      std::make_shared<DispatchQueue>(Kind::Global, u"global.background",
                                      DispatchQueuePriority::Background)};
  for (auto& q : *queues) {
    if (q->priority() == priority) return q;
  }
  return (*queues)[1];
}

std::shared_ptr<DispatchQueue> DispatchQueue::makeSerial(String label) {
  return std::make_shared<DispatchQueue>(Kind::Serial, std::move(label),
                                         DispatchQueuePriority::Default);
}

DispatchQueue* DispatchQueue::current() noexcept { return tCurrentQueue; }

void DispatchQueue::async(std::function<void()> closure) {
  if (!closure) return;
  switch (kind_) {
    case Kind::Main:
      RunLoop::main()->perform([this, closure = std::move(closure)] { runAs(this, closure); },
                               commonRunLoopModes());
      break;
    case Kind::Global:
      asio::post(Engine::shared().context(),
                 [this, closure = std::move(closure)] { runAs(this, closure); });
      break;
    case Kind::Serial:
      asio::post(impl_->strand, [this, closure = std::move(closure)] { runAs(this, closure); });
      break;
  }
}

void DispatchQueue::asyncOrRunHere(std::function<void()> closure) {
  // Inside another queue's closure it would nest one queue's closure in
  // another's, and a `sync` back to the outer queue would wait for itself.
  if (kind_ != Kind::Serial || tCurrentQueue) return async(std::move(closure));
  if (!closure) return;
  // A strand that is idle hands the closure to the engine's `dispatch`,
  // which runs it in place on a thread that runs the engine.
  asio::dispatch(impl_->strand, [this, closure = std::move(closure)] { runAs(this, closure); });
}

void DispatchQueue::sync(std::function<void()> closure) {
  if (!closure) return;
  if (kind_ == Kind::Global || tCurrentQueue == this) {
    runAs(this, closure);
    return;
  }
  if (kind_ == Kind::Main) {
    Thread::perform(
        Thread::main(), [this, &closure] { runAs(this, closure); }, true);
    return;
  }
  std::mutex mutex;
  std::condition_variable done;
  bool finished = false;
  asio::post(impl_->strand, [&] {
    runAs(this, closure);
    std::lock_guard lock(mutex);
    finished = true;
    done.notify_all();
  });
  std::unique_lock lock(mutex);
  done.wait(lock, [&] { return finished; });
}

void DispatchQueue::asyncAfter(double seconds, std::function<void()> closure) {
  if (!closure) return;
  auto alarm = detail::ClockAlarm::make(
      [queue = shared_from_this(), closure = std::move(closure)]() mutable {
        queue->async(std::move(closure));
      });
  alarm->arm(Clock::current()->now() + durationFromSeconds(seconds));
}

std::shared_ptr<DispatchTimerSource> DispatchTimerSource::make(
    std::shared_ptr<DispatchQueue> queue) {
  auto source = std::make_shared<DispatchTimerSource>(std::move(queue));
  source->alarm_ = detail::ClockAlarm::make([weak = std::weak_ptr<DispatchTimerSource>(source)] {
    if (auto s = weak.lock()) s->onAlarm();
  });
  return source;
}

DispatchTimerSource::DispatchTimerSource(std::shared_ptr<DispatchQueue> queue)
    : queue_(queue ? std::move(queue) : DispatchQueue::global()) {}

DispatchTimerSource::~DispatchTimerSource() {
  if (alarm_) alarm_->disarm();
}

void DispatchTimerSource::setTimer(Clock::TimePoint start, Clock::Duration interval,
                                   Clock::Duration leeway) {
  std::lock_guard lock(mutex_);
  deadline_ = start;
  interval_ = interval <= Clock::Duration::zero() ? kForever : interval;
  leeway_ = leeway;
  configured_ = true;
  armLocked();
}

void DispatchTimerSource::setEventHandler(std::function<void()> handler) {
  std::lock_guard lock(mutex_);
  if (cancelled_) return;
  handler_ = std::make_shared<std::function<void()>>(std::move(handler));
}

void DispatchTimerSource::setCancelHandler(std::function<void()> handler) {
  std::lock_guard lock(mutex_);
  if (cancelled_) return;
  cancelHandler_ = std::move(handler);
}

void DispatchTimerSource::resume() {
  std::lock_guard lock(mutex_);
  if (resumed_ || cancelled_) return;
  resumed_ = true;
  selfWhileRunning_ = shared_from_this();
  armLocked();
}

void DispatchTimerSource::armLocked() {
  if (resumed_ && configured_ && !cancelled_) {
    alarm_->arm(deadline_);
  }
}

void DispatchTimerSource::cancel() {
  std::shared_ptr<DispatchTimerSource> self;
  std::shared_ptr<std::function<void()>> handler;
  std::function<void()> cancelHandler;
  {
    std::lock_guard lock(mutex_);
    if (cancelled_.exchange(true)) return;
    alarm_->disarm();
    handler = std::move(handler_);
    cancelHandler = std::move(cancelHandler_);
    self = std::move(selfWhileRunning_);
  }
  if (cancelHandler) queue_->async(std::move(cancelHandler));
}

Clock::Duration DispatchTimerSource::leeway() const {
  std::lock_guard lock(mutex_);
  return leeway_;
}

Clock::Duration DispatchTimerSource::interval() const {
  std::lock_guard lock(mutex_);
  return interval_;
}

void DispatchTimerSource::onAlarm() {
  {
    std::lock_guard lock(mutex_);
    if (cancelled_) return;
    if (interval_ != kForever) {
      // Stay on the start + k * interval grid; missed events merge.
      auto now = Clock::current()->now();
      auto missed = now > deadline_ ? (now - deadline_) / interval_ : 0;
      deadline_ += interval_ * (missed + 1);
      alarm_->arm(deadline_);
    }
    if (inFlight_) {
      again_ = true;
      return;
    }
    inFlight_ = true;
  }
  queue_->async([self = shared_from_this()] { self->deliver(); });
}

void DispatchTimerSource::deliver() {
  while (true) {
    std::shared_ptr<std::function<void()>> handler;
    {
      std::lock_guard lock(mutex_);
      handler = cancelled_ ? nullptr : handler_;
    }
    if (handler && *handler) (*handler)();
    std::lock_guard lock(mutex_);
    if (!again_ || cancelled_) {
      inFlight_ = false;
      again_ = false;
      return;
    }
    again_ = false;
  }
}

}  // namespace lx
