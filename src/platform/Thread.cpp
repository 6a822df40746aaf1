#include "vantorcore/platform/Thread.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <mutex>

namespace lx {

LX_DEFINE_CLASS(Thread, Object)

namespace {
bool callingThreadIsInitial() noexcept {
  return static_cast<pid_t>(syscall(SYS_gettid)) == getpid();
}

std::mutex& mainMutex() {
  static std::mutex m;
  return m;
}
std::shared_ptr<Thread>& mainRecord() {
  static auto* record = new std::shared_ptr<Thread>;  // outlives static destruction
  return *record;
}
}  // namespace

Thread::Thread() : isMain_(callingThreadIsInitial()) {}
Thread::~Thread() = default;

std::shared_ptr<Thread> Thread::current() {
  if (callingThreadIsInitial()) return main();
  thread_local std::shared_ptr<Thread> record = std::make_shared<Thread>();
  return record;
}

std::shared_ptr<Thread> Thread::main() {
  std::lock_guard lock(mainMutex());
  auto& record = mainRecord();
  if (!record) {
    record = std::make_shared<Thread>();
    record->isMain_ = true;
  }
  return record;
}

bool Thread::isMainThread() noexcept { return callingThreadIsInitial(); }

}  // namespace lx
