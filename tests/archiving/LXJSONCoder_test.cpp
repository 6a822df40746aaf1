#include "vantorcore/archiving/LXJSONCoder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "support/TestSupport.h"
#include "vantorcore/platform/Exception.h"
#include "vantorcore/platform/JSON.h"
#include "vantorcore/platform/Log.h"
#include "vantorcore/text/LXUUID.h"

namespace lx {

// A small model written once against `Coder`.
class JCPerson : public Object, public Coding {
  LX_DECLARE_CLASS(JCPerson)
 public:
  String first;
  void encodeWithCoder(Coder& coder) const override { coder.encodeString(first, u"first"); }
  static std::shared_ptr<JCPerson> initWithCoder(Coder& coder) {
    auto p = std::make_shared<JCPerson>();
    p->first = coder.decodeStringForKey(u"first").value_or(u"");
    return p;
  }
};
class JCStudent : public JCPerson {
  LX_DECLARE_CLASS(JCStudent)
};
// Writes raw bytes; remembers what came back for them and for a missing key.
class JCBlob : public Object, public Coding {
  LX_DECLARE_CLASS(JCBlob)
 public:
  Data bytes;
  std::optional<Data> decoded, missing;
  void encodeWithCoder(Coder& coder) const override { coder.encodeBytes(bytes, u"b"); }
  static std::shared_ptr<JCBlob> initWithCoder(Coder& coder) {
    auto blob = std::make_shared<JCBlob>();
    blob->decoded = coder.decodeBytesForKey(u"b");
    blob->missing = coder.decodeBytesForKey(u"none");
    return blob;
  }
};
class JCItem : public Object, public Coding {
  LX_DECLARE_CLASS(JCItem)
 public:
  std::int64_t id = 0;
  explicit JCItem(std::int64_t i = 0) : id(i) {}
  void encodeWithCoder(Coder& coder) const override { coder.encodeInt64(id, u"id"); }
  static std::shared_ptr<JCItem> initWithCoder(Coder& coder) {
    return std::make_shared<JCItem>(coder.decodeInt64ForKey(u"id"));
  }
  bool isEqual(const Object& o) const override {
    auto* item = dynamic_cast<const JCItem*>(&o);
    return item && item->id == id;
  }
  std::size_t hash() const noexcept override { return static_cast<std::size_t>(id); }
};
class JCAccount : public Object, public Coding {
  LX_DECLARE_CLASS(JCAccount)
 public:
  String name;
  double balance = 0;
  float rate = 0;
  bool active = false;
  std::int32_t level = 0;
  Date created;
  Data avatar;
  Array tags;
  std::shared_ptr<JCPerson> owner;
  Array items;
  Value extra;  // anything, for the edge cases

