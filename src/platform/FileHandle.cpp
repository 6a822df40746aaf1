#include "vantorcore/platform/FileHandle.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/post.hpp>
#include <cerrno>
#include <condition_variable>
#include <thread>

#include "vantorcore/platform/DispatchEngine.h"
#include "vantorcore/platform/Log.h"

namespace lx {

namespace asio = boost::asio;

namespace {

// One read never asks for more than this, so a reader that keeps up sees
// bounded chunks even from a fast producer.
constexpr std::size_t kMaximumReadLength = 256 * 1024;

// Writing to a pipe whose reader has gone raises SIGPIPE, whose default
// action ends the process. A library must not die of its peer hanging up, so
// the first handle that writes ignores the signal process-wide -- but only
// when nobody installed a disposition of their own: a host's handler wins.
void ignoreBrokenPipeSignalOnce() {
  static std::once_flag once;
  std::call_once(once, [] {
    struct sigaction current {};
    if (sigaction(SIGPIPE, nullptr, &current) == 0 && current.sa_handler == SIG_DFL) {
      signal(SIGPIPE, SIG_IGN);
    }
  });
}

// Waits until `descriptor` is ready for `events`. Needed because the
// descriptor may be in non-blocking mode (set by whoever shares it, or for
// an instant by the watcher below), in which case the system answers EAGAIN
// instead of waiting.
void waitUntilReady(int descriptor, short events) {
  pollfd entry{descriptor, events, 0};
  while (::poll(&entry, 1, -1) < 0 && errno == EINTR) {
  }
}

// One read(2) into `target`, retrying interruptions and waiting out EAGAIN.
ssize_t readOnce(int descriptor, std::uint8_t* target, std::size_t length) {
  while (true) {
    ssize_t count = ::read(descriptor, target, length);
    if (count >= 0) return count;
    if (errno == EINTR) continue;
    if (errno == EAGAIN || errno == EWOULDBLOCK) {
      waitUntilReady(descriptor, POLLIN);
      continue;
    }
    return -1;
  }
}

}  // namespace

// Serves one readability handler. It holds its handle weakly (the handle
// owns the watcher, not the other way round); pending waits hold the watcher
// strongly, so a handle that dies mid-wait leaves nothing dangling.
struct FileHandle::Watcher : std::enable_shared_from_this<Watcher> {
  Watcher(std::weak_ptr<FileHandle> handle, int descriptor, ReadabilityHandler handler)
      : handle(std::move(handle)),
        handler(std::move(handler)),
        stream(dispatchEngineContext()),
        descriptor(descriptor) {}

  ~Watcher() {
    if (stream.is_open()) stream.release();
  }

  void start() {
    std::lock_guard lock(mutex);
    boost::system::error_code ec;
    stream.assign(descriptor, ec);
    if (ec) {
      // Typically a descriptor that another watcher of the same file
      // description still has registered. Serve it by polling readiness on
      // pool threads instead of not serving it at all.
      logFormat(u"CONDITION FAILED: cannot watch descriptor %d: %s", descriptor,
                ec.message().c_str());
      alwaysReadable = true;
    }
    armLocked();
  }

  // After this no handler call starts, and a call running on another
  // thread has finished, so the owner of what the handler touches may free
  // it. A handler removing itself does not wait for itself.
  void stop() {
    std::unique_lock lock(mutex);
    stopped = true;
    if (stream.is_open()) stream.release();
    if (caller != std::this_thread::get_id()) {
      idle.wait(lock, [&] { return caller == std::thread::id(); });
    }
  }

  void armLocked() {
    if (stopped) return;
    if (alwaysReadable) {
      asio::post(dispatchEngineContext(), [self = shared_from_this()] { self->fire(); });
      return;
    }
    // Asio switches the descriptor to non-blocking mode when the first wait
    // starts. The descriptor may be shared (standard input, a pipe another
    // process also holds) and our reads expect to block, so give it its
    // mode back; asio remembers it made the switch and does not redo it.
    int flags = firstWait ? ::fcntl(descriptor, F_GETFL) : -1;
    stream.async_wait(
        asio::posix::stream_descriptor::wait_read,
        [self = shared_from_this()](const boost::system::error_code& ec) { self->waited(ec); });
    if (firstWait && flags >= 0 && !(flags & O_NONBLOCK)) ::fcntl(descriptor, F_SETFL, flags);
    firstWait = false;
  }

  void waited(const boost::system::error_code& ec) {
    if (ec == asio::error::operation_aborted) return;
    if (ec == asio::error::operation_not_supported) {
      // A regular file: epoll refuses it, and reading it never blocks.
      std::lock_guard lock(mutex);
      alwaysReadable = true;
    } else if (ec) {
      // The descriptor is broken; one last call lets the reader find out
      // (its read reports the error or end of file), then we stop.
      fire(false);
      return;
    } else if (!readableNow()) {
      // Readiness from the reactor can be stale (an event fetched for an
      // earlier registration of the same descriptor number). The handler's
      // read would block a pool thread, so check and wait again.
      std::lock_guard lock(mutex);
      armLocked();
      return;
    }
    fire();
  }

