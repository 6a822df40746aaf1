#include "vantorcore/platform/PropertyList.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdint>
#include <filesystem>
#include <limits>
#include <sstream>
#include <utility>
#include <vector>

#include "support/TestSupport.h"
#include "vantorcore/platform/FileIO.h"
#include "vantorcore/platform/Object.h"

namespace lx {
namespace {

using Format = PropertyList::Format;

Value roundTrip(const Value& value, Format format) {
  ErrorPtr error;
  const std::optional<Data> bytes = PropertyList::write(value, format, &error);
  EXPECT_TRUE(bytes) << (error ? toUTF8(error->description()) : "");
  if (!bytes) return Value();
  Format detected{};
  const std::optional<Value> back = PropertyList::read(*bytes, &error, &detected);
  EXPECT_TRUE(back) << (error ? toUTF8(error->description()) : "");
  EXPECT_EQ(detected, format);
  return back.value_or(Value());
}

// A binary document holding `objects` (references are 4 bytes, offsets 8),
// with object 0 at the top.
Data binaryDocument(const std::vector<Data>& objects) {
  Data d = dataFromBytes("bplist00");
  std::vector<std::uint64_t> offsets;
  for (const Data& object : objects) {
    offsets.push_back(d.size());
    d.insert(d.end(), object.begin(), object.end());
  }
  const std::uint64_t table = d.size();
  const auto put64 = [&](std::uint64_t v) {
    for (int shift = 56; shift >= 0; shift -= 8) d.push_back((v >> shift) & 0xFF);
  };
  for (std::uint64_t offset : offsets) put64(offset);
  d.insert(d.end(), 6, 0);
  d.push_back(8);  // offset size
  d.push_back(4);  // reference size
  put64(objects.size());
  put64(0);
  put64(table);
  return d;
}

void appendReference(Data& object, std::uint32_t index) {
  for (int shift = 24; shift >= 0; shift -= 8) object.push_back((index >> shift) & 0xFF);
}

// `count` objects where object i is an array holding `fanOut` references to
// object i + 1, and the last is an empty array: `count` levels deep, and
// 2^count objects once expanded when `fanOut` is 2.
Data nestedBinary(std::uint32_t count, int fanOut) {
  std::vector<Data> objects;
  for (std::uint32_t i = 0; i + 1 < count; ++i) {
    Data array{static_cast<std::uint8_t>(0xA0 | fanOut)};
    for (int k = 0; k < fanOut; ++k) appendReference(array, i + 1);
    objects.push_back(array);
  }
  objects.push_back(Data{0xA0});
  return binaryDocument(objects);
}

// A one-entry dictionary whose key is the UTF-16 text `key` (big-endian).
Data dictionaryWithUTF16Key(Data key) {
  Data dict{0xD1};
  appendReference(dict, 1);
  appendReference(dict, 2);
  key.insert(key.begin(), static_cast<std::uint8_t>(0x60 | (key.size() / 2)));
  return binaryDocument({dict, key, dataFromBytes("\x51v")});
}

TEST(PropertyListTest, EveryValueTypeSurvivesBothFormats) {
  constexpr auto kMax = std::numeric_limits<std::int64_t>::max();
  constexpr auto kMin = std::numeric_limits<std::int64_t>::min();
  const struct {
    const char* name;
    Value value;
  } cases[] = {
      {"true", Value(true)},
      {"false", Value(false)},
      {"zero", Value(0)},
      {"negative", Value(-1)},
      {"int64 min", Value(kMin)},
      {"int64 max", Value(kMax)},
      {"uint64 max", Value(std::numeric_limits<std::uint64_t>::max())},
      {"2^63", Value(std::uint64_t{1} << 63)},
      {"real", Value(-0.25)},
      {"huge real", Value(1e300)},
      {"empty string", Value(u"")},
      {"unicode string", Value(u"h\u00e9llo \U0001F600 <&>")},
      {"empty data", Value(Data{})},
      {"data", Value(Data{0, 1, 0xFF, '<'})},
      {"date", Value(Date(1700000000))},
      {"date before 1970", Value(Date(-86400 * 365))},
      {"date beyond 32-bit seconds", Value(Date::distantFuture())},
      {"date long ago", Value(Date::distantPast())},
      {"uid", Value(Dictionary{{u"CF$UID", Value(std::uint64_t{7})}})},
      {"array", Value(Array{1, u"two", Array{}, Dictionary{}})},
      {"dictionary", Value(Dictionary{{u"z", 1}, {u"a", Array{true}}, {u"\u00fc", Data{1}}})},
      {"containers inside containers",
       Value(Array{Array{1, 2}, Dictionary{{u"a", Array{3, Dictionary{{u"b", 4}}}}}, 5})},
      {"unsorted keys", Value(Dictionary{{u"zebra", 1}, {u"apple", 2}, {u"mango", 3}})},
      {"containers inside containers",
       Value(Dictionary{{u"r", Dictionary{{u"v", Dictionary{{u"k", u"x"}}}}},
                        {u"o", Array{Array{1, 2}, Dictionary{{u"a", Array{3}}}}}})},
  };
  for (Format format : {Format::XML, Format::Binary}) {
    for (const auto& c : cases) {
      SCOPED_TRACE(std::string(c.name) + (format == Format::XML ? " (XML)" : " (binary)"));
      const Value back = roundTrip(c.value, format);
      EXPECT_EQ(back, c.value);
      EXPECT_EQ(back.type(), c.value.type());
      if (c.value.isDictionary()) {
        EXPECT_EQ(back.asDictionary()->keys(), c.value.asDictionary()->keys()) << "document order";
      }
    }
  }
}

TEST(PropertyListTest, BinaryDatesKeepMicroseconds) {
  const Date date(1700000000.123456);
  const Value back = roundTrip(Value(date), Format::Binary);
  ASSERT_TRUE(back.isDate());
  EXPECT_NEAR(back.asDate()->timeIntervalSince1970(), date.timeIntervalSince1970(), 1e-6);
}

TEST(PropertyListTest, ValuesWithoutAPropertyListFormAreRefused) {
  const struct {
    const char* name;
    Value value;
    std::optional<Format> onlyIn;
  } cases[] = {
      {"null", Value(), std::nullopt},
      {"object", Value(std::make_shared<Object>()), std::nullopt},
      {"null in array", Value(Array{1, Value()}), std::nullopt},
      {"string with NUL (XML)", Value(String(u"a\0b", 3)), Format::XML},
      {"key with NUL (XML)", Value(Dictionary{{String(u"k\0", 2), 1}}), Format::XML},
  };
  for (Format format : {Format::XML, Format::Binary}) {
    for (const auto& c : cases) {
      if (c.onlyIn && *c.onlyIn != format) continue;
      SCOPED_TRACE(c.name);
      ErrorPtr error;
      EXPECT_FALSE(PropertyList::write(c.value, format, &error));
      ASSERT_TRUE(error);
      EXPECT_EQ(error->domain(), NSCocoaErrorDomain);
      EXPECT_EQ(error->code(), NSPropertyListWriteInvalidError);
    }
  }
  Value deep = Value(Array{});
  for (std::size_t i = 0; i < PropertyList::kMaximumDepth + 1; ++i) deep = Value(Array{deep});
  EXPECT_FALSE(PropertyList::write(deep, Format::Binary));
}

TEST(PropertyListTest, MalformedAndHostileInputGivesAnError) {
  const Data valid = *PropertyList::write(Value(Array{1, u"x"}), Format::Binary);
  std::string deepXML = "<plist>";
  for (int i = 0; i < 100000; ++i) deepXML += "<array>";
  const struct {
    const char* name;
    Data bytes;
  } cases[] = {
      {"empty", Data{}},
      {"text", dataFromBytes("hello")},
      {"signature only", dataFromBytes("bplist00")},
      {"truncated binary", Data(valid.begin(), valid.end() - 5)},
      {"unterminated XML", dataFromBytes("<plist><array>")},
      {"deep XML", dataFromBytes(deepXML)},
      {"deep binary", nestedBinary(PropertyList::kMaximumDepth + 2, 1)},
      {"exponential binary", nestedBinary(40, 2)},
      {"reference out of range", binaryDocument({Data{0xA1, 0, 0, 0, 1}})},
      {"array holding itself", binaryDocument({Data{0xA1, 0, 0, 0, 0}})},
      {"key that is not a string",
       binaryDocument({Data{0xD1, 0, 0, 0, 1, 0, 0, 0, 1}, Data{0x10, 1}})},
      {"unknown marker", binaryDocument({Data{0x70}})},
      {"17-byte integer", binaryDocument({Data{0x15, 0}})},
      {"data before a bad reference",
       binaryDocument({Data{0xA2, 0, 0, 0, 1, 0, 0, 0, 9}, Data{0x42, 1, 2}})},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ErrorPtr error;
    EXPECT_FALSE(PropertyList::read(c.bytes, &error));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), NSPropertyListReadCorruptError);
  }
  // Nesting within the limit is fine.
  EXPECT_TRUE(PropertyList::read(nestedBinary(100, 1)));
  EXPECT_TRUE(PropertyList::read(nestedBinary(12, 2)));
  // Sharing a scalar is not expansion: 2^20 + 2 references to one string,
  // past the limit on extra objects, read (keyed archives share UIDs so).
  constexpr std::uint32_t kReferences = (1u << 20) + 2;
  Data array{0xAF, 0x12};
  appendReference(array, kReferences);
  for (std::uint32_t i = 0; i < kReferences; ++i) appendReference(array, 1);
  const std::optional<Value> shared = PropertyList::read(binaryDocument({array, Data{0x51, 'x'}}));
  ASSERT_TRUE(shared && shared->isArray());
  EXPECT_EQ(shared->asArray()->size(), kReferences);
  EXPECT_EQ(PropertyList::read(dictionaryWithUTF16Key(Data{0, 'a', 0, 'b'})),
            Value(Dictionary{{u"ab", u"v"}}));
  EXPECT_EQ(PropertyList::read(dictionaryWithUTF16Key(Data{0, 'a', 0, 0})),
            Value(Dictionary{{String(u"a\0", 2), u"v"}}));
}

