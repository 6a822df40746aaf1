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
  const char* name;
  Operation operation;
  const char16_t* text;
  std::size_t start;
  bool ok;
  const char16_t* scanned;  // what `into` holds afterwards ("-" when untouched)
  std::size_t end;
};

TEST(ScannerAdditionsTest, EachOperationFromAStartLocation) {
  const Step steps[] = {
      {"next: member", nextLetter, u"a1", 0, true, u"a", 1},
      {"next: non-member", nextLetter, u"1a", 0, false, u"-", 0},
      {"next: at end", nextLetter, u"a", 1, false, u"-", 1},
      {"next: ignores the skip set", nextLetter, u" a", 0, false, u"-", 0},
      {"next: no set", nextFromNoSet, u"a", 0, false, u"-", 0},
      {"back one: member", backLetter, u"ab", 2, true, u"b", 1},
      {"back one: non-member still moves", backLetter, u"a1", 2, false, u"-", 1},
      {"back one: at 0", backLetter, u"ab", 0, false, u"-", 0},
      {"back over: trailing spaces", backSpaces, u"a  ", 3, true, u"  ", 1},
      {"back over: to the start", backSpaces, u"  ", 2, true, u"  ", 0},
      {"back over: none", backSpaces, u"ab", 2, false, u"-", 2},
      {"back over: at 0", backSpaces, u"  ", 0, false, u"-", 0},
      {"back over: from the middle", backSpaces, u"a  b", 3, true, u"  ", 1},
      {"back to set: after the last space", backUpToSpace, u"a b", 3, true, u"b", 2},
      {"back to set: no member, to 0", backUpToSpace, u"abc", 2, true, u"ab", 0},
      {"back to set: member is the last unit", backUpToSpace, u"ab ", 3, false, u"-", 3},
      {"back to set: member right before", backUpToSpace, u"a b", 2, false, u"-", 2},
      {"back to set: at 0", backUpToSpace, u"ab", 0, false, u"-", 0},
      {"back to string: found", backUpToEquals, u"k=v", 3, true, u"v", 2},
      {"back to string: found at 0 with text", backUpToEquals, u"=v", 2, true, u"v", 1},
      {"back to string: found at 0, nothing between", backUpToEquals, u"=v", 1, false, u"-", 1},
      {"back to string: found later, nothing between", backUpToEquals, u"a=v", 2, true, u"", 2},
      {"back to string: not found, from 0", backUpToEquals, u"kv", 2, true, u"kv", 0},
      {"back to string: not found at 0 is still true", backUpToEquals, u"kv", 0, true, u"", 0},
      {"back to string: the last match", backUpToEquals, u"a=b=c", 5, true, u"c", 4},
      {"back to string: only before the location", backUpToEquals, u"a=b", 1, true, u"a", 0},
      {"back to string: ignores case", backUpToAB, u"xABy", 4, true, u"y", 3},
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
