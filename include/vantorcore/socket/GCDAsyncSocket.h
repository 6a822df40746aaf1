// `GCDAsyncSocket`: an asynchronous TCP or local-domain stream socket with
// optional TLS, driven by the dispatch engine. Reads and writes are queued
// and served in order; each completed one is reported to the delegate on the
// delegate queue, tagged with the caller's tag.
//
// Errors are in `GCDAsyncSocketErrorDomain` with the codes of
// `GCDAsyncSocketError`; system failures carry the POSIX error under
// `NSUnderlyingError`, TLS failures OpenSSL's text in the description.
#pragma once

#include "vantorcore/Export.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "vantorcore/platform/Data.h"
#include "vantorcore/platform/DispatchQueue.h"
#include "vantorcore/platform/Error.h"
#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/String.h"
#include "vantorcore/platform/URL.h"

namespace LX_API lx {

/// The error domain of socket failures.
inline constexpr StringView GCDAsyncSocketErrorDomain = u"GCDAsyncSocketErrorDomain";

/// Codes of `GCDAsyncSocketErrorDomain`.
enum GCDAsyncSocketError : std::int64_t {
  GCDAsyncSocketNoError = 0,
  GCDAsyncSocketBadConfigError = 1,       // the call does not fit the socket's state
  GCDAsyncSocketBadParamError = 2,        // an argument is unusable (empty host, bad URL)
  GCDAsyncSocketConnectTimeoutError = 3,  // no connection within the time-out
  GCDAsyncSocketReadTimeoutError = 4,
  GCDAsyncSocketWriteTimeoutError = 5,
  GCDAsyncSocketReadMaxedOutError = 6,  // a delimited read passed its maximum length
  GCDAsyncSocketClosedError = 7,        // the peer closed the connection
  GCDAsyncSocketOtherError = 8,         // a system error, under NSUnderlyingError
  GCDAsyncSocketTLSError = 9,           // handshake or certificate verification failed
};

class GCDAsyncSocket;

/// Events of a socket, called on its delegate queue. Every operation is
/// optional. The socket holds its delegate weakly.
class GCDAsyncSocketDelegate {
 public:
  virtual ~GCDAsyncSocketDelegate() = default;
  /// A TCP connection is up (also after `acceptOnPort`, for the new socket).
  virtual void didConnectToHost(GCDAsyncSocket& socket, const String& host, std::uint16_t port) {}
  /// A local-domain connection is up.
  virtual void didConnectToUrl(GCDAsyncSocket& socket, const URL& url) {}
  /// A listening socket accepted `newSocket`, which has the same delegate
  /// and delegate queue until changed. Keep it, or it is closed.
  virtual void didAcceptNewSocket(GCDAsyncSocket& socket,
                                  std::shared_ptr<GCDAsyncSocket> newSocket) {}
  /// A queued read completed with `data`.
  virtual void didReadData(GCDAsyncSocket& socket, const Data& data, long tag) {}
  /// A queued write was handed to the system in full.
  virtual void didWriteData(GCDAsyncSocket& socket, long tag) {}
  /// The TLS handshake of `startTLS` completed.
  virtual void didSecure(GCDAsyncSocket& socket) {}
  /// The socket is closed. `error` is null after `disconnect` (or the
  /// orderly variants), `GCDAsyncSocketClosedError` when the peer closed it,
  /// else what went wrong. Pending reads and writes are dropped.
  virtual void socketDidDisconnect(GCDAsyncSocket& socket, const ErrorPtr& error) {}
};

/// TLS settings for `startTLS`. Certificate verification is on by default.
struct GCDAsyncSocketTLSSettings {
  /// Act as the TLS server (needs a certificate chain and a private key).
  bool isServer = false;
  /// Name to verify the peer's certificate against and to send as SNI;
  /// defaults to the host connected to.
  std::optional<std::string> peerName;
  /// Verify the peer's certificate chain and name. A client that turns this
  /// off accepts any server; a server that turns it on requires client
  /// certificates.
  bool validatesCertificateChain = true;
  /// PEM file of trusted certificates; the system's store when absent.
  std::optional<std::string> certificateAuthorityFile;
  /// PEM files of our own certificate chain and private key.
  ///@{
  std::optional<std::string> certificateChainFile;
  std::optional<std::string> privateKeyFile;
  ///@}
};

/// Every operation may be called from any thread, delegate callbacks
/// included. A socket's events reach the delegate one at a time and in the
/// order they happened, even on a concurrent delegate queue; a queued event
/// keeps the socket alive until it has run. Dropping the last reference
/// closes the socket without telling the delegate.
class GCDAsyncSocket : public Object {
  LX_DECLARE_CLASS(GCDAsyncSocket)
  struct Key {};

