#include "vantorcore/socket/GCDAsyncSocket.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <boost/asio/bind_executor.hpp>
#include <boost/asio/connect.hpp>
#include <boost/asio/generic/stream_protocol.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ip/v6_only.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/write.hpp>
#include <chrono>
#include <cstring>
#include <deque>
#include <functional>
#include <future>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "socket/GCDAsyncSocketTLS.h"
#include "vantorcore/platform/DispatchEngine.h"

namespace lx {

LX_DEFINE_CLASS(GCDAsyncSocket, Object)

namespace asio = boost::asio;
using boost::system::error_code;
using tcp = asio::ip::tcp;
using Stream = asio::generic::stream_protocol;

namespace {

// Bytes asked of the system per read; a read never holds more than this in
// flight, and whatever a read does not need stays in the socket's inbox.
constexpr std::size_t kReadChunk = 64 * 1024;
// Consumed bytes at the front of the inbox are dropped once there are this
// many of them and they make up most of it, so small reads never copy the
// whole inbox.
constexpr std::size_t kCompactThreshold = 64 * 1024;

ErrorPtr socketError(GCDAsyncSocketError code, std::string_view description,
                     ErrorPtr underlying = nullptr) {
  Dictionary info{{String(NSLocalizedDescriptionKey), Value(fromUTF8(description))}};
  if (underlying) info.set(NSUnderlyingErrorKey, Value(std::move(underlying)));
  return Error::make(String(GCDAsyncSocketErrorDomain), code, std::move(info));
}

// The socket error for an asio failure: the peer's orderly close is
// `GCDAsyncSocketClosedError` (the JSON-RPC transport treats it as a normal
// end), TLS failures carry OpenSSL's reason, everything else is "other"
// with the system error underneath.
ErrorPtr errorForCode(const error_code& ec) {
  if (ec == asio::error::eof || ec == asio::ssl::error::stream_truncated) {
    return socketError(GCDAsyncSocketClosedError, "Socket closed by remote peer");
  }
  if (ec.category() == asio::error::get_ssl_category()) {
    return socketError(GCDAsyncSocketTLSError, "TLS error: " + ec.message());
  }
  ErrorPtr underlying;
  if (ec.category() == boost::system::system_category()) {
    underlying = Error::posix(ec.value());
  } else {
    // Resolver failures (netdb / addrinfo) have no errno; keep asio's code.
    underlying =
        Error::make(fromUTF8(ec.category().name()), ec.value(),
                    Dictionary{{String(NSLocalizedDescriptionKey), Value(fromUTF8(ec.message()))}});
  }
  return socketError(GCDAsyncSocketOtherError, ec.message(), std::move(underlying));
}

// The TCP view of a generic endpoint, when it is one.
std::optional<tcp::endpoint> tcpEndpoint(const Stream::endpoint& endpoint) {
  const int family = endpoint.protocol().family();
  if (family != AF_INET && family != AF_INET6) return std::nullopt;
  tcp::endpoint out;
  if (endpoint.size() > out.capacity()) return std::nullopt;
  std::memcpy(out.data(), endpoint.data(), endpoint.size());
  out.resize(endpoint.size());
  return out;
}

// "::ffff:1.2.3.4" (a dual-stack listener's view of an IPv4 peer) => "1.2.3.4".
String addressText(const asio::ip::address& address) {
  if (address.is_v6() && address.to_v6().is_v4_mapped()) {
    return fromUTF8(asio::ip::make_address_v4(asio::ip::v4_mapped, address.to_v6()).to_string());
  }
  return fromUTF8(address.to_string());
}

}  // namespace

struct GCDAsyncSocket::Impl : std::enable_shared_from_this<GCDAsyncSocket::Impl> {
  enum class State { Disconnected, Connecting, Connected, Accepting };
  enum class ReadKind { Available, Length, Delimiter, Secure };

  struct ReadOp {
    ReadKind kind;
    std::size_t length = 0;
    Data delimiter;
    std::size_t maxLength = 0;
    double timeout = kNoTimeout;
    long tag = 0;
  };
  struct WriteOp {
    std::shared_ptr<const Data> data;  // null marks a queued TLS handshake
    double timeout = kNoTimeout;
    long tag = 0;
  };
  // What the getters report; written on the strand, read from any thread.
  struct Endpoint {
    std::optional<String> host;
    std::uint16_t port = 0;
    std::uint16_t localPort = 0;
    std::optional<URL> url;
  };
  // Either outcome of serving a read from the inbox.
  enum class Take { NeedMore, Done, MaxedOut };

