#include "vantorcore/archiving/LXStateRestorationItem.h"

#include <gtest/gtest.h>

#include "archiving/StateRestorationTestSupport.h"

namespace lx::srtest {
namespace {

TEST(LXStateRestorationItemTest, TheDictionaryFormHoldsOnlyTheFieldsThatAreSet) {
  LXStateRestorationItem bare;
  EXPECT_TRUE(isUpperCaseUUID(bare.identifier()));
  EXPECT_NE(bare.identifier(), LXStateRestorationItem().identifier());
  EXPECT_EQ(bare.dictionaryRepresentation(),
            (Dictionary{{u"i", Value(bare.identifier())}, {u"t", Value(u"r")}}));

  LXStateRestorationItem full;
  full.setType(LXStateRestorationItem::Type::Coded);
  full.setObjectClassName(u"A");
  full.setOriginalClasses({u"A", u"Object"});
  full.setRestorationIdentifier(u"");
  full.setRestorationClassName(u"R");
  full.setObjectIdentifier(u"ID", u"");
  const Dictionary form = full.dictionaryRepresentation();
  EXPECT_EQ(form.keys(), (std::vector<String>{u"i", u"t", u"c", u"oc", u"ri", u"rc", u"v"}));
  EXPECT_EQ(form[u"t"], Value(u"c"));
  EXPECT_EQ(form[u"ri"], Value(u""));
  EXPECT_EQ(form[u"v"], Value(Dictionary{{u"", Value(u"ID")}}));

  const LXStateRestorationItem back(form);
  EXPECT_EQ(back.dictionaryRepresentation(), form);
  EXPECT_EQ(back.objectIdentifierForKey(u""), u"ID");
  EXPECT_EQ(back.objectIdentifierForKey(u"missing"), std::nullopt);
  EXPECT_NE(back.description().find(u"oc = "), String::npos);
}

TEST(LXStateRestorationItemTest, EntriesOfTheWrongTypeKeepTheFieldsDefault) {
  constexpr auto kRestorable = LXStateRestorationItem::Type::Restorable;
  constexpr auto kCoded = LXStateRestorationItem::Type::Coded;
  const struct {
    const char* name;
    LXStateRestorationItem::Type type;
    std::size_t classes;
    std::size_t keys;
    Dictionary form;
  } cases[] = {
      {"t of another letter", kRestorable, 0, 0, {{u"t", u"v"}}},
      {"t as a number", kRestorable, 0, 0, {{u"t", 1}}},
      {"oc with a number inside", kCoded, 1, 0, {{u"t", u"c"}, {u"oc", Array{u"A", 2}}}},
      {"oc as a string", kRestorable, 0, 0, {{u"oc", u"A"}}},
      {"v with a number", kRestorable, 0, 1, {{u"v", Dictionary{{u"a", 1}, {u"b", u"B"}}}}},
      {"v as an array", kRestorable, 0, 0, {{u"v", Array{u"a"}}}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const LXStateRestorationItem item(c.form);
    EXPECT_TRUE(isUpperCaseUUID(item.identifier()));  // no "i": a fresh one
    EXPECT_EQ(item.type(), c.type);
    EXPECT_EQ(item.originalClasses().size(), c.classes);
    EXPECT_EQ(item.objectIdentifiers().size(), c.keys);
    EXPECT_EQ(item.objectClassName(), std::nullopt);
  }
}

TEST(LXStateRestorationItemTest, PositionalKeysCountFromZero) {
  LXStateRestorationItem item;
  EXPECT_EQ(item.takePositionalKey(), u"LX.coding.0");
  EXPECT_EQ(item.takePositionalKey(), u"LX.coding.1");
  item.setPositionalCodingIndex(INT32_MAX);
  EXPECT_EQ(item.takePositionalKey(), u"LX.coding.2147483647");
  EXPECT_EQ(item.takePositionalKey(), u"LX.coding.-2147483648");
  EXPECT_EQ(LXStateRestorationItem::positionalKey(-1), u"LX.coding.-1");
}

}  // namespace
}  // namespace lx::srtest