  void encodeWithCoder(Coder& coder) const override {
    coder.encodeString(name, u"name");
    coder.encodeDouble(balance, u"balance");
    coder.encodeFloat(rate, u"rate");
    coder.encodeBool(active, u"active");
    coder.encodeInt32(level, u"level");
    coder.encodeObject(Value(created), u"created");
    coder.encodeObject(Value(avatar), u"avatar");
    coder.encodeObject(Value(tags), u"tags");
    coder.encodeObject(Value(owner), u"owner");
    coder.encodeObject(Value(items), u"items");
    coder.encodeObject(extra, u"extra");
  }
  // Nested objects come back as dictionaries; the model rebuilds them
  // through the unarchiver, as the archive's readers are meant to.
  static std::shared_ptr<JCAccount> initWithCoder(Coder& coder) {
    auto a = std::make_shared<JCAccount>();
    a->name = coder.decodeStringForKey(u"name").value_or(u"");
    a->balance = coder.decodeDoubleForKey(u"balance");
    a->rate = coder.decodeFloatForKey(u"rate");
    a->active = coder.decodeBoolForKey(u"active");
    a->level = coder.decodeInt32ForKey(u"level");
    const Value created = coder.decodeObjectForKey(u"created");
    if (const Date* d = created.asDate()) a->created = *d;
    const Value avatar = coder.decodeObjectForKey(u"avatar");
    if (const Data* d = avatar.asData()) a->avatar = *d;
    const Value tags = coder.decodeObjectForKey(u"tags");
    if (const Array* t = tags.asArray()) a->tags = *t;
    if (auto* reader = dynamic_cast<LXJSONKeyedUnarchiver*>(&coder)) {
      if (reader->pushObjectForKey(u"owner", String(u"owner"))) {
        a->owner = reader->decodeObject().objectAs<JCPerson>();
        reader->pop();
      }
      if (reader->pushObjectForKey(u"items", String(u"items"))) {
        const Value list = reader->decodeArrayOfClass(nullptr);
        if (const Array* members = list.asArray()) a->items = *members;
        reader->pop();
      }
    }
    return a;
  }
};
LX_DEFINE_CLASS(JCPerson, Object)
LX_DEFINE_CLASS(JCStudent, JCPerson)
LX_DEFINE_CLASS(JCItem, Object)
LX_DEFINE_CLASS(JCBlob, Object)
LX_DEFINE_CLASS(JCAccount, Object)

namespace {

constexpr double k2024_03_01_14_05 = 1709301900;  // 2024-03-01 14:05:00 GMT

std::shared_ptr<JCAccount> sampleAccount() {
  auto a = std::make_shared<JCAccount>();
  a->name = u"Joe";
  a->balance = 12.5;
  a->rate = 0.1f;
  a->active = true;
  a->level = -7;
  a->created = Date(k2024_03_01_14_05 + 59.9);
  a->avatar = Data{0, 1, 2};
  a->tags = Array{Value(u"a"), Value(u"b")};
  a->owner = std::make_shared<JCPerson>();
  a->owner->first = u"Ann";
  a->items = Array{Value(std::make_shared<JCItem>(1)), Value(std::make_shared<JCItem>(2))};
  return a;
}

Value parse(const Data& data) {
  return JSONSerialization::JSONObjectWithData(data).value_or(Value());
}

Data archive(const Value& root, LXJSONKeyedArchiver* configured = nullptr) {
  LXJSONKeyedArchiver local;
  LXJSONKeyedArchiver& archiver = configured ? *configured : local;
  archiver.encodeObject(root);
  return archiver.encodedData().value_or(Data());
}

Data bytes(std::string_view text) { return dataFromBytes(text); }

// A reader of an empty document with the JSON text `json` pushed under `id`.
std::unique_ptr<LXJSONKeyedUnarchiver> readerOn(std::string_view json, StringView id) {
  auto reader = LXJSONKeyedUnarchiver::initForReadingWithData(bytes("{}"));
  reader->pushObject(parse(bytes(json)), String(id));
  return reader;
}

// The root object's body in an archive.
Dictionary bodyOf(const Data& data) {
  const Value doc = parse(data);
  const Dictionary* top = doc.asDictionary();
  if (!top || top->empty() || !top->begin()->second.isDictionary()) return {};
  return *top->begin()->second.asDictionary();
}

// --- Writing -----------------------------------------------------------------

TEST(LXJSONKeyedArchiverTest, TheWorkedExampleIsWrittenAndReadBack) {
  const Data data = archive(Value(sampleAccount()));
  EXPECT_NE(asStringView(data).find("\n"), std::string_view::npos) << "pretty-printed";
  const Value doc = parse(data);
  ASSERT_TRUE(doc.isDictionary());
  EXPECT_EQ(doc.asDictionary()->keys(), std::vector<String>{u"JCAccount"});
  const Dictionary& body = *doc.asDictionary()->find(u"JCAccount")->asDictionary();
  EXPECT_FALSE(body.contains(u"@class")) << "the top body names no class";
  EXPECT_EQ(body[u"name"], Value(u"Joe"));
  EXPECT_EQ(body[u"balance"], Value(12.5));
  EXPECT_EQ(body[u"active"], Value(true));
  EXPECT_EQ(body[u"level"], Value(-7));
  EXPECT_EQ(body[u"created"], Value(u"2024-03-01 14:05:00 GMT"));
  EXPECT_EQ(body[u"avatar"], Value(u"AAEC.$_data_"));
  EXPECT_EQ(body[u"tags"], Value(Array{Value(u"a"), Value(u"b")}));
  EXPECT_EQ(body[u"owner"], Value(Dictionary{{u"first", u"Ann"}, {u"@class", u"JCPerson"}}));
  const Value wrapped(Array{Value(Dictionary{
      {u"JCItem", Value(Array{Value(Dictionary{{u"id", 1}, {u"@class", u"JCItem"}}),
                              Value(Dictionary{{u"id", 2}, {u"@class", u"JCItem"}})})}})});
  EXPECT_EQ(body[u"items"], wrapped);
  EXPECT_NE(asStringView(data).find("\"rate\" : 0.1,"), std::string_view::npos)
      << "floats are written with single precision";

  const Value decoded = LXJSONKeyedUnarchiver::unarchiveObjectWithData(data);
  auto a = decoded.objectAs<JCAccount>();
  ASSERT_TRUE(a);
  EXPECT_EQ(a->name, u"Joe");
  EXPECT_EQ(a->balance, 12.5);
  EXPECT_EQ(a->rate, 0.1f);
  EXPECT_TRUE(a->active);
  EXPECT_EQ(a->level, -7);
  EXPECT_EQ(a->created, Date(k2024_03_01_14_05)) << "14:05:59.9 reads back as 14:05:00";
  EXPECT_EQ(a->avatar, (Data{0, 1, 2}));
  EXPECT_EQ(a->tags, (Array{Value(u"a"), Value(u"b")}));
  ASSERT_TRUE(a->owner);
  EXPECT_EQ(a->owner->first, u"Ann");
  ASSERT_EQ(a->items.size(), 2u);
  EXPECT_EQ(a->items[1].objectAs<JCItem>()->id, 2);
}

TEST(LXJSONKeyedArchiverTest, ClassMetadataOffDropsClassAndWrapper) {
  LXJSONKeyedArchiver archiver;
  archiver.setEncodeClassMetadata(false);
  const Dictionary body = bodyOf(archive(Value(sampleAccount()), &archiver));
  EXPECT_EQ(body[u"owner"], Value(Dictionary{{u"first", u"Ann"}}));
  EXPECT_EQ(body[u"items"],
            Value(Array{Value(Dictionary{{u"id", 1}}), Value(Dictionary{{u"id", 2}})}));
}

TEST(LXJSONKeyedArchiverTest, ArraysLoseNullsEmptyOnesAreOmittedAndAnObjectFirstWrapsThem) {
  const Value item(std::make_shared<JCItem>(3));
  const Value itemBody(Dictionary{{u"id", 3}, {u"@class", u"JCItem"}});
  const struct {
    const char* name;
    Value extra;
    std::optional<Value> written;
  } cases[] = {
      {"empty array", Array{}, std::nullopt},
      {"all-JSON array of empty arrays is written as is", Array{Array{}, Array{}},
       Array{Array{}, Array{}}},
      {"nested array, nulls dropped", Array{Array{Date(0), Value()}, u"x"},
       Array{Array{u"1970-01-01 00:00:00 GMT"}, u"x"}},
      {"array of strings stays plain", Array{u"s"}, Array{u"s"}},
      {"dictionary with a date keeps keys, no class", Dictionary{{u"when", Date(60)}},
       Dictionary{{u"when", u"1970-01-01 00:01:00 GMT"}}},
      {"object first: wrapped", Array{item, u"text"},
       Array{Dictionary{{u"JCItem", Array{itemBody, u"text"}}}}},
      {"string first: no wrapper", Array{u"text", item}, Array{u"text", itemBody}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    auto a = std::make_shared<JCAccount>();
    a->extra = c.extra;
    const Dictionary body = bodyOf(archive(Value(a)));
    EXPECT_EQ(body.contains(u"extra") ? std::optional(body[u"extra"]) : std::nullopt, c.written);
    EXPECT_FALSE(body.contains(u"tags")) << "the account's own empty array is omitted too";
  }
}

TEST(LXJSONKeyedArchiverTest, SuppressedKeysApplyToTheExactClassOnly) {
  LXJSONKeyedArchiver archiver;
  archiver.suppressKey(u"first", JCPerson::staticClass());
  EXPECT_TRUE(archiver.isKeySuppressed(u"first", JCPerson::staticClass()));
  EXPECT_FALSE(archiver.isKeySuppressed(u"first", JCStudent::staticClass()));
  auto a = sampleAccount();
  a->extra = Value(std::make_shared<JCStudent>());
  std::static_pointer_cast<JCPerson>(a->extra.asObject())->first = u"Stu";
  const Dictionary body = bodyOf(archive(Value(a), &archiver));
  EXPECT_EQ(body[u"owner"], Value(Dictionary{{u"@class", u"JCPerson"}}));
  EXPECT_EQ(body[u"extra"], Value(Dictionary{{u"first", u"Stu"}, {u"@class", u"JCStudent"}}));
}

class Substituter : public LXJSONKeyedArchiverDelegate {
 public:
  Value answer;
  std::vector<String> askedKeys;
  Value substitutionForValue(LXJSONKeyedArchiver&, const Value& object, const Value&,
                             StringView key) override {
    askedKeys.emplace_back(key);
    return key == u"name" ? answer : Value();
  }
};

TEST(LXJSONKeyedArchiverTest, DelegateMaySubstituteJSONValuesOnly) {
  for (const Value& answer : {Value(42), Value(Date(0))}) {
    SCOPED_TRACE(toUTF8(answer.description()));
    ScopedLogCapture capture;
    auto delegate = std::make_shared<Substituter>();
    delegate->answer = answer;
    LXJSONKeyedArchiver archiver;
    archiver.setDelegate(delegate);
    const Dictionary body = bodyOf(archive(Value(sampleAccount()), &archiver));
    const bool valid = answer.isNumber();
    EXPECT_EQ(body.contains(u"name") ? std::optional(body[u"name"]) : std::nullopt,
              valid ? std::optional(answer) : std::nullopt);
    EXPECT_EQ(body[u"balance"], Value(12.5));
    EXPECT_EQ(std::count(delegate->askedKeys.begin(), delegate->askedKeys.end(), u"created"), 0)
        << "object values are not offered";
    EXPECT_EQ(capture.contains(
                  u"LXJSONCoder - delegate substitued an invalid JSON object, cannot encode data."),
              !valid);
  }
}

TEST(LXJSONKeyedArchiverTest, CyclesThrowByEqualityButSharingIsWrittenTwice) {
  auto a = std::make_shared<JCAccount>();
  a->extra = Value(Array{Value(std::make_shared<JCItem>(5))});
  a->items = Array{Value(std::make_shared<JCItem>(5))};  // equal, not the same
  LXJSONKeyedArchiver ok;
  auto shared = std::make_shared<JCPerson>();
  a->owner = shared;
  a->tags = Array{Value(shared)};
  EXPECT_NO_THROW(ok.encodeObject(Value(a))) << "siblings are not cycles";

  auto self = std::make_shared<JCAccount>();
  self->extra = Value(self);
  LXJSONKeyedArchiver archiver;
  try {
    archiver.encodeObject(Value(self));
    FAIL() << "no exception";
  } catch (const Exception& e) {
    EXPECT_EQ(e.name(), u"Circular Reference Not Allowed");
    EXPECT_TRUE(hasPrefix(e.reason(), u"Found circular reference for <JCAccount: 0x"));
    EXPECT_TRUE(hasSuffix(e.reason(), u"> "));
  }
  self->extra = Value();  // break the cycle for the allocator

  auto looping = std::make_shared<JCAccount>();
  looping->items = Array{Value(looping)};
  EXPECT_THROW(LXJSONKeyedArchiver().encodeObject(Value(looping)), Exception);
  looping->items.clear();
}

TEST(LXJSONKeyedArchiverTest, DatesHaveMinutePrecisionInGMT) {
  struct Case {
    double seconds;
    const char16_t* text;
  };
  const Case cases[] = {
      {k2024_03_01_14_05, u"2024-03-01 14:05:00 GMT"},
      {k2024_03_01_14_05 + 59.999, u"2024-03-01 14:05:00 GMT"},
      {k2024_03_01_14_05 - 0.001, u"2024-03-01 14:04:00 GMT"},
      {0, u"1970-01-01 00:00:00 GMT"},
      {-1, u"1969-12-31 23:59:00 GMT"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.seconds);
    EXPECT_EQ(LXJSONKeyedArchiver::getEncodingForDate(Date(c.seconds)), c.text);
  }
}

TEST(LXJSONKeyedArchiverTest, OutputIsCachedAndFailuresGiveNoData) {
  LXJSONKeyedArchiver archiver;
  EXPECT_FALSE(archiver.encodedData().has_value()) << "nothing encoded yet";
  auto a = sampleAccount();
  archiver.encodeObject(Value(a));
  const auto first = archiver.encodedData();
  ASSERT_TRUE(first.has_value());
  EXPECT_FALSE(archiver.json().has_value());
  a->name = u"Changed";
  archiver.encodeObject(Value(a));
  EXPECT_EQ(archiver.encodedData(), first) << "computed once";

  LXJSONKeyedArchiver nan;
  a->balance = std::nan("");
  nan.encodeObject(Value(a));
  EXPECT_FALSE(nan.encodedData().has_value());

  ScopedLogCapture capture;
  LXJSONKeyedArchiver text;
  text.encodeObject(Value(u"text"));
  EXPECT_FALSE(text.encodedData().has_value());
  EXPECT_EQ(capture.lines().size(), 1u) << "a non-object root is a condition failure";
}

// --- Reading -----------------------------------------------------------------

TEST(LXJSONKeyedUnarchiverTest, NestedObjectsUnderKeysComeBackAsDictionaries) {
  auto reader = LXJSONKeyedUnarchiver::initForReadingWithData(archive(Value(sampleAccount())));
  ASSERT_TRUE(reader);
  reader->pushObject(Value(bodyOf(archive(Value(sampleAccount())))), String(u"body"));
  EXPECT_EQ(reader->decodeObjectForKey(u"owner"),
            Value(Dictionary{{u"first", u"Ann"}, {u"@class", u"JCPerson"}}));
  EXPECT_TRUE(reader->decodeObjectForKey(u"items").isArray());
  EXPECT_TRUE(reader->decodeObjectForKey(u"missing").isNull());
  EXPECT_FALSE(reader->containsValueForKey(u"missing"));
  EXPECT_EQ(reader->decodeInt32ForKey(u"missing"), 0);
  EXPECT_FALSE(reader->decodeBoolForKey(u"missing"));
  // What the foundation conversion cannot read comes back as it stands.
  reader->pushObject(Value(Dictionary{{u"d", u".$_data_"}, {u"n", Value()}, {u"e", u""}}),
                     String(u"x"));
  EXPECT_EQ(reader->decodeObjectForKey(u"d"), Value(u".$_data_"));
  EXPECT_TRUE(reader->decodeObjectForKey(u"n").isNull());
  EXPECT_EQ(reader->decodeObjectForKey(u"e"), Value(u""));
}

TEST(LXJSONKeyedUnarchiverTest, FoundationObjectsConvertMarkers) {
  struct Case {
    const char* name;
    Value json;
    Value decoded;
  };
  const Data blob{0, 1, 2};
  const Case cases[] = {
      {"date", u"2024-03-01 14:05:00 GMT", Date(k2024_03_01_14_05)},
      {"date with offset", u"2024-03-01 16:05:00 GMT+02:00", Date(k2024_03_01_14_05)},
      {"not a date: seconds", u"2024-03-01 14:05:30 GMT", u"2024-03-01 14:05:30 GMT"},
      {"not a date: month 13", u"2024-13-01 14:05:00 GMT", u"2024-13-01 14:05:00 GMT"},
      {"data", u"AAEC.$_data_", blob},
      {"bare suffix", u".$_data_", Value()},
      {"bad base64", u"A!EC.$_data_", Value()},
      {"empty string", u"", Value()},
      {"null", Value(), Value()},
      {"number", 7, 7},
      {"plain text", u"hello", u"hello"},
      {"dictionary keeps nulls and empties",
       Dictionary{{u"n", Value()}, {u"e", u""}, {u"d", u"AAEC.$_data_"}},
       Dictionary{{u"n", Value()}, {u"e", u""}, {u"d", blob}}},
      {"array keeps nulls", Array{Value(), u""}, Array{Value(), u""}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(LXJSONKeyedUnarchiver::decodeFoundationObject(c.json), c.decoded);
  }
}

TEST(LXJSONKeyedUnarchiverTest, TypedDecodersConvertTextAndKeepTheAtKeyQuirk) {
  auto reader = LXJSONKeyedUnarchiver::initForReadingWithData(bytes(
      R"({"X": {"i": "42", "b": "true", "y": "Y", "d": "2.5", "big": 8589934592,
                "@n": 5, "@s": "7", "obj": {"a": 1}, "arr": [1], "nul": null}})"));
  ASSERT_TRUE(reader);
  reader->pushObject(reader->topJsonObject().asDictionary()->begin()->second, String(u"X"));
  EXPECT_EQ(reader->decodeIntForKey(u"i"), 42);
  EXPECT_EQ(reader->decodeInt64ForKey(u"i"), 42);
  EXPECT_TRUE(reader->decodeBoolForKey(u"b"));
  EXPECT_TRUE(reader->decodeBoolForKey(u"y"));
  EXPECT_EQ(reader->decodeDoubleForKey(u"d"), 2.5);
  EXPECT_EQ(reader->decodeFloatForKey(u"d"), 2.5f);
  EXPECT_EQ(reader->decodeInt64ForKey(u"big"), 8589934592);
  EXPECT_EQ(reader->decodeInt32ForKey(u"big"), 0) << "keeps the low 32 bits";
  // "@" keys: the plain-lookup decoders read them, the others do not.
  EXPECT_EQ(reader->decodeInt32ForKey(u"@n"), 5);
  EXPECT_TRUE(reader->decodeBoolForKey(u"@n"));
  EXPECT_EQ(reader->decodeInt64ForKey(u"@n"), 0);
  EXPECT_EQ(reader->decodeDoubleForKey(u"@s"), 0.0);
  EXPECT_EQ(reader->decodeFloatForKey(u"@n"), 0.0f);
  for (const char16_t* key : {u"obj", u"arr", u"nul"}) {
    SCOPED_TRACE(toUTF8(key));
    EXPECT_EQ(reader->decodeInt32ForKey(key), 0);
    EXPECT_EQ(reader->decodeInt64ForKey(key), 0);
    EXPECT_EQ(reader->decodeDoubleForKey(key), 0.0);
    EXPECT_EQ(reader->decodeFloatForKey(key), 0.0f);
    EXPECT_FALSE(reader->decodeBoolForKey(key));
  }
}

TEST(LXJSONKeyedUnarchiverTest, ServerDocumentsWithProxiesAliasesAndSQLDates) {
  const Data doc = bytes(R"({"JCAccount": {"name": "Srv"}, "Ignored": {}})");
  auto a = LXJSONKeyedUnarchiver::unarchiveObjectWithData(doc).objectAs<JCAccount>();
  ASSERT_TRUE(a) << "the first key is the root";
  EXPECT_EQ(a->name, u"Srv");

  struct Case {
    const char* name;
    const char* body;
    Value expected;  // a date, or a JCPerson's first name, or null
  };
  const Case cases[] = {
      {"timestamp", R"({"@class": "sql-timestamp", "$": "2013-05-01 10:20:30.0"})",
       Value(Date(1367403630))},
      {"timestamp with fraction", R"({"@class": "sql-timestamp", "$": "2013-05-01 10:20:30.5"})",
       Value()},
      {"sql date", R"({"@class": "sql-date", "$": "2013-05-01"})", Value(Date(1367366400))},
      {"sql time", R"({"@class": "sql-time", "$": "10:20:30"})", Value(Date(37230))},
      {"missing text", R"({"@class": "sql-date"})", Value()},
      {"resolves-to wins",
       R"({"@class": "com.server.Unknown", "@resolves-to": "Person", "first": "P"})", Value(u"P")},
      {"alias by class word", R"({"@class": "Person", "first": "Q"})", Value(u"Q")},
      {"unknown class", R"({"@class": "com.server.Unknown"})", Value()},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    auto reader = readerOn(c.body, u"extra");
    reader->addAlias(u"Person", JCPerson::staticClass());
    const Value decoded = reader->decodeObject();
    if (auto person = decoded.objectAs<JCPerson>()) {
      EXPECT_EQ(Value(person->first), c.expected);
    } else {
      EXPECT_EQ(decoded, c.expected);
    }
  }
}

TEST(LXJSONKeyedUnarchiverTest, ArraysOfClassChooseTheirHolder) {
  ScopedLogCapture capture;
  struct Case {
    const char* name;
    const char* array;
    const char16_t* id;
    bool knownClass;
    Value expected;  // item ids for instances, or plain values
    const char16_t* logLine;
  };
  const Case cases[] = {
      {"writer's wrapper",
       R"([{"JCItem": [{"id": 1, "@class": "JCItem"}, {"id": 2, "@class": "JCItem"}]}])", u"items",
       false, Value(Array{Value(1), Value(2)}), u"Change arrays class from items to JCItem"},
      {"wrapper without class metadata", R"([{"JCItem": [{"id": 3}]}])", u"JCItem", false,
       Value(Array{Value(3)}), nullptr},
      {"one-key members with a known class: only the first is read", R"([{"id": 1}, {"id": 2}])",
       u"JCItem", true, Value(Array{Value(0)}), nullptr},
      {"many-key members are plain dictionaries", R"([{"a": 1, "b": 2}, {"a": 3, "b": 4}])",
       u"rows", false,
       Value(
           Array{Value(Dictionary{{u"a", 1}, {u"b", 2}}), Value(Dictionary{{u"a", 3}, {u"b", 4}})}),
       u"Change arrays class from rows to object"},
      {"one-key members of an unknown class", R"([{"zz": 1}, {"zz": 2}])", u"rows", false,
       Value(Array{Value(Dictionary{{u"zz", 1}}), Value(Dictionary{{u"zz", 2}})}), nullptr},
      {"primitives", R"([1, null, "", "x"])", u"rows", false, Value(Array{Value(1), Value(u"x")}),
       nullptr},
      {"empty", R"([])", u"rows", false, Value(Array{}), nullptr},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const Value decoded = readerOn(c.array, c.id)
                              ->decodeArrayOfClass(c.knownClass ? &JCItem::staticClass() : nullptr);
    ASSERT_TRUE(decoded.isArray());
    Array simplified;
    for (const Value& v : *decoded.asArray()) {
      auto item = v.objectAs<JCItem>();
      simplified.push_back(item ? Value(item->id) : v);
    }
    EXPECT_EQ(Value(simplified), c.expected);
    if (c.logLine) {
      EXPECT_TRUE(capture.contains(c.logLine));
    }
  }
}

TEST(LXJSONKeyedUnarchiverTest, ArraysOfObjectsAtTheRoot) {
  const Data doc =
      bytes(R"({"JCItem": [{"id": 1, "@class": "JCItem"}, {"id": 2, "@class": "JCItem"}]})");
  for (bool direct : {false, true}) {
    SCOPED_TRACE(direct ? "decodeArrayOfClass on the document" : "decodeObject");
    auto reader = LXJSONKeyedUnarchiver::initForReadingWithData(doc);
    const Value decoded =
        direct ? reader->decodeArrayOfClass(&JCItem::staticClass()) : reader->decodeObject();
    ASSERT_TRUE(decoded.isArray());
    ASSERT_EQ(decoded.asArray()->size(), 2u);
    EXPECT_EQ(decoded.asArray()->back().objectAs<JCItem>()->id, 2);
  }
}

TEST(LXJSONKeyedUnarchiverTest, FatalArrayCasesThrowInvalidArgument) {
  struct Case {
    const char* name;
    const char* array;
  };
  const Case cases[] = {
      {"member that decodes to null", R"([{"JCItem": [{"@class": "com.Unknown"}]}])"},
      {"empty first member, null class", R"([{}, {"a": 1}])"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_THROW(readerOn(c.array, u"rows")->decodeArrayOfClass(nullptr), InvalidArgumentException);
  }
}

TEST(LXJSONKeyedUnarchiverTest, BadDocumentsGiveTheDocumentedResults) {
  ScopedLogCapture capture;
  struct Case {
    const char* name;
    std::string json;
    bool logsError;
  };
  const Case cases[] = {
      {"malformed", R"({"JCPerson": )", true},
      {"invalid UTF-8", "{\"JCPerson\": {\"first\": \"\xC3\x28\"}}", true},
      {"deep nesting", std::string(100000, '[') + std::string(100000, ']'), true},
      {"huge number", R"({"JCItem": {"id": 123456789012345678901234567890}})", true},
      {"top-level string", R"("JCPerson")", true},
      {"top-level array", R"([{"JCPerson": {}}])", false},
      {"empty object", R"({})", false},
      {"unknown class", R"({"com.Unknown": {"a": 1}})", false},
      {"null class word", R"({"NSNull": [1, 2]})", false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const std::size_t before = capture.lines().size();
    EXPECT_TRUE(LXJSONKeyedUnarchiver::unarchiveObjectWithData(bytes(c.json)).isNull());
    const auto lines = capture.lines();
    EXPECT_EQ(lines.size() > before && hasPrefix(lines.back(), u"Error {"), c.logsError);
  }
}

TEST(LXJSONKeyedUnarchiverTest, ReadsFilesAndAnswersNullForUnreadableOnes) {
  const auto folder = test::makeTemporaryFolder();
  test::writeFile(folder / "a.json", R"({"JCItem": {"id": 9}})");
  auto item = LXJSONKeyedUnarchiver::unarchiveObjectWithFile(fromUTF8((folder / "a.json").string()))
                  .objectAs<JCItem>();
  ASSERT_TRUE(item);
  EXPECT_EQ(item->id, 9);
  ScopedLogCapture capture;
  EXPECT_TRUE(
      LXJSONKeyedUnarchiver::unarchiveObjectWithFile(fromUTF8((folder / "no").string())).isNull());
  EXPECT_TRUE(capture.lines().empty());
}

TEST(LXJSONKeyedUnarchiverTest, StringRootAndStackAsymmetry) {
  EXPECT_EQ(LXJSONKeyedUnarchiver::unarchiveObjectWithData(bytes(R"({"JCItem": "just text"})")),
            Value(u"just text"));
  auto reader = LXJSONKeyedUnarchiver::initForReadingWithData(bytes(R"({"A": 1})"));
  EXPECT_EQ(reader->topJsonObjectId(), u"root");
  reader->pushObject(Value(1), std::nullopt);  // a value without an id
  EXPECT_EQ(reader->topJsonObjectId(), u"root");
  reader->pop();  // removes the value and the "root" id
  EXPECT_EQ(reader->topJsonObjectId(), u"");
  EXPECT_TRUE(reader->topJsonObject().isDictionary());
}

TEST(LXJSONKeyedUnarchiverTest, UUIDRoundTripsAsAValue) {
  auto uuid = LXUUID::UUID();
  const Data data = archive(Value(uuid));
  EXPECT_EQ(bodyOf(data), (Dictionary{{u"UUID", Value(uuid->stringValue())}}));
  auto back = LXJSONKeyedUnarchiver::unarchiveObjectWithData(data).objectAs<LXUUID>();
  ASSERT_TRUE(back);
  EXPECT_TRUE(back->isEqual(*uuid));
}

TEST(LXJSONKeyedUnarchiverTest, BytesTravelAsData) {
  const struct {
    Data bytes;
    std::optional<Data> back;
  } cases[] = {
      {Data{}, std::nullopt},  // an empty ".$_data_" reads as nothing
      {Data{0}, Data{0}},
      {Data{1, 2}, Data{1, 2}},
      {Data{0xFF, 0, 0xFE}, Data{0xFF, 0, 0xFE}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.bytes.size());
    auto blob = std::make_shared<JCBlob>();
    blob->bytes = c.bytes;
    const auto back =
        LXJSONKeyedUnarchiver::unarchiveObjectWithData(archive(Value(blob))).objectAs<JCBlob>();
    ASSERT_TRUE(back);
    EXPECT_EQ(back->decoded, c.back);
    EXPECT_FALSE(back->missing);
  }
}

TEST(CoderTest, ArchiversRefuseReadingAndReadersRefuseWriting) {
  LXJSONKeyedArchiver archiver;
  EXPECT_TRUE(archiver.allowsKeyedCoding());
  EXPECT_THROW(archiver.decodeObjectForKey(u"k"), InvalidArgumentException);
  auto reader = LXJSONKeyedUnarchiver::initForReadingWithData(bytes("{}"));
  EXPECT_THROW(reader->encodeInt32(1, u"k"), InvalidArgumentException);
}

}  // namespace
}  // namespace lx
