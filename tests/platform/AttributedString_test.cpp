#include "vantorcore/platform/AttributedString.h"

#include <gtest/gtest.h>

#include "vantorcore/platform/AttributedString+ANSI.h"
#include "vantorcore/platform/Exception.h"

namespace lx {
namespace {

const TextAttributes kBold{Font(u"Mono", 11, true), Color::controlTextColor(), {}, {}};
const TextAttributes kPlain{Font(u"Mono", 11), Color::controlTextColor(), {}, {}};
const TextAttributes kLabel{Font(u"Mono", 11), Color::secondaryLabelColor(), {}, {}};

TEST(AttributedStringTest, AppendingMergesEqualNeighbours) {
  AttributedString text;
  text.append(u"", kBold);
  EXPECT_TRUE(text.runs().empty());
  text.append(u"ab", kBold);
  text.append(u"cd", kBold);
  text.append(u"\U0001F600", kPlain);  // two UTF-16 units
  text.append(AttributedString(u"e", kPlain));
  text.append(AttributedString(u"fg", kBold));
  EXPECT_EQ(text.string(), u"abcd\U0001F600efg");
  EXPECT_EQ(text.length(), 9U);
  const std::vector<AttributedString::Run> runs = {
      {{0, 4}, kBold}, {{4, 3}, kPlain}, {{7, 2}, kBold}};
  EXPECT_EQ(text.runs(), runs);
  text.clear();
  EXPECT_TRUE(text.empty());
  EXPECT_TRUE(text.runs().empty());
}

TEST(AttributedStringTest, AttributesAtEachIndexAndPastTheEnd) {
  AttributedString text(u"ab", kLabel);
  text.append(u"\U0001F600", kPlain);
  const struct {
    std::size_t index;
    Range run;
    const TextAttributes* attributes;
  } cases[] = {
      {0, {0, 2}, &kLabel}, {1, {0, 2}, &kLabel}, {2, {2, 2}, &kPlain},
      {3, {2, 2}, &kPlain}, {4, {}, nullptr},  // one past the end
      {100, {}, nullptr},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.index);
    Range range;
    if (!c.attributes) {
      EXPECT_THROW((void)text.attributesAtIndex(c.index, &range), RangeException);
      continue;
    }
    EXPECT_EQ(text.attributesAtIndex(c.index, &range), *c.attributes);
    EXPECT_EQ(range, c.run);
  }
  EXPECT_THROW((void)AttributedString().attributesAtIndex(0), RangeException);
}

TEST(AttributedStringTest, TerminalTextCarriesStylesButNoControls) {
  TextAttributes linked = kBold;
  linked.backgroundColor = Color::fromRGBA(0, 0, 1, 0.2);
  linked.link = u"file:///tmp/x/";
  TextAttributes green{std::nullopt, Color::fromRGBA(0, 0.5, 0), {}, {}};
  const struct {
    const char* name;
    AttributedString text;
    std::string out;
  } cases[] = {
      {"empty", AttributedString(), ""},
      {"no attributes", AttributedString(u"plain\n"), "plain\n"},
      {"theme text colour adds nothing", AttributedString(u"x", kPlain), "x"},
      {"bold", AttributedString(u"x", kBold), "\x1b[0;1mx\x1b[0m"},
      {"secondary label is bright black", AttributedString(u"1: ", kLabel), "\x1b[0;90m1: \x1b[0m"},
      {"any other colour in 24 bits", AttributedString(u"g", green),
       "\x1b[0;38;2;0;128;0mg\x1b[0m"},
      {"background and link", AttributedString(u"see", linked),
       "\x1b[0;1;48;2;0;0;255m\x1b]8;;file:///tmp/x/\x1b\\see\x1b]8;;\x1b\\\x1b[0m"},
      {"escape and other controls", AttributedString(u"a\x1b[2Jb\tc\rd\x7f\u0085"),
       "a\uFFFD[2Jb\tc\uFFFDd\uFFFD\uFFFD"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(lx_ANSITerminalString(c.text), c.out);
  }
  AttributedString mixed(u"1: ", kLabel);
  mixed.append(u"hi\n", kPlain);
  EXPECT_EQ(lx_ANSITerminalString(mixed), "\x1b[0;90m1: \x1b[0mhi\n\x1b[0m");
}

}  // namespace
}  // namespace lx
