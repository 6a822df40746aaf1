// `LXJSONRPCListener`: one JSON-RPC conversation over a byte stream. It
// gathers incoming bytes, cuts them into messages, hands requests,
// notifications and unclaimed responses to its delegate, matches responses
// to the requests this side sent, and writes outgoing messages.
//
// The class is the transport-independent base; `LXJSONRPCFileHandleListener`
// and `LXJSONRPCSocketListener` move the bytes. All buffer and state work
// runs on the listener's own serial work queue; delegate calls and reply
// closures run on the delegate queue (the main queue by default).
#pragma once

#include "vantorcore/Export.h"

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <unordered_map>

#include "vantorcore/jsonrpc/LXJSONRPCMessage.h"
#include "vantorcore/platform/Data.h"
#include "vantorcore/platform/DispatchQueue.h"
#include "vantorcore/platform/Error.h"
#include "vantorcore/platform/Object.h"

namespace LX_API lx {

class LXJSONRPCListener;

/// What a listener tells its host, on the listener's delegate queue.
class LXJSONRPCListenerDelegate {
 public:
  virtual ~LXJSONRPCListenerDelegate() = default;
  /// A request, a notification, or a response that no pending request
  /// claimed, in the order they arrived.
  virtual void didReceiveMessage(LXJSONRPCListener& listener,
                                 const std::shared_ptr<LXJSONRPCMessage>& message) = 0;
  /// The transport ended (`error` null for an orderly end) while running.
  /// Not called for `stop`.
  virtual void didTerminateWithError(LXJSONRPCListener& listener, const ErrorPtr& error) {}
};

class LXJSONRPCListener : public Object {
  LX_DECLARE_CLASS(LXJSONRPCListener)

 public:
  /// Called once per request: with the response, or with (null, error) when
  /// the listener stops (code `LXJSONRPCRequestCancelledError`) or its
  /// transport ends first (the termination's error, possibly null).
  using ReplyHandler =
      std::function<void(std::shared_ptr<LXJSONRPCMessage> response, ErrorPtr error)>;

  /// Capacity of a new input buffer, and the number of consumed bytes after
  /// which the unread rest is moved to a fresh buffer.
  static constexpr std::size_t kBufferCapacity = 102'400;
  /// Input bytes that may wait for the read step or for delivery before
  /// `waitForReadStep` holds the transport back.
  static constexpr std::size_t kMaximumQueuedInput = 4u << 20;
  /// Default of `maximumMessageSize`.
  static constexpr std::size_t kDefaultMaximumMessageSize = 64u << 20;

  /// A listener without a transport: it starts and stops, but cannot write.
  /// Listeners live in `std::shared_ptr` (queued work holds them).
  LXJSONRPCListener();
  /// Requests still pending are answered as `stop` answers them.
  ~LXJSONRPCListener() override;

  /// Starts reading. Sets `isRunning` at once on the calling thread; does
  /// nothing when already running. A stopped listener may start again with
  /// a fresh buffer.
  void start();
  /// Stops reading (on the work queue) and answers every pending request
  /// with `LXJSONRPCRequestCancelledError`. The delegate is not told.
  void stop();
  /// Serialises and writes `message`; a failure is logged ("Error while
  /// writing JSON-RPC data: %@") and the message dropped.
  void sendMessage(std::shared_ptr<LXJSONRPCMessage> message);
  /// Sends `request` and calls `replyHandler` once with its outcome. Throws
  /// `InvalidArgumentException` ("Message provided must be a request") for a
  /// message of another type and ("Request has already been sent") for an
  /// id that is still pending. Any thread.
  void sendRequest(std::shared_ptr<LXJSONRPCMessage> request, ReplyHandler replyHandler);
  /// Blocks until every message handed to `sendMessage` or `sendRequest`
  /// before this call has been written by the transport (or its failure
  /// logged), for at most `timeout` seconds; returns whether they all were.
  /// Lets a host that is about to exit send its last replies. Never call it
  /// on the work queue.
  bool waitUntilWritten(double timeout);

