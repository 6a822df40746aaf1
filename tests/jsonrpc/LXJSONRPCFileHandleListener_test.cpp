#include "vantorcore/jsonrpc/LXJSONRPCFileHandleListener.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>

#include "concurrency/ConcurrencyTestSupport.h"
#include "jsonrpc/ListenerTestSupport.h"
#include "vantorcore/platform/Exception.h"
#include "vantorcore/platform/Log.h"

namespace lx {
namespace {

using test::notificationFrame;
using test::RecordingDelegate;
using test::responseFrame;
using test::spinUntil;

struct Pipe {
  Pipe() {
    int fds[2];
    EXPECT_EQ(::pipe(fds), 0);
    reader = FileHandle::make(fds[0], true);
    writer = FileHandle::make(fds[1], true);
  }
  std::shared_ptr<FileHandle> reader;
  std::shared_ptr<FileHandle> writer;
};

// Collects what the listener writes to its output pipe.
struct Collector {
  explicit Collector(std::shared_ptr<FileHandle> watched) : handle(std::move(watched)) {
    handle->setReadabilityHandler([this](FileHandle& h) {
      Data chunk = h.availableData();
      std::lock_guard lock(mutex);
      bytes.append(chunk.begin(), chunk.end());
    });
  }
  ~Collector() { handle->setReadabilityHandler(nullptr); }
  std::string received() {
    std::lock_guard lock(mutex);
    return bytes;
  }
  std::shared_ptr<FileHandle> handle;
  std::mutex mutex;
  std::string bytes;
};

class FileHandleListenerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    listener->setDelegate(delegate);
    listener->setDelegateQueue(DispatchQueue::makeSerial(u"test.fh.delegate"));
    listener->start();
  }
  void TearDown() override {
    listener->stop();
    ASSERT_TRUE(spinUntil([&] { return replyCount == sentRequests; }));
  }
  LXJSONRPCListener::ReplyHandler countingReply(
      std::function<void(std::shared_ptr<LXJSONRPCMessage>, ErrorPtr)> check) {
    ++sentRequests;
    return [this, check](std::shared_ptr<LXJSONRPCMessage> response, ErrorPtr error) {
      check(response, error);
      ++replyCount;
    };
  }

  Pipe input;
  Pipe output;
  std::shared_ptr<LXJSONRPCFileHandleListener> listener =
      LXJSONRPCFileHandleListener::initWithInputHandle(input.reader, output.writer);
  std::shared_ptr<RecordingDelegate> delegate = std::make_shared<RecordingDelegate>();
  int sentRequests = 0;
  std::atomic<int> replyCount{0};
};

TEST_F(FileHandleListenerTest, ConversationOverPipes) {
  Collector written(output.reader);
  auto request = LXJSONRPCMessage::requestWithMessageID(Value(5), u"ask");
  std::shared_ptr<LXJSONRPCMessage> answer;
  listener->sendRequest(request, countingReply([&](auto response, auto error) {
                          answer = response;
                          EXPECT_FALSE(error);
                        }));
  std::string expected = std::string(asStringView(*request->messageData()));
  ASSERT_TRUE(spinUntil([&] { return written.received() == expected; }));

  ASSERT_TRUE(
      input.writer->writeData(dataFromBytes(notificationFrame("hello") + responseFrame(5))));
  ASSERT_TRUE(spinUntil([&] { return replyCount == 1 && delegate->messages().size() == 1; }));
  EXPECT_EQ(delegate->methods(), std::vector<std::string>{"hello"});
  EXPECT_EQ(answer->messageID(), Value(5));
}

TEST_F(FileHandleListenerTest, EndOfFileTerminatesWithoutError) {
  bool sawNoError = false;
  listener->sendRequest(
      LXJSONRPCMessage::requestWithMessageID(Value(1), u"ask"),
      countingReply([&](auto response, auto error) { sawNoError = !response && !error; }));
  input.writer->closeFile();
  ASSERT_TRUE(spinUntil([&] { return delegate->terminations().size() == 1; }));
  EXPECT_EQ(delegate->terminations()[0], nullptr);
  EXPECT_FALSE(listener->isRunning());
  ASSERT_EQ(replyCount, 1);
  EXPECT_TRUE(sawNoError);
}

TEST_F(FileHandleListenerTest, WriteFailureIsLoggedAndTheMessageDropped) {
  ScopedLogCapture log;
  output.reader->closeFile();
  listener->sendMessage(LXJSONRPCMessage::notificationWithMethod(u"lost"));
  ASSERT_TRUE(spinUntil([&] { return !log.lines().empty(); }));
  EXPECT_EQ(log.lines()[0], String(u"Error while writing JSON-RPC data: ") +
                                Error::posix(EPIPE)->localizedDescription());
  EXPECT_TRUE(listener->isRunning());
}

TEST_F(FileHandleListenerTest, StopLeavesTheInputToOthers) {
  listener->stop();
  ASSERT_TRUE(spinUntil([&] { return !listener->isRunning(); }));
  ASSERT_TRUE(input.writer->writeData(dataFromBytes("after the stop")));
  Collector other(input.reader);
  ASSERT_TRUE(spinUntil([&] { return other.received() == "after the stop"; }));
}

TEST(FileHandleListenerLifetimeTest, DroppedWhileRunningStopsWatching) {
  Pipe input;
  Pipe output;
  std::atomic<bool> cancelled{false};
  {
    auto listener = LXJSONRPCFileHandleListener::initWithInputHandle(input.reader, output.writer);
    listener->setDelegateQueue(DispatchQueue::makeSerial(u"test.fh.drop"));
    listener->start();
    listener->sendRequest(LXJSONRPCMessage::requestWithMessageID(Value(1), u"ask"),
                          [&](auto response, ErrorPtr error) {
                            cancelled = error && error->code() == LXJSONRPCRequestCancelledError;
                          });
  }
  // The pending request is answered once the listener is gone for good.
  ASSERT_TRUE(spinUntil([&] { return cancelled.load(); }));
  // Nothing may touch the dead listener, and the input is free again.
  ASSERT_TRUE(input.writer->writeData(dataFromBytes(notificationFrame("orphan"))));
  Collector other(input.reader);
  ASSERT_TRUE(spinUntil([&] { return other.received() == notificationFrame("orphan"); }));
}

TEST(FileHandleListenerConstructionTest, PlainInitThrows) {
  try {
    LXJSONRPCFileHandleListener::init();
    ADD_FAILURE() << "no exception";
  } catch (const InvalidArgumentException& e) {
    EXPECT_EQ(e.reason(), u"Must be initialized using -initWithInputHandle:outputHandle:");
  }
  auto standard = LXJSONRPCFileHandleListener::initWithStandardInputOutput();
  EXPECT_EQ(standard->inputHandle()->fileDescriptor(), STDIN_FILENO);
  EXPECT_EQ(standard->outputHandle()->fileDescriptor(), STDOUT_FILENO);
}

}  // namespace
}  // namespace lx
