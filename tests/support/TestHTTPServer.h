// A real HTTP/1.1 server for tests: listens on 127.0.0.1 on a port the
// kernel picks, answers each request with the reply a script returns, and
// speaks TLS when given an identity. Each connection has its own thread and
// keeps alive until the client closes or a reply says otherwise, so tests
// see connection reuse. Destroying the server closes every connection.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace lx::test {

/// One request as the server read it; header names in lower case.
struct HTTPRequestRecord {
  std::string method;
  std::string target;
  std::map<std::string, std::string> headers;
  std::string body;
};

/// What the server sends back, and what it does afterwards.
struct HTTPReply {
  enum class Then { KeepAlive, Close, Stall };
  std::string head;                  // status line and fields, through the empty line
  std::string body;                  // sent after the head
  std::uint64_t generatedBytes = 0;  // then this many bytes of a fixed pattern
  std::optional<std::size_t> cutAt;  // send only this many bytes of head and body, then close
  Then then = Then::KeepAlive;       // Stall: send nothing more, keep the connection open

  /// A complete reply with "Content-Length"; `fields` as "Name: value".
  static HTTPReply make(int status, std::string body, std::vector<std::string> fields = {});
  /// `make` with "Content-Type: application/json".
  static HTTPReply json(int status, std::string json);
  /// A redirect to `location`.
  static HTTPReply redirect(const std::string& location, int status = 302);
  /// `body` compressed with gzip, with "Content-Encoding: gzip".
  static HTTPReply gzipped(const std::string& body);
  /// A body of `bytes` pattern bytes (see `patternByte`), streamed.
  static HTTPReply large(std::uint64_t bytes);
  /// `bytes` as they are (no HTTP framing), then a close.
  static HTTPReply raw(std::string bytes);
  /// The byte at `offset` of every generated body.
  static char patternByte(std::uint64_t offset) { return static_cast<char>('a' + offset % 26); }
};

/// A certificate chain and its private key, both PEM.
struct TLSIdentity {
  std::string certificateChainPEM;
  std::string privateKeyPEM;
};

class TestHTTPServer {
 public:
  using Script = std::function<HTTPReply(const HTTPRequestRecord&)>;

  /// Starts listening at once. With `tls`, every connection is HTTPS.
  explicit TestHTTPServer(Script script, std::optional<TLSIdentity> tls = std::nullopt);
  ~TestHTTPServer();
  TestHTTPServer(const TestHTTPServer&) = delete;
  TestHTTPServer& operator=(const TestHTTPServer&) = delete;

  [[nodiscard]] std::uint16_t port() const noexcept { return port_; }
  /// "http://<host>:<port><path>" ("https" for a TLS server).
  [[nodiscard]] std::string url(std::string_view path, std::string_view host = "127.0.0.1") const;
  /// Every request read so far, in order.
  [[nodiscard]] std::vector<HTTPRequestRecord> requests() const;
  /// How many connections were accepted.
  [[nodiscard]] int connectionCount() const noexcept { return connections_.load(); }

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
  std::uint16_t port_ = 0;
  std::atomic<int> connections_{0};
};

}  // namespace lx::test
