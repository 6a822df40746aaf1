#include "vantorcore/platform/URLSessionDelegate.h"

#include <gtest/gtest.h>

#include <future>
#include <mutex>

#include "support/TestHTTPServer.h"
#include "vantorcore/platform/URLError.h"
#include "vantorcore/platform/URLSession.h"

namespace lx {
namespace {

using test::HTTPReply;
using test::HTTPRequestRecord;
using test::TestHTTPServer;

HTTPReply redirectingScript(const HTTPRequestRecord& request) {
  const std::string& path = request.target;
  if (path == "/json") return HTTPReply::json(200, R"({"a":1})");
  if (path == "/echo") return HTTPReply::make(200, request.method + " " + request.body);
  if (path == "/to-file") return HTTPReply::redirect("file:///etc/passwd");
  if (path == "/see-other") return HTTPReply::redirect("/echo", 303);
  if (path == "/temporary") return HTTPReply::redirect("/echo", 307);
  if (path.starts_with("/hops/")) {
    const int left = std::stoi(path.substr(6));
    return left == 0 ? HTTPReply::json(200, R"({"hops":0})")
                     : HTTPReply::redirect("/hops/" + std::to_string(left - 1), 301);
  }
  return HTTPReply::json(404, "{}");
}

// What the delegate does with each redirect: follows, refuses, or sends
// the request elsewhere.
enum class Answer { Follow, Refuse, ToJSON, ToFTP };

class RecordingDelegate : public URLSessionDelegate {
 public:
  RecordingDelegate(Answer answer, std::string base) : answer_(answer), base_(std::move(base)) {}

  void willPerformHTTPRedirection(const std::shared_ptr<URLSession>&,
                                  const std::shared_ptr<URLSessionTask>&,
                                  const HTTPURLResponse& response, URLRequest request,
                                  RedirectionHandler handler) override {
    {
      std::lock_guard lock(mutex_);
      seen.push_back(
          {response.statusCode(), request.URL().absoluteUTF8(), toUTF8(request.HTTPMethod())});
    }
    switch (answer_) {
      case Answer::Follow:
        return handler(std::move(request));
      case Answer::Refuse:
        return handler(std::nullopt);
      case Answer::ToJSON:
        request.setURL(*URL::URLWithString(fromUTF8(base_ + "/json")));
        return handler(std::move(request));
      case Answer::ToFTP:
        request.setURL(*URL::URLWithString(u"ftp://127.0.0.1/file"));
        return handler(std::move(request));
    }
  }

  struct Call {
    int status;
    std::string target;
    std::string method;
  };
  std::vector<Call> seen;

 private:
  Answer answer_;
  std::string base_;
  std::mutex mutex_;
};

struct RedirectOutcome {
  std::string body = "<absent>";
  int status = 0;
  std::string finalURL;
  std::int64_t errorCode = 0;
};

RedirectOutcome run(const std::shared_ptr<URLSession>& session, URLRequest request) {
  std::promise<RedirectOutcome> done;
  session
      ->dataTaskWithRequest(std::move(request),
                            [&](std::optional<Data> body, auto response, ErrorPtr error) {
                              RedirectOutcome outcome;
                              if (body) outcome.body = std::string(asStringView(*body));
                              if (response) {
                                outcome.status = response->statusCode();
                                outcome.finalURL = response->URL().absoluteUTF8();
                              }
                              if (error) outcome.errorCode = error->code();
                              done.set_value(outcome);
                            })
      ->resume();
  return done.get_future().get();
}

TEST(URLSessionDelegateTest, RedirectsAreFollowedChangedOrRefusedByTheDelegate) {
  TestHTTPServer server(redirectingScript);
  struct Case {
    std::string path;
    Answer answer;
    std::size_t delegateCalls;
    int status;  // 0: no response expected
    std::string finalPath;
    std::string body;
    std::int64_t errorCode;
  } cases[] = {
      {"/json", Answer::Follow, 0, 200, "/json", R"({"a":1})", 0},
      {"/hops/1", Answer::Follow, 1, 200, "/hops/0", R"({"hops":0})", 0},
      {"/hops/16", Answer::Follow, 16, 200, "/hops/0", R"({"hops":0})", 0},  // the limit
      {"/hops/17", Answer::Follow, 16, 0, "", "<absent>", NSURLErrorHTTPTooManyRedirects},
      {"/hops/2", Answer::Refuse, 1, 301, "/hops/2", "", 0},  // the redirect is the answer
      {"/hops/2", Answer::ToJSON, 1, 200, "/json", R"({"a":1})", 0},
      {"/hops/2", Answer::ToFTP, 1, 0, "", "<absent>", NSURLErrorUnsupportedURL},
      {"/to-file", Answer::Follow, 0, 0, "", "<absent>", NSURLErrorUnsupportedURL},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path + " answer " + std::to_string(static_cast<int>(c.answer)));
    const auto delegate = std::make_shared<RecordingDelegate>(c.answer, server.url(""));
    const auto session = URLSession::sessionWithConfiguration(
        URLSessionConfiguration::ephemeralSessionConfiguration(), delegate);
    const RedirectOutcome outcome =
        run(session, URLRequest(*URL::URLWithString(fromUTF8(server.url(c.path)))));
    EXPECT_EQ(delegate->seen.size(), c.delegateCalls);
    EXPECT_EQ(outcome.errorCode, c.errorCode);
    EXPECT_EQ(outcome.status, c.status);
    EXPECT_EQ(outcome.body, c.body);
    if (c.status) {
      EXPECT_EQ(outcome.finalURL, server.url(c.finalPath));
    }
    for (const auto& call : delegate->seen) EXPECT_EQ(call.status, 301);
  }
}

TEST(URLSessionDelegateTest, RedirectedRequestKeepsOrDropsMethodAndBodyByStatus) {
  TestHTTPServer server(redirectingScript);
  struct Case {
    std::string path;
    std::string method;
    std::string seenMethod;  // in the request the delegate is offered
    std::string body;        // what /echo answers
  } cases[] = {
      {"/see-other", "POST", "GET", "GET "},  // 303: GET, no body
      {"/see-other", "PUT", "GET", "GET "},
      {"/temporary", "POST", "POST", "POST payload"},  // 307: as sent
      {"/temporary", "DELETE", "DELETE", "DELETE payload"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path + " " + c.method);
    const auto delegate = std::make_shared<RecordingDelegate>(Answer::Follow, server.url(""));
    const auto session = URLSession::sessionWithConfiguration(
        URLSessionConfiguration::ephemeralSessionConfiguration(), delegate);
    URLRequest request(*URL::URLWithString(fromUTF8(server.url(c.path))));
    request.setHTTPMethod(fromUTF8(c.method));
    request.setHTTPBody(dataFromBytes("payload"));
    const RedirectOutcome outcome = run(session, request);
    ASSERT_EQ(delegate->seen.size(), 1u);
    EXPECT_EQ(delegate->seen[0].method, c.seenMethod);
    EXPECT_EQ(delegate->seen[0].target, server.url("/echo"));
    EXPECT_EQ(outcome.body, c.body);
  }
}

}  // namespace
}  // namespace lx
