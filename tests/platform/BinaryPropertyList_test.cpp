#include "platform/BinaryPropertyList.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <vector>

namespace lx::detail {
namespace {

using Ref = BinaryPropertyListWriter::Ref;

// Distinct strings that outlive every document written from them.
const std::vector<String>& distinctStrings() {
  static const std::vector<String> strings = [] {
    std::vector<String> made;
    for (int i = 0; i < 300; ++i) made.push_back(u"s" + fromUTF8(std::to_string(i)));
    return made;
  }();
  return strings;
}

// An array of `count` members, all `distinct` ones different strings.
Ref addStrings(BinaryPropertyListWriter& writer, std::size_t count, bool distinct) {
  const Ref array = writer.addArray(count);
  for (std::size_t i = 0; i < count; ++i) {
    writer.setMember(array, i, writer.addString(distinctStrings()[distinct ? i : 0]));
  }
  return array;
}

Value expectedStrings(std::size_t count, bool distinct) {
  Array members;
  for (std::size_t i = 0; i < count; ++i) members.emplace_back(distinctStrings()[distinct ? i : 0]);
  return Value(std::move(members));
}

std::uint64_t trailerField(const Data& document, std::size_t offset, std::size_t size) {
  std::uint64_t v = 0;
  for (std::size_t i = 0; i < size; ++i) v = (v << 8) | document[document.size() - 32 + offset + i];
  return v;
}

struct Row {
  const char* name;
  std::function<Ref(BinaryPropertyListWriter&)> build;
  Value expected;
  std::uint64_t objects;
  std::uint64_t referenceSize;
};

TEST(BinaryPropertyListWriterTest, DocumentsBuiltObjectByObjectReadBack) {
  static const std::uint8_t kBytes[] = {0, 1, 0xFF};
  const Row rows[] = {
      {"empty dictionary", [](auto& w) { return w.addDictionary(0); }, Value(Dictionary{}), 1, 1},
      {"empty array", [](auto& w) { return w.addArray(0); }, Value(Array{}), 1, 1},
      {"empty key",
       [](auto& w) {
         const Ref dict = w.addDictionary(1);
         const Ref key = w.addString(u"");
         w.setEntry(dict, 0, key, w.addData(kBytes));
         return dict;
       },
       Value(Dictionary{{u"", Value(Data{0, 1, 0xFF})}}), 3, 1},
      {"members added before their container",
       [](auto& w) {
         const Ref a = w.addString(u"a");
         const Ref b = w.addString(u"\u00e9");
         const Ref array = w.addArray(2);
         w.setMember(array, 0, a);
         w.setMember(array, 1, b);
         return array;
       },
       Value(Array{Value(u"a"), Value(u"\u00e9")}), 3, 1},
      {"equal strings written once", [](auto& w) { return addStrings(w, 2, false); },
       expectedStrings(2, false), 2, 1},
      {"14 members: count in the marker", [](auto& w) { return addStrings(w, 14, true); },
       expectedStrings(14, true), 15, 1},
      {"15 members: count after the marker", [](auto& w) { return addStrings(w, 15, true); },
       expectedStrings(15, true), 16, 1},
      {"256 objects: one-byte references", [](auto& w) { return addStrings(w, 255, true); },
       expectedStrings(255, true), 256, 1},
      {"257 objects: two-byte references", [](auto& w) { return addStrings(w, 256, true); },
       expectedStrings(256, true), 257, 2},
      {"a value tree inside built containers",
       [](auto& w) {
         static const Value kTree(
             Dictionary{{u"n", Value(7)}, {u"list", Value(Array{Value(true)})}});
         const Ref array = w.addArray(1);
         w.setMember(array, 0, *w.add(kTree));
         return array;
       },
       Value(Array{Value(Dictionary{{u"n", Value(7)}, {u"list", Value(Array{Value(true)})}})}), 7,
       1},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    BinaryPropertyListWriter writer(8);
    const Data document = writer.finish(row.build(writer));
    EXPECT_EQ(trailerField(document, 8, 8), row.objects);
    EXPECT_EQ(trailerField(document, 7, 1), row.referenceSize);
    String failure;
    const std::optional<Value> read = readBinaryPropertyList(document, 8, 0, &failure);
    ASSERT_TRUE(read) << toUTF8(failure);
    EXPECT_EQ(*read, row.expected);
  }
}

TEST(BinaryPropertyListWriterTest, AddRefusesWhatHasNoBinaryForm) {
  const struct {
    const char* name;
    Value value;
    std::size_t maximumDepth;
    bool written;
  } rows[] = {
      {"null", Value(), 8, false},
      {"nesting at the limit", Value(Array{Value(Array{})}), 2, true},
      {"nesting one past the limit", Value(Array{Value(Array{Value(Array{})})}), 2, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    BinaryPropertyListWriter writer(row.maximumDepth);
    EXPECT_EQ(writer.add(row.value).has_value(), row.written);
    EXPECT_EQ(writer.failure().empty(), row.written);
  }
}

}  // namespace
}  // namespace lx::detail
