#include "vantorcore/platform/DirectoryEnumerator.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <filesystem>
#include <map>
#include <mutex>

#include "support/TestSupport.h"
#include "vantorcore/platform/String+Paths.h"

namespace lx {
namespace {

namespace fs = std::filesystem;

struct Seen {
  DirectoryItemKind kind;
  int depth;
  bool hidden;
  bool hasSizes;
  std::uint64_t logicalSize;
  std::uint64_t allocatedSize;
};

// Every item of a walk by path relative to the root.
std::map<std::string, Seen> walk(const fs::path& root, unsigned keys, bool ignoreTypes = false,
                                 unsigned threads = 1) {
  DirectoryEnumerator enumerator(keys);
  enumerator.setIgnoresEntryTypes(ignoreTypes);
  std::mutex mutex;
  std::map<std::string, Seen> seen;
  const std::string prefix = root.native() + "/";
  enumerator.enumerateConcurrently(
      stringWithFileSystemRepresentation(root.native()), threads,
      [&](const DirectoryItem& item, unsigned worker) {
        EXPECT_LT(worker, std::max(threads, 1U));
        EXPECT_EQ(item.path.substr(0, prefix.size()), prefix);
        EXPECT_EQ(item.path.substr(item.path.size() - item.name.size()), item.name);
        const std::lock_guard lock(mutex);
        seen[std::string(item.path.substr(prefix.size()))] = {item.kind,        item.depth,
                                                              item.hidden,      item.hasSizes,
                                                              item.logicalSize, item.allocatedSize};
        return true;
      });
  return seen;
}

class DirectoryEnumeratorTest : public ::testing::Test {
 protected:
  fs::path root_ = test::makeTemporaryFolder("enum");
};

TEST_F(DirectoryEnumeratorTest, KindsComeFromEntriesOrFromStatxAndLinksAreNeverFollowed) {
  test::writeFile(root_ / "file.txt", "12345");
  fs::create_directory(root_ / "dir");
  test::writeFile(root_ / "dir" / "inner", "");
  fs::create_symlink("dir", root_ / "link-to-dir");
  fs::create_symlink("loop", root_ / "loop");  // points at itself
  fs::create_symlink("missing", root_ / "dangling");
  ASSERT_EQ(mkfifo((root_ / "fifo").c_str(), 0600), 0);  // opening it would hang the walk
  const struct {
    const char* path;
    DirectoryItemKind kind;
    int depth;
  } expected[] = {
      {"file.txt", DirectoryItemKind::File, 0},
      {"dir", DirectoryItemKind::Directory, 0},
      {"dir/inner", DirectoryItemKind::File, 1},
      {"link-to-dir", DirectoryItemKind::SymbolicLink, 0},
      {"loop", DirectoryItemKind::SymbolicLink, 0},
      {"dangling", DirectoryItemKind::SymbolicLink, 0},
      {"fifo", DirectoryItemKind::Other, 0},
  };
  for (const bool ignoreTypes : {false, true}) {
    for (const unsigned threads : {1U, 2U}) {
      SCOPED_TRACE(testing::Message() << "DT_UNKNOWN " << ignoreTypes << ", threads " << threads);
      const auto seen = walk(root_, DirectoryEnumerator::None, ignoreTypes, threads);
      ASSERT_EQ(seen.size(), std::size(expected));
      for (const auto& e : expected) {
        SCOPED_TRACE(e.path);
        ASSERT_TRUE(seen.contains(e.path));
        EXPECT_EQ(seen.at(e.path).kind, e.kind);
        EXPECT_EQ(seen.at(e.path).depth, e.depth);
        EXPECT_FALSE(seen.at(e.path).hasSizes);
      }
    }
  }
}

TEST_F(DirectoryEnumeratorTest, SizesAreReadForEverythingButFolders) {
  test::writeFile(root_ / "empty", "");
  test::writeFile(root_ / "five", "12345");
  test::writeFile(root_ / "big", std::string(100000, 'x'));
  // Names are handed to statx where the folder's read left them: the
  // shortest name and the longest one a folder can hold (NAME_MAX).
  const std::string longest(NAME_MAX, 'n');
  test::writeFile(root_ / "a", "1");
  test::writeFile(root_ / longest, "123");
  fs::create_directory(root_ / "dir");
  fs::create_symlink("five", root_ / "link");
  for (const bool ignoreTypes : {false, true}) {
    SCOPED_TRACE(ignoreTypes);
    const auto seen = walk(root_, DirectoryEnumerator::Sizes, ignoreTypes);
    for (const auto& [name, size] : std::map<std::string, std::uint64_t>{
             {"empty", 0}, {"five", 5}, {"big", 100000}, {"link", 4}, {"a", 1}, {longest, 3}}) {
      SCOPED_TRACE(name);
      struct stat st {};
      ASSERT_EQ(lstat((root_ / name).c_str(), &st), 0);
      EXPECT_TRUE(seen.at(name).hasSizes);
      EXPECT_EQ(seen.at(name).logicalSize, size);
      EXPECT_EQ(seen.at(name).allocatedSize, static_cast<std::uint64_t>(st.st_blocks) * 512);
    }
    EXPECT_FALSE(seen.at("dir").hasSizes);
  }
}

TEST_F(DirectoryEnumeratorTest, EachKeyReadsItsOwnValuesAndNoOthers) {
  test::writeFile(root_ / "five", "12345");
  fs::create_directory(root_ / "dir");
  struct stat fileStat {};
  struct stat dirStat {};
  ASSERT_EQ(lstat((root_ / "five").c_str(), &fileStat), 0);
  ASSERT_EQ(lstat((root_ / "dir").c_str(), &dirStat), 0);
  const struct {
    unsigned keys;
    bool fileSizes;
    bool stamps;  // for folders too
  } cases[] = {
      {DirectoryEnumerator::None, false, false},
      {DirectoryEnumerator::Sizes, true, false},
      {DirectoryEnumerator::Stamps, false, true},
      {DirectoryEnumerator::Sizes | DirectoryEnumerator::Stamps, true, true},
  };
  for (const auto& c : cases) {
    for (const bool ignoreTypes : {false, true}) {
      SCOPED_TRACE(testing::Message() << "keys " << c.keys << ", DT_UNKNOWN " << ignoreTypes);
      DirectoryEnumerator enumerator(c.keys);
      enumerator.setIgnoresEntryTypes(ignoreTypes);
      std::map<std::string, DirectoryItem> seen;
      enumerator.enumerate(stringWithFileSystemRepresentation(root_.native()),
                           [&](const DirectoryItem& item, unsigned) {
                             seen[std::string(item.name)] = item;
                             return false;
                           });
      ASSERT_EQ(seen.size(), 2U);
      const DirectoryItem& file = seen.at("five");
      const DirectoryItem& dir = seen.at("dir");
      EXPECT_EQ(file.kind, DirectoryItemKind::File);
      EXPECT_EQ(dir.kind, DirectoryItemKind::Directory);
      EXPECT_EQ(file.hasSizes, c.fileSizes);
      EXPECT_EQ(file.logicalSize, c.fileSizes ? 5U : 0U);
      EXPECT_FALSE(dir.hasSizes);
      EXPECT_EQ(file.hasStamps, c.stamps);
      EXPECT_EQ(dir.hasStamps, c.stamps);
      EXPECT_EQ(file.inode, c.stamps ? fileStat.st_ino : 0U);
      EXPECT_EQ(dir.inode, c.stamps ? dirStat.st_ino : 0U);
      EXPECT_EQ(file.modified,
                c.stamps ? fileStat.st_mtim.tv_sec * 1000000000LL + fileStat.st_mtim.tv_nsec : 0);
    }
  }
}

TEST_F(DirectoryEnumeratorTest, HiddenIsALeadingDotOrANameInTheHiddenList) {
  test::writeFile(root_ / ".dot", "");
  test::writeFile(root_ / ".hidden", "listed\n\nsub\nnot-here\n");
  test::writeFile(root_ / "listed", "");
  test::writeFile(root_ / "plain", "");
  test::writeFile(root_ / "sub" / "listed", "");  // the list names only its own folder's items
  const struct {
    unsigned keys;
    std::map<std::string, bool> hidden;
  } cases[] = {
      {DirectoryEnumerator::Hidden,
       {{".dot", true},
        {".hidden", true},
        {"listed", true},
        {"plain", false},
        {"sub", true},
        {"sub/listed", false}}},
      {DirectoryEnumerator::None,
       {{".dot", true},
        {".hidden", true},
        {"listed", false},
        {"plain", false},
        {"sub", false},
        {"sub/listed", false}}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.keys);
    const auto seen = walk(root_, c.keys);
    ASSERT_EQ(seen.size(), c.hidden.size());
    for (const auto& [name, hidden] : c.hidden) EXPECT_EQ(seen.at(name).hidden, hidden) << name;
  }
}

TEST_F(DirectoryEnumeratorTest, NamesThatAreNotUTF8ComeBackAsTheirBytes) {
  const std::string name = "caf\xe9-\xff\xfe";
  test::writeFile(root_ / name / "inner", "");
  const auto seen = walk(root_, DirectoryEnumerator::Sizes);
  EXPECT_TRUE(seen.contains(name));
  EXPECT_TRUE(seen.contains(name + "/inner"));
}

// A new folder on /dev/shm when there is one: folder removal on a disk
// mounted with "discard" takes milliseconds each, too slow for deep trees.
fs::path makeScratchFolder() {
  std::string pattern = "/dev/shm/enum-XXXXXX";
  if (mkdtemp(pattern.data())) return pattern;
  return test::makeTemporaryFolder("deep");
}

// Makes `depth` nested folders named "d" below `root` and a file in the
// deepest, with descriptors so that no path exceeds PATH_MAX on the way.
void makeNesting(const fs::path& root, int depth) {
  int fd = open(root.c_str(), O_RDONLY | O_DIRECTORY);
  for (int i = 0; i < depth; ++i) {
    ASSERT_EQ(mkdirat(fd, "d", 0755), 0);
    const int child = openat(fd, "d", O_RDONLY | O_DIRECTORY);
    close(fd);
    fd = child;
  }
  close(openat(fd, "f", O_CREAT | O_WRONLY, 0644));
  close(fd);
}

// Removes what `makeNesting` made, from the bottom up through the working
// directory, since the paths are too long for the kernel.
void removeNesting(const fs::path& root, int depth) {
  const fs::path saved = fs::current_path();
  fs::current_path(root);
  for (int i = 0; i < depth; ++i) ASSERT_EQ(chdir("d"), 0);
  unlink("f");
  for (int i = 0; i < depth; ++i) {
    ASSERT_EQ(chdir(".."), 0);
    rmdir("d");
  }
  fs::current_path(saved);
}

TEST_F(DirectoryEnumeratorTest, DepthIsNeverLimitedByPathLengthOrDescriptors) {
  // The walk keeps the descriptors of its first 32 levels and reopens deeper
  // ones through "..". "/d" per level: 2047 levels keep the deepest folder's
  // path (below the root) under PATH_MAX, 2048 reach it, 10,000 go far beyond.
  for (const int depth : {1, 32, 33, 2047, 2048, 10000}) {
    for (const unsigned threads : {1U, 2U}) {
      SCOPED_TRACE(testing::Message() << "depth " << depth << ", threads " << threads);
      const fs::path root = makeScratchFolder();
      makeNesting(root, depth);
      int files = 0;
      int folders = 0;
      int deepest = -1;
      std::mutex mutex;
      DirectoryEnumerator().enumerateConcurrently(stringWithFileSystemRepresentation(root.native()),
                                                  threads,
                                                  [&](const DirectoryItem& item, unsigned) {
                                                    const std::lock_guard lock(mutex);
                                                    (item.isDirectory() ? folders : files)++;
                                                    deepest = std::max(deepest, item.depth);
                                                    return true;
                                                  });
      EXPECT_EQ(folders, depth);
      EXPECT_EQ(files, 1);
      EXPECT_EQ(deepest, depth);
      removeNesting(root, depth);
      fs::remove(root);
    }
  }
}

TEST_F(DirectoryEnumeratorTest, VisitorDecidesDescentAndOrderPutsFoldersFirst) {
  for (const char* path : {"a/x", "a/b/y", "c/z", "c/d/w"}) test::writeFile(root_ / path, "");
  std::vector<std::string> order;
  const std::string prefix = root_.native() + "/";
  DirectoryEnumerator().enumerate(stringWithFileSystemRepresentation(root_.native()),
                                  [&](const DirectoryItem& item, unsigned) {
                                    order.emplace_back(item.path.substr(prefix.size()));
                                    return item.name != "c";
                                  });
  std::vector<std::string> sorted = order;
  std::sort(sorted.begin(), sorted.end());
  EXPECT_EQ(sorted, (std::vector<std::string>{"a", "a/b", "a/b/y", "a/x", "c"}));
  const auto at = [&](const std::string& p) { return std::find(order.begin(), order.end(), p); };
  EXPECT_LT(at("a"), at("a/x"));
  EXPECT_LT(at("a/b"), at("a/b/y"));
}

TEST_F(DirectoryEnumeratorTest, AFolderMovedDuringTheWalkIsLeftAndTheWalkGoesOn) {
  for (const char* path : {"a/b/moved", "a/later", "elsewhere/keep"}) {
    test::writeFile(root_ / path, "");
  }
  std::vector<std::string> seen;
  const std::string prefix = root_.native() + "/";
  DirectoryEnumerator().enumerate(stringWithFileSystemRepresentation(root_.native()),
                                  [&](const DirectoryItem& item, unsigned) {
                                    seen.emplace_back(item.path.substr(prefix.size()));
                                    // Inside a/b: move it away, so ".." no longer leads back to
                                    // "a".
                                    if (item.name == "moved")
                                      fs::rename(root_ / "a" / "b", root_ / "elsewhere" / "b");
                                    return true;
                                  });
  EXPECT_NE(std::find(seen.begin(), seen.end(), "a/later"), seen.end());
  EXPECT_NE(std::find(seen.begin(), seen.end(), "elsewhere/keep"), seen.end());
}

TEST_F(DirectoryEnumeratorTest, UnreadableAndMissingRootsHaveNoItems) {
  fs::create_directory(root_ / "locked");
  test::writeFile(root_ / "locked" / "inside", "");
  chmod((root_ / "locked").c_str(), 0);
  const auto seen = walk(root_, DirectoryEnumerator::Sizes);
  // The superuser reads every folder; everyone else sees only the folder.
  EXPECT_EQ(seen.contains("locked/inside"), geteuid() == 0);
  EXPECT_TRUE(seen.contains("locked"));
  chmod((root_ / "locked").c_str(), 0700);
  EXPECT_TRUE(walk(root_ / "missing", DirectoryEnumerator::Sizes, false, 2).empty());
  EXPECT_TRUE(walk(root_ / "locked" / "inside", DirectoryEnumerator::None).empty());
}

}  // namespace
}  // namespace lx
