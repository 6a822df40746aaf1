#include <gtest/gtest.h>

#include "vantorcore/text/Scanner+Additions.h"

namespace lx {
namespace {

Scanner at(StringView text, std::size_t location) {
  Scanner scanner{String(text)};
  scanner.setScanLocation(location);
  return scanner;
}

const CharacterSet& spaces() {
  static const CharacterSet set = CharacterSet::whitespaceCharacterSet();
  return set;
}

const CharacterSet& letters() {
  static const CharacterSet set = CharacterSet::letterCharacterSet();
  return set;
}

// One step of one operation: where it starts, what it answers, where it ends.
struct Step {
  const char* name;
  const char16_t* text;
  std::size_t start;
  bool ok;
  const char16_t* scanned;  // what `into` holds afterwards ("-" when untouched)
  std::size_t end;
};

template <class Operation>
void runSteps(std::initializer_list<Step> steps, Operation operation) {
  for (const Step& s : steps) {
    SCOPED_TRACE(s.name);
    Scanner scanner = at(s.text, s.start);
    String into = u"-";
    EXPECT_EQ(operation(scanner, &into), s.ok);
    EXPECT_EQ(into, s.scanned);
    EXPECT_EQ(scanner.scanLocation(), s.end);
  }
}

TEST(ScannerAdditionsTest, NextCharacterFromSet) {
  runSteps(
      {
          {"member", u"a1", 0, true, u"a", 1},
          {"non-member", u"1a", 0, false, u"-", 0},
          {"at end", u"a", 1, false, u"-", 1},
          {"ignores the skip set", u" a", 0, false, u"-", 0},
      },
      [](Scanner& s, String* into) { return scanNextCharacterFromSet(s, letters(), into); });
  Scanner scanner(u"a");
  EXPECT_FALSE(scanNextCharacterFromSet(scanner, std::nullopt));
  EXPECT_EQ(scanner.scanLocation(), 0u);
}

TEST(ScannerAdditionsTest, NextStringFollowsTheCaseRule) {
  Scanner insensitive(u"abc");
  String into;
  EXPECT_TRUE(scanNextString(insensitive, u"AB", &into));
  EXPECT_EQ(into, u"ab");
  EXPECT_EQ(insensitive.scanLocation(), 2u);

  Scanner sensitive(u"abc");
  sensitive.setCaseSensitive(true);
  EXPECT_FALSE(scanNextString(sensitive, u"AB"));
  EXPECT_TRUE(scanNextString(sensitive, u"abc"));  // may end at the end
  EXPECT_TRUE(sensitive.isAtEnd());

  Scanner skipping(u" abc");
  EXPECT_FALSE(scanNextString(skipping, u"abc"));  // no skipping
  EXPECT_FALSE(scanNextString(skipping, u" abcd"));
}

TEST(ScannerAdditionsTest, BackwardNextCharacterAlwaysSteps) {
  runSteps(
      {
          {"member", u"ab", 2, true, u"b", 1},
          {"non-member still moves", u"a1", 2, false, u"-", 1},
          {"at 0", u"ab", 0, false, u"-", 0},
      },
      [](Scanner& s, String* into) {
        return scanBackwardNextCharacterFromSet(s, letters(), into);
      });
}

TEST(ScannerAdditionsTest, BackwardCharactersFromSet) {
  runSteps(
      {
          {"trailing spaces", u"a  ", 3, true, u"  ", 1},
          {"to the start", u"  ", 2, true, u"  ", 0},
          {"none", u"ab", 2, false, u"-", 2},
          {"at 0", u"  ", 0, false, u"-", 0},
          {"from the middle", u"a  b", 3, true, u"  ", 1},
      },
      [](Scanner& s, String* into) { return scanBackwardCharactersFromSet(s, spaces(), into); });
}

TEST(ScannerAdditionsTest, BackwardUpToCharactersFromSet) {
  runSteps(
      {
          {"after the last space", u"a b", 3, true, u"b", 2},
          {"no member: to 0", u"abc", 2, true, u"ab", 0},
          {"member is the last unit", u"ab ", 3, false, u"-", 3},
          {"member right before", u"a b", 2, false, u"-", 2},
          {"at 0", u"ab", 0, false, u"-", 0},
      },
      [](Scanner& s, String* into) {
        return scanBackwardUpToCharactersFromSet(s, spaces(), into);
      });
}

TEST(ScannerAdditionsTest, BackwardUpToString) {
  runSteps(
      {
          {"found", u"k=v", 3, true, u"v", 2},
          {"found at 0 with text", u"=v", 2, true, u"v", 1},
          {"found at 0, nothing between", u"=v", 1, false, u"-", 1},
          {"found later, nothing between", u"a=v", 2, true, u"", 2},
          {"not found: from 0", u"kv", 2, true, u"kv", 0},
          {"not found at 0 is still true", u"kv", 0, true, u"", 0},
          {"the last match", u"a=b=c", 5, true, u"c", 4},
          {"only before the location", u"a=b", 1, true, u"a", 0},
      },
      [](Scanner& s, String* into) { return scanBackwardUpToString(s, u"=", into); });
  Scanner insensitive = at(u"xABy", 4);
  String into;
  EXPECT_TRUE(scanBackwardUpToString(insensitive, u"ab", &into));
  EXPECT_EQ(into, u"y");
}

TEST(ScannerAdditionsTest, PastCharactersFromSet) {
  Scanner scanner(u"  a");
  scanner.setCharactersToBeSkipped(std::nullopt);
  EXPECT_TRUE(scanPastCharactersFromSet(scanner, spaces()));
  EXPECT_EQ(scanner.scanLocation(), 2u);
  EXPECT_FALSE(scanPastCharactersFromSet(scanner, spaces()));
  EXPECT_EQ(scanner.scanLocation(), 2u);
}

}  // namespace
}  // namespace lx
