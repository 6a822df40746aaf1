#include <gtest/gtest.h>

#include "vantorcore/platform/Log.h"
#include "vantorcore/text/Error+Additions.h"

namespace lx {
namespace {

// The title stays as given, the message is escaped; title and message win
// over extra user info, and an absent message is stored empty.
TEST(ErrorAdditionsTest, TitleAndEscapedMessageBecomeTheUserInfo) {
  ScopedLogCapture log;
  const ErrorPtr error = lx_errorWithTitle(u"Can’t open 100%", u"Disk 99% full", u"Test", 7);
  EXPECT_EQ(error->domain(), u"Test");
  EXPECT_EQ(error->code(), 7);
  EXPECT_EQ(lx_title(*error), u"Can’t open 100%");
  EXPECT_EQ(lx_message(*error), u"Disk 99%% full");
  EXPECT_EQ(error->userInfo().size(), 2u);
  EXPECT_TRUE(log.lines().empty());

  const Dictionary extra{{String(NSLocalizedDescriptionKey), u"old"}, {u"Path", u"/tmp/x"}};
  const ErrorPtr withExtra = lx_errorWithTitle(u"New", std::nullopt, u"Test", -1, extra);
  EXPECT_EQ(lx_title(*withExtra), u"New");
  EXPECT_EQ(lx_message(*withExtra), u"");
  EXPECT_EQ(withExtra->userInfo()[u"Path"], Value(u"/tmp/x"));

  const ErrorPtr bare = lx_errorWithTitle(std::nullopt, u"m", std::nullopt, 1);
  ASSERT_NE(bare, nullptr);
  EXPECT_EQ(bare->domain(), u"");
  EXPECT_EQ(log.lines(), (std::vector<String>{u"CONDITION FAILED: title is nil",
                                              u"CONDITION FAILED: error domain is nil"}));
}

TEST(ErrorAdditionsTest, TruncationKeepsSixHundredUnits) {
  const String exact(600, u'a');
  const ErrorPtr short_ = lx_errorWithTitle(u"T", exact, u"D", 1);
  EXPECT_EQ(lx_errorByTruncatingMessage(short_), short_);  // the same object

  const ErrorPtr long_ = lx_errorWithTitle(u"T", exact + u"b", u"D", 1, Dictionary{{u"k", 1}});
  const ErrorPtr cut = lx_errorByTruncatingMessage(long_);
  ASSERT_NE(cut, long_);
  EXPECT_EQ(lx_message(*cut), exact + u"…");
  EXPECT_EQ(lx_title(*cut), u"T");
  EXPECT_EQ(cut->domain(), u"D");
  EXPECT_EQ(cut->userInfo()[u"k"], Value(1));

  // 300 '%' escape to 600 units; one more unit makes the message too long,
  // and truncation escapes again.
  const ErrorPtr percent = lx_errorWithTitle(u"T", String(300, u'%') + u"x", u"D", 1);
  ASSERT_EQ(lx_message(*percent)->size(), 601u);
  EXPECT_EQ(lx_message(*lx_errorByTruncatingMessage(percent)), String(1200, u'%') + u"…");
}

TEST(ErrorAdditionsTest, AddingUserInfoKeepsDomainAndCode) {
  const ErrorPtr error = Error::make(u"D", 3, {{u"a", 1}, {u"b", 2}});
  const ErrorPtr added =
      lx_errorByAddingUserInfoEntriesFromDictionary(*error, {{u"b", 9}, {u"c", 3}});
  EXPECT_EQ(added->domain(), u"D");
  EXPECT_EQ(added->code(), 3);
  EXPECT_EQ(added->userInfo(), (Dictionary{{u"a", 1}, {u"b", 9}, {u"c", 3}}));
  EXPECT_EQ(error->userInfo()[u"b"], Value(2));  // the receiver is unchanged

  const ErrorPtr bare = Error::make(u"D", 3);
  EXPECT_EQ(lx_errorByAddingUserInfoEntriesFromDictionary(*bare, {{u"c", 3}})->userInfo(),
            (Dictionary{{u"c", 3}}));
}

TEST(ErrorAdditionsTest, FailingURLPrefersTheURLKey) {
  struct Case {
    const char* name;
    Dictionary info;
    std::optional<String> url;
  } cases[] = {
      {"url key",
       {{String(NSURLErrorFailingURLErrorKey), u"https://a.example/x"}},
       u"https://a.example/x"},
      {"string key",
       {{String(NSURLErrorFailingURLStringErrorKey), u"https://b.example/"}},
       u"https://b.example/"},
      {"both",
       {{String(NSURLErrorFailingURLStringErrorKey), u"https://b.example/"},
        {String(NSURLErrorFailingURLErrorKey), u"https://a.example/"}},
       u"https://a.example/"},
      {"neither", {{u"other", u"https://c.example/"}}, std::nullopt},
      {"not a string", {{String(NSURLErrorFailingURLStringErrorKey), 42}}, std::nullopt},
      {"unparsable", {{String(NSURLErrorFailingURLStringErrorKey), u"http://[oops"}}, std::nullopt},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const std::optional<URL> url = lx_failingURL(*Error::make(u"D", 1, c.info));
    ASSERT_EQ(url.has_value(), c.url.has_value());
    if (url) {
      EXPECT_EQ(url->absoluteString(), *c.url);
    }
  }
}

TEST(ErrorAdditionsTest, CheckboxValuesLiveOnTheErrorObject) {
  const ErrorPtr error = lx_errorWithTitle(u"T", u"M", u"D", 1);
  EXPECT_FALSE(lx_auxillaryCheckboxState(*error));
  EXPECT_EQ(lx_auxillaryCheckboxButtonTitle(*error), std::nullopt);
  lx_setAuxillaryCheckboxState(*error, true);
  lx_setAuxillaryCheckboxButtonTitle(*error, u"Don’t ask again");
  EXPECT_TRUE(lx_auxillaryCheckboxState(*error));
  EXPECT_EQ(lx_auxillaryCheckboxButtonTitle(*error), u"Don’t ask again");
  EXPECT_EQ(error->userInfo().size(), 2u);  // not in the user info

  const ErrorPtr derived = lx_errorByAddingUserInfoEntriesFromDictionary(*error, {});
  EXPECT_FALSE(lx_auxillaryCheckboxState(*derived));
  EXPECT_EQ(lx_auxillaryCheckboxButtonTitle(*derived), std::nullopt);

  lx_setAuxillaryCheckboxButtonTitle(*error, std::nullopt);
  EXPECT_EQ(lx_auxillaryCheckboxButtonTitle(*error), std::nullopt);
}

}  // namespace
}  // namespace lx
