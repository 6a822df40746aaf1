#include "vantorcore/interapp/LXInterapplicationCoordinator.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "interapp/InterappTestSupport.h"
#include "vantorcore/interapp/Error+LXInterapplication.h"
#include "vantorcore/platform/Exception.h"
#include "vantorcore/platform/Log.h"
#include "vantorcore/platform/UserDefaults.h"

namespace lx {
namespace {

// The coordinator reads the debug switch once per process: turn it on before
// any test runs, so the documented debug lines can be checked.
class DebugLoggingOn : public ::testing::Environment {
 public:
  void SetUp() override {
    UserDefaults::standardUserDefaults()->setObject(Value(true), u"DebugLogging");
  }
};
[[maybe_unused]] const auto* const kDebugLoggingOn =
    ::testing::AddGlobalTestEnvironment(new DebugLoggingOn);

URL url(const char* text) {
  auto parsed = URL::URLWithString(fromUTF8(text));
  if (!parsed) ADD_FAILURE() << "not a URL: " << text;
  return *parsed;
}

TEST(InterapplicationURLs, CommandNameFromHostOrSinglePathComponent) {
  const struct {
    const char* url;
    std::optional<String> name;
  } rows[] = {
      {"app://Do-Thing?x=1", u"do-thing"},
      {"app://h/a/b", u"h"},
      {"app:/Run/", u"run"},
      {"app:///run", u"run"},  // an empty host counts as none
      {"app:run", u"run"},
      {"app:///a/b", std::nullopt},
      {"app:////", std::nullopt},
      {"app://", std::nullopt},
      {"app:", std::nullopt},
      {"app:?q=1", std::nullopt},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.url);
    const auto components = URLComponents::componentsWithString(fromUTF8(row.url));
    ASSERT_TRUE(components);
    EXPECT_EQ(LXInterapplicationCoordinator::commandNameFromURLComponents(*components), row.name);
  }
}

TEST(InterapplicationURLs, ValidationChecksSchemeAndPartsAndDecodesArgumentsOnce) {
  auto coordinator = std::make_shared<LXInterapplicationCoordinator>();
  const struct {
    const char* url;
    bool validAnyScheme;
    bool validAppScheme;
    std::optional<Dictionary> arguments = Dictionary{};  // with any scheme
  } rows[] = {
      {"app://go", true, true},
      {"APP://go", true, true},
      {"other://go", true, false},
      {"app://go:80", false, false, std::nullopt},
      {"app://u@go", false, false, std::nullopt},
      {"app://u:p@go", false, false, std::nullopt},
      {"app://:p@go", false, false, std::nullopt},
      {"app://go#f", false, false, std::nullopt},
      {"app://go#", false, false, std::nullopt},
      {"app:///", false, false, std::nullopt},
      {"app:/a/b", false, false, std::nullopt},
      {"app:/unregistered", true, true},
      {"app://go?a=1&b&=x&c=", true, true, Dictionary{{u"a", u"1"}, {u"c", u""}}},
      {"app://go?a=1&b=2&a=3", true, true, Dictionary{{u"a", u"3"}, {u"b", u"2"}}},
      {"app://go?t=x%20y&p=a+b", true, true, Dictionary{{u"t", u"x y"}, {u"p", u"a+b"}}},
      {"app://go?t=%2520", true, true, Dictionary{{u"t", u"%20"}}},
      {"app://go?u=%E2%80%9C", true, true, Dictionary{{u"u", u"\u201c"}}},
      {"app:///a/b?x=1", false, false, std::nullopt},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.url);
    std::optional<String> command;
    std::optional<Dictionary> arguments;
    coordinator->setAllowedURLSchemes(std::nullopt);
    EXPECT_EQ(coordinator->isValidInterapplicationURL(url(row.url), &command, &arguments),
              row.validAnyScheme);
    EXPECT_EQ(arguments, row.arguments);
    EXPECT_EQ(arguments.has_value(), command.has_value());
    coordinator->setAllowedURLSchemes(std::vector<String>{u"app"});
    EXPECT_EQ(coordinator->isValidInterapplicationURL(url(row.url)), row.validAppScheme);
  }
}

