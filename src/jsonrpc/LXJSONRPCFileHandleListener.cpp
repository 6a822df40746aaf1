#include "vantorcore/jsonrpc/LXJSONRPCFileHandleListener.h"

#include <fcntl.h>
#include <limits>

#include "vantorcore/platform/Exception.h"

namespace lx {

LX_DEFINE_CLASS(LXJSONRPCFileHandleListener, LXJSONRPCListener)

namespace {
constexpr int kPipeCapacity = 1 << 20;
// As much as one read may bring: the file handle bounds each read itself.
constexpr std::size_t kMaximumRead = std::numeric_limits<std::size_t>::max();
}  // namespace

std::shared_ptr<LXJSONRPCFileHandleListener> LXJSONRPCFileHandleListener::initWithInputHandle(
    std::shared_ptr<FileHandle> inputHandle, std::shared_ptr<FileHandle> outputHandle) {
  return std::make_shared<LXJSONRPCFileHandleListener>(Key{}, std::move(inputHandle),
                                                       std::move(outputHandle));
}

std::shared_ptr<LXJSONRPCFileHandleListener>
LXJSONRPCFileHandleListener::initWithStandardInputOutput() {
  return initWithInputHandle(FileHandle::standardInput(), FileHandle::standardOutput());
}

std::shared_ptr<LXJSONRPCFileHandleListener> LXJSONRPCFileHandleListener::init() {
  throw InvalidArgumentException(u"Must be initialized using -initWithInputHandle:outputHandle:");
}

LXJSONRPCFileHandleListener::LXJSONRPCFileHandleListener(Key,
                                                         std::shared_ptr<FileHandle> inputHandle,
                                                         std::shared_ptr<FileHandle> outputHandle)
    : inputHandle_(std::move(inputHandle)), outputHandle_(std::move(outputHandle)) {}

// A listener dropped while running stops watching its input; its handler
// holds it only weakly and would otherwise wait on the descriptor for
// nothing.
LXJSONRPCFileHandleListener::~LXJSONRPCFileHandleListener() {
  if (isRunning() && inputHandle_) inputHandle_->setReadabilityHandler(nullptr);
}

void LXJSONRPCFileHandleListener::didStart() {
  if (!inputHandle_) return;
  // A pipe's default 64 KiB means a wake-up per 64 KiB; a wider pipe lets
  // each read bring up to a read's worth. Refused (an unprivileged process
  // above the system's limit, or not a pipe) it simply stays as it is.
  ::fcntl(inputHandle_->fileDescriptor(), F_SETPIPE_SZ, kPipeCapacity);
  auto weak = std::weak_ptr<LXJSONRPCFileHandleListener>(
      std::static_pointer_cast<LXJSONRPCFileHandleListener>(shared_from_this()));
  inputHandle_->setReadabilityHandler([weak](FileHandle& handle) {
    auto self = weak.lock();
    ErrorPtr error;
    Data chunk = self ? self->takeChunkBuffer() : Data();
    if (self) handle.readAvailable(chunk, kMaximumRead, &error);
    if (!chunk.empty()) {
      self->didReadData(std::move(chunk));
      self->waitForReadStep();
      return;
    }
    // End of file (or a read error, or the listener is gone): nothing more
    // will come, so stop watching now rather than being called again and
    // again until the termination reaches the work queue.
    handle.setReadabilityHandler(nullptr);
    if (self) self->didTerminateWithError(std::move(error));
  });
}

void LXJSONRPCFileHandleListener::willStop() {
  if (inputHandle_) inputHandle_->setReadabilityHandler(nullptr);
}

bool LXJSONRPCFileHandleListener::writeData(const Data& data, ErrorPtr* error) {
  if (!outputHandle_) return LXJSONRPCListener::writeData(data, error);
  return outputHandle_->writeData(data, error);
}

}  // namespace lx
