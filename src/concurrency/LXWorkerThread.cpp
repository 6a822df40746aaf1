#include "vantorcore/concurrency/LXWorkerThread.h"

#include <limits>

#include "vantorcore/concurrency/Thread+LXAdditions.h"
#include "vantorcore/platform/Exception.h"
#include "vantorcore/platform/Log.h"
#include "vantorcore/platform/Timer.h"
#include "vantorcore/text/DebugLogging.h"

namespace lx {

LX_DEFINE_CLASS(LXWorkerThread, Thread)

LXWorkerThread::LXWorkerThread() : runLoopInterval_(std::numeric_limits<double>::max()) {}

void LXWorkerThread::threadMain() {
  auto loop = RunLoop::current();
  auto placeholder = Timer::make(Date::distantFuture(), 0, false, [](Timer&) {});
  loop->addTimer(placeholder, DefaultRunLoopMode);
  while (!isCancelled()) {
    try {
      Date limit = Clock::current()->currentDate().addingTimeInterval(runLoopInterval());
      loop->runMode(DefaultRunLoopMode, limit);
    } catch (const Exception& e) {
      if (LXDebugLoggingIsEnabled()) logFormat(u"caught exception %@", e.reason());
    } catch (const std::exception& e) {
      if (LXDebugLoggingIsEnabled()) logFormat(u"caught exception %@", fromUTF8(e.what()));
    }
  }
  if (placeholder->isValid()) placeholder->invalidate();
  std::lock_guard lock(statusMutex_);
  status_ = 1;
  statusChanged_.notify_all();
}

void LXWorkerThread::setRunLoopInterval(const Value& seconds) {
  runLoopInterval_.store(seconds.doubleValue());
}

void LXWorkerThread::finish() {
  auto self = sharedAs<LXWorkerThread>();
  if (Thread::current() == self) {
    cancel();
    return;
  }
  Thread::perform(
      self, [self] { self->setRunLoopInterval(Value(0.01)); }, false);
  cancel();
  if (!isExecuting()) return;  // never started, or already ended
  std::unique_lock lock(statusMutex_);
  statusChanged_.wait(lock, [&] { return status_ == 1 || isFinished(); });
}

int LXWorkerThread::status() const {
  std::lock_guard lock(statusMutex_);
  return status_;
}

void LXWorkerThread::setName(StringView name) {
  Thread::setName(name);
  lx_setName(sharedAs<Thread>(), name);
}

}  // namespace lx
