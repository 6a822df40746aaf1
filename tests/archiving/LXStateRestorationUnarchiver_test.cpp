#include "vantorcore/archiving/LXStateRestorationUnarchiver.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "archiving/StateRestorationTestSupport.h"
#include "vantorcore/platform/Exception.h"
#include "vantorcore/platform/Log.h"
#include "vantorcore/platform/ValueClasses.h"

namespace lx::srtest {
namespace {

Value readScalar(Coder& c, Scalar kind) {
  switch (kind) {
    case Scalar::Bool:
      return Value(c.decodeBoolForKey(u"k"));
    case Scalar::Int32:
      return Value(c.decodeInt32ForKey(u"k"));
    case Scalar::Int64:
      return Value(c.decodeInt64ForKey(u"k"));
    case Scalar::Float:
      return Value(c.decodeFloatForKey(u"k"));
    default:
      return Value(c.decodeDoubleForKey(u"k"));
  }
}

TEST(LXStateRestorationUnarchiverTest,
     ScalarsReadOnlyFromTheirEncodingsWithTwoOneSidedRangeChecks) {
  using enum Scalar;
  constexpr std::int64_t kMax32 = INT32_MAX, kMin32 = INT32_MIN;
  const float kMaxFloat = std::numeric_limits<float>::max();
  const double pastMaxFloat = std::nextafter(static_cast<double>(kMaxFloat), 1e300);
  const char16_t* const kInt32Range = u"Value exceeds maximum for int32_t type";
  const char16_t* const kFloatRange = u"Value exceeds maximum for float type";
  const struct {
    const char* name;
    Scalar write;
    Value stored;
    Scalar read;
    Value expected;                    // when nothing is raised
    const char16_t* raises = nullptr;  // the range exception's reason
  } cases[] = {
      {"bool", Bool, Value(true), Bool, Value(true)},
      {"bool from int", Int32, Value(1), Bool, Value(false)},
      {"int32", Int32, Value(-7), Int32, Value(-7)},
      {"int32 from 2^31-1", Int64, Value(kMax32), Int32, Value(kMax32)},
      {"int32 from 2^31", Int64, Value(kMax32 + 1), Int32, Value(), kInt32Range},
      {"int32 from -2^31", Int64, Value(kMin32), Int32, Value(kMin32)},
      {"int32 from -2^31-1 is cut", Int64, Value(kMin32 - 1), Int32, Value(kMax32)},
      {"int32 from int64 min is cut", Int64, Value(INT64_MIN), Int32, Value(0)},
      {"int32 from double", Double, Value(3.0), Int32, Value(0)},
      {"int64 from int32", Int32, Value(-5), Int64, Value(-5)},
      {"int64", Int64, Value(INT64_MAX), Int64, Value(INT64_MAX)},
      {"int64 from float", Float, Value(2.0), Int64, Value(0)},
      {"float", Float, Value(0.1f), Float, Value(0.1f)},
      {"float from largest float", Double, Value(kMaxFloat), Float, Value(kMaxFloat)},
      {"float from just past it", Double, Value(pastMaxFloat), Float, Value(), kFloatRange},
      {"float from 1e39", Double, Value(1e39), Float, Value(), kFloatRange},
      {"float from -1e39", Double, Value(-1e39), Float,
       Value(-std::numeric_limits<float>::infinity())},
      {"float from int64", Int64, Value(1), Float, Value(0.0f)},
      {"double from float", Float, Value(0.5f), Double, Value(0.5)},
      {"double", Double, Value(-1e300), Double, Value(-1e300)},
      {"double from int64", Int64, Value(4), Double, Value(0.0)},
      {"plain integer reads as q", Plain, Value(40), Int32, Value(40)},
      {"plain real reads as d", Plain, Value(0.25), Double, Value(0.25)},
      {"plain bool reads as B", Plain, Value(true), Bool, Value(true)},
      {"string", Plain, Value(u"12"), Int64, Value(0)},
      {"missing", Nothing, Value(), Double, Value(0.0)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const Data data =
        archive([&](LXStateRestorationArchiver& a) { writeScalar(a, c.write, c.stored); });
    LXStateRestorationUnarchiver unarchiver(data);
    if (!c.raises) {
      EXPECT_EQ(readScalar(unarchiver, c.read), c.expected);
      continue;
    }
    try {
      readScalar(unarchiver, c.read);
      ADD_FAILURE() << "no exception";
    } catch (const RangeException& e) {
      EXPECT_EQ(e.reason(), c.raises);
    }
  }
}

// Answers every question with what a test sets, remembering what it was asked.
class RecordingDelegate : public LXStateRestorationUnarchiverDelegate {
 public:
  ObjectPtr supplied, replacement;
  const Class* decodingClass = nullptr;
  const Class* restorationClass = nullptr;
  std::vector<String> askedIdentifiers, chainSeen;
  ObjectPtr objectWithRestorationIdentifier(LXStateRestorationUnarchiver&, const String& identifier,
                                            const Class*, const std::vector<String>&) override {
    askedIdentifiers.push_back(identifier);
    return supplied;
  }
  ObjectPtr didDecodeObject(LXStateRestorationUnarchiver&, const ObjectPtr&) override {
    return replacement;
  }
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
    ObjectPtr supplied, replacement;
    const char16_t* expected;  // restoration identifier of the result; null: raises
    int restorerCalls;
  } cases[] = {
      {"no answers", nullptr, nullptr, u"main", 1},
      {"supplied", supplied, nullptr, u"supplied", 0},
      {"replaced", nullptr, replacement, u"replacement", 1},
      {"replacement not restorable", nullptr, plain, nullptr, 1},
  };
  const Data data = archive([&](LXStateRestorationArchiver& a) {
    auto view = restorableView(u"main");
    view->width = 2;
    a.encodeObject(Value(view), u"view");
  });
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    resetRestorer();
    auto delegate = std::make_shared<RecordingDelegate>();
    delegate->supplied = c.supplied;
    delegate->replacement = c.replacement;
    LXStateRestorationUnarchiver unarchiver(data);
    unarchiver.setDelegate(delegate);
    if (!c.expected) {
      try {
        unarchiver.decodeObjectForKey(u"view");
        ADD_FAILURE() << "no exception";
      } catch (const InvalidArgumentException& e) {
        EXPECT_EQ(e.reason(),
                  u"Object returned from delegate does not conform to the LXStateRestoring "
                  u"protocol: " +
                      plain->description());
      }
      // The item was closed: the root's keys are readable again.
      EXPECT_TRUE(unarchiver.containsValueForKey(u"view"));
    } else {
      const auto view = unarchiver.decodeObjectForKey(u"view").objectAs<SRView>();
      ASSERT_TRUE(view);
      EXPECT_EQ(view->identifier, c.expected);
      EXPECT_EQ(delegate->askedIdentifiers, std::vector<String>{u"main"});
    }
    EXPECT_EQ(SRViewRestorer::calls, c.restorerCalls);
  }
}

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
    auto delegate = std::make_shared<RecordingDelegate>();
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
    auto delegate = std::make_shared<RecordingDelegate>();
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
  const auto plist = [](const Value& top) {
    return *PropertyList::write(top, PropertyList::Format::Binary);
  };
  // An archive whose root key "k" names the entry "X".
  const auto withX = [](Value entry) {
    return handmade({{u"k", u"X"}}, {{u"X", std::move(entry)}});
  };
  const auto record = [](Value e, Value v) {
    return Value(Dictionary{{u"t", u"v"}, {u"e", std::move(e)}, {u"v", std::move(v)}});
  };
  const struct {
    const char* name;
    Data data;
    bool error;
  } cases[] = {
      {"empty data", Data{}, true},
      {"not a property list", Data{'h', 'i'}, true},
      {"truncated to 8 bytes", Data(good.begin(), good.begin() + 8), true},
      {"truncated by one byte", Data(good.begin(), good.end() - 1), true},
      {"top is an array", plist(Array{}), true},
      {"r and o of the wrong type", plist(Dictionary{{u"r", 1}, {u"o", u"x"}}), false},
      {"v of the wrong type", plist(Dictionary{{u"r", Dictionary{{u"v", Array{}}}}}), false},
      {"key naming a number", handmade({{u"k", 5}}, {{u"X", u"x"}}), false},
      {"identifier pointing nowhere", handmade({{u"k", u"X"}}, {}), false},
      {"entry is an array", withX(Array{1}), false},
      {"entry without t", withX(Dictionary{{u"c", u"SRNote"}}), false},
      {"unknown t", withX(itemEntry(u"X", u"q", u"SRNote")), false},
      {"t of the wrong type", withX(Dictionary{{u"t", 1}, {u"c", u"SRNote"}}), false},
      {"c of the wrong type", withX(Dictionary{{u"t", u"c"}, {u"c", 7}}), false},
      {"i record with 3 bytes", withX(record(u"i", Data(3))), false},
      {"i record with 5 bytes", withX(record(u"i", Data(5))), false},
      {"record with an unknown encoding", withX(record(u"{x=i}", Data(4))), false},
      {"record with an empty encoding", withX(record(u"", Data())), false},
      {"record with bytes as a string", withX(record(u"i", u"abcd")), false},
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
  LXStateRestorationUnarchiver exact(withX(record(u"i", Data{1, 0, 0, 0})));
  EXPECT_EQ(exact.decodeInt32ForKey(u"k"), 1);
}

}  // namespace
}  // namespace lx::srtest
