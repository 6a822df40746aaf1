#include "vantorcore/jsonrpc/LXJSONRPCSocketListener.h"

#include <chrono>

#include "vantorcore/platform/Exception.h"
#include "vantorcore/platform/Log.h"

namespace lx {

LX_DEFINE_CLASS(LXJSONRPCSocketListener, LXJSONRPCListener)

namespace {

constexpr StringView kConnectionQueueLabel = u"com.vantor.VantorCore.jsonrpc.listener.connection";

// Makes `listener` the delegate of `socket`, reporting on the default global
// queue. Done by the factories: a constructor cannot hand out weak
// references to the object it is building.
std::shared_ptr<LXJSONRPCSocketListener> adopt(std::shared_ptr<LXJSONRPCSocketListener> listener) {
  if (auto socket = listener->socket()) {
    socket->setDelegate(std::weak_ptr<GCDAsyncSocketDelegate>(listener));
    socket->setDelegateQueue(DispatchQueue::global(DispatchQueuePriority::Default));
  }
  return listener;
}

}  // namespace

std::shared_ptr<LXJSONRPCSocketListener> LXJSONRPCSocketListener::initWithSocket(
    std::shared_ptr<GCDAsyncSocket> socket) {
  return adopt(std::make_shared<LXJSONRPCSocketListener>(Key{}, std::move(socket), std::nullopt, 0,
                                                         std::nullopt));
}

std::shared_ptr<LXJSONRPCSocketListener> LXJSONRPCSocketListener::initWithHost(String host,
                                                                               std::uint16_t port) {
  return adopt(std::make_shared<LXJSONRPCSocketListener>(Key{}, GCDAsyncSocket::initWithDelegate(),
                                                         std::move(host), port, std::nullopt));
}

std::shared_ptr<LXJSONRPCSocketListener> LXJSONRPCSocketListener::initWithURL(URL url) {
  return adopt(std::make_shared<LXJSONRPCSocketListener>(Key{}, GCDAsyncSocket::initWithDelegate(),
                                                         std::nullopt, 0, std::move(url)));
}

std::shared_ptr<LXJSONRPCSocketListener> LXJSONRPCSocketListener::init() {
  throw InvalidArgumentException(u"Must be initialized using -initWithSocket:");
}

LXJSONRPCSocketListener::LXJSONRPCSocketListener(Key, std::shared_ptr<GCDAsyncSocket> socket,
                                                 std::optional<String> host, std::uint16_t port,
                                                 std::optional<URL> url)
    : socket_(std::move(socket)),
      host_(std::move(host)),
      port_(port),
      url_(std::move(url)),
      connectionQueue_(DispatchQueue::makeSerial(String(kConnectionQueueLabel))) {}

LXJSONRPCSocketListener::~LXJSONRPCSocketListener() {
  // The timer's handler holds the listener weakly; a pending one must not
  // outlive it and fire into nothing.
  if (attemptTimer_) attemptTimer_->cancel();
}

std::shared_ptr<GCDAsyncSocket> LXJSONRPCSocketListener::socket() const {
  std::lock_guard lock(socketMutex_);
  return socket_;
}

void LXJSONRPCSocketListener::setSocket(std::shared_ptr<GCDAsyncSocket> socket) {
  std::lock_guard lock(socketMutex_);
  socket_ = std::move(socket);
}

int LXJSONRPCSocketListener::connectionAttempts() const { return connectionAttempts_.load(); }

void LXJSONRPCSocketListener::writeData(const Data& data) {
  if (auto s = socket()) s->writeData(data, GCDAsyncSocket::kNoTimeout, 0);
}

void LXJSONRPCSocketListener::didStart() { scheduleConnectionAttempt(); }

void LXJSONRPCSocketListener::scheduleConnectionAttempt() {
  auto weak = std::weak_ptr<LXJSONRPCSocketListener>(
      std::static_pointer_cast<LXJSONRPCSocketListener>(shared_from_this()));
  connectionQueue_->async([weak] {
    auto self = weak.lock();
    if (!self) return;
    if (self->attemptTimer_) self->attemptTimer_->cancel();
    auto timer = DispatchTimerSource::make(self->connectionQueue_);
    timer->setTimer(Clock::current()->now() + std::chrono::nanoseconds(kAttemptDelayNanoseconds),
                    DispatchTimerSource::kForever,
                    std::chrono::nanoseconds(kAttemptLeewayNanoseconds));
    timer->setEventHandler([weak] {
      auto self = weak.lock();
      if (!self || !self->attemptTimer_) return;
      std::exchange(self->attemptTimer_, nullptr)->cancel();
      // An event already queued when a stop cancelled the timer.
      if (self->isRunning()) self->attemptConnection();
    });
    self->attemptTimer_ = timer;
    timer->resume();
  });
}

void LXJSONRPCSocketListener::attemptConnection() {
  ++connectionAttempts_;
  auto s = socket();
  ErrorPtr error;
  bool started = true;
  try {
    if (host_) {
      started = s && s->connectToHost(*host_, port_, kConnectTimeout, &error);
    } else if (url_) {
      started = s && s->connectToUrl(*url_, kConnectTimeout, &error);
    } else if (!s) {
      throw InvalidArgumentException(u"Transport was created without a valid socket");
    } else {
      connected();
    }
  } catch (const Exception& exception) {
    // Raised on the connection queue, the exception would end the process;
    // report the misuse and end the conversation instead.
    LXConditionFailed(exception.reason());
    error = Error::make(String(GCDAsyncSocketErrorDomain), GCDAsyncSocketBadConfigError,
                        Dictionary{{String(NSLocalizedDescriptionKey), Value(exception.reason())}});
    started = false;
  }
  if (!started) didTerminateWithError(std::move(error));
}

void LXJSONRPCSocketListener::willStop() {
  auto weak = std::weak_ptr<LXJSONRPCSocketListener>(
      std::static_pointer_cast<LXJSONRPCSocketListener>(shared_from_this()));
  connectionQueue_->async([weak] {
    if (auto self = weak.lock(); self && self->attemptTimer_) {
      std::exchange(self->attemptTimer_, nullptr)->cancel();
    }
  });
  if (auto s = socket()) s->disconnectAfterReadingAndWriting();
}

void LXJSONRPCSocketListener::readDataToLength(std::size_t length, double timeout) {
  requestRead({length, timeout});
}

// Delimited reads never time out, whatever the caller asked.
void LXJSONRPCSocketListener::readDataToData(const Data& data, double timeout) {
  requestRead({0, GCDAsyncSocket::kNoTimeout});
}

void LXJSONRPCSocketListener::requestRead(ReadRequest read) {
  auto s = socket();
  if (!s) return;
  {
    // Under the lock, a connection that comes up after the check finds the
    // held read and issues it.
    std::lock_guard lock(readMutex_);
    if (!s->isConnected()) {
      heldRead_ = read;
      return;
    }
  }
  issueRead(s, read);
}

void LXJSONRPCSocketListener::issueRead(const std::shared_ptr<GCDAsyncSocket>& socket,
                                        ReadRequest read) {
  if (read.length == 0) {
    socket->readDataToData(LXJSONRPCMessage::CRLFData(), read.timeout, 0);
  } else {
    socket->readDataToLength(read.length, read.timeout, 0);
  }
}

void LXJSONRPCSocketListener::connected() {
  didConnect_ = true;
  std::optional<ReadRequest> held;
  {
    std::lock_guard lock(readMutex_);
    held = std::exchange(heldRead_, std::nullopt);
  }
  if (auto s = socket(); s && held) issueRead(s, *held);
}

void LXJSONRPCSocketListener::didConnectToHost(GCDAsyncSocket&, const String&, std::uint16_t) {
  connected();
}

void LXJSONRPCSocketListener::didConnectToUrl(GCDAsyncSocket&, const URL&) { connected(); }

void LXJSONRPCSocketListener::didReadData(GCDAsyncSocket&, const Data& data, long) {
  LXJSONRPCListener::didReadData(data);
}

void LXJSONRPCSocketListener::socketDidDisconnect(GCDAsyncSocket&, const ErrorPtr& error) {
  // A stopped listener's socket closing is the end it asked for.
  if (!isRunning()) return;
  if (!didConnect_ && connectionAttempts_ < kMaximumConnectionAttempts) {
    scheduleConnectionAttempt();
    return;
  }
  bool closedByPeer = error && error->domain() == GCDAsyncSocketErrorDomain &&
                      error->code() == GCDAsyncSocketClosedError;
  didTerminateWithError(closedByPeer ? nullptr : error);
}

}  // namespace lx