  Impl(std::weak_ptr<GCDAsyncSocketDelegate> delegate, std::shared_ptr<DispatchQueue> queue)
      : context(dispatchEngineContext()),
        strand(asio::make_strand(context)),
        resolver(context),
        socket(context),
        acceptor(context),
        connectTimer(context),
        readTimer(context),
        writeTimer(context),
        delegate_(std::move(delegate)),
        delegateQueue_(std::move(queue)) {}

  // Runs `handler` on the strand, keeping the implementation alive until then.
  template <class F>
  auto bindStrand(F handler) {
    return asio::bind_executor(
        strand, [self = shared_from_this(), handler = std::move(handler)](auto&&... args) mutable {
          handler(std::forward<decltype(args)>(args)...);
        });
  }

  // ---- Any thread ----------------------------------------------------------

  std::shared_ptr<GCDAsyncSocketDelegate> delegate() const {
    std::lock_guard lock(mutex);
    return delegate_.lock();
  }
  std::weak_ptr<GCDAsyncSocketDelegate> weakDelegate() const {
    std::lock_guard lock(mutex);
    return delegate_;
  }
  std::shared_ptr<DispatchQueue> delegateQueue() const {
    std::lock_guard lock(mutex);
    return delegateQueue_;
  }
  void setDelegate(std::weak_ptr<GCDAsyncSocketDelegate> d) {
    std::lock_guard lock(mutex);
    delegate_ = std::move(d);
  }
  void setDelegateQueue(std::shared_ptr<DispatchQueue> q) {
    std::lock_guard lock(mutex);
    delegateQueue_ = std::move(q);
  }
  Endpoint endpoint() const {
    std::lock_guard lock(mutex);
    return endpoint_;
  }
  void setEndpoint(Endpoint e) {
    std::lock_guard lock(mutex);
    endpoint_ = std::move(e);
  }

  // Runs `work` on the strand, later.
  template <class F>
  void post(F work) {
    asio::post(strand, [self = shared_from_this(), work = std::move(work)]() mutable { work(); });
  }

  // Runs `work` on the strand and waits for its result: the calls that
  // answer at once (connect, accept) decide against the strand's own state.
  template <class F>
  auto runOnStrand(F work) -> decltype(work()) {
    if (strand.running_in_this_thread()) return work();
    std::packaged_task<decltype(work())()> task(std::move(work));
    auto result = task.get_future();
    asio::post(strand, [self = shared_from_this(), &task] { task(); });
    return result.get();
  }

  // Hands a delegate call to the event chain. Events of one socket run one
  // at a time and in order even on a concurrent delegate queue, so a
  // disconnect can never overtake the connect or the reads before it. A
  // socket whose owner is gone reports nothing.
  void emit(std::function<void(GCDAsyncSocketDelegate&, GCDAsyncSocket&)> call) {
    auto self = owner.lock();
    if (!self) return;
    std::function<void()> event = [self, call = std::move(call)] {
      if (auto d = self->impl_->delegate()) call(*d, *self);
    };
    {
      std::lock_guard lock(eventMutex);
      events.push_back(std::move(event));
      if (delivering) return;
      delivering = true;
    }
    deliverNextEvent();
  }

  void deliverNextEvent() {
    auto queue = delegateQueue();
    if (!queue) queue = DispatchQueue::main();
    queue->async([self = shared_from_this()] {
      std::function<void()> event;
      {
        std::lock_guard lock(self->eventMutex);
        event = std::move(self->events.front());
        self->events.pop_front();
      }
      event();
      event = nullptr;  // may drop the last reference to the socket: not under the lock
      {
        std::lock_guard lock(self->eventMutex);
        if (self->events.empty()) {
          self->delivering = false;
          return;
        }
      }
      self->deliverNextEvent();
    });
  }

  // ---- Strand only ---------------------------------------------------------

