#include <gtest/gtest.h>

#include <list>

#include "vantorcore/text/Array+Additions.h"

namespace lx {
namespace {

TEST(ArrayAdditionsTest, FirstObjectAndTests) {
  EXPECT_EQ(lx_firstObject(Array{}), std::nullopt);
  EXPECT_EQ(lx_firstObject(Array{u"a", 2}), Value(u"a"));
  const Array numbers{1, 4, 6};
  EXPECT_EQ(lx_objectPassingTest(numbers, [](const Value& v) { return v.int64Value() % 2 == 0; }),
            Value(4));
  EXPECT_EQ(lx_objectPassingTest(numbers, [](const Value& v) { return v.isString(); }),
            std::nullopt);
}

TEST(ArrayAdditionsTest, FirstMismatchStopsAtTheShorterCount) {
  struct Case {
    const char* name;
    Array a, b;
    std::size_t expected;
  } cases[] = {
      {"prefix", {u"a", u"b"}, {u"a", u"b", u"c"}, 2},
      {"differs", {u"a", u"b"}, {u"a", u"x"}, 1},
      {"empty", {}, {u"a"}, 0},
      {"other empty", {u"a"}, {}, 0},
      {"numbers by value", {1, 2.0}, {1.0, 2}, 2},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(lx_indexOfFirstMismatchedObjectInArray(c.a, c.b), c.expected);
  }
}

TEST(ArrayAdditionsTest, IndexesOfMembers) {
  EXPECT_EQ(lx_indexesOfObjects(Array{u"a", u"b", u"a", u"c"}, Array{u"c", u"a", u"z"}),
            (IndexSet{0, 2, 3}));
  EXPECT_TRUE(lx_indexesOfObjects(Array{u"a"}, Array{}).empty());
  EXPECT_EQ(lx_indexesOfObjects(std::vector<int>{5, 6, 5}, {5}), (IndexSet{0, 2}));
}

TEST(ArrayAdditionsTest, MapKeepsTheCountAndCompactMapDropsAbsents) {
  const Array words{u"1", u"x", u"3"};
  auto parse = [](const Value& v) -> std::optional<Value> {
    const String& s = *v.asString();
    if (s[0] < u'0' || s[0] > u'9') return std::nullopt;
    return Value(s[0] - u'0');
  };
  EXPECT_EQ(lx_map(words, parse), (Array{1, Value(), 3}));
  EXPECT_EQ(lx_compactMap(words, parse), (Array{1, 3}));
  EXPECT_EQ(lx_map(std::vector<int>{1, 2}, [](int i) { return i * 10; }),
            (std::vector<int>{10, 20}));
  EXPECT_EQ(lx_filter(std::vector<int>{1, 2, 3, 4}, [](int i) { return i > 2; }),
            (std::vector<int>{3, 4}));
  EXPECT_TRUE(lx_map(Array{}, parse).empty());
}

TEST(ArrayAdditionsTest, CoalesceRangesIsASinglePass) {
  struct Case {
    const char* name;
    std::vector<Range> in, out;
  } cases[] = {
      {"empty", {}, {}},
      {"one", {{3, 4}}, {{3, 4}}},
      {"touching", {{0, 5}, {5, 5}}, {{0, 10}}},
      {"disjoint, earlier one inserted", {{10, 2}, {0, 3}}, {{0, 3}, {10, 2}}},
      {"growth across a later range stays", {{0, 2}, {10, 2}, {1, 20}}, {{0, 21}, {10, 2}}},
      {"earlier reaching into the next", {{5, 5}, {2, 3}}, {{2, 8}}},
      {"earlier covering the next", {{5, 1}, {0, 20}}, {{0, 20}}},
      {"after all", {{0, 1}, {5, 1}}, {{0, 1}, {5, 1}}},
      {"contained", {{0, 10}, {2, 3}}, {{0, 10}}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(lx_coalesceRanges(c.in), c.out);
  }
}

TEST(ArrayAdditionsTest, EnumeratingAnyCollection) {
  EXPECT_EQ(arrayByEnumerating(std::list<int>{3, 1, 2}), (std::vector<int>{3, 1, 2}));
  EXPECT_EQ(arrayByEnumerating(Array{u"a"}), (Array{u"a"}));
  EXPECT_EQ(arrayByEnumerating(Dictionary{{u"z", 1}, {u"a", 2}}), (Array{u"z", u"a"}));
}

// Removing to an index stops one short of it: element `index - 1` stays.
TEST(ArrayAdditionsTest, RemoveFromAndToIndex) {
  struct Case {
    std::size_t index;
    std::vector<char> from, to;
  } cases[] = {
      {0, {}, {'a', 'b', 'c', 'd', 'e'}},    {1, {'a'}, {'a', 'b', 'c', 'd', 'e'}},
      {2, {'a', 'b'}, {'b', 'c', 'd', 'e'}}, {3, {'a', 'b', 'c'}, {'c', 'd', 'e'}},
      {5, {'a', 'b', 'c', 'd', 'e'}, {}},    {6, {'a', 'b', 'c', 'd', 'e'}, {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.index);
    std::vector<char> from{'a', 'b', 'c', 'd', 'e'}, to = from;
    lx_removeObjectsFromIndex(from, c.index);
    EXPECT_EQ(from, c.from);
    if (c.index == 0) continue;  // throws on a non-empty array: checked below
    lx_removeObjectsToIndex(to, c.index);
    EXPECT_EQ(to, c.to);
  }
  std::vector<char> v{'a'};
  EXPECT_THROW(lx_removeObjectsToIndex(v, 0), RangeException);
  EXPECT_EQ(v.size(), 1u);
  std::vector<char> empty;
  lx_removeObjectsToIndex(empty, 0);  // 0 is at the count: clears, no error
  EXPECT_TRUE(empty.empty());
}

}  // namespace
}  // namespace lx
