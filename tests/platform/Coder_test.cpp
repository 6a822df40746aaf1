#include "vantorcore/platform/Coder.h"

#include <gtest/gtest.h>

#include "vantorcore/platform/Exception.h"

namespace lx {
namespace {

// The smallest keyed coder: a dictionary, written and read in place. It
// implements only the object operations, so the defaults of `Coder` show.
class DictionaryCoder : public Coder {
 public:
  Dictionary values;
  void encodeObject(const Value& object, StringView key) override { values.set(key, object); }
  Value decodeObjectForKey(StringView key) override { return values[key]; }
  bool containsValueForKey(StringView key) override { return values.contains(key); }

 protected:
  String coderName() const override { return u"DictionaryCoder"; }
};

class Marker : public Object {};

TEST(CoderTest, StringsGoThroughObjectsByDefault) {
  DictionaryCoder coder;
  EXPECT_TRUE(coder.allowsKeyedCoding());
  coder.encodeString(u"text", u"s");
  coder.encodeObject(Value(7), u"n");
  EXPECT_EQ(coder.decodeStringForKey(u"s"), u"text");
  EXPECT_FALSE(coder.decodeStringForKey(u"n")) << "a number is not text";
  EXPECT_FALSE(coder.decodeStringForKey(u"missing"));
}

TEST(CoderTest, ObjectsOfAClassAreCheckedByKind) {
  DictionaryCoder coder;
  coder.encodeObject(Value(std::make_shared<Marker>()), u"m");
  coder.encodeObject(Value(u"m"), u"s");
  EXPECT_TRUE(coder.decodeObjectOfClassForKey<Marker>(u"m"));
  EXPECT_FALSE(coder.decodeObjectOfClassForKey<Marker>(u"s"));
}

TEST(CoderTest, UnimplementedOperationsThrowInvalidArgument) {
  DictionaryCoder coder;
  try {
    coder.encodeInt64(1, u"k");
    FAIL() << "no exception";
  } catch (const InvalidArgumentException& e) {
    EXPECT_EQ(e.reason(), u"-[DictionaryCoder encodeInt64:forKey:] is not available on this coder");
  }
  EXPECT_THROW(coder.decodeDoubleForKey(u"k"), InvalidArgumentException);
  EXPECT_THROW(coder.decodeObject(), InvalidArgumentException);
  EXPECT_THROW(coder.encodeInt(1, u"k"), InvalidArgumentException);
}

}  // namespace
}  // namespace lx
