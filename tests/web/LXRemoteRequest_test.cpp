#include "vantorcore/web/LXRemoteRequest.h"

#include <gtest/gtest.h>

#include "vantorcore/platform/Log.h"
#include "vantorcore/platform/Thread.h"
#include "vantorcore/platform/URLError.h"
#include "web/WebTestSupport.h"

namespace lx {
namespace {

using test::spinUntil;

// Records each callback and the thread it came on.
struct RecordingDelegate : LXRemoteRequestDelegate {
  void remoteRequestDidFinishWithError(LXRemoteRequest& request, ErrorPtr error) override {
    ++calls;
    onMainThread = Thread::isMainThread();
    this->error = std::move(error);
    json = request.jsonResponse();
    data = request.responseData();
  }
  int calls = 0;
  bool onMainThread = false;
  ErrorPtr error;
  std::optional<Value> json;
  Data data;
};

class LXRemoteRequestTest : public testing::Test {
 protected:
  test::WebTestServer server;
  std::shared_ptr<RecordingDelegate> delegate = std::make_shared<RecordingDelegate>();
};

TEST_F(LXRemoteRequestTest, DelegateHearsOnceOnTheMainThreadWhateverTheStatus) {
  struct Case {
    std::string path;
    std::string body;
    Value::Type json;  // Null: no JSON
  } cases[] = {
      {"/json", R"({"URL":"https://a.example/","ID":"7"})", Value::Type::Dictionary},
      {"/missing", R"({"error":"missing"})", Value::Type::Dictionary},
      {"/broken", R"({"error":"broken"})", Value::Type::Dictionary},
      {"/array", "[1,2]", Value::Type::Array},
      {"/text", "plain text", Value::Type::Null},
      {"/empty", "", Value::Type::Null},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path);
    delegate = std::make_shared<RecordingDelegate>();
    auto request = LXRemoteRequest::initWithURL(server.url(c.path), delegate);
    ASSERT_TRUE(spinUntil([&] { return delegate->calls > 0; }));
    spinUntil([] { return true; });
    EXPECT_EQ(delegate->calls, 1);
    EXPECT_TRUE(delegate->onMainThread);
    EXPECT_EQ(delegate->error, nullptr);
    EXPECT_EQ(std::string(asStringView(delegate->data)), c.body);
    EXPECT_EQ(delegate->json ? delegate->json->type() : Value::Type::Null, c.json);
    EXPECT_TRUE(request->isFinished());
  }
}

TEST_F(LXRemoteRequestTest, WithoutAUsableURLTheDelegateHearsBadURLAndClosuresNothing) {
  ScopedLogCapture log;
  auto request = LXRemoteRequest::initWithURLString(u"not a URL at all", delegate);
  EXPECT_EQ(delegate->calls, 1);  // before the factory returned
  ASSERT_TRUE(delegate->error);
  EXPECT_EQ(delegate->error->domain(), NSURLErrorDomain);
  EXPECT_EQ(delegate->error->code(), NSURLErrorBadURL);
  EXPECT_EQ(request->sessionTask(), nullptr);
  EXPECT_FALSE(request->isFinished());

  int calls = 0;
  auto closureForm = LXRemoteRequest::initWithURL(std::nullopt, u"GET", std::nullopt, Dictionary(),
                                                  [&](auto, auto, auto) { ++calls; });
  EXPECT_EQ(closureForm->sessionTask(), nullptr);
  EXPECT_EQ(calls, 0);
  EXPECT_EQ(log.lines(), std::vector<String>(2, u"CONDITION FAILED: Requset is nil"));
}

TEST_F(LXRemoteRequestTest, ClosureRunsOnTheHandlerQueueWithMethodBodyAndHeaders) {
  std::atomic<int> calls{0};
  std::atomic<bool> onQueue{false};
  auto queue = DispatchQueue::makeSerial(u"handler");
  auto request = LXRemoteRequest::initWithURL(
      server.url("/gate"), u"POST", dataFromBytes("q=1"), Dictionary{{u"X-Token", u"abc"}},
      [&](std::optional<Data> body, auto response, ErrorPtr error) {
        onQueue = DispatchQueue::current() == queue.get();
        EXPECT_EQ(error, nullptr);
        EXPECT_EQ(response->statusCode(), 200);
        ++calls;
      });
  request->setHandlerQueue(queue);
  server.openGate();
  ASSERT_TRUE(spinUntil([&] { return calls.load() > 0; }));
  queue->sync([] {});
  EXPECT_EQ(calls.load(), 1);
  EXPECT_TRUE(onQueue.load());
  const auto recorded = server.server().requests().back();
  EXPECT_EQ(recorded.method, "POST");
  EXPECT_EQ(recorded.body, "q=1");
  EXPECT_EQ(recorded.headers.at("x-token"), "abc");
}

TEST_F(LXRemoteRequestTest, DestroyingTheRequestCancelsItSilently) {
  auto request = LXRemoteRequest::initWithURL(server.url("/stall"), delegate);
  const auto task = request->sessionTask();
  request.reset();
  ASSERT_TRUE(spinUntil([&] { return task->state() == URLSessionTaskState::Completed; }));
  ASSERT_TRUE(task->error());
  EXPECT_EQ(task->error()->code(), NSURLErrorCancelled);
  spinUntil([] { return true; });
  EXPECT_EQ(delegate->calls, 0);
}

TEST_F(LXRemoteRequestTest, CancelTellsTheDelegateOnceAndOnlyOnce) {
  auto request = LXRemoteRequest::initWithURL(server.url("/stall"), delegate);
  request->cancel();
  request->cancel();
  EXPECT_TRUE(request->isCancelled());
  ASSERT_TRUE(spinUntil([&] { return delegate->calls > 0; }));
  EXPECT_EQ(delegate->error->code(), NSURLErrorCancelled);
  request->cancel();  // finished: nothing more
  spinUntil([] { return true; });
  EXPECT_EQ(delegate->calls, 1);
  EXPECT_FALSE(request->jsonResponse());
}

}  // namespace
}  // namespace lx