  bool readableNow() const {
    pollfd entry{descriptor, POLLIN, 0};
    return ::poll(&entry, 1, 0) != 0;  // an interrupted poll counts as ready
  }

  void fire(bool rearm = true) {
    auto owner = handle.lock();
    if (!owner) return;
    {
      std::lock_guard lock(mutex);
      if (stopped) return;
      caller = std::this_thread::get_id();
    }
    handler(*owner);
    std::lock_guard lock(mutex);
    caller = std::thread::id();
    idle.notify_all();
    if (rearm) armLocked();
  }

  const std::weak_ptr<FileHandle> handle;
  const ReadabilityHandler handler;
  std::mutex mutex;  // guards everything below
  asio::posix::stream_descriptor stream;
  const int descriptor;
  std::condition_variable idle;  // signalled when a handler call ends
  std::thread::id caller;        // the thread running the handler, if any
  bool stopped = false;
  bool alwaysReadable = false;
  bool firstWait = true;
};

namespace {

std::shared_ptr<FileHandle> standardHandle(int descriptor) {
  return FileHandle::make(descriptor, false);
}

}  // namespace

// The standard handles are shared, so that two readers of standard input
// are one watcher, not two competing registrations of descriptor 0.
std::shared_ptr<FileHandle> FileHandle::standardInput() {
  static auto* handle = new std::shared_ptr<FileHandle>(standardHandle(STDIN_FILENO));
  return *handle;
}

std::shared_ptr<FileHandle> FileHandle::standardOutput() {
  static auto* handle = new std::shared_ptr<FileHandle>(standardHandle(STDOUT_FILENO));
  return *handle;
}

std::shared_ptr<FileHandle> FileHandle::standardError() {
  static auto* handle = new std::shared_ptr<FileHandle>(standardHandle(STDERR_FILENO));
  return *handle;
}

std::shared_ptr<FileHandle> FileHandle::make(int descriptor, bool closeOnDealloc) {
  return std::make_shared<FileHandle>(Key{}, descriptor, closeOnDealloc);
}

FileHandle::FileHandle(Key, int descriptor, bool closeOnDealloc)
    : descriptor_(descriptor), closeOnDealloc_(closeOnDealloc) {}

FileHandle::~FileHandle() {
  setReadabilityHandler(nullptr);
  if (closeOnDealloc_) closeFile();
}

void FileHandle::setReadabilityHandler(ReadabilityHandler handler) {
  std::unique_lock lock(watcherMutex_);
  // The old registration must be gone before a new one of the same
  // descriptor is made. Stopping may wait for a running handler call, which
  // may itself come here: so never wait while holding our lock.
  while (watcher_) {
    auto old = std::exchange(watcher_, nullptr);
    lock.unlock();
    old->stop();
    lock.lock();
  }
  if (!handler || closed_) return;
  watcher_ = std::make_shared<Watcher>(weak_from_this(), descriptor_, std::move(handler));
  watcher_->start();
}

Data FileHandle::availableData(ErrorPtr* error) {
  Data data;
  readAvailable(data, kMaximumReadLength, error);
  return data;
}

std::ptrdiff_t FileHandle::readAvailable(Data& buffer, std::size_t maximum, ErrorPtr* error) {
  maximum = std::min(maximum, kMaximumReadLength);
  if (maximum == 0) return 0;
  // Grow the buffer by what is waiting rather than by the maximum: growing
  // zero-fills, and most reads of a pipe are far below the maximum.
  int waiting = 0;
  std::size_t length = maximum;
  if (::ioctl(descriptor_, FIONREAD, &waiting) == 0 && waiting > 0) {
    length = std::min(maximum, static_cast<std::size_t>(waiting));
  }
  std::size_t old = buffer.size();
  buffer.resize(old + length);
  ssize_t count = readOnce(descriptor_, buffer.data() + old, length);
  int failure = errno;
  buffer.resize(old + static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  if (count < 0) setError(error, Error::posix(failure));
  return count;
}

Data FileHandle::readDataToEndOfFile(ErrorPtr* error) {
  Data data;
  while (readAvailable(data, kMaximumReadLength, error) > 0) {
  }
  return data;
}

bool FileHandle::writeData(DataView data, ErrorPtr* error) {
  ignoreBrokenPipeSignalOnce();
  std::lock_guard lock(writeMutex_);
  while (!data.empty()) {
    ssize_t count = ::write(descriptor_, data.data(), data.size());
    if (count >= 0) {
      data = data.subspan(static_cast<std::size_t>(count));
      continue;
    }
    if (errno == EINTR) continue;
    if (errno == EAGAIN || errno == EWOULDBLOCK) {
      waitUntilReady(descriptor_, POLLOUT);
      continue;
    }
    setError(error, Error::posix(errno));
    return false;
  }
  return true;
}

void FileHandle::closeFile() {
  {
    std::lock_guard lock(watcherMutex_);
    if (closed_) return;
    closed_ = true;  // no handler is installed from now on
  }
  setReadabilityHandler(nullptr);
  ::close(descriptor_);
}

}  // namespace lx
