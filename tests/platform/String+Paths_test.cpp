#include "vantorcore/platform/String+Paths.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include "support/TestSupport.h"

namespace lx {
namespace {

using test::expectTable;

// HOME for one test; the temporary home comes back afterwards.
struct ScopedHome : test::ScopedEnvironmentVariable {
  explicit ScopedHome(const char* home) : ScopedEnvironmentVariable("HOME", home) {}
};

TEST(PathComponentsTest, SplitsWithRootAndTrailingSlashComponents) {
  struct Case {
    String in;
    std::vector<String> out;
  } cases[] = {
      {u"/a/b/", {u"/", u"a", u"b", u"/"}},
      {u"/a/b", {u"/", u"a", u"b"}},
      {u"a//b", {u"a", u"b"}},
      {u"/", {u"/"}},
      {u"//", {u"/"}},
      {u"", {}},
      {u"a///", {u"a", u"/"}},
      {u"//a", {u"/", u"a"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.in));
    EXPECT_EQ(pathComponents(c.in), c.out);
  }
}

TEST(PathComponentsTest, JoiningDropsSlashComponentsExceptAtTheStart) {
  struct Case {
    std::vector<String> in;
    String out;
  } cases[] = {
      {{u"/", u"a", u"b"}, u"/a/b"}, {{u"a", u"b", u"/"}, u"a/b"}, {{u"/"}, u"/"}, {{}, u""},
      {{u"a/", u"/b"}, u"a/b"},      {{u"/", u"/"}, u"/"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.out));
    EXPECT_EQ(pathWithComponents(c.in), c.out);
  }
}

TEST(PathComponentsTest, AppendingCollapsesSlashes) {
  struct Case {
    String path, component, out;
  } cases[] = {
      {u"a", u"b", u"a/b"}, {u"a/", u"/b", u"a/b"},  {u"/", u"a", u"/a"},
      {u"", u"a", u"a"},    {u"a", u"", u"a"},       {u"a", u"/", u"a"},
      {u"", u"/", u"/"},    {u"a//b/", u"", u"a/b"}, {u"/", u"/", u"/"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.path + u" + " + c.component));
    EXPECT_EQ(stringByAppendingPathComponent(c.path, c.component), c.out);
  }
}

TEST(PathComponentsTest, LastComponentAndItsRemoval) {
  expectTable(lastPathComponent, {{u"/a/b.txt", u"b.txt"},
                                  {u"/a/b/", u"b"},
                                  {u"/", u"/"},
                                  {u"//", u"/"},
                                  {u"a", u"a"},
                                  {u"", u""}});
  expectTable(stringByDeletingLastPathComponent, {{u"/a/b/", u"/a"},
                                                  {u"a/b", u"a"},
                                                  {u"/a", u"/"},
                                                  {u"/", u"/"},
                                                  {u"a", u""},
                                                  {u"", u""},
                                                  {u"//a//b//", u"/a"}});
}

TEST(PathExtensionTest, LooksAtTheLastComponentOnly) {
  expectTable(pathExtension, {{u"a.tar.gz", u"gz"},
                              {u"/x/b.txt/", u"txt"},
                              {u"dir.d/file", u""},
                              {u".profile", u""},
                              {u"name.", u""},
                              {u"", u""},
                              {u"/", u""}});
  expectTable(stringByDeletingPathExtension, {{u"a.tar.gz", u"a.tar"},
                                              {u"/x/b.txt/", u"/x/b"},
                                              {u"dir.d/file", u"dir.d/file"},
                                              {u".profile", u".profile"},
                                              {u"name.", u"name."},
                                              {u"/", u"/"}});
}

TEST(PathExtensionTest, AppendingNeedsALastComponent) {
  struct Case {
    String path, extension, out;
  } cases[] = {
      {u"a", u"txt", u"a.txt"}, {u"a/", u"txt", u"a.txt"}, {u"a", u"", u"a."},
      {u"/", u"txt", u"/"},     {u"", u"txt", u""},        {u"a", u"x/y", u"a"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.path + u" + " + c.extension));
    EXPECT_EQ(stringByAppendingPathExtension(c.path, c.extension), c.out);
  }
}

