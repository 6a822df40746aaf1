#include "vantorcore/jsonrpc/LXJSONRPCListener.h"

#include <chrono>
#include <semaphore>
#include <utility>
#include <vector>

#include "vantorcore/platform/Exception.h"
#include "vantorcore/platform/Log.h"
#include "vantorcore/platform/StringFormat.h"
#include "vantorcore/text/Error+Additions.h"

namespace lx {

LX_DEFINE_CLASS(LXJSONRPCListener, lx::Object)

namespace {

// The label of every listener's work queue: the library's reverse-domain
// prefix and the subsystem.
constexpr StringView kWorkQueueLabel = u"com.vantor.VantorCore.jsonrpc.listener";

// The longest `waitForReadStep` holds a transport thread back per call.
constexpr std::chrono::milliseconds kMaximumHoldBack{50};

// One thing to hand over on the delegate queue: a response for the reply
// closure that claimed it, or a message for the delegate.
struct Delivery {
  std::shared_ptr<LXJSONRPCMessage> message;
  LXJSONRPCListener::ReplyHandler replyHandler;
};

ErrorPtr messageTooLargeError(std::size_t needed, bool complete, std::size_t maximum) {
  String description =
      complete
          ? stringWithFormat(
                u"The JSON-RPC message needs %llu bytes, more than the maximum "
                u"message size of %llu bytes.",
                static_cast<unsigned long long>(needed), static_cast<unsigned long long>(maximum))
          : stringWithFormat(
                u"The JSON-RPC input holds %llu bytes without a complete "
                u"message, more than the maximum message size of %llu bytes.",
                static_cast<unsigned long long>(needed), static_cast<unsigned long long>(maximum));
  return Error::make(
      String(LXJSONRPCErrorDomain), LXJSONRPCMessageTooLargeError,
      Dictionary{{String(NSLocalizedDescriptionKey), Value(std::move(description))}});
}

}  // namespace

LXJSONRPCListener::LXJSONRPCListener()
    : workQueue_(DispatchQueue::makeSerial(String(kWorkQueueLabel))) {}

// A listener dropped with requests still pending answers them as `stop`
// would: every reply closure is called exactly once, whatever the host does.
LXJSONRPCListener::~LXJSONRPCListener() {
  std::unordered_map<Value, ReplyHandler> pending;
  {
    std::lock_guard lock(pendingMutex_);
    pending.swap(pendingRequests_);
  }
  if (pending.empty()) return;
  auto error = Error::make(String(LXJSONRPCErrorDomain), LXJSONRPCRequestCancelledError);
  deliver([pending = std::move(pending), error] {
    for (const auto& [id, reply] : pending) reply(nullptr, error);
  });
}

void LXJSONRPCListener::start() {
  if (running_.exchange(true)) return;
  {
    std::lock_guard lock(queuedInputMutex_);
    stopping_ = false;
  }
  workQueue_->async([self = shared_from_this(), this] {
    buffer_ = Data();
    buffer_.reserve(kBufferCapacity);
    readOffset_ = 0;
    didStart();
    readDataToData(LXJSONRPCMessage::CRLFData(), -1);
  });
}

void LXJSONRPCListener::stop() {
  workQueue_->async([self = shared_from_this(), this] { finish(false, nullptr); });
}

void LXJSONRPCListener::didTerminateWithError(ErrorPtr error) {
  workQueue_->async(
      [self = shared_from_this(), this, error = std::move(error)] { finish(true, error); });
}

void LXJSONRPCListener::finish(bool terminated, ErrorPtr error) {
  if (!running_) return;
  {
    // A transport held back by `waitForReadStep` must get going again, or
    // a `willStop` that waits for it would wait forever.
    std::lock_guard lock(queuedInputMutex_);
    stopping_ = true;
  }
  queuedInputDrained_.notify_all();
  willStop();
  running_ = false;
  buffer_ = Data();
  readOffset_ = 0;
  std::unordered_map<Value, ReplyHandler> pending;
  {
    std::lock_guard lock(pendingMutex_);
    pending.swap(pendingRequests_);
  }
  if (!pending.empty()) {
    ErrorPtr replyError =
        terminated ? error
                   : Error::make(String(LXJSONRPCErrorDomain), LXJSONRPCRequestCancelledError);
    deliver([pending = std::move(pending), replyError] {
      for (const auto& [id, reply] : pending) reply(nullptr, replyError);
    });
  }
  if (terminated) {
    deliver([self = shared_from_this(), this, error] {
      if (auto target = delegate()) target->didTerminateWithError(*this, error);
    });
  }
}

void LXJSONRPCListener::didReadData(Data chunk) {
  const std::size_t size = chunk.size();
  holdInput(size);
  // Framing right where the bytes arrived spares a thread hand-over per
  // chunk while the work queue is idle, which it mostly is.
  workQueue_->asyncOrRunHere(
      [self = shared_from_this(), this, chunk = std::move(chunk), size]() mutable {
        // Bytes that arrive after a stop belong to no conversation.
        if (running_) {
          if (readOffset_ == buffer_.size()) {
            // Nothing unread: the chunk itself becomes the buffer, no copy.
            buffer_.swap(chunk);
            readOffset_ = 0;
          } else {
            buffer_.insert(buffer_.end(), chunk.begin(), chunk.end());
          }
          readStep();
        }
        releaseInput(size);
        recycleChunkBuffer(std::move(chunk));
      });
}

Data LXJSONRPCListener::takeChunkBuffer() {
  {
    std::lock_guard lock(spareBuffersMutex_);
    if (!spareBuffers_.empty()) {
      Data buffer = std::move(spareBuffers_.back());
      spareBuffers_.pop_back();
      return buffer;
    }
  }
  // Room for the largest read a transport makes, so that a recycled buffer
  // never has to grow (and fault in fresh pages) for the next one.
  constexpr std::size_t kChunkCapacity = 256 * 1024;
  Data buffer;
  buffer.reserve(kChunkCapacity);
  return buffer;
}

void LXJSONRPCListener::recycleChunkBuffer(Data buffer) {
  // As many as the transport may have in flight before it is held back
  // (`kMaximumQueuedInput`) cover a busy stream; one grown by a huge message
  // is let go.
  constexpr std::size_t kSpareBuffers = kMaximumQueuedInput / (64 * 1024);
  constexpr std::size_t kLargestSpare = 2 * kBufferCapacity + (1u << 20);
  if (buffer.capacity() == 0 || buffer.capacity() > kLargestSpare) return;
  buffer.clear();
  std::lock_guard lock(spareBuffersMutex_);
  if (spareBuffers_.size() < kSpareBuffers) spareBuffers_.push_back(std::move(buffer));
}

void LXJSONRPCListener::holdInput(std::size_t size) {
  std::lock_guard lock(queuedInputMutex_);
  queuedInput_ += size;
}

void LXJSONRPCListener::releaseInput(std::size_t size) {
  bool wasHoldingBack;
  {
    std::lock_guard lock(queuedInputMutex_);
    wasHoldingBack = queuedInput_ > kMaximumQueuedInput;
    queuedInput_ -= size;
  }
  // Waking nobody costs a system call per chunk; only a transport held
  // back can be waiting.
  if (wasHoldingBack) queuedInputDrained_.notify_all();
}

void LXJSONRPCListener::waitForReadStep() {
  // Transports call this on the dispatch engine's shared threads, which also
  // run the work and delegate queues; an unbounded wait behind a stuck
  // delegate could take every one of them. A bounded wait per chunk still
  // slows a runaway writer to a trickle.
  std::unique_lock lock(queuedInputMutex_);
  queuedInputDrained_.wait_for(lock, kMaximumHoldBack,
                               [this] { return queuedInput_ <= kMaximumQueuedInput || stopping_; });
}

void LXJSONRPCListener::readStep() {
  // The messages of one chunk travel to the delegate queue in one closure,
  // in arrival order: the same order as one closure each, at a fraction of
  // the cost for a burst of small messages.
  // Messages still on their way to a slow delegate count as queued input
  // too: each keeps its body, and a reader that ran ahead of the delegate
  // would otherwise pile them up without bound.
  std::vector<Delivery> batch;
  std::size_t batchBytes = 0;
  auto flush = [&] {
    if (batch.empty()) return;
    holdInput(batchBytes);
    deliver([self = shared_from_this(), this, batch = std::move(batch), batchBytes] {
      for (const auto& item : batch) {
        if (item.replyHandler) {
          item.replyHandler(item.message, nullptr);
        } else if (auto target = delegate()) {
          target->didReceiveMessage(*this, item.message);
        }
      }
      releaseInput(batchBytes);
    });
    batch.clear();
    batchBytes = 0;
  };

  while (true) {
    DataView unread(buffer_.data() + readOffset_, buffer_.size() - readOffset_);
    std::size_t consumed = 0;
    std::size_t additional = 0;
    auto message = LXJSONRPCMessage::messageWithData(unread, &consumed, &additional);
    if (!message) {
      flush();
      // A body that fails to decode leaves the offset where it is: the same
      // bytes are met again at every later step and the conversation stalls
      // there. The size guard below is what eventually ends such a stall.
      std::size_t maximum = maximumMessageSize();
      if (unread.size() + additional > maximum) {
        finish(true, messageTooLargeError(unread.size() + additional, additional != 0, maximum));
      } else if (additional != 0) {
        readDataToLength(additional, -1);
      } else {
        readDataToData(LXJSONRPCMessage::CRLFData(), -1);
      }
      return;
    }

    ReplyHandler reply;
    if (message->messageType() == LXJSONRPCMessageType::Response && message->messageID()) {
      std::lock_guard lock(pendingMutex_);
      if (auto found = pendingRequests_.find(*message->messageID());
          found != pendingRequests_.end()) {
        reply = std::move(found->second);
        pendingRequests_.erase(found);
      }
    }
    batch.push_back({std::move(message), std::move(reply)});
    batchBytes += consumed;

    readOffset_ += consumed;
    if (readOffset_ == buffer_.size()) {
      buffer_.clear();  // keeps the allocation for the next chunk
      readOffset_ = 0;
    } else if (readOffset_ >= kBufferCapacity) {
      // Compacting in place moves only the unread bytes and keeps the
      // allocation for the chunks to come.
      buffer_.erase(buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(readOffset_));
      readOffset_ = 0;
    }
  }
}

void LXJSONRPCListener::sendMessage(std::shared_ptr<LXJSONRPCMessage> message) {
  workQueue_->async([self = shared_from_this(), this, message = std::move(message)] {
    auto data = message ? message->messageData() : std::nullopt;
    if (!data) return;  // serialising logged why
    ErrorPtr error;
    if (!writeData(*data, &error)) {
      logFormat(u"Error while writing JSON-RPC data: %@",
                error ? error->localizedDescription() : String(u"(null)"));
    }
  });
}

bool LXJSONRPCListener::waitUntilWritten(double timeout) {
  // Writes run in order on the work queue, so once a closure queued behind
  // them runs, they are done.
  auto written = std::make_shared<std::binary_semaphore>(0);
  workQueue_->async([written] { written->release(); });
  return written->try_acquire_for(std::chrono::duration<double>(timeout));
}

void LXJSONRPCListener::sendRequest(std::shared_ptr<LXJSONRPCMessage> request,
                                    ReplyHandler replyHandler) {
  if (!request || request->messageType() != LXJSONRPCMessageType::Request) {
    throw InvalidArgumentException(u"Message provided must be a request");
  }
  // A request sent without a closure still claims its response.
  if (!replyHandler) replyHandler = [](std::shared_ptr<LXJSONRPCMessage>, ErrorPtr) {};
  {
    Value id = request->messageID().value_or(Value());
    std::lock_guard lock(pendingMutex_);
    if (pendingRequests_.contains(id)) {
      throw InvalidArgumentException(u"Request has already been sent");
    }
    pendingRequests_.emplace(std::move(id), std::move(replyHandler));
  }
  sendMessage(std::move(request));
}

std::shared_ptr<LXJSONRPCListenerDelegate> LXJSONRPCListener::delegate() const {
  std::lock_guard lock(delegateMutex_);
  return delegate_.lock();
}

void LXJSONRPCListener::setDelegate(std::weak_ptr<LXJSONRPCListenerDelegate> delegate) {
  std::lock_guard lock(delegateMutex_);
  delegate_ = std::move(delegate);
}

std::shared_ptr<DispatchQueue> LXJSONRPCListener::delegateQueue() const {
  std::lock_guard lock(delegateMutex_);
  return delegateQueue_;
}

void LXJSONRPCListener::setDelegateQueue(std::shared_ptr<DispatchQueue> delegateQueue) {
  std::lock_guard lock(delegateMutex_);
  delegateQueue_ = std::move(delegateQueue);
}

void LXJSONRPCListener::deliver(std::function<void()> closure) {
  auto queue = delegateQueue();
  (queue ? queue : DispatchQueue::main())->async(std::move(closure));
}

void LXJSONRPCListener::didStart() {}

void LXJSONRPCListener::willStop() {}

void LXJSONRPCListener::readDataToLength(std::size_t length, double timeout) {}

void LXJSONRPCListener::readDataToData(const Data& data, double timeout) {}

bool LXJSONRPCListener::writeData(const Data& data, ErrorPtr* error) {
  setError(error, lx_errorWithTitle(
                      stringWithFormat(u"Subclasses must override %@", String(u"writeData:error:")),
                      std::nullopt, NSOSStatusErrorDomain, -1));
  return false;
}

}  // namespace lx
