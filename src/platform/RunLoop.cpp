#include "vantorcore/platform/RunLoop.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>

#include "vantorcore/platform/Thread.h"
#include "vantorcore/platform/Timer.h"

namespace lx {

using ModeSet = std::set<String, std::less<>>;

struct RunLoop::Performed {
  std::function<void()> closure;
  ModeSet modes;
};

struct RunLoop::Source {
  std::uint64_t id;
  int fd;
  std::uint32_t events;
  std::shared_ptr<std::function<void(std::uint32_t)>> callback;
  ModeSet modes;
  bool registered = false;
};

namespace {

ModeSet toModeSet(const RunLoopModes& modes) { return ModeSet(modes.begin(), modes.end()); }

constexpr std::uint64_t kWakeTag = 0;
constexpr std::uint64_t kTimerTag = 1;

}  // namespace

const RunLoopModes& commonRunLoopModes() {
  static const auto* modes = new RunLoopModes{String(RunLoopCommonModes)};
  return *modes;
}

std::shared_ptr<RunLoop> RunLoop::current() { return Thread::current()->runLoop(); }
std::shared_ptr<RunLoop> RunLoop::main() { return Thread::main()->runLoop(); }

RunLoop::RunLoop() : commonModes_{String(DefaultRunLoopMode), String(EventTrackingRunLoopMode)} {
  epollFd_ = epoll_create1(EPOLL_CLOEXEC);
  wakeFd_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  timerFd_ = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK);
  epoll_event ev{};
  ev.events = EPOLLIN;
  ev.data.u64 = kWakeTag;
  epoll_ctl(epollFd_, EPOLL_CTL_ADD, wakeFd_, &ev);
  ev.data.u64 = kTimerTag;
  epoll_ctl(epollFd_, EPOLL_CTL_ADD, timerFd_, &ev);
}

RunLoop::~RunLoop() {
  clockObserver_.reset();
  for (int fd : {timerFd_, wakeFd_, epollFd_}) {
    if (fd >= 0) close(fd);
  }
}

std::shared_ptr<RunLoop> RunLoop::make() {
  auto loop = std::make_shared<RunLoop>();
  // A clock moved by hand has no timerfd deadline to wake us; its jumps do.
  loop->clockObserver_ = Clock::addAdvanceObserver([weak = std::weak_ptr<RunLoop>(loop)] {
    if (auto l = weak.lock()) l->wakeUp();
  });
  return loop;
}

bool RunLoop::inMode(const ModeSet& itemModes, StringView mode) const {
  if (itemModes.find(mode) != itemModes.end()) return true;
  return itemModes.find(RunLoopCommonModes) != itemModes.end() &&
         commonModes_.find(mode) != commonModes_.end();
}

bool RunLoop::hasWorkInModeLocked(StringView mode) const {
  for (std::size_t i = 0; i < timers_.size(); ++i) {
    if (timers_[i]->isValid() && inMode(timerModes_[i], mode)) return true;
  }
  for (auto& s : sources_) {
    if (inMode(s->modes, mode)) return true;
  }
  for (auto& p : performed_) {
    if (inMode(p->modes, mode)) return true;
  }
  return false;
}

void RunLoop::syncSourcesLocked(StringView mode) {
  for (auto& s : sources_) {
    bool want = inMode(s->modes, mode);
    if (want == s->registered) continue;
    epoll_event ev{};
    ev.events = s->events;
    ev.data.u64 = s->id;
    if (want) {
      s->registered = epoll_ctl(epollFd_, EPOLL_CTL_ADD, s->fd, &ev) == 0;
    } else {
      epoll_ctl(epollFd_, EPOLL_CTL_DEL, s->fd, &ev);
      s->registered = false;
    }
  }
}

std::optional<Clock::TimePoint> RunLoop::nextTimerDeadlineLocked(StringView mode) {
  std::optional<Clock::TimePoint> next;
  for (std::size_t i = 0; i < timers_.size(); ++i) {
    if (!timers_[i]->isValid() || !inMode(timerModes_[i], mode)) continue;
    auto d = timers_[i]->deadline();
    if (!next || d < *next) next = d;
  }
  return next;
}

void RunLoop::armTimerFd(std::optional<Clock::TimePoint> deadline, const Clock& clock) {
  // Re-arming for the deadline already armed is a wasted system call on every
  // pass of a busy loop.
  if (timerArmed_ && armedDeadline_ == deadline && armedClock_ == &clock) return;
  timerArmed_ = true;
  armedDeadline_ = deadline;
  armedClock_ = &clock;
  itimerspec setting{};
  if (deadline) {
    if (auto wait = clock.realWaitUntil(*deadline)) {
      // A zero it_value would disarm the timer; one nanosecond fires at once.
      auto ns = std::max<std::int64_t>(wait->count(), 1);
      setting.it_value.tv_sec = static_cast<time_t>(ns / 1000000000);
      setting.it_value.tv_nsec = static_cast<long>(ns % 1000000000);
    }
  }
  timerfd_settime(timerFd_, 0, &setting, nullptr);
}