TEST(InterapplicationCommands, LaterRegistrationWinsAndIsReported) {
  auto coordinator = std::make_shared<LXInterapplicationCoordinator>();
  std::vector<std::string> ran;
  ScopedLogCapture log;
  coordinator->addCommandWithName(u"Open", {}, [&](auto&&...) { ran.push_back("first"); });
  coordinator->addCommandWithName(u"open", {{u"k", u"v"}},
                                  [&](auto&&...) { ran.push_back("second"); });
  EXPECT_EQ(coordinator->commandNames(), std::vector<String>{u"open"});
  EXPECT_TRUE(coordinator->handleInterapplicationURL(url("app://OPEN")));
  EXPECT_EQ(ran, std::vector<std::string>{"second"});
  const auto lines = log.lines();
  EXPECT_EQ(std::count(lines.begin(), lines.end(),
                       u"An interapplication command with the name open is already registered. "
                       u"The original command will be used."),
            1);
  coordinator->removeCommandWithName(u"OPEN");
  EXPECT_TRUE(coordinator->commandNames().empty());
  EXPECT_FALSE(coordinator->handleInterapplicationURL(url("app://open")));
  EXPECT_EQ(log.lines().back(), u"No interapplication command registered with name: open");
}

class Notebook : public Object {
  LX_DECLARE_CLASS(Notebook)
};
LX_DEFINE_CLASS(Notebook, Object)

TEST(InterapplicationCommands, TargetsAndClosuresGetNameArgumentsAndReply) {
  auto opener = std::make_shared<test::RecordingURLOpener>();
  auto coordinator = std::make_shared<LXInterapplicationCoordinator>(opener);
  const_cast<Class&>(Notebook::staticClass())
      .addMethod("append", [](Object&, std::span<const Value> values) {
        const auto reply = values[2].objectAs<LXInterapplicationReply>();
        reply->reply(0, {{u"name", *values[0].asString()},
                         {u"text", stringOr(values[1].asDictionary()->find(u"text"))}});
        return Value();
      });
  auto notebook = std::make_shared<Notebook>();
  coordinator->addCommandWithName(u"Append", notebook, "append");
  coordinator->addCommandWithName(u"missing", notebook, "noSuchMethod");
  EXPECT_TRUE(coordinator->handleInterapplicationURL(
      url("notes://append?text=milk%20%26%20tea&x-success=shop%3A%2F%2Fdone")));
  EXPECT_TRUE(coordinator->handleInterapplicationURL(url("notes://missing?x-success=shop://x")));
  notebook.reset();  // targets are held weakly
  EXPECT_TRUE(coordinator->handleInterapplicationURL(url("notes://append?x-success=shop://y")));
  EXPECT_EQ(opener->opened(),
            std::vector<std::string>{"shop://done?name=append&text=milk%20%26%20tea"});
}

struct ReplyCase {
  const char* name;
  const char* query;  // the arguments of the command URL
  std::int64_t status;
  Dictionary result;
  ErrorPtr error;
  std::vector<std::string> opened;
};

