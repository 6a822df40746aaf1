#include "vantorcore/files/FileManager+DirectoryContents.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <sstream>

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

// Space-separated names, sorted as `relative` sorts them.
Names names(const char* list) {
  Names result;
  std::istringstream words(list);
  for (std::string word; words >> word;) result.push_back(word);
  std::sort(result.begin(), result.end());
  return result;
}

// Comma-separated strings: "" is none, ",a" an empty one and "a".
std::vector<String> strings(std::string_view list) {
  std::vector<String> result;
  for (std::size_t start = 0; !list.empty() && start <= list.size();) {
    const std::size_t comma = std::min(list.find(',', start), list.size());
    result.push_back(fromUTF8(std::string(list.substr(start, comma - start))));
    start = comma + 1;
  }
  return result;
}

TEST_F(DirectoryContentsTest, ConformingListing) {
  const struct {
    const char* what;
    bool hidden, directories;
    std::optional<String> type;
    const char* excludes;
    const char* expected;
  } cases[] = {
      {"defaults: hidden items and folders, packages never", true, true, std::nullopt, "",
       ".dot .dot/inner.txt .hidden a.txt b.png c.jpg link.png listed.txt noext sub sub/d.png "
       "sub/deeper sub/deeper/f.gif sub/e.txt"},
      {"no hidden: leading dots and the .hidden list", false, true, std::nullopt, "",
       "a.txt b.png c.jpg link.png noext sub sub/d.png sub/deeper sub/deeper/f.gif sub/e.txt"},
      {"excluded names apply with hidden items", true, false, std::nullopt, ".dot,sub,c.jpg",
       ".hidden a.txt b.png link.png listed.txt noext"},
      {"excluded names are ignored without hidden items", false, false, std::nullopt, "sub,c.jpg",
       "a.txt b.png c.jpg link.png noext sub/d.png sub/deeper/f.gif sub/e.txt"},
      {"conforming to public.image; no extension always listed", false, false, u"public.image", "",
       "b.png c.jpg link.png noext sub/d.png sub/deeper/f.gif"},
      {"by exact identifier", false, false, u"public.png", "", "b.png link.png noext sub/d.png"},
      {"an identifier naming no type keeps only untyped files", false, true, u"no.such.type", "",
       "noext sub sub/deeper"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(relative(lx_deepDirectoryContentsAtPath(manager_, root(), c.hidden, c.directories,
                                                      c.type, strings(c.excludes))),
              names(c.expected));
  }
  EXPECT_EQ(lx_deepDirectoryContentsAtPath(manager_, root()).size(), 14u);
}

TEST_F(DirectoryContentsTest, ExcludingListing) {
  const auto skipSub = [this](const String& path) { return path == root() + u"/sub"; };
  const struct {
    const char* what;
    const char* excluding;
    const char* including;
    bool skipSub;
    const char* expected;
  } cases[] = {
      {"no exclusions", "", "", false,
       "a.txt b.png c.jpg link.png noext sub/d.png sub/deeper/f.gif sub/e.txt"},
      {"images excluded by conformance, PNG let back by identity", "public.image", "public.png",
       false, "a.txt b.png link.png noext sub/d.png sub/e.txt"},
      {"an empty including list lets nothing back", "public.image,public.plain-text", "", false,
       "noext"},
      {"including by supertype does not count", "public.png", "public.image", false,
       "a.txt c.jpg noext sub/deeper/f.gif sub/e.txt"},
      {"the predicate prunes a whole subtree", "", "", true, "a.txt b.png c.jpg link.png noext"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(relative(lx_deepDirectoryContentsAtPath(
                  manager_, root(), false, false, strings(c.excluding), {}, strings(c.including),
                  c.skipSub ? LXPathPredicate(skipSub) : nullptr)),
              names(c.expected));
  }
}

// The handler form lists what the array forms list, in the same order; both
// type filters together have no array form: images, but not PNG.
TEST_F(DirectoryContentsTest, HandlerFormListsWhatTheArrayFormsList) {
  const auto skipSub = [this](const String& path) { return path == root() + u"/sub"; };
  const struct {
    const char* what;
    bool hidden, directories;
    const char* excludes;
    std::optional<String> conforming;
    const char* excluding;  // null: the conforming walk
    const char* including;
    bool skipSub;
    const char* expected = nullptr;  // set: no array form
  } cases[] = {
      {"defaults", true, true, "", std::nullopt, nullptr, "", false},
      {"no hidden, no folders", false, false, "", std::nullopt, nullptr, "", false},
      {"excluded names, an empty one among them", true, true, ",sub,.dot", std::nullopt, nullptr,
       "", false},
      {"conforming", true, true, "", u"public.image", nullptr, "", false},
      {"excluding with exceptions and a predicate", true, true, "", std::nullopt, "public.image",
       "public.png", true},
      {"conforming and excluding together", false, false, "", u"public.image", "public.png", "",
       false, "c.jpg noext sub/deeper/f.gif"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const LXPathPredicate predicate = c.skipSub ? LXPathPredicate(skipSub) : nullptr;
    const LXDeepListingFilters filters{c.hidden,
                                       c.directories,
                                       strings(c.excludes),
                                       c.conforming,
                                       strings(c.excluding ? c.excluding : ""),
                                       strings(c.including),
                                       predicate};
    std::vector<String> handed;
    lx_enumerateDeepDirectoryContentsAtPath(manager_, root(), filters, [&](std::string_view p) {
      handed.push_back(stringWithFileSystemRepresentation(p));
    });
    if (c.expected) {
      EXPECT_EQ(relative(handed), names(c.expected));
    } else if (c.excluding) {
      EXPECT_EQ(handed, lx_deepDirectoryContentsAtPath(manager_, root(), c.hidden, c.directories,
                                                       filters.excludingUTIs, filters.excludesFiles,
                                                       filters.includingUTIs, predicate));
    } else {
      EXPECT_EQ(handed, lx_deepDirectoryContentsAtPath(manager_, root(), c.hidden, c.directories,
                                                       c.conforming, filters.excludesFiles));
    }
    EXPECT_FALSE(handed.empty());
  }
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

// Hidden: .hidden itself, .dot (and inner.txt below it), listed.txt; links
// count as files, folders for nothing, packages are entered.
TEST_F(DirectoryContentsTest, CountsAndSizesLeaveOutHiddenItemsOnlyWhenAsked) {
  const struct {
    bool includeHidden;
    std::uint64_t files;
    const char* summed;  // the files whose sizes are summed
  } cases[] = {
      {true, 12,
       "a.txt b.png c.jpg noext listed.txt .dot/inner.txt sub/d.png sub/e.txt sub/deeper/f.gif "
       "App.app/g.txt .hidden link.png"},
      {false, 9,
       "a.txt b.png c.jpg noext sub/d.png sub/e.txt sub/deeper/f.gif App.app/g.txt link.png"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.includeHidden);
    EXPECT_EQ(lx_numberOfFilesAtPath(manager_, root(), c.includeHidden), c.files);
    std::uint64_t logical = 0;
    std::uint64_t physical = 0;
    for (const std::string& file : names(c.summed)) {
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
  // The defaults include hidden items; the recursive count adds to what it is given.
  EXPECT_EQ(lx_numberOfFilesAtPath(manager_, root()), 12U);
  EXPECT_EQ(lx_sizeOfFolderContentsAtPath(manager_, root()),
            lx_sizeOfFolderContentsAtPath(manager_, root(), nullptr, true));
  std::uint64_t counted = 5;
  lx_numberOfFilesAtURLRecursive(manager_, URL::fileURLWithPath(root(), true), counted);
  EXPECT_EQ(counted, 17U);
}

TEST_F(DirectoryContentsTest, EmptyAndMissingFoldersAndRemovingContents) {
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

  // Removing the contents keeps the folder.
  EXPECT_TRUE(lx_removeDirectoryContentsAtPath(manager_, root(), &error));
  EXPECT_TRUE(fs::is_directory(root_));
  EXPECT_TRUE(fs::is_empty(root_));
}

}  // namespace
}  // namespace lx
