#include "platform/FileSystemEventHistory.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "support/TestSupport.h"

namespace lx::detail {
namespace {

namespace fs = std::filesystem;

TEST(FileSystemEventHistoryTest, IdentifiersOnlyGrowAcrossProcessesAndCrashes) {
  const std::string db = (test::makeTemporaryFolder("history") / "h.sqlite").native();
  std::uint64_t last = 0;
  {
    FileSystemEventHistory first(db);
    EXPECT_EQ(first.latestEventID(), 0U);
    // A whole block and one more: the second block is reserved on the way.
    for (std::uint64_t i = 0; i <= FileSystemEventHistory::kBlockSize; ++i) {
      const std::uint64_t id = first.nextEventID();
      EXPECT_GT(id, last);
      last = id;
    }
    EXPECT_EQ(first.latestEventID(), last);
    // A second user of the file at the same time gets a block of its own.
    FileSystemEventHistory second(db);
    EXPECT_GT(second.nextEventID(), last + FileSystemEventHistory::kBlockSize - 1);
  }
  // A later run (the first one "crashed" with most of its block unused).
  FileSystemEventHistory third(db);
  EXPECT_GT(third.latestEventID(), last);
  EXPECT_GT(third.nextEventID(), last);
}

TEST(FileSystemEventHistoryTest, SnapshotsAreKeptPerRoot) {
  const fs::path folder = test::makeTemporaryFolder("history");
  test::writeFile(folder / "tree" / "a" / "f", "x");
  FileSystemEventHistory history((folder / "h.sqlite").native());
  std::optional<TreeSnapshot> snapshot = TreeSnapshot::take((folder / "tree").native());
  ASSERT_TRUE(snapshot);
  snapshot->eventID = 42;
  history.saveSnapshot("/some/root", *snapshot);
  const std::optional<TreeSnapshot> back = history.snapshot("/some/root");
  ASSERT_TRUE(back);
  EXPECT_EQ(back->eventID, 42U);
  EXPECT_EQ(back->folders, snapshot->folders);
  EXPECT_FALSE(history.snapshot("/other/root"));
  EXPECT_FALSE(history.snapshot(""));
}

TEST(FileSystemEventHistoryTest, UnusableDatabasesAreMovedAside) {
  const struct {
    const char* what;
    std::string contents;
  } cases[] = {
      {"not a database", "garbage, not SQLite at all"},
      {"an empty file", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const fs::path folder = test::makeTemporaryFolder("history");
    const std::string db = (folder / "h.sqlite").native();
    test::writeFile(db, c.contents);
    FileSystemEventHistory history(db);
    EXPECT_GT(history.nextEventID(), 0U);
    EXPECT_GT(history.nextEventID(), 1U);
    history.saveSnapshot("/r", TreeSnapshot{});
    EXPECT_TRUE(history.snapshot("/r"));
  }
  // A database of someone else's, with a "counter" table of its own shape.
  const fs::path folder = test::makeTemporaryFolder("history");
  const std::string db = (folder / "h.sqlite").native();
  ASSERT_TRUE(test::runPython("import sqlite3; c = sqlite3.connect('" + db +
                              "'); c.execute('CREATE TABLE counter (x TEXT)'); c.commit()"));
  FileSystemEventHistory history(db);
  EXPECT_GT(history.nextEventID(), 0U);
  EXPECT_TRUE(fs::exists(db + ".unusable"));
}

TEST(TreeSnapshotTest, SerialisedFormsRoundTripAndDamageIsRefused) {
  const fs::path folder = test::makeTemporaryFolder("snap");
  test::writeFile(folder / "a" / "b" / "f", "x");
  std::optional<TreeSnapshot> snapshot = TreeSnapshot::take(folder.native());
  ASSERT_TRUE(snapshot);
  EXPECT_EQ(snapshot->folders.size(), 3U);  // "", "a", "a/b"
  const Data data = snapshot->serialized();
  ASSERT_TRUE(TreeSnapshot::deserialized(data));
  EXPECT_EQ(TreeSnapshot::deserialized(data)->folders, snapshot->folders);
  for (const std::size_t cut : {std::size_t{0}, std::size_t{3}, data.size() - 1}) {
    SCOPED_TRACE(cut);
    EXPECT_FALSE(TreeSnapshot::deserialized(DataView(data.data(), cut)));
  }
  Data longer = data;
  longer.push_back(0);
  EXPECT_FALSE(TreeSnapshot::deserialized(longer));
  EXPECT_FALSE(TreeSnapshot::take((folder / "a" / "b" / "f").native()));
  EXPECT_FALSE(TreeSnapshot::take((folder / "missing").native()));
}

TEST(TreeSnapshotTest, ChangedFoldersAreTheOnesWhoseEntriesChanged) {
  const fs::path folder = test::makeTemporaryFolder("snap");
  for (const char* file : {"same/f", "content/f", "added/f", "removed/f", "deep/x/y/f"}) {
    test::writeFile(folder / file, "x");
  }
  const TreeSnapshot before = *TreeSnapshot::take(folder.native());
  EXPECT_TRUE(before.changedSince(before).empty());
  test::writeFile(folder / "content" / "f", "changed");
  test::writeFile(folder / "added" / "g", "x");
  fs::remove(folder / "removed" / "f");
  fs::remove_all(folder / "deep" / "x");
  const TreeSnapshot after = *TreeSnapshot::take(folder.native());
  EXPECT_EQ(after.changedSince(before),
            (std::vector<std::string>{"added", "content", "deep", "removed"}));
  TreeSnapshot unsettled = before;
  unsettled.markUnsettled("same");
  unsettled.markUnsettled("not/there");
  EXPECT_EQ(before.changedSince(unsettled), std::vector<std::string>{"same"});
}

}  // namespace
}  // namespace lx::detail
