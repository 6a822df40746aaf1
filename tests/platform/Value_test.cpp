#include "vantorcore/platform/Value.h"

#include <gtest/gtest.h>

#include "support/TestSupport.h"
#include "vantorcore/platform/Error.h"
#include "vantorcore/platform/JSON.h"

#include <thread>
#include <vector>

namespace lx {
namespace {

TEST(ValueTest, KindsAndConversions) {
  EXPECT_TRUE(Value().isNull());
  EXPECT_EQ(Value(true).int64Value(), 1);
  EXPECT_EQ(Value(-5).type(), Value::Type::Integer);
  EXPECT_EQ(Value(5u).type(), Value::Type::UnsignedInteger);
  EXPECT_TRUE(Value(1.5f).asReal()->isFloat);
  EXPECT_FALSE(Value(1.5).asReal()->isFloat);
  EXPECT_EQ(Value(u"42abc").int64Value(), 42);
  EXPECT_DOUBLE_EQ(Value(u" 2.5").doubleValue(), 2.5);
  EXPECT_TRUE(Value(u"yes").boolValue());
  EXPECT_FALSE(Value(u"no").boolValue());
  EXPECT_EQ(Value(1e300).int64Value(), INT64_MAX);
  EXPECT_EQ(Value("utf8 é").asString()->size(), 6u);
}

TEST(ValueTest, EqualityAcrossNumberKindsAndContainers) {
  EXPECT_EQ(Value(1), Value(1.0));
  EXPECT_EQ(Value(true), Value(1));
  EXPECT_NE(Value(-1), Value(UINT64_MAX));
  EXPECT_NE(Value(u"1"), Value(1));
  EXPECT_EQ(Value(1).hash(), Value(1.0).hash());
  Dictionary a{{u"x", 1}, {u"y", u"two"}};
  Dictionary b{{u"y", u"two"}, {u"x", 1}};
  EXPECT_EQ(Value(a), Value(b));  // order does not matter for equality
  EXPECT_NE(Value(Array{1, 2}), Value(Array{2, 1}));
}

TEST(ValueTest, CopiesAreDeepAndMovesLeaveNull) {
  Value original(Array{Value(Dictionary{{u"k", 1}})});
  Value copy = original;
  (*copy.asArray())[0].asDictionary()->set(u"k", 2);
  EXPECT_EQ((*original.asArray())[0].asDictionary()->find(u"k")->int64Value(), 1);
  Value moved = std::move(copy);
  EXPECT_TRUE(copy.isNull());  // NOLINT(bugprone-use-after-move)
  EXPECT_TRUE(moved.isArray());
}

TEST(DictionaryTest, KeepsInsertionOrderAcrossTheIndexThreshold) {
  Dictionary d;
  for (int i = 99; i >= 0; --i) d.set(fromUTF8("k" + std::to_string(i)), i);
  ASSERT_EQ(d.size(), 100u);
  EXPECT_EQ(d.begin()->first, u"k99");
  EXPECT_EQ(d.find(u"k42")->int64Value(), 42);
  d.set(u"k99", u"replaced");  // replacing keeps the place
  EXPECT_EQ(*d.begin()->second.asString(), u"replaced");
  EXPECT_TRUE(d.erase(u"k50"));
  EXPECT_FALSE(d.erase(u"k50"));
  EXPECT_EQ(d.find(u"k50"), nullptr);
  EXPECT_EQ(d.find(u"k49")->int64Value(), 49);  // index rebuilt after erase
  EXPECT_TRUE(d[u"absent"].isNull());
}

TEST(DictionaryTest, BuiltFromEntriesMergesRepeatedKeys) {
  // Two repeats: 9 + 2 entries stay below the index, 10 + 2 build it and
  // keep it after merging down to 10.
  for (int size : {3, 9, 10, 40}) {
    SCOPED_TRACE(size);
    std::vector<Dictionary::Entry> entries;
    for (int i = 0; i < size; ++i) entries.emplace_back(fromUTF8("k" + std::to_string(i)), i);
    entries.emplace_back(u"k1", u"again");
    entries.emplace_back(u"k0", u"last");
    Dictionary d(std::move(entries));
    ASSERT_EQ(d.size(), static_cast<std::size_t>(size));
    EXPECT_EQ(d.begin()->first, u"k0");
    EXPECT_EQ(d[u"k0"], Value(u"last"));
    EXPECT_EQ(d[u"k1"], Value(u"again"));
    EXPECT_EQ(d[fromUTF8("k" + std::to_string(size - 1))], Value(size - 1));
    d.set(u"new", 1);  // lookups after building still find what follows
    EXPECT_EQ(d[u"new"], Value(1));
    EXPECT_EQ(std::prev(d.end())->first, u"new");
  }
}

// Parsed documents are shared until changed: a change copies out only the
// container changed, and values taken out of a document outlive it.
TEST(ValueTest, ParsedValuesAreCopiedOutOnFirstChangeAndOutliveTheirDocument) {
  Value inner;
  Value copy;
  {
    Value root = *JSONSerialization::JSONObjectWithData(
        R"({"list": [1, "two", {"k": "v"}], "name": "a longer string than seven"})");
    inner = (*root.asDictionary()->find(u"list"));
    copy = root;
    (*root.asDictionary()->find(u"list")->asArray())[0] = Value(u"changed");
    root.asDictionary()->set(u"added", true);
    EXPECT_EQ((*inner.asArray())[0], Value(1));
    EXPECT_FALSE(copy.asDictionary()->contains(u"added"));
    EXPECT_EQ((*root.asDictionary())[u"list"].asArray()->size(), 3u);
  }
  EXPECT_EQ(*(*inner.asArray())[1].asString(), u"two");
  EXPECT_EQ(*(*copy.asDictionary())[u"name"].asString(), u"a longer string than seven");
  Array moved = std::move(*inner.asArray());  // taking a document's elements copies them
  EXPECT_EQ(moved.size(), 3u);
}

// A mutable pointer stays this value's own: a copy made after it was handed
// out does not see later writes through it.
TEST(ValueTest, CopiesMadeAfterAMutablePointerAreIndependent) {
  Value v(Array{1, 2});
  Array* elements = v.asArray();
  const Value copy = v;
  elements->push_back(3);
  EXPECT_EQ(copy.asArray()->size(), 2u);
  EXPECT_EQ(v.asArray()->size(), 3u);
}

TEST(ValueTest, SharedValuesReadFromManyThreads) {
  const Value shared = *JSONSerialization::JSONObjectWithData(R"([{"a": "text", "b": [1, 2]}])");
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&shared] {
      for (int i = 0; i < 2000; ++i) {
        Value copy = shared;
        const Value element = copy.asArray()->front();
        EXPECT_EQ(element.asDictionary()->find(u"a")->asString()->size(), 4u);
      }
    });
  }
  for (auto& thread : threads) thread.join();
}

