#include "vantorcore/text/LXUUID.h"

#include <gtest/gtest.h>

#include <set>

#include "vantorcore/platform/Log.h"

namespace lx {
namespace {

// A keyed coder over a dictionary, and an unkeyed one over a list, so that
// both branches of the coding contract are exercised without an archiver.
class KeyedCoder : public Coder {
 public:
  Dictionary values;
  void encodeObject(const Value& object, StringView key) override { values.set(key, object); }
  Value decodeObjectForKey(StringView key) override { return values[key]; }
};
class UnkeyedCoder : public Coder {
 public:
  Array values;
  std::size_t next = 0;
  bool allowsKeyedCoding() const override { return false; }
  void encodeObject(const Value& object) override { values.push_back(object); }
  Value decodeObject() override { return next < values.size() ? values[next++] : Value(); }
};

class Impostor : public Object {
 public:
  String description() const override { return u"68753A44-4D6F-1226-9C60-0050E4C00067"; }
};

TEST(LXUUIDTest, FreshValuesAreRandomVersion4) {
  std::set<String> seen;
  for (int i = 0; i < 64; ++i) {
    auto uuid = LXUUID::UUID();
    ASSERT_TRUE(uuid);
    const String text = uuid->stringValue();
    ASSERT_EQ(text.size(), 36u);
    EXPECT_EQ(text[14], u'4');
    EXPECT_NE(String(u"89AB").find(text[19]), String::npos);
    EXPECT_EQ(uppercaseString(text), text);
    seen.insert(text);
  }
  EXPECT_EQ(seen.size(), 64u);
  EXPECT_FALSE(LXUUID::UUID()->isEqual(*LXUUID::UUID()));
}

TEST(LXUUIDTest, ParsesEitherCaseAndWritesUpperCase) {
  struct Case {
    const char16_t* text;
    const char16_t* canonical;  // null: refused
  };
  const Case cases[] = {
      {u"68753a44-4d6f-1226-9c60-0050e4c00067", u"68753A44-4D6F-1226-9C60-0050E4C00067"},
      {u"68753A44-4D6F-1226-9C60-0050E4C00067", u"68753A44-4D6F-1226-9C60-0050E4C00067"},
      {u"00000000-0000-0000-0000-000000000000", u"00000000-0000-0000-0000-000000000000"},
      {u"68753A444D6F12269C600050E4C00067", nullptr},
      {u"68753A44-4D6F-1226-9C60-0050E4C0006", nullptr},
      {u"68753A44-4D6F-1226-9C60-0050E4C00067-", nullptr},
      {u"68753G44-4D6F-1226-9C60-0050E4C00067", nullptr},
      {u"68753A44_4D6F-1226-9C60-0050E4C00067", nullptr},
      {u"", nullptr},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.text));
    ScopedLogCapture capture;
    auto uuid = LXUUID::UUIDWithString(c.text);
    if (c.canonical) {
      ASSERT_TRUE(uuid);
      EXPECT_EQ(uuid->stringValue(), c.canonical);
      EXPECT_TRUE(capture.lines().empty());
    } else {
      EXPECT_FALSE(uuid);
      EXPECT_EQ(capture.lines(),
                std::vector<String>{u"CONDITION FAILED: couldn't create UUID from string"});
    }
  }
}

TEST(LXUUIDTest, EqualityHashCopyAndDescription) {
  auto a = LXUUID::UUIDWithString(u"68753A44-4D6F-1226-9C60-0050E4C00067");
  auto b = LXUUID::UUIDWithString(u"68753a44-4d6f-1226-9c60-0050e4c00067");
  EXPECT_TRUE(a->isEqual(*b));
  EXPECT_EQ(a->hash(), b->hash());
  auto copy = a->copy();
  EXPECT_NE(copy.get(), a.get());
  EXPECT_EQ(copy->bytes(), a->bytes()) << "the value is shared, not duplicated";
  EXPECT_TRUE(copy->isEqual(*a));
  EXPECT_FALSE(a->isEqual(Impostor())) << "another class never equals, whatever it prints";
  EXPECT_TRUE(hasPrefix(a->description(), u"<<LXUUID: 0x"));
  EXPECT_TRUE(hasSuffix(a->description(), u">: 68753A44-4D6F-1226-9C60-0050E4C00067>"));
  ScopedLogCapture capture;
  EXPECT_FALSE(LXUUID::UUIDWithBytes(nullptr));
  EXPECT_TRUE(capture.contains(u"CONDITION FAILED: UUID is NULL"));
}

TEST(LXUUIDTest, KeyedAndUnkeyedCodingRoundTrip) {
  auto uuid = LXUUID::UUID();
  KeyedCoder keyed;
  uuid->encodeWithCoder(keyed);
  EXPECT_EQ(keyed.values[u"UUID"], Value(uuid->stringValue()));
  auto back = LXUUID::initWithCoder(keyed);
  ASSERT_TRUE(back);
  EXPECT_TRUE(back->isEqual(*uuid));
  EXPECT_EQ(back->hash(), uuid->hash());

  UnkeyedCoder unkeyed;
  uuid->encodeWithCoder(unkeyed);
  EXPECT_TRUE(LXUUID::initWithCoder(unkeyed)->isEqual(*uuid));
  EXPECT_TRUE(LXUUID::staticClass().conformsToProtocol(kCodingProtocol));
  EXPECT_TRUE(LXUUID::staticClass().supportsSecureCoding());
}

TEST(LXUUIDTest, MissingOrWrongCodedValuesGiveAbsent) {
  for (const Value& stored : {Value(), Value(42), Value(u"not a uuid")}) {
    SCOPED_TRACE(toUTF8(stored.description()));
    ScopedLogCapture capture;
    KeyedCoder coder;
    if (!stored.isNull()) coder.values.set(u"UUID", stored);
    EXPECT_FALSE(LXUUID::initWithCoder(coder));
    EXPECT_EQ(capture.lines(),
              std::vector<String>{u"CONDITION FAILED: couldn't create UUID from string"});
  }
}

}  // namespace
}  // namespace lx
