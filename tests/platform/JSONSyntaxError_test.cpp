#include "platform/JSONSyntaxError.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace lx::detail {
namespace {

struct FaultRow {
  std::string json;
  std::optional<std::string> expected;
  std::size_t maximumDepth = 1024;
};

std::string nested(std::size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); }

TEST(JSONSyntaxError, ReportsTheFirstFaultAndWhereItIs) {
  const std::nullopt_t valid = std::nullopt;
  const FaultRow rows[] = {
      {R"( [1, -2.5e3, "x", true, false, null, {"a": {}, "b": []}] )", valid},
      {"0", valid},
      {"-0", valid},
      {"[0]", valid, 1},
      {"1", valid, 0},
      {"[]", "Nesting deeper than 0 at byte 0", 0},
      {nested(1024), valid},
      {nested(1025), "Nesting deeper than 1024 at byte 1024"},
      {"[{\"a\":{}}]", "Nesting deeper than 2 at byte 6", 2},
      {std::string(1000000, '['), "Nesting deeper than 1024 at byte 1024"},
      {std::string(1000000, '['), "Unexpected end of input at byte 1000000", SIZE_MAX},
      {"", "Unexpected end of input at byte 0"},
      {" \t\r\n", "Unexpected end of input at byte 4"},
      {"\f1", "Unexpected character U+000C at byte 0"},
      {"[1,", "Unexpected end of input at byte 3"},
      {"{\"a\"", "Unexpected end of input at byte 4"},
      {"\"abc", "Unexpected end of input at byte 4"},
      {"nul", "Unexpected end of input at byte 3"},
      {"\"a\\", "Unexpected end of input at byte 3"},
      {"\"\\uD83D\\uDE", "Unexpected end of input at byte 11"},
      {"18446744073709551615", valid},
      {"18446744073709551616", "Number out of range at byte 0"},
      {"-9223372036854775808", valid},
      {"[-9223372036854775809]", "Number out of range at byte 1"},
      {"1.7976931348623157e308", valid},
      {"-1.7976931348623159e308", "Number out of range at byte 0"},
      {"1e400", "Number out of range at byte 0"},
      {"1e-400", valid},  // underflows to zero, like simdjson
      {"0." + std::string(500, '0') + "1e100", valid},
      {"1" + std::string(500, '0') + "e-100", "Number out of range at byte 0"},
      {"01", "Invalid number at byte 0"},
      {"[-01]", "Invalid number at byte 1"},
      {"-", "Invalid number at byte 0"},
      {"1.", "Invalid number at byte 0"},
      {".5", "Invalid number at byte 0"},
      {"1e", "Invalid number at byte 0"},
      {"1e+", "Invalid number at byte 0"},
      {"+1", "Invalid number at byte 0"},
      {"[1.5.2]", "Invalid number at byte 1"},
      {"0x1F", "Invalid number at byte 0"},
      {"[trUe]", "Invalid literal at byte 1"},
      {"nulll", "Invalid literal at byte 0"},
      {"falsey", "Invalid literal at byte 0"},
      {"]", "Unexpected character ']' at byte 0"},
      {"[1,]", "Unexpected character ']' at byte 3"},
      {"{\"a\":}", "Unexpected character '}' at byte 5"},
      {"~", "Unexpected character '~' at byte 0"},
      {"\x7F", "Unexpected character U+007F at byte 0"},
      {"\xC3\xA9", "Unexpected character U+00E9 at byte 0"},
      {"\xF0\x9F\x98\x80", "Unexpected character U+1F600 at byte 0"},
      {"{\"a\" 1}", "Expected ':' after object key at byte 5"},
      {"{\"a\":1 \"b\":2}", "Expected ',' or '}' in object at byte 7"},
      {"{\"a\":1]", "Expected ',' or '}' in object at byte 6"},
      {"[1 2]", "Expected ',' or ']' in array at byte 3"},
      {"{1:2}", "Expected string key in object at byte 1"},
      {"{\"a\":1,}", "Expected string key in object at byte 7"},
      {"{} x", "Unexpected content after the JSON value at byte 3"},
      {"1 2", "Unexpected content after the JSON value at byte 2"},
      {"[1]\xFF", "Invalid UTF-8 at byte 3"},
      {"[1 \xC3]", "Invalid UTF-8 at byte 3"},
      {"\x80", "Invalid UTF-8 at byte 0"},
      // The lowest and highest scalars of each sequence length, then one step past each edge.
      {"\"\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xF0\x90\x80\x80\xF4\x8F\xBF\xBF\"",
       valid},
      {"\"\xC1\xBF\"", "Invalid UTF-8 at byte 1"},
      {"\"a\xE0\x9F\xBF\"", "Invalid UTF-8 at byte 2"},
      {"\"\xED\xA0\x80\"", "Invalid UTF-8 at byte 1"},
      {"\"\xF0\x8F\xBF\xBF\"", "Invalid UTF-8 at byte 1"},
      {"\"\xF4\x90\x80\x80\"", "Invalid UTF-8 at byte 1"},
      {"\"\xE2\x82\"", "Invalid UTF-8 at byte 1"},
      {"\"\xF0\x9F\x98", "Invalid UTF-8 at byte 1"},
      {"\" \x7F\"", valid},
      {"\"\x1F\"", "Unescaped control character at byte 1"},
      {"[\"a\tb\"]", "Unescaped control character at byte 3"},
      {R"("\"\\\/\b\f\n\r\t\u0000\uFFFF\uD7FF\uE000\uD800\uDC00\uDBFF\uDFFF")", valid},
      {R"("\x")", "Invalid escape at byte 1"},
      {R"("\'")", "Invalid escape at byte 1"},
      {R"("\u12G4")", "Invalid escape at byte 1"},
      {R"("\u123")", "Invalid escape at byte 1"},
      {R"("\uD800")", "Invalid surrogate escape at byte 1"},
      {R"("a\uDBFF\u0041")", "Invalid surrogate escape at byte 2"},
      {R"("\uD800\n\uDC00")", "Invalid surrogate escape at byte 1"},
      {R"("\uD800\uD800\uDC00")", "Invalid surrogate escape at byte 1"},
      {R"("\uDC00")", "Invalid surrogate escape at byte 1"},
      {R"("\uE000\uDFFF")", "Invalid surrogate escape at byte 7"},
  };
  for (const FaultRow& row : rows)
    EXPECT_EQ(describeJSONSyntaxError(row.json, row.maximumDepth), row.expected)
        << "json: " << row.json.substr(0, 80) << "\ndepth: " << row.maximumDepth;
}

}  // namespace
}  // namespace lx::detail