TEST(InterapplicationReplies, OpenTheCallersURLs) {
  const ErrorPtr invalid = lx_interapplicationErrorWithInvalidArgumentName(u"n", u"50% off");
  const ReplyCase rows[] = {
      {"success",
       "x-success=client://ok%3Fkeep%3D1",
       0,
       {{u"sum", u"3"}},
       nullptr,
       {"client://ok?keep=1&sum=3"}},
      {"success value encoded once",
       "x-success=client://ok",
       0,
       {{u"v", u"a b&c=%"}},
       nullptr,
       {"client://ok?v=a%20b%26c%3D%25"}},
      {"reply URL keeps its escapes",
       "x-success=client%3A%2F%2Fok%3Ft%3D%2520",
       0,
       {},
       nullptr,
       {"client://ok?t=%20"}},
      {"error",
       "x-error=client://err%3Fk%3Dv",
       1,
       {},
       invalid,
       {"client://"
        "err?k=v&errorCode=2&errorMessage=Invalid%20Argument:%20%E2%80%9Cn%E2%80%9D%20(50%25%"
        "20off)"}},
      {"error without reply URL", "x-success=client://ok", 1, {}, invalid, {}},
      {"cancel",
       "x-cancel=client://cancelled%3Fwhy%3D%2520",
       -1,
       {{u"ignored", u"1"}},
       nullptr,
       {"client://cancelled?why=%20"}},
      {"cancel without reply URL", "x-success=client://ok", -1, {}, nullptr, {}},
      {"empty reply URL", "x-success=", 0, {}, nullptr, {}},
      {"malformed reply URL", "x-success=not%20a%20url", 0, {}, nullptr, {}},
      {"relative reply URL", "x-success=ok%3Fq%3D1", 0, {}, nullptr, {}},
      {"unknown status",
       "x-success=client://ok&x-error=client://e&x-cancel=client://c",
       2,
       {},
       nullptr,
       {}},
  };
  for (const ReplyCase& row : rows) {
    SCOPED_TRACE(row.name);
    auto opener = std::make_shared<test::RecordingURLOpener>();
    auto coordinator = std::make_shared<LXInterapplicationCoordinator>(opener);
    coordinator->addCommandWithName(
        u"run", {},
        [&](const String&, const Dictionary&, const LXInterapplicationReplyHandler& reply) {
          reply(row.status, row.result, row.error);
        });
    ScopedLogCapture log;
    EXPECT_TRUE(coordinator->handleInterapplicationURL(
        url((std::string("app://run?") + row.query).c_str())));
    EXPECT_EQ(opener->opened(), row.opened);
    if (std::string(row.name) == "malformed reply URL") {
      EXPECT_EQ(log.lines().back(), u"Cannot reply to “not a url”: not a URL");
    }
  }
}

TEST(InterapplicationReplies, ResultValuesMustBeStrings) {
  auto opener = std::make_shared<test::RecordingURLOpener>();
  auto coordinator = std::make_shared<LXInterapplicationCoordinator>(opener);
  const auto reply = coordinator->replyHandlerForArguments({{u"x-success", u"client://ok"}});
  try {
    reply(0, {{u"fine", u"1"}, {u"count", Value(3)}}, nullptr);
    ADD_FAILURE() << "no exception";
  } catch (const InvalidArgumentException& exception) {
    EXPECT_EQ(exception.reason(), u"Reply arguments must be strings");
  }
  EXPECT_TRUE(opener->opened().empty());
}

TEST(InterapplicationReplies, AFailedOpenIsLoggedAndReported) {
  auto opener = std::make_shared<test::RecordingURLOpener>();
  opener->failWith(Error::make(String(URLOpenerErrorDomain), URLOpenerErrorNoHandler,
                               {{String(NSLocalizedDescriptionKey), u"nobody"}}));
  auto coordinator = std::make_shared<LXInterapplicationCoordinator>(opener);
  ScopedLogCapture log;
  ErrorPtr error;
  EXPECT_FALSE(coordinator->invokeResponseURL(url("client://x"), &error));
  EXPECT_EQ(error->code(), URLOpenerErrorNoHandler);
  EXPECT_EQ(log.lines().back(), u"Cannot open the reply URL “client://x”: nobody");
}

TEST(InterapplicationErrors, InvalidArgumentDescription) {
  const struct {
    std::optional<StringView> reason;
    const char16_t* description;
  } rows[] = {
      {std::nullopt, u"Invalid Argument: “count”"},
      {u"not a number", u"Invalid Argument: “count” (not a number)"},
      {u"", u"Invalid Argument: “count” ()"},
  };
  for (const auto& row : rows) {
    const ErrorPtr error = lx_interapplicationErrorWithInvalidArgumentName(u"count", row.reason);
    EXPECT_EQ(error->domain(), LXInterapplicationErrorDomain);
    EXPECT_EQ(error->code(), 2);
    EXPECT_EQ(error->userInfo().size(), 1u);
    EXPECT_EQ(error->localizedDescription(), row.description);
  }
  EXPECT_EQ(LXInterapplicationCoordinator::defaultCoordinator(),
            LXInterapplicationCoordinator::defaultCoordinator());
}

}  // namespace
}  // namespace lx
