#include "vantorcore/archiving/KeyedUnarchiver.h"

#include <gtest/gtest.h>

#include <limits>

#include "archiving/KeyedArchiveTestSupport.h"
#include "support/TestSupport.h"
#include "vantorcore/platform/Log.h"
#include "vantorcore/platform/URLObject.h"
#include "vantorcore/platform/ValueClasses.h"
#include "vantorcore/text/LXUUID.h"

namespace lx {
namespace {

using test::archiveWith;
using test::binary;
using test::classRecord;
using test::KANote;
using test::KAPlain;
using test::uid;

Value arrayObject(Array members, std::uint64_t classIndex) {
  return Value(
      Dictionary{{u"NS.objects", Value(std::move(members))}, {u"$class", uid(classIndex)}});
}

// `count` NSArrays, each holding the next; the class record comes last.
Data chainOfArrays(std::size_t count) {
  std::vector<Value> objects;
  objects.reserve(count + 1);
  for (std::size_t i = 1; i <= count; ++i) {
    objects.push_back(arrayObject(i < count ? Array{uid(i + 1)} : Array{}, count + 1));
  }
  objects.push_back(classRecord(u"NSArray"));
  return binary(archiveWith(std::move(objects)));
}

struct Outcome {
  Value value;
  ErrorPtr error;
  std::vector<String> log;
};

Outcome decodeRoot(const Data& data, bool secure = false) {
  Outcome out;
  ScopedLogCapture capture;
  auto unarchiver = KeyedUnarchiver::initForReadingFromData(data, &out.error);
  if (unarchiver) {
    unarchiver->setRequiresSecureCoding(secure);
    out.value = unarchiver->decodeObject();
    out.error = unarchiver->error();
  }
  out.log = capture.lines();
  return out;
}

TEST(KeyedUnarchiverTest, BadInputGivesNullAndACorruptionErrorNeverACrash) {
  const auto with = [](std::vector<Value> objects, std::uint64_t root = 1) {
    return binary(archiveWith(std::move(objects), root));
  };
  const Data valid = with({u"ok"});
  Value notArray = archiveWith({});
  notArray.asDictionary()->set(u"$objects", u"nope");
  Value noTop = archiveWith({u"x"});
  noTop.asDictionary()->erase(u"$top");
  Value otherVersion = archiveWith({u"x"});
  otherVersion.asDictionary()->set(u"$version", 99999);
  const Value classUID = Dictionary{{u"$class", uid(2)}};
  const struct {
    const char* name;
    Data data;
    const char16_t* description = nullptr;
  } cases[] = {
      {"empty", Data{}},
      {"not a property list", dataFromBytes("hello")},
      {"truncated", Data(valid.begin(), valid.end() - 1)},
      {"a plain property list", binary(Array{1})},
      {"$objects not an array", binary(notArray)},
      {"no $top", binary(noTop)},
      {"another version", binary(otherVersion)},
      {"root UID one past the end", with({u"x"}, 2)},
      {"member UID one past the end", with({arrayObject({uid(3)}, 2), classRecord(u"NSArray")})},
      {"class record without $classname", with({classUID, Dictionary{{u"$classes", Array{}}}})},
      {"$class naming a string", with({classUID, u"NSArray"})},
      {"dictionary without $class", with({Dictionary{{u"a", 1}}})},
      {"unknown class", with({classUID, classRecord(u"NoSuchClass")})},
      {"NSArray without NS.objects", with({classUID, classRecord(u"NSArray")})},
      {"dictionary key not a string",
       with({Dictionary{
                 {u"NS.keys", Array{uid(3)}}, {u"NS.objects", Array{uid(3)}}, {u"$class", uid(2)}},
             classRecord(u"NSDictionary"), 1})},
      {"keys and objects of different lengths",
       with({Dictionary{{u"NS.keys", Array{uid(3)}}, {u"NS.objects", Array{}}, {u"$class", uid(2)}},
             classRecord(u"NSDictionary"), u"k"})},
      {"UUID of 15 bytes", with({Dictionary{{u"NS.uuidbytes", Data(15, 1)}, {u"$class", uid(2)}},
                                 classRecord(u"NSUUID")})},
      {"date that is no number",
       with({Dictionary{{u"NS.time", u"x"}, {u"$class", uid(2)}}, classRecord(u"NSDate")})},
      {"arrays nested one too deep", chainOfArrays(KeyedUnarchiver::kMaximumDepth + 1)},
      {"a million chained objects", chainOfArrays(1000000),
       u"The archive nests objects too deeply."},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const Outcome out = decodeRoot(c.data);
    EXPECT_TRUE(out.value.isNull());
    ASSERT_TRUE(out.error);
    EXPECT_EQ(out.error->domain(), NSCocoaErrorDomain);
    EXPECT_EQ(out.error->code(), NSCoderReadCorruptError);
    if (c.description) {
      EXPECT_EQ(out.error->localizedDescription(), c.description);
    }
  }
  const Outcome deepest = decodeRoot(chainOfArrays(KeyedUnarchiver::kMaximumDepth));
  EXPECT_FALSE(deepest.error);
  EXPECT_TRUE(deepest.value.isArray());
}

TEST(KeyedUnarchiverTest, CyclesGiveNullWithALogLine) {
  const struct {
    const char* name;
    Data data;
  } cases[] = {
      {"array holding itself",
       binary(archiveWith({arrayObject({uid(1)}, 2), classRecord(u"NSArray")}))},
      {"two arrays holding each other",
       binary(archiveWith(
           {arrayObject({uid(2)}, 3), arrayObject({uid(1)}, 3), classRecord(u"NSArray")}))},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const Outcome out = decodeRoot(c.data);
    EXPECT_FALSE(out.error);
    ASSERT_EQ(out.log.size(), 1u);
    EXPECT_TRUE(out.log[0].starts_with(u"CONDITION FAILED: object 1 of the keyed archive"));
  }
}

TEST(KeyedUnarchiverTest, SecureDecodingChecksClassesBeforeMakingObjects) {
  auto note = std::make_shared<KANote>();
  note->title = u"n";
  const Data noteArchive = *KeyedArchiver::archivedDataWithRootObject(Value(note), true);
  auto plain = std::make_shared<KAPlain>();
  const Data plainArchive = *KeyedArchiver::archivedDataWithRootObject(Value(plain), false);
  const Data arrayOfNotes =
      *KeyedArchiver::archivedDataWithRootObject(Value(Array{Value(note)}), true);
  const Data strings = *KeyedArchiver::archivedDataWithRootObject(Value(Array{u"a"}), true);
  const Class* notes[] = {&KANote::staticClass()};
  const Class* arrays[] = {&ValueClasses::array()};
  const Class* arraysOfNotes[] = {&ValueClasses::array(), &KANote::staticClass()};
  const Class* arraysOfStrings[] = {&ValueClasses::array(), &ValueClasses::string()};
  const Class* plains[] = {&KAPlain::staticClass()};
  const Class* objects[] = {&Object::staticClass()};
  const struct {
    const char* name;
    const Data* data;
    std::span<const Class* const> allowed;
    bool decoded;
  } cases[] = {
      {"its own class", &noteArchive, notes, true},
      {"a superclass", &noteArchive, objects, true},
      {"another class", &noteArchive, arrays, false},
      {"array with its member class", &arrayOfNotes, arraysOfNotes, true},
      {"array without its member class", &arrayOfNotes, arrays, false},
      {"array of strings", &strings, arraysOfStrings, true},
      {"array of strings, strings not allowed", &strings, arrays, false},
      {"class without secure coding", &plainArchive, plains, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ErrorPtr error;
    const Value v = KeyedUnarchiver::unarchivedObjectOfClasses(c.allowed, *c.data, &error);
    EXPECT_EQ(!v.isNull(), c.decoded);
    EXPECT_EQ(error == nullptr, c.decoded);
    if (error) {
      EXPECT_EQ(error->code(), NSCoderReadCorruptError);
    }
  }
  ErrorPtr error;
  KeyedUnarchiver::unarchivedObjectOfClass(ValueClasses::string(), noteArchive, &error);
  ASSERT_TRUE(error);
  EXPECT_EQ(error->localizedDescription(),
            u"value for key 'root' was of unexpected class 'KANote'. Allowed classes are "
            u"'{(NSString)}'.");
  // Plain decodeObjectForKey: property-list kinds only.
  EXPECT_TRUE(decodeRoot(strings, true).value.isArray());
  EXPECT_TRUE(decodeRoot(noteArchive, true).value.isNull());
  EXPECT_TRUE(decodeRoot(noteArchive, false).value.objectAs<KANote>());
  // A missing root.
  KeyedArchiver empty;
  KeyedUnarchiver::unarchivedObjectOfClass(ValueClasses::string(), *empty.encodedData(), &error);
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code(), NSCoderValueNotFoundError);
}

TEST(KeyedUnarchiverTest, ScalarsStopAtTheirTypesLimits) {
  constexpr std::int64_t kMax32 = std::numeric_limits<std::int32_t>::max();
  constexpr std::int64_t kMin32 = std::numeric_limits<std::int32_t>::min();
  const struct {
    Value stored;
    std::optional<std::int32_t> int32;  // absent: fails
    std::optional<std::int64_t> int64;
  } cases[] = {
      {Value(kMax32), kMax32, kMax32},
      {Value(kMax32 + 1), std::nullopt, kMax32 + 1},
      {Value(kMin32), static_cast<std::int32_t>(kMin32), kMin32},
      {Value(kMin32 - 1), std::nullopt, kMin32 - 1},
      {Value(std::numeric_limits<std::int64_t>::max()), std::nullopt,
       std::numeric_limits<std::int64_t>::max()},
      {Value(std::uint64_t{1} << 63), std::nullopt, std::nullopt},
      {Value(u"12"), 0, 0},  // not a number: 0, no failure
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.stored.description()));
    Value plist = archiveWith({});
    plist.asDictionary()->set(u"$top", Value(Dictionary{{u"n", c.stored}}));
    const Data data = binary(plist);
    auto reader = KeyedUnarchiver::initForReadingFromData(data);
    ASSERT_TRUE(reader);
    EXPECT_EQ(reader->decodeInt32ForKey(u"n"), c.int32.value_or(0));
    EXPECT_EQ(reader->error() != nullptr, !c.int32.has_value());
    reader = KeyedUnarchiver::initForReadingFromData(data);
    EXPECT_EQ(reader->decodeInt64ForKey(u"n"), c.int64.value_or(0));
    EXPECT_EQ(reader->error() != nullptr, !c.int64.has_value());
  }
}

