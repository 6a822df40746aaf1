#include "vantorcore/files/LXSystemVersion.h"

#include <gtest/gtest.h>

#include <thread>

#include "support/TestSupport.h"
#include "vantorcore/platform/Exception.h"
#include "vantorcore/platform/Log.h"
#include "vantorcore/platform/OSRelease.h"

namespace lx {
namespace {

constexpr StringView kDotWarning =
    u"LXSystemVersion: Warning, found \".\" without a following digit value.";

String unsupported(StringView string) {
  return u"LXSystemVersion: Found unsupported character in version string, bailing:\"" +
         String(string) + u"\".";
}

std::shared_ptr<LXSystemVersion> version(StringView string) {
  return LXSystemVersion::systemVersionWithString(string);
}

TEST(LXSystemVersionTest, ParsingGivesTheCanonicalFormAndTheDocumentedLines) {
  const String longDigits(100000, u'9');
  const std::vector<String> dotWarnings(50000, String(kDotWarning));
  // Lone dots skip two characters per warning.
  const struct {
    String in;
    String canonical;
    std::vector<String> lines;
  } cases[] = {
      {u"10.15.7", u"10.15.7", {}},
      {u"11.0", u"11", {}},
      {u"0.0", u"0", {}},
      {u"", u"0", {}},
      {u"1.2a3b4", u"1.2b4a3", {}},
      {u"2.1a2d5", u"2.1a2d5", {}},
      {u"1b2b3", u"1b3", {}},
      {u"1b", u"1", {}},
      {u"a1", u"0a1", {}},
      {u"1.0.0.0.1", u"1.0.0.0.1", {}},
      {u"0.1", u"0.1", {}},
      {u"007.010", u"007.010", {}},
      {u"10..5", u"10.5", {String(kDotWarning)}},
      {u"10.x5", u"10.5", {String(kDotWarning)}},
      {u"10.", u"10", {String(kDotWarning)}},
      {u".", u"0", {String(kDotWarning)}},
      {u"..", u"0", {String(kDotWarning)}},
      {u"...", u"0", {String(kDotWarning), String(kDotWarning)}},
      {String(99999, u'.'), u"0", dotWarnings},
      {String(100000, u'.'), u"0", dotWarnings},
      {u"10.15 (Build)", u"10.15", {unsupported(u"10.15 (Build)")}},
      {u"x1", u"0", {unsupported(u"x1")}},
      {u"1.2c3", u"1.2", {unsupported(u"1.2c3")}},
      {u"1b18446744073709551615", u"1b18446744073709551615", {}},
      {u"1b18446744073709551616", u"1b18446744073709551615", {}},  // saturates
      {longDigits, longDigits, {}},
      {longDigits + u".0", longDigits, {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.in.substr(0, 40)));
    ScopedLogCapture log;
    EXPECT_EQ(version(c.in)->string(), c.canonical);
    EXPECT_EQ(log.lines(), c.lines);
  }
}

TEST(LXSystemVersionTest, ComparisonIsNumericThenByPreReleaseScoreAndThePredicatesFollowIt) {
  const String longDigits(100000, u'9');
  const struct {
    const char16_t* a;
    String b;
    int order;
  } cases[] = {
      {u"10.9", u"10.10", -1},    {u"11", u"11.0.0", 0},
      {u"10.15.7", u"10.15", 1},  {u"12.0b1", u"12.0", -1},
      {u"12.0a9", u"12.0b1", -1}, {u"12.0b2", u"12.0b1", 1},
      {u"1a9", u"1b1", -1},       {u"1a10", u"1b1", 0},  // the weights: alpha 10 scores as beta 1
      {u"1d999", u"1a1", -1},     {u"1d1000", u"1a1", 0},
      {u"1b1a1", u"1b1", 1},      {u"1.01", u"1.1", 0},
      {u"9", longDigits, -1},     {u"1b18446744073709551615", u"1b18446744073709551614", 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.a) + " vs " + toUTF8(c.b.substr(0, 20)));
    const auto a = version(c.a);
    const auto b = version(c.b);
    EXPECT_EQ(a->compare(*b), c.order);
    EXPECT_EQ(b->compare(*a), -c.order);
    // The predicates, on versions and on strings, follow the comparison.
    EXPECT_EQ(a->isEqual(*b), c.order == 0);
    EXPECT_EQ(a->isEqualToSystemVersion(*b), c.order == 0);
    EXPECT_EQ(a->isLessThanSystemVersion(*b), c.order < 0);
    EXPECT_EQ(a->isLessThanOrEqualToSystemVersion(*b), c.order <= 0);
    EXPECT_EQ(a->isGreaterThanSystemVersion(*b), c.order > 0);
    EXPECT_EQ(a->isGreaterThanOrEqualToSystemVersion(*b), c.order >= 0);
    EXPECT_EQ(a->isEqualToString(c.b), c.order == 0);
    EXPECT_EQ(a->isLessThanString(c.b), c.order < 0);
    EXPECT_EQ(a->isLessThanOrEqualToString(c.b), c.order <= 0);
    EXPECT_EQ(a->isGreaterThanString(c.b), c.order > 0);
    EXPECT_EQ(a->isGreaterThanOrEqualToString(c.b), c.order >= 0);
  }
}

TEST(LXSystemVersionTest, ResultsAreRememberedByTheOtherCanonicalForm) {
  const auto v = version(u"1");
  EXPECT_EQ(v->compare(*version(u"2.0")), -1);
  v->setComponents({u"3"});  // remembered results stay
  EXPECT_EQ(v->string(), u"3");
  EXPECT_EQ(v->compare(*version(u"2")), -1);
  EXPECT_EQ(v->compare(*version(u"2.1")), 1);  // not remembered yet
  v->setBeta(1);
  EXPECT_EQ(v->string(), u"3b1");
  v->setComponents({});
  EXPECT_EQ(v->components(), std::vector<String>{u"0"});
}

TEST(LXSystemVersionTest, OneObjectMayBeComparedFromSeveralThreads) {
  const auto shared = version(u"5.5");
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&shared, t] {
      for (int i = 0; i < 200; ++i) {
        const auto other = version(fromUTF8(std::to_string(i % 10) + "." + std::to_string(t)));
        EXPECT_EQ(shared->compare(*other), i % 10 < 5 ? 1 : i % 10 > 5 ? -1 : t < 5 ? 1 : 0);
      }
    });
  }
  for (auto& thread : threads) thread.join();
}

