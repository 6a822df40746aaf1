#include "vantorcore/platform/JSON.h"

#include <gtest/gtest.h>

#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

#include "support/TestSupport.h"

namespace lx {

namespace {

std::optional<Value> read(std::string_view text, unsigned options = 0) {
  return JSONSerialization::JSONObjectWithData(text, options);
}

std::string write(const Value& value, unsigned options = 0) {
  return JSONSerialization::stringWithJSONObject(value, options).value_or("<failed>");
}

TEST(JSONReadingTest, KeepsNumberKindsAndMemberOrder) {
  const auto v = read(R"({"z": 1, "a": -2, "m": 18446744073709551615, "f": 1.0, "t": true,
                          "n": null, "s": "x", "arr": [1.5e3]})");
  ASSERT_TRUE(v && v->isDictionary());
  const Dictionary& d = *v->asDictionary();
  EXPECT_EQ(d.keys(), (std::vector<String>{u"z", u"a", u"m", u"f", u"t", u"n", u"s", u"arr"}));
  EXPECT_EQ(d[u"z"].type(), Value::Type::Integer);
  EXPECT_EQ(d[u"a"].int64Value(), -2);
  EXPECT_EQ(d[u"m"].type(), Value::Type::UnsignedInteger);
  EXPECT_EQ(d[u"m"].uint64Value(), std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(d[u"f"].type(), Value::Type::Real) << "1.0 stays a floating number";
  EXPECT_EQ(d[u"t"].type(), Value::Type::Bool);
  EXPECT_TRUE(d[u"n"].isNull());
  EXPECT_TRUE(d.contains(u"n"));
  EXPECT_EQ(d[u"arr"], Value(Array{Value(1500.0)}));
}

TEST(JSONReadingTest, DecodesStringsToUTF16) {
  struct Case {
    std::string_view json;
    String text;
  };
  const Case cases[] = {
      {R"(["plain ascii text that is longer than eight"])",
       u"plain ascii text that is longer than eight"},
      {R"(["caf\u00e9 \"q\" \\ \/ \n\t"])", u"café \"q\" \\ / \n\t"},
      {"[\"ascii then \xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80 mixed\"]", u"ascii then é€😀 mixed"},
      {R"(["\ud83d\ude00"])", u"😀"},
      {R"([""])", u""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.json));
    const auto v = read(c.json);
    ASSERT_TRUE(v);
    EXPECT_EQ(v->asArray()->front(), Value(c.text));
  }
}

TEST(JSONReadingTest, RejectsBadInputSayingWhatAndWhere) {
  const String fragments =
      u"JSON text did not start with array or object and option to allow fragments not set.";
  struct Case {
    std::string json;
    String description;
  };
  const Case cases[] = {
      {R"({"a": )", u"Unexpected end of input at byte 6"},
      {"[1,]", u"Unexpected character ']' at byte 3"},
      {"[\"ok\", \"\xC3\x28\"]", u"Invalid UTF-8 at byte 8"},
      {R"(["\ud800"])", u"Invalid surrogate escape at byte 2"},
      {"[18446744073709551616]", u"Number out of range at byte 1"},
      {"[-9223372036854775809]", u"Number out of range at byte 1"},
      {"[1e400]", u"Number out of range at byte 1"},
      {std::string(1025, '[') + std::string(1025, ']'), u"Nesting deeper than 1024 at byte 1024"},
      {std::string(100000, '['), u"Nesting deeper than 1024 at byte 1024"},
      {R"("x")", fragments},
      {"1", fragments},
      {"", u"Unexpected end of input at byte 0"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.json.substr(0, 40));
    ErrorPtr error;
    EXPECT_FALSE(JSONSerialization::JSONObjectWithData(c.json, 0, &error));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain(), NSCocoaErrorDomain);
    EXPECT_EQ(error->code(), 3840);
    EXPECT_EQ(error->userInfo()[u"NSDebugDescription"], Value(c.description));
  }
  EXPECT_TRUE(read(std::string(1024, '[') + std::string(1024, ']'))) << "at the depth limit";
}

