#include "vantorcore/text/String+PathAdditions.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <filesystem>
#include <set>
#include <unordered_set>

#include "support/TestSupport.h"
#include "vantorcore/files/FileManager+Additions.h"
#include "vantorcore/platform/String+Paths.h"

namespace lx {
namespace {

// Makes the user database answer `home` (absent: no entry) for the life of
// the object.
class ScopedUserHome {
 public:
  explicit ScopedUserHome(std::optional<String> home)
      : previous_(setUserHomeDirectoryLookup([home] { return home; })) {}
  ~ScopedUserHome() { setUserHomeDirectoryLookup(previous_); }

 private:
  UserHomeDirectoryLookup previous_;
};

using test::expectTable;

TEST(HomeDirectoryTest, UserHomeComesFromTheUserDatabaseNotHOME) {
  const passwd* me = getpwuid(getuid());
  ASSERT_NE(me, nullptr);
  EXPECT_EQ(LXUserHomeDirectory(), fromUTF8(me->pw_dir));
  ScopedUserHome none(std::nullopt);
  EXPECT_EQ(LXUserHomeDirectory(), LXHomeDirectory()) << "no entry: the resolved HOME";
}

TEST(HomeDirectoryTest, HomeIsResolvedThroughSymbolicLinks) {
  const auto real = test::makeTemporaryFolder("real");
  const auto link = test::temporaryHome() / "home-link";
  std::filesystem::create_directory_symlink(real, link);
  {
    test::ScopedEnvironmentVariable home("HOME", link.string() + "/./");
    EXPECT_EQ(LXHomeDirectory(), fromUTF8(std::filesystem::canonical(real).string()));
  }
  test::ScopedEnvironmentVariable missing("HOME", link.string() + "/missing");
  EXPECT_EQ(LXHomeDirectory(), fromUTF8(link.string() + "/missing"));
}

// Both work on the text alone: expanding never looks up other users, and
// abbreviating matches a text prefix rather than whole components.
TEST(TildeTest, ExpandsALeadingTildeAndAbbreviatesByTextPrefix) {
  ScopedUserHome home(u"/Users/al");
  const String kept = u"(unchanged)";  // the function answers its input
  const struct {
    String in, expanded, abbreviated;
  } cases[] = {
      {u"~", u"/Users/al", kept},
      {u"~/x", u"/Users/al/x", kept},
      {u"~/", u"/Users/al", kept},
      {u"~bob/x", u"/Users/al/bob/x", kept},
      {u"x~", kept, kept},
      {u"", kept, kept},
      {u"/Users/al/x", kept, u"~/x"},
      {u"/Users/al", kept, u"~"},
      {u"/Users/alan", kept, u"~/an"},
      {u"/users/al/x", kept, kept},
      {u"/tmp", kept, kept},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.in));
    const auto expected = [&](const String& out) { return out == kept ? c.in : out; };
    EXPECT_EQ(lx_stringByExpandingTildeInPathToUserHomeDirectory(c.in), expected(c.expanded));
    EXPECT_EQ(lx_stringByAbbreviatingWithUserHomeTildeInPath(c.in), expected(c.abbreviated));
  }
}

// Normalising puts every path outside a volume onto the boot volume; trimming
// takes the boot volume off only when something remains.
TEST(VolumeTest, NormalisingAndTrimmingTheBootVolume) {
  ScopedUserHome home(u"/Users/al");
  const std::optional<String> boot = lx_bootDiskPath();
  ASSERT_TRUE(boot.has_value());
  const auto onBoot = [&](StringView path) { return stringByAppendingPathComponent(*boot, path); };
  expectTable(lx_stringByNormalizingPath, {{u"/home/x", onBoot(u"/home/x")},
                                           {u"~/d", onBoot(u"/Users/al/d")},
                                           {u"/volumes/Other/x", u"/volumes/Other/x"},
                                           {u"/VOLUMES", u"/VOLUMES"},
                                           {u"/Volumesx", onBoot(u"/Volumesx")}});
  expectTable(lx_stringByTrimmingPathToUsersDirectory,
              {{*boot + u"/home", u"/home"}, {*boot, *boot}, {u"/elsewhere", u"/elsewhere"}});
}

