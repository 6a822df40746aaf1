// `LXMessageQueue`: a throttled, coalescing mailbox. Any thread posts small
// messages; the queue hands them over in posting order, in batches of at most
// `maximumMessageDeliveryCount`, at most once per `throttleInterval`, on its
// target thread (the main thread by default) through that thread's run loop
// in the common modes.
#pragma once

#include "vantorcore/Export.h"

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "vantorcore/concurrency/LXGCDTimer.h"
#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/Thread.h"

namespace LX_API lx {

class LXMessageQueue;

/// Which queued messages a new post replaces (bit 1: same name, bit 2: the
/// very same object). Any other value replaces nothing.
enum LXMessageCoalescingMask : unsigned {
  LXMessageCoalesceNone = 0,
  LXMessageCoalesceByName = 1,
  LXMessageCoalesceByObject = 2,
  LXMessageCoalesceByNameAndObject = 3,
};

/// Told around every batch, on the target thread, also for empty batches.
/// Both calls are optional (default: nothing).
class LXMessageQueueDelegate {
 public:
  virtual ~LXMessageQueueDelegate() = default;
  /// Called on the delivery thread before the first and after the last message of each delivery
  /// round.
  ///@{
  virtual void messageQueueWillBeginDelivery(LXMessageQueue& queue) {}
  virtual void messageQueueDidFinishDelivery(LXMessageQueue& queue) {}
  ///@}
};

/// A queued message: a name and an object, both optional and fixed when the
/// message is made (so any thread may read them without a lock). `deliver`
/// does nothing here; subclasses override it.
class LXQueuedMessage : public Object {
  LX_DECLARE_CLASS(LXQueuedMessage)

 public:
  /// A message with an optional name and payload object (either may be absent).
  LXQueuedMessage(std::optional<String> name, std::shared_ptr<Object> object);
  /// Called on the target thread when the message's batch is delivered.
  virtual void deliver() {}
  /// "<LXQueuedMessage: 0x...> name:<name> object:<object>" ("(null)" for
  /// absent parts).
  [[nodiscard]] String description() const override;

  /// The message's name (absent for an anonymous message) and payload (may be null).
  ///@{
  [[nodiscard]] const std::optional<String>& name() const noexcept { return name_; }
  [[nodiscard]] const std::shared_ptr<Object>& object() const noexcept { return object_; }
  ///@}

 private:
  const std::optional<String> name_;
  const std::shared_ptr<Object> object_;
};

/// A message that runs a closure when delivered. The closure must not be
/// empty: an empty one is simply not called.
class LXBlockMessage : public LXQueuedMessage {
  LX_DECLARE_CLASS(LXBlockMessage)

  ///@{
 public:
  /// A message that runs `block` when delivered.
  explicit LXBlockMessage(std::function<void()> block)
      : LXBlockMessage(std::nullopt, nullptr, std::move(block)) {}
  LXBlockMessage(std::optional<String> name, std::shared_ptr<Object> object,
                 std::function<void()> block)
      : LXQueuedMessage(std::move(name), std::move(object)), messageBlock_(std::move(block)) {}
  ///@}

  /// Calls the closure, then the base class's `deliver`.
  void deliver() override;
  /// The block run on delivery.
  [[nodiscard]] const std::function<void()>& messageBlock() const noexcept { return messageBlock_; }

 private:
  std::function<void()> messageBlock_;
};

class LXMessageQueue : public Object {
  LX_DECLARE_CLASS(LXMessageQueue)

 public:
  /// A new idle queue: throttle 0.33 s, 100 messages per batch, the main
  /// thread as target, no delegate.
  static std::shared_ptr<LXMessageQueue> messageQueue();
  LXMessageQueue();
  ~LXMessageQueue() override;

  /// Posts a closure with no name and no object. Any thread.
  void enqueueBlock(std::function<void()> block);
  /// Posts a block message with `name` and `object` under `mask`.
  void enqueueMessageWithName(std::optional<String> name, std::shared_ptr<Object> object,
                              unsigned mask, std::function<void()> block);
  /// Posts `message` (ignored when null). With a mask, every still-queued
  /// message it matches is removed first, so the new one goes out once, at
  /// the end of the queue: name matching needs a non-empty name, object
  /// matching a non-null object (by identity), mask 3 both. The first post
  /// into an idle queue starts the pacing timer; its first tick comes one
  /// throttle interval later. Any thread; never blocks on delivery.
  void enqueueMessage(std::shared_ptr<LXQueuedMessage> message, unsigned mask = 0);

  /// Delivers the next batch now: at once when called on the target thread,
  /// otherwise through the target thread's run loop (a request still pending
  /// from an earlier call is replaced). With the target thread gone the
  /// request is dropped and messages stay queued until cancelled.
  void deliverQueuedMessages();
  /// Discards every queued message and stops the pacing timer. A batch
  /// already taken out is still delivered.
  void cancelQueuedMessages();

  /// Messages waiting now.
  [[nodiscard]] std::size_t queuedMessageCount() const;
  /// Whether the pacing timer exists (the queue is not idle).
  [[nodiscard]] bool isPacing() const;

  /// The thread messages are delivered on; null until the queue has one.
  [[nodiscard]] std::shared_ptr<Thread> targetThread() const;
  /// Held weakly.
  void setTargetThread(const std::shared_ptr<Thread>& thread);
  /// Seconds between ticks; a change applies to the next pacing timer only.
  ///@{
  [[nodiscard]] double throttleInterval() const noexcept { return throttleInterval_.load(); }
  void setThrottleInterval(double seconds) noexcept { throttleInterval_.store(seconds); }
  ///@}
  /// The most messages delivered in one round (100 unless set).
  ///@{
  [[nodiscard]] std::uint64_t maximumMessageDeliveryCount() const noexcept {
    return maximumMessageDeliveryCount_.load();
  }
  void setMaximumMessageDeliveryCount(std::uint64_t count) noexcept {
    maximumMessageDeliveryCount_.store(count);
  }
  ///@}
  /// The delegate, held weakly; null when none was set or it is gone.
  [[nodiscard]] std::shared_ptr<LXMessageQueueDelegate> delegate() const;
  /// Held weakly.
  void setDelegate(const std::shared_ptr<LXMessageQueueDelegate>& delegate);

  /// Takes one batch off the queue and delivers it on the calling thread,
  /// between the two delegate calls. Used on the target thread.
  void deliverQueuedMessagesOnTargetThread();

 private:
  void timerFired(LXGCDTimer& timer);
  void cancelPendingDelivery();

  mutable std::mutex queueAccessLock_;
  std::deque<std::shared_ptr<LXQueuedMessage>> queuedMessages_;
  std::shared_ptr<LXGCDTimer> queueTimer_;
  std::shared_ptr<std::atomic<bool>> pendingDelivery_;  // cancel flag of the last request

  mutable std::mutex propertyLock_;
  std::weak_ptr<Thread> targetThread_;
  std::weak_ptr<LXMessageQueueDelegate> delegate_;
  std::atomic<double> throttleInterval_{0.33};
  std::atomic<std::uint64_t> maximumMessageDeliveryCount_{100};
};

}  // namespace lx
