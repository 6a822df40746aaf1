#include "vantorcore/platform/KeylessCoding.h"

#include <gtest/gtest.h>

#include "vantorcore/platform/BoxedValue.h"
#include "vantorcore/platform/Error.h"

namespace lx {
namespace {

TEST(KeylessCodingTest, WritesBecomeStorableValues) {
  const Value object(u"text");
  const char* cString = "caf\xc3\xa9";
  const char* nullString = nullptr;
  const Class* cls = &Error::staticClass();
  const Class* nullClass = nullptr;
  const std::int32_t i = -7;
  const double d = 2.5;
  const struct {
    const char* type;
    const void* address;
    std::optional<Value> stored;
  } cases[] = {
      {"@", &object, object},
      {"*", &cString, Value(u"caf\u00e9")},
      {"*", &nullString, Value()},
      {"#", &cls, Value(u"Error")},
      {"#", &nullClass, Value()},
      {"i", &i, Value(BoxedValue::valueWithInt32(-7))},
      {"d", &d, Value(BoxedValue::valueWithDouble(2.5))},
      {"{p=ii}", &i, std::nullopt},
      {"^i", &i, std::nullopt},
      {"", &i, std::nullopt},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.type);
    EXPECT_EQ(KeylessCoding::valueForObjCType(c.type, c.address), c.stored);
  }
}

TEST(KeylessCodingTest, ReadsCheckTypeAndSize) {
  KeylessCoding coding;
  const Value box32 = Value(BoxedValue::valueWithInt32(300));
  const struct {
    const char* name;
    Value stored;
    const char* type;
    std::size_t size;
    bool ok;
    std::int64_t expected;  // what the zeroed 8-byte buffer holds after it
  } cases[] = {
      {"box of the same type", box32, "i", 4, true, 300},
      {"box, size one short", box32, "i", 3, false, 0},
      {"box, size one over", box32, "i", 5, false, 0},
      {"box of another type", box32, "q", 8, false, 0},
      {"number as int8 wraps", Value(300), "c", 1, true, 44},
      {"number as int64", Value(-5), "q", 8, true, -5},
      {"bool as B", Value(true), "B", 1, true, 1},
      {"string as scalar", Value(u"1"), "i", 4, false, 0},
      {"unknown type", Value(1), "x", 1, false, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    std::int64_t out = 0;
    EXPECT_EQ(coding.read(c.stored, c.type, &out, c.size), c.ok);
    EXPECT_EQ(out, c.expected) << "a refused read writes nothing";
  }
}

TEST(KeylessCodingTest, PointerTypesReadBack) {
  KeylessCoding coding;
  const char* first = nullptr;
  ASSERT_TRUE(coding.read(Value(u"caf\u00e9"), "*", &first, sizeof first));
  const char* second = "x";
  ASSERT_TRUE(coding.read(Value(), "*", &second, sizeof second));
  EXPECT_EQ(second, nullptr);
  EXPECT_STREQ(first, "caf\xc3\xa9") << "earlier C strings stay valid";
  EXPECT_FALSE(coding.read(Value(7), "*", &first, sizeof first));

  const Class* cls = nullptr;
  EXPECT_TRUE(coding.read(Value(u"Error"), "#", &cls, sizeof cls));
  EXPECT_EQ(cls, &Error::staticClass());
  EXPECT_FALSE(coding.read(Value(u"NoSuchClass"), "#", &cls, sizeof cls));
  EXPECT_FALSE(coding.read(Value(u"Error"), "#", &cls, sizeof cls - 1));

  Value object;
  EXPECT_TRUE(coding.read(Value(Array{1}), "@", &object, sizeof object));
  EXPECT_EQ(object, Value(Array{1}));
  EXPECT_FALSE(coding.read(Value(1), "@", &object, sizeof object + 1));
}

}  // namespace
}  // namespace lx