TEST(StandardizeTest, FoldsComponentsTextually) {
  expectTable(lx_stringByStandardizingUnixPath, {{u"/a/./b/../c/", u"/a/c"},
                                                 {u"/..", u"/"},
                                                 {u"/a/b/../../..", u"/"},
                                                 {u"a/../../b", u"b"},
                                                 {u"../x", u"x"},
                                                 {u"a/..", u""},
                                                 {u"a/.", u"a"},
                                                 {u"//a//b//", u"/a/b"},
                                                 {u"~/x", u"~/x"},
                                                 {u"/a/..b/c", u"/a/..b/c"},
                                                 {u"", u""}});
}

TEST(RebaseTest, MovesByTextPrefix) {
  struct Case {
    String path;
    std::optional<String> from;
    String to;
    std::optional<String> out;
  } cases[] = {
      {u"/a/b/c", u"/a", u"/x", u"/x/b/c"}, {u"/ab/c", u"/a", u"/x", u"/x/b/c"},
      {u"/A/b", u"/a", u"y/", u"y/b"},      {u"/a", u"/a", u"/x", u"/x"},
      {u"/b", u"/a", u"/x", std::nullopt},  {u"/b", u"", u"/x", std::nullopt},
      {u"/b", std::nullopt, u"/x", u"/b"},  {u"/a", u"/a/b", u"/x", std::nullopt},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.path + u" from " + c.from.value_or(u"(absent)")));
    EXPECT_EQ(lx_stringByRebasingPathFromRoot(c.path, c.from, c.to), c.out);
  }
}

TEST(ContainmentTest, CommonPrefixComparesComponents) {
  struct Case {
    String a, b, out;
    unsigned options;
  } cases[] = {
      {u"/Users/a/x", u"/users/A/y", u"/Users/a", CaseInsensitiveSearch},
      {u"/a", u"/b", u"/", CaseInsensitiveSearch},
      {u"a/x", u"b/x", u"", CaseInsensitiveSearch},
      {u"/A", u"/a", u"/A", CaseInsensitiveSearch},
      {u"/A/b", u"/a/b", u"/", 0},
      {u"/ab", u"/a", u"/", CaseInsensitiveSearch},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.a + u" & " + c.b));
    EXPECT_EQ(lx_commonPathPrefix(c.a, c.b, c.options), c.out);
  }
}

TEST(ContainmentTest, ChildNeedsMoreComponents) {
  struct Case {
    String path;
    std::optional<String> parent;
    bool child;
  } cases[] = {
      {u"/A/b", u"/a", true},    {u"/a", u"/a", false},          {u"/ab", u"/a", false},
      {u"/a/b", u"/a/", false},  {u"/a/b", std::nullopt, false}, {u"a/b/c", u"A/B", true},
      {u"/a/b/", u"/a/b", true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.path + u" under " + c.parent.value_or(u"(absent)")));
    EXPECT_EQ(lx_isChildOfPath(c.path, c.parent), c.child);
  }
  EXPECT_TRUE(lx_hasCompletePathPrefix(u""));
  EXPECT_TRUE(lx_hasCompletePathPrefix(u"/x"));
  EXPECT_FALSE(lx_hasCompletePathPrefix(u"x/"));
}