// A binary document lives in one block of memory; what is taken out of it
// must outlive it, and a change to one place must not show in another place
// that shared the same object in the document.
TEST(PropertyListTest, ValuesOfABinaryDocumentOutliveItAndChangeAlone) {
  // [shared, shared, data, Latin-1 string, {"k": shared}], shared = ["x"].
  Data top{0xA5};
  for (std::uint32_t ref : {1, 1, 3, 4, 5}) appendReference(top, ref);
  Data shared{0xA1};
  appendReference(shared, 2);
  Data dict{0xD1};
  appendReference(dict, 6);
  appendReference(dict, 1);
  std::optional<Value> document =
      PropertyList::read(binaryDocument({top, shared, dataFromBytes("\x51x"), Data{0x43, 0, 1, 2},
                                         Data{0x52, 0xE9, 'a'}, dict, dataFromBytes("\x51k")}));
  ASSERT_TRUE(document);
  const Array& items = *std::as_const(*document).asArray();
  Value first = items[0];
  const Value second = items[1];
  const Value data = items[2];
  const Value latin1 = items[3];
  const Value inDictionary = (*items[4].asDictionary())[u"k"];
  document.reset();
  first.asArray()->push_back(Value(1));
  EXPECT_EQ(first, Value(Array{u"x", 1}));
  EXPECT_EQ(second, Value(Array{u"x"}));
  EXPECT_EQ(inDictionary, Value(Array{u"x"}));
  EXPECT_EQ(data, Value(Data{0, 1, 2}));
  EXPECT_EQ(latin1, Value(u"\u00e9a"));
}

