#include "vantorcore/platform/String+Paths.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include "support/TestSupport.h"

namespace lx {
namespace {

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

TEST(PathComponentsTest, AppendingCollapsesSlashesAndAnExtensionNeedsALastComponent) {
  const auto component = stringByAppendingPathComponent;
  const auto extension = stringByAppendingPathExtension;
  const struct {
    String (*append)(StringView, StringView);
    String path, addition, out;
  } cases[] = {
      {component, u"a", u"b", u"a/b"},      {component, u"a/", u"/b", u"a/b"},
      {component, u"/", u"a", u"/a"},       {component, u"", u"a", u"a"},
      {component, u"a", u"", u"a"},         {component, u"a", u"/", u"a"},
      {component, u"", u"/", u"/"},         {component, u"a//b/", u"", u"a/b"},
      {component, u"/", u"/", u"/"},        {extension, u"a", u"txt", u"a.txt"},
      {extension, u"a/", u"txt", u"a.txt"}, {extension, u"a", u"", u"a."},
      {extension, u"/", u"txt", u"/"},      {extension, u"", u"txt", u""},
      {extension, u"a", u"x/y", u"a"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.path + (c.append == component ? u" / " : u" . ") + c.addition));
    EXPECT_EQ(c.append(c.path, c.addition), c.out);
  }
}

TEST(PathComponentsTest, LastComponentAndExtensionAndTheirRemoval) {
  const struct {
    String in, last, parent, extension, stripped;
  } cases[] = {
      {u"/a/b.txt", u"b.txt", u"/a", u"txt", u"/a/b"},
      {u"/a/b/", u"b", u"/a", u"", u"/a/b"},
      {u"a/b", u"b", u"a", u"", u"a/b"},
      {u"/a", u"a", u"/", u"", u"/a"},
      {u"/", u"/", u"/", u"", u"/"},
      {u"//", u"/", u"/", u"", u"/"},
      {u"a", u"a", u"", u"", u"a"},
      {u"", u"", u"", u"", u""},
      {u"//a//b//", u"b", u"/a", u"", u"//a//b"},
      {u"a.tar.gz", u"a.tar.gz", u"", u"gz", u"a.tar"},
      {u"/x/b.txt/", u"b.txt", u"/x", u"txt", u"/x/b"},
      {u"dir.d/file", u"file", u"dir.d", u"", u"dir.d/file"},
      {u".profile", u".profile", u"", u"", u".profile"},
      {u"name.", u"name.", u"", u"", u"name."},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.in));
    EXPECT_EQ(lastPathComponent(c.in), c.last);
    EXPECT_EQ(stringByDeletingLastPathComponent(c.in), c.parent);
    EXPECT_EQ(pathExtension(c.in), c.extension);
    EXPECT_EQ(stringByDeletingPathExtension(c.in), c.stripped);
  }
}

TEST(PathTildeTest, EmptyHomeFallsBackToTheUserDatabase) {
  ScopedHome home("");
  const passwd* me = getpwuid(getuid());
  ASSERT_NE(me, nullptr);
  EXPECT_EQ(homeDirectory(), fromUTF8(me->pw_dir));
}

// A tilde path counts as absolute. Expanding looks up users, abbreviating
// matches whole components, and standardizing does both and resolves dots,
// all without the file system.
TEST(PathTildeTest, ExpandsAbbreviatesAndStandardizes) {
  ScopedHome home("/home/al/");
  const passwd* root = getpwuid(0);
  ASSERT_NE(root, nullptr);
  const String rootTilde = u"~" + fromUTF8(root->pw_name) + u"/x";
  const String rootX = stringByAppendingPathComponent(fromUTF8(root->pw_dir), u"x");
  const String kept = u"(unchanged)";  // the function answers its input
  const struct {
    String in;
    bool absolute;
    String expanded, abbreviated, standardized;
  } cases[] = {
      {u"~", true, u"/home/al", kept, u"/home/al"},
      {u"~/x/", true, u"/home/al/x", kept, u"/home/al/x"},
      {rootTilde, true, rootX, kept, rootX},
      {u"~no-such-user-here/x", true, kept, kept, kept},
      {u"a/~", false, kept, kept, kept},
      {u"", false, kept, kept, kept},
      {u"/home/al", true, kept, u"~", kept},
      {u"/home/al/", true, kept, u"~", u"/home/al"},
      {u"/home/al/x/", true, kept, u"~/x", u"/home/al/x"},
      {u"/home/alan", true, kept, kept, kept},
      {u"/home", true, kept, kept, kept},
      {u"~/x/../y", true, u"/home/al/x/../y", kept, u"/home/al/y"},
      {u"/a/./b/../c/", true, kept, kept, u"/a/c"},
      {u"/..", true, kept, kept, u"/"},
      {u"/a/b/../../..", true, kept, kept, u"/"},
      {u"a/../../b", false, kept, kept, u"../b"},
      {u"../../a/..", false, kept, kept, u"../.."},
      {u"./a", false, kept, kept, u"a"},
      {u"a/..", false, kept, kept, u""},
      {u"//a//b", true, kept, kept, u"/a/b"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.in));
    const auto expected = [&](const String& out) { return out == kept ? c.in : out; };
    EXPECT_EQ(isAbsolutePath(c.in), c.absolute);
    EXPECT_EQ(stringByExpandingTildeInPath(c.in), expected(c.expanded));
    EXPECT_EQ(stringByAbbreviatingWithTildeInPath(c.in), expected(c.abbreviated));
    EXPECT_EQ(stringByStandardizingPath(c.in), expected(c.standardized));
  }
  ScopedHome rootHome("/");
  EXPECT_EQ(stringByAbbreviatingWithTildeInPath(u"/etc"), u"/etc");
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
