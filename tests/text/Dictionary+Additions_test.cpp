#include <gtest/gtest.h>

#include "vantorcore/platform/Error.h"
#include "vantorcore/text/Dictionary+Additions.h"

namespace lx {
namespace {

TEST(DictionaryAdditionsTest, AddingEntriesCopiesAndOverrides) {
  const Dictionary base{{u"a", 1}, {u"b", 2}};
  const Dictionary extra{{u"b", 3}, {u"c", 4}};
  const Dictionary merged = lx_dictionaryByAddingEntriesFromDictionary(base, &extra);
  EXPECT_EQ(merged.keys(), (std::vector<String>{u"a", u"b", u"c"}));
  EXPECT_EQ(merged[u"b"], Value(3));
  EXPECT_EQ(base[u"b"], Value(2));
  EXPECT_EQ(lx_dictionaryByAddingEntriesFromDictionary(base, nullptr), base);
}

TEST(DictionaryAdditionsTest, ObjectOfClassChecksTheKind) {
  const ErrorPtr error = Error::make(u"D", 1);
  const Dictionary d{{u"s", u"text"}, {u"i", 3},       {u"u", 3u},    {u"r", 2.5},
                     {u"b", true},    {u"n", nullptr}, {u"e", error}, {u"a", Array{1}}};
  struct Case {
    const char* name;
    ValueClass cls;
    const char16_t* key;
    bool found;
  } cases[] = {
      {"string", Value::Type::String, u"s", true},
      {"string is not data", Value::Type::Data, u"s", false},
      {"integer", Value::Type::Integer, u"i", true},
      {"unsigned counts as integer", Value::Type::Integer, u"u", true},
      {"real is not integer", Value::Type::Integer, u"r", false},
      {"number takes reals", ValueClass::number(), u"r", true},
      {"number takes booleans", ValueClass::number(), u"b", true},
      {"number rejects strings", ValueClass::number(), u"s", false},
      {"null", Value::Type::Null, u"n", true},
      {"object class", Error::staticClass(), u"e", true},
      {"object superclass", Object::staticClass(), u"e", true},
      {"object class on a string", Error::staticClass(), u"s", false},
      {"array", Value::Type::Array, u"a", true},
      {"missing key", Value::Type::String, u"zz", false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const std::optional<Value> v = lx_objectOfClass(d, c.cls, c.key);
    EXPECT_EQ(v.has_value(), c.found);
    if (c.found) {
      EXPECT_EQ(*v, d[c.key]);
    }
    EXPECT_EQ(lx_objectOfClass(d, c.cls, c.key, Value(u"def")), c.found ? d[c.key] : Value(u"def"));
  }
}

TEST(DictionaryAdditionsTest, ObjectOfClassesTriesEach) {
  const Dictionary d{{u"k", 4}};
  EXPECT_EQ(lx_objectOfClasses(d, {Value::Type::String, Value::Type::Integer}, u"k"), Value(4));
  EXPECT_EQ(lx_objectOfClasses(d, {Value::Type::String, Value::Type::Data}, u"k", Value(0)),
            Value(0));
  EXPECT_EQ(lx_objectOfClasses(d, {}, u"k"), std::nullopt);
}

TEST(DictionaryAdditionsTest, StringArraysOnly) {
  const Dictionary d{{u"ok", Array{u"a", u"b"}},
                     {u"mixed", Array{u"a", 1}},
                     {u"empty", Array{}},
                     {u"string", u"a"}};
  EXPECT_EQ(lx_stringArrayForKey(d, u"ok"), (std::vector<String>{u"a", u"b"}));
  EXPECT_EQ(lx_stringArrayForKey(d, u"mixed"), std::nullopt);
  EXPECT_EQ(lx_stringArrayForKey(d, u"empty"), std::vector<String>{});
  EXPECT_EQ(lx_stringArrayForKey(d, u"string"), std::nullopt);
  EXPECT_EQ(lx_stringArrayForKey(d, u"missing"), std::nullopt);
}

TEST(DictionaryAdditionsTest, SettersTolerateAbsentValues) {
  Dictionary d{{u"k", 1}};
  lx_setObject(d, std::nullopt, u"k");
  EXPECT_EQ(d[u"k"], Value(1));  // not removed
  lx_setObject(d, Value(2), u"k");
  EXPECT_EQ(d[u"k"], Value(2));
  lx_setNilAsNullObject(d, std::nullopt, u"n");
  ASSERT_TRUE(d.contains(u"n"));
  EXPECT_TRUE(d[u"n"].isNull());
  lx_setNilAsNullObject(d, Value(u"x"), u"n");
  EXPECT_EQ(d[u"n"], Value(u"x"));
}

}  // namespace
}  // namespace lx
