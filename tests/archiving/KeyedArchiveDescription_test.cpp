#include "vantorcore/archiving/KeyedArchiveDescription.h"

#include <gtest/gtest.h>

#include "archiving/KeyedArchiveTestSupport.h"
#include "support/TestSupport.h"

namespace lx {
namespace {

using test::archiveWith;
using test::classRecord;
using test::uid;

Value node(std::uint64_t index, const char16_t* cls, Dictionary keys = {}) {
  Dictionary out{{u"$uid", index}, {u"$class", cls}};
  out.addEntries(keys);
  return Value(std::move(out));
}

// How a description refers back to an object it showed before.
Value ref(int index) { return Dictionary{{u"$ref", index}}; }

// The description of the archive's root object.
Value rootOf(const Value& description) {
  return (*(*description.asDictionary())[u"top"].asDictionary())[u"root"];
}

TEST(KeyedArchiveDescriptionTest, ShowsEachObjectOnceAndRefersBackAfter) {
  // 1: a Note whose "next" is 2, which points back at 1; "self" at 1 again.
  const Value archive = archiveWith({
      Value(Dictionary{{u"title", uid(3)}, {u"next", uid(2)}, {u"$class", uid(4)}}),
      Value(Dictionary{{u"back", uid(1)}, {u"blob", Value(Data{1, 2})}, {u"$class", uid(4)}}),
      Value(u"Hi"),
      classRecord(u"Note"),
  });
  const std::optional<Value> description = KeyedArchiveDescription::describe(archive);
  ASSERT_TRUE(description);
  const Value expected(Dictionary{
      {u"archiver", u"NSKeyedArchiver"},
      {u"version", 100000},
      {u"objects", std::size_t{5}},
      {u"top", Dictionary{{u"root",
                           node(1, u"Note",
                                {{u"title", u"Hi"},
                                 {u"next", node(2, u"Note",
                                                {{u"back", ref(1)},
                                                 {u"blob", Dictionary{{u"$data", u"AQI="}}}})}})}}},
  });
  EXPECT_EQ(*description, expected);
}

TEST(KeyedArchiveDescriptionTest, EdgesOfTheGraph) {
  // A chain of `count` objects, each holding the next under "n".
  const auto chain = [](std::size_t count) {
    std::vector<Value> objects;
    for (std::size_t i = 1; i <= count; ++i) {
      objects.push_back(
          Value(Dictionary{{u"n", uid(i < count ? i + 1 : 0)}, {u"$class", uid(count + 1)}}));
    }
    objects.push_back(classRecord(u"Link"));
    return archiveWith(std::move(objects));
  };
  // The depth of the deepest shown object, and whether a "$deeper" marker ends it.
  const auto depthOf = [](const Value& description, bool* cut) {
    std::size_t depth = 0;
    const Value root = rootOf(description);
    const Value* at = &root;
    *cut = false;
    while (const Dictionary* d = at->asDictionary()) {
      if (d->contains(u"$deeper")) *cut = true;
      if (!d->contains(u"$uid")) break;
      ++depth;
      at = d->find(u"n");
    }
    return depth;
  };
  const struct {
    std::size_t count;
    std::size_t shown;
    bool cut;
  } cases[] = {
      {1, 1, false},
      {KeyedArchiveDescription::kMaximumDepth, KeyedArchiveDescription::kMaximumDepth, false},
      {KeyedArchiveDescription::kMaximumDepth + 1, KeyedArchiveDescription::kMaximumDepth, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.count);
    const auto description = KeyedArchiveDescription::describe(chain(c.count));
    ASSERT_TRUE(description);
    bool cut = false;
    EXPECT_EQ(depthOf(*description, &cut), c.shown);
    EXPECT_EQ(cut, c.cut);
  }
  // Plain arrays in "$objects" are shown once too, so ones that hold their
  // own UID, or each other's twice over, end at once.
  const struct {
    const char* name;
    Value archive;
    Value root;
  } arrays[] = {
      {"holding itself", archiveWith({Array{uid(1)}}),
       Dictionary{{u"$uid", 1}, {u"$array", Array{ref(1)}}}},
      {"holding each other twice", archiveWith({Array{uid(2), uid(2)}, Array{uid(1), uid(1)}}),
       Dictionary{{u"$uid", 1},
                  {u"$array",
                   Array{Dictionary{{u"$uid", 2}, {u"$array", Array{ref(1), ref(1)}}}, ref(2)}}}},
  };
  for (const auto& c : arrays) {
    SCOPED_TRACE(c.name);
    const auto description = KeyedArchiveDescription::describe(c.archive);
    ASSERT_TRUE(description);
    EXPECT_EQ(rootOf(*description), c.root);
  }

  // UIDs out of range are shown, not followed.
  const auto dangling = KeyedArchiveDescription::describe(archiveWith({Value(u"x")}, 9));
  ASSERT_TRUE(dangling);
  EXPECT_EQ(rootOf(*dangling), Value(Dictionary{{u"$ref", 9}, {u"$missing", true}}));

  ErrorPtr error;
  EXPECT_FALSE(KeyedArchiveDescription::describe(Value(Dictionary{{u"r", 1}}), &error));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code(), NSCoderReadCorruptError);
  EXPECT_FALSE(KeyedArchiveDescription::isKeyedArchive(Value(Array{})));
}

}  // namespace
}  // namespace lx
