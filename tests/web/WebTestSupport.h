// The local server every web test talks to, with the replies they share.
#pragma once

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include "concurrency/ConcurrencyTestSupport.h"
#include "support/TestHTTPServer.h"
#include "vantorcore/platform/URL.h"

namespace lx::test {

/// A server with the shared replies:
///   /json /array /text /empty         200 with that kind of body
///   /missing /broken                  404 and 500 with JSON bodies
///   /stall                            a head, then silence
///   /cut                              half a body, then a close
///   /large                            1 MiB of pattern bytes
///   /gate                             waits until `openGate()`, then /json
/// and `extra` for paths of a test's own (return an empty head to decline).
class WebTestServer {
 public:
  explicit WebTestServer(TestHTTPServer::Script extra = nullptr)
      : server_([this, extra](const HTTPRequestRecord& request) {
          if (extra) {
            HTTPReply reply = extra(request);
            if (!reply.head.empty()) return reply;
          }
          return shared(request);
        }) {}
  ~WebTestServer() { openGate(); }

  [[nodiscard]] std::string urlString(const std::string& path) const { return server_.url(path); }
  [[nodiscard]] URL url(const std::string& path) const {
    return *URL::URLWithString(fromUTF8(server_.url(path)));
  }
  [[nodiscard]] TestHTTPServer& server() { return server_; }
  void openGate() { gateOpen_.store(true); }

 private:
  HTTPReply shared(const HTTPRequestRecord& request) {
    const std::string& path = request.target;
    if (path == "/json") return HTTPReply::json(200, R"({"URL":"https://a.example/","ID":"7"})");
    if (path == "/array") return HTTPReply::json(200, "[1,2]");
    if (path == "/text") return HTTPReply::make(200, "plain text", {"Content-Type: text/plain"});
    if (path == "/empty") return HTTPReply::make(200, "");
    if (path == "/missing") return HTTPReply::json(404, R"({"error":"missing"})");
    if (path == "/broken") return HTTPReply::json(500, R"({"error":"broken"})");
    if (path == "/large") return HTTPReply::large(1 << 20);
    if (path == "/stall") {
      HTTPReply reply;
      reply.head = "HTTP/1.1 200 Scripted\r\nContent-Length: 10\r\n\r\n";
      reply.then = HTTPReply::Then::Stall;
      return reply;
    }
    if (path == "/cut") {
      HTTPReply reply = HTTPReply::make(200, std::string(100, 'c'));
      reply.cutAt = reply.head.size() + 50;
      return reply;
    }
    if (path == "/gate") {
      const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(30);
      while (!gateOpen_.load() && std::chrono::steady_clock::now() < giveUp) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      }
      return HTTPReply::json(200, R"({"gate":"open"})");
    }
    return HTTPReply::json(404, "{}");
  }

  std::atomic<bool> gateOpen_{false};
  TestHTTPServer server_;
};

}  // namespace lx::test