void RunLoop::fireDueTimers(StringView mode) {
  auto now = Clock::current()->now();
  std::vector<std::shared_ptr<Timer>> due;
  {
    std::lock_guard lock(mutex_);
    for (std::size_t i = 0; i < timers_.size(); ++i) {
      auto& t = timers_[i];
      if (t->isValid() && inMode(timerModes_[i], mode) && t->deadline() <= now) due.push_back(t);
    }
  }
  std::stable_sort(due.begin(), due.end(),
                   [](const auto& a, const auto& b) { return a->deadline() < b->deadline(); });
  for (auto& t : due) t->fireFromRunLoop(now);
  std::vector<std::shared_ptr<Timer>> dropped;  // released outside the lock
  std::lock_guard lock(mutex_);
  for (std::size_t i = 0; i < timers_.size();) {
    if (timers_[i]->isValid()) {
      ++i;
      continue;
    }
    dropped.push_back(std::move(timers_[i]));
    timers_.erase(timers_.begin() + static_cast<std::ptrdiff_t>(i));
    timerModes_.erase(timerModes_.begin() + static_cast<std::ptrdiff_t>(i));
  }
}

bool RunLoop::runPerformed(StringView mode) {
  std::vector<std::shared_ptr<Performed>> batch;
  {
    std::lock_guard lock(mutex_);
    for (auto it = performed_.begin(); it != performed_.end();) {
      if (inMode((*it)->modes, mode)) {
        batch.push_back(std::move(*it));
        it = performed_.erase(it);
      } else {
        ++it;
      }
    }
  }
  for (std::size_t i = 0; i < batch.size(); ++i) {
    try {
      if (!isInvalidated()) batch[i]->closure();
    } catch (...) {
      // The closures after the one that threw stay first in line for the
      // next pass instead of being lost with the exception.
      std::lock_guard lock(mutex_);
      performed_.insert(performed_.begin(), std::make_move_iterator(batch.begin() + i + 1),
                        std::make_move_iterator(batch.end()));
      throw;
    }
    batch[i].reset();  // whatever the closure holds goes now, not at the end of the batch
  }
  return !batch.empty();
}

bool RunLoop::runMode(StringView mode, Date limit) {
  lastPassStopped_ = false;
  if (isInvalidated()) return false;
  if (consumeStop()) return true;
  auto clock = Clock::current();
  const auto limitPoint = clock->timePointForDate(limit);
  // The main queue's work arrives through the main loop in the common modes
  // at any time, so there the mode never runs dry: a caller waiting for it
  // blocks instead of spinning.
  const bool isMainLoop = Thread::main()->runLoop().get() == this;
  bool mayHearFromMainQueue = false;
  {
    std::lock_guard lock(mutex_);
    mayHearFromMainQueue = isMainLoop && commonModes_.find(mode) != commonModes_.end();
    if (!mayHearFromMainQueue && !hasWorkInModeLocked(mode)) return false;
    modeStack_.emplace_back(mode);
  }
  // On every way out: leave the timerfd armed for this mode's next timer, so
  // a host loop watching `pollDescriptor()` wakes for it.
  struct Leave {
    RunLoop* loop;
    StringView mode;
    ~Leave() {
      std::optional<Clock::TimePoint> next;
      {
        std::lock_guard lock(loop->mutex_);
        loop->modeStack_.pop_back();
        next = loop->nextTimerDeadlineLocked(mode);
      }
      loop->armTimerFd(next, *Clock::current());
    }
  } leave{this, mode};

  epoll_event events[32];
  while (true) {
    // Consume pending wake-ups first, so a host polling our descriptor is
    // not woken again for work this pass is about to do.
    drainWakeUps();
    fireDueTimers(mode);
    if (runPerformed(mode)) return true;
    if (consumeStop()) return true;
    std::optional<Clock::TimePoint> next;
    {
      std::lock_guard lock(mutex_);
      if (!mayHearFromMainQueue && !hasWorkInModeLocked(mode)) return true;
      syncSourcesLocked(mode);
      next = nextTimerDeadlineLocked(mode);
    }
    clock = Clock::current();
    armTimerFd(next, *clock);
    int timeoutMs = 0;
    if (clock->now() < limitPoint) {
      auto wait = clock->realWaitUntil(limitPoint);
      if (!wait) {
        timeoutMs = -1;
      } else {
        auto ms = std::chrono::ceil<std::chrono::milliseconds>(*wait).count();
        timeoutMs = static_cast<int>(std::min<std::int64_t>(ms, INT_MAX));
      }
    }
    int n = epoll_wait(epollFd_, events, 32, timeoutMs);
    if (n < 0 && errno != EINTR) return true;
    bool handled = false;
    for (int i = 0; i < n; ++i) {
      std::uint64_t tag = events[i].data.u64;
      if (tag == kWakeTag) continue;  // drained by the next pass
      if (tag == kTimerTag) {
        std::uint64_t expirations;
        if (read(timerFd_, &expirations, sizeof expirations) > 0) timerArmed_ = false;
        continue;
      }
      std::shared_ptr<std::function<void(std::uint32_t)>> callback;
      {
        std::lock_guard lock(mutex_);
        for (auto& s : sources_) {
          if (s->id == tag && inMode(s->modes, mode)) callback = s->callback;
        }
      }
      if (callback) {
        (*callback)(events[i].events);
        handled = true;
      }
    }
    if (handled) return true;
    if (consumeStop()) return true;
    if (Clock::current()->now() >= limitPoint) {
      fireDueTimers(mode);
      return true;
    }
  }
}

