#include "vantorcore/archiving/KeyedArchiver.h"

#include <gtest/gtest.h>

#include <limits>

#include "archiving/KeyedArchiveTestSupport.h"
#include "support/TestSupport.h"
#include "vantorcore/archiving/KeyedUnarchiver.h"
#include "vantorcore/platform/BoxedValue.h"
#include "vantorcore/platform/Log.h"
#include "vantorcore/platform/URLObject.h"
#include "vantorcore/platform/ValueClasses.h"
#include "vantorcore/text/LXUUID.h"

namespace lx {
namespace {

using test::KANote;
using test::KAPlain;
using test::uid;

Value plistOf(const Data& data) { return PropertyList::read(data).value_or(Value()); }

// What the unarchiver gives back for `value`, archived and read leniently.
Value roundTrip(const Value& value) {
  ErrorPtr error;
  const std::optional<Data> data = KeyedArchiver::archivedDataWithRootObject(value, false, &error);
  EXPECT_TRUE(data) << (error ? toUTF8(error->description()) : "");
  if (!data) return Value();
  auto unarchiver = KeyedUnarchiver::initForReadingFromData(*data);
  EXPECT_TRUE(unarchiver);
  if (!unarchiver) return Value();
  unarchiver->setRequiresSecureCoding(false);
  const Value back = unarchiver->decodeObject();
  EXPECT_FALSE(unarchiver->error()) << toUTF8(unarchiver->error()->description());
  return back;
}

TEST(KeyedArchiverTest, WritesThePublishedLayout) {
  const auto data = KeyedArchiver::archivedDataWithRootObject(Value(u"hi"), true);
  ASSERT_TRUE(data);
  EXPECT_EQ(asStringView(*data).substr(0, 8), "bplist00");
  const Value plist = plistOf(*data);
  EXPECT_EQ(plist, test::archiveWith({Value(u"hi")}));
  EXPECT_EQ(plist.asDictionary()->keys(),
            (std::vector<String>{u"$version", u"$archiver", u"$top", u"$objects"}));

  KeyedArchiver xml(false);
  xml.setOutputFormat(PropertyList::Format::XML);
  xml.encodeObject(Value(1));
  ASSERT_TRUE(xml.encodedData());
  EXPECT_NE(asStringView(*xml.encodedData()).find("<key>$archiver</key>"), std::string::npos);

  // Nothing encoded: a top level without a root.
  KeyedArchiver empty;
  ASSERT_TRUE(empty.encodedData());
  const Value top = plistOf(*empty.encodedData());
  EXPECT_EQ((*top.asDictionary())[u"$top"], Value(Dictionary{}));
  EXPECT_EQ((*top.asDictionary())[u"$objects"], Value(Array{Value(u"$null")}));
}

TEST(KeyedArchiverTest, PlatformValuesHaveThePlatformsForm) {
  const auto uuid = LXUUID::UUIDWithString(u"68753A44-4D6F-1226-9C60-0050E4C00067");
  const Data uuidBytes(uuid->bytes()->begin(), uuid->bytes()->end());
  const struct {
    const char* name;
    Value value;
    Value stored;  // object 1 of "$objects", classes at 2+
  } cases[] = {
      {"string", u"s", u"s"},
      {"integer", -3, -3},
      {"bool", true, true},
      {"data", Data{1, 2}, Data{1, 2}},
      {"boxed value", BoxedValue::valueWithInt32(7), 7},
      {"date", Date::withTimeIntervalSinceReferenceDate(-1.5),
       Dictionary{{u"NS.time", -1.5}, {u"$class", uid(2)}}},
      {"empty array", Array{}, Dictionary{{u"NS.objects", Array{}}, {u"$class", uid(2)}}},
      {"array with null", Array{Value()},
       Dictionary{{u"NS.objects", Array{uid(0)}}, {u"$class", uid(2)}}},
      {"dictionary", Dictionary{{u"k", u"k"}},
       Dictionary{
           {u"NS.keys", Array{uid(2)}}, {u"NS.objects", Array{uid(2)}}, {u"$class", uid(3)}}},
      {"uuid", uuid, Dictionary{{u"NS.uuidbytes", uuidBytes}, {u"$class", uid(2)}}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const auto data = KeyedArchiver::archivedDataWithRootObject(c.value, false);
    ASSERT_TRUE(data);
    const Value plist = plistOf(*data);
    EXPECT_EQ((*(*plist.asDictionary())[u"$objects"].asArray())[1], c.stored);
  }
}

TEST(KeyedArchiverTest, ValuesRoundTrip) {
  const auto uuid = LXUUID::UUID();
  const auto base = URL::URLWithString(u"https://example.com/a/");
  const struct {
    const char* name;
    Value value;
  } cases[] = {
      {"empty string", Value(u"")},
      {"string holding NUL", Value(String(u"a\0b", 3))},
      {"astral", Value(u"\U0001F600")},
      {"int64 min", Value(std::numeric_limits<std::int64_t>::min())},
      {"uint64 max", Value(std::numeric_limits<std::uint64_t>::max())},
      {"real", Value(0.1)},
      {"empty data", Value(Data{})},
      {"date before 1970", Value(Date(-86400.25))},
      {"nested containers",
       Value(Array{Value(Dictionary{{u"a", Value(Array{1, u"x"})}}), Value(Array{}), Value()})},
      {"empty dictionary", Value(Dictionary{})},
      {"empty key", Value(Dictionary{{u"", Value(1)}})},
      {"uuid", Value(uuid)},
      {"url", Value(URLObject::make(*URL::URLWithString(u"https://example.com/x?y#z")))},
      {"relative url", Value(URLObject::make(*URL::URLWithString(u"b/c", base)))},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(roundTrip(c.value), c.value);
  }
  const auto relative = roundTrip(cases[13].value).objectAs<URLObject>();
  ASSERT_TRUE(relative);
  EXPECT_EQ(relative->url().relativeString(), u"b/c") << "the base survives";
  EXPECT_EQ(relative->url().absoluteString(), u"https://example.com/a/b/c");
}

TEST(KeyedArchiverTest, SharedObjectsAreWrittenOnceAndComeBackShared) {
  auto shared = std::make_shared<KANote>();
  shared->title = u"shared";
  auto a = std::make_shared<KANote>(), b = std::make_shared<KANote>();
  a->next = shared;
  b->next = shared;
  a->title = b->title = u"same text";
  const Value root(Array{Value(a), Value(b), Value(shared)});
  const auto data = KeyedArchiver::archivedDataWithRootObject(root, true);
  ASSERT_TRUE(data);
  const Value plist = plistOf(*data);
  const Array& objects = *(*plist.asDictionary())[u"$objects"].asArray();
  std::size_t notes = 0, sameText = 0;
  for (const Value& o : objects) {
    if (o.isDictionary() && o.asDictionary()->contains(u"title")) ++notes;
    if (o == Value(u"same text")) ++sameText;
  }
  EXPECT_EQ(notes, 3u);
  EXPECT_EQ(sameText, 1u) << "equal strings are written once";

  const Value back = roundTrip(root);
  ASSERT_TRUE(back.isArray() && back.asArray()->size() == 3);
  const auto backA = (*back.asArray())[0].objectAs<KANote>();
  const auto backB = (*back.asArray())[1].objectAs<KANote>();
  const auto backShared = (*back.asArray())[2].objectAs<KANote>();
  ASSERT_TRUE(backA && backB && backShared);
  EXPECT_EQ(backA->next, backShared);
  EXPECT_EQ(backB->next, backShared);
}

TEST(KeyedArchiverTest, ConditionalObjectsNeedAnUnconditionalWrite) {
  auto owner = std::make_shared<KANote>();
  owner->title = u"owner";
  auto child = std::make_shared<KANote>();
  child->owner = owner;
  const struct {
    const char* name;
    Value root;
    bool ownerBack;
  } cases[] = {
      {"owner written before", Value(Array{Value(owner), Value(child)}), true},
      {"owner written after", Value(Array{Value(child), Value(owner)}), true},
      {"owner never written", Value(Array{Value(child)}), false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const Value back = roundTrip(c.root);
    ASSERT_TRUE(back.isArray());
    std::shared_ptr<KANote> backChild;
    for (const Value& v : *back.asArray()) {
      if (auto note = v.objectAs<KANote>(); note && note->title.empty()) backChild = note;
    }
    ASSERT_TRUE(backChild);
    EXPECT_EQ(backChild->owner != nullptr, c.ownerBack);
    if (c.ownerBack) {
      EXPECT_EQ(backChild->owner->title, u"owner");
    }
  }
}

TEST(KeyedArchiverTest, RefusalsGiveNoDataAndAnError) {
  const auto plain = std::make_shared<KAPlain>();
  const struct {
    const char* name;
    Value root;
    bool secure;
    const char16_t* description;
  } cases[] = {
      {"not secure coding", Value(plain), true,
       u"This coder requires that archived classes adopt SecureCoding. Class 'KAPlain' does not "
       u"adopt it."},
      {"not secure coding, inside an array", Value(Array{Value(plain)}), true, nullptr},
      {"not coding at all", Value(std::make_shared<Object>()), false,
       u"Class 'Object' cannot be archived: it does not adopt Coding."},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ErrorPtr error;
    EXPECT_FALSE(KeyedArchiver::archivedDataWithRootObject(c.root, c.secure, &error));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain(), NSCocoaErrorDomain);
    EXPECT_EQ(error->code(), NSCoderInvalidValueError);
    if (c.description) {
      EXPECT_EQ(error->localizedDescription(), c.description);
    }
  }
  EXPECT_TRUE(KeyedArchiver::archivedDataWithRootObject(Value(plain), false));
}

// Arrays nested `levels` deep.
Value nestedArrays(std::size_t levels) {
  Value v(Array{});
  for (std::size_t i = 1; i < levels; ++i) v = Value(Array{v});
  return v;
}

TEST(KeyedArchiverTest, NestingIsBoundedBothWays) {
  const struct {
    std::size_t levels;
    bool archived;
  } cases[] = {
      {1, true},
      {KeyedArchiver::kMaximumDepth, true},
      {KeyedArchiver::kMaximumDepth + 1, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.levels);
    const Value value = nestedArrays(c.levels);
    ErrorPtr error;
    const auto data = KeyedArchiver::archivedDataWithRootObject(value, true, &error);
    EXPECT_EQ(data.has_value(), c.archived);
    if (data) {
      EXPECT_EQ(roundTrip(value), value);
    }
  }
}

// Writes and reads keyless values of every kind the coder offers.
class KAKeyless : public Object, public Coding {
  LX_DECLARE_CLASS(KAKeyless)
 public:
  std::int32_t i = 0;
  double d = 0;
  bool b = false;
  std::uint16_t s = 0;
  Value object;
  const char* text = nullptr;  // written from here
  std::string textRead;        // read back: the coder owns what "*" gives
  const Class* cls = nullptr;
  bool allRead = false;
  void encodeWithCoder(Coder& coder) const override {
    coder.encodeValueOfObjCType("i", &i);
    coder.encodeValueOfObjCType("d", &d);
    coder.encodeValueOfObjCType("B", &b);
    coder.encodeValueOfObjCType("S", &s);
    coder.encodeValueOfObjCType("@", &object);
    coder.encodeValueOfObjCType("*", &text);
    coder.encodeValueOfObjCType("#", &cls);
  }
  static std::shared_ptr<KAKeyless> initWithCoder(Coder& coder) {
    auto k = std::make_shared<KAKeyless>();
    const char* text = nullptr;
    k->allRead = coder.decodeValueOfObjCType("i", &k->i, sizeof k->i) &&
                 coder.decodeValueOfObjCType("d", &k->d, sizeof k->d) &&
                 coder.decodeValueOfObjCType("B", &k->b, sizeof k->b) &&
                 coder.decodeValueOfObjCType("S", &k->s, sizeof k->s) &&
                 coder.decodeValueOfObjCType("@", &k->object, sizeof k->object) &&
                 coder.decodeValueOfObjCType("*", &text, sizeof text) &&
                 coder.decodeValueOfObjCType("#", &k->cls, sizeof k->cls) &&
                 !coder.decodeValueOfObjCType("i", &k->i, sizeof k->i);  // no eighth value
    if (text) k->textRead = text;
    return k;
  }
};
LX_DEFINE_CLASS(KAKeyless, Object)

TEST(KeyedArchiverTest, KeylessValuesUseDollarKeysInOrder) {
  auto k = std::make_shared<KAKeyless>();
  k->i = -5;
  k->d = 2.5;
  k->b = true;
  k->s = 65535;
  k->object = Value(Array{u"x"});
  k->text = "caf\xc3\xa9";
  k->cls = &KANote::staticClass();
  const auto data = KeyedArchiver::archivedDataWithRootObject(Value(k), false);
  ASSERT_TRUE(data);
  const Value plist = plistOf(*data);
  const Dictionary& stored = *(*(*plist.asDictionary())[u"$objects"].asArray())[1].asDictionary();
  EXPECT_EQ(stored.keys(),
            (std::vector<String>{u"$0", u"$1", u"$2", u"$3", u"$4", u"$5", u"$6", u"$class"}));
  EXPECT_EQ(stored[u"$0"], Value(-5));
  EXPECT_EQ(stored[u"$3"], Value(65535));

  const auto back = roundTrip(Value(k)).objectAs<KAKeyless>();
  ASSERT_TRUE(back);
  EXPECT_TRUE(back->allRead);
  EXPECT_EQ(back->i, -5);
  EXPECT_EQ(back->d, 2.5);
  EXPECT_TRUE(back->b);
  EXPECT_EQ(back->s, 65535);
  EXPECT_EQ(back->object, k->object);
  EXPECT_EQ(back->textRead, "caf\xc3\xa9");
  EXPECT_EQ(back->cls, &KANote::staticClass());

  KeyedArchiver archiver(false);
  const int unsupported[2] = {};
  archiver.encodeValueOfObjCType("[2i]", unsupported);
  EXPECT_FALSE(archiver.encodedData());
  ASSERT_TRUE(archiver.encodingError());
  EXPECT_EQ(archiver.encodingError()->localizedDescription(),
            u"The type encoding '[2i]' cannot be archived.");
}

TEST(KeyedArchiverTest, CyclesAreWrittenAndBrokenWithALogLineWhenRead) {
  auto a = std::make_shared<KANote>(), b = std::make_shared<KANote>();
  a->title = u"a";
  b->title = u"b";
  a->next = b;
  b->next = a;
  const auto data = KeyedArchiver::archivedDataWithRootObject(Value(a), true);
  ASSERT_TRUE(data);
  ScopedLogCapture capture;
  const auto back =
      KeyedUnarchiver::unarchivedObjectOfClass(KANote::staticClass(), *data).objectAs<KANote>();
  a->next.reset();  // break the cycle we made
  ASSERT_TRUE(back);
  ASSERT_TRUE(back->next);
  EXPECT_EQ(back->next->title, u"b");
  EXPECT_EQ(back->next->next, nullptr) << "the reference back to a is cut";
  ASSERT_EQ(capture.lines().size(), 1u);
  EXPECT_EQ(capture.lines()[0],
            u"CONDITION FAILED: object 1 of the keyed archive refers back to itself while it is "
            u"decoded");
}

}  // namespace
}  // namespace lx
