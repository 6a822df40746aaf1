#include "vantorcore/jsonrpc/LXJSONRPCListener.h"

#include <gtest/gtest.h>

#include <thread>

#include "concurrency/ConcurrencyTestSupport.h"
#include "jsonrpc/ListenerTestSupport.h"
#include "vantorcore/platform/Log.h"

namespace lx {
namespace {

using test::frame;
using test::notificationFrame;
using test::request;
using test::responseFrame;
using Strings = std::vector<std::string>;

class ListenerTest : public ::testing::Test, protected test::Conversation<> {
 protected:
  ListenerTest() : Conversation(std::make_shared<test::RecordingListener>()) {}
};

// A response goes to its pending request's closure once; a second one with
// the same id is just a message for the delegate.
TEST_F(ListenerTest, MessagesOfOneChunkAreRoutedInOrderBeforeTheNextRead) {
  listener->start();  // already running: nothing happens
  listener->sendRequest(request(7), replies.handler(7));
  listener->feed(notificationFrame("first") + responseFrame(7, R"("answer")") +
                 responseFrame(7, R"("again")") + notificationFrame("last"));
  settle();
  auto [response, error] = replies.only(7);
  ASSERT_TRUE(response);
  EXPECT_EQ(response->result(), Value(u"answer"));
  EXPECT_FALSE(error);
  EXPECT_EQ(delegate->methods(), (Strings{"first", "-", "last"}));
  EXPECT_EQ(delegate->messages.get()[1]->result(), Value(u"again"));
  EXPECT_EQ(listener->events.get(), (Strings{"start", "data", "write", "data"}));
}

TEST_F(ListenerTest, MessageSplitAtEveryByteIsDeliveredOnceWithExactReadCounts) {
  const std::string message = frame(R"({"jsonrpc":"2.0","method":"split","params":[1,"two"]})");
  const std::size_t headerLength = message.find("\r\n\r\n") + 4;
  for (std::size_t split = 1; split < message.size(); ++split) {
    SCOPED_TRACE(split);
    listener->feed(message.substr(0, split));
    listener->drain();
    EXPECT_EQ(listener->events.get().back(),
              split >= headerLength ? std::to_string(message.size() - split) : "data");
    listener->feed(message.substr(split));
    settle();
    ASSERT_EQ(delegate->messages.get().size(), split);
    EXPECT_EQ(delegate->messages.get().back()->parameters(), Value(Array{Value(1), Value(u"two")}));
    EXPECT_EQ(listener->events.get().back(), "data");
  }
}

TEST_F(ListenerTest, SendRequestMisuseThrowsAndWritesNothing) {
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
    test::expectInvalidArgument([&] { listener->sendRequest(c.message, replies.handler(2)); },
                                c.reason);
  }
  settle();
  EXPECT_EQ(listener->events.get(), (Strings{"start", "data", "write"}));
}

TEST_F(ListenerTest, StopCancelsPendingRequestsDropsLaterBytesAndRestartBeginsAfresh) {
  listener->sendRequest(request(1), replies.handler(1));
  listener->sendRequest(request(2), replies.handler(2));
  listener->feed("Content-Length: 40\r\n\r\n{\"method\":");  // cut short by the stop
  listener->stop();
  listener->feed(notificationFrame("late"));
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
  EXPECT_TRUE(delegate->terminations.get().empty());

  listener->start();
  listener->feed(notificationFrame("fresh"));
  settle();
  EXPECT_EQ(delegate->methods(), Strings{"fresh"});
  EXPECT_EQ(listener->events.get(),
            (Strings{"start", "data", "write", "write", "30", "start", "data", "data"}));
}

TEST_F(ListenerTest, UndecodableBodyStallsTheConversation) {
  ScopedLogCapture log;
  listener->feed(frame("not json"));
  listener->feed(notificationFrame("after"));
  settle();
  EXPECT_TRUE(delegate->messages.get().empty());
  auto lines = log.lines();
  ASSERT_EQ(lines.size(), 2u);  // the bad body, met again at the second step
  EXPECT_EQ(lines[0].rfind(u"Error unpacking JSON-RPC payload: ", 0), 0u);
  EXPECT_EQ(lines[1], lines[0]);
  EXPECT_EQ(listener->events.get().back(), "data");
  EXPECT_TRUE(listener->isRunning());
}

TEST(ListenerMaximumMessageSize, LargerMessagesEndTheConversation) {
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
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    test::Conversation<> conversation(std::make_shared<test::RecordingListener>(), 100);
    auto& [replies, delegate, listener] = conversation;
    listener->sendRequest(request(1), replies.handler(1));
    listener->feed(c.input);
    conversation.settle();
    EXPECT_EQ(listener->isRunning(), !c.terminates);
    EXPECT_EQ(delegate->methods(), c.terminates ? Strings{} : Strings{"m"});
    if (!c.terminates) continue;
    // The request and the delegate hear the same error, once.
    auto error = replies.only(1).second;
    ASSERT_TRUE(error);
    EXPECT_EQ(delegate->terminations.get(), std::vector<ErrorPtr>{error});
    EXPECT_EQ(error->domain(), LXJSONRPCErrorDomain);
    EXPECT_EQ(error->code(), LXJSONRPCMessageTooLargeError);
    EXPECT_NE(error->localizedDescription().find(u"100 bytes"), String::npos);
  }
}

TEST_F(ListenerTest, ManySmallMessagesSurviveCompaction) {
  // Well past the compaction threshold, cut at ever different places.
  std::string stream;
  Strings expected;
  for (int i = 0; i < 6000; ++i) {
    expected.push_back("m" + std::to_string(i));
    stream += notificationFrame(expected.back());
  }
  ASSERT_GT(stream.size(), 3 * LXJSONRPCListener::kBufferCapacity);
  for (std::size_t at = 0; at < stream.size(); at += 977) listener->feed(stream.substr(at, 977));
  settle();
  EXPECT_EQ(delegate->methods(), expected);
}

TEST(ListenerRace, StopTerminationAndResponsesCallEveryReplyClosureExactlyOnce) {
  for (int round = 0; round < 200; ++round) {
    SCOPED_TRACE(round);
    test::Conversation<> c(std::make_shared<test::RecordingListener>());
    std::string responses;
    for (int id = 0; id < 8; ++id) {
      c.listener->sendRequest(request(id), c.replies.handler(id));
      responses += responseFrame(id);
    }
    std::thread feeder([&] {
      for (std::size_t at = 0; at < responses.size(); at += 50)
        c.listener->feed(responses.substr(at, 50));
    });
    std::thread stopper([&] { c.listener->stop(); });
    c.listener->didTerminateWithError(nullptr);
    feeder.join();
    stopper.join();
    c.settle();
    for (int id = 0; id < 8; ++id) ASSERT_EQ(c.replies.count(id), 1u);
  }
}

TEST(ListenerDelegateQueue, NoDelegateQueueMeansTheMainQueue) {
  auto listener = std::make_shared<test::RecordingListener>();
  auto delegate = std::make_shared<test::RecordingDelegate>();
  listener->setDelegate(delegate);
  listener->start();
  listener->feed(notificationFrame("on main"));
  ASSERT_TRUE(test::spinUntil([&] { return delegate->messages.get().size() == 1; }));
}

}  // namespace
}  // namespace lx