// The last dot of the whole string counts, even one in a folder name; all
// extensions look at the last component only.
TEST(ExtensionTest, LastDotOfTheWholeString) {
  const String kept = u"(unchanged)";  // nothing to delete
  const struct {
    String in, extension, stripped, all;
  } cases[] = {
      {u"archive.tar.gz", u"gz", u"archive.tar", u"tar.gz"},
      {u".profile", u"", u"", u""},
      {u"name.", u"", kept, u""},
      {u"a.b/c", u"b/c", u"a", u""},
      {u"dir.d/file", u"d/file", u"dir", u""},
      {u"plain", u"", kept, u""},
      {u"x.d/a.b.c", u"c", u"x.d/a.b", u"b.c"},
      {u"a..gz", u"gz", u"a.", u"gz"},
      {u".a.b", u"b", u".a", u"b"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.in));
    EXPECT_EQ(lx_pathExtension(c.in), c.extension);
    EXPECT_EQ(lx_stringByDeletingPathExtension(c.in), c.stripped == kept ? c.in : c.stripped);
    EXPECT_EQ(lx_allPathExtensions(c.in), c.all);
  }
}

TEST(ExtensionTest, TrailingSlashesAndEscapedSpaces) {
  expectTable(lx_stringByDeletingTrailingSlash,
              {{u"a/", u"a"}, {u"a//", u"a/"}, {u"/", u"/"}, {u"", u""}, {u"a", u"a"}});
  expectTable(lx_stringByEnsuringTrailingSlash, {{u"a", u"a/"}, {u"a/", u"a/"}, {u"", u"/"}});
  expectTable(lx_stringByExpandingEscapedSpaces,
              {{u"My\\ File\\ 2", u"My File 2"}, {u"a\\\\b", u"a\\\\b"}, {u"\\", u"\\"}});
}

TEST(NameValidityTest, FilenamesAndComponentsDifferOnEmptyAndSlash) {
  struct Case {
    String name;
    bool filename, component;
  } cases[] = {
      {u"a.txt", true, true},  {u"", false, true},     {u"a/b", false, true},
      {u"a//b", false, false}, {u"a:b", false, false}, {u"x.", false, false},
      {u"a..b", false, false}, {u"/", false, true},    {u".hidden", true, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.name));
    EXPECT_EQ(lx_isValidFilename(c.name), c.filename);
    EXPECT_EQ(lx_isValidPathComponent(c.name), c.component);
  }
}

TEST(NameValidityTest, WordRangeAroundAnIndex) {
  struct Case {
    String name;
    std::size_t index;
    Range range, out;
  } cases[] = {
      {u"a.bcd.e", 3, {0, 7}, {2, 3}}, {u"a.bcd.e", 1, {0, 7}, {1, 1}},
      {u"abc", 1, {0, 3}, {0, 3}},     {u"a.bcd.e", 6, {0, 7}, {6, 1}},
      {u"a.bcd.e", 3, {3, 4}, {3, 2}}, {u"a.b", 99, {0, 99}, {2, 1}},
      {u"a.b", 0, {50, 2}, {3, 0}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.name) + " @" + std::to_string(c.index));
    EXPECT_EQ(lx_wordRangeForFilenameAtIndex(c.name, c.index, c.range), c.out);
  }
}

TEST(UniqueNameTest, NumbersFollowTheLastWord) {
  struct Case {
    String name;
    std::vector<String> taken;
    String out;
  } cases[] = {
      {u"Report", {u"Report"}, u"Report 2"},
      {u"Report", {u"Other"}, u"Report"},
      {u"Report", {u"Report", u"Report 2", u"Report 3"}, u"Report 4"},
      {u"Report 2", {u"Report 2", u"Report 3"}, u"Report 4"},
      {u"Report ", {u"Report "}, u"Report 0"},
      {u"v +5", {u"v +5"}, u"v 5"},
      {u"v -1", {u"v -1"}, u"v -1 2"},
      {u"v 18446744073709551615", {u"v 18446744073709551615"}, u"v 18446744073709551615 2"},
      {u"v 5x", {u"v 5x"}, u"v 5x 2"},
      {u"12", {u"12"}, u"12 2"},
      {u"a  3", {u"a  3"}, u"a  4"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.name));
    EXPECT_EQ(
        lx_stringUniqueToSet(c.name, std::unordered_set<String>(c.taken.begin(), c.taken.end())),
        c.out);
    EXPECT_EQ(lx_stringUniqueToSet(c.name, std::set<String>(c.taken.begin(), c.taken.end())),
              c.out);
  }
}

