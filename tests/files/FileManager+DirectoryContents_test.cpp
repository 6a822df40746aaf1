#include "vantorcore/files/FileManager+DirectoryContents.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>

#include "support/TestSupport.h"
#include "vantorcore/files/ContentType+Overrides.h"
#include "vantorcore/platform/String+Paths.h"

namespace lx {
namespace {

namespace fs = std::filesystem;

// A tree with every kind of item the walks tell apart:
//   a.txt b.png c.jpg noext .hidden(lists "listed.txt") listed.txt
//   .dot/inner.txt  sub/d.png sub/e.txt sub/deeper/f.gif  App.app/g.txt
//   link.png -> a.txt
class DirectoryContentsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* file : {"a.txt", "b.png", "c.jpg", "noext", "listed.txt", ".dot/inner.txt",
                             "sub/d.png", "sub/e.txt", "sub/deeper/f.gif", "App.app/g.txt"}) {
      test::writeFile(root_ / file, file);
    }
    test::writeFile(root_ / ".hidden", "listed.txt\n");
    fs::create_symlink("a.txt", root_ / "link.png");
    lx_setTypeOverrideForFilenameExtension(ContentType::package(), u"app");
  }
  void TearDown() override { lx_setTypeOverrideForFilenameExtension(std::nullopt, u"app"); }

  String root() const { return stringWithFileSystemRepresentation(root_.native()); }

  // The listing relative to the root and sorted, after checking that every
  // folder comes before its contents.
  std::vector<std::string> relative(const std::vector<String>& paths) const {
    std::vector<std::string> names;
    for (const String& path : paths) {
      const std::string bytes = fileSystemRepresentation(path);
      names.push_back(bytes.substr(root_.native().size() + 1));
      const std::string parent = fs::path(names.back()).parent_path().native();
      if (!parent.empty() && std::find(names.begin(), names.end(), parent) == names.end()) {
        const bool parentListedLater =
            std::any_of(paths.begin(), paths.end(), [&](const String& p) {
              return fileSystemRepresentation(p) == root_.native() + "/" + parent;
            });
        EXPECT_FALSE(parentListedLater) << names.back() << " before its folder";
      }
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  fs::path root_ = test::makeTemporaryFolder("inspect");
  FileManager manager_;
};

using Names = std::vector<std::string>;

TEST_F(DirectoryContentsTest, ConformingListing) {
  const struct {
    const char* what;
    bool hidden;
    bool directories;
    std::optional<String> type;
    std::vector<String> excludes;
    Names expected;
  } cases[] = {
      {"defaults: hidden items and folders, packages never",
       true,
       true,
       std::nullopt,
       {},
       {".dot", ".dot/inner.txt", ".hidden", "a.txt", "b.png", "c.jpg", "link.png", "listed.txt",
        "noext", "sub", "sub/d.png", "sub/deeper", "sub/deeper/f.gif", "sub/e.txt"}},
      {"no hidden: leading dots and the .hidden list",
       false,
       true,
       std::nullopt,
       {},
       {"a.txt", "b.png", "c.jpg", "link.png", "noext", "sub", "sub/d.png", "sub/deeper",
        "sub/deeper/f.gif", "sub/e.txt"}},
      {"excluded names apply with hidden items",
       true,
       false,
       std::nullopt,
       {u".dot", u"sub", u"c.jpg"},
       {".hidden", "a.txt", "b.png", "link.png", "listed.txt", "noext"}},
      {"excluded names are ignored without hidden items",
       false,
       false,
       std::nullopt,
       {u"sub", u"c.jpg"},
       {"a.txt", "b.png", "c.jpg", "link.png", "noext", "sub/d.png", "sub/deeper/f.gif",
        "sub/e.txt"}},
      {"conforming to public.image; no extension always listed",
       false,
       false,
       u"public.image",
       {},
       {"b.png", "c.jpg", "link.png", "noext", "sub/d.png", "sub/deeper/f.gif"}},
      {"by exact identifier",
       false,
       false,
       u"public.png",
       {},
       {"b.png", "link.png", "noext", "sub/d.png"}},
      {"an identifier naming no type keeps only untyped files",
       false,
       true,
       u"no.such.type",
       {},
       {"noext", "sub", "sub/deeper"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(relative(lx_deepDirectoryContentsAtPath(manager_, root(), c.hidden, c.directories,
                                                      c.type, c.excludes)),
              c.expected);
  }
  EXPECT_EQ(lx_deepDirectoryContentsAtPath(manager_, root()).size(), cases[0].expected.size());
}

TEST_F(DirectoryContentsTest, ExcludingListing) {
  const auto skipSub = [this](const String& path) { return path == root() + u"/sub"; };
  const struct {
    const char* what;
    std::vector<String> excluding;
    std::vector<String> including;
    LXPathPredicate predicate;
    Names expected;
  } cases[] = {
      {"no exclusions",
       {},
       {},
       nullptr,
       {"a.txt", "b.png", "c.jpg", "link.png", "noext", "sub/d.png", "sub/deeper/f.gif",
        "sub/e.txt"}},
      {"images excluded by conformance, PNG let back by identity",
       {u"public.image"},
       {u"public.png"},
       nullptr,
       {"a.txt", "b.png", "link.png", "noext", "sub/d.png", "sub/e.txt"}},
      {"an empty including list lets nothing back",
       {u"public.image", u"public.plain-text"},
       {},
       nullptr,
       {"noext"}},
      {"including by supertype does not count",
       {u"public.png"},
       {u"public.image"},
       nullptr,
       {"a.txt", "c.jpg", "noext", "sub/deeper/f.gif", "sub/e.txt"}},
      {"the predicate prunes a whole subtree",
       {},
       {},
       skipSub,
       {"a.txt", "b.png", "c.jpg", "link.png", "noext"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(relative(lx_deepDirectoryContentsAtPath(manager_, root(), false, false, c.excluding,
                                                      {}, c.including, c.predicate)),
              c.expected);
  }
}

// Walks A and B in the handler form, the excluding walk when `excluding` is
// given.
struct ListingCase {
  const char* what;
  bool hidden;
  bool directories;
  std::vector<String> excludes;
  std::optional<String> conforming;
  std::optional<std::vector<String>> excluding;
  std::vector<String> including;
  LXPathPredicate predicate;
};

TEST_F(DirectoryContentsTest, HandlerFormListsWhatTheArrayFormsList) {
  const auto skipSub = [this](const String& path) { return path == root() + u"/sub"; };
  const ListingCase cases[] = {
      {"defaults", true, true, {}, std::nullopt, std::nullopt, {}, nullptr},
      {"no hidden, no folders", false, false, {}, std::nullopt, std::nullopt, {}, nullptr},
      {"excluded names, an empty one among them",
       true,
       true,
       {u"", u"sub", u".dot"},
       std::nullopt,
       std::nullopt,
       {},
       nullptr},
      {"conforming", true, true, {}, u"public.image", std::nullopt, {}, nullptr},
      {"excluding with exceptions and a predicate",
       true,
       true,
       {},
       std::nullopt,
       std::vector<String>{u"public.image"},
       {u"public.png"},
       skipSub},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    LXDeepListingFilters filters;
    filters.includeHidden = c.hidden;
    filters.includeDirectories = c.directories;
    filters.excludesFiles = c.excludes;
    filters.conformsToUTI = c.conforming;
    filters.excludingUTIs = c.excluding.value_or(std::vector<String>{});
    filters.includingUTIs = c.including;
    filters.excludingPredicate = c.predicate;
    const std::vector<String> arrayForm =
        c.excluding
            ? lx_deepDirectoryContentsAtPath(manager_, root(), c.hidden, c.directories,
                                             *c.excluding, c.excludes, c.including, c.predicate)
            : lx_deepDirectoryContentsAtPath(manager_, root(), c.hidden, c.directories,
                                             c.conforming, c.excludes);
    std::vector<String> handed;
    lx_enumerateDeepDirectoryContentsAtPath(manager_, root(), filters, [&](std::string_view p) {
      handed.push_back(stringWithFileSystemRepresentation(p));
    });
    EXPECT_EQ(handed, arrayForm);  // the same order too
    EXPECT_FALSE(handed.empty());
  }
}

TEST_F(DirectoryContentsTest, BothTypeFiltersApplyTogether) {
  // Images only, and of those every one but PNG left out: GIF and JPEG.
  LXDeepListingFilters filters;
  filters.includeHidden = false;
  filters.includeDirectories = false;
  filters.conformsToUTI = u"public.image";
  filters.excludingUTIs = {u"public.png"};
  std::vector<String> handed;
  lx_enumerateDeepDirectoryContentsAtPath(manager_, root(), filters, [&](std::string_view p) {
    handed.push_back(stringWithFileSystemRepresentation(p));
  });
  EXPECT_EQ(relative(handed), (Names{"c.jpg", "noext", "sub/deeper/f.gif"}));
}

// The root's subfolders are listed on up to four threads and joined in the
// root's order: around each count of subfolders where the split changes,
// every folder still comes right before its own contents.
TEST(DirectoryContentsOrder, EachFolderIsFollowedByItsOwnContents) {
  FileManager manager;
  for (const int folders : {0, 1, 2, 3, 4, 5, 9}) {
    SCOPED_TRACE(folders);
    const fs::path root = test::makeTemporaryFolder("order");
    for (int f = 0; f < folders; ++f) {
      const std::string folder = "d" + std::to_string(f);
      for (const char* file : {"x", "y:z", "new\nline"}) {
        test::writeFile(root / folder / file, "");
      }
    }
    test::writeFile(root / "top", "");
    std::vector<std::string> handed;
    lx_enumerateDeepDirectoryContentsAtPath(
        manager, stringWithFileSystemRepresentation(root.native()), {},
        [&](std::string_view p) { handed.emplace_back(p.substr(root.native().size() + 1)); });
    ASSERT_EQ(handed.size(), static_cast<std::size_t>(folders) * 4 + 1);
    for (std::size_t i = 0; i < handed.size(); ++i) {
      if (handed[i].find('/') != std::string::npos || handed[i] == "top") continue;
      // A folder: its three files follow it, in any order.
      ASSERT_LT(i + 3, handed.size()) << handed[i];
      for (std::size_t k = 1; k <= 3; ++k) {
        EXPECT_EQ(handed[i + k].substr(0, handed[i].size() + 1), handed[i] + "/") << handed[i];
      }
    }
    fs::remove_all(root);
  }
}

TEST_F(DirectoryContentsTest, CountsAndSizesLeaveOutHiddenItemsOnlyWhenAsked) {
  // Hidden: .hidden itself, .dot (and inner.txt below it), listed.txt.
  const struct {
    bool includeHidden;
    std::uint64_t files;
    std::vector<std::string> summed;  // the files whose sizes are summed
  } cases[] = {
      {true,
       12,
       {"a.txt", "b.png", "c.jpg", "noext", "listed.txt", ".dot/inner.txt", "sub/d.png",
        "sub/e.txt", "sub/deeper/f.gif", "App.app/g.txt", ".hidden", "link.png"}},
      {false,
       9,
       {"a.txt", "b.png", "c.jpg", "noext", "sub/d.png", "sub/e.txt", "sub/deeper/f.gif",
        "App.app/g.txt", "link.png"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.includeHidden);
    EXPECT_EQ(lx_numberOfFilesAtPath(manager_, root(), c.includeHidden), c.files);
    std::uint64_t logical = 0;
    std::uint64_t physical = 0;
    for (const std::string& file : c.summed) {
      struct stat st {};
      ASSERT_EQ(lstat((root_ / file).c_str(), &st), 0) << file;
      logical += st.st_size;
      physical += st.st_blocks * 512;
    }
    std::uint64_t physicalSize = 0;
    EXPECT_EQ(lx_sizeOfFolderContentsAtPath(manager_, root(), &physicalSize, c.includeHidden),
              logical);
    EXPECT_EQ(physicalSize, physical);
  }
}

TEST_F(DirectoryContentsTest, CountsAndSizesIncludeHiddenItemsAndPackages) {
  // Ten files, .hidden and the link; folders count for nothing.
  EXPECT_EQ(lx_numberOfFilesAtPath(manager_, root()), 12U);
  std::uint64_t counted = 5;
  lx_numberOfFilesAtURLRecursive(manager_, URL::fileURLWithPath(root(), true), counted);
  EXPECT_EQ(counted, 17U);

  std::uint64_t logical = 0;
  std::uint64_t physical = 0;
  for (const auto& entry : fs::recursive_directory_iterator(root_)) {
    if (entry.is_directory() && !entry.is_symlink()) continue;
    struct stat st {};
    ASSERT_EQ(lstat(entry.path().c_str(), &st), 0);
    logical += st.st_size;
    physical += st.st_blocks * 512;
  }
  std::uint64_t physicalSize = 0;
  EXPECT_EQ(lx_sizeOfFolderContentsAtPath(manager_, root(), &physicalSize), logical);
  EXPECT_EQ(physicalSize, physical);
  EXPECT_EQ(lx_sizeOfFolderContentsAtPath(manager_, root()), logical);
}

TEST_F(DirectoryContentsTest, EmptyAndMissingFolders) {
  const String empty = root() + u"/empty";
  const String missing = root() + u"/missing";
  ASSERT_TRUE(manager_.createDirectoryAtPath(empty, false));
  for (const String& path : {empty, missing}) {
    SCOPED_TRACE(toUTF8(path));
    EXPECT_EQ(lx_numberOfFilesAtPath(manager_, path), 0U);
    std::uint64_t physical = 7;
    EXPECT_EQ(lx_sizeOfFolderContentsAtPath(manager_, path, &physical), 0U);
    EXPECT_EQ(physical, 0U);
    EXPECT_TRUE(lx_deepDirectoryContentsAtPath(manager_, path).empty());
  }
  ErrorPtr error;
  EXPECT_TRUE(lx_removeDirectoryContentsAtPath(manager_, empty, &error));
  EXPECT_FALSE(lx_removeDirectoryContentsAtPath(manager_, missing, &error));
  ErrorPtr listingError;
  EXPECT_FALSE(manager_.contentsOfDirectoryAtPath(missing, &listingError));
  ASSERT_TRUE(error && listingError);
  EXPECT_EQ(error->domain(), listingError->domain());
  EXPECT_EQ(error->code(), listingError->code());
}

TEST_F(DirectoryContentsTest, RemovingContentsKeepsTheFolder) {
  ErrorPtr error;
  EXPECT_TRUE(lx_removeDirectoryContentsAtPath(manager_, root(), &error));
  EXPECT_TRUE(fs::is_directory(root_));
  EXPECT_TRUE(fs::is_empty(root_));
  EXPECT_TRUE(fs::exists(root_.parent_path()));
}

}  // namespace
}  // namespace lx
