#include "vantorcore/web/LXRegistration.h"

#include <gtest/gtest.h>

#include <future>

#include "vantorcore/platform/Bundle.h"
#include "vantorcore/platform/Thread.h"
#include "vantorcore/platform/URLError.h"
#include "vantorcore/platform/URLSession.h"
#include "vantorcore/web/LXWebServer.h"
#include "web/WebTestSupport.h"

namespace lx {
namespace {

using test::HTTPReply;

TEST(LXRegistrationTest, AddedComparisonStopsAtTheBodysEndAndAtAZeroByte) {
  using namespace std::string_literals;
  struct Case {
    std::string body;
    bool added;
  } cases[] = {{"Added\n", true},     {"", true},
               {"A", true},           {"Added", true},
               {"Added\n\0x"s, true}, {"Add\0junk"s, false},
               {"Added\nx", false},   {"Added\r\n", false},
               {"added\n", false},    {"Error", false},
               {"\0"s, false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.body);
    EXPECT_EQ(LXRegistrationResponseSaysAdded(dataFromBytes(c.body)), c.added);
  }
}

class LXRegistrationSignUpTest : public testing::Test {
 protected:
  LXRegistrationSignUpTest()
      : server([this](const test::HTTPRequestRecord& request) {
          return request.target.starts_with("/bin/elist.cgi") ? reply : HTTPReply{};
        }) {
    Bundle::main().setInfoDictionary(
        Dictionary{{u"CFBundleName", u"My App"}, {u"CFBundleShortVersionString", u"1.2"}});
    LXSetWebServerBaseAddress(fromUTF8(server.urlString("")));
  }
  ~LXRegistrationSignUpTest() override { LXSetWebServerBaseAddress(std::nullopt); }

  struct Result {
    bool success;
    ErrorPtr error;
    bool onMainThread;
  };
  Result signUp(StringView email) {
    std::promise<Result> result;
    LXRegistrationSignUpForElist(email, [&](bool success, ErrorPtr error) {
      result.set_value({success, std::move(error), Thread::isMainThread()});
    });
    return result.get_future().get();
  }

  HTTPReply reply = HTTPReply::make(200, "Added\n");
  test::WebTestServer server;
};

TEST_F(LXRegistrationSignUpTest, PostsTheQueryAndTheAnswerDecidesSuccess) {
  HTTPReply cut = HTTPReply::make(200, "Added\n");
  cut.cutAt = 5;
  struct Case {
    HTTPReply reply;
    bool success;
    bool transportError = false;
  } cases[] = {{HTTPReply::make(200, "Added\n"), true},
               {HTTPReply::make(200, ""), true},
               {HTTPReply::make(500, "Added\n"), true},  // status is not examined
               {HTTPReply::make(200, "Added\nAlready subscribed"), false},
               {HTTPReply::make(200, "Invalid address"), false},
               {cut, false, true}};
  for (const auto& c : cases) {
    reply = c.reply;
    SCOPED_TRACE(reply.body);
    const Result result = signUp(u"a&b+c@example.com");
    EXPECT_EQ(result.success, c.success);
    EXPECT_FALSE(result.onMainThread);
    EXPECT_EQ(result.error != nullptr, c.transportError);
    if (result.error) {
      EXPECT_EQ(result.error->domain(), NSURLErrorDomain);
    }
    const auto request = server.server().requests().back();
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.target, "/bin/elist.cgi?app=My%20App%201.2&mas=yes&add=a%26b+c@example.com");
    EXPECT_EQ(request.headers.at("content-length"), "0");
    EXPECT_TRUE(request.body.empty());
  }
}

TEST_F(LXRegistrationSignUpTest, AddressThatMakesNoURLSendsNothing) {
  LXSetWebServerBaseAddress(u"not a base address");
  int calls = 0;
  LXRegistrationSignUpForElist(u"someone@example.com", [&](bool, ErrorPtr) { ++calls; });
  URLSession::sharedSession()->delegateQueue()->sync([] {});
  EXPECT_EQ(calls, 0);
  EXPECT_TRUE(server.server().requests().empty());
}

}  // namespace
}  // namespace lx
