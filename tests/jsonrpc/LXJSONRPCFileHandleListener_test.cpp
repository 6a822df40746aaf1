#include "vantorcore/jsonrpc/LXJSONRPCFileHandleListener.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "concurrency/ConcurrencyTestSupport.h"
#include "jsonrpc/ListenerTestSupport.h"
#include "vantorcore/platform/Log.h"

namespace lx {
namespace {

using test::notificationFrame;
using test::request;
using test::spinUntil;

struct Pipe {
  Pipe() {
    int fds[2];
    EXPECT_EQ(::pipe(fds), 0);
    reader = FileHandle::make(fds[0], true);
    writer = FileHandle::make(fds[1], true);
  }
  std::shared_ptr<FileHandle> reader, writer;
};

// Gathers what arrives on `handle` while it lives.
struct Collector {
  explicit Collector(std::shared_ptr<FileHandle> watched) : handle(std::move(watched)) {
    handle->setReadabilityHandler([this](FileHandle& h) {
      Data chunk = h.availableData();
      bytes.with([&](std::string& b) { b.append(chunk.begin(), chunk.end()); });
    });
  }
  ~Collector() { handle->setReadabilityHandler(nullptr); }
  std::shared_ptr<FileHandle> handle;
  test::Guarded<std::string> bytes;
};

struct Pipes {
  Pipe input, output;
};
class FileHandleListenerTest : public ::testing::Test,
                               protected Pipes,
                               protected test::Conversation<LXJSONRPCFileHandleListener> {
 protected:
  FileHandleListenerTest()
      : Conversation(
            LXJSONRPCFileHandleListener::initWithInputHandle(input.reader, output.writer)) {}
};

TEST_F(FileHandleListenerTest, ConversationOverPipesUntilEndOfFile) {
  Collector written(output.reader);
  auto ask = request(5);
  listener->sendRequest(ask, replies.handler(5));
  std::string sent(asStringView(*ask->messageData()));
  ASSERT_TRUE(spinUntil([&] { return written.bytes.get() == sent; }));
  std::string incoming = notificationFrame("hello") + test::responseFrame(5);
  ASSERT_TRUE(input.writer->writeData(dataFromBytes(incoming)));
  ASSERT_TRUE(spinUntil([&] { return replies.count(5) && delegate->messages.get().size(); }));
  EXPECT_EQ(delegate->methods(), std::vector<std::string>{"hello"});
  EXPECT_EQ(replies.only(5).first->messageID(), Value(5));

  // End of file: an orderly end, without error for the delegate and pending requests.
  listener->sendRequest(request(6), replies.handler(6));
  input.writer->closeFile();
  ASSERT_TRUE(spinUntil([&] { return delegate->terminations.get().size() && replies.count(6); }));
  EXPECT_EQ(delegate->terminations.get(), std::vector<ErrorPtr>{nullptr});
  EXPECT_FALSE(listener->isRunning());
  EXPECT_EQ(replies.only(6), test::Replies::Outcome());
}

TEST_F(FileHandleListenerTest, WaitUntilWrittenCoversEveryMessageSentBefore) {
  for (const char16_t* method : {u"one", u"two"})
    listener->sendMessage(LXJSONRPCMessage::notificationWithMethod(method));
  ASSERT_TRUE(listener->waitUntilWritten(5));
  const Data written = output.reader->availableData();  // in the pipe already
  EXPECT_NE(asStringView(written).find(R"("method":"two")"), std::string_view::npos);

  // A message larger than the pipe holds is written only as it is read.
  listener->sendMessage(LXJSONRPCMessage::notificationWithMethod(u"large", std::nullopt,
                                                                 Value(String(200'000, u'x'))));
  EXPECT_FALSE(listener->waitUntilWritten(0.05));
  Collector drain(output.reader);
  EXPECT_TRUE(listener->waitUntilWritten(5));
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

// Stopped or dropped, the listener cancels what is pending and leaves its
// input to other readers; nothing may touch a dropped listener afterwards.
TEST(FileHandleListenerEnd, StopOrDropCancelsPendingRequestsAndFreesTheInput) {
  for (bool drop : {false, true}) {
    SCOPED_TRACE(drop ? "dropped" : "stopped");
    Pipe input, output;
    test::Replies replies;
    auto listener = LXJSONRPCFileHandleListener::initWithInputHandle(input.reader, output.writer);
    listener->setDelegateQueue(DispatchQueue::makeSerial(u"test.fh.end"));
    listener->start();
    listener->sendRequest(request(1), replies.handler(1));
    drop ? listener.reset() : listener->stop();
    ASSERT_TRUE(spinUntil([&] { return replies.count(1) == 1; }));
    EXPECT_EQ(replies.only(1).second->code(), LXJSONRPCRequestCancelledError);

    ASSERT_TRUE(input.writer->writeData(dataFromBytes(notificationFrame("orphan"))));
    Collector other(input.reader);
    ASSERT_TRUE(spinUntil([&] { return other.bytes.get() == notificationFrame("orphan"); }));
  }
}

TEST(FileHandleListenerConstruction, PlainInitThrowsAndStandardIOPairsStdinWithStdout) {
  test::expectInvalidArgument([] { (void)LXJSONRPCFileHandleListener::init(); },
                              u"Must be initialized using -initWithInputHandle:outputHandle:");
  auto standard = LXJSONRPCFileHandleListener::initWithStandardInputOutput();
  EXPECT_EQ(standard->inputHandle()->fileDescriptor(), STDIN_FILENO);
  EXPECT_EQ(standard->outputHandle()->fileDescriptor(), STDOUT_FILENO);
}

}  // namespace
}  // namespace lx
