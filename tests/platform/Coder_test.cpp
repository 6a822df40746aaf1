#include "vantorcore/platform/Coder.h"

#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "vantorcore/platform/Error.h"
#include "vantorcore/platform/Exception.h"
#include "vantorcore/platform/ValueClasses.h"

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
  bool requiresSecureCoding() const override { return secure; }
  DecodingFailurePolicy decodingFailurePolicy() const override { return policy; }

  bool secure = false;
  DecodingFailurePolicy policy = DecodingFailurePolicy::SetErrorAndReturn;

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

TEST(CoderTest, OperationsACoderDoesNotOfferThrow) {
  DictionaryCoder coder;
  const std::int32_t i = 1;
  Value out;
  const struct {
    const char* name;
    std::function<void()> call;
    const char* reason;
  } cases[] = {
      {"bytes", [&] { coder.encodeBytes(Data{1}, u"k"); }, "encodeBytes:length:forKey:"},
      {"keyless write", [&] { coder.encodeValueOfObjCType("i", &i); }, "encodeValueOfObjCType:at:"},
      {"data object", [&] { coder.encodeDataObject(Data{1}); }, "encodeValueOfObjCType:at:"},
      {"bytes back", [&] { coder.decodeBytesForKey(u"k"); }, "decodeBytesForKey:returnedLength:"},
      {"keyless read", [&] { coder.decodeValueOfObjCType("@", &out, sizeof out); },
       "decodeValueOfObjCType:at:size:"},
      {"data object back", [&] { coder.decodeDataObject(); }, "decodeValueOfObjCType:at:size:"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    try {
      c.call();
      ADD_FAILURE() << "no exception";
    } catch (const InvalidArgumentException& e) {
      EXPECT_EQ(e.reason(),
                u"-[DictionaryCoder " + fromUTF8(c.reason) + u"] is not available on this coder");
    }
  }
}

TEST(CoderTest, ConditionalObjectsAreWrittenByDefault) {
  DictionaryCoder coder;
  coder.encodeConditionalObject(Value(u"v"), u"k");
  EXPECT_EQ(coder.decodeObjectForKey(u"k"), Value(u"v"));
}

TEST(CoderTest, AllowedClassesFilterOnlySecureDecoding) {
  const auto error = Error::make(u"D", 1);
  const struct {
    const char* name;
    Value value;
    std::vector<const Class*> allowed;
    bool secure;
    bool passes;
  } cases[] = {
      {"string as NSString", Value(u"s"), {&ValueClasses::string()}, true, true},
      {"string as NSArray", Value(u"s"), {&ValueClasses::array()}, true, false},
      {"string as NSArray, not secure", Value(u"s"), {&ValueClasses::array()}, false, true},
      {"second of two classes",
       Value(1),
       {&ValueClasses::string(), &ValueClasses::number()},
       true,
       true},
      {"array as its subclass", Value(Array{}), {&ValueClasses::mutableArray()}, true, false},
      {"object as a superclass", Value(error), {&Object::staticClass()}, true, true},
      {"object as NSString", Value(error), {&ValueClasses::string()}, true, false},
      {"no allowed classes", Value(u"s"), {}, true, false},
      {"a null class is skipped", Value(u"s"), {nullptr, &ValueClasses::string()}, true, true},
      {"null needs no class", Value(), {}, true, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    DictionaryCoder coder;
    coder.secure = c.secure;
    coder.encodeObject(c.value, u"k");
    EXPECT_EQ(coder.decodeObjectOfClasses(c.allowed, u"k"), c.passes ? c.value : Value());
    EXPECT_EQ(coder.error() == nullptr, c.passes);
    if (!c.passes) {
      EXPECT_EQ(coder.error()->domain(), NSCocoaErrorDomain);
      EXPECT_EQ(coder.error()->code(), NSCoderReadCorruptError);
    }
  }
  DictionaryCoder coder;
  coder.secure = true;
  coder.encodeObject(Value(u"s"), u"k");
  EXPECT_EQ(coder.decodeObjectOfClass(ValueClasses::string(), u"k"), Value(u"s"));
  EXPECT_TRUE(coder.decodeObjectOfClass(ValueClasses::data(), u"k").isNull());
  EXPECT_EQ(coder.error()->localizedDescription(),
            u"value for key 'k' was of unexpected class 'NSString'. "
            u"Allowed classes are '{(NSData)}'.");
}

TEST(CoderTest, FailuresFollowThePolicy) {
  DictionaryCoder lenient;
  lenient.failWithError(nullptr);
  EXPECT_FALSE(lenient.error());
  lenient.failWithError(Error::make(u"D", 1));
  lenient.failWithError(Error::make(u"D", 2));
  ASSERT_TRUE(lenient.error());
  EXPECT_EQ(lenient.error()->code(), 1) << "the first failure explains the rest";

  DictionaryCoder strict;
  strict.policy = DecodingFailurePolicy::RaiseException;
  try {
    strict.failWithError(Error::make(u"D", 1, Dictionary{{NSLocalizedDescriptionKey, u"bad"}}));
    FAIL() << "no exception";
  } catch (const Exception& e) {
    EXPECT_EQ(e.name(), u"NSInvalidUnarchiveOperationException");
    EXPECT_EQ(e.reason(), u"bad");
  }
  EXPECT_EQ(static_cast<int>(DecodingFailurePolicy::SetErrorAndReturn), 1);
}

}  // namespace
}  // namespace lx
