#include "vantorcore/platform/Thread.h"

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <condition_variable>
#include <thread>

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

// Linux's limits: 16 bytes with the terminator for the kernel, 64 for ours.
constexpr std::size_t kKernelNameBytes = 15;
constexpr std::size_t kRecordNameBytes = 63;
}  // namespace

// Keeps the calling thread's record alive while the thread runs and tells it
// when the thread ends, so performs to it are dropped from then on.
struct ThreadSlot {
  std::shared_ptr<Thread> record;
  ~ThreadSlot() {
    if (record) record->markExited();
  }
};
thread_local ThreadSlot tSlot;

std::string truncatedUTF8(StringView text, std::size_t maxBytes) {
  std::string utf8 = toUTF8(text);
  if (utf8.size() <= maxBytes) return utf8;
  std::size_t cut = maxBytes;
  // Step back over continuation bytes to the start of the cut character.
  while (cut > 0 && (static_cast<unsigned char>(utf8[cut]) & 0xC0) == 0x80) --cut;
  utf8.resize(cut);
  return utf8;
}

Thread::Thread(std::function<void()> body) : body_(std::move(body)) {}
Thread::~Thread() = default;

std::shared_ptr<Thread> Thread::current() {
  if (callingThreadIsInitial()) return main();
  if (!tSlot.record) {
    tSlot.record = std::make_shared<Thread>();
    tSlot.record->state_ = State::Executing;
  }
  return tSlot.record;
}

std::shared_ptr<Thread> Thread::main() {
  std::lock_guard lock(mainMutex());
  auto& record = mainRecord();
  if (!record) {
    record = std::make_shared<Thread>();
    record->isMain_ = true;
    record->state_ = State::Executing;
  }
  return record;
}

bool Thread::isMainThread() noexcept { return callingThreadIsInitial(); }

std::shared_ptr<Thread> Thread::detachNewThread(std::function<void()> body) {
  auto thread = std::make_shared<Thread>(std::move(body));
  thread->start();
  return thread;
}

std::shared_ptr<RunLoop> Thread::runLoop() {
  std::lock_guard lock(mutex_);
  if (!runLoop_) {
    runLoop_ = RunLoop::make();
    if (exited_) runLoop_->invalidate();
  }
  return runLoop_;
}

void Thread::start() {
  auto self = sharedAs<Thread>();
  State expected = State::New;
  if (!self || isMain_ || !state_.compare_exchange_strong(expected, State::Executing)) return;
  std::thread([self] {
    tSlot.record = self;
    if (auto name = self->name(); !name.empty()) setCurrentKernelName(name);
    self->threadMain();
    // The body may hold the record itself (a thread future does, through its
    // invocation): let go of it once it has run, or the two keep each other.
    self->body_ = nullptr;
    self->state_ = State::Finished;
    // The slot's destructor marks the record exited when the thread ends.
  }).detach();
}

void Thread::threadMain() {
  if (body_) body_();
}

void Thread::markExited() {
  std::shared_ptr<RunLoop> loop;
  {
    std::lock_guard lock(mutex_);
    exited_ = true;
    loop = runLoop_;
  }
  if (loop) loop->invalidate();
  state_ = State::Finished;
}

String Thread::name() const {
  std::lock_guard lock(mutex_);
  return name_;
}

void Thread::setName(StringView name) {
  String cut = fromUTF8(truncatedUTF8(name, kRecordNameBytes));
  {
    std::lock_guard lock(mutex_);
    name_ = cut;
  }
  if (current().get() == this) setCurrentKernelName(cut);
}

bool Thread::setCurrentKernelName(StringView name) {
  return pthread_setname_np(pthread_self(), truncatedUTF8(name, kKernelNameBytes).c_str()) == 0;
}

String Thread::currentKernelName() {
  char buffer[kKernelNameBytes + 1] = {};
  if (pthread_getname_np(pthread_self(), buffer, sizeof buffer) != 0) return {};
  return fromUTF8(buffer);
}

bool Thread::perform(const std::shared_ptr<Thread>& thread, std::function<void()> closure,
                     bool wait, const RunLoopModes& modes) {
  if (!thread || !closure) return false;
  if (wait && current() == thread) {
    closure();
    return true;
  }
  auto loop = thread->runLoop();
  if (!wait) return loop->perform(std::move(closure), modes);

  struct Waiter {
    std::mutex mutex;
    std::condition_variable done;
    bool finished = false;
    bool ran = false;
  };
  // Signals the waiter when the run loop lets go of the closure, whether it
  // ran it or dropped it because the thread exited.
  struct Release {
    explicit Release(std::shared_ptr<Waiter> w) : waiter(std::move(w)) {}
    Release(const Release&) = delete;
    Release& operator=(const Release&) = delete;
    std::shared_ptr<Waiter> waiter;
    ~Release() {
      std::lock_guard lock(waiter->mutex);
      waiter->finished = true;
      waiter->done.notify_all();
    }
  };
  auto waiter = std::make_shared<Waiter>();
  auto release = std::make_shared<Release>(waiter);
  bool queued = loop->perform(
      [closure = std::move(closure), release = std::move(release)] {
        closure();
        std::lock_guard lock(release->waiter->mutex);
        release->waiter->ran = true;
      },
      modes);
  if (!queued) return false;
  std::unique_lock lock(waiter->mutex);
  waiter->done.wait(lock, [&] { return waiter->finished; });
  return waiter->ran;
}

}  // namespace lx