  bool refuseUnlessDisconnected(ErrorPtr* error) {
    if (state == State::Disconnected) return false;
    setError(error, socketError(GCDAsyncSocketBadConfigError,
                                "The socket is already connected, connecting or accepting "
                                "connections; disconnect it first"));
    return true;
  }

  void beginConnecting(double timeout) {
    state = State::Connecting;
    if (timeout > 0) {
      connectTimer.expires_after(toDuration(timeout));
      connectTimer.async_wait(bindStrand([this, gen = generation](const error_code& ec) {
        if (ec || gen != generation || state != State::Connecting) return;
        close(
            socketError(GCDAsyncSocketConnectTimeoutError, "Attempt to connect to host timed out"));
      }));
    }
  }

  bool connectToHost(std::string host, std::uint16_t port, double timeout, ErrorPtr* error) {
    if (refuseUnlessDisconnected(error)) return false;
    if (host.empty()) {
      setError(error, socketError(GCDAsyncSocketBadParamError,
                                  "The host is empty; give a host name or an IP address"));
      return false;
    }
    requestedHost = host;
    beginConnecting(timeout);
    // No address-configured filter: a machine with only loopback up must
    // still reach "localhost".
    resolver.async_resolve(
        host, std::to_string(port), tcp::resolver::numeric_service,
        bindStrand([this, gen = generation](const error_code& ec,
                                            const tcp::resolver::results_type& results) {
          if (gen != generation) return;
          if (ec) return close(errorForCode(ec));
          std::vector<Stream::endpoint> endpoints;
          for (const auto& entry : results) endpoints.emplace_back(entry.endpoint());
          asio::async_connect(
              socket, endpoints,
              bindStrand([this, gen](const error_code& ec, const Stream::endpoint&) {
                if (gen != generation) return;
                if (ec) return close(errorForCode(ec));
                didConnect(std::nullopt);
              }));
        }));
    return true;
  }

  bool connectToPath(const URL& url, double timeout, ErrorPtr* error) {
    if (refuseUnlessDisconnected(error)) return false;
    auto endpoint = localEndpoint(url, error);
    if (!endpoint) return false;
    beginConnecting(timeout);
    socket.async_connect(*endpoint, bindStrand([this, gen = generation, url](const error_code& ec) {
      if (gen != generation) return;
      if (ec) return close(errorForCode(ec));
      didConnect(url);
    }));
    return true;
  }

  // A connection is up: record where to, tell the delegate, serve the queues.
  void didConnect(const std::optional<URL>& url) {
    connectTimer.cancel();
    state = State::Connected;
    setEndpoint(connectedEndpoint(url));
    announceConnected();
    pump();
  }

  Endpoint connectedEndpoint(const std::optional<URL>& url) {
    Endpoint e;
    e.url = url;
    error_code ec;
    if (auto remote = tcpEndpoint(socket.remote_endpoint(ec)); remote && !ec) {
      socket.set_option(tcp::no_delay(true), ec);
      e.host = addressText(remote->address());
      e.port = remote->port();
      if (auto local = tcpEndpoint(socket.local_endpoint(ec)); local && !ec) {
        e.localPort = local->port();
      }
    }
    return e;
  }

  void announceConnected() {
    Endpoint e = endpoint();
    if (e.url) {
      emit([url = *e.url](GCDAsyncSocketDelegate& d, GCDAsyncSocket& s) {
        d.didConnectToUrl(s, url);
      });
    } else {
      emit(
          [host = e.host.value_or(String()), port = e.port](
              GCDAsyncSocketDelegate& d, GCDAsyncSocket& s) { d.didConnectToHost(s, host, port); });
    }
  }

  bool listen(const Stream::endpoint& where, const std::optional<URL>& url, ErrorPtr* error) {
    error_code ec;
    acceptor.open(where.protocol(), ec);
    if (!ec && !url) acceptor.set_option(asio::socket_base::reuse_address(true), ec);
    if (!ec && where.protocol().family() == AF_INET6) {
      // One listener for both families when bound to the IPv6 wildcard.
      acceptor.set_option(asio::ip::v6_only(false), ec);
    }
    if (!ec) acceptor.bind(where, ec);
    if (!ec) acceptor.listen(asio::socket_base::max_listen_connections, ec);
    if (ec) {
      error_code ignored;
      acceptor.close(ignored);
      setError(error, errorForCode(ec));
      return false;
    }
    state = State::Accepting;
    Endpoint e;
    e.url = url;
    if (auto local = tcpEndpoint(acceptor.local_endpoint(ec)); local && !ec) {
      e.localPort = local->port();
    }
    if (url) listeningPath = toUTF8(url->path());
    setEndpoint(std::move(e));
    acceptNext();
    return true;
  }

