#include "vantorcore/platform/BoxedValue.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>

namespace lx {
namespace {

TEST(BoxedValueTest, EncodingSizesAndByteCounts) {
  const struct {
    const char* type;
    std::optional<std::size_t> size;
  } cases[] = {
      {"c", 1},
      {"C", 1},
      {"B", 1},
      {"s", 2},
      {"S", 2},
      {"i", 4},
      {"I", 4},
      {"l", 4},
      {"L", 4},
      {"f", 4},
      {"q", 8},
      {"Q", 8},
      {"d", 8},
      {"", std::nullopt},
      {"@", std::nullopt},
      {"#", std::nullopt},
      {"*", std::nullopt},
      {"ii", std::nullopt},
      {"{p=ii}", std::nullopt},
      {"^i", std::nullopt},
  };
  const Data nine(9, 0x5A);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.type);
    EXPECT_EQ(BoxedValue::sizeOfObjCType(c.type), c.size);
    if (!c.size) {
      EXPECT_FALSE(BoxedValue::valueWithBytes(c.type, DataView(nine).first(1)));
      continue;
    }
    // Exactly the size is accepted; one byte fewer or more is refused.
    const auto box = BoxedValue::valueWithBytes(c.type, DataView(nine).first(*c.size));
    ASSERT_TRUE(box);
    EXPECT_EQ(box->objCType(), c.type);
    EXPECT_EQ(box->bytes().size(), *c.size);
    EXPECT_FALSE(BoxedValue::valueWithBytes(c.type, DataView(nine).first(*c.size - 1)));
    EXPECT_FALSE(BoxedValue::valueWithBytes(c.type, DataView(nine).first(*c.size + 1)));
    std::uint8_t out[9] = {};
    EXPECT_FALSE(box->getValue(out, *c.size + 1));
    EXPECT_FALSE(box->getValue(out, *c.size - 1));
    EXPECT_EQ(out[0], 0) << "a refused copy writes nothing";
    EXPECT_TRUE(box->getValue(out, *c.size));
    EXPECT_EQ(out[0], 0x5A);
  }
}

TEST(BoxedValueTest, TypedValuesReadBackOnlyAsTheirOwnEncoding) {
  const struct {
    const char* name;
    std::shared_ptr<BoxedValue> box;
    const char* type;
    Value number;
  } cases[] = {
      {"true", BoxedValue::valueWithBool(true), "B", Value(true)},
      {"int32 min", BoxedValue::valueWithInt32(std::numeric_limits<std::int32_t>::min()), "i",
       Value(std::numeric_limits<std::int32_t>::min())},
      {"int64 max", BoxedValue::valueWithInt64(std::numeric_limits<std::int64_t>::max()), "q",
       Value(std::numeric_limits<std::int64_t>::max())},
      {"uint64 max", BoxedValue::valueWithUInt64(std::numeric_limits<std::uint64_t>::max()), "Q",
       Value(std::numeric_limits<std::uint64_t>::max())},
      {"float", BoxedValue::valueWithFloat(0.5f), "f", Value(0.5f)},
      {"double", BoxedValue::valueWithDouble(-1e300), "d", Value(-1e300)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(c.box->objCType(), c.type);
    EXPECT_EQ(c.box->numberValue(), c.number);
    const std::string t = c.type;
    EXPECT_EQ(c.box->boolValue().has_value(), t == "B");
    EXPECT_EQ(c.box->int32Value().has_value(), t == "i");
    EXPECT_EQ(c.box->int64Value().has_value(), t == "q");
    EXPECT_EQ(c.box->uint64Value().has_value(), t == "Q");
    EXPECT_EQ(c.box->floatValue().has_value(), t == "f");
    EXPECT_EQ(c.box->doubleValue().has_value(), t == "d");
  }
  EXPECT_EQ(BoxedValue::valueWithInt64(-2)->int64Value(), -2);
  EXPECT_EQ(BoxedValue::valueWithBytes("c", Data{0xFF})->numberValue(), Value(-1));
  EXPECT_EQ(BoxedValue::valueWithBytes("S", Data{0xFF, 0xFF})->numberValue(), Value(65535u));
}

TEST(BoxedValueTest, EqualityHashAndDescription) {
  const auto a = BoxedValue::valueWithInt32(42);
  const auto same = BoxedValue::valueWithBytes("i", Data{42, 0, 0, 0});
  const auto otherType = BoxedValue::valueWithBytes("I", Data{42, 0, 0, 0});
  const auto otherBytes = BoxedValue::valueWithInt32(43);
  EXPECT_TRUE(a->isEqual(*same));
  EXPECT_EQ(a->hash(), same->hash());
  EXPECT_FALSE(a->isEqual(*otherType)) << "same bytes, other encoding";
  EXPECT_FALSE(a->isEqual(*otherBytes));
  EXPECT_FALSE(a->isEqual(Object()));
  EXPECT_EQ(Value(a), Value(same));
  EXPECT_EQ(a->description(), u"<2a000000>");
  EXPECT_EQ(BoxedValue::valueWithBool(true)->description(), u"<01>");
  EXPECT_EQ(a->className(), u"BoxedValue");
}

}  // namespace
}  // namespace lx
