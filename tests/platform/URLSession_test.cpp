#include "vantorcore/platform/URLSession.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <future>

#include "support/TestCertificateAuthority.h"
#include "support/TestHTTPServer.h"
#include "support/TestSupport.h"
#include "vantorcore/platform/URLError.h"
#include "vantorcore/platform/URLObject.h"

namespace lx {
namespace {

using test::HTTPReply;
using test::HTTPRequestRecord;
using test::TestHTTPServer;

// The server's script: every path the tables below ask for.
HTTPReply scripted(const HTTPRequestRecord& request) {
  const std::string& path = request.target;
  if (path == "/json") return HTTPReply::json(200, R"({"a":1})");
  if (path == "/missing") return HTTPReply::json(404, R"({"error":"not found"})");
  if (path == "/broken") return HTTPReply::json(500, R"({"error":"broken"})");
  if (path == "/empty") return HTTPReply::make(204, "");
  if (path == "/echo") return HTTPReply::make(200, request.method + " " + request.body);
  if (path == "/gzip") return HTTPReply::gzipped(std::string(10'000, 'z'));
  if (path == "/large") return HTTPReply::large(3 * 1024 * 1024 + 7);
  if (path == "/loop") return HTTPReply::redirect("/loop");
  if (path == "/to-file") return HTTPReply::redirect("file:///etc/passwd");
  if (path.starts_with("/hops/")) {
    const int left = std::stoi(path.substr(6));
    return left == 0 ? HTTPReply::json(200, R"({"hops":0})")
                     : HTTPReply::redirect("/hops/" + std::to_string(left - 1), 301);
  }
  if (path == "/stall") {
    HTTPReply reply;  // the head promises a body that never comes
    reply.head = "HTTP/1.1 200 Scripted\r\nContent-Length: 100\r\n\r\n";
    reply.then = HTTPReply::Then::Stall;
    return reply;
  }
  if (path == "/cut") {
    HTTPReply reply = HTTPReply::make(200, std::string(1000, 'c'));
    reply.cutAt = reply.head.size() + 500;
    return reply;
  }
  if (path == "/garbage") return HTTPReply::raw("SSH-2.0-OpenSSH\r\n\r\nnot http at all");
  return HTTPReply::json(404, "{}");
}

struct Outcome {
  std::optional<Data> body;
  std::shared_ptr<HTTPURLResponse> response;
  ErrorPtr error;
  int calls = 0;
};

// Runs `task` to completion and counts its handler's calls, waiting on the
// delegate queue once more so that a second call would be counted too.
class Runner {
 public:
  explicit Runner(std::shared_ptr<URLSession> session) : session_(std::move(session)) {}

  Outcome data(URLRequest request, bool cancelAtOnce = false) {
    auto outcome = std::make_shared<Outcome>();
    std::promise<void> done;
    auto task = session_->dataTaskWithRequest(
        std::move(request), [&, outcome](std::optional<Data> body, auto response, ErrorPtr error) {
          outcome->body = std::move(body);
          outcome->response = std::move(response);
          outcome->error = std::move(error);
          if (++outcome->calls == 1) done.set_value();
        });
    task->resume();
    if (cancelAtOnce) task->cancel();
    done.get_future().wait();
    session_->delegateQueue()->sync([] {});
    EXPECT_EQ(task->state(), URLSessionTaskState::Completed);
    return *outcome;
  }

  Outcome get(const std::string& url, double timeout = 10) {
    return data(URLRequest(*URL::URLWithString(fromUTF8(url)),
                           URLRequestCachePolicy::ReloadIgnoringLocalCacheData, timeout));
  }

 private:
  std::shared_ptr<URLSession> session_;
};

std::string text(const std::optional<Data>& body) {
  return body ? std::string(asStringView(*body)) : std::string("<absent>");
}

class URLSessionTest : public testing::Test {
 protected:
  TestHTTPServer server{scripted};
  std::shared_ptr<URLSession> session = URLSession::sessionWithConfiguration(
      URLSessionConfiguration::ephemeralSessionConfiguration());
  Runner runner{session};
};

TEST_F(URLSessionTest, RepliesAndFaultsEndInTheirResultOrError) {
  struct Case {
    std::string path;
    int status;              // 0: no response expected
    std::string body;        // checked when the error code is 0
    std::int64_t errorCode;  // 0: success
    double timeout = 10;
  } cases[] = {
      {"/json", 200, R"({"a":1})", 0},
      {"/missing", 404, R"({"error":"not found"})", 0},  // status is not a failure
      {"/broken", 500, R"({"error":"broken"})", 0},
      {"/empty", 204, "", 0},
      {"/gzip", 200, std::string(10'000, 'z'), 0},
      {"/hops/3", 200, R"({"hops":0})", 0},
      {"/hops/16", 200, R"({"hops":0})", 0},  // the most redirects followed
      {"/hops/17", 0, "", NSURLErrorHTTPTooManyRedirects},
      {"/loop", 0, "", NSURLErrorHTTPTooManyRedirects},
      {"/to-file", 0, "", NSURLErrorUnsupportedURL},
      {"/stall", 0, "", NSURLErrorTimedOut, 1},
      {"/cut", 0, "", NSURLErrorNetworkConnectionLost},
      {"/garbage", 0, "", NSURLErrorBadServerResponse},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path);
    const Outcome outcome = runner.get(server.url(c.path), c.timeout);
    EXPECT_EQ(outcome.calls, 1);
    if (c.errorCode == 0) {
      ASSERT_EQ(outcome.error, nullptr) << toUTF8(outcome.error->description());
      ASSERT_TRUE(outcome.response);
      EXPECT_EQ(outcome.response->statusCode(), c.status);
      EXPECT_EQ(text(outcome.body), c.body);
    } else {
      ASSERT_TRUE(outcome.error);
      EXPECT_EQ(outcome.error->domain(), NSURLErrorDomain);
      EXPECT_EQ(outcome.error->code(), c.errorCode) << toUTF8(outcome.error->description());
      EXPECT_FALSE(outcome.body);
      EXPECT_TRUE(outcome.error->userInfo().contains(NSURLErrorFailingURLStringErrorKey));
    }
  }
}

TEST_F(URLSessionTest, URLsThatCannotGoOutFailWithTheFailingURL) {
  const std::uint16_t closedPort = [] {
    TestHTTPServer gone(scripted);
    return gone.port();
  }();
  struct Case {
    std::string url;
    std::int64_t code;
  } cases[] = {
      {"ftp://127.0.0.1/file", NSURLErrorUnsupportedURL},
      {"file:///etc/passwd", NSURLErrorUnsupportedURL},
      {"gopher://127.0.0.1/", NSURLErrorUnsupportedURL},
      {"mailto:someone@example.com", NSURLErrorUnsupportedURL},
      {"http:///no-host", NSURLErrorBadURL},
      {"http://127.0.0.1:" + std::to_string(closedPort) + "/", NSURLErrorCannotConnectToHost},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.url);
    const Outcome outcome = runner.get(c.url);
    EXPECT_EQ(outcome.calls, 1);
    ASSERT_TRUE(outcome.error);
    EXPECT_EQ(outcome.error->code(), c.code);
    const Value* failing = outcome.error->userInfo().find(NSURLErrorFailingURLErrorKey);
    ASSERT_TRUE(failing && failing->objectAs<URLObject>());
    EXPECT_EQ(failing->objectAs<URLObject>()->url().absoluteUTF8(), c.url);
  }
}

TEST_F(URLSessionTest, RequestCarriesMethodBodyAndHeaderFields) {
  URLRequest request(*URL::URLWithString(fromUTF8(server.url("/echo"))));
  request.setHTTPMethod(u"PUT");
  request.setHTTPBody(dataFromBytes("payload"));
  request.setValue(u"one", u"X-Test");
  request.setValue(u"two", u"x-test");  // same field, other case: replaced
  request.addValue(u"three", u"X-Test");
  const Outcome outcome = runner.data(request);
  EXPECT_EQ(text(outcome.body), "PUT payload");
  const auto recorded = server.requests().back();
  EXPECT_EQ(recorded.headers.at("x-test"), "two,three");
  EXPECT_NE(recorded.headers.at("accept-encoding").find("gzip"), std::string::npos);

  URLRequest post(*URL::URLWithString(fromUTF8(server.url("/echo"))));
  post.setHTTPMethod(u"POST");  // no body: an empty one goes out
  EXPECT_EQ(text(runner.data(post).body), "POST ");
  EXPECT_EQ(server.requests().back().headers.at("content-length"), "0");
}

TEST_F(URLSessionTest, KeptAliveConnectionServesLaterRequests) {
  for (int i = 0; i < 5; ++i)
    EXPECT_EQ(runner.get(server.url("/json")).response->statusCode(), 200);
  EXPECT_EQ(server.connectionCount(), 1);
}

TEST_F(URLSessionTest, ResponseReportsFinalURLAndFields) {
  const Outcome outcome = runner.get(server.url("/hops/2"));
  ASSERT_TRUE(outcome.response);
  EXPECT_EQ(outcome.response->URL().absoluteUTF8(), server.url("/hops/0"));
  EXPECT_EQ(outcome.response->MIMEType(), u"application/json");
  EXPECT_EQ(outcome.response->expectedContentLength(), 10);
  EXPECT_EQ(outcome.response->valueForHTTPHeaderField(u"content-TYPE"), u"application/json");
  EXPECT_EQ(outcome.response->valueForHTTPHeaderField(u"Location"), std::nullopt);
}

TEST_F(URLSessionTest, CancelEndsTheTaskOnceWithCancelled) {
  const Outcome stalled =
      runner.data(URLRequest(*URL::URLWithString(fromUTF8(server.url("/stall")))), true);
  EXPECT_EQ(stalled.calls, 1);
  ASSERT_TRUE(stalled.error);
  EXPECT_EQ(stalled.error->code(), NSURLErrorCancelled);

  std::promise<ErrorPtr> result;
  auto task =
      session->dataTaskWithURL(*URL::URLWithString(fromUTF8(server.url("/json"))),
                               [&](auto, auto, ErrorPtr error) { result.set_value(error); });
  task->cancel();  // never resumed
  task->cancel();
  EXPECT_EQ(result.get_future().get()->code(), NSURLErrorCancelled);
  session->delegateQueue()->sync([] {});
}

TEST_F(URLSessionTest, InvalidatedSessionCancelsRunningAndNewTasks) {
  std::promise<ErrorPtr> running;
  auto task =
      session->dataTaskWithURL(*URL::URLWithString(fromUTF8(server.url("/stall"))),
                               [&](auto, auto, ErrorPtr error) { running.set_value(error); });
  task->resume();
  session->invalidateAndCancel();
  EXPECT_EQ(running.get_future().get()->code(), NSURLErrorCancelled);
  EXPECT_EQ(runner.get(server.url("/json")).error->code(), NSURLErrorCancelled);
}

TEST_F(URLSessionTest, DownloadWritesBodyToAFileRemovedAfterTheHandler) {
  std::promise<void> done;
  std::string path;
  std::uintmax_t size = 0;
  bool patternHolds = false;
  auto task = session->downloadTaskWithURL(
      *URL::URLWithString(fromUTF8(server.url("/large"))),
      [&](std::optional<URL> location, auto response, ErrorPtr error) {
        EXPECT_EQ(error, nullptr);
        ASSERT_TRUE(location);
        path = toUTF8(location->path());
        size = std::filesystem::file_size(path);
        const std::string contents = test::readFile(path);
        patternHolds = contents[0] == HTTPReply::patternByte(0) &&
                       contents.back() == HTTPReply::patternByte(contents.size() - 1);
        done.set_value();
      });
  task->resume();
  done.get_future().wait();
  session->delegateQueue()->sync([] {});
  EXPECT_EQ(size, 3u * 1024 * 1024 + 7);
  EXPECT_TRUE(patternHolds);
  EXPECT_FALSE(std::filesystem::exists(path));
  EXPECT_EQ(task->countOfBytesReceived(), 3 * 1024 * 1024 + 7);
}

TEST_F(URLSessionTest, FailedDownloadHandsNoFile) {
  std::promise<void> done;
  auto task =
      session->downloadTaskWithURL(*URL::URLWithString(fromUTF8(server.url("/cut"))),
                                   [&](std::optional<URL> location, auto, ErrorPtr error) {
                                     EXPECT_FALSE(location);
                                     EXPECT_EQ(error->code(), NSURLErrorNetworkConnectionLost);
                                     done.set_value();
                                   });
  task->resume();
  done.get_future().wait();
}

TEST(URLSessionTLSTest, CertificatesAreVerifiedAndRefusalsRefined) {
  test::TestCertificateAuthority authority;
  const auto caFile = test::makeTemporaryFolder("ca") / "ca.pem";
  test::writeFile(caFile, authority.certificatePEM());
  URLSessionConfiguration trusting = URLSessionConfiguration::ephemeralSessionConfiguration();
  trusting.certificateAuthorityFile = fromUTF8(caFile.string());
  struct Case {
    const char* name;
    test::TLSIdentity identity;
    bool trustAuthority;
    std::int64_t code;  // 0: success
  } cases[] = {
      {"valid", authority.issue("localhost"), true, 0},
      {"valid, system store only", authority.issue("localhost"), false,
       NSURLErrorServerCertificateHasUnknownRoot},
      {"expired", authority.issue("localhost", -30, -1), true,
       NSURLErrorServerCertificateHasBadDate},
      {"not yet valid", authority.issue("localhost", 1, 30), true,
       NSURLErrorServerCertificateNotYetValid},
      {"wrong host", authority.issue("other.example"), true, NSURLErrorServerCertificateUntrusted},
      {"self-signed", test::TestCertificateAuthority::selfSigned("localhost"), true,
       NSURLErrorServerCertificateUntrusted},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    TestHTTPServer server(scripted, c.identity);
    Runner runner(URLSession::sessionWithConfiguration(
        c.trustAuthority ? trusting : URLSessionConfiguration::ephemeralSessionConfiguration()));
    const Outcome outcome =
        runner.get("https://localhost:" + std::to_string(server.port()) + "/json");
    EXPECT_EQ(outcome.calls, 1);
    if (c.code == 0) {
      ASSERT_EQ(outcome.error, nullptr) << toUTF8(outcome.error->description());
      EXPECT_EQ(text(outcome.body), R"({"a":1})");
    } else {
      ASSERT_TRUE(outcome.error);
      EXPECT_EQ(outcome.error->code(), c.code) << toUTF8(outcome.error->description());
    }
  }
}

TEST(URLRequestTest, HeaderFieldsIgnoreCaseAndKeepOrder) {
  URLRequest request(*URL::URLWithString(u"http://h/"));
  EXPECT_EQ(request.HTTPMethod(), u"GET");
  EXPECT_EQ(request.timeoutInterval(), 60);
  request.setValue(u"1", u"A");
  request.setValue(u"2", u"B");
  request.setValue(u"3", u"a");
  request.setValue(std::nullopt, u"b");
  request.setValue(std::nullopt, u"missing");
  ASSERT_EQ(request.allHTTPHeaderFields().size(), 1u);
  EXPECT_EQ(request.allHTTPHeaderFields()[0], (std::pair<String, String>(u"A", u"3")));
}

}  // namespace
}  // namespace lx
