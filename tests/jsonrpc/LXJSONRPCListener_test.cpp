#include "vantorcore/jsonrpc/LXJSONRPCListener.h"

#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <thread>

#include "concurrency/ConcurrencyTestSupport.h"
#include "jsonrpc/ListenerTestSupport.h"
#include "vantorcore/platform/Exception.h"
#include "vantorcore/platform/Log.h"

namespace lx {
namespace {

using test::frame;
using test::notificationFrame;
using test::RecordingDelegate;
using test::RecordingListener;
using test::responseFrame;

// The outcomes reply closures were called with, by request id.
struct Replies {
  std::mutex mutex;
  std::map<long long, std::vector<std::pair<std::shared_ptr<LXJSONRPCMessage>, ErrorPtr>>> calls;

  LXJSONRPCListener::ReplyHandler handler(long long id) {
    return [this, id](std::shared_ptr<LXJSONRPCMessage> response, ErrorPtr error) {
      std::lock_guard lock(mutex);
      calls[id].emplace_back(std::move(response), std::move(error));
    };
  }
  std::size_t count(long long id) {
    std::lock_guard lock(mutex);
    return calls[id].size();
  }
  std::pair<std::shared_ptr<LXJSONRPCMessage>, ErrorPtr> only(long long id) {
    std::lock_guard lock(mutex);
    EXPECT_EQ(calls[id].size(), 1u) << "request " << id;
    return calls[id].empty() ? std::pair<std::shared_ptr<LXJSONRPCMessage>, ErrorPtr>{}
                             : calls[id].front();
  }
};

std::shared_ptr<LXJSONRPCMessage> request(long long id) {
  return LXJSONRPCMessage::requestWithMessageID(Value(id), u"ask");
}

class ListenerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    listener->setDelegate(delegate);
    listener->setDelegateQueue(delegateQueue);
    listener->start();
  }
  // Pending requests are answered while `replies` still exists.
  void TearDown() override {
    listener->stop();
    settle();
  }
  // Everything queued so far has run, on the work queue and then on the
  // delegate queue.
  void settle() {
    listener->drain();
    delegateQueue->sync([] {});
  }

  std::shared_ptr<RecordingListener> listener = std::make_shared<RecordingListener>();
  std::shared_ptr<RecordingDelegate> delegate = std::make_shared<RecordingDelegate>();
  std::shared_ptr<DispatchQueue> delegateQueue = DispatchQueue::makeSerial(u"test.delegate");
  Replies replies;
};

TEST_F(ListenerTest, MessagesOfOneChunkArriveInOrderBeforeTheNextRead) {
  listener->start();  // already running: nothing happens
  listener->feed(notificationFrame("first") + notificationFrame("second"));
  settle();
  EXPECT_EQ(listener->starts(), 1);
  EXPECT_EQ(delegate->methods(), (std::vector<std::string>{"first", "second"}));
  EXPECT_EQ(listener->readRequests(), (std::vector<std::string>{"data", "data"}));
}

TEST_F(ListenerTest, MessageSplitAtEveryByteIsDeliveredOnceWithExactReadCounts) {
  const std::string message = frame(R"({"jsonrpc":"2.0","method":"split","params":[1,"two"]})");
  const std::size_t headerLength = message.find("\r\n\r\n") + 4;
  for (std::size_t split = 1; split < message.size(); ++split) {
    SCOPED_TRACE(split);
    listener->feed(message.substr(0, split));
    listener->drain();
    std::string expected =
        split >= headerLength ? std::to_string(message.size() - split) : std::string("data");
    EXPECT_EQ(listener->readRequests().back(), expected);
    listener->feed(message.substr(split));
    settle();
    EXPECT_EQ(delegate->messages().size(), split);
    EXPECT_EQ(listener->readRequests().back(), "data");
  }
  for (const auto& m : delegate->messages()) {
    EXPECT_EQ(m->parameters(), Value(Array{Value(1), Value(u"two")}));
  }
}

TEST_F(ListenerTest, ResponseGoesToItsPendingRequestOnlyOnce) {
  listener->sendRequest(request(7), replies.handler(7));
  listener->feed(responseFrame(7, R"("first")"));
  settle();
  auto [response, error] = replies.only(7);
  ASSERT_TRUE(response);
  EXPECT_EQ(response->result(), Value(u"first"));
  EXPECT_FALSE(error);
  EXPECT_TRUE(delegate->messages().empty());

  listener->feed(responseFrame(7, R"("second")"));
  settle();
  EXPECT_EQ(replies.count(7), 1u);
  ASSERT_EQ(delegate->messages().size(), 1u);
  EXPECT_EQ(delegate->messages()[0]->result(), Value(u"second"));
}

