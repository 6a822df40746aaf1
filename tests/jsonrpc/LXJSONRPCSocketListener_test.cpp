#include "vantorcore/jsonrpc/LXJSONRPCSocketListener.h"

#include <gtest/gtest.h>

#include <optional>

#include "concurrency/ConcurrencyTestSupport.h"
#include "jsonrpc/ListenerTestSupport.h"
#include "vantorcore/platform/Log.h"

namespace lx {
namespace {

using test::notificationFrame;
using test::spinUntil;

// A loopback server that keeps the first connection and gathers its bytes.
struct Server : GCDAsyncSocketDelegate {
  static std::shared_ptr<Server> listen() {
    auto server = std::make_shared<Server>();
    server->socket =
        GCDAsyncSocket::initWithDelegate(server, DispatchQueue::makeSerial(u"test.server"));
    EXPECT_TRUE(server->socket->acceptOnInterface(u"127.0.0.1", 0));
    return server;
  }
  ~Server() override {
    if (auto c = accepted.get()) c->disconnect();
    socket->disconnect();
  }
  void didAcceptNewSocket(GCDAsyncSocket&, std::shared_ptr<GCDAsyncSocket> s) override {
    s->readData(GCDAsyncSocket::kNoTimeout, 0);
    accepted.with([&](auto& a) { a = s; });
  }
  void didReadData(GCDAsyncSocket& s, const Data& data, long) override {
    received.with([&](std::string& r) { r.append(data.begin(), data.end()); });
    s.readData(GCDAsyncSocket::kNoTimeout, 0);
  }
  std::shared_ptr<GCDAsyncSocket> socket;
  test::Guarded<std::shared_ptr<GCDAsyncSocket>> accepted;
  test::Guarded<std::string> received;
};

class SocketListenerTest : public ::testing::Test {
 protected:
  void start(std::shared_ptr<LXJSONRPCSocketListener> started) {
    auto& conversation = conversation_.emplace(std::move(started));
    listener = conversation.listener;
    delegate = conversation.delegate;
  }
  std::shared_ptr<Server> server = Server::listen();
  std::optional<test::Conversation<LXJSONRPCSocketListener>> conversation_;
  std::shared_ptr<LXJSONRPCSocketListener> listener;
  std::shared_ptr<test::RecordingDelegate> delegate;
};

TEST_F(SocketListenerTest, RoundTripOverTCPThenServerCloseEndsWithoutError) {
  start(LXJSONRPCSocketListener::initWithHost(u"127.0.0.1", server->socket->localPort()));
  ASSERT_TRUE(spinUntil([&] { return server->accepted.get() != nullptr; }));
  EXPECT_EQ(listener->socket()->delegateQueue(),
            DispatchQueue::global(DispatchQueuePriority::Default));

  // Split in two writes: the listener asks the socket for the missing bytes.
  std::string frame = notificationFrame("from server");
  server->accepted.get()->writeData(dataFromBytes(frame.substr(0, 25)), -1, 0);
  server->accepted.get()->writeData(dataFromBytes(frame.substr(25)), -1, 0);
  ASSERT_TRUE(spinUntil([&] { return delegate->messages.get().size() == 1; }));
  EXPECT_EQ(delegate->methods(), std::vector<std::string>{"from server"});

  Data sent = *test::request(1)->messageData();
  listener->writeData(sent);
  ASSERT_TRUE(spinUntil([&] { return server->received.get() == asStringView(sent); }));
  EXPECT_EQ(listener->connectionAttempts(), 1);

  server->accepted.get()->disconnect();
  ASSERT_TRUE(spinUntil([&] { return delegate->terminations.get().size() == 1; }));
  EXPECT_EQ(delegate->terminations.get()[0], nullptr);
  EXPECT_FALSE(listener->isRunning());
}

TEST_F(SocketListenerTest, RefusedConnectionGivesUpAfterFiveAttempts) {
  auto port = server->socket->localPort();
  server.reset();  // nothing listens on the port any more
  start(LXJSONRPCSocketListener::initWithHost(u"127.0.0.1", port));
  ASSERT_TRUE(spinUntil([&] { return delegate->terminations.get().size() == 1; }));
  EXPECT_EQ(listener->connectionAttempts(), 5);
  auto error = delegate->terminations.get()[0];
  ASSERT_TRUE(error);
  EXPECT_EQ(error->domain(), GCDAsyncSocketErrorDomain);
  EXPECT_NE(error->code(), GCDAsyncSocketClosedError);
}

// The socket transport writes only through `writeData(data)`; messages sent
// the generic way reach the base's failure.
TEST_F(SocketListenerTest, OnAnAcceptedSocketReadsButSendMessageOnlyLogs) {
  ScopedLogCapture log;
  auto client = GCDAsyncSocket::initWithDelegate({}, DispatchQueue::makeSerial(u"test.client"));
  ASSERT_TRUE(client->connectToHost(u"127.0.0.1", server->socket->localPort()));
  ASSERT_TRUE(spinUntil([&] { return server->accepted.get() != nullptr; }));
  start(LXJSONRPCSocketListener::initWithSocket(server->accepted.get()));
  client->writeData(dataFromBytes(notificationFrame("to the accepted side")), -1, 0);
  ASSERT_TRUE(spinUntil([&] { return delegate->messages.get().size() == 1; }));
  // The "attempt" on a connected socket only marks it connected.
  ASSERT_TRUE(spinUntil([&] { return listener->connectionAttempts() == 1; }));
  listener->sendMessage(LXJSONRPCMessage::notificationWithMethod(u"dropped"));
  ASSERT_TRUE(spinUntil([&] {
    return log.contains(
        u"Error while writing JSON-RPC data: Subclasses must override "
        u"writeData:error:");
  }));
  EXPECT_TRUE(listener->isRunning());
  client->disconnect();
}

TEST_F(SocketListenerTest, MisuseOfTheConstructors) {
  test::expectInvalidArgument([] { (void)LXJSONRPCSocketListener::init(); },
                              u"Must be initialized using -initWithSocket:");
  // Without a socket the first attempt fails: reported, and the conversation ends.
  ScopedLogCapture log;
  start(LXJSONRPCSocketListener::initWithSocket(nullptr));
  ASSERT_TRUE(spinUntil([&] { return delegate->terminations.get().size() == 1; }));
  EXPECT_TRUE(log.contains(u"CONDITION FAILED: Transport was created without a valid socket"));
  ASSERT_TRUE(delegate->terminations.get()[0]);
  EXPECT_EQ(delegate->terminations.get()[0]->code(), GCDAsyncSocketBadConfigError);
}

}  // namespace
}  // namespace lx
