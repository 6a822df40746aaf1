#include "vantorcore/platform/OSRelease.h"

#include <gtest/gtest.h>

#include "vantorcore/platform/ProcessInfo.h"

namespace lx {
namespace {

TEST(OSReleaseTest, LinesParseAsShellAssignments) {
  const struct {
    const char* line;
    std::optional<String> value;  // of KEY
  } cases[] = {
      {"KEY=bare", u"bare"},
      {"KEY=\"double quoted\"", u"double quoted"},
      {"KEY='single quoted'", u"single quoted"},
      {"KEY=\"a \\\"b\\\" \\\\ \\$c\"", u"a \"b\" \\ $c"},
      {"KEY='no \\escapes'", u"no \\escapes"},
      {"KEY=", u""},
      {"KEY=\"\"", u""},
      {"  KEY=indented  ", u"indented"},
      {"KEY=\"unterminated", std::nullopt},
      {"KEY='x' # trailing comment", std::nullopt},
      {"KEY=two words", std::nullopt},
      {"# KEY=commented", std::nullopt},
      {"KE Y=x", std::nullopt},
      {"=x", std::nullopt},
      {"KEY", std::nullopt},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.line);
    const Dictionary variables = OSRelease::parse(c.line);
    const Value* value = variables.find(u"KEY");
    EXPECT_EQ(value ? std::optional<String>(value->asString()->str()) : std::nullopt, c.value);
  }
  const Dictionary many = OSRelease::parse("A=1\r\nB=2\n\nA=3");
  EXPECT_EQ(many[u"A"], Value(u"3"));
  EXPECT_EQ(many[u"B"], Value(u"2"));
}

TEST(OSReleaseTest, OperatingSystemVersionReadsUpToThreeNumbers) {
  const struct {
    const char* versionID;  // null: no VERSION_ID line
    OperatingSystemVersion version;
  } cases[] = {
      {"12", {12, 0, 0}},
      {"\"22.04\"", {22, 4, 0}},
      {"3.18.4_rc1", {3, 18, 4}},
      {"1.2.3.4", {1, 2, 3}},
      {"rolling", {0, 0, 0}},
      {"7.", {7, 0, 0}},
      {".5", {0, 5, 0}},
      {"9223372036854775807", {9223372036854775807, 0, 0}},
      {"9223372036854775808", {9223372036854775807, 0, 0}},  // saturates
      {nullptr, {0, 0, 0}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.versionID ? c.versionID : "(none)");
    const std::string text =
        std::string("NAME=Test\n") + (c.versionID ? std::string("VERSION_ID=") + c.versionID : "");
    const auto previous = OSRelease::setSource([text] { return std::optional(text); });
    EXPECT_EQ(ProcessInfo::operatingSystemVersion(), c.version);
    OSRelease::setSource(previous);
  }
}

TEST(OSReleaseTest, TheSourceCanBeReplacedAndRestored) {
  const std::uint64_t before = OSRelease::generation();
  const auto previous = OSRelease::setSource([] { return std::optional<std::string>(); });
  EXPECT_EQ(OSRelease::generation(), before + 1);
  EXPECT_FALSE(OSRelease::read());
  EXPECT_FALSE(OSRelease::value(u"VERSION_ID"));
  OSRelease::setSource(previous);
  // The machine's own file, when it has one, names the system.
  if (const auto variables = OSRelease::read()) {
    EXPECT_TRUE(variables->contains(u"ID"));
  }
}

}  // namespace
}  // namespace lx