TEST(LXSystemVersionTest, AVersionIsAValueWithADescription) {
  const auto v = version(u"10.15.0");
  EXPECT_EQ(v->copy(), v);
  EXPECT_EQ(v->hash(), version(u"10.15")->hash());
  EXPECT_FALSE(v->isEqual(*std::make_shared<Object>()));
  // "<LXSystemVersion: 0x<address in lower-case hex> : 10.15>"
  const std::string description = toUTF8(v->description());
  const std::string_view head = "<LXSystemVersion: 0x", tail = " : 10.15>";
  ASSERT_GT(description.size(), head.size() + tail.size()) << description;
  EXPECT_TRUE(description.starts_with(head) && description.ends_with(tail)) << description;
  EXPECT_EQ(description.find_first_not_of("0123456789abcdef", head.size()),
            description.size() - tail.size())
      << description;
  try {
    LXSystemVersion::init();
    ADD_FAILURE() << "init returned";
  } catch (const InvalidArgumentException& e) {
    EXPECT_EQ(e.reason(), u"System versions cannot be initialized with -init");
  }
}

TEST(LXSystemVersionTest, ReadComponentValueReportsWhereTheDigitsEnd) {
  const struct {
    const char16_t* string;
    std::size_t start;
    std::optional<String> value;
    std::size_t end;
  } cases[] = {
      {u"10.5", 3, u"5", 4},      {u"10.5", 2, std::nullopt, 2}, {u"10.5", 0, u"10", 2},
      {u"", 0, std::nullopt, 0},  {u"1", 1, std::nullopt, 1},    {u"1", 5, std::nullopt, 5},
      {u"٣", 0, std::nullopt, 0},  // only ASCII digits
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.string) + " @" + std::to_string(c.start));
    std::size_t end = 99;
    EXPECT_EQ(LXSystemVersionReadComponentValue(c.string, c.start, &end), c.value);
    EXPECT_EQ(end, c.end);
  }
  EXPECT_EQ(LXSystemVersionReadComponentValue(u"7", 0), u"7");
}

TEST(LXSystemVersionTest, BundlesGiveTheirShortVersionString) {
  Bundle* bundle = Bundle::bundleWithPath(fromUTF8(test::makeTemporaryFolder("bundle").native()));
  ASSERT_TRUE(bundle);
  bundle->setInfoDictionary(Dictionary{{u"CFBundleShortVersionString", Value(u"2.0.1b3")}});
  EXPECT_EQ(LXSystemVersion::systemVersionWithBundle(*bundle)->string(), u"2.0.1b3");
  bundle->setInfoDictionary(Dictionary{{u"CFBundleShortVersionString", Value(2)}});
  EXPECT_FALSE(LXSystemVersion::systemVersionWithBundle(*bundle));
}

TEST(LXSystemVersionTest, TheCurrentVersionComesFromOSReleaseAndIsKeptOnceFound) {
  std::optional<std::string> contents = "NAME=\"Arch Linux\"\nBUILD_ID=rolling\n";
  const auto previous = OSRelease::setSource([&contents] { return contents; });
  EXPECT_FALSE(LXSystemVersion::currentSystemVersion());
  contents = "# Debian\nVERSION_ID=\"12\"\n";  // absent answers are retried
  const auto current = LXSystemVersion::currentSystemVersion();
  ASSERT_TRUE(current);
  EXPECT_EQ(current->string(), u"12");
  contents = "VERSION_ID=13\n";  // found once: kept
  EXPECT_EQ(LXSystemVersion::currentSystemVersion(), current);
  OSRelease::setSource([] { return std::optional<std::string>("VERSION_ID='22.04'\n"); });
  EXPECT_EQ(LXSystemVersion::currentSystemVersion()->string(), u"22.04");
  OSRelease::setSource([] { return std::optional<std::string>(); });
  EXPECT_FALSE(LXSystemVersion::currentSystemVersion());
  OSRelease::setSource(previous);
}

}  // namespace
}  // namespace lx