TEST(DictionaryTest, LookupsAroundTheIndexThreshold) {
  // Below 12 entries lookups scan, from 12 on they hash: each size is read
  // back whole, built by hand and parsed, with a repeated key.
  for (int size : {1, 11, 12, 13, 40}) {
    SCOPED_TRACE(size);
    Dictionary built;
    std::string json = "{";
    for (int i = 0; i < size; ++i) {
      built.set(fromUTF8("key" + std::to_string(i)), i);
      json += "\"key" + std::to_string(i) + "\": " + std::to_string(i) + ",";
    }
    json += "\"key0\": \"last\"}";
    built.set(u"key0", u"last");
    const Value parsed = *JSONSerialization::JSONObjectWithData(json);
    for (const Dictionary* d : {static_cast<const Dictionary*>(&built), parsed.asDictionary()}) {
      ASSERT_EQ(d->size(), static_cast<std::size_t>(size));
      EXPECT_EQ(d->begin()->first, u"key0");
      EXPECT_EQ((*d)[u"key0"], Value(u"last"));
      for (int i = 1; i < size; ++i) EXPECT_EQ((*d)[fromUTF8("key" + std::to_string(i))], Value(i));
      EXPECT_FALSE(d->contains(u"key"));
    }
    EXPECT_EQ(built, *parsed.asDictionary());
  }
}

TEST(ValueTest, DescriptionUsesPropertyListStyle) {
  Value v(Dictionary{{u"name", u"a b"}, {u"list", Array{1, u"x"}}});
  EXPECT_EQ(v.description(),
            u"{\n    name = \"a b\";\n    list = (\n        1,\n        x\n    );\n}");
  EXPECT_EQ(Value(0.1).description(), u"0.1");
  EXPECT_EQ(Value(Data{0xde, 0xad, 0xbe, 0xef, 1}).description(), u"<deadbeef 01>");
}

TEST(ErrorTest, DescriptionAndEquality) {
  auto e = Error::make(u"Dom", 7, {{String(NSLocalizedDescriptionKey), u"Broke"}});
  EXPECT_EQ(e->localizedDescription(), u"Broke");
  EXPECT_EQ(e->description(), u"Error Domain=Dom Code=7 \"Broke\"");
  EXPECT_TRUE(e->isEqual(*Error::make(u"Dom", 7, e->userInfo())));
  EXPECT_EQ(Error::make(u"D", 1)->localizedDescription(),
            u"The operation couldn\u2019t be completed. (D error 1.)");
  EXPECT_EQ(Error::posix(ENOENT)->localizedDescription(), u"No such file or directory");
  ErrorPtr* none = nullptr;
  setError(none, e);  // a null out-parameter is always accepted
}

}  // namespace
}  // namespace lx