  bool acceptOnInterface(std::string interface, std::uint16_t port, ErrorPtr* error) {
    if (refuseUnlessDisconnected(error)) return false;
    if (interface.empty()) {
      if (listen(tcp::endpoint(tcp::v6(), port), std::nullopt, nullptr)) return true;
      return listen(tcp::endpoint(tcp::v4(), port), std::nullopt, error);
    }
    error_code ec;
    auto results = resolver.resolve(interface, std::to_string(port),
                                    tcp::resolver::numeric_service | tcp::resolver::passive, ec);
    if (ec || results.empty()) {
      setError(error, ec ? errorForCode(ec)
                         : socketError(GCDAsyncSocketBadParamError, "Unknown interface"));
      return false;
    }
    // "localhost" resolves to both families; IPv4 first, as clients that
    // try every address reach it either way.
    auto chosen = results.begin()->endpoint();
    for (const auto& entry : results) {
      if (entry.endpoint().address().is_v4()) {
        chosen = entry.endpoint();
        break;
      }
    }
    return listen(chosen, std::nullopt, error);
  }

  bool acceptOnPath(const URL& url, ErrorPtr* error) {
    if (refuseUnlessDisconnected(error)) return false;
    auto endpoint = localEndpoint(url, error);
    if (!endpoint) return false;
    // A socket file left by an earlier process would make bind fail; other
    // kinds of files are not ours to remove.
    const std::string path = toUTF8(url.path());
    struct stat info {};
    if (::lstat(path.c_str(), &info) == 0 && S_ISSOCK(info.st_mode)) ::unlink(path.c_str());
    return listen(*endpoint, url, error);
  }

  std::optional<Stream::endpoint> localEndpoint(const URL& url, ErrorPtr* error) {
    const std::string path = url.isFileURL() ? toUTF8(url.path()) : std::string();
    if (path.empty() || path.size() >= sizeof(sockaddr_un{}.sun_path)) {
      setError(error, socketError(GCDAsyncSocketBadParamError,
                                  "The URL is not a usable file URL for a local socket"));
      return std::nullopt;
    }
    return Stream::endpoint(asio::local::stream_protocol::endpoint(path));
  }

  void acceptNext() {
    acceptor.async_accept(
        bindStrand([this, gen = generation](const error_code& ec, Stream::socket peer) {
          if (gen != generation) return;
          if (ec == asio::error::connection_aborted) return acceptNext();
          if (ec) return close(errorForCode(ec));
          adopt(std::move(peer));
          acceptNext();
        }));
  }

  // Wraps an accepted connection in a new socket with our delegate and queue.
  void adopt(Stream::socket peer) {
    auto child = GCDAsyncSocket::initWithDelegate(weakDelegate(), delegateQueue());
    Impl& c = *child->impl_;
    // Nobody else knows the child yet, so its strand state can be set here.
    c.socket = std::move(peer);
    c.state = State::Connected;
    c.setEndpoint(c.connectedEndpoint(endpoint().url));
    emit([child](GCDAsyncSocketDelegate& d, GCDAsyncSocket& s) { d.didAcceptNewSocket(s, child); });
    c.announceConnected();
  }

  // ---- Reads and writes ----------------------------------------------------

  void queueRead(ReadOp op) {
    if (state == State::Disconnected || state == State::Accepting || closeAfterReads) return;
    reads.push_back(std::move(op));
    pumpReads();
  }

  void queueWrite(WriteOp op) {
    if (state == State::Disconnected || state == State::Accepting || closeAfterWrites) return;
    writes.push_back(std::move(op));
    pumpWrites();
  }

  void queueTLS(GCDAsyncSocketTLSSettings settings) {
    if (state == State::Disconnected || state == State::Accepting) return;
    if (closeAfterReads || closeAfterWrites) return;
    tlsSettings.push_back(std::move(settings));
    reads.push_back(ReadOp{ReadKind::Secure, 0, {}, 0, kNoTimeout, 0});
    writes.push_back(WriteOp{});
    pump();
  }

