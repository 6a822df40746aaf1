#include "vantorcore/concurrency/LXMessageQueue.h"

#include "vantorcore/platform/Log.h"
#include "vantorcore/platform/StringFormat.h"

namespace lx {

LX_DEFINE_CLASS(LXQueuedMessage, Object)
LX_DEFINE_CLASS(LXBlockMessage, LXQueuedMessage)
LX_DEFINE_CLASS(LXMessageQueue, Object)

LXQueuedMessage::LXQueuedMessage(std::optional<String> name, std::shared_ptr<Object> object)
    : name_(std::move(name)), object_(std::move(object)) {}

String LXQueuedMessage::description() const {
  return stringWithFormat(u"%@ name:%@ object:%@", Object::description(), name_, object_);
}

void LXBlockMessage::deliver() {
  if (messageBlock_) messageBlock_();
  LXQueuedMessage::deliver();
}

namespace {

// Whether a post under `mask` can replace anything at all: name matching
// needs a non-empty name, object matching an object.
bool canCoalesce(unsigned mask, const LXQueuedMessage& message) {
  bool hasName = message.name() && !message.name()->empty();
  bool hasObject = message.object() != nullptr;
  switch (mask) {
    case LXMessageCoalesceByName:
      return hasName;
    case LXMessageCoalesceByObject:
      return hasObject;
    case LXMessageCoalesceByNameAndObject:
      return hasName && hasObject;
    default:
      return false;
  }
}

bool coalesces(unsigned mask, const LXQueuedMessage& queued, const LXQueuedMessage& message) {
  bool sameName = queued.name() && *queued.name() == *message.name();
  bool sameObject = queued.object() == message.object();
  switch (mask) {
    case LXMessageCoalesceByName:
      return sameName;
    case LXMessageCoalesceByObject:
      return sameObject;
    default:
      return sameName && sameObject;
  }
}

}  // namespace

std::shared_ptr<LXMessageQueue> LXMessageQueue::messageQueue() {
  return std::make_shared<LXMessageQueue>();
}

LXMessageQueue::LXMessageQueue() : targetThread_(Thread::main()) {}
LXMessageQueue::~LXMessageQueue() = default;

void LXMessageQueue::enqueueBlock(std::function<void()> block) {
  enqueueMessage(std::make_shared<LXBlockMessage>(std::move(block)), LXMessageCoalesceNone);
}

void LXMessageQueue::enqueueMessageWithName(std::optional<String> name,
                                            std::shared_ptr<Object> object, unsigned mask,
                                            std::function<void()> block) {
  enqueueMessage(
      std::make_shared<LXBlockMessage>(std::move(name), std::move(object), std::move(block)), mask);
}

void LXMessageQueue::enqueueMessage(std::shared_ptr<LXQueuedMessage> message, unsigned mask) {
  if (!message) return;
  std::vector<std::shared_ptr<LXQueuedMessage>> coalesced;  // released outside the lock
  std::lock_guard lock(queueAccessLock_);
  if (!queuedMessages_.empty()) {
    if (canCoalesce(mask, *message)) {
      std::erase_if(queuedMessages_, [&](std::shared_ptr<LXQueuedMessage>& queued) {
        if (!coalesces(mask, *queued, *message)) return false;
        coalesced.push_back(std::move(queued));
        return true;
      });
    }
    queuedMessages_.push_back(std::move(message));
    return;
  }
  queuedMessages_.push_back(std::move(message));
  if (!queueTimer_) {
    // The timer's closure keeps the queue alive while it paces.
    queueTimer_ = LXGCDTimer::scheduledTolerantTimerWithTimeInterval(
        throttleInterval(), true,
        [self = sharedAs<LXMessageQueue>()](LXGCDTimer& timer) { self->timerFired(timer); });
  }
}

void LXMessageQueue::timerFired(LXGCDTimer& timer) {
  std::shared_ptr<LXGCDTimer> stopped;  // released outside the lock
  {
    std::lock_guard lock(queueAccessLock_);
    if (queuedMessages_.empty()) {
      if (queueTimer_.get() == &timer) {
        stopped = std::move(queueTimer_);
      } else {
        LXConditionFailed(u"Timer is unexpected value");
      }
      timer.invalidate();
      return;
    }
  }
  deliverQueuedMessages();
}

void LXMessageQueue::cancelPendingDelivery() {
  std::shared_ptr<std::atomic<bool>> pending;
  {
    std::lock_guard lock(queueAccessLock_);
    pending = std::move(pendingDelivery_);
  }
  if (pending) pending->store(true);
}

void LXMessageQueue::deliverQueuedMessages() {
  cancelPendingDelivery();
  auto thread = targetThread();
  if (!thread) return;
  if (Thread::current() == thread) {
    deliverQueuedMessagesOnTargetThread();
    return;
  }
  auto cancelled = std::make_shared<std::atomic<bool>>(false);
  {
    std::lock_guard lock(queueAccessLock_);
    pendingDelivery_ = cancelled;
  }
  Thread::perform(
      thread,
      [self = sharedAs<LXMessageQueue>(), cancelled] {
        if (!cancelled->load()) self->deliverQueuedMessagesOnTargetThread();
      },
      false, commonRunLoopModes());
}

void LXMessageQueue::deliverQueuedMessagesOnTargetThread() {
  std::vector<std::shared_ptr<LXQueuedMessage>> batch;
  {
    std::lock_guard lock(queueAccessLock_);
    auto n = static_cast<std::size_t>(
        std::min<std::uint64_t>(maximumMessageDeliveryCount(), queuedMessages_.size()));
    batch.assign(std::make_move_iterator(queuedMessages_.begin()),
                 std::make_move_iterator(queuedMessages_.begin() + static_cast<std::ptrdiff_t>(n)));
    queuedMessages_.erase(queuedMessages_.begin(),
                          queuedMessages_.begin() + static_cast<std::ptrdiff_t>(n));
  }
  if (auto d = delegate()) d->messageQueueWillBeginDelivery(*this);
  for (auto& message : batch) message->deliver();
  if (auto d = delegate()) d->messageQueueDidFinishDelivery(*this);
}

void LXMessageQueue::cancelQueuedMessages() {
  cancelPendingDelivery();
  std::deque<std::shared_ptr<LXQueuedMessage>> discarded;  // released outside the lock
  std::shared_ptr<LXGCDTimer> timer;
  std::lock_guard lock(queueAccessLock_);
  discarded.swap(queuedMessages_);
  if (queueTimer_) {
    timer = std::move(queueTimer_);
    timer->invalidate();
  }
}

std::size_t LXMessageQueue::queuedMessageCount() const {
  std::lock_guard lock(queueAccessLock_);
  return queuedMessages_.size();
}

bool LXMessageQueue::isPacing() const {
  std::lock_guard lock(queueAccessLock_);
  return queueTimer_ != nullptr;
}

std::shared_ptr<Thread> LXMessageQueue::targetThread() const {
  std::lock_guard lock(propertyLock_);
  return targetThread_.lock();
}

void LXMessageQueue::setTargetThread(const std::shared_ptr<Thread>& thread) {
  std::lock_guard lock(propertyLock_);
  targetThread_ = thread;
}

std::shared_ptr<LXMessageQueueDelegate> LXMessageQueue::delegate() const {
  std::lock_guard lock(propertyLock_);
  return delegate_.lock();
}

void LXMessageQueue::setDelegate(const std::shared_ptr<LXMessageQueueDelegate>& delegate) {
  std::lock_guard lock(propertyLock_);
  delegate_ = delegate;
}

}  // namespace lx
