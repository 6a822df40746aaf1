#include "vantorcore/platform/SharedMimeInfo.h"

#include <gtest/gtest.h>

#include "support/TestSupport.h"

namespace lx {
namespace {

using Glob = SharedMimeInfo::Glob;

TEST(SharedMimeInfoTest, Globs2LinesKeepWeightTypePatternAndCaseFlag) {
  const struct {
    const char* line;
    std::optional<Glob> glob;
  } cases[] = {
      {"50:text/plain:*.txt", Glob{50, u"text/plain", u"*.txt", false}},
      {"50:text/x-csrc:*.C:cs", Glob{50, u"text/x-csrc", u"*.C", true}},
      {"60:Text/X-Python:*.py:other,cs", Glob{60, u"text/x-python", u"*.py", true}},
      {"0:a/b:*.zero", Glob{0, u"a/b", u"*.zero", false}},
      {"100:a/b:*.max", Glob{100, u"a/b", u"*.max", false}},
      {"101:a/b:*.over", std::nullopt},
      {"0100:a/b:*.x", std::nullopt},  // four digits
      {"-1:a/b:*.x", std::nullopt},
      {"50:a/b:", std::nullopt},
      {"50:ab:*.x", std::nullopt},
      {"50:/b:*.x", std::nullopt},
      {"50:a/:*.x", std::nullopt},
      {"50:a b/c:*.x", std::nullopt},
      {"a/b:*.x", std::nullopt},
      {"50", std::nullopt},
      {"50:text/plain:*.txt\r", Glob{50, u"text/plain", u"*.txt", false}},
      {"50:a/b:__NOGLOBS__", Glob{50, u"a/b", u"__NOGLOBS__", false}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.line);
    std::size_t malformed = 0;
    const auto globs = SharedMimeInfo::parseGlobs2(c.line, &malformed);
    if (c.glob) {
      ASSERT_EQ(globs.size(), 1u);
      EXPECT_EQ(globs[0], *c.glob);
      EXPECT_EQ(malformed, 0u);
    } else {
      EXPECT_TRUE(globs.empty());
      EXPECT_EQ(malformed, 1u);
    }
  }
}

TEST(SharedMimeInfoTest, CommentsAndBlankLinesAreNeitherKeptNorCounted) {
  std::size_t malformed = 0;
  const auto globs = SharedMimeInfo::parseGlobs2(
      "# generated\n\n50:a/b:*.one\nbroken\n\r\n40:a/c:*.two", &malformed);
  ASSERT_EQ(globs.size(), 2u);
  EXPECT_EQ(globs[1].pattern, u"*.two");
  EXPECT_EQ(malformed, 1u);
}

TEST(SharedMimeInfoTest, PairsNeedTwoMIMETypesAndOneSpace) {
  const struct {
    const char* line;
    bool kept;
  } cases[] = {
      {"text/x-c text/x-csrc", true},
      {"TEXT/X-C Text/X-Csrc", true},
      {"text/x-c", false},
      {"text/x-c ", false},
      {"text/x-c  text/x-csrc", false},
      {"a b", false},
      {"text/x-c text/x-csrc extra", false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.line);
    std::size_t malformed = 0;
    const auto pairs = SharedMimeInfo::parsePairs(c.line, &malformed);
    EXPECT_EQ(pairs.size(), c.kept ? 1u : 0u);
    EXPECT_EQ(malformed, c.kept ? 0u : 1u);
    if (c.kept) {
      EXPECT_EQ(pairs[0], SharedMimeInfo::Pair(u"text/x-c", u"text/x-csrc"));
    }
  }
}

TEST(SharedMimeInfoTest, AFolderNeedsOneReadableFile) {
  const auto empty = test::makeTemporaryFolder("mime");
  EXPECT_FALSE(SharedMimeInfo::readFolder(fromUTF8(empty.native())));
  const auto partial = test::makeTemporaryFolder("mime");
  test::writeFile(partial / "aliases", "a/x a/y\nbad\n");
  const auto folder = SharedMimeInfo::readFolder(fromUTF8(partial.native()));
  ASSERT_TRUE(folder);
  EXPECT_TRUE(folder->globs.empty());
  EXPECT_EQ(folder->aliases.size(), 1u);
  EXPECT_EQ(folder->malformedLines, 1u);
}

TEST(SharedMimeInfoTest, SystemFoldersFollowTheXDGVariables) {
  const struct {
    const char* dataHome;
    const char* dataDirs;
    std::vector<String> folders;
  } cases[] = {
      {"/h", "/a:/b", {u"/h/mime", u"/a/mime", u"/b/mime"}},
      {"/h", "", {u"/h/mime", u"/usr/local/share/mime", u"/usr/share/mime"}},
      {"/h", "relative:/a/:/a", {u"/h/mime", u"/a/mime"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.dataDirs);
    test::ScopedEnvironmentVariable home("XDG_DATA_HOME", c.dataHome);
    test::ScopedEnvironmentVariable dirs("XDG_DATA_DIRS", c.dataDirs);
    EXPECT_EQ(SharedMimeInfo::systemFolders(), c.folders);
  }
}

}  // namespace
}  // namespace lx