TEST(PathTildeTest, AbsoluteIncludesTildePaths) {
  EXPECT_TRUE(isAbsolutePath(u"/a"));
  EXPECT_TRUE(isAbsolutePath(u"~/a"));
  EXPECT_FALSE(isAbsolutePath(u"a/~"));
  EXPECT_FALSE(isAbsolutePath(u""));
}

TEST(PathTildeTest, ExpandsCurrentAndNamedUsers) {
  ScopedHome home("/home/al/");
  const passwd* root = getpwuid(0);
  ASSERT_NE(root, nullptr);
  const String rootHome = fromUTF8(root->pw_dir);
  expectTable(stringByExpandingTildeInPath, {{u"~", u"/home/al"},
                                             {u"~/x/", u"/home/al/x"},
                                             {u"~" + fromUTF8(root->pw_name) + u"/x",
                                              stringByAppendingPathComponent(rootHome, u"x")},
                                             {u"~no-such-user-here/x", u"~no-such-user-here/x"},
                                             {u"a/~", u"a/~"},
                                             {u"", u""}});
}

TEST(PathTildeTest, EmptyHomeFallsBackToTheUserDatabase) {
  ScopedHome home("");
  const passwd* me = getpwuid(getuid());
  ASSERT_NE(me, nullptr);
  EXPECT_EQ(homeDirectory(), fromUTF8(me->pw_dir));
}

TEST(PathTildeTest, AbbreviatesWholeComponentsOnly) {
  ScopedHome home("/home/al");
  expectTable(stringByAbbreviatingWithTildeInPath, {{u"/home/al", u"~"},
                                                    {u"/home/al/", u"~"},
                                                    {u"/home/al/x/", u"~/x"},
                                                    {u"/home/alan", u"/home/alan"},
                                                    {u"/home", u"/home"}});
  ScopedHome root("/");
  EXPECT_EQ(stringByAbbreviatingWithTildeInPath(u"/etc"), u"/etc");
}

TEST(PathStandardizingTest, ResolvesDotsWithoutTheFileSystem) {
  ScopedHome home("/home/al");
  expectTable(stringByStandardizingPath, {{u"/a/./b/../c/", u"/a/c"},
                                          {u"/..", u"/"},
                                          {u"/a/b/../../..", u"/"},
                                          {u"a/../../b", u"../b"},
                                          {u"../../a/..", u"../.."},
                                          {u"./a", u"a"},
                                          {u"a/..", u""},
                                          {u"//a//b", u"/a/b"},
                                          {u"~/x/../y", u"/home/al/y"},
                                          {u"", u""}});
}

TEST(FileSystemRepresentationTest, RoundTripsArbitraryBytes) {
  const std::string samples[] = {
      "plain",          "caf\xc3\xa9",        "a\xff",      "\xc3",
      "\xed\xa0\x80",   "\xf0\x9f\x98\x80",   "\xc0\xaf/x", "\x80\x80\x80",
      "bad\xe2\x82/ok", std::string("\0a", 2)};
  for (const auto& bytes : samples) {
    SCOPED_TRACE(bytes);
    EXPECT_EQ(fileSystemRepresentation(stringWithFileSystemRepresentation(bytes)), bytes);
  }
  // A byte that is not UTF-8 is one lone surrogate, not U+FFFD.
  EXPECT_EQ(stringWithFileSystemRepresentation("a\xff"), String(u"a\xdcff"));
  EXPECT_EQ(stringWithFileSystemRepresentation("caf\xc3\xa9"), u"café");
}

TEST(FileSystemRepresentationTest, OtherLoneSurrogatesBecomeReplacementCharacters) {
  EXPECT_EQ(fileSystemRepresentation(String(u"\xd800x")), "\xef\xbf\xbdx");
  EXPECT_EQ(fileSystemRepresentation(String(u"\xdc7f")), "\xef\xbf\xbd");
  EXPECT_EQ(fileSystemRepresentation(u"😀"), "\xf0\x9f\x98\x80");
}

}  // namespace
}  // namespace lx