// An archive in exactly the structure the desktop platform writes, built by
// hand in Python from the published format.
constexpr const char* kPlatformArchive = R"PY(
import plistlib, sys, uuid
U = plistlib.UID
def cls(name, *supers):
    return {'$classname': name, '$classes': [name, *supers, 'NSObject']}
objects = [
    '$null',
    {'NS.keys': [U(2), U(3), U(4), U(5), U(6), U(7), U(8), U(9)],
     'NS.objects': [U(10), U(11), U(12), U(15), U(17), U(19), U(21), U(23)],
     '$class': U(26)},
    'string', 'mutable', 'date', 'list', 'set', 'uuid', 'url', 'nul',
    'plain',
    {'NS.string': 'edited', '$class': U(13)},
    {'NS.time': -31536000.5, '$class': U(14)},
    cls('NSMutableString', 'NSString'),
    cls('NSDate'),
    {'NS.objects': [U(16), U(0), U(10)], '$class': U(24)},
    2**64 - 1,
    {'NS.objects': [U(18)], '$class': U(25)},
    True,
    {'NS.uuidbytes': uuid.UUID('68753A44-4D6F-1226-9C60-0050E4C00067').bytes, '$class': U(20)},
    cls('NSUUID'),
    {'NS.base': U(0), 'NS.relative': U(22), '$class': U(27)},
    'https://example.com/a%20b',
    'nul\0inside',
    cls('NSMutableArray', 'NSArray'),
    cls('NSSet'),
    cls('NSMutableDictionary', 'NSDictionary'),
    cls('NSURL'),
]
archive = {'$version': 100000, '$archiver': 'NSKeyedArchiver',
           '$top': {'root': U(1)}, '$objects': objects}
