#include <gtest/gtest.h>

#include "vantorcore/text/Scanner+Additions.h"

namespace lx {
namespace {

const CharacterSet& spaces() {
  static const CharacterSet set = CharacterSet::whitespaceCharacterSet();
  return set;
}

const CharacterSet& letters() {
  static const CharacterSet set = CharacterSet::letterCharacterSet();
  return set;
}

using Operation = bool (*)(Scanner&, String*);

bool nextLetter(Scanner& s, String* into) { return scanNextCharacterFromSet(s, letters(), into); }
bool nextFromNoSet(Scanner& s, String* into) {
  return scanNextCharacterFromSet(s, std::nullopt, into);
}
bool backLetter(Scanner& s, String* into) {
  return scanBackwardNextCharacterFromSet(s, letters(), into);
}
bool backSpaces(Scanner& s, String* into) {
  return scanBackwardCharactersFromSet(s, spaces(), into);
}
bool backUpToSpace(Scanner& s, String* into) {
  return scanBackwardUpToCharactersFromSet(s, spaces(), into);
}
bool backUpToEquals(Scanner& s, String* into) { return scanBackwardUpToString(s, u"=", into); }
bool backUpToAB(Scanner& s, String* into) { return scanBackwardUpToString(s, u"ab", into); }

// One step of one operation: where it starts, what it answers, where it ends.
struct Step {
  Operation operation;
  const char* name;
  const char16_t* text;
  std::size_t start;
  bool ok;
  const char16_t* scanned;  // what `into` holds afterwards ("-" when untouched)
  std::size_t end;
};

TEST(ScannerAdditionsTest, EachOperationFromAStartLocation) {
  const Step steps[] = {
      {nextLetter, "next: member", u"a1", 0, true, u"a", 1},
      {nextLetter, "next: non-member", u"1a", 0, false, u"-", 0},
      {nextLetter, "next: at end", u"a", 1, false, u"-", 1},
      {nextLetter, "next: ignores the skip set", u" a", 0, false, u"-", 0},
      {nextFromNoSet, "next: no set", u"a", 0, false, u"-", 0},
      {backLetter, "back one: member", u"ab", 2, true, u"b", 1},
      {backLetter, "back one: non-member still moves", u"a1", 2, false, u"-", 1},
      {backLetter, "back one: at 0", u"ab", 0, false, u"-", 0},
      {backSpaces, "back over: trailing spaces", u"a  ", 3, true, u"  ", 1},
      {backSpaces, "back over: to the start", u"  ", 2, true, u"  ", 0},
      {backSpaces, "back over: none", u"ab", 2, false, u"-", 2},
      {backSpaces, "back over: at 0", u"  ", 0, false, u"-", 0},
      {backSpaces, "back over: from the middle", u"a  b", 3, true, u"  ", 1},
      {backUpToSpace, "back to set: after the last space", u"a b", 3, true, u"b", 2},
      {backUpToSpace, "back to set: no member, to 0", u"abc", 2, true, u"ab", 0},
      {backUpToSpace, "back to set: member is the last unit", u"ab ", 3, false, u"-", 3},
      {backUpToSpace, "back to set: member right before", u"a b", 2, false, u"-", 2},
      {backUpToSpace, "back to set: at 0", u"ab", 0, false, u"-", 0},
      {backUpToEquals, "back to string: found", u"k=v", 3, true, u"v", 2},
      {backUpToEquals, "back to string: found at 0 with text", u"=v", 2, true, u"v", 1},
      {backUpToEquals, "back to string: found at 0, nothing between", u"=v", 1, false, u"-", 1},
      {backUpToEquals, "back to string: found later, nothing between", u"a=v", 2, true, u"", 2},
      {backUpToEquals, "back to string: not found, from 0", u"kv", 2, true, u"kv", 0},
      {backUpToEquals, "back to string: not found at 0 is still true", u"kv", 0, true, u"", 0},
      {backUpToEquals, "back to string: the last match", u"a=b=c", 5, true, u"c", 4},
      {backUpToEquals, "back to string: only before the location", u"a=b", 1, true, u"a", 0},
      {backUpToAB, "back to string: ignores case", u"xABy", 4, true, u"y", 3},
  };
  for (const Step& s : steps) {
    SCOPED_TRACE(s.name);
    Scanner scanner{String(s.text)};
    scanner.setScanLocation(s.start);
    String into = u"-";
    EXPECT_EQ(s.operation(scanner, &into), s.ok);
    EXPECT_EQ(into, s.scanned);
    EXPECT_EQ(scanner.scanLocation(), s.end);
  }
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