void RunLoop::drainWakeUps() {
  std::uint64_t counter;
  [[maybe_unused]] auto r = read(wakeFd_, &counter, sizeof counter);
}

void RunLoop::runUntil(Date limit) {
  while (runMode(DefaultRunLoopMode, limit)) {
    if (lastPassStopped_ || Clock::current()->currentDate() >= limit) return;
  }
}

bool RunLoop::consumeStop() {
  lastPassStopped_ = stopRequested_.exchange(false);
  return lastPassStopped_;
}

void RunLoop::stop() {
  stopRequested_.store(true);
  wakeUp();
}

void RunLoop::wakeUp() {
  std::uint64_t one = 1;
  [[maybe_unused]] auto r = write(wakeFd_, &one, 8);
}

bool RunLoop::perform(std::function<void()> closure, const RunLoopModes& modes) {
  auto item = std::make_shared<Performed>(Performed{std::move(closure), toModeSet(modes)});
  {
    std::lock_guard lock(mutex_);
    if (isInvalidated()) return false;
    performed_.push_back(std::move(item));
  }
  wakeUp();
  return true;
}

void RunLoop::addTimer(const std::shared_ptr<Timer>& timer, StringView mode) {
  if (!timer || !timer->isValid()) return;
  {
    std::lock_guard lock(mutex_);
    auto it = std::find(timers_.begin(), timers_.end(), timer);
    if (it != timers_.end()) {
      timerModes_[static_cast<std::size_t>(it - timers_.begin())].emplace(mode);
    } else {
      timers_.push_back(timer);
      timerModes_.push_back(ModeSet{String(mode)});
    }
  }
  timer->attach(shared_from_this());
  wakeUp();
}

RunLoop::SourceToken& RunLoop::SourceToken::operator=(SourceToken&& other) noexcept {
  if (this != &other) {
    remove();
    loop_ = std::move(other.loop_);
    id_ = std::exchange(other.id_, 0);
  }
  return *this;
}

void RunLoop::SourceToken::remove() {
  if (id_ == 0) return;
  if (auto loop = loop_.lock()) loop->removeSource(id_);
  id_ = 0;
}

RunLoop::SourceToken RunLoop::addSource(int fd, std::uint32_t events,
                                        std::function<void(std::uint32_t)> callback,
                                        const RunLoopModes& modes) {
  if (fd < 0 || !callback) return {};
  std::uint64_t id;
  {
    std::lock_guard lock(mutex_);
    id = nextSourceId_++;
    sources_.push_back(std::make_shared<Source>(Source{
        id, fd, events, std::make_shared<std::function<void(std::uint32_t)>>(std::move(callback)),
        toModeSet(modes)}));
  }
  wakeUp();
  return SourceToken(weak_from_this(), id);
}

void RunLoop::removeSource(std::uint64_t id) {
  std::shared_ptr<Source> removed;
  {
    std::lock_guard lock(mutex_);
    auto it = std::find_if(sources_.begin(), sources_.end(), [&](auto& s) { return s->id == id; });
    if (it == sources_.end()) return;
    removed = std::move(*it);
    sources_.erase(it);
    if (removed->registered) epoll_ctl(epollFd_, EPOLL_CTL_DEL, removed->fd, nullptr);
  }
  wakeUp();
}

void RunLoop::addCommonMode(StringView mode) {
  std::lock_guard lock(mutex_);
  commonModes_.emplace(mode);
}

std::optional<String> RunLoop::currentMode() const {
  std::lock_guard lock(mutex_);
  if (modeStack_.empty()) return std::nullopt;
  return modeStack_.back();
}

void RunLoop::invalidate() {
  std::deque<std::shared_ptr<Performed>> dropped;
  std::vector<std::shared_ptr<Timer>> timers;
  {
    std::lock_guard lock(mutex_);
    invalidated_.store(true, std::memory_order_release);
    dropped.swap(performed_);
    timers.swap(timers_);
    timerModes_.clear();
  }
  // Destroying the closures releases anyone waiting for them.
  dropped.clear();
  timers.clear();
}

}  // namespace lx