// Documents written by Python's plistlib, read here, and ours read by it.
// Each row is a Python expression and the value it stands for.
TEST(PropertyListTest, DocumentsMoveBothWaysWithPython) {
  constexpr auto kUInt64Max = std::numeric_limits<std::uint64_t>::max();
  const String fourteen(14, u'x'), fifteen(15, u'x');
  const struct {
    const char* python;
    Value value;
    bool binaryOnly;
  } cases[] = {
      {"'nul\\0inside'", Value(String(u"nul\0inside", 10)), true},
      {"'\\0'", Value(String(1, u'\0')), true},
      {"{'k\\0': 1}", Value(Dictionary{{String(u"k\0", 2), 1}}), true},
      {"'\\U0001F600 astral'", Value(u"\U0001F600 astral"), false},
      {"''", Value(u""), false},
      {"'x' * 14", Value(fourteen), false},
      {"'x' * 15", Value(fifteen), false},
      {"[]", Value(Array{}), false},
      {"{}", Value(Dictionary{}), false},
      {"list(range(15))", Value(Array{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14}), false},
      {"2**64 - 1", Value(kUInt64Max), false},
      {"2**63", Value(std::uint64_t{1} << 63), false},
      {"2**63 - 1", Value(std::numeric_limits<std::int64_t>::max()), false},
      {"-2**63", Value(std::numeric_limits<std::int64_t>::min()), false},
      {"datetime.datetime(1969, 12, 31, 23, 59, 59)", Value(Date(-1)), false},
      {"datetime.datetime(1900, 1, 1)", Value(Date(-2208988800.0)), false},
      {"plistlib.UID(0)", Value(Dictionary{{u"CF$UID", Value(std::uint64_t{0})}}), true},
      {"plistlib.UID(255)", Value(Dictionary{{u"CF$UID", Value(std::uint64_t{255})}}), true},
      {"plistlib.UID(256)", Value(Dictionary{{u"CF$UID", Value(std::uint64_t{256})}}), true},
      {"plistlib.UID(2**32)", Value(Dictionary{{u"CF$UID", Value(std::uint64_t{1} << 32)}}), true},
  };
  // One python3 run per direction and format: documents travel as hex lines.
  const auto hex = [](DataView d) {
    std::string out;
    for (std::uint8_t b : d) out += "0123456789abcdef"[b >> 4], out += "0123456789abcdef"[b & 15];
    return out;
  };
  for (Format format : {Format::Binary, Format::XML}) {
    const std::string fmt = format == Format::Binary ? "plistlib.FMT_BINARY" : "plistlib.FMT_XML";
    std::string expected = "import datetime, plistlib, sys\nexpected = [\n";
    std::string ours;
    std::vector<const Value*> values;
    for (const auto& c : cases) {
      if (c.binaryOnly && format == Format::XML) continue;
      expected += std::string(c.python) + ",\n";
      values.push_back(&c.value);
      const std::optional<Data> written = PropertyList::write(c.value, format);
      ASSERT_TRUE(written) << c.python;
      ours += hex(*written) + "\n";
    }
    expected += "]\n";
    const std::optional<std::string> theirs = test::runPython(
        expected + "for v in expected: print(plistlib.dumps(v, fmt=" + fmt + ").hex())\n");
    const std::optional<std::string> verdicts =
        test::runPython(expected +
                            "for v, line in zip(expected, sys.stdin):\n"
                            "    print(plistlib.loads(bytes.fromhex(line.strip())) == v)\n",
                        ours);
    ASSERT_TRUE(theirs && verdicts) << "python3 failed";
    std::istringstream theirLines(*theirs), verdictLines(*verdicts);
    for (const Value* value : values) {
      SCOPED_TRACE(toUTF8(value->description()) + (format == Format::XML ? " (XML)" : " (binary)"));
      std::string line, verdict;
      ASSERT_TRUE(std::getline(theirLines, line) && std::getline(verdictLines, verdict));
      Data bytes;
      for (std::size_t i = 0; i + 1 < line.size(); i += 2) {
        bytes.push_back(static_cast<std::uint8_t>(std::stoi(line.substr(i, 2), nullptr, 16)));
      }
      EXPECT_EQ(PropertyList::read(bytes), *value) << "reading python's document";
      EXPECT_EQ(verdict, "True") << "python reading ours";
    }
  }
}

TEST(PropertyListTest, FilesAreWrittenAtomicallyWithTheirMode) {
  const auto folder = test::makeTemporaryFolder("plist");
  const String path = fromUTF8((folder / "p.plist").string());
  ASSERT_TRUE(
      PropertyList::writeFileAtomically(Value(Dictionary{{u"k", 1}}), Format::XML, path, 0600));
  struct stat st {};
  ASSERT_EQ(::stat(toUTF8(path).c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0600u);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 1);  // no leftovers
  Format format{};
  EXPECT_EQ(PropertyList::readFile(path, nullptr, &format), Value(Dictionary{{u"k", 1}}));
  EXPECT_EQ(format, Format::XML);

  // A failed write leaves the old file alone.
  EXPECT_FALSE(PropertyList::writeFileAtomically(Value(), Format::XML, path));
  EXPECT_EQ(PropertyList::readFile(path), Value(Dictionary{{u"k", 1}}));

  ErrorPtr error;
  EXPECT_FALSE(PropertyList::readFile(path + u"-missing", &error));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code(), NSFileReadNoSuchFileError);
}

}  // namespace
}  // namespace lx