  void pump() {
    pumpReads();
    pumpWrites();
  }

  void pumpReads() {
    if (state != State::Connected || reading || handshaking) return;
    while (!reads.empty()) {
      ReadOp& op = reads.front();
      if (op.kind == ReadKind::Secure) return startHandshakeIfReady();
      Data data;
      switch (take(op, data)) {
        case Take::MaxedOut:
          return close(socketError(GCDAsyncSocketReadMaxedOutError,
                                   "The delimiter was not found within the maximum length"));
        case Take::Done: {
          const long tag = op.tag;
          reads.pop_front();
          finishTimedOp(readTimer, readSerial, readTimerArmed);
          delimiterScanFrom = 0;
          emit([data = std::move(data), tag](GCDAsyncSocketDelegate& d, GCDAsyncSocket& s) {
            d.didReadData(s, data, tag);
          });
          continue;
        }
        case Take::NeedMore:
          if (peerClosed) return close(errorForCode(asio::error::eof));
          armTimedOp(readTimer, readSerial, readTimerArmed, op.timeout,
                     GCDAsyncSocketReadTimeoutError, "Read operation timed out");
          return readMore();
      }
    }
    if (peerClosed) return close(errorForCode(asio::error::eof));
    finishIfDrained();
  }

  Take take(const ReadOp& op, Data& out) {
    const std::uint8_t* begin = inbox.data() + inboxOffset;
    const std::size_t available = inbox.size() - inboxOffset;
    std::size_t count = 0;
    switch (op.kind) {
      case ReadKind::Available:
        count = available;
        break;
      case ReadKind::Length:
        count = available >= op.length ? op.length : 0;
        break;
      case ReadKind::Delimiter: {
        const std::uint8_t* end = begin + available;
        const std::uint8_t* found = std::search(begin + std::min(delimiterScanFrom, available), end,
                                                op.delimiter.begin(), op.delimiter.end());
        if (found != end) {
          count = static_cast<std::size_t>(found - begin) + op.delimiter.size();
          if (op.maxLength > 0 && count > op.maxLength) return Take::MaxedOut;
        } else {
          // Only the last (delimiter length - 1) bytes can start a match
          // that more data completes.
          delimiterScanFrom =
              available >= op.delimiter.size() ? available - op.delimiter.size() + 1 : 0;
          if (op.maxLength > 0 && available >= op.maxLength) return Take::MaxedOut;
        }
        break;
      }
      case ReadKind::Secure:
        break;
    }
    if (count == 0) return Take::NeedMore;
    out.assign(begin, begin + count);
    inboxOffset += count;
    if (inboxOffset == inbox.size()) {
      inbox.clear();
      inboxOffset = 0;
    } else if (inboxOffset >= kCompactThreshold && inboxOffset * 2 >= inbox.size()) {
      inbox.erase(inbox.begin(), inbox.begin() + static_cast<std::ptrdiff_t>(inboxOffset));
      inboxOffset = 0;
    }
    return Take::Done;
  }

  void readMore() {
    reading = true;
    // Reuse the chunk unless a handler of an earlier connection still holds
    // it (a handler lets go of it before asking for more).
    if (!readChunk || readChunk.use_count() > 1) readChunk = std::make_shared<Data>(kReadChunk);
    auto chunk = readChunk;
    auto done = bindStrand([this, gen = generation, chunk, tls = tls](const error_code& ec,
                                                                      std::size_t n) mutable {
      if (gen != generation) return;
      reading = false;
      if (ec == asio::error::eof || ec == asio::ssl::error::stream_truncated) {
        peerClosed = true;
      } else if (ec) {
        return close(errorForCode(ec));
      }
      inbox.insert(inbox.end(), chunk->begin(), chunk->begin() + static_cast<std::ptrdiff_t>(n));
      chunk.reset();
      pumpReads();
    });
    if (tls) {
      tls->stream.async_read_some(asio::buffer(*chunk), std::move(done));
    } else {
      socket.async_read_some(asio::buffer(*chunk), std::move(done));
    }
  }

