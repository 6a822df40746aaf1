#include "vantorcore/concurrency/LXInvocation.h"
#include "vantorcore/concurrency/LXMessageQueue.h"
#include "vantorcore/concurrency/Thread+LXAdditions.h"

namespace lx {

void pthread_setname_np(Thread& thread, StringView name) {
  thread.Thread::setName(name);  // not virtual: a subclass's setName comes back here
  if (Thread::current().get() != &thread) return;
  StringView kernelName = name;
  if (kernelName.starts_with(LXThreadNamePrefix) && kernelName.size() > LXThreadNamePrefix.size()) {
    kernelName.remove_prefix(LXThreadNamePrefix.size());
  }
  Thread::setCurrentKernelName(kernelName);
}

void lx_setName(const std::shared_ptr<Thread>& thread, StringView name) {
  if (!thread) return;
  String full = String(LXThreadNamePrefix) + String(name);
  if (Thread::current() == thread) {
    pthread_setname_np(*thread, full);
    return;
  }
  thread->Thread::setName(full);
  Thread::perform(
      thread, [thread, full] { pthread_setname_np(*thread, full); }, false);
}

String lx_name(const Thread& thread) {
  String name = thread.name();
  if (StringView(name).starts_with(LXThreadNamePrefix)) name.erase(0, LXThreadNamePrefix.size());
  return name;
}

void lx_beginThreadWithFuture(const std::shared_ptr<Object>& receiver,
                              const std::shared_ptr<LXThreadFuture>& future,
                              const std::string& selector, const Value& object) {
  future->setThread(Thread::current());
  if (auto invocation = LXInvocation::make(receiver, selector)) invocation->invoke();
}

std::shared_ptr<LXThreadFuture> lx_detachNewThreadSelector(std::string selector,
                                                           std::shared_ptr<Object> target,
                                                           Value object,
                                                           std::optional<String> name) {
  auto future = std::make_shared<LXThreadFuture>(std::move(name));
  Thread::detachNewThread(
      [future, selector = std::move(selector), target = std::move(target),
       object = std::move(object)] { lx_beginThreadWithFuture(target, future, selector, object); });
  return future;
}

std::shared_ptr<LXThreadFuture> lx_detachNewThread(std::function<void()> body,
                                                   std::optional<String> name) {
  auto future = std::make_shared<LXThreadFuture>(std::move(name));
  Thread::detachNewThread([future, body = std::move(body)] {
    future->setThread(Thread::current());
    if (body) body();
  });
  return future;
}

namespace {
// Closures travel between threads as block messages, as queued messages do.
std::function<void()> asMessage(std::function<void()> block) {
  auto message = std::make_shared<LXBlockMessage>(std::move(block));
  return [message] { message->deliver(); };
}
}  // namespace

void lx_performAsyncBlock(const std::shared_ptr<Thread>& thread, std::function<void()> block) {
  if (!block) return;
  Thread::perform(thread, asMessage(std::move(block)), false);
}

void lx_performSyncBlock(const std::shared_ptr<Thread>& thread, std::function<void()> block) {
  if (!block) return;
  if (Thread::current() == thread) {
    block();
    return;
  }
  Thread::perform(thread, asMessage(std::move(block)), true);
}

}  // namespace lx