TEST_F(ListenerTest, SendRequestMisuseThrows) {
  listener->sendRequest(request(1), replies.handler(1));
  struct Case {
    std::shared_ptr<LXJSONRPCMessage> message;
    const char16_t* reason;
  } cases[] = {
      {request(1), u"Request has already been sent"},
      {LXJSONRPCMessage::notificationWithMethod(u"note"), u"Message provided must be a request"},
      {LXJSONRPCMessage::responseWithMessageID(Value(2), Value(true), nullptr),
       u"Message provided must be a request"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.reason));
    try {
      listener->sendRequest(c.message, replies.handler(2));
      ADD_FAILURE() << "no exception";
    } catch (const InvalidArgumentException& e) {
      EXPECT_EQ(e.reason(), c.reason);
    }
  }
  settle();
  EXPECT_EQ(listener->writes().size(), 1u);
}

TEST_F(ListenerTest, StopCancelsEveryPendingRequestAndTellsNoDelegate) {
  listener->sendRequest(request(1), replies.handler(1));
  listener->sendRequest(request(2), replies.handler(2));
  listener->stop();
  settle();
  EXPECT_FALSE(listener->isRunning());
  for (long long id : {1, 2}) {
    auto [response, error] = replies.only(id);
    EXPECT_FALSE(response);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain(), LXJSONRPCErrorDomain);
    EXPECT_EQ(error->code(), LXJSONRPCRequestCancelledError);
    EXPECT_TRUE(error->userInfo().empty());
  }
  EXPECT_TRUE(delegate->terminations().empty());
}

TEST_F(ListenerTest, TerminationPassesItsOwnErrorOnAndTellsTheDelegate) {
  struct Case {
    const char* name;
    ErrorPtr error;
  } cases[] = {
      {"orderly end", nullptr},
      {"transport failure", Error::make(u"Transport", 5)},
  };
  long long id = 0;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ++id;
    auto fresh = std::make_shared<RecordingListener>();
    auto recorder = std::make_shared<RecordingDelegate>();
    fresh->setDelegate(recorder);
    fresh->setDelegateQueue(delegateQueue);
    fresh->start();
    fresh->sendRequest(request(id), replies.handler(id));
    fresh->didTerminateWithError(c.error);
    fresh->didTerminateWithError(Error::make(u"Again", 1));  // stopped: ignored
    fresh->drain();
    delegateQueue->sync([] {});
    auto [response, error] = replies.only(id);
    EXPECT_FALSE(response);
    EXPECT_EQ(error, c.error);
    ASSERT_EQ(recorder->terminations().size(), 1u);
    EXPECT_EQ(recorder->terminations()[0], c.error);
  }
}

TEST_F(ListenerTest, UndecodableBodyStallsTheConversation) {
  ScopedLogCapture log;
  listener->feed(frame("not json"));
  listener->feed(notificationFrame("after"));
  settle();
  EXPECT_TRUE(delegate->messages().empty());
  auto lines = log.lines();
  ASSERT_EQ(lines.size(), 2u);  // the bad body, met again at the second step
  EXPECT_EQ(lines[0].rfind(u"Error unpacking JSON-RPC payload: ", 0), 0u);
  EXPECT_EQ(lines[1], lines[0]);
  EXPECT_EQ(listener->readRequests().back(), "data");
  EXPECT_TRUE(listener->isRunning());
}

TEST_F(ListenerTest, MaximumMessageSizeEndsTheConversation) {
  struct Case {
    const char* name;
    std::string input;
    bool terminates;
  } cases[] = {
      {"body announced past the maximum", "Content-Length: 1000\r\n\r\n", true},
      {"header block growing past the maximum", "X: " + std::string(200, 'a') + "\r\n", true},
      {"header line without end past the maximum", std::string(101, 'h'), true},
      // 22 bytes of header block and 78 of body.
      {"message of exactly the maximum", frame(R"({"method":"m"})" + std::string(64, ' ')), false},
  };
  long long id = 0;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ++id;
    auto fresh = std::make_shared<RecordingListener>();
    auto recorder = std::make_shared<RecordingDelegate>();
    fresh->setDelegate(recorder);
    fresh->setDelegateQueue(delegateQueue);
    fresh->setMaximumMessageSize(100);
    fresh->start();
    fresh->sendRequest(request(id), replies.handler(id));
    fresh->feed(c.input);
    fresh->drain();
    delegateQueue->sync([] {});
    EXPECT_EQ(fresh->isRunning(), !c.terminates);
    if (!c.terminates) {
      EXPECT_EQ(recorder->methods(), std::vector<std::string>{"m"});
      fresh->stop();
      fresh->drain();
      continue;
    }
    ASSERT_EQ(recorder->terminations().size(), 1u);
    auto error = recorder->terminations()[0];
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain(), LXJSONRPCErrorDomain);
    EXPECT_EQ(error->code(), LXJSONRPCMessageTooLargeError);
    EXPECT_NE(error->localizedDescription().find(u"100 bytes"), String::npos);
    EXPECT_EQ(replies.only(id).second, error);
  }
}

