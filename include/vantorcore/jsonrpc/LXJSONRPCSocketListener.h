// `LXJSONRPCSocketListener`: a JSON-RPC listener on a TCP or local-domain
// stream socket, connecting with up to 5 attempts 250 ms apart.
//
// Its write operation is `writeData(data)` (no error report). It does not
// replace the base `writeData(data, error)`, so `sendMessage` on a socket
// listener logs the base's failure and drops the message: the class has
// always behaved so and hosts rely on writing through `writeData(data)`.
#pragma once

#include "vantorcore/Export.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>

#include "vantorcore/jsonrpc/LXJSONRPCListener.h"
#include "vantorcore/platform/DispatchQueue.h"
#include "vantorcore/platform/URL.h"
#include "vantorcore/socket/GCDAsyncSocket.h"

namespace LX_API lx {

class LXJSONRPCSocketListener : public LXJSONRPCListener, public GCDAsyncSocketDelegate {
  LX_DECLARE_CLASS(LXJSONRPCSocketListener)
  struct Key {};

 public:
  /// Connection attempts before giving up, and their spacing.
  static constexpr int kMaximumConnectionAttempts = 5;
  /// The wait between connection attempts, and the leeway the timer may take, in nanoseconds.
  ///@{
  static constexpr std::int64_t kAttemptDelayNanoseconds = 250'000'000;
  static constexpr std::int64_t kAttemptLeewayNanoseconds = 25'000'000;
  ///@}
  /// Time-out of each connection attempt, in seconds.
  static constexpr double kConnectTimeout = 5.0;

  /// On an already connected socket.
  static std::shared_ptr<LXJSONRPCSocketListener> initWithSocket(
      std::shared_ptr<GCDAsyncSocket> socket);
  /// Connects to `host`:`port` over TCP when started.
  static std::shared_ptr<LXJSONRPCSocketListener> initWithHost(String host, std::uint16_t port);
  /// Connects to the local-domain socket at the file URL `url` when started.
  static std::shared_ptr<LXJSONRPCSocketListener> initWithURL(URL url);
  /// Throws `InvalidArgumentException` ("Must be initialized using -initWithSocket:").
  static std::shared_ptr<LXJSONRPCSocketListener> init();

  /// Made by the factory functions above; the key keeps the constructor private to them.
  LXJSONRPCSocketListener(Key, std::shared_ptr<GCDAsyncSocket> socket, std::optional<String> host,
                          std::uint16_t port, std::optional<URL> url);
  ~LXJSONRPCSocketListener() override;

  /// The socket. Read and written atomically.
  [[nodiscard]] std::shared_ptr<GCDAsyncSocket> socket() const;
  /// Replaces the socket, for a connection the caller made itself.
  void setSocket(std::shared_ptr<GCDAsyncSocket> socket);
  /// Writes `data` to the socket with no time-out.
  void writeData(const Data& data);
  /// How many connection attempts have been made.
  [[nodiscard]] int connectionAttempts() const;

 protected:
  /// Schedules the first connection attempt.
  void didStart() override;
  /// Cancels a pending attempt and disconnects after pending reads and writes.
  void willStop() override;
  void readDataToLength(std::size_t length, double timeout) override;
  void readDataToData(const Data& data, double timeout) override;
  using LXJSONRPCListener::writeData;
  // The socket event below would hide the base's chunk entry point.
  using LXJSONRPCListener::didReadData;

  // GCDAsyncSocketDelegate
  void didConnectToHost(GCDAsyncSocket& socket, const String& host, std::uint16_t port) override;
  void didConnectToUrl(GCDAsyncSocket& socket, const URL& url) override;
  void didReadData(GCDAsyncSocket& socket, const Data& data, long tag) override;
  void socketDidDisconnect(GCDAsyncSocket& socket, const ErrorPtr& error) override;

 private:
  void scheduleConnectionAttempt();
  void attemptConnection();
  // A read the base asked for; `length` 0 means "up to CR LF".
  struct ReadRequest {
    std::size_t length;
    double timeout;
  };
  // Hands a read to the socket, or keeps it until the socket connects: the
  // socket drops reads asked of it before then.
  void requestRead(ReadRequest read);
  void issueRead(const std::shared_ptr<GCDAsyncSocket>& socket, ReadRequest read);
  void connected();

  mutable std::mutex socketMutex_;
  std::shared_ptr<GCDAsyncSocket> socket_;
  const std::optional<String> host_;
  const std::uint16_t port_;
  const std::optional<URL> url_;
  const std::shared_ptr<DispatchQueue> connectionQueue_;
  // Connection-queue state.
  std::shared_ptr<DispatchTimerSource> attemptTimer_;
  std::atomic<int> connectionAttempts_{0};
  std::atomic<bool> didConnect_{false};
  std::mutex readMutex_;
  std::optional<ReadRequest> heldRead_;  // guarded by readMutex_
};

}  // namespace lx