 public:
  /// No time-out, for reads, writes and connections.
  static constexpr double kNoTimeout = -1;

  /// A disconnected socket reporting to `delegate` on `delegateQueue` (the
  /// main queue when null).
  static std::shared_ptr<GCDAsyncSocket> initWithDelegate(
      std::weak_ptr<GCDAsyncSocketDelegate> delegate = {},
      std::shared_ptr<DispatchQueue> delegateQueue = nullptr);

  /// Where delegate callbacks go: the delegate (held weakly) and the queue they run on.
  ///@{
  void setDelegate(std::weak_ptr<GCDAsyncSocketDelegate> delegate);
  [[nodiscard]] std::shared_ptr<GCDAsyncSocketDelegate> delegate() const;
  void setDelegateQueue(std::shared_ptr<DispatchQueue> delegateQueue);
  [[nodiscard]] std::shared_ptr<DispatchQueue> delegateQueue() const;
  ///@}

  /// Starts connecting to `host` (a name or address) and `port`; the result
  /// comes as `didConnectToHost` or `socketDidDisconnect`. False at once,
  /// with an error, when the socket is not disconnected (bad config) or the
  /// host is empty (bad param). `timeout` <= 0 waits forever.
  bool connectToHost(StringView host, std::uint16_t port, double timeout = kNoTimeout,
                     ErrorPtr* error = nullptr);
  /// Starts connecting to the local-domain socket at the file URL `url`.
  bool connectToUrl(const URL& url, double timeout = kNoTimeout, ErrorPtr* error = nullptr);

  /// Listens on `port` of every interface (0 picks a free port; see
  /// `localPort`), or of `interface` ("localhost", "127.0.0.1", "::1").
  /// Each connection comes as `didAcceptNewSocket`.
  bool acceptOnPort(std::uint16_t port, ErrorPtr* error = nullptr);
  /// Listens on `port` of `interface` (an address or "localhost"; empty for all).
  bool acceptOnInterface(StringView interface, std::uint16_t port, ErrorPtr* error = nullptr);
  /// Listens on a local-domain socket at the file URL `url`; a stale socket
  /// file there is replaced.
  bool acceptOnUrl(const URL& url, ErrorPtr* error = nullptr);

  /// Queues a read of whatever arrives next (at least one byte).
  void readData(double timeout, long tag);
  /// Queues a read of exactly `length` bytes (0 does nothing).
  void readDataToLength(std::size_t length, double timeout, long tag);
  /// Queues a read up to and including the next `delimiter`. With
  /// `maxLength` > 0, a delimiter not found within that many bytes ends the
  /// connection with `GCDAsyncSocketReadMaxedOutError`.
  void readDataToData(Data delimiter, double timeout, long tag, std::size_t maxLength = 0);
  /// Queues `data` for writing (empty data does nothing).
  void writeData(Data data, double timeout, long tag);

  /// Queues a TLS handshake behind the reads and writes already queued;
  /// later reads and writes go through TLS. `didSecure` reports success, a
  /// disconnect with `GCDAsyncSocketTLSError` failure.
  void startTLS(GCDAsyncSocketTLSSettings settings);

  /// Closes at once; queued reads and writes are dropped. Any thread.
  void disconnect();
  /// Closes once the queued reads have completed (no new ones are accepted).
  void disconnectAfterReading();
  /// Closes once the queued writes have completed.
  void disconnectAfterWriting();
  /// Closes once both have completed.
  void disconnectAfterReadingAndWriting();

  /// The connection state, and whether TLS is on.
  ///@{
  [[nodiscard]] bool isConnected() const;
  [[nodiscard]] bool isDisconnected() const;
  [[nodiscard]] bool isSecure() const;
  ///@}
  /// The peer's address and port (TCP), while connected.
  [[nodiscard]] std::optional<String> connectedHost() const;
  /// The peer's port; 0 when not connected.
  [[nodiscard]] std::uint16_t connectedPort() const;
  /// The local port of a connected or listening TCP socket.
  [[nodiscard]] std::uint16_t localPort() const;
  /// The local-domain socket URL, while connected or listening on one.
  [[nodiscard]] std::optional<URL> connectedUrl() const;

  /// Use the factory functions, which set up the socket's ownership.
  GCDAsyncSocket(Key, std::weak_ptr<GCDAsyncSocketDelegate> delegate,
                 std::shared_ptr<DispatchQueue> delegateQueue);
  ~GCDAsyncSocket() override;

  struct Impl;

 private:
  std::shared_ptr<Impl> impl_;
};

}  // namespace lx