  /// The delegate, held weakly; null when none was set or it is gone.
  [[nodiscard]] std::shared_ptr<LXJSONRPCListenerDelegate> delegate() const;
  /// Held weakly.
  void setDelegate(std::weak_ptr<LXJSONRPCListenerDelegate> delegate);
  /// The queue of delegate calls and reply closures; null means the main queue.
  [[nodiscard]] std::shared_ptr<DispatchQueue> delegateQueue() const;
  /// The queue delegate calls run on; null for the listener's own queue.
  void setDelegateQueue(std::shared_ptr<DispatchQueue> delegateQueue);
  /// Whether the listener is between `start` and `stop`.
  [[nodiscard]] bool isRunning() const noexcept { return running_.load(); }

  /// The largest framed message (header block and body) the listener will
  /// gather. A message announcing more, or a header block growing past it,
  /// terminates the conversation with `LXJSONRPCMessageTooLargeError`
  /// rather than buffering without bound.
  [[nodiscard]] std::size_t maximumMessageSize() const noexcept { return maximumMessageSize_; }
  /// The largest message accepted, in bytes; a longer one ends the listener with an error.
  void setMaximumMessageSize(std::size_t size) noexcept { maximumMessageSize_ = size; }

 protected:
  /// On the work queue, when the listener starts. Does nothing here.
  virtual void didStart();
  /// On the work queue, before the listener stops. Does nothing here.
  virtual void willStop();
  /// The parser needs exactly `length` more bytes. Does nothing here.
  virtual void readDataToLength(std::size_t length, double timeout);
  /// The parser needs the bytes up to the next `data` (CR LF). Does nothing here.
  virtual void readDataToData(const Data& data, double timeout);
  /// Writes `data`. Here: false, with the error "Subclasses must override
  /// writeData:error:" in `NSOSStatusErrorDomain`, code -1.
  virtual bool writeData(const Data& data, ErrorPtr* error);

  /// Transports call this with every chunk received; chunks that arrive
  /// while not running are dropped. Any thread.
  void didReadData(Data chunk);
  /// An empty buffer for the transport's next chunk: one the listener has
  /// finished with when there is one, so that a busy stream reuses memory
  /// already in use instead of faulting in fresh pages for every read.
  /// Any thread.
  Data takeChunkBuffer();
  /// Transports call this when the stream ends (null error: orderly). Any thread.
  void didTerminateWithError(ErrorPtr error);
  /// Blocks the calling transport thread while more than
  /// `kMaximumQueuedInput` bytes handed to `didReadData` still wait for the
  /// read step or for their messages' delivery, so a peer writing faster
  /// than the listener and its delegate keep up is held back by the stream
  /// instead of filling memory. Returns once the listener stops, and after
  /// at most 50 ms in any case (the caller runs on threads the queues
  /// share). Never call it on the work queue or the delegate queue.
  void waitForReadStep();
  /// The serial queue all listener state lives on.
  [[nodiscard]] const std::shared_ptr<DispatchQueue>& workQueue() const noexcept {
    return workQueue_;
  }

 private:
  void readStep();
  void finish(bool terminated, ErrorPtr error);
  void deliver(std::function<void()> closure);
  void holdInput(std::size_t size);
  void releaseInput(std::size_t size);
  void recycleChunkBuffer(Data buffer);

  const std::shared_ptr<DispatchQueue> workQueue_;
  std::atomic<bool> running_{false};
  std::atomic<std::size_t> maximumMessageSize_{kDefaultMaximumMessageSize};
  // Work-queue state.
  Data buffer_;
  std::size_t readOffset_ = 0;
  // Touched by the requesting thread and the work queue.
  mutable std::mutex pendingMutex_;
  std::unordered_map<Value, ReplyHandler> pendingRequests_;
  // Input handed over by the transport and not yet read.
  std::mutex queuedInputMutex_;
  std::condition_variable queuedInputDrained_;
  std::size_t queuedInput_ = 0;
  bool stopping_ = false;
  // Chunk buffers read to the end, for the transport to fill again.
  std::mutex spareBuffersMutex_;
  std::vector<Data> spareBuffers_;
  mutable std::mutex delegateMutex_;
  std::weak_ptr<LXJSONRPCListenerDelegate> delegate_;
  std::shared_ptr<DispatchQueue> delegateQueue_;
};

}  // namespace lx