  void pumpWrites() {
    if (state != State::Connected || writing || handshaking) return;
    if (writes.empty()) return finishIfDrained();
    WriteOp& op = writes.front();
    if (!op.data) return startHandshakeIfReady();
    writing = true;
    armTimedOp(writeTimer, writeSerial, writeTimerArmed, op.timeout,
               GCDAsyncSocketWriteTimeoutError, "Write operation timed out");
    auto done = bindStrand(
        [this, gen = generation, data = op.data, tls = tls](const error_code& ec, std::size_t) {
          if (gen != generation) return;
          writing = false;
          if (ec) return close(errorForCode(ec));
          const long tag = writes.front().tag;
          writes.pop_front();
          finishTimedOp(writeTimer, writeSerial, writeTimerArmed);
          emit([tag](GCDAsyncSocketDelegate& d, GCDAsyncSocket& s) { d.didWriteData(s, tag); });
          pumpWrites();
        });
    if (tls) {
      asio::async_write(tls->stream, asio::buffer(*op.data), std::move(done));
    } else {
      asio::async_write(socket, asio::buffer(*op.data), std::move(done));
    }
  }

  // A read or write time-out runs from the moment its operation starts
  // waiting for the network until it completes.
  void armTimedOp(asio::steady_timer& timer, std::uint64_t serial, bool& armed, double timeout,
                  GCDAsyncSocketError code, const char* text) {
    if (armed || timeout <= 0) return;
    armed = true;
    timer.expires_after(toDuration(timeout));
    timer.async_wait(
        bindStrand([this, gen = generation, serial, &armed, code, text](const error_code& ec) {
          if (ec || gen != generation || !armed) return;
          if ((code == GCDAsyncSocketReadTimeoutError ? readSerial : writeSerial) != serial) return;
          close(socketError(code, text));
        }));
  }

  void finishTimedOp(asio::steady_timer& timer, std::uint64_t& serial, bool& armed) {
    ++serial;
    if (armed) timer.cancel();
    armed = false;
  }

  // The orderly disconnects close once the queues they wait for are empty.
  void finishIfDrained() {
    if (state != State::Connected || handshaking || !(closeAfterReads || closeAfterWrites)) return;
    const bool readsDone = !closeAfterReads || (reads.empty() && !reading);
    const bool writesDone = !closeAfterWrites || (writes.empty() && !writing);
    if (readsDone && writesDone) close(nullptr);
  }

  void disconnectAfter(bool afterReads, bool afterWrites) {
    if (state == State::Disconnected) return;
    if (state != State::Connected && state != State::Connecting) return close(nullptr);
    closeAfterReads = closeAfterReads || afterReads;
    closeAfterWrites = closeAfterWrites || afterWrites;
    finishIfDrained();
  }

  // ---- TLS -----------------------------------------------------------------

  // The handshake waits until every read and write queued before it is done.
  void startHandshakeIfReady() {
    if (reading || writing || handshaking) return;
    if (reads.empty() || reads.front().kind != ReadKind::Secure) return;
    if (writes.empty() || writes.front().data) return;
    GCDAsyncSocketTLSSettings settings = std::move(tlsSettings.front());
    tlsSettings.pop_front();
    std::string failure;
    // Bytes already taken in beyond the plain reads belong to the handshake.
    Data unread(inbox.begin() + static_cast<std::ptrdiff_t>(inboxOffset), inbox.end());
    inbox.clear();
    inboxOffset = 0;
    auto session = makeTLSSession(socket, std::move(unread), settings, requestedHost, failure);
    if (!session) return close(socketError(GCDAsyncSocketTLSError, failure));
    handshaking = true;
    tls = session;
    const auto side =
        settings.isServer ? asio::ssl::stream_base::server : asio::ssl::stream_base::client;
    session->stream.async_handshake(
        side, bindStrand([this, gen = generation, session](const error_code& ec) {
          if (gen != generation) return;
          handshaking = false;
          if (ec)
            return close(socketError(GCDAsyncSocketTLSError, describeTLSFailure(*session, ec)));
          secure = true;
          reads.pop_front();
          writes.pop_front();
          emit([](GCDAsyncSocketDelegate& d, GCDAsyncSocket& s) { d.didSecure(s); });
          pump();
        }));
  }

  // ---- Closing -------------------------------------------------------------