sys.stdout.buffer.write(plistlib.dumps(archive, fmt=plistlib.FMT_BINARY))
)PY";

TEST(KeyedUnarchiverTest, ReadsAnArchiveInThePlatformsStructure) {
  const std::optional<std::string> archive = test::runPython(kPlatformArchive);
  ASSERT_TRUE(archive) << "python3 failed";
  const Data data = dataFromBytes(*archive);
  const Class* classes[] = {&ValueClasses::dictionary(), &ValueClasses::string(),
                            &ValueClasses::number(),     &ValueClasses::date(),
                            &ValueClasses::array(),      &ValueClasses::set(),
                            &LXUUID::staticClass(),      &URLObject::staticClass()};
  ErrorPtr error;
  const Value root = KeyedUnarchiver::unarchivedObjectOfClasses(classes, data, &error);
  ASSERT_FALSE(error) << toUTF8(error->localizedDescription());
  const Dictionary* dict = root.asDictionary();
  ASSERT_TRUE(dict);
  EXPECT_EQ((*dict)[u"string"], Value(u"plain"));
  EXPECT_EQ((*dict)[u"mutable"], Value(u"edited"));
  EXPECT_EQ((*dict)[u"date"], Value(Date(978307200.0 - 31536000.5)));
  EXPECT_EQ((*dict)[u"list"],
            Value(Array{Value(std::numeric_limits<std::uint64_t>::max()), Value(), u"plain"}));
  EXPECT_EQ((*dict)[u"set"], Value(Array{true}));
  EXPECT_EQ((*dict)[u"nul"], Value(String(u"nul\0inside", 10)));
  const auto uuid = (*dict)[u"uuid"].objectAs<LXUUID>();
  ASSERT_TRUE(uuid);
  EXPECT_EQ(uuid->stringValue(), u"68753A44-4D6F-1226-9C60-0050E4C00067");
  const auto url = (*dict)[u"url"].objectAs<URLObject>();
  ASSERT_TRUE(url);
  EXPECT_EQ(url->url().absoluteString(), u"https://example.com/a%20b");

  // Without the UUID class allowed, the secure read stops at it.
  const Outcome plain = decodeRoot(data, true);
  EXPECT_TRUE(plain.value.isNull());
  ASSERT_TRUE(plain.error);
  EXPECT_EQ(plain.error->localizedDescription(),
            u"value for key 'root' was of unexpected class 'LXUUID'. Allowed classes are '{()}'.");
}

