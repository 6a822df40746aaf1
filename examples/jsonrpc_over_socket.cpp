// A JSON-RPC 2.0 client and server over a TCP socket, both in one process:
// the server listens on a loopback port the kernel picks and answers "sum";
// the client connects, sends two requests and matches the responses by id.
//
// Each end wraps its connected socket in an `LXJSONRPCSocketListener`, which
// frames messages with a Content-Length header and reports them on a serial
// delegate queue. A socket listener writes through `writeData(data)`.
#include <cstdio>
#include <map>
#include <semaphore>

#include "vantorcore/jsonrpc/Error+LXJSONRPC.h"
#include "vantorcore/jsonrpc/LXJSONRPCSocketListener.h"
#include "vantorcore/socket/GCDAsyncSocket.h"

using namespace std::chrono_literals;
using lx::LXJSONRPCListener, lx::LXJSONRPCMessage, lx::LXJSONRPCSocketListener, lx::Value;

void send(LXJSONRPCListener& listener, const std::shared_ptr<LXJSONRPCMessage>& message) {
  if (auto data = message->messageData())
    static_cast<LXJSONRPCSocketListener&>(listener).writeData(*data);
}

// Accepts connections and answers their requests on one serial queue.
class Server : public lx::GCDAsyncSocketDelegate,
               public lx::LXJSONRPCListenerDelegate,
               public std::enable_shared_from_this<Server> {
 public:
  std::shared_ptr<lx::DispatchQueue> queue = lx::DispatchQueue::makeSerial(u"example.server");
  std::vector<std::shared_ptr<LXJSONRPCSocketListener>> connections;  // on `queue`

  void didAcceptNewSocket(lx::GCDAsyncSocket&,
                          std::shared_ptr<lx::GCDAsyncSocket> socket) override {
    auto& listener = connections.emplace_back(LXJSONRPCSocketListener::initWithSocket(socket));
    listener->setDelegateQueue(queue);
    listener->setDelegate(weak_from_this());
    listener->start();
  }
  void didReceiveMessage(LXJSONRPCListener& listener,
                         const std::shared_ptr<LXJSONRPCMessage>& request) override {
    const auto params = request->parameters();
    const lx::Array* numbers = params ? params->asArray() : nullptr;
    std::int64_t total = 0;
    for (const Value& n : numbers ? *numbers : lx::Array()) total += n.int64Value();
    auto error = lx::lx_JSONRPCErrorWithCode(-32601, u"Method not found");
    const bool known = request->method() == u"sum" && numbers;
    send(listener, LXJSONRPCMessage::responseWithMessageID(
                       request->messageID(), known ? std::optional<Value>(total) : std::nullopt,
                       known ? nullptr : error));
  }
};

// Waits for the connection, then collects responses by id (stored before
// each release, so the reader after the acquire needs no lock).
class Client : public lx::GCDAsyncSocketDelegate, public lx::LXJSONRPCListenerDelegate {
 public:
  std::binary_semaphore connected{0};
  std::counting_semaphore<8> responses{0};
  std::map<std::int64_t, std::shared_ptr<LXJSONRPCMessage>> byID;

  void didConnectToHost(lx::GCDAsyncSocket&, const lx::String&, std::uint16_t) override {
    connected.release();
  }
  void didReceiveMessage(LXJSONRPCListener&, const std::shared_ptr<LXJSONRPCMessage>& m) override {
    byID[m->messageID().value_or(Value()).int64Value()] = m;
    responses.release();
  }
};

int main() {
  auto server = std::make_shared<Server>();
  auto listening = lx::GCDAsyncSocket::initWithDelegate(server, server->queue);
  if (!listening->acceptOnInterface(u"127.0.0.1", 0)) return 1;  // port 0: the kernel picks
  auto client = std::make_shared<Client>();
  auto clientQueue = lx::DispatchQueue::makeSerial(u"example.client");
  auto socket = lx::GCDAsyncSocket::initWithDelegate(client, clientQueue);
  if (!socket->connectToHost(u"127.0.0.1", listening->localPort(), 2) ||
      !client->connected.try_acquire_for(2s))
    return 1;
  auto listener = LXJSONRPCSocketListener::initWithSocket(socket);
  listener->setDelegateQueue(clientQueue);
  listener->setDelegate(client);
  listener->start();
  send(*listener, LXJSONRPCMessage::requestWithMessageID(1, u"sum", {}, lx::Array{1, 2, 39}));
  send(*listener, LXJSONRPCMessage::requestWithMessageID(2, u"product"));
  if (!client->responses.try_acquire_for(2s) || !client->responses.try_acquire_for(2s)) return 1;
  auto& byID = client->byID;
  if (!byID[1] || !byID[2] || !byID[2]->error()) return 1;
  const Value sum = byID[1]->result().value_or(Value());
  const lx::ErrorPtr failure = byID[2]->error();
  std::printf("sum [1, 2, 39] => %lld\nproduct => error %lld: %s\n",
              static_cast<long long>(sum.int64Value()), static_cast<long long>(failure->code()),
              lx::toUTF8(lx::lx_JSONRPCDictionary(*failure)[u"message"].description()).c_str());
  const bool ok = sum.int64Value() == 42 && failure->code() == -32601;
  listener->stop();
  socket->disconnect();
  listening->disconnect();
  return ok ? 0 : 1;
}
