#include "vantorcore/platform/Operation.h"

#include <algorithm>

#include "vantorcore/platform/DispatchQueue.h"

namespace lx {

LX_DEFINE_CLASS(Operation, Observable)

Operation::Operation() = default;
Operation::~Operation() = default;

void Operation::start() {
  if (isCancelled()) {
    willChangeValueForKey(u"isFinished");
    finished_ = true;
    didChangeValueForKey(u"isFinished");
    return;
  }
  willChangeValueForKey(u"isExecuting");
  executing_ = true;
  didChangeValueForKey(u"isExecuting");
  main();
  willChangeValueForKey(u"isExecuting");
  willChangeValueForKey(u"isFinished");
  executing_ = false;
  finished_ = true;
  didChangeValueForKey(u"isFinished");
  didChangeValueForKey(u"isExecuting");
}

void Operation::cancel() {
  if (isCancelled()) return;
  willChangeValueForKey(u"isCancelled");
  cancelled_ = true;
  didChangeValueForKey(u"isCancelled");
}

bool Operation::isExecuting() const { return executing_.load(); }
bool Operation::isFinished() const { return finished_.load(); }

void Operation::setCompletionBlock(std::function<void()> block) {
  std::lock_guard lock(finishMutex_);
  completion_ = std::move(block);
}

void Operation::waitUntilFinished() {
  std::unique_lock lock(finishMutex_);
  finishedCondition_.wait(lock, [&] { return announcedFinished_; });
}

std::optional<Value> Operation::valueForKey(StringView key) const {
  if (key == u"isExecuting") return Value(isExecuting());
  if (key == u"isFinished") return Value(isFinished());
  if (key == u"isCancelled") return Value(isCancelled());
  return std::nullopt;
}

void Operation::didChangeValueForKey(StringView key) {
  Observable::didChangeValueForKey(key);
  if (key != u"isFinished" || !isFinished()) return;
  std::function<void()> completion;
  {
    std::lock_guard lock(finishMutex_);
    if (announcedFinished_) return;
    announcedFinished_ = true;
    completion = std::move(completion_);
    finishedCondition_.notify_all();
  }
  if (completion) completion();
}

struct OperationQueue::State : KeyValueObserver, std::enable_shared_from_this<State> {
  mutable std::mutex mutex;
  std::condition_variable allFinished;
  std::vector<std::shared_ptr<Operation>> operations;  // added, not finished
  std::deque<std::shared_ptr<Operation>> waiting;      // not yet started
  int maxConcurrent = 0;
  int running = 0;

  void startAvailableLocked() {
    while (!waiting.empty() && (maxConcurrent <= 0 || running < maxConcurrent)) {
      auto op = std::move(waiting.front());
      waiting.pop_front();
      ++running;
      DispatchQueue::global()->async([op] { op->start(); });
    }
  }

  void observeValueForKeyPath(const String&, Object& object, const Dictionary&, void*) override {
    auto* op = dynamic_cast<Operation*>(&object);
    if (!op || !op->isFinished()) return;
    std::shared_ptr<Operation> finished;  // released outside the lock
    std::lock_guard lock(mutex);
    auto it =
        std::find_if(operations.begin(), operations.end(), [op](auto& o) { return o.get() == op; });
    if (it == operations.end()) return;
    finished = std::move(*it);
    operations.erase(it);
    --running;
    startAvailableLocked();
    if (operations.empty()) allFinished.notify_all();
  }
};

OperationQueue::OperationQueue() : state_(std::make_shared<State>()) {}
OperationQueue::~OperationQueue() = default;

void OperationQueue::addOperation(std::shared_ptr<Operation> operation) {
  if (!operation) return;
  operation->addObserver(state_, u"isFinished", 0);
  std::lock_guard lock(state_->mutex);
  state_->operations.push_back(operation);
  state_->waiting.push_back(std::move(operation));
  state_->startAvailableLocked();
}

void OperationQueue::addOperationWithBlock(std::function<void()> block) {
  addOperation(std::make_shared<BlockOperation>(std::move(block)));
}

std::size_t OperationQueue::operationCount() const {
  std::lock_guard lock(state_->mutex);
  return state_->operations.size();
}

void OperationQueue::setMaxConcurrentOperationCount(int count) {
  std::lock_guard lock(state_->mutex);
  state_->maxConcurrent = count;
  state_->startAvailableLocked();
}

void OperationQueue::cancelAllOperations() {
  std::vector<std::shared_ptr<Operation>> operations;
  {
    std::lock_guard lock(state_->mutex);
    operations = state_->operations;
  }
  for (auto& op : operations) op->cancel();
}

void OperationQueue::waitUntilAllOperationsAreFinished() {
  std::unique_lock lock(state_->mutex);
  state_->allFinished.wait(lock, [&] { return state_->operations.empty(); });
}

}  // namespace lx