  // Ends the connection (or the listening, or the attempt) at once and
  // reports `error` once; later handlers of this connection see a new
  // generation and do nothing.
  void close(ErrorPtr error) {
    if (state == State::Disconnected) return;
    state = State::Disconnected;
    ++generation;
    error_code ignored;
    resolver.cancel();
    connectTimer.cancel();
    readTimer.cancel();
    writeTimer.cancel();
    socket.close(ignored);
    acceptor.close(ignored);
    if (listeningPath) ::unlink(listeningPath->c_str());
    listeningPath.reset();
    // Handlers still in flight hold the session; it goes with the last one.
    tls.reset();
    secure = false;
    reads.clear();
    writes.clear();
    tlsSettings.clear();
    inbox.clear();
    inboxOffset = 0;
    delimiterScanFrom = 0;
    reading = writing = handshaking = peerClosed = false;
    readTimerArmed = writeTimerArmed = false;
    closeAfterReads = closeAfterWrites = false;
    setEndpoint({});
    emit([error = std::move(error)](GCDAsyncSocketDelegate& d, GCDAsyncSocket& s) {
      d.socketDidDisconnect(s, error);
    });
  }

  static std::chrono::steady_clock::duration toDuration(double seconds) {
    return std::chrono::duration_cast<std::chrono::steady_clock::duration>(
        std::chrono::duration<double>(seconds));
  }

  asio::io_context& context;
  asio::strand<asio::io_context::executor_type> strand;
  std::weak_ptr<GCDAsyncSocket> owner;
  std::atomic<State> state{State::Disconnected};
  std::atomic<bool> secure{false};

  // Strand only.
  tcp::resolver resolver;
  Stream::socket socket;
  asio::basic_socket_acceptor<Stream> acceptor;
  asio::steady_timer connectTimer;
  asio::steady_timer readTimer;
  asio::steady_timer writeTimer;
  std::uint64_t generation = 0;
  std::uint64_t readSerial = 0;
  std::uint64_t writeSerial = 0;
  std::string requestedHost;
  std::optional<std::string> listeningPath;
  std::deque<ReadOp> reads;
  std::deque<WriteOp> writes;
  std::deque<GCDAsyncSocketTLSSettings> tlsSettings;
  std::shared_ptr<TLSSession> tls;
  std::shared_ptr<Data> readChunk;
  Data inbox;
  std::size_t inboxOffset = 0;
  std::size_t delimiterScanFrom = 0;
  bool reading = false;
  bool writing = false;
  bool handshaking = false;
  bool peerClosed = false;
  bool readTimerArmed = false;
  bool writeTimerArmed = false;
  bool closeAfterReads = false;
  bool closeAfterWrites = false;

  // Event chain.
  std::mutex eventMutex;
  std::deque<std::function<void()>> events;
  bool delivering = false;

