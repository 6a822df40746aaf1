#include "vantorcore/web/LXRostrel.h"

#include <gtest/gtest.h>

#include "vantorcore/platform/Bundle.h"
#include "vantorcore/platform/Log.h"
#include "vantorcore/platform/ProcessInfo.h"
#include "vantorcore/platform/StringFormat.h"
#include "vantorcore/platform/URLError.h"
#include "vantorcore/platform/UserDefaults.h"
#include "vantorcore/web/LXWebServer.h"
#include "web/WebTestSupport.h"

namespace lx {
namespace {

using test::HTTPReply;
using test::spinUntil;

class LXRostrelTest : public testing::Test {
 protected:
  LXRostrelTest()
      : server([this](const test::HTTPRequestRecord& request) {
          if (request.target.starts_with("/updates/rostrel.php") ||
              request.target.starts_with("/beta.php")) {
            return reply;
          }
          return HTTPReply{};
        }) {
    Bundle::main().setInfoDictionary(Dictionary{{u"CFBundleName", u"My App"},
                                                {u"CFBundleShortVersionString", u"1.2"},
                                                {u"CFBundleVersion", u"34"}});
    LXSetWebServerBaseAddress(fromUTF8(server.urlString("/")));
    UserDefaults::standardUserDefaults()->removeObjectForKey(LXRostrelDisplayedIDKey);
  }
  ~LXRostrelTest() override { LXSetWebServerBaseAddress(std::nullopt); }

  struct Finish {
    std::shared_ptr<LXRostrel> rostrel;
    ErrorPtr error;
    int calls = 0;
  };

  // Starts a request and runs the main run loop until its handler has run.
  Finish finish(std::function<std::shared_ptr<LXRostrel>(LXRostrel::CompletionHandler)> start) {
    auto result = std::make_shared<Finish>();
    auto keep = start([result](std::shared_ptr<LXRostrel> rostrel, ErrorPtr error) {
      EXPECT_TRUE(Thread::isMainThread());
      result->rostrel = std::move(rostrel);
      result->error = std::move(error);
      ++result->calls;
    });
    EXPECT_TRUE(spinUntil([&] { return result->calls > 0; }));
    spinUntil([] { return true; });
    EXPECT_EQ(result->calls, 1);
    EXPECT_EQ(result->rostrel, keep);
    return *result;
  }

  Finish finishDefault() {
    return finish([](auto handler) {
      return LXRostrel::startRostrelRequestWithCompletionHandler(std::move(handler));
    });
  }

