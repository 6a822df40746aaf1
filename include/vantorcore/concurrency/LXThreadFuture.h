// `LXThreadFuture`: the handle of a thread that is being started, available
// once the new thread runs.
#pragma once

#include "vantorcore/Export.h"

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>

#include "vantorcore/platform/Thread.h"

namespace LX_API lx {

class LXThreadFuture : public Object {
  LX_DECLARE_CLASS(LXThreadFuture)

 public:
  /// A future whose thread will be named `name` (through `lx_setName`) as
  /// soon as it is known; no name when absent.
  explicit LXThreadFuture(std::optional<String> name = std::nullopt);

  /// The thread; blocks until it is known. Any thread, any number of waiters.
  [[nodiscard]] std::shared_ptr<Thread> thread();
  /// Makes the thread known (a null thread is recorded but wakes nobody),
  /// applies a pending name and wakes every waiter.
  void setThread(std::shared_ptr<Thread> thread);
  /// Names the thread now if it is known, else when it becomes known.
  void setName(StringView name);

 private:
  std::mutex mutex_;
  std::condition_variable known_;
  std::shared_ptr<Thread> thread_;
  std::optional<String> name_;
};

}  // namespace lx
