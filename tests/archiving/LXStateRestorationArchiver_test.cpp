#include "vantorcore/archiving/LXStateRestorationArchiver.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "archiving/StateRestorationTestSupport.h"
#include "vantorcore/archiving/LXStateRestorationUnarchiver.h"
#include "vantorcore/platform/Exception.h"
#include "vantorcore/platform/Log.h"

namespace lx::srtest {
namespace {

// The archive dictionary of `data`, or an empty one.
Dictionary archiveOf(const Data& data) {
  const std::optional<Value> value = PropertyList::read(data);
  return value && value->isDictionary() ? *value->asDictionary() : Dictionary();
}

// The "o" entry under `identifier`, or null.
Value entryOf(const Dictionary& archive, const Value& identifier) {
  const Value& objects = archive[u"o"];
  if (!objects.isDictionary() || !identifier.isString()) return Value();
  return (*objects.asDictionary())[*identifier.asString()];
}

// The root key map ("r"."v").
Dictionary rootKeysOf(const Dictionary& archive) {
  const Value& root = archive[u"r"];
  if (!root.isDictionary()) return {};
  const Value& keys = (*root.asDictionary())[u"v"];
  return keys.isDictionary() ? *keys.asDictionary() : Dictionary();
}

TEST(LXStateRestorationArchiverTest, AnEmptyArchiveHoldsAnEmptyRootAndNoObjects) {
  const Data data = archive([](LXStateRestorationArchiver&) {});
  ASSERT_GE(data.size(), 8u);
  EXPECT_EQ(std::string(data.begin(), data.begin() + 8), "bplist00");
  const Dictionary top = archiveOf(data);
  EXPECT_EQ(top.keys(), (std::vector<String>{u"r", u"o"}));
  EXPECT_EQ(top[u"r"], Value(Dictionary{{u"v", Value(Dictionary())}}));
  EXPECT_EQ(top[u"o"], Value(Dictionary()));
}

TEST(LXStateRestorationArchiverTest, ScalarsBecomeValueRecordsWithTheirEncodingAndBytes) {
  using enum Scalar;
  const struct {
    const char* name;
    Scalar kind;
    Value value;
    const char16_t* encoding;
    Data bytes;
  } cases[] = {
      {"bool", Bool, Value(true), u"B", {1}},
      {"int", Int32, Value(-2), u"i", {0xfe, 0xff, 0xff, 0xff}},
      {"int32 max", Int32, Value(INT32_MAX), u"i", {0xff, 0xff, 0xff, 0x7f}},
      {"int64 min", Int64, Value(INT64_MIN), u"q", {0, 0, 0, 0, 0, 0, 0, 0x80}},
      {"float", Float, Value(1.5f), u"f", {0, 0, 0xc0, 0x3f}},
      {"double", Double, Value(-2.0), u"d", {0, 0, 0, 0, 0, 0, 0, 0xc0}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const Dictionary top =
        archiveOf(archive([&](LXStateRestorationArchiver& a) { writeScalar(a, c.kind, c.value); }));
    const Value record = entryOf(top, rootKeysOf(top)[u"k"]);
    EXPECT_EQ(record, Value(Dictionary{
                          {u"t", Value(u"v")}, {u"e", Value(c.encoding)}, {u"v", Value(c.bytes)}}));
  }
}

TEST(LXStateRestorationArchiverTest, PlainValuesAreStoredAsThemselvesEachTimeAfresh) {
  const Value values[] = {
      Value(u"text"),       Value(42), Value(2.5), Value(true), Value(Date(86400.5)),
      Value(Data{0, 1, 2}), Value(u"")};
  for (const Value& value : values) {
    SCOPED_TRACE(toUTF8(value.description()));
    const Dictionary top = archiveOf(archive([&](LXStateRestorationArchiver& a) {
      a.encodeObject(value, u"a");
      a.encodeObject(value, u"b");
    }));
    const Dictionary root = rootKeysOf(top);
    ASSERT_TRUE(isUpperCaseUUID(*root[u"a"].asString()));
    EXPECT_NE(root[u"a"], root[u"b"]);
    EXPECT_EQ(entryOf(top, root[u"a"]), value);
    EXPECT_EQ(entryOf(top, root[u"b"]), value);
    EXPECT_EQ(top[u"o"].asDictionary()->size(), 2u);
  }
}

TEST(LXStateRestorationArchiverTest, ObjectsAreStoredAndReadOncePerIdentityNotPerEquality) {
  const Value shared = noteWithTitle(u"shared");
  const Value twin = noteWithTitle(u"shared");  // equal to `shared`, another object
  auto holder = std::make_shared<SRNote>();
  holder->link = shared;
  const Data data = archive([&](LXStateRestorationArchiver& a) {
    a.encodeObject(shared, u"first");
    a.encodeObject(shared, u"again");
    a.encodeConditionalObject(shared, u"conditional");
    a.encodeObject(Value(holder), u"holder");
    a.encodeObject(twin, u"twin");
    a.encodeObject(Value(Array{shared, twin}), u"array");
  });
  const Dictionary top = archiveOf(data);
  const Dictionary root = rootKeysOf(top);
  EXPECT_EQ(root[u"first"], root[u"again"]);
  EXPECT_EQ(root[u"first"], root[u"conditional"]);
  EXPECT_NE(root[u"first"], root[u"twin"]);
  const Value holderKeys = (*entryOf(top, root[u"holder"]).asDictionary())[u"v"];
  EXPECT_EQ((*holderKeys.asDictionary())[u"link"], root[u"first"]);
  // shared, its title, holder, holder's title, twin, twin's title, the array
  EXPECT_EQ(top[u"o"].asDictionary()->size(), 7u);
  const Dictionary item = *entryOf(top, root[u"first"]).asDictionary();
  EXPECT_EQ(item[u"i"], root[u"first"]);
  EXPECT_EQ(item[u"t"], Value(u"c"));
  EXPECT_EQ(item[u"c"], Value(u"SRNote"));
  EXPECT_EQ(item[u"oc"], Value(Array{Value(u"SRNote"), Value(u"Object")}));

  LXStateRestorationUnarchiver unarchiver(data);
  const auto first = unarchiver.decodeObjectForKey(u"first").objectAs<SRNote>();
  ASSERT_TRUE(first);
  EXPECT_EQ(first->title, u"shared");
  EXPECT_EQ(unarchiver.decodeObjectForKey(u"again").asObject(), first);
  EXPECT_EQ(unarchiver.decodeObjectOfClassForKey<SRNote>(u"holder")->link.asObject(), first);
  const auto backTwin = unarchiver.decodeObjectForKey(u"twin").asObject();
  EXPECT_NE(backTwin, first);
  EXPECT_EQ(unarchiver.decodeObjectForKey(u"array"), Value(Array{Value(first), Value(backTwin)}));
}

TEST(LXStateRestorationArchiverTest, RestorableObjectsRecordTheirRestorationIdentifierAndClass) {
  const struct {
    const char* name;
    std::optional<String> identifier;  // absent: a fresh UUID is stored
    bool panel;                        // a view that is its own restoration class
  } cases[] = {
      {"own identifier", u"main", false},
      {"empty identifier", u"", false},
      {"no identifier", std::nullopt, false},
      {"own class restores", u"p", true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const std::shared_ptr<SRView> object =
        c.panel ? std::make_shared<SRPanel>() : restorableView(c.identifier);
    object->identifier = c.identifier;
    object->width = 3.5;
    const Dictionary top = archiveOf(archive([&](LXStateRestorationArchiver& a) {
      a.encodeObject(Value(object), u"v");
      a.encodeObject(Value(object), u"w");
    }));
    const Dictionary root = rootKeysOf(top);
    EXPECT_EQ(root[u"v"], root[u"w"]);
    const Dictionary item = *entryOf(top, root[u"v"]).asDictionary();
    EXPECT_EQ(item[u"t"], Value(u"r"));
    EXPECT_EQ(item[u"c"], Value(c.panel ? u"SRPanel" : u"SRView"));
    EXPECT_EQ(item[u"rc"], Value(c.panel ? u"SRPanel" : u"SRViewRestorer"));
    if (c.identifier) {
      EXPECT_EQ(item[u"ri"], Value(*c.identifier));
    } else {
      EXPECT_TRUE(isUpperCaseUUID(*item[u"ri"].asString()));
      EXPECT_NE(item[u"ri"], item[u"i"]);
    }
    const Value width = entryOf(top, (*item[u"v"].asDictionary())[u"width"]);
    EXPECT_EQ((*width.asDictionary())[u"e"], Value(u"d"));
  }
}

TEST(LXStateRestorationArchiverTest, ARestorationClassWithoutTheProtocolLeavesAKeyNamingNothing) {
  ScopedLogCapture log;
  const auto object = restorableView(u"lost", &SRNote::staticClass());
  const Dictionary top = archiveOf(
      archive([&](LXStateRestorationArchiver& a) { a.encodeObject(Value(object), u"v"); }));
  const Value identifier = rootKeysOf(top)[u"v"];
  ASSERT_TRUE(identifier.isString());
  EXPECT_TRUE(entryOf(top, identifier).isNull());
  EXPECT_EQ(top[u"o"].asDictionary()->size(), 0u);
  EXPECT_TRUE(log.contains(
      u"Object restoration class does not conform to LXObjectRestoration, skipping: object=" +
      object->description() + u", class=SRNote"));
}

// Answers `answer` for every restorable object, remembering what it was asked.
class ReplacingDelegate : public LXStateRestorationArchiverDelegate {
 public:
  ObjectPtr answer;
  std::vector<ObjectPtr> asked;
  ObjectPtr willEncodeObject(LXStateRestorationArchiver&, const ObjectPtr& object) override {
    asked.push_back(object);
    return answer;
  }
};

TEST(LXStateRestorationArchiverTest, TheDelegateMaySubstituteOrDropRestorableObjects) {
  const auto original = restorableView(u"original");
  const struct {
    const char* name;
    ObjectPtr answer;
    std::optional<String> stored;  // restoration identifier; absent: no key
  } cases[] = {
      {"keep", original, u"original"},
      {"substitute", restorableView(u"substitute"), u"substitute"},
      {"drop", nullptr, std::nullopt},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    auto delegate = std::make_shared<ReplacingDelegate>();
    delegate->answer = c.answer;
    const Dictionary top = archiveOf(archive([&](LXStateRestorationArchiver& a) {
      a.setDelegate(delegate);
      a.encodeObject(Value(original), u"v");
      a.encodeObject(noteWithTitle(u"coded objects are not asked"), u"n");
    }));
    EXPECT_EQ(delegate->asked, std::vector<ObjectPtr>{original});
    const Dictionary root = rootKeysOf(top);
    EXPECT_EQ(root.contains(u"v"), c.stored.has_value());
    if (c.stored) {
      EXPECT_EQ((*entryOf(top, root[u"v"]).asDictionary())[u"ri"], Value(*c.stored));
    }
  }
}

TEST(LXStateRestorationArchiverTest, UnusableObjectsThrowWithTheirDescription) {
  const auto plain = std::make_shared<SRPlain>();
  auto delegate = std::make_shared<ReplacingDelegate>();
  delegate->answer = plain;
  const struct {
    const char* name;
    std::function<void(LXStateRestorationArchiver&)> encode;
    String reason;
  } cases[] = {
      {"neither restorable nor coded",
       [&](LXStateRestorationArchiver& a) { a.encodeObject(Value(plain), u"k"); },
       u"Object does not conform to either the LXStateRestoring or NSCoding protocols: " +
           plain->description()},
      {"nested inside a coded object",
       [&](LXStateRestorationArchiver& a) {
         auto note = std::make_shared<SRNote>();
         note->link = Value(plain);
         a.encodeObject(Value(note), u"k");
       },
       u"Object does not conform to either the LXStateRestoring or NSCoding protocols: " +
           plain->description()},
      {"delegate answer not restorable",
       [&](LXStateRestorationArchiver& a) {
         a.setDelegate(delegate);
         a.encodeObject(Value(restorableView(u"v")), u"k");
       },
       u"Object returned from delegate does not conform to the LXStateRestoring protocol: " +
           plain->description()},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Data data;
    LXStateRestorationArchiver archiver(data);
    try {
      c.encode(archiver);
      ADD_FAILURE() << "no exception";
    } catch (const InvalidArgumentException& e) {
      EXPECT_EQ(e.reason(), c.reason);
    }
    // The archiver is still usable: the failed object's item was closed.
    archiver.encodeInt32(7, u"after");
    archiver.finishEncoding();
    EXPECT_TRUE(rootKeysOf(archiveOf(data)).contains(u"after"));
  }
}

TEST(LXStateRestorationArchiverTest, KeylessValuesTakeTheNextPositionalKeyAndReadBackInOrder) {
  const Value text(u"one");
  const char* cString = "zw\xc3\xb6lf";
  const char* nullCString = nullptr;
  const Class* cls = &SRNote::staticClass();
  const std::int32_t number = 3;
  const double real = 0.5;
  struct {
    int x;
  } structure{1};
  const Data data = archive([&](LXStateRestorationArchiver& a) {
    a.encodeValueOfObjCType("@", &text);           // LX.coding.0
    a.encodeValueOfObjCType("*", &nullCString);    // 1: nothing stored
    a.encodeValueOfObjCType("*", &cString);        // 2
    a.encodeValueOfObjCType("#", &cls);            // 3
    a.encodeValueOfObjCType("{x=i}", &structure);  // 4: no stored form
    a.encodeValueOfObjCType("i", &number);         // 5
    a.encodeValueOfObjCType("d", &real);           // 6
    a.encodeDataObject(Data{9});                   // 7
    a.encodeObject(Value(u"eight"));               // 8
  });
  const Dictionary top = archiveOf(data);
  const Dictionary root = rootKeysOf(top);
  EXPECT_EQ(root.keys(),
            (std::vector<String>{u"LX.coding.0", u"LX.coding.2", u"LX.coding.3", u"LX.coding.5",
                                 u"LX.coding.6", u"LX.coding.7", u"LX.coding.8"}));
  EXPECT_EQ(entryOf(top, root[u"LX.coding.2"]), Value(cString));
  EXPECT_EQ(entryOf(top, root[u"LX.coding.3"]), Value(u"SRNote"));
  EXPECT_EQ((*entryOf(top, root[u"LX.coding.5"]).asDictionary())[u"e"], Value(u"i"));
  EXPECT_EQ(entryOf(top, root[u"LX.coding.7"]), Value(Data{9}));

  LXStateRestorationUnarchiver unarchiver(data);
  EXPECT_EQ(unarchiver.decodeObject(), text);
  const char* cStringBack = "untouched";
  ASSERT_TRUE(unarchiver.decodeValueOfObjCType("*", &cStringBack, sizeof cStringBack));
  EXPECT_EQ(cStringBack, nullptr);
  ASSERT_TRUE(unarchiver.decodeValueOfObjCType("*", &cStringBack, sizeof cStringBack));
  EXPECT_STREQ(cStringBack, cString);
  const Class* clsBack = nullptr;
  ASSERT_TRUE(unarchiver.decodeValueOfObjCType("#", &clsBack, sizeof clsBack));
  EXPECT_EQ(clsBack, cls);
  EXPECT_FALSE(unarchiver.decodeValueOfObjCType("{x=i}", &structure, sizeof structure));
  std::int64_t wrongSize = 0;  // "i" is 4 bytes: refused, and the position still moves on
  EXPECT_FALSE(unarchiver.decodeValueOfObjCType("i", &wrongSize, sizeof wrongSize));
  double realBack = 0;
  ASSERT_TRUE(unarchiver.decodeValueOfObjCType("d", &realBack, sizeof realBack));
  EXPECT_EQ(realBack, real);
  EXPECT_EQ(unarchiver.decodeDataObject(), Data{9});
  EXPECT_EQ(unarchiver.decodeObject(), Value(u"eight"));
  std::int32_t past = 42;  // no tenth value
  EXPECT_FALSE(unarchiver.decodeValueOfObjCType("i", &past, sizeof past));
  EXPECT_EQ(past, 42);
}

TEST(LXStateRestorationArchiverTest, ClassNameMapsRenameClassesInEveryRecord) {
  Data unused;
  LXStateRestorationArchiver probe(unused);
  EXPECT_EQ(probe.classNameForClass(nullptr), std::nullopt);
  EXPECT_TRUE(probe.originalClassesForClass(nullptr).empty());
  probe.setClassName(u"Ignored", nullptr);  // a null class does nothing

  const struct {
    const char* name;
    std::optional<String> shared;  // shared name for SRView and SRViewRestorer
    std::optional<String> own;     // this archiver's name for them
    const char16_t* expected;      // "X" => "X" and "XRestorer"
  } cases[] = {
      {"none", std::nullopt, std::nullopt, u"SRView"},
      {"shared", u"Shared", std::nullopt, u"Shared"},
      {"own", std::nullopt, u"Own", u"Own"},
      {"own over shared", u"Shared", u"Own", u"Own"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const auto suffixed = [](const std::optional<String>& prefix, StringView suffix) {
      return prefix ? std::optional(*prefix + String(suffix)) : std::nullopt;
    };
    LXStateRestorationArchiver::setSharedClassName(suffixed(c.shared, u""), &SRView::staticClass());
    LXStateRestorationArchiver::setSharedClassName(suffixed(c.shared, u"Restorer"),
                                                   &SRViewRestorer::staticClass());
    const Dictionary top = archiveOf(archive([&](LXStateRestorationArchiver& a) {
      a.setClassName(suffixed(c.own, u""), &SRView::staticClass());
      a.setClassName(suffixed(c.own, u"Restorer"), &SRViewRestorer::staticClass());
      EXPECT_EQ(a.classNameToEncodeForClass(Object::staticClass()), u"Object");
      a.encodeObject(Value(restorableView(u"v")), u"v");
    }));
    const Dictionary item = *entryOf(top, rootKeysOf(top)[u"v"]).asDictionary();
    const String expected(c.expected);
    EXPECT_EQ(item[u"c"], Value(expected));
    EXPECT_EQ(item[u"oc"], Value(Array{Value(expected), Value(u"Object")}));
    EXPECT_EQ(item[u"rc"], Value(expected + u"Restorer"));
    EXPECT_EQ(LXStateRestorationArchiver::sharedClassNameForClass(&SRView::staticClass()),
              suffixed(c.shared, u""));
  }
  LXStateRestorationArchiver::setSharedClassName(std::nullopt, &SRView::staticClass());
  LXStateRestorationArchiver::setSharedClassName(std::nullopt, &SRViewRestorer::staticClass());
}

TEST(LXStateRestorationArchiverTest, FinishEncodingForgetsEveryStoredObject) {
  const Value note = noteWithTitle(u"n");
  Data data;
  LXStateRestorationArchiver archiver(data);
  archiver.encodeObject(note, u"before");
  archiver.finishEncoding();
  const Dictionary first = archiveOf(data);
  EXPECT_EQ(first[u"o"].asDictionary()->size(), 2u);

  // The same object is new to the emptied tables; only it is written again.
  archiver.encodeObject(note, u"after");
  archiver.finishEncoding();
  const Dictionary second = archiveOf(data);
  const Dictionary root = rootKeysOf(second);
  EXPECT_NE(root[u"before"], root[u"after"]);
  EXPECT_TRUE(entryOf(second, root[u"before"]).isNull());
  EXPECT_TRUE(entryOf(second, root[u"after"]).isDictionary());
  EXPECT_EQ(second[u"o"].asDictionary()->size(), 2u);
}

TEST(LXStateRestorationArchiverTest, CollectionsLoseTheirNullMembersAndValuesReadBackAsWritten) {
  const Value note = noteWithTitle(u"n");
  const Value array(Array{1, Value(), note, note});
  const Value dictionary(
      Dictionary{{u"b", u"x"}, {u"", Value()}, {u"a", note}, {u"z", Array{u"x", Value()}}});
  const Data data = archive([&](LXStateRestorationArchiver& a) {
    a.encodeObject(array, u"array");
    a.encodeObject(array, u"again");
    a.encodeObject(dictionary, u"dictionary");
    a.encodeObject(Value(Date(12.5)), u"date");
    a.encodeBytes(Data{}, u"empty bytes");
    a.encodeBytes(Data{0, 255}, u"bytes");
    a.encodeString(u"", u"empty string");
  });
  const Dictionary top = archiveOf(data);
  const Dictionary root = rootKeysOf(top);
  EXPECT_NE(root[u"array"], root[u"again"]);  // collections are values
  const Dictionary arrayItem = *entryOf(top, root[u"array"]).asDictionary();
  EXPECT_EQ(arrayItem[u"c"], Value(u"NSArray"));
  const Dictionary members = *arrayItem[u"v"].asDictionary();
  EXPECT_EQ(members.keys(), (std::vector<String>{u"LX.coding.0", u"LX.coding.2", u"LX.coding.3"}));
  EXPECT_EQ(members[u"LX.coding.2"], members[u"LX.coding.3"]);
  const Dictionary dictionaryItem = *entryOf(top, root[u"dictionary"]).asDictionary();
  EXPECT_EQ(dictionaryItem[u"c"], Value(u"NSDictionary"));
  EXPECT_EQ(dictionaryItem[u"v"].asDictionary()->keys(), (std::vector<String>{u"b", u"a", u"z"}));
  EXPECT_EQ((*dictionaryItem[u"v"].asDictionary())[u"a"], members[u"LX.coding.2"]);

  LXStateRestorationUnarchiver unarchiver(data);
  const Value arrayBack = unarchiver.decodeObjectForKey(u"array");
  ASSERT_TRUE(arrayBack.isArray());
  ASSERT_EQ(arrayBack.asArray()->size(), 3u);
  const Value noteBack = (*arrayBack.asArray())[1];
  EXPECT_EQ(arrayBack, Value(Array{1, noteBack, noteBack}));
  EXPECT_EQ((*arrayBack.asArray())[2].asObject(), noteBack.asObject());
  const Value back = unarchiver.decodeObjectForKey(u"dictionary");
  EXPECT_EQ(back, Value(Dictionary{{u"b", u"x"}, {u"a", noteBack}, {u"z", Array{u"x"}}}));
  EXPECT_EQ(back.asDictionary()->keys(), (std::vector<String>{u"b", u"a", u"z"}));
  EXPECT_EQ((*back.asDictionary())[u"a"].asObject(), noteBack.asObject());
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

// A chain of `depth` notes, each linking the next.
Value noteChain(std::size_t depth) {
  Value chain;
  for (std::size_t i = 0; i < depth; ++i) {
    auto note = std::make_shared<SRNote>();
    note->link = std::move(chain);
    chain = Value(note);
  }
  return chain;
}

std::size_t storedChainLength(const Dictionary& top) {
  std::size_t length = 0;
  for (Value entry = entryOf(top, rootKeysOf(top)[u"chain"]); entry.isDictionary();) {
    ++length;
    const Value& keys = (*entry.asDictionary())[u"v"];
    entry = keys.isDictionary() ? entryOf(top, (*keys.asDictionary())[u"link"]) : Value();
  }
  return length;
}

TEST(LXStateRestorationArchiverTest, GraphsDeeperThanTheLimitAreCutThere) {
  const struct {
    std::size_t depth;
    std::size_t stored;
    bool logged;
  } cases[] = {
      {1, 1, false},
      {LXStateRestorationMaximumDepth, LXStateRestorationMaximumDepth, false},
      {LXStateRestorationMaximumDepth + 1, LXStateRestorationMaximumDepth, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.depth);
    ScopedLogCapture log;
    const Value chain = noteChain(c.depth);
    const Dictionary top =
        archiveOf(archive([&](LXStateRestorationArchiver& a) { a.encodeObject(chain, u"chain"); }));
    EXPECT_EQ(storedChainLength(top), c.stored);
    const auto lines = log.lines();
    EXPECT_EQ(lines.size(), c.logged ? 1u : 0u);
    if (c.logged) {
      EXPECT_EQ(lines[0].rfind(u"CONDITION FAILED: object graph nests deeper than 1024 objects: "
                               u"<SRNote: 0x",
                               0),
                0u);
    }
  }
}

TEST(LXStateRestorationArchiverTest, PlistutilReadsTheArchiveAndItsXMLReadsBack) {
  const Value chain = noteChain(3);
  const Data data = archive([&](LXStateRestorationArchiver& a) {
    a.encodeObject(chain, u"chain");
    a.encodeObject(Value(restorableView(u"main")), u"view");
    a.encodeDouble(0.5, u"half");
  });
  const auto folder = test::makeTemporaryFolder("plistutil");
  test::writeFile(folder / "archive.bplist",
                  std::string_view(reinterpret_cast<const char*>(data.data()), data.size()));
  const std::string command = "plistutil -i '" + (folder / "archive.bplist").string() + "' -o '" +
                              (folder / "archive.xml").string() + "' -f xml";
  ASSERT_EQ(std::system(command.c_str()), 0);
  const std::string xml = test::readFile(folder / "archive.xml");
  EXPECT_NE(xml.find("<key>oc</key>"), std::string::npos);
  EXPECT_NE(xml.find("<string>SRViewRestorer</string>"), std::string::npos);
  // plistutil's own XML reads back as the same archive.
  const std::optional<Value> fromXML =
      PropertyList::read(DataView(reinterpret_cast<const std::uint8_t*>(xml.data()), xml.size()));
  ASSERT_TRUE(fromXML);
  EXPECT_EQ(rootKeysOf(*fromXML->asDictionary()), rootKeysOf(archiveOf(data)));
  EXPECT_EQ(LXStateRestorationUnarchiver(dataFromBytes(xml)).decodeDoubleForKey(u"half"), 0.5);
}

}  // namespace
}  // namespace lx::srtest