// Python resolves our archive by the published rules and prints the graph.
constexpr const char* kResolveArchive = R"PY(
import plistlib, sys
a = plistlib.loads(sys.stdin.buffer.read())
assert a['$archiver'] == 'NSKeyedArchiver' and a['$version'] == 100000
objs = a['$objects']
assert objs[0] == '$null'
def res(v):
    if isinstance(v, plistlib.UID):
        o = objs[v.data]
        if o == '$null': return None
        if isinstance(o, dict) and '$class' in o:
            c = objs[o['$class'].data]
            assert c['$classes'][-1] == 'NSObject'
            name = c['$classname']
            if name == 'NSArray': return [res(x) for x in o['NS.objects']]
            if name == 'NSDictionary':
                return {res(k): res(x) for k, x in zip(o['NS.keys'], o['NS.objects'])}
            if name == 'NSDate': return 'date:%r' % o['NS.time']
            return {'$class': name, **{k: res(x) for k, x in o.items() if k != '$class'}}
        return o
    return v
print(repr(res(a['$top']['root'])))
)PY";

TEST(KeyedUnarchiverTest, OurArchivesFollowThePublishedFormat) {
  auto note = std::make_shared<KANote>();
  note->title = u"t\u00e9";
  note->count = 3;
  const Value root(Dictionary{{u"a", Value(Array{1, Value(), u"x"})},
                              {u"d", Value(Date::withTimeIntervalSinceReferenceDate(2.5))},
                              {u"n", Value(note)}});
  const auto data = KeyedArchiver::archivedDataWithRootObject(root, true);
  ASSERT_TRUE(data);
  const std::optional<std::string> printed = test::runPython(kResolveArchive, asStringView(*data));
  ASSERT_TRUE(printed) << "python rejected the archive";
  EXPECT_EQ(
      *printed,
      "{'a': [1, None, 'x'], 'd': 'date:2.5', 'n': {'$class': 'KANote', 'title': 't\xc3\xa9', "
      "'count': 3}}\n");
}

}  // namespace
}  // namespace lx