TEST(UniqueNameTest, ArrayMembershipCanIgnoreCase) {
  const std::vector<String> taken = {u"report", u"Report 2"};
  EXPECT_EQ(lx_stringUniqueToArray(u"Report", taken, true), u"Report 3");
  EXPECT_EQ(lx_stringUniqueToArray(u"Report", taken, false), u"Report");
  EXPECT_TRUE(lx_isString(u"REPORT", taken, true));
  EXPECT_FALSE(lx_isString(u"REPORT", taken, false));
}

TEST(UniqueNameTest, CopySuffixAndExtensions) {
  struct Case {
    String name;
    std::vector<String> taken;
    std::optional<String> suffix;
    bool filenames;
    String out;
  } cases[] = {
      {u"Report.txt", {u"Report.txt"}, u"copy", true, u"Report copy.txt"},
      {u"Report copy.txt",
       {u"Report.txt", u"Report copy.txt"},
       u"copy",
       true,
       u"Report copy 2.txt"},
      {u"Report copy 3", {u"Report copy 3"}, u"copy", false, u"Report copy 4"},
      {u"copy 3", {u"copy 3"}, u"copy", false, u"copy 3 copy"},
      {u"Report.txt", {u"Report.txt"}, u"copy", false, u"Report.txt copy"},
      {u"Report.txt", {u"Report.txt", u"Report copy.md"}, u"copy", true, u"Report copy.txt"},
      {u"Report.txt", {u"Report.txt", u"Report copy.txt"}, u"copy", true, u"Report copy 2.txt"},
      {u"a", {u"a"}, std::nullopt, true, u"a 2"},
      {u"a.txt", {u"b.txt"}, u"copy", true, u"a.txt"},
      {u".profile", {u".profile"}, std::nullopt, true, u".profile 2"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.name));
    EXPECT_EQ(lx_stringUniqueToArray(c.name, c.taken, c.suffix, c.filenames), c.out);
  }
}

TEST(UniqueNameTest, DirectoryListingCompetes) {
  const auto dir = test::makeTemporaryFolder("unique");
  test::writeFile(dir / "Notes.txt", "x");
  test::writeFile(dir / "Notes copy.txt", "x");
  const String path = fromUTF8(dir.string());
  EXPECT_EQ(lx_filenameUniqueToPath(u"Notes.txt", path, u"copy"), u"Notes copy 2.txt");
  EXPECT_EQ(lx_filenameUniqueToPath(u"Notes.txt", path + u"/missing", u"copy"), u"Notes.txt");
}

TEST(FileItemTest, VisibilityAndDisplayNames) {
  const auto dir = test::makeTemporaryFolder("items");
  test::writeFile(dir / "shown.txt", "x");
  test::writeFile(dir / ".hidden", "listed.txt\n");
  test::writeFile(dir / "listed.txt", "x");
  const String folder = fromUTF8(dir.string());
  EXPECT_TRUE(lx_isFileVisible(folder + u"/shown.txt"));
  EXPECT_FALSE(lx_isFileVisible(folder + u"/.hidden"));
  EXPECT_FALSE(lx_isFileVisible(folder + u"/listed.txt"));
  EXPECT_TRUE(lx_isFileVisible(folder + u"/missing"));
  EXPECT_EQ(lx_pathDisplayName(folder + u"/shown.txt").find(u"shown"), 0u);
  EXPECT_EQ(lx_pathDisplayNameWithoutExtension(folder + u"/shown.txt"), u"shown");
  EXPECT_FALSE(lx_isFileExtensionHidden(folder + u"/missing"));
  EXPECT_FALSE(lx_setFileExtensionHidden(folder + u"/missing", true));
}

}  // namespace
}  // namespace lx