TEST_F(ListenerTest, ManySmallMessagesSurviveCompaction) {
  // Well past the compaction threshold, fed in chunks that cut messages at
  // ever different places.
  std::string stream;
  const int count = 6000;
  for (int i = 0; i < count; ++i) stream += notificationFrame("m" + std::to_string(i));
  ASSERT_GT(stream.size(), 3 * LXJSONRPCListener::kBufferCapacity);
  for (std::size_t at = 0; at < stream.size(); at += 977) listener->feed(stream.substr(at, 977));
  settle();
  auto methods = delegate->methods();
  ASSERT_EQ(methods.size(), static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i)
    EXPECT_EQ(methods[static_cast<std::size_t>(i)], "m" + std::to_string(i));
}

TEST_F(ListenerTest, BytesAfterStopAreDroppedAndRestartBeginsAfresh) {
  listener->feed("Content-Length: 40\r\n\r\n{\"method\":");  // cut short by the stop
  listener->stop();
  listener->feed(notificationFrame("late"));
  listener->drain();  // `start` while the stop is still queued would do nothing
  listener->start();
  listener->feed(notificationFrame("fresh"));
  settle();
  EXPECT_EQ(delegate->methods(), std::vector<std::string>{"fresh"});
  EXPECT_EQ(listener->starts(), 2);
}

TEST(ListenerRaceTest, EveryReplyClosureIsCalledExactlyOnce) {
  auto delegateQueue = DispatchQueue::makeSerial(u"test.race");
  for (int round = 0; round < 200; ++round) {
    auto listener = std::make_shared<RecordingListener>();
    listener->setDelegateQueue(delegateQueue);
    listener->start();
    Replies replies;
    const int requests = 8;
    std::string responses;
    for (int id = 0; id < requests; ++id) {
      listener->sendRequest(request(id), replies.handler(id));
      responses += responseFrame(id);
    }
    std::thread feeder([&] {
      for (std::size_t at = 0; at < responses.size(); at += 50)
        listener->feed(responses.substr(at, 50));
    });
    std::thread stopper([&] { listener->stop(); });
    std::thread terminator([&] { listener->didTerminateWithError(nullptr); });
    feeder.join();
    stopper.join();
    terminator.join();
    listener->drain();
    delegateQueue->sync([] {});
    for (int id = 0; id < requests; ++id) ASSERT_EQ(replies.count(id), 1u) << "round " << round;
  }
}

TEST(ListenerLifetimeTest, DroppedListenerCancelsItsPendingRequests) {
  auto delegateQueue = DispatchQueue::makeSerial(u"test.lifetime");
  Replies replies;
  {
    auto listener = std::make_shared<RecordingListener>();
    listener->setDelegateQueue(delegateQueue);
    listener->start();
    listener->sendRequest(request(1), replies.handler(1));
    listener->drain();
  }
  // The listener's last closures may still be finishing on its work queue.
  ASSERT_TRUE(test::spinUntil([&] { return replies.count(1) == 1; }));
  EXPECT_EQ(replies.only(1).second->code(), LXJSONRPCRequestCancelledError);
}

TEST(ListenerDelegateQueueTest, NoDelegateQueueMeansTheMainQueue) {
  auto listener = std::make_shared<RecordingListener>();
  auto delegate = std::make_shared<RecordingDelegate>();
  listener->setDelegate(delegate);
  EXPECT_EQ(listener->delegateQueue(), nullptr);
  listener->start();
  listener->feed(notificationFrame("on main"));
  ASSERT_TRUE(test::spinUntil([&] { return delegate->messages().size() == 1; }));
}

// A listener without a transport: sending fails in the base and is logged.
TEST(ListenerBaseTest, SendingWithoutATransportLogsTheBaseFailure) {
  auto listener = std::make_shared<LXJSONRPCListener>();
  ScopedLogCapture log;
  listener->sendMessage(request(1));
  ASSERT_TRUE(test::spinUntil([&] { return !log.lines().empty(); }));
  EXPECT_EQ(log.lines(), std::vector<String>{u"Error while writing JSON-RPC data: Subclasses must "
                                             u"override writeData:error:"});
}

}  // namespace
}  // namespace lx
