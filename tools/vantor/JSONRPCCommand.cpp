// `vantor jsonrpc`: a small JSON-RPC service (serve) and a one-shot client
// (call) over standard input and output, TCP or local-domain sockets.
#include <unistd.h>

#include <charconv>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>

#include "ChildProcess.h"
#include "Command.h"
#include "Countdown.h"
#include "StreamIO.h"
#include "vantorcore/jsonrpc/Error+LXJSONRPC.h"
#include "vantorcore/jsonrpc/LXJSONRPCFileHandleListener.h"
#include "vantorcore/jsonrpc/LXJSONRPCSocketListener.h"
#include "vantorcore/platform/JSON.h"
#include "vantorcore/socket/GCDAsyncSocket.h"

namespace vantor {
namespace {

using lx::DispatchQueue;
using lx::ErrorPtr;
using lx::GCDAsyncSocket;
using lx::LXJSONRPCListener;
using lx::LXJSONRPCMessage;
using lx::LXJSONRPCMessageType;
using lx::String;
using lx::Value;

const Command& self();

constexpr const char* kUsage =
    "usage: vantor jsonrpc serve (--stdio | --tcp HOST:PORT | --unix PATH)\n"
    "       vantor jsonrpc call [--timeout SECONDS] (--tcp HOST:PORT | --unix PATH |\n"
    "                           --exec \"COMMAND ...\") METHOD [PARAMS-JSON]\n"
    "\n"
    "serve answers JSON-RPC 2.0 messages framed by a Content-Length header:\n"
    "  echo [any]          result = the params\n"
    "  sum [n, ...]        result = the sum of the numbers (error -32602 otherwise)\n"
    "  ping                result = \"pong\"\n"
    "  sleep [ms]          result = ms, sent after ms milliseconds (at most 10000)\n"
    "  shutdown            replies, then the server exits with status 0\n"
    "  other requests      error -32601 \"Method not found\"\n"
    "  notification log         its params are written to standard error\n"
    "  notification notify-me   the server sends back \"notified\" with the same params\n"
    "With --stdio the server ends at the end of its input; on a socket it serves\n"
    "every connection until a shutdown request. A port of 0 picks a free one; the\n"
    "address listened on is written to standard error.\n"
    "\n"
    "call sends one request (id 1) and prints the result as JSON, or the error\n"
    "as \"error CODE: MESSAGE\". --exec runs COMMAND with /bin/sh and talks to it\n"
    "over its standard input and output. Notifications that arrive meanwhile go\n"
    "to standard error. PARAMS-JSON must be an array or an object.\n"
    "\n"
    "Exit status: 0 for a result, 1 for an error reply or a failed exchange\n"
    "(no reply within the time-out, 30 s by default), 2 for a usage error.";

constexpr std::int64_t kInvalidParams = -32602;
constexpr std::int64_t kMethodNotFound = -32601;
constexpr double kMaximumSleepMilliseconds = 10'000;
// How long a finishing server waits for replies still on their way out.
constexpr double kDrainSeconds = kMaximumSleepMilliseconds / 1000 + 5;

std::string json(const Value& value, bool pretty) {
  unsigned options = lx::JSONWritingFragmentsAllowed | lx::JSONWritingWithoutEscapingSlashes;
  if (pretty) options |= lx::JSONWritingPrettyPrinted;
  return lx::JSONSerialization::stringWithJSONObject(value, options).value_or("(not JSON)");
}

// Splits "HOST:PORT" ("[::1]:PORT" for an IPv6 literal).
bool parseHostPort(const std::string& text, std::string& host, std::uint16_t& port) {
  const auto colon = text.rfind(':');
  if (colon == std::string::npos || colon == 0) return false;
  host = text.substr(0, colon);
  if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
    host = host.substr(1, host.size() - 2);
  }
  const char* first = text.data() + colon + 1;
  const char* last = text.data() + text.size();
  unsigned value = 0;
  const auto [end, ec] = std::from_chars(first, last, value);
  if (first == last || ec != std::errc() || end != last || value > 65535) return false;
  port = static_cast<std::uint16_t>(value);
  return true;
}

// Polls until every weak reference has expired, at most `seconds`.
template <class... T>
bool waitUntilExpired(double seconds, const std::weak_ptr<T>&... refs) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  while (!(refs.expired() && ...)) {
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

// ---------------------------------------------------------------------------
// The service

// The answer to a request: a result, or a JSON-RPC error.
struct Answer {
  std::optional<Value> result;
  ErrorPtr error;
};

Answer invalidParams() {
  return {std::nullopt, lx::lx_JSONRPCErrorWithCode(kInvalidParams, u"Invalid params")};
}

// Integers add up exactly while they fit in 64 bits; any real number (or an
// overflow) turns the sum into a double, as a JavaScript peer would see it.
Answer sum(const std::optional<Value>& params) {
  const lx::Array* numbers = params ? params->asArray() : nullptr;
  if (!numbers) return invalidParams();
  std::int64_t exact = 0;
  double approximate = 0;
  bool isExact = true;
  for (const Value& n : *numbers) {
    if (!n.isInteger() && !n.isReal()) return invalidParams();
    approximate += n.doubleValue();
    if (!isExact) continue;
    if (n.type() == Value::Type::UnsignedInteger &&
        n.uint64Value() > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
      isExact = false;
    } else if (n.isReal() || __builtin_add_overflow(exact, n.int64Value(), &exact)) {
      isExact = false;
    }
  }
  return {isExact ? Value(exact) : Value(approximate), nullptr};
}

// Milliseconds of a "sleep" request: [ms] with 0 <= ms <= 10000.
std::optional<double> sleepMilliseconds(const std::optional<Value>& params) {
  const lx::Array* args = params ? params->asArray() : nullptr;
  if (!args || args->size() != 1 || !((*args)[0].isInteger() || (*args)[0].isReal())) {
    return std::nullopt;
  }
  const double ms = (*args)[0].doubleValue();
  if (!(ms >= 0 && ms <= kMaximumSleepMilliseconds)) return std::nullopt;
  return ms;
}

// One conversation of the echo-and-sum service. Runs on the server's serial
// queue; `send` writes a message back over the conversation's transport.
class Service : public lx::LXJSONRPCListenerDelegate, public std::enable_shared_from_this<Service> {
 public:
  using Send = std::function<void(const std::shared_ptr<LXJSONRPCMessage>&)>;
  struct Hooks {
    std::function<void(Service&)> ended;     // the transport ended
    std::function<void(Service&)> shutdown;  // a shutdown request was answered
  };

  Service(std::shared_ptr<DispatchQueue> queue, Hooks hooks)
      : queue_(std::move(queue)), hooks_(std::move(hooks)) {}

  void attach(std::shared_ptr<LXJSONRPCListener> listener, Send send) {
    listener_ = std::move(listener);
    send_ = std::move(send);
    listener_->setDelegateQueue(queue_);
    listener_->setDelegate(weak_from_this());
  }
  [[nodiscard]] const std::shared_ptr<LXJSONRPCListener>& listener() const { return listener_; }

  void didReceiveMessage(LXJSONRPCListener&,
                         const std::shared_ptr<LXJSONRPCMessage>& message) override {
    const String method = message->method().value_or(String());
    if (message->messageType() == LXJSONRPCMessageType::Notification) {
      if (method == u"log") {
        std::fprintf(stderr, "log: %s\n",
                     json(message->parameters().value_or(Value()), false).c_str());
      } else if (method == u"notify-me") {
        send_(LXJSONRPCMessage::notificationWithMethod(u"notified", std::nullopt,
                                                       message->parameters()));
      }
      return;  // unknown notifications are ignored, as JSON-RPC asks
    }
    if (message->messageType() != LXJSONRPCMessageType::Request) return;

    const auto params = message->parameters();
    if (method == u"sleep") {
      if (const auto ms = sleepMilliseconds(params)) {
        // The closure keeps the conversation alive, so a finishing server
        // still sends this reply before it exits.
        queue_->asyncAfter(*ms / 1000, [self = shared_from_this(), message, ms = *ms] {
          self->reply(*message, {Value(ms), nullptr});
        });
        return;
      }
      reply(*message, invalidParams());
    } else if (method == u"echo") {
      reply(*message, {params.value_or(Value()), nullptr});
    } else if (method == u"sum") {
      reply(*message, sum(params));
    } else if (method == u"ping") {
      reply(*message, {Value(u"pong"), nullptr});
    } else if (method == u"shutdown") {
      reply(*message, {Value(), nullptr});
      if (hooks_.shutdown) hooks_.shutdown(*this);
    } else {
      reply(*message,
            {std::nullopt, lx::lx_JSONRPCErrorWithCode(kMethodNotFound, u"Method not found")});
    }
  }

  void didTerminateWithError(LXJSONRPCListener&, const ErrorPtr& error) override {
    if (error) {
      std::fprintf(stderr, "vantor jsonrpc serve: connection ended: %s\n",
                   lx::toUTF8(error->localizedDescription()).c_str());
    }
    if (hooks_.ended) hooks_.ended(*this);
  }

 private:
  void reply(const LXJSONRPCMessage& request, Answer answer) {
    send_(LXJSONRPCMessage::responseWithMessageID(request.messageID(), std::move(answer.result),
                                                  std::move(answer.error)));
  }

  std::shared_ptr<DispatchQueue> queue_;
  Hooks hooks_;
  std::shared_ptr<LXJSONRPCListener> listener_;
  Send send_;
};

int serveStandardIO() {
  auto queue = DispatchQueue::makeSerial(u"vantor.jsonrpc.serve");
  auto finish = std::make_shared<Countdown>(1);
  Service::Hooks hooks{[finish](Service&) { finish->release(); },
                       [finish](Service&) { finish->release(); }};
  auto service = std::make_shared<Service>(queue, hooks);
  auto listener = lx::LXJSONRPCFileHandleListener::initWithStandardInputOutput();
  service->attach(listener,
                  [listener = listener.get()](const auto& m) { listener->sendMessage(m); });
  listener->start();
  while (!finish->waitFor(3600)) {
  }

  // Delayed replies hold the service until they are handed to the listener;
  // then the listener's own wait covers their writing, and once it has
  // stopped nothing of it may still run at exit.
  std::weak_ptr<LXJSONRPCListener> listenerRef = listener;
  std::weak_ptr<Service> serviceRef = service;
  service.reset();
  const bool sent =
      waitUntilExpired(kDrainSeconds, serviceRef) && listener->waitUntilWritten(kDrainSeconds);
  listener->stop();
  listener.reset();
  if (!sent || !waitUntilExpired(kDrainSeconds, listenerRef)) {
    std::fprintf(stderr, "vantor jsonrpc serve: replies still pending at exit\n");
    return 1;
  }
  return 0;
}

// Accepts connections and runs one service per connection, all on one
// serial queue.
class SocketServer : public lx::GCDAsyncSocketDelegate,
                     public std::enable_shared_from_this<SocketServer> {
 public:
  SocketServer() : queue_(DispatchQueue::makeSerial(u"vantor.jsonrpc.serve")) {}

  std::shared_ptr<GCDAsyncSocket> makeListeningSocket() {
    listening_ = GCDAsyncSocket::initWithDelegate(weak_from_this(), queue_);
    return listening_;
  }

  void didAcceptNewSocket(GCDAsyncSocket&, std::shared_ptr<GCDAsyncSocket> newSocket) override {
    auto listener = lx::LXJSONRPCSocketListener::initWithSocket(std::move(newSocket));
    // Conversations may end while the server is going away: they reach it
    // weakly.
    std::weak_ptr<SocketServer> server = weak_from_this();
    Service::Hooks hooks{[server](Service& s) {
                           if (auto self = server.lock())
                             self->services_.erase(s.shared_from_this());
                         },
                         [server](Service&) {
                           if (auto self = server.lock()) self->shutdown_.release();
                         }};
    auto service = std::make_shared<Service>(queue_, hooks);
    // A socket listener writes through its own writeData(data); its
    // sendMessage reaches the base class's failure.
    service->attach(listener, [listener = listener.get()](const auto& m) {
      if (auto data = m->messageData()) listener->writeData(*data);
    });
    services_.insert(service);
    listener->start();
  }

  // Blocks until a client asks for shutdown.
  void waitForShutdown() {
    while (!shutdown_.waitFor(3600)) {
    }
  }

  // Closes every connection once its queued replies are written, then the
  // listening socket. On the caller's thread (not the server's queue).
  void closeAll() {
    std::vector<std::shared_ptr<GCDAsyncSocket>> sockets;
    queue_->sync([&] {
      for (const auto& service : services_) {
        auto socketListener =
            std::static_pointer_cast<lx::LXJSONRPCSocketListener>(service->listener());
        if (auto socket = socketListener->socket()) sockets.push_back(socket);
      }
    });
    for (const auto& socket : sockets) socket->disconnectAfterWriting();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    for (const auto& socket : sockets) {
      while (!socket->isDisconnected() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      }
    }
    listening_->disconnect();
  }

 private:
  std::shared_ptr<DispatchQueue> queue_;
  Countdown shutdown_{1};
  std::shared_ptr<GCDAsyncSocket> listening_;
  std::set<std::shared_ptr<Service>> services_;  // on queue_
};

int serveSocket(const std::optional<std::string>& hostPort,
                const std::optional<std::string>& path) {
  auto server = std::make_shared<SocketServer>();
  auto listening = server->makeListeningSocket();
  ErrorPtr error;
  bool listeningOK = false;
  if (hostPort) {
    std::string host;
    std::uint16_t port = 0;
    if (!parseHostPort(*hostPort, host, port)) return usageError(self(), "--tcp wants HOST:PORT");
    listeningOK = listening->acceptOnInterface(lx::fromUTF8(host), port, &error);
    if (listeningOK)
      std::fprintf(stderr, "listening on %s:%u\n", host.c_str(), listening->localPort());
  } else {
    listeningOK = listening->acceptOnUrl(lx::URL::fileURLWithPath(lx::fromUTF8(*path)), &error);
    if (listeningOK) std::fprintf(stderr, "listening on %s\n", path->c_str());
  }
  if (!listeningOK) {
    return fail(
        "jsonrpc serve",
        "cannot listen: " + lx::toUTF8(error ? error->localizedDescription() : u"unknown error"));
  }
  server->waitForShutdown();
  server->closeAll();
  if (path) ::unlink(path->c_str());
  return 0;
}

int serve(Arguments args) {
  if (args.size() == 1 && args[0] == "--stdio") return serveStandardIO();
  if (args.size() == 2 && args[0] == "--tcp") return serveSocket(args[1], std::nullopt);
  if (args.size() == 2 && args[0] == "--unix") return serveSocket(std::nullopt, args[1]);
  return usageError(self(), "serve wants one of --stdio, --tcp HOST:PORT, --unix PATH");
}

// ---------------------------------------------------------------------------
// The client

// Collects the reply to our one request, from a reply closure or (over a
// socket) from the delegate, whichever transport is in use.
class Call : public lx::LXJSONRPCListenerDelegate {
 public:
  explicit Call(Value id) : id_(std::move(id)) {}

  void settle(std::shared_ptr<LXJSONRPCMessage> response, String failure) {
    {
      std::lock_guard lock(mutex_);
      if (settled_) return;
      settled_ = true;
      response_ = std::move(response);
      failure_ = std::move(failure);
    }
    done_.release();
  }

  void didReceiveMessage(LXJSONRPCListener&,
                         const std::shared_ptr<LXJSONRPCMessage>& message) override {
    if (message->messageType() == LXJSONRPCMessageType::Response && message->messageID() &&
        *message->messageID() == id_) {
      settle(message, {});
    } else if (message->messageType() == LXJSONRPCMessageType::Notification) {
      std::fprintf(stderr, "notification %s: %s\n",
                   lx::toUTF8(message->method().value_or(String())).c_str(),
                   json(message->parameters().value_or(Value()), false).c_str());
    }
  }

  void didTerminateWithError(LXJSONRPCListener&, const ErrorPtr& error) override {
    settle(nullptr, error ? error->localizedDescription()
                          : String(u"the server closed the connection without replying"));
  }

  // Prints the outcome; the exit status.
  int report(double timeout) {
    if (!done_.waitFor(timeout))
      settle(nullptr,
             lx::fromUTF8("no reply within " + std::to_string(static_cast<int>(timeout)) + " s"));
    std::lock_guard lock(mutex_);
    if (!response_) return fail("jsonrpc call", lx::toUTF8(failure_));
    if (const ErrorPtr error = response_->error()) {
      const lx::Dictionary object = lx::lx_JSONRPCDictionary(*error);
      std::cout << "error " << object[u"code"].int64Value() << ": "
                << lx::toUTF8(lx::stringOr(&object[u"message"])) << "\n";
      return 1;
    }
    std::cout << json(response_->result().value_or(Value()), true) << "\n";
    return 0;
  }

 private:
  const Value id_;
  Countdown done_{1};
  std::mutex mutex_;
  bool settled_ = false;
  std::shared_ptr<LXJSONRPCMessage> response_;
  String failure_;
};

// Reports the outcome of connecting a socket.
class Connector : public lx::GCDAsyncSocketDelegate {
 public:
  void didConnectToHost(GCDAsyncSocket&, const String&, std::uint16_t) override { done.release(); }
  void didConnectToUrl(GCDAsyncSocket&, const lx::URL&) override { done.release(); }
  void socketDidDisconnect(GCDAsyncSocket&, const ErrorPtr& e) override {
    {
      std::lock_guard lock(mutex);
      error =
          e ? e
            : lx::Error::make(String(lx::GCDAsyncSocketErrorDomain), lx::GCDAsyncSocketClosedError);
    }
    done.release();
  }
  Countdown done{1};
  std::mutex mutex;
  ErrorPtr error;
};

std::string describe(const ErrorPtr& error) {
  return error ? lx::toUTF8(error->localizedDescription()) : "unknown error";
}

int callOverSocket(const std::optional<std::string>& hostPort,
                   const std::optional<std::string>& path,
                   const std::shared_ptr<LXJSONRPCMessage>& request, double timeout) {
  auto queue = DispatchQueue::makeSerial(u"vantor.jsonrpc.call");
  auto connector = std::make_shared<Connector>();
  auto socket = GCDAsyncSocket::initWithDelegate(connector, queue);
  ErrorPtr error;
  bool started = false;
  if (hostPort) {
    std::string host;
    std::uint16_t port = 0;
    if (!parseHostPort(*hostPort, host, port)) return usageError(self(), "--tcp wants HOST:PORT");
    started = socket->connectToHost(lx::fromUTF8(host), port, timeout, &error);
  } else {
    started = socket->connectToUrl(lx::URL::fileURLWithPath(lx::fromUTF8(*path)), timeout, &error);
  }
  if (!started) return fail("jsonrpc call", "cannot connect: " + describe(error));
  if (!connector->done.waitFor(timeout + 1)) {
    socket->disconnect();
    return fail("jsonrpc call", "cannot connect: no connection within the time-out");
  }
  {
    std::lock_guard lock(connector->mutex);
    if (connector->error)
      return fail("jsonrpc call", "cannot connect: " + describe(connector->error));
  }

  auto call = std::make_shared<Call>(*request->messageID());
  auto listener = lx::LXJSONRPCSocketListener::initWithSocket(socket);
  listener->setDelegateQueue(queue);
  listener->setDelegate(call);
  listener->start();
  if (auto data = request->messageData()) listener->writeData(*data);
  const int status = call->report(timeout);
  listener->stop();
  socket->disconnect();
  return status;
}

int callOverExec(const std::string& command, const std::shared_ptr<LXJSONRPCMessage>& request,
                 double timeout) {
  std::string reason;
  auto child = spawnWithPipes("/bin/sh", {"sh", "-c", command}, false, &reason);
  if (!child) return fail("jsonrpc call", reason);
  auto listener = lx::LXJSONRPCFileHandleListener::initWithInputHandle(
      lx::FileHandle::make(child->stdoutFd, true), lx::FileHandle::make(child->stdinFd, true));
  auto call = std::make_shared<Call>(*request->messageID());
  listener->setDelegateQueue(DispatchQueue::makeSerial(u"vantor.jsonrpc.call"));
  listener->setDelegate(call);
  listener->start();
  listener->sendRequest(
      request, [call](std::shared_ptr<LXJSONRPCMessage> response, ErrorPtr error) {
        call->settle(std::move(response),
                     response ? String()
                              : (error ? error->localizedDescription()
                                       : String(u"the command ended without replying")));
      });
  const int status = call->report(timeout);
  // End of input tells the command we are done.
  listener->stop();
  listener->outputHandle()->closeFile();
  reapChild(child->pid, 5);
  return status;
}

int call(Arguments args) {
  double timeout = 30;
  std::optional<std::string> tcp, unixPath, exec;
  std::size_t i = 0;
  for (; i < args.size() && args[i].starts_with("--"); i += 2) {
    if (i + 1 >= args.size()) return usageError(self(), args[i] + " needs a value");
    const std::string& value = args[i + 1];
    if (args[i] == "--tcp") {
      tcp = value;
    } else if (args[i] == "--unix") {
      unixPath = value;
    } else if (args[i] == "--exec") {
      exec = value;
    } else if (args[i] == "--timeout") {
      char* end = nullptr;
      timeout = std::strtod(value.c_str(), &end);
      if (end == value.c_str() || *end != '\0' || !(timeout > 0)) {
        return usageError(self(), "--timeout wants a positive number of seconds");
      }
    } else {
      return usageError(self(), "unknown option '" + args[i] + "'");
    }
  }
  if (int(tcp.has_value()) + int(unixPath.has_value()) + int(exec.has_value()) != 1) {
    return usageError(self(), "call wants exactly one of --tcp, --unix, --exec");
  }
  if (i >= args.size()) return usageError(self(), "call wants a METHOD");
  if (args.size() - i > 2) return usageError(self(), "too many arguments");
  std::optional<Value> params;
  if (i + 1 < args.size()) {
    ErrorPtr error;
    params = lx::JSONSerialization::JSONObjectWithData(args[i + 1], 0, &error);
    if (!params) return usageError(self(), "PARAMS-JSON is not a JSON array or object");
  }
  auto request = LXJSONRPCMessage::requestWithMessageID(Value(1), lx::fromUTF8(args[i]),
                                                        std::nullopt, std::move(params));
  if (exec) return callOverExec(*exec, request, timeout);
  return callOverSocket(tcp, unixPath, request, timeout);
}

int run(Arguments args) {
  if (args.empty()) return usageError(self(), "missing serve or call");
  if (args[0] == "serve") return serve(args.subspan(1));
  if (args[0] == "call") return call(args.subspan(1));
  return usageError(self(), "unknown operation '" + args[0] + "'");
}

const Command kCommand{"jsonrpc", "serve or call a JSON-RPC 2.0 service", kUsage, run};
const Command& self() { return kCommand; }

}  // namespace

VANTOR_COMMAND(kCommand);

}  // namespace vantor