 private:
  mutable std::mutex mutex;
  std::weak_ptr<GCDAsyncSocketDelegate> delegate_;
  std::shared_ptr<DispatchQueue> delegateQueue_;
  Endpoint endpoint_;
};

// ---- GCDAsyncSocket ----------------------------------------------------------

GCDAsyncSocket::GCDAsyncSocket(Key, std::weak_ptr<GCDAsyncSocketDelegate> delegate,
                               std::shared_ptr<DispatchQueue> delegateQueue)
    : impl_(std::make_shared<Impl>(std::move(delegate), std::move(delegateQueue))) {}

GCDAsyncSocket::~GCDAsyncSocket() {
  // The owner is gone, so closing reports nothing; handlers still pending
  // keep the implementation alive until they have run.
  impl_->post([impl = impl_.get()] { impl->close(nullptr); });
}

std::shared_ptr<GCDAsyncSocket> GCDAsyncSocket::initWithDelegate(
    std::weak_ptr<GCDAsyncSocketDelegate> delegate, std::shared_ptr<DispatchQueue> delegateQueue) {
  auto socket =
      std::make_shared<GCDAsyncSocket>(Key{}, std::move(delegate), std::move(delegateQueue));
  socket->impl_->owner = socket;
  return socket;
}

void GCDAsyncSocket::setDelegate(std::weak_ptr<GCDAsyncSocketDelegate> delegate) {
  impl_->setDelegate(std::move(delegate));
}
std::shared_ptr<GCDAsyncSocketDelegate> GCDAsyncSocket::delegate() const {
  return impl_->delegate();
}
void GCDAsyncSocket::setDelegateQueue(std::shared_ptr<DispatchQueue> delegateQueue) {
  impl_->setDelegateQueue(std::move(delegateQueue));
}
std::shared_ptr<DispatchQueue> GCDAsyncSocket::delegateQueue() const {
  return impl_->delegateQueue();
}

bool GCDAsyncSocket::connectToHost(StringView host, std::uint16_t port, double timeout,
                                   ErrorPtr* error) {
  return impl_->runOnStrand(
      [&] { return impl_->connectToHost(toUTF8(host), port, timeout, error); });
}

bool GCDAsyncSocket::connectToUrl(const URL& url, double timeout, ErrorPtr* error) {
  return impl_->runOnStrand([&] { return impl_->connectToPath(url, timeout, error); });
}

bool GCDAsyncSocket::acceptOnPort(std::uint16_t port, ErrorPtr* error) {
  return acceptOnInterface(u"", port, error);
}

bool GCDAsyncSocket::acceptOnInterface(StringView interface, std::uint16_t port, ErrorPtr* error) {
  return impl_->runOnStrand(
      [&] { return impl_->acceptOnInterface(toUTF8(interface), port, error); });
}

bool GCDAsyncSocket::acceptOnUrl(const URL& url, ErrorPtr* error) {
  return impl_->runOnStrand([&] { return impl_->acceptOnPath(url, error); });
}

void GCDAsyncSocket::readData(double timeout, long tag) {
  impl_->post([impl = impl_.get(), timeout, tag] {
    impl->queueRead({Impl::ReadKind::Available, 0, {}, 0, timeout, tag});
  });
}

void GCDAsyncSocket::readDataToLength(std::size_t length, double timeout, long tag) {
  if (length == 0) return;
  impl_->post([impl = impl_.get(), length, timeout, tag] {
    impl->queueRead({Impl::ReadKind::Length, length, {}, 0, timeout, tag});
  });
}

void GCDAsyncSocket::readDataToData(Data delimiter, double timeout, long tag,
                                    std::size_t maxLength) {
  if (delimiter.empty()) return;
  impl_->post([impl = impl_.get(), delimiter = std::move(delimiter), timeout, tag,
               maxLength]() mutable {
    impl->queueRead({Impl::ReadKind::Delimiter, 0, std::move(delimiter), maxLength, timeout, tag});
  });
}

void GCDAsyncSocket::writeData(Data data, double timeout, long tag) {
  if (data.empty()) return;
  impl_->post(
      [impl = impl_.get(), data = std::make_shared<const Data>(std::move(data)), timeout, tag] {
        impl->queueWrite({data, timeout, tag});
      });
}

void GCDAsyncSocket::startTLS(GCDAsyncSocketTLSSettings settings) {
  impl_->post([impl = impl_.get(), settings = std::move(settings)]() mutable {
    impl->queueTLS(std::move(settings));
  });
}

void GCDAsyncSocket::disconnect() {
  impl_->post([impl = impl_.get()] { impl->close(nullptr); });
}
void GCDAsyncSocket::disconnectAfterReading() {
  impl_->post([impl = impl_.get()] { impl->disconnectAfter(true, false); });
}
void GCDAsyncSocket::disconnectAfterWriting() {
  impl_->post([impl = impl_.get()] { impl->disconnectAfter(false, true); });
}
void GCDAsyncSocket::disconnectAfterReadingAndWriting() {
  impl_->post([impl = impl_.get()] { impl->disconnectAfter(true, true); });
}

bool GCDAsyncSocket::isConnected() const { return impl_->state == Impl::State::Connected; }
bool GCDAsyncSocket::isDisconnected() const { return impl_->state == Impl::State::Disconnected; }
bool GCDAsyncSocket::isSecure() const { return impl_->secure; }
std::optional<String> GCDAsyncSocket::connectedHost() const { return impl_->endpoint().host; }
std::uint16_t GCDAsyncSocket::connectedPort() const { return impl_->endpoint().port; }
std::uint16_t GCDAsyncSocket::localPort() const { return impl_->endpoint().localPort; }
std::optional<URL> GCDAsyncSocket::connectedUrl() const { return impl_->endpoint().url; }

}  // namespace lx
