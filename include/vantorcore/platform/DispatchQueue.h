// Dispatch queues and timer sources, on one Boost.Asio engine: a process-wide
// thread pool runs the global queues, a strand per serial queue keeps its
// closures in order, steady timers drive delays and timer sources. The main
// queue is drained by the main thread's run loop in the common modes.
#pragma once

#include "vantorcore/Export.h"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

#include "vantorcore/platform/Clock.h"
#include "vantorcore/platform/String.h"

namespace LX_API lx {

namespace detail {
class ClockAlarm;
}

/// Priorities of the global concurrent queues. All four share one thread
/// pool; the priority names the queue and is reported, it does not reorder.
enum class DispatchQueuePriority { High = 2, Default = 0, Low = -2, Background = -32768 };

class DispatchQueue : public std::enable_shared_from_this<DispatchQueue> {
 public:
  /// The main queue, a global concurrent queue, or a private serial queue.
  enum class Kind { Main, Global, Serial };

  /// The queue whose closures run on the main thread, in order, from the
  /// main run loop in the common modes (so only while it runs).
  static std::shared_ptr<DispatchQueue> main();
  /// The concurrent queue of `priority`: closures run on pool threads, in
  /// any order and at the same time.
  static std::shared_ptr<DispatchQueue> global(
      DispatchQueuePriority priority = DispatchQueuePriority::Default);
  /// A new serial queue: closures run one at a time, in submission order, on
  /// pool threads. Pending closures keep running after the last reference
  /// to the queue is gone.
  static std::shared_ptr<DispatchQueue> makeSerial(String label);
  /// The queue running the calling closure, or null outside any queue's
  /// closure (the main thread outside a main-queue closure included).
  static DispatchQueue* current() noexcept;

  /// Submits `closure` and returns at once. Any thread.
  void async(std::function<void()> closure);
  /// `async`, except that a serial queue with nothing queued runs `closure`
  /// at once when called from one of the engine's threads outside any
  /// queue's closure (a transport's handler), sparing the hand-over to
  /// another thread; it then returns after the closure and whatever was
  /// queued behind it meanwhile. The queue's order holds either way.
  void asyncOrRunHere(std::function<void()> closure);
  /// Runs `closure` on the queue and waits for it. On a global queue, or on
  /// the queue the caller is already running on, it runs at once on the
  /// calling thread (waiting for oneself would never end). `sync` to the
  /// main queue from another thread needs the main run loop running.
  void sync(std::function<void()> closure);
  /// Submits `closure` once `seconds` have passed by the current clock.
  void asyncAfter(double seconds, std::function<void()> closure);

  /// The main queue, a global queue or a serial queue.
  [[nodiscard]] Kind kind() const noexcept { return kind_; }
  /// The label given at creation, for logs.
  [[nodiscard]] const String& label() const noexcept { return label_; }
  /// The priority of the threads the queue's work runs on.
  [[nodiscard]] DispatchQueuePriority priority() const noexcept { return priority_; }

  struct Impl;
  /// Made by the queue factory functions; use those.
  DispatchQueue(Kind kind, String label, DispatchQueuePriority priority);
  ~DispatchQueue();

 private:
  Kind kind_;
  String label_;
  DispatchQueuePriority priority_;
  std::unique_ptr<Impl> impl_;
};

/// A timer event source. Made suspended; `resume` starts it. Its event
/// handler runs on the target queue, never twice at the same time; events
/// that come while the handler still runs are merged into one more call.
/// A running source keeps itself alive until `cancel`. Thread-safe.
class DispatchTimerSource : public std::enable_shared_from_this<DispatchTimerSource> {
 public:
  /// Marks a one-shot timer in `setTimer`.
  static constexpr Clock::Duration kForever = Clock::Duration::max();

  /// A suspended timer source delivering on `queue`.
  static std::shared_ptr<DispatchTimerSource> make(std::shared_ptr<DispatchQueue> queue);
  ~DispatchTimerSource();

  /// First event at `start` (by the current clock), then every `interval`
  /// (`kForever`: one event only); `leeway` is how late an event may come.
  /// Recorded and reported; events are not delayed on purpose. Re-arms a
  /// running source.
  void setTimer(Clock::TimePoint start, Clock::Duration interval, Clock::Duration leeway);
  /// The block run at each firing, on the source's queue.
  void setEventHandler(std::function<void()> handler);
  /// Runs on the target queue once, after `cancel`.
  void setCancelHandler(std::function<void()> handler);
  /// Starts the source; later calls do nothing (the platform forbids
  /// resuming a running source; we choose to ignore it).
  void resume();
  /// Stops the source for good: no event handler call starts afterwards, the
  /// handlers are released, the cancel handler is submitted.
  void cancel();
  /// Whether `cancel` was called.
  [[nodiscard]] bool testCancel() const noexcept { return cancelled_.load(); }
  /// How late a firing may come.
  [[nodiscard]] Clock::Duration leeway() const;
  /// The repeat interval; zero for a one-shot timer.
  [[nodiscard]] Clock::Duration interval() const;

  /// Use `make`, which sets up the source's ownership.
  explicit DispatchTimerSource(std::shared_ptr<DispatchQueue> queue);

 private:
  void onAlarm();
  void deliver();
  void armLocked();

  std::shared_ptr<DispatchQueue> queue_;
  std::atomic<bool> cancelled_{false};
  mutable std::mutex mutex_;
  std::shared_ptr<detail::ClockAlarm> alarm_;
  Clock::TimePoint deadline_{};
  Clock::Duration interval_ = kForever;
  Clock::Duration leeway_{};
  bool configured_ = false;
  bool resumed_ = false;
  bool inFlight_ = false;
  bool again_ = false;
  std::shared_ptr<std::function<void()>> handler_;
  std::function<void()> cancelHandler_;
  std::shared_ptr<DispatchTimerSource> selfWhileRunning_;
};

}  // namespace lx