// A document's memory changes kind at size limits: its first block is three
// times its text (cached up to 1 MiB, mapped as huge pages from 2 MiB), and
// the padded input and the writer's buffer are mapped from 4 MiB. Each row
// is at a limit or one past it; the value must read, write back and outlive
// its document alike.
TEST(JSONReadingTest, DocumentsOnEitherSideOfTheMemoryLimits) {
  constexpr std::size_t kMiB = 1u << 20;
  for (const std::size_t length :
       {kMiB / 3, kMiB / 3 + 1, 2 * kMiB / 3, 2 * kMiB / 3 + 1, 4 * kMiB - 65, 4 * kMiB - 64}) {
    SCOPED_TRACE(length);
    const std::string text = "[\"" + std::string(length - 4, 'x') + "\"]";
    Value element;
    {
      const auto root = read(text);
      ASSERT_TRUE(root);
      EXPECT_EQ(JSONSerialization::stringWithJSONObject(*root), text);
      element = root->asArray()->front();
    }
    EXPECT_EQ(element.asString()->size(), length - 4);
  }
}

TEST(JSONReadingTest, RepeatedKeysKeepTheirFirstPlaceAndLastValue) {
  struct Case {
    const char* name;
    std::string json;
    std::vector<String> keys;
    Value a;
  };
  // Twelve or more members take the hashed path.
  std::string large = R"({"a": 1, "b": 2)";
  std::vector<String> largeKeys{u"a", u"b"};
  for (int i = 0; i < 14; ++i) {
    large += ", \"k" + std::to_string(i) + "\": " + std::to_string(i);
    largeKeys.push_back(u"k" + fromUTF8(std::to_string(i)));
  }
  const Case cases[] = {
      {"small", R"({"a": 1, "b": 2, "a": 3})", {u"a", u"b"}, Value(3)},
      {"look-alike keys",
       R"({"a": 1, "ab": 0, "ac": 0, "b": 2, "a": 3})",
       {u"a", u"ab", u"ac", u"b"},
       Value(3)},
      {"three times", R"({"a": 1, "a": [], "b": 2, "a": "last"})", {u"a", u"b"}, Value(u"last")},
      {"large", large + R"(, "a": 99})", largeKeys, Value(99)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const auto v = read(c.json);
    ASSERT_TRUE(v && v->isDictionary());
    EXPECT_EQ(v->asDictionary()->keys(), c.keys);
    EXPECT_EQ((*v->asDictionary())[u"a"], c.a);
    EXPECT_EQ((*v->asDictionary())[u"b"], Value(2));
  }
}

TEST(JSONReadingTest, FragmentsNeedTheOption) {
  EXPECT_EQ(read(R"("x")", JSONReadingFragmentsAllowed), Value(u"x"));
  EXPECT_EQ(read("null", JSONReadingFragmentsAllowed), Value());
  EXPECT_EQ(read("42", JSONReadingFragmentsAllowed), Value(42));
}

TEST(JSONWritingTest, CompactOutput) {
  struct Case {
    const char* name;
    Value value;
    const char* json;
  };
  const Case cases[] = {
      {"order kept", Value(Dictionary{{u"b", 1}, {u"a", Value(Array{Value(true), Value(false)})}}),
       R"({"b":1,"a":[true,false]})"},
      {"shortest doubles", Value(Array{Value(0.1), Value(1e100), Value(-2.5), Value(3.0)}),
       "[0.1,1e+100,-2.5,3]"},
      {"large doubles stay readable", Value(Array{Value(1.8122222222222223e20), Value(-1e18)}),
       "[1.8122222222222223e+20,-1e+18]"},
      {"floats as floats", Value(Array{Value(0.1f), Value(16777217.0f)}), "[0.1,16777216]"},
      {"integers",
       Value(Array{Value(std::numeric_limits<std::int64_t>::min()),
                   Value(std::numeric_limits<std::uint64_t>::max())}),
       "[-9223372036854775808,18446744073709551615]"},
      {"escapes", Value(Array{Value(u"\"\\/\b\f\n\r\t\x01\x1f")}),
       R"(["\"\\\/\b\f\n\r\t\u0001\u001f"])"},
      {"non-ASCII", Value(Array{Value(u"é€😀")}), "[\"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\"]"},
      {"lone surrogate", Value(Array{Value(String(1, u'\xD800'))}), "[\"\xEF\xBF\xBD\"]"},
      {"null and empties", Value(Array{Value(), Value(Array{}), Value(Dictionary{})}),
       "[null,[],{}]"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(write(c.value), c.json);
  }
}

// Decimals with few digits take a quicker road than the general shortest
// search; both must give what std::to_chars gives, digit for digit, including
// where the exponent form is the shorter one (100000 => 1e+05).
TEST(JSONWritingTest, DoublesMatchTheShortestRepresentation) {
  std::uint64_t state = 0x9E3779B97F4A7C15ULL;
  auto next = [&] {
    state ^= state << 13;
    state ^= state >> 7;
    state ^= state << 17;
    return state;
  };
  std::vector<double> doubles{0.0,    -0.0,   1.0,       100000.0,           1e15,  1e-5,   0.001,
                              0.0001, 123.45, 0.1 + 0.2, 1125899906842623.5, 9.995, 5e-324, 1e17,
                              -42.125};
  for (int i = 0; i < 20000; ++i) {
    const double n = static_cast<double>(next() % 10000000000000ULL);
    doubles.push_back(n / std::pow(10.0, static_cast<double>(next() % 20)));
    doubles.push_back(-static_cast<double>(next() % 100000) / 100);
    double bits;
    const std::uint64_t pattern = next();
    std::memcpy(&bits, &pattern, sizeof bits);
    if (std::isfinite(bits) && std::fabs(bits) < 1e18) doubles.push_back(bits);
  }
  for (double d : doubles) {
    char expected[64];
    *std::to_chars(expected, expected + 64, d).ptr = '\0';
    ASSERT_EQ(write(Value(d), JSONWritingFragmentsAllowed), expected) << expected;
  }
}

TEST(JSONWritingTest, OptionsPrettySortedSlashesFragments) {
  const Value v(Dictionary{{u"b", Value(Array{Value(1), Value(2)})}, {u"a", u"x/y"}});
  EXPECT_EQ(write(v, JSONWritingPrettyPrinted),
            "{\n  \"b\" : [\n    1,\n    2\n  ],\n  \"a\" : \"x\\/y\"\n}");
  EXPECT_EQ(write(v, JSONWritingSortedKeys | JSONWritingWithoutEscapingSlashes),
            R"({"a":"x/y","b":[1,2]})");
  EXPECT_EQ(write(Value(u"s")), "<failed>");
  EXPECT_EQ(write(Value(u"s"), JSONWritingFragmentsAllowed), R"("s")");
}

TEST(JSONWritingTest, RefusesWhatJSONCannotExpress) {
  struct Case {
    const char* name;
    Value value;
  };
  Value deep = Value(Array{});
  for (int i = 0; i < 1100; ++i) deep = Value(Array{std::move(deep)});
  const Case cases[] = {
      {"NaN", Value(Array{Value(std::nan(""))})},
      {"infinity", Value(Array{Value(HUGE_VAL)})},
      {"data", Value(Array{Value(Data{1})})},
      {"date", Value(Dictionary{{u"d", Value(Date(0))}})},
      {"too deep", deep},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ErrorPtr error;
    EXPECT_FALSE(JSONSerialization::dataWithJSONObject(c.value, 0, &error));
    EXPECT_TRUE(error);
    EXPECT_FALSE(JSONSerialization::isValidJSONObject(c.value));
  }
  EXPECT_TRUE(JSONSerialization::isValidJSONObject(Value(Array{Value(1), Value()})));
  EXPECT_FALSE(JSONSerialization::isValidJSONObject(Value(1)));
  EXPECT_TRUE(JSONSerialization::isValidJSONObject(Value(1), true));
}

TEST(JSONWritingTest, RoundTripsThroughTheReader) {
  const Value original(Dictionary{
      {u"doubles",
       Value(Array{Value(0.1), Value(1.0 / 3), Value(5e-324), Value(1.7976931348623157e308)})},
      {u"text", u"mixed ✓ \"quoted\" 😀"},
      {u"nested", Value(Dictionary{{u"k", Value(Array{Value(), Value(false)})}})}});
  for (unsigned options : {0u, unsigned(JSONWritingPrettyPrinted)}) {
    SCOPED_TRACE(options);
    EXPECT_EQ(read(write(original, options)), original);
  }
}

}  // namespace
}  // namespace lx
