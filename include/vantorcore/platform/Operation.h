// `Operation` and `OperationQueue`: units of work with a lifecycle that is
// announced through key-value observation ("isExecuting", "isFinished"), and
// a queue that starts them on the global dispatch queue.
#pragma once

#include "vantorcore/Export.h"

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "vantorcore/platform/Observable.h"

namespace LX_API lx {

class Operation : public Observable {
  LX_DECLARE_CLASS(Operation)

 public:
  Operation();
  ~Operation() override;

  /// Runs the operation on the calling thread: a cancelled operation just
  /// becomes finished; otherwise executing, `main`, finished, each change
  /// announced. Asynchronous subclasses override it and announce "isFinished"
  /// themselves when done.
  virtual void start();
  /// The work; nothing by default.
  virtual void main() {}
  /// Sets the cancel flag (announced as "isCancelled"); the work must look.
  virtual void cancel();

  /// The operation's state, as an operation queue reads it.
  ///@{
  [[nodiscard]] virtual bool isExecuting() const;
  [[nodiscard]] virtual bool isFinished() const;
  [[nodiscard]] virtual bool isAsynchronous() const { return false; }
  [[nodiscard]] bool isCancelled() const noexcept { return cancelled_.load(); }
  ///@}

  /// Runs (on the finishing thread) once the operation is announced finished.
  void setCompletionBlock(std::function<void()> block);
  /// Blocks until the operation is announced finished. Never call it from the
  /// operation's own work.
  void waitUntilFinished();

  /// "isExecuting", "isFinished", "isCancelled" as booleans.
  [[nodiscard]] std::optional<Value> valueForKey(StringView key) const override;
  /// Announces state changes, as key-value observers of the queue expect.
  void didChangeValueForKey(StringView key) override;

 private:
  std::atomic<bool> cancelled_{false};
  std::atomic<bool> executing_{false};
  std::atomic<bool> finished_{false};
  std::mutex finishMutex_;
  std::condition_variable finishedCondition_;
  bool announcedFinished_ = false;
  std::function<void()> completion_;
};

/// A closure as an operation.
class BlockOperation : public Operation {
 public:
  /// An operation that runs `block` once.
  explicit BlockOperation(std::function<void()> block) : block_(std::move(block)) {}
  void main() override {
    if (block_) block_();
  }

 private:
  std::function<void()> block_;
};

/// Starts its operations on the default-priority global dispatch queue, at
/// most `maxConcurrentOperationCount` at a time, in the order added, and
/// keeps each until it is announced finished. Thread-safe.
class OperationQueue {
 public:
  OperationQueue();
  ~OperationQueue();
  OperationQueue(const OperationQueue&) = delete;
  OperationQueue& operator=(const OperationQueue&) = delete;

  /// Queues `operation`; it starts when a slot is free.
  void addOperation(std::shared_ptr<Operation> operation);
  /// Queues `block` as an operation.
  void addOperationWithBlock(std::function<void()> block);
  /// Operations added and not yet finished.
  [[nodiscard]] std::size_t operationCount() const;
  /// 0 or less means no limit (the default).
  void setMaxConcurrentOperationCount(int count);
  /// Cancels every queued and running operation.
  void cancelAllOperations();
  /// Blocks until every operation added so far has finished.
  void waitUntilAllOperationsAreFinished();

 private:
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace lx
