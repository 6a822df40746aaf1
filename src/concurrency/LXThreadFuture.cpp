#include "vantorcore/concurrency/LXThreadFuture.h"

#include "vantorcore/concurrency/Thread+LXAdditions.h"

namespace lx {

LX_DEFINE_CLASS(LXThreadFuture, Object)

LXThreadFuture::LXThreadFuture(std::optional<String> name) : name_(std::move(name)) {}

std::shared_ptr<Thread> LXThreadFuture::thread() {
  std::unique_lock lock(mutex_);
  known_.wait(lock, [&] { return thread_ != nullptr; });
  return thread_;
}

void LXThreadFuture::setThread(std::shared_ptr<Thread> thread) {
  std::lock_guard lock(mutex_);
  thread_ = std::move(thread);
  if (!thread_) return;
  if (name_) lx_setName(thread_, *std::exchange(name_, std::nullopt));
  known_.notify_all();
}

void LXThreadFuture::setName(StringView name) {
  std::lock_guard lock(mutex_);
  if (thread_) {
    lx_setName(thread_, name);
  } else {
    name_ = String(name);
  }
}

}  // namespace lx
