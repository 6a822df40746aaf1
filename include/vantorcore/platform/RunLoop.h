// `RunLoop`: the per-thread event loop behind timers, cross-thread calls and
// file-descriptor sources. Built on epoll, with an eventfd for wake-ups and a
// timerfd for the next timer, so the whole loop is one pollable descriptor
// that a host's own loop (GLib, Qt) can watch.
#pragma once

#include "vantorcore/Export.h"

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "vantorcore/platform/Clock.h"
#include "vantorcore/platform/Date.h"
#include "vantorcore/platform/String.h"

namespace LX_API lx {

class Timer;

/// The mode a run loop runs in unless told otherwise.
inline constexpr StringView DefaultRunLoopMode = u"kCFRunLoopDefaultMode";
/// Not a mode one runs in but a set: items added "for the common modes" take
/// part in every mode of the run loop's common set (the default and the
/// tracking mode, plus any mode added with `addCommonMode`).
inline constexpr StringView RunLoopCommonModes = u"kCFRunLoopCommonModes";
/// The mode a host runs while the user drags or holds a control.
inline constexpr StringView EventTrackingRunLoopMode = u"NSEventTrackingRunLoopMode";

/// The modes a performed closure or source takes part in.
using RunLoopModes = std::vector<String>;
/// `{RunLoopCommonModes}`, the modes cross-thread calls use by default.
const RunLoopModes& commonRunLoopModes();

class RunLoop : public std::enable_shared_from_this<RunLoop> {
 public:
  /// The calling thread's run loop, made on first use.
  static std::shared_ptr<RunLoop> current();
  /// The run loop of the process's initial thread (callable from any thread).
  static std::shared_ptr<RunLoop> main();

  /// A new run loop for the calling thread's record; `Thread` makes one per
  /// thread, nobody else needs to.
  static std::shared_ptr<RunLoop> make();

  RunLoop();  // use make(), which also wires the loop to clock changes
  ~RunLoop();
  RunLoop(const RunLoop&) = delete;
  RunLoop& operator=(const RunLoop&) = delete;

  /// Runs one pass in `mode`, waiting until a performed closure or an fd
  /// source has been handled, `limit` passes (by the current clock) or
  /// `stop` is called; due timers fire along the way without ending the
  /// pass. Returns false at once when the mode has no timer, source or
  /// pending closure (nothing could ever end the wait), true otherwise. The
  /// main loop in a common mode never counts as empty: main-queue work may
  /// arrive at any time.
  /// Only the run loop's own thread may run it; nested runs are allowed.
  bool runMode(StringView mode, Date limit);
  /// `runMode(DefaultRunLoopMode, limit)` repeated until `limit` passes, the
  /// mode runs dry (never on the main loop) or `stop` is called.
  void runUntil(Date limit);
  /// `runUntil(Date::distantFuture())`.
  void run() { runUntil(Date::distantFuture()); }
  /// Makes the innermost running pass return; if none runs, the next one
  /// returns at once. Any thread.
  void stop();
  /// Interrupts a waiting pass so that it re-reads its state. Any thread.
  void wakeUp();

  /// Queues `closure` to run on this loop's thread in a pass of one of
  /// `modes`, in posting order. Returns false (and drops it) when the thread
  /// has exited. Any thread.
  bool perform(std::function<void()> closure, const RunLoopModes& modes = commonRunLoopModes());

  /// Adds a timer in `mode` (or in the common modes); a timer belongs to one
  /// run loop, which keeps it until it is invalidated. Any thread.
  void addTimer(const std::shared_ptr<Timer>& timer, StringView mode = DefaultRunLoopMode);

  /// An fd source; removed when the token is destroyed or `remove`d. Move-only.
  class SourceToken {
   public:
    SourceToken() = default;
    /// A handle on source `id` of `loop`.
    SourceToken(std::weak_ptr<RunLoop> loop, std::uint64_t id) : loop_(std::move(loop)), id_(id) {}
    /// Tokens move; a moved-from token is inactive.
    ///@{
    SourceToken(SourceToken&& other) noexcept
        : loop_(std::move(other.loop_)), id_(std::exchange(other.id_, 0)) {}
    SourceToken& operator=(SourceToken&& other) noexcept;
    ///@}
    ~SourceToken() { remove(); }
    /// Stops the source; afterwards its callback is never called again
    /// (unless it is running right now on the loop's thread).
    void remove();
    /// Whether the token still removes a source.
    [[nodiscard]] bool isActive() const noexcept { return id_ != 0; }

   private:
    std::weak_ptr<RunLoop> loop_;
    std::uint64_t id_ = 0;
  };
  /// Watches `fd` for `events` (EPOLLIN, EPOLLOUT...) while the loop runs in
  /// one of `modes`; `callback` gets the ready events on the loop's thread.
  /// Level-triggered: the callback must consume what made the fd ready. The
  /// fd is not owned. An invalid fd yields an inactive token.
  [[nodiscard]] SourceToken addSource(int fd, std::uint32_t events,
                                      std::function<void(std::uint32_t events)> callback,
                                      const RunLoopModes& modes = commonRunLoopModes());

  /// Adds `mode` to this loop's common set; items added for the common
  /// modes run in it from then on.
  void addCommonMode(StringView mode);
  /// The mode of the innermost running pass; absent when not running.
  [[nodiscard]] std::optional<String> currentMode() const;

  /// One descriptor that becomes readable whenever the loop has something to
  /// do (a closure, a due timer, a ready source in the last mode run). A host
  /// loop watches it and then calls `runMode(mode, Date::distantPast())`.
  [[nodiscard]] int pollDescriptor() const noexcept { return epollFd_; }

  /// Drops every pending closure (waiters are released) and refuses new
  /// ones. Called when the owning thread exits.
  void invalidate();
  /// Whether the timer was invalidated (it never fires again).
  [[nodiscard]] bool isInvalidated() const noexcept {
    return invalidated_.load(std::memory_order_acquire);
  }

 private:
  struct Performed;
  struct Source;
  friend class Timer;

  bool inMode(const std::set<String, std::less<>>& itemModes, StringView mode) const;
  bool hasWorkInModeLocked(StringView mode) const;
  void syncSourcesLocked(StringView mode);
  void fireDueTimers(StringView mode);
  bool runPerformed(StringView mode);
  std::optional<Clock::TimePoint> nextTimerDeadlineLocked(StringView mode);
  void armTimerFd(std::optional<Clock::TimePoint> deadline, const Clock& clock);
  void removeSource(std::uint64_t id);
  void drainWakeUps();
  bool consumeStop();

  int epollFd_ = -1;
  int wakeFd_ = -1;
  int timerFd_ = -1;
  std::atomic<bool> stopRequested_{false};
  std::atomic<bool> invalidated_{false};
  bool lastPassStopped_ = false;  // touched by the running thread only
  // What the timerfd was last armed for; the running thread's only.
  bool timerArmed_ = false;
  std::optional<Clock::TimePoint> armedDeadline_;
  const Clock* armedClock_ = nullptr;
  Clock::ObserverToken clockObserver_;

  mutable std::mutex mutex_;
  std::set<String, std::less<>> commonModes_;
  std::deque<std::shared_ptr<Performed>> performed_;
  std::vector<std::shared_ptr<Timer>> timers_;
  std::vector<std::set<String, std::less<>>> timerModes_;  // parallel to timers_
  std::vector<std::shared_ptr<Source>> sources_;
  std::uint64_t nextSourceId_ = 2;  // 0 and 1 tag the eventfd and the timerfd
  std::vector<String> modeStack_;
};

}  // namespace lx