  HTTPReply reply;
  test::WebTestServer server;
};

TEST_F(LXRostrelTest, QueryURLCarriesBundleSystemAndModel) {
  const auto os = ProcessInfo::operatingSystemVersion();
  const std::string text = LXRostrel::applicationRostrelURL()->absoluteUTF8();
  const std::string prefix =
      server.urlString("/updates/rostrel.php?app=My%20App&appver=1.2&appbuild=34&os=") +
      std::to_string(os.majorVersion) + "." + std::to_string(os.minorVersion) + "." +
      std::to_string(os.patchVersion) + "&model=";
  EXPECT_EQ(text.substr(0, prefix.size()), prefix);
  EXPECT_TRUE(text.ends_with("&mas=1")) << text;
}

TEST_F(LXRostrelTest, ParametersFollowInTheirOrderEncodedWithTheQuerySet) {
  reply = HTTPReply::json(200, R"({"URL":"https://a.example/"})");
  ScopedLogCapture log;
  Dictionary parameters{{u"b", u"x y"}, {u"a", u"1&2=3"}, {u"", u"empty key"}, {u"n", Value(5)}};
  finish([&](auto handler) {
    return LXRostrel::startRostrelRequestWithParameters(parameters, std::move(handler));
  });
  EXPECT_TRUE(
      server.server().requests().back().target.ends_with("&mas=1&b=x%20y&a=1&2=3&=empty%20key&n=5"))
      << server.server().requests().back().target;
  EXPECT_TRUE(log.contains(u"CONDITION FAILED: param must be a string"));
}

TEST_F(LXRostrelTest, FinishingStoresTheIdentifierAndChoosesTheError) {
  const std::uint16_t closedPort = [] {
    test::TestHTTPServer gone([](const auto&) { return HTTPReply{}; });
    return gone.port();
  }();
  const auto json = [](const char* body, int status = 200) {
    return HTTPReply::json(status, body);
  };
  constexpr std::int64_t kShown = LXRostrelErrorAlreadyShown,
                         kNothing = LXRostrelErrorNothingToShow;
  struct Case {
    const char* name;
    HTTPReply reply;
    std::int64_t code;  // 0: an announcement to show
    std::optional<String> storedAfter;
    bool unreachable = false;  // the server's port is closed: a transport error
  } cases[] = {
      {"new announcement", json(R"({"URL":"https://a.example/x","ID":"7"})"), 0, u"7"},
      {"same again", json(R"({"URL":"https://a.example/x","ID":"7"})"), kShown, u"7"},
      {"identifier without URL", json(R"({"ID":"8"})"), kNothing, u"8"},
      {"no identifier", json(R"({"URL":"https://a.example/"})"), 0, u"8"},
      {"empty strings", json(R"({"URL":"","ID":""})"), kNothing, u"8"},
      {"URL not a string", json(R"({"URL":5})"), kNothing, u"8"},
      {"array", json(R"([{"URL":"https://a.example/"}])"), kNothing, u"8"},
      {"not JSON", HTTPReply::make(200, "<html>"), kNothing, u"8"},
      {"status not examined", json(R"({"URL":"https://a.example/","ID":"9"})", 404), 0, u"9"},
      {"transport error", HTTPReply{}, NSURLErrorCannotConnectToHost, u"9", true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    reply = c.reply;
    LXSetWebServerBaseAddress(c.unreachable
                                  ? fromUTF8("http://127.0.0.1:" + std::to_string(closedPort))
                                  : fromUTF8(server.urlString("/")));
    const Finish result = finishDefault();
    EXPECT_EQ(result.error ? result.error->code() : 0, c.code);
    if (result.error) {
      EXPECT_EQ(result.error->domain(), c.unreachable ? NSURLErrorDomain : LXErrorDomain);
      EXPECT_TRUE(c.unreachable || result.error->userInfo().empty());
    }
    if (c.unreachable) {
      EXPECT_FALSE(result.rostrel->responseURL());
    }
    EXPECT_EQ(UserDefaults::standardUserDefaults()->stringForKey(LXRostrelDisplayedIDKey),
              c.storedAfter);
    EXPECT_EQ(result.rostrel->request(), nullptr);
  }
}

TEST_F(LXRostrelTest, AccessorsReadTheResponse) {
  reply = HTTPReply::json(200, R"({"URL":"https://a.example/n","ID":"1","action":"open",)"
                               R"("buttonCaption":"Read more","buttonURL":"https://a.example/b"})");
  const Finish result = finishDefault();
  ASSERT_EQ(result.error, nullptr);
  EXPECT_EQ(result.rostrel->responseURL()->absoluteUTF8(), "https://a.example/n");
  EXPECT_EQ(result.rostrel->responseID(), u"1");
  EXPECT_EQ(result.rostrel->responseAction(), u"open");
  EXPECT_EQ(result.rostrel->buttonCaption(), u"Read more");
  EXPECT_EQ(result.rostrel->buttonURL()->absoluteUTF8(), "https://a.example/b");
  EXPECT_EQ(result.rostrel->jsonResponse()->size(), 5u);
}

struct BetaRostrel : LXRostrel {
  static inline std::string base;
  static std::optional<URL> applicationRostrelURL() {
    return URL::URLWithString(fromUTF8(base + "/beta.php?channel=beta"));
  }
};

TEST_F(LXRostrelTest, TheClassStartedForChoosesTheURL) {
  BetaRostrel::base = server.urlString("");
  reply = HTTPReply::json(200, R"({"URL":"https://a.example/"})");
  const Finish beta = finish([](auto handler) {
    return LXRostrel::startRostrelRequestWithParameters<BetaRostrel>(Dictionary{{u"k", u"v"}},
                                                                     std::move(handler));
  });
  EXPECT_TRUE(std::dynamic_pointer_cast<BetaRostrel>(beta.rostrel));
  EXPECT_EQ(server.server().requests().back().target, "/beta.php?channel=beta&k=v");
  const Finish plain = finishDefault();
  EXPECT_FALSE(std::dynamic_pointer_cast<BetaRostrel>(plain.rostrel));
  EXPECT_TRUE(server.server().requests().back().target.starts_with("/updates/rostrel.php?"));
}

TEST_F(LXRostrelTest, ReleasingTheObjectCancelsAndNeverCallsTheHandler) {
  LXSetWebServerBaseAddress(fromUTF8(server.urlString("")));
  reply = HTTPReply{};
  reply.head = "HTTP/1.1 200 Scripted\r\nContent-Length: 10\r\n\r\n";
  reply.then = HTTPReply::Then::Stall;
  int calls = 0;
  auto rostrel = LXRostrel::startRostrelRequestWithCompletionHandler([&](auto, auto) { ++calls; });
  const auto task = rostrel->request()->sessionTask();
  rostrel.reset();
  ASSERT_TRUE(spinUntil([&] { return task->state() == URLSessionTaskState::Completed; }));
  spinUntil([] { return true; });
  EXPECT_EQ(calls, 0);
}

TEST(LXWebServerTest, APIWinsOverPreferenceWhichWinsOverDefault) {
  const auto defaults = UserDefaults::standardUserDefaults();
  struct Case {
    std::optional<String> api;
    std::optional<String> preference;
    String expected;
  } cases[] = {
      {std::nullopt, std::nullopt, String(LXWebServerDefaultBaseAddress)},
      {std::nullopt, u"https://pref.example//", u"https://pref.example"},
      {std::nullopt, u"", String(LXWebServerDefaultBaseAddress)},
      {u"http://127.0.0.1:8080/", u"https://pref.example", u"http://127.0.0.1:8080"},
      {u"http://api.example", std::nullopt, u"http://api.example"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.expected));
    LXSetWebServerBaseAddress(c.api);
    if (c.preference) {
      defaults->setObject(Value(*c.preference), LXWebServerBaseAddressPrefKey);
    } else {
      defaults->removeObjectForKey(LXWebServerBaseAddressPrefKey);
    }
    EXPECT_EQ(LXWebServerBaseAddress(), c.expected);
  }
  LXSetWebServerBaseAddress(std::nullopt);
  defaults->removeObjectForKey(LXWebServerBaseAddressPrefKey);
}

}  // namespace
}  // namespace lx
