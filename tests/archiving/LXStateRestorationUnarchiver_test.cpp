#include "vantorcore/archiving/LXStateRestorationUnarchiver.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "archiving/StateRestorationTestSupport.h"
#include "vantorcore/platform/BoxedValue.h"
#include "vantorcore/platform/Exception.h"
#include "vantorcore/platform/Log.h"
#include "vantorcore/platform/ValueClasses.h"

namespace lx::srtest {
namespace {

// A scalar stored under "k" and what reading it gives: a number, or the
// reason of the range exception it raises.
struct ScalarRead {
  std::function<Value(Coder&)> read;
  Value expected;
  const char16_t* raises = nullptr;
};

TEST(LXStateRestorationUnarchiverTest,
     ScalarsReadOnlyFromTheirEncodingsWithTwoOneSidedRangeChecks) {
  const auto b = [](Coder& c) { return Value(c.decodeBoolForKey(u"k")); };
  const auto i32 = [](Coder& c) { return Value(c.decodeInt32ForKey(u"k")); };
  const auto i64 = [](Coder& c) { return Value(c.decodeInt64ForKey(u"k")); };
  const auto f = [](Coder& c) { return Value(c.decodeFloatForKey(u"k")); };
  const auto d = [](Coder& c) { return Value(c.decodeDoubleForKey(u"k")); };
  const float kMaxFloat = std::numeric_limits<float>::max();
  const double pastMaxFloat = std::nextafter(static_cast<double>(kMaxFloat), 1e300);
  const struct {
    const char* name;
    std::function<void(Coder&)> write;
    ScalarRead read;
  } cases[] = {
      {"bool", [](Coder& c) { c.encodeBool(true, u"k"); }, {b, Value(true)}},
      {"bool from int", [](Coder& c) { c.encodeInt32(1, u"k"); }, {b, Value(false)}},
      {"int32", [](Coder& c) { c.encodeInt32(-7, u"k"); }, {i32, Value(-7)}},
      {"int32 from 2^31-1",
       [](Coder& c) { c.encodeInt64(INT32_MAX, u"k"); },
       {i32, Value(INT32_MAX)}},
      {"int32 from 2^31",
       [](Coder& c) { c.encodeInt64(std::int64_t{INT32_MAX} + 1, u"k"); },
       {i32, Value(), u"Value exceeds maximum for int32_t type"}},
      {"int32 from -2^31",
       [](Coder& c) { c.encodeInt64(INT32_MIN, u"k"); },
       {i32, Value(INT32_MIN)}},
      {"int32 from -2^31-1 is cut",
       [](Coder& c) { c.encodeInt64(std::int64_t{INT32_MIN} - 1, u"k"); },
       {i32, Value(INT32_MAX)}},
      {"int32 from int64 min is cut",
       [](Coder& c) { c.encodeInt64(INT64_MIN, u"k"); },
       {i32, Value(0)}},
      {"int32 from double", [](Coder& c) { c.encodeDouble(3, u"k"); }, {i32, Value(0)}},
      {"int64 from int32", [](Coder& c) { c.encodeInt32(-5, u"k"); }, {i64, Value(-5)}},
      {"int64", [](Coder& c) { c.encodeInt64(INT64_MAX, u"k"); }, {i64, Value(INT64_MAX)}},
      {"int64 from float", [](Coder& c) { c.encodeFloat(2, u"k"); }, {i64, Value(0)}},
      {"float", [](Coder& c) { c.encodeFloat(0.1f, u"k"); }, {f, Value(0.1f)}},
      {"float from largest float",
       [&](Coder& c) { c.encodeDouble(kMaxFloat, u"k"); },
       {f, Value(kMaxFloat)}},
      {"float from just past it",
       [&](Coder& c) { c.encodeDouble(pastMaxFloat, u"k"); },
       {f, Value(), u"Value exceeds maximum for float type"}},
      {"float from 1e39",
       [](Coder& c) { c.encodeDouble(1e39, u"k"); },
       {f, Value(), u"Value exceeds maximum for float type"}},
      {"float from -1e39",
       [](Coder& c) { c.encodeDouble(-1e39, u"k"); },
       {f, Value(-std::numeric_limits<float>::infinity())}},
      {"float from int64", [](Coder& c) { c.encodeInt64(1, u"k"); }, {f, Value(0.0f)}},
      {"double from float", [](Coder& c) { c.encodeFloat(0.5f, u"k"); }, {d, Value(0.5)}},
      {"double", [](Coder& c) { c.encodeDouble(-1e300, u"k"); }, {d, Value(-1e300)}},
      {"double from int64", [](Coder& c) { c.encodeInt64(4, u"k"); }, {d, Value(0.0)}},
      {"plain integer reads as q",
       [](Coder& c) { c.encodeObject(Value(40), u"k"); },
       {i32, Value(40)}},
      {"plain real reads as d",
       [](Coder& c) { c.encodeObject(Value(0.25), u"k"); },
       {d, Value(0.25)}},
      {"plain bool reads as B",
       [](Coder& c) { c.encodeObject(Value(true), u"k"); },
       {b, Value(true)}},
      {"string", [](Coder& c) { c.encodeObject(Value(u"12"), u"k"); }, {i64, Value(0)}},
      {"missing", [](Coder&) {}, {d, Value(0.0)}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const Data data = archive([&](LXStateRestorationArchiver& a) { c.write(a); });
    LXStateRestorationUnarchiver unarchiver(data);
    if (c.read.raises) {
      try {
        c.read.read(unarchiver);
        ADD_FAILURE() << "no exception";
      } catch (const RangeException& e) {
        EXPECT_EQ(e.reason(), c.read.raises);
      }
      continue;
    }
    const Value got = c.read.read(unarchiver);
    EXPECT_EQ(got, c.read.expected);
  }
}

TEST(LXStateRestorationUnarchiverTest, EachIdentifierIsDecodedOnceSoSharedObjectsComeBackShared) {
  const Value shared = noteWithTitle(u"shared");
  const Value twin = noteWithTitle(u"shared");  // equal to `shared`, but another object
  auto holder = std::make_shared<SRNote>();
  holder->link = shared;
  const Data data = archive([&](LXStateRestorationArchiver& a) {
    a.encodeObject(shared, u"a");
    a.encodeObject(shared, u"b");
    a.encodeObject(Value(holder), u"holder");
    a.encodeObject(twin, u"twin");
    a.encodeObject(Value(Array{shared, twin}), u"array");
  });
  LXStateRestorationUnarchiver unarchiver(data);
  const auto a = unarchiver.decodeObjectForKey(u"a").objectAs<SRNote>();
  ASSERT_TRUE(a);
  EXPECT_EQ(a->title, u"shared");
  EXPECT_EQ(unarchiver.decodeObjectForKey(u"b").asObject(), a);
  EXPECT_EQ(unarchiver.decodeObjectOfClassForKey<SRNote>(u"holder")->link.asObject(), a);
  const auto t = unarchiver.decodeObjectForKey(u"twin").asObject();
  EXPECT_NE(t, a);
  const Value array = unarchiver.decodeObjectForKey(u"array");
  ASSERT_TRUE(array.isArray());
  ASSERT_EQ(array.asArray()->size(), 2u);
  EXPECT_EQ((*array.asArray())[0].asObject(), a);
  EXPECT_EQ((*array.asArray())[1].asObject(), t);
}

TEST(LXStateRestorationUnarchiverTest, CollectionsValuesAndBytesComeBackAsWritten) {
  const Value dictionary(Dictionary{{u"z", Value(1)}, {u"a", Value(Array{Value(u"x"), Value()})}});
  const Data data = archive([&](LXStateRestorationArchiver& a) {
    a.encodeObject(dictionary, u"dictionary");
    a.encodeObject(Value(Date(12.5)), u"date");
    a.encodeBytes(Data{}, u"empty bytes");
    a.encodeBytes(Data{0, 255}, u"bytes");
    a.encodeString(u"", u"empty string");
  });
  LXStateRestorationUnarchiver unarchiver(data);
  const Value back = unarchiver.decodeObjectForKey(u"dictionary");
  EXPECT_EQ(back, Value(Dictionary{{u"z", Value(1)}, {u"a", Value(Array{Value(u"x")})}}));
  EXPECT_EQ(back.asDictionary()->keys(), (std::vector<String>{u"z", u"a"}));
  EXPECT_EQ(unarchiver.decodeObjectForKey(u"date"), Value(Date(12.5)));
  EXPECT_EQ(unarchiver.decodeBytesForKey(u"empty bytes"), Data{});
  EXPECT_EQ(unarchiver.decodeBytesForKey(u"bytes"), (Data{0, 255}));
  EXPECT_EQ(unarchiver.decodeBytesForKey(u"date"), std::nullopt);
  EXPECT_EQ(unarchiver.decodeBytesForKey(u"missing"), std::nullopt);
  EXPECT_EQ(unarchiver.decodeStringForKey(u"empty string"), u"");
  EXPECT_TRUE(unarchiver.containsValueForKey(u"empty string"));
  EXPECT_FALSE(unarchiver.containsValueForKey(u"missing"));
  EXPECT_TRUE(unarchiver.decodeObjectForKey(u"missing").isNull());
  EXPECT_TRUE(unarchiver.allowsKeyedCoding());
  EXPECT_EQ(unarchiver.decodingFailurePolicy(), DecodingFailurePolicy::SetErrorAndReturn);
  EXPECT_FALSE(unarchiver.error());
}

TEST(LXStateRestorationUnarchiverTest, KeylessValuesAreReadBackInOrder) {
  const Value text(u"one");
  const char* cString = "zw\xc3\xb6lf";
  const Class* cls = &SRNote::staticClass();
  const std::int32_t number = -3;
  const double real = 0.5;
  const Data data = archive([&](LXStateRestorationArchiver& a) {
    a.encodeValueOfObjCType("@", &text);
    a.encodeValueOfObjCType("*", &cString);
    a.encodeValueOfObjCType("#", &cls);
    a.encodeValueOfObjCType("i", &number);
    a.encodeValueOfObjCType("d", &real);
    a.encodeDataObject(Data{7});
  });
  LXStateRestorationUnarchiver unarchiver(data);
  EXPECT_EQ(unarchiver.decodeObject(), text);
  const char* cStringBack = nullptr;
  ASSERT_TRUE(unarchiver.decodeValueOfObjCType("*", &cStringBack, sizeof cStringBack));
  EXPECT_STREQ(cStringBack, cString);
  const Class* clsBack = nullptr;
  ASSERT_TRUE(unarchiver.decodeValueOfObjCType("#", &clsBack, sizeof clsBack));
  EXPECT_EQ(clsBack, cls);
  std::int64_t wrongSize = 0;  // "i" is 4 bytes: refused, and the position still moves on
  EXPECT_FALSE(unarchiver.decodeValueOfObjCType("i", &wrongSize, sizeof wrongSize));
  double realBack = 0;
  ASSERT_TRUE(unarchiver.decodeValueOfObjCType("d", &realBack, sizeof realBack));
  EXPECT_EQ(realBack, real);
  EXPECT_EQ(unarchiver.decodeDataObject(), Data{7});
  std::int32_t past = 42;  // no seventh value
  EXPECT_FALSE(unarchiver.decodeValueOfObjCType("i", &past, sizeof past));
  EXPECT_EQ(past, 42);
}

class RestoringDelegate : public LXStateRestorationUnarchiverDelegate {
 public:
  std::function<ObjectPtr(const String&)> supply = [](const String&) { return nullptr; };
  std::function<ObjectPtr(const ObjectPtr&)> replace = [](const ObjectPtr&) { return nullptr; };
  std::vector<String> askedIdentifiers;
  ObjectPtr objectWithRestorationIdentifier(LXStateRestorationUnarchiver&, const String& identifier,
                                            const Class*, const std::vector<String>&) override {
    askedIdentifiers.push_back(identifier);
    return supply(identifier);
  }
  ObjectPtr didDecodeObject(LXStateRestorationUnarchiver&, const ObjectPtr& object) override {
    return replace(object);
  }
};

TEST(LXStateRestorationUnarchiverTest, RestorableObjectsAreRecreatedOnceAndFailuresAreRemembered) {
  resetRestorer();
  auto child = std::make_shared<SRNote>();
  child->title = u"child";
  auto first = restorableView(u"first");
  first->width = 12.5;
  first->child = Value(child);
  auto panel = std::make_shared<SRPanel>();
  panel->identifier = u"panel";
  const Data data = archive([&](LXStateRestorationArchiver& a) {
    a.encodeObject(Value(first), u"first");
    a.encodeObject(Value(first), u"again");
    a.encodeObject(Value(restorableView(u"fail")), u"failing");
    a.encodeObject(Value(panel), u"panel");
  });
  LXStateRestorationUnarchiver unarchiver(data);
  auto context = std::make_shared<LXStateRestorationContext>();
  unarchiver.setRestorationContext(context);

  const auto view = unarchiver.decodeObjectForKey(u"first").objectAs<SRView>();
  ASSERT_TRUE(view);
  EXPECT_EQ(view->identifier, u"first");
  EXPECT_EQ(view->width, 12.5);
  EXPECT_EQ(view->child.objectAs<SRNote>()->title, u"child");
  EXPECT_EQ(unarchiver.decodeObjectForKey(u"again").asObject(), view);
  EXPECT_EQ(SRViewRestorer::calls, 1);
  EXPECT_EQ(SRViewRestorer::lastContext, context);

  // The failure marker: a second key naming the failed object makes no second attempt.
  EXPECT_TRUE(unarchiver.decodeObjectForKey(u"failing").isNull());
  EXPECT_TRUE(unarchiver.decodeObjectForKey(u"failing").isNull());
  EXPECT_EQ(SRViewRestorer::calls, 2);

  const auto restoredPanel = unarchiver.decodeObjectForKey(u"panel").objectAs<SRPanel>();
  ASSERT_TRUE(restoredPanel);
  EXPECT_EQ(restoredPanel->identifier, u"panel");

  EXPECT_EQ(view->finished, 0);
  unarchiver.finishDecoding();
  EXPECT_EQ(view->finished, 1);
  EXPECT_EQ(restoredPanel->finished, 1);
  EXPECT_EQ(SRViewRestorer::finishedOrder, (std::vector<String>{u"first", u"panel"}));
  // The caches are empty: the same key makes the object anew.
  EXPECT_NE(unarchiver.decodeObjectForKey(u"first").asObject(), view);
  EXPECT_EQ(SRViewRestorer::calls, 3);
}

TEST(LXStateRestorationUnarchiverTest, TheDelegateMaySupplyOrReplaceRestorableObjects) {
  const auto supplied = restorableView(u"supplied");
  const auto replacement = restorableView(u"replacement");
  const auto plain = std::make_shared<SRPlain>();
  const struct {
    const char* name;
    std::function<ObjectPtr(const String&)> supply;
    std::function<ObjectPtr(const ObjectPtr&)> replace;
    const char16_t* expected;  // restoration identifier of the result
    int restorerCalls;
    std::optional<String> raises;
  } cases[] = {
      {"no answers", [](const String&) { return nullptr; },
       [](const ObjectPtr&) { return nullptr; }, u"main", 1, std::nullopt},
      {"supplied", [&](const String&) { return supplied; },
       [](const ObjectPtr&) { return nullptr; }, u"supplied", 0, std::nullopt},
      {"replaced", [](const String&) { return nullptr; },
       [&](const ObjectPtr&) { return replacement; }, u"replacement", 1, std::nullopt},
      {"replacement not restorable", [](const String&) { return nullptr; },
       [&](const ObjectPtr&) { return plain; }, nullptr, 1,
       u"Object returned from delegate does not conform to the LXStateRestoring protocol: " +
           plain->description()},
  };
  const Data data = archive([&](LXStateRestorationArchiver& a) {
    auto view = restorableView(u"main");
    view->width = 2;
    a.encodeObject(Value(view), u"view");
  });
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    resetRestorer();
    auto delegate = std::make_shared<RestoringDelegate>();
    delegate->supply = c.supply;
    delegate->replace = c.replace;
    LXStateRestorationUnarchiver unarchiver(data);
    unarchiver.setDelegate(delegate);
    if (c.raises) {
      try {
        unarchiver.decodeObjectForKey(u"view");
        ADD_FAILURE() << "no exception";
      } catch (const InvalidArgumentException& e) {
        EXPECT_EQ(e.reason(), *c.raises);
      }
      // The item was closed: the root's keys are readable again.
      EXPECT_TRUE(unarchiver.containsValueForKey(u"view"));
      continue;
    }
    const auto view = unarchiver.decodeObjectForKey(u"view").objectAs<SRView>();
    ASSERT_TRUE(view);
    EXPECT_EQ(view->identifier, c.expected);
    EXPECT_EQ(delegate->askedIdentifiers, std::vector<String>{u"main"});
    EXPECT_EQ(SRViewRestorer::calls, c.restorerCalls);
  }
}

class ClassDelegate : public LXStateRestorationUnarchiverDelegate {
 public:
  const Class* decodingClass = nullptr;
  const Class* restorationClass = nullptr;
  std::vector<String> chainSeen;
  const Class* cannotDecodeObjectOfClassName(LXStateRestorationUnarchiver&, const String&,
                                             const std::vector<String>& chain) override {
    chainSeen = chain;
    return decodingClass;
  }
  const Class* objectRestorationClassForClassName(LXStateRestorationUnarchiver&,
                                                  const String&) override {
    return restorationClass;
  }
};

TEST(LXStateRestorationUnarchiverTest, ClassesAreFoundInTheMapsThenByNameThenFromTheDelegate) {
  const Class& note = SRNote::staticClass();
  const Class& subNote = SRSubNote::staticClass();
  const struct {
    const char* name;
    const char16_t* stored;
    const Class* own;
    const Class* shared;
    const Class* fromDelegate;
    const Class* expected;
  } cases[] = {
      {"registered", u"SRNote", nullptr, nullptr, &subNote, &note},
      {"shared map first", u"SRNote", nullptr, &subNote, nullptr, &subNote},
      {"own map over shared", u"SRNote", &note, &subNote, nullptr, &note},
      {"unknown, delegate", u"Gone", nullptr, nullptr, &subNote, &subNote},
      {"unknown, nothing", u"Gone", nullptr, nullptr, nullptr, nullptr},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    auto delegate = std::make_shared<ClassDelegate>();
    delegate->decodingClass = c.fromDelegate;
    const Data data = handmade(
        {{u"n", Value(u"N")}},
        {{u"N", Value(Dictionary{{u"i", Value(u"N")},
                                 {u"t", Value(u"c")},
                                 {u"c", Value(c.stored)},
                                 {u"oc", Value(Array{Value(c.stored), Value(u"Object")})}})}});
    LXStateRestorationUnarchiver unarchiver(data);
    unarchiver.setDelegate(delegate);
    unarchiver.setClass(c.own, c.stored);
    LXStateRestorationUnarchiver::setSharedClass(c.shared, c.stored);
    const Value value = unarchiver.decodeObjectForKey(u"n");
    EXPECT_EQ(value.isNull() ? nullptr : &value.asObject()->objectClass(), c.expected);
    LXStateRestorationUnarchiver::setSharedClass(nullptr, c.stored);
    EXPECT_EQ(LXStateRestorationUnarchiver::sharedClassForClassName(c.stored), nullptr);
    if (String(c.stored) == u"Gone") {
      EXPECT_EQ(delegate->chainSeen, (std::vector<String>{u"Gone", u"Object"}));
    }
  }
}

TEST(LXStateRestorationUnarchiverTest, RestorationClassesComeFromRcThenTheDecodingClass) {
  const struct {
    const char* name;
    std::optional<String> storedClass;
    std::optional<String> restorationClass;
    const Class* fromDelegate;
    bool restored;
    std::optional<String> logged;
  } cases[] = {
      {"rc names the restorer", u"SRView", u"SRViewRestorer", nullptr, true, std::nullopt},
      {"rc unknown, delegate", u"SRView", u"Gone", &SRViewRestorer::staticClass(), true,
       std::nullopt},
      {"rc unknown, class restores itself", u"SRPanel", u"Gone", nullptr, true, std::nullopt},
      {"no rc, class restores itself", u"SRPanel", std::nullopt, nullptr, true, std::nullopt},
      {"no rc, class cannot", u"SRView", std::nullopt, nullptr, false, std::nullopt},
      {"no class at all", std::nullopt, std::nullopt, nullptr, false, std::nullopt},
      {"rc without the protocol", u"SRView", u"SRNote", nullptr, false,
       u"Restoration class does not conform to LXObjectRestoration, skipping: SRNote"},
      {"rc without a factory", u"SRView", u"SRHollowRestorer", nullptr, false, std::nullopt},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    resetRestorer();
    Dictionary item{{u"i", Value(u"V")}, {u"t", Value(u"r")}, {u"ri", Value(u"id")}};
    if (c.storedClass) item.set(u"c", Value(*c.storedClass));
    if (c.restorationClass) item.set(u"rc", Value(*c.restorationClass));
    auto delegate = std::make_shared<ClassDelegate>();
    delegate->restorationClass = c.fromDelegate;
    ScopedLogCapture log;
    LXStateRestorationUnarchiver unarchiver(
        handmade({{u"v", Value(u"V")}}, {{u"V", Value(std::move(item))}}));
    unarchiver.setDelegate(delegate);
    const auto view = unarchiver.decodeObjectForKey(u"v").objectAs<SRView>();
    EXPECT_EQ(static_cast<bool>(view), c.restored);
    if (view) {
      EXPECT_EQ(view->identifier, u"id");
    }
    EXPECT_EQ(log.lines(), c.logged ? std::vector<String>{*c.logged} : std::vector<String>{});
  }
}

TEST(LXStateRestorationUnarchiverTest, AllowedClassesApplyOnlyUnderSecureCoding) {
  auto sub = std::make_shared<SRSubNote>();
  const Data data = archive([&](LXStateRestorationArchiver& a) {
    a.encodeObject(Value(std::static_pointer_cast<SRNote>(sub)), u"note");
    a.encodeObject(Value(u"text"), u"text");
    a.encodeObject(Value(Array{Value(std::static_pointer_cast<SRNote>(sub))}), u"notes");
  });
  const Class& note = SRNote::staticClass();
  const Class& subNote = SRSubNote::staticClass();
  const Class& view = SRView::staticClass();
  const Class& string = ValueClasses::string();
  const Class& array = ValueClasses::array();
  const struct {
    const char* name;
    bool secure;
    const char16_t* key;
    std::vector<const Class*> allowed;
    bool decoded;
    bool error;
  } cases[] = {
      {"not secure, wrong class", false, u"note", {&view}, true, false},
      {"secure, exact class", true, u"note", {&subNote}, true, false},
      {"secure, superclass", true, u"note", {&note}, true, false},
      {"secure, wrong class", true, u"note", {&view}, false, true},
      {"secure, value of the right class", true, u"text", {&string}, true, false},
      {"secure, value of a wrong class", true, u"text", {&note}, false, true},
      {"secure, array and its members", true, u"notes", {&array, &note}, true, false},
      {"secure, array without its members' class", true, u"notes", {&array}, true, true},
      {"secure, members without the array class", true, u"notes", {&note}, false, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    LXStateRestorationUnarchiver unarchiver(data);
    unarchiver.setRequiresSecureCoding(c.secure);
    const Value value = unarchiver.decodeObjectOfClasses(c.allowed, c.key);
    EXPECT_EQ(!value.isNull(), c.decoded);
    EXPECT_EQ(static_cast<bool>(unarchiver.error()), c.error);
  }
  // A refused array member is left out of the array.
  LXStateRestorationUnarchiver unarchiver(data);
  unarchiver.setRequiresSecureCoding(true);
  const Class* arrayOnly[] = {&array};
  EXPECT_EQ(unarchiver.decodeObjectOfClasses(arrayOnly, u"notes"), Value(Array{}));
  // The value stays cached: an unrestricted read finds the same object.
  LXStateRestorationUnarchiver again(data);
  again.setRequiresSecureCoding(true);
  EXPECT_TRUE(again.decodeObjectOfClass(view, u"note").isNull());
  EXPECT_EQ(again.decodeObjectOfClass(note, u"note").asObject(),
            again.decodeObjectForKey(u"note").asObject());
}

std::size_t decodedChainLength(Value value) {
  std::size_t length = 0;
  while (const auto note = value.objectAs<SRNote>()) {
    ++length;
    const Value next = note->link;
    value = next;
  }
  return length;
}

TEST(LXStateRestorationUnarchiverTest, NestingBeyondTheLimitFailsCleanly) {
  const struct {
    std::size_t depth;
    std::size_t decoded;
  } cases[] = {
      {LXStateRestorationMaximumDepth, LXStateRestorationMaximumDepth},
      {LXStateRestorationMaximumDepth + 1, LXStateRestorationMaximumDepth},
      {100000, LXStateRestorationMaximumDepth},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.depth);
    ScopedLogCapture log;
    LXStateRestorationUnarchiver unarchiver(handmadeChain(c.depth));
    EXPECT_EQ(decodedChainLength(unarchiver.decodeObjectForKey(u"chain")), c.decoded);
    const bool cut = c.decoded < c.depth;
    EXPECT_EQ(static_cast<bool>(unarchiver.error()), cut);
    EXPECT_EQ(log.contains(u"CONDITION FAILED: archive nests objects deeper than 1024 levels"),
              cut);
  }
}

TEST(LXStateRestorationUnarchiverTest, AnObjectReachingItselfIsCutWithALogLine) {
  const struct {
    const char* name;
    Value entry;
  } cases[] = {
      {"coded", itemEntry(u"S", u"c", u"SRNote", {{u"link", Value(u"S")}})},
      {"restorable", Value(Dictionary{{u"i", Value(u"S")},
                                      {u"t", Value(u"r")},
                                      {u"c", Value(u"SRView")},
                                      {u"rc", Value(u"SRViewRestorer")},
                                      {u"ri", Value(u"self")},
                                      {u"v", Value(Dictionary{{u"child", Value(u"S")}})}})},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ScopedLogCapture log;
    LXStateRestorationUnarchiver unarchiver(handmade({{u"k", Value(u"S")}}, {{u"S", c.entry}}));
    const Value value = unarchiver.decodeObjectForKey(u"k");
    ASSERT_TRUE(value.isObject());
    EXPECT_EQ(log.lines(), std::vector<String>{
                               u"CONDITION FAILED: object S refers to itself while being decoded"});
    // Decoded once more, the finished object is cached and comes back.
    EXPECT_EQ(unarchiver.decodeObjectForKey(u"k").asObject(), value.asObject());
  }
}

TEST(LXStateRestorationUnarchiverTest, BadArchivesDecodeAsNullNeverCrash) {
  const Data good =
      archive([](LXStateRestorationArchiver& a) { a.encodeObject(noteWithTitle(u"t"), u"k"); });
  const auto record = [](Value e, Value v) {
    return Value(Dictionary{{u"t", Value(u"v")}, {u"e", std::move(e)}, {u"v", std::move(v)}});
  };
  const auto entries = [](Value entry) { return Dictionary{{u"X", std::move(entry)}}; };
  const Dictionary pointsAtX{{u"k", Value(u"X")}};
  const struct {
    const char* name;
    Data data;
    bool error;
  } cases[] = {
      {"empty data", Data{}, true},
      {"not a property list", Data{'h', 'i'}, true},
      {"truncated to 8 bytes", Data(good.begin(), good.begin() + 8), true},
      {"truncated by one byte", Data(good.begin(), good.end() - 1), true},
      {"top is an array", *PropertyList::write(Value(Array{}), PropertyList::Format::Binary), true},
      {"r and o of the wrong type",
       *PropertyList::write(Value(Dictionary{{u"r", Value(1)}, {u"o", Value(u"x")}}),
                            PropertyList::Format::Binary),
       false},
      {"v of the wrong type",
       *PropertyList::write(Value(Dictionary{{u"r", Value(Dictionary{{u"v", Value(Array{})}})}}),
                            PropertyList::Format::Binary),
       false},
      {"key naming a number", handmade({{u"k", Value(5)}}, entries(Value(u"x"))), false},
      {"identifier pointing nowhere", handmade(pointsAtX, {}), false},
      {"entry is an array", handmade(pointsAtX, entries(Value(Array{Value(1)}))), false},
      {"entry without t", handmade(pointsAtX, entries(Value(Dictionary{{u"c", Value(u"SRNote")}}))),
       false},
      {"unknown t", handmade(pointsAtX, entries(itemEntry(u"X", u"q", u"SRNote"))), false},
      {"t of the wrong type",
       handmade(pointsAtX, entries(Value(Dictionary{{u"t", Value(1)}, {u"c", Value(u"SRNote")}}))),
       false},
      {"c of the wrong type",
       handmade(pointsAtX, entries(Value(Dictionary{{u"t", Value(u"c")}, {u"c", Value(7)}}))),
       false},
      {"i record with 3 bytes", handmade(pointsAtX, entries(record(Value(u"i"), Value(Data(3))))),
       false},
      {"i record with 5 bytes", handmade(pointsAtX, entries(record(Value(u"i"), Value(Data(5))))),
       false},
      {"record with an unknown encoding",
       handmade(pointsAtX, entries(record(Value(u"{x=i}"), Value(Data(4))))), false},
      {"record with an empty encoding",
       handmade(pointsAtX, entries(record(Value(u""), Value(Data())))), false},
      {"record with bytes as a string",
       handmade(pointsAtX, entries(record(Value(u"i"), Value(u"abcd")))), false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    LXStateRestorationUnarchiver unarchiver(c.data);
    EXPECT_TRUE(unarchiver.decodeObjectForKey(u"k").isNull());
    EXPECT_EQ(unarchiver.decodeInt32ForKey(u"k"), 0);
    EXPECT_FALSE(unarchiver.decodeBoolForKey(u"k"));
    EXPECT_EQ(unarchiver.decodeBytesForKey(u"k"), std::nullopt);
    std::int32_t keyless = 9;
    EXPECT_FALSE(unarchiver.decodeValueOfObjCType("i", &keyless, sizeof keyless));
    EXPECT_EQ(static_cast<bool>(unarchiver.error()), c.error);
    unarchiver.finishDecoding();
  }
  // A record with exactly 4 bytes for "i" is the limit that reads.
  LXStateRestorationUnarchiver exact(
      handmade(pointsAtX, entries(record(Value(u"i"), Value(Data{1, 0, 0, 0})))));
  EXPECT_EQ(exact.decodeInt32ForKey(u"k"), 1);
}

}  // namespace
}  // namespace lx::srtest
