#include "vantorcore/jsonrpc/LXJSONRPCSocketListener.h"

#include <gtest/gtest.h>

#include <atomic>

#include "concurrency/ConcurrencyTestSupport.h"
#include "jsonrpc/ListenerTestSupport.h"
#include "vantorcore/platform/Exception.h"
#include "vantorcore/platform/Log.h"

namespace lx {
namespace {

using test::notificationFrame;
using test::RecordingDelegate;
using test::spinUntil;

// A loopback server that keeps the first connection and gathers its bytes.
class Server : public GCDAsyncSocketDelegate, public std::enable_shared_from_this<Server> {
 public:
  static std::shared_ptr<Server> listen() {
    auto server = std::make_shared<Server>();
    server->socket_ =
        GCDAsyncSocket::initWithDelegate(server, DispatchQueue::makeSerial(u"test.server"));
    EXPECT_TRUE(server->socket_->acceptOnInterface(u"127.0.0.1", 0));
    return server;
  }
  ~Server() override {
    if (auto c = connection()) c->disconnect();
    socket_->disconnect();
  }

  std::uint16_t port() const { return socket_->localPort(); }
  std::shared_ptr<GCDAsyncSocket> connection() const {
    std::lock_guard lock(mutex_);
    return connection_;
  }
  std::string received() const {
    std::lock_guard lock(mutex_);
    return received_;
  }

  void didAcceptNewSocket(GCDAsyncSocket&, std::shared_ptr<GCDAsyncSocket> socket) override {
    socket->readData(GCDAsyncSocket::kNoTimeout, 0);
    std::lock_guard lock(mutex_);
    connection_ = std::move(socket);
  }
  void didReadData(GCDAsyncSocket& socket, const Data& data, long) override {
    {
      std::lock_guard lock(mutex_);
      received_.append(data.begin(), data.end());
    }
    socket.readData(GCDAsyncSocket::kNoTimeout, 0);
  }

 private:
  std::shared_ptr<GCDAsyncSocket> socket_;
  mutable std::mutex mutex_;
  std::shared_ptr<GCDAsyncSocket> connection_;
  std::string received_;
};

class SocketListenerTest : public ::testing::Test {
 protected:
  void start(const std::shared_ptr<LXJSONRPCSocketListener>& l) {
    listener = l;
    listener->setDelegate(delegate);
    listener->setDelegateQueue(DispatchQueue::makeSerial(u"test.socket.delegate"));
    listener->start();
  }
  void TearDown() override {
    if (listener) listener->stop();
  }

  std::shared_ptr<Server> server = Server::listen();
  std::shared_ptr<LXJSONRPCSocketListener> listener;
  std::shared_ptr<RecordingDelegate> delegate = std::make_shared<RecordingDelegate>();
};

TEST_F(SocketListenerTest, RoundTripOverTCP) {
  start(LXJSONRPCSocketListener::initWithHost(u"127.0.0.1", server->port()));
  ASSERT_TRUE(spinUntil([&] { return server->connection() != nullptr; }));
  EXPECT_EQ(listener->socket()->delegateQueue(),
            DispatchQueue::global(DispatchQueuePriority::Default));

  // Split in two writes: the listener asks the socket for the missing bytes.
  std::string frame = notificationFrame("from server");
  server->connection()->writeData(dataFromBytes(frame.substr(0, 25)), -1, 0);
  server->connection()->writeData(dataFromBytes(frame.substr(25)), -1, 0);
  ASSERT_TRUE(spinUntil([&] { return delegate->messages().size() == 1; }));
  EXPECT_EQ(delegate->methods(), std::vector<std::string>{"from server"});

  auto request = LXJSONRPCMessage::requestWithMessageID(Value(1), u"ask");
  std::string expected(asStringView(*request->messageData()));
  listener->writeData(*request->messageData());
  ASSERT_TRUE(spinUntil([&] { return server->received() == expected; }));
  EXPECT_EQ(listener->connectionAttempts(), 1);
}

TEST_F(SocketListenerTest, ServerClosingEndsTheConversationWithoutError) {
  start(LXJSONRPCSocketListener::initWithHost(u"127.0.0.1", server->port()));
  ASSERT_TRUE(spinUntil([&] { return server->connection() != nullptr; }));
  server->connection()->disconnect();
  ASSERT_TRUE(spinUntil([&] { return delegate->terminations().size() == 1; }));
  EXPECT_EQ(delegate->terminations()[0], nullptr);
  EXPECT_FALSE(listener->isRunning());
}

TEST_F(SocketListenerTest, RefusedConnectionGivesUpAfterFiveAttempts) {
  auto port = server->port();
  server.reset();  // nothing listens on the port any more
  start(LXJSONRPCSocketListener::initWithHost(u"127.0.0.1", port));
  ASSERT_TRUE(spinUntil([&] { return delegate->terminations().size() == 1; }));
  EXPECT_EQ(listener->connectionAttempts(), LXJSONRPCSocketListener::kMaximumConnectionAttempts);
  auto error = delegate->terminations()[0];
  ASSERT_TRUE(error);
  EXPECT_EQ(error->domain(), GCDAsyncSocketErrorDomain);
  EXPECT_NE(error->code(), GCDAsyncSocketClosedError);
}

// The socket transport writes only through `writeData(data)`; messages sent
// the generic way reach the base's failure.
TEST_F(SocketListenerTest, SendMessageLogsTheBaseFailure) {
  ScopedLogCapture log;
  start(LXJSONRPCSocketListener::initWithHost(u"127.0.0.1", server->port()));
  listener->sendMessage(LXJSONRPCMessage::notificationWithMethod(u"dropped"));
  ASSERT_TRUE(spinUntil([&] {
    return log.contains(
        u"Error while writing JSON-RPC data: Subclasses "
        u"must override writeData:error:");
  }));
}

TEST_F(SocketListenerTest, ListenerOnAnAcceptedSocket) {
  auto client = GCDAsyncSocket::initWithDelegate({}, DispatchQueue::makeSerial(u"test.client"));
  ASSERT_TRUE(client->connectToHost(u"127.0.0.1", server->port()));
  ASSERT_TRUE(spinUntil([&] { return server->connection() != nullptr; }));
  start(LXJSONRPCSocketListener::initWithSocket(server->connection()));
  client->writeData(dataFromBytes(notificationFrame("to the accepted side")), -1, 0);
  ASSERT_TRUE(spinUntil([&] { return delegate->messages().size() == 1; }));
  // The "attempt" on a connected socket only marks it connected.
  ASSERT_TRUE(spinUntil([&] { return listener->connectionAttempts() == 1; }));
  EXPECT_TRUE(listener->isRunning());
  client->disconnect();
}

TEST_F(SocketListenerTest, MisuseOfTheConstructors) {
  try {
    LXJSONRPCSocketListener::init();
    ADD_FAILURE() << "no exception";
  } catch (const InvalidArgumentException& e) {
    EXPECT_EQ(e.reason(), u"Must be initialized using -initWithSocket:");
  }
  // Without a socket the first attempt fails: reported, and the conversation ends.
  ScopedLogCapture log;
  start(LXJSONRPCSocketListener::initWithSocket(nullptr));
  ASSERT_TRUE(spinUntil([&] { return delegate->terminations().size() == 1; }));
  EXPECT_TRUE(log.contains(u"CONDITION FAILED: Transport was created without a valid socket"));
  ASSERT_TRUE(delegate->terminations()[0]);
  EXPECT_EQ(delegate->terminations()[0]->code(), GCDAsyncSocketBadConfigError);
}

}  // namespace
}  // namespace lx
