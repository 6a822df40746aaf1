#include "vantorcore/web/LXURLTask.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <future>

#include "support/TestSupport.h"
#include "vantorcore/platform/Timer.h"
#include "vantorcore/platform/URLError.h"
#include "web/WebTestSupport.h"

namespace lx {
namespace {

namespace fs = std::filesystem;

class LXURLTaskTest : public testing::Test {
 protected:
  test::WebTestServer server;
};

TEST_F(LXURLTaskTest, SynchronousRequestReturnsBodyResponseAndError) {
  struct Case {
    std::string path;
    std::optional<std::string> body;
    int status;
    std::int64_t code;
  } cases[] = {
      {"/json", R"({"URL":"https://a.example/","ID":"7"})", 200, 0},
      {"/missing", R"({"error":"missing"})", 404, 0},
      {"/empty", "", 200, 0},
      {"/cut", std::nullopt, 200, NSURLErrorNetworkConnectionLost},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path);
    std::shared_ptr<HTTPURLResponse> response;
    ErrorPtr error;
    const auto body =
        LXURLTask::sendSynchronousRequest(URLRequest(server.url(c.path)), &response, &error);
    EXPECT_EQ(body ? std::optional<std::string>(std::string(asStringView(*body))) : std::nullopt,
              c.body);
    EXPECT_EQ(error ? error->code() : 0, c.code);
    if (c.code == 0) {
      EXPECT_EQ(response->statusCode(), c.status);
    }
  }
  // Without out-parameters, on a thread whose run loop has nothing else to do.
  std::optional<Data> body;
  std::thread([&] {
    body = LXURLTask::sendSynchronousRequest(URLRequest(server.url("/json")), nullptr, nullptr);
  }).join();
  EXPECT_TRUE(body);
}

TEST_F(LXURLTaskTest, WaitingRunsTheCallersRunLoop) {
  // The reply waits for a timer on this thread's run loop: only a waiting
  // loop that runs lets the request finish.
  auto timer = Timer::make(0.01, false, [&](Timer&) { server.openGate(); });
  RunLoop::current()->addTimer(timer);
  const auto body =
      LXURLTask::sendSynchronousRequest(URLRequest(server.url("/gate")), nullptr, nullptr);
  ASSERT_TRUE(body);
  EXPECT_EQ(std::string(asStringView(*body)), R"({"gate":"open"})");
}

struct DownloadResult {
  ErrorPtr error;
  std::optional<URL> destination;
};

DownloadResult download(LXURLTask& task, const URL& url, const std::optional<URL>& destination,
                        bool cancel = false) {
  std::promise<DownloadResult> result;
  task.download(url, destination, [&](ErrorPtr error, std::optional<URL> destinationURL) {
    result.set_value({std::move(error), std::move(destinationURL)});
  });
  if (cancel) task.cancel();
  return result.get_future().get();
}

TEST_F(LXURLTaskTest, DownloadMovesTheFileOrRemovesWhatStandsAtTheDestination) {
  const fs::path folder = test::makeTemporaryFolder("downloads");
  struct Case {
    const char* name;
    std::string path;
    fs::path destination;
    bool occupied;  // a file stands at the destination beforehand
    bool succeeds;
  } cases[] = {
      {"fresh destination", "/large", folder / "fresh.bin", false, true},
      {"occupied destination", "/large", folder / "occupied.bin", true, false},
      {"missing folder", "/large", folder / "no-such-folder" / "x.bin", false, false},
      {"failed transfer", "/cut", folder / "cut.bin", true, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    if (c.occupied) test::writeFile(c.destination, "old contents");
    auto shared = std::make_shared<LXURLTask>();
    const auto result = download(*shared, server.url(c.path),
                                 URL::fileURLWithPath(fromUTF8(c.destination.string())));
    if (c.succeeds) {
      EXPECT_EQ(result.error, nullptr);
      ASSERT_TRUE(result.destination);
      EXPECT_EQ(toUTF8(result.destination->path()), c.destination.string());
      EXPECT_EQ(fs::file_size(c.destination), 1u << 20);
      EXPECT_EQ(shared->destinationURL(), result.destination);
    } else {
      EXPECT_NE(result.error, nullptr);
      EXPECT_FALSE(result.destination);
      EXPECT_FALSE(fs::exists(c.destination));
      EXPECT_FALSE(shared->destinationURL());
    }
  }
}

TEST_F(LXURLTaskTest, DownloadWithoutDestinationLandsInTheTemporaryItemsFolderUnlessCancelled) {
  std::promise<DownloadResult> result;
  LXURLTask::downloadWithURL(server.url("/large"), std::nullopt,
                             [&](ErrorPtr error, std::optional<URL> destinationURL) {
                               result.set_value({std::move(error), std::move(destinationURL)});
                             });
  const auto outcome = result.get_future().get();
  ASSERT_TRUE(outcome.destination);
  const fs::path path = toUTF8(outcome.destination->path());
  EXPECT_EQ(path.filename().string().size(), 36u);  // a UUID string
  EXPECT_EQ(fs::file_size(path), 1u << 20);

  auto task = std::make_shared<LXURLTask>();
  const auto cancelled = download(*task, server.url("/stall"), std::nullopt, true);
  ASSERT_TRUE(cancelled.error);
  EXPECT_EQ(cancelled.error->code(), NSURLErrorCancelled);
  EXPECT_FALSE(cancelled.destination);
}

}  // namespace
}  // namespace lx
