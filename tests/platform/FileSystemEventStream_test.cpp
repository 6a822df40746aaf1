#include "vantorcore/platform/FileSystemEventStream.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <thread>

#include "support/TestSupport.h"
#include "vantorcore/platform/RunLoop.h"
#include "vantorcore/platform/String+Paths.h"

namespace lx {
namespace {

namespace fs = std::filesystem;

// A stream over a fresh folder whose batches pile up in `events`.
class FileSystemEventStreamTest : public ::testing::Test {
 protected:
  void TearDown() override {
    FileSystemEventStream::setWatchLimit(std::nullopt);
    FileSystemEventStream::setOverflowBackoff(1);
  }

  std::shared_ptr<FileSystemEventStream> makeStream(
      FSEventStreamEventId since = kFSEventStreamEventIdSinceNow, double latency = 0,
      FSEventStreamCreateFlags flags = kFSEventStreamCreateFlagWatchRoot) {
    return FileSystemEventStream::create(
        stringWithFileSystemRepresentation(root_.native()), since, latency, flags,
        [this](FileSystemEventStream&, const std::vector<FileSystemEvent>& batch) {
          EXPECT_FALSE(batch.empty());
          for (const FileSystemEvent& e : batch) {
            EXPECT_GT(e.eventID, lastID_);
            lastID_ = e.eventID;
            events_.push_back(e);
          }
          ++batches_;
        });
  }

  // Runs the main run loop until `done` holds (false after 10 s).
  static bool runUntil(const std::function<bool()>& done) {
    const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!done()) {
      if (std::chrono::steady_clock::now() > giveUp) return false;
      RunLoop::main()->runMode(DefaultRunLoopMode,
                               Date(Date::now().timeIntervalSince1970() + 0.01));
    }
    return true;
  }

  // Runs the main run loop for `seconds`, for events that must not come.
  static void runFor(double seconds) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    runUntil([&] { return std::chrono::steady_clock::now() >= end; });
  }

  String path(const std::string& relative = "") const {
    return stringWithFileSystemRepresentation(relative.empty()
                                                  ? fs::canonical(root_).native()
                                                  : (fs::canonical(root_) / relative).native());
  }

  bool sawEvent(const String& path, FSEventStreamEventFlags flags = 0) const {
    return std::any_of(events_.begin(), events_.end(), [&](const FileSystemEvent& e) {
      return e.path == path && (e.flags & flags) == flags;
    });
  }

  std::size_t count(FSEventStreamEventFlags flags) const {
    return std::count_if(events_.begin(), events_.end(),
                         [&](const FileSystemEvent& e) { return (e.flags & flags) == flags; });
  }

  fs::path root_ = test::makeTemporaryFolder("stream");
  std::vector<FileSystemEvent> events_;
  FSEventStreamEventId lastID_ = 0;
  int batches_ = 0;
};

TEST_F(FileSystemEventStreamTest, FoldersMadeFasterThanTheirWatchesAreAllReported) {
  const auto stream = makeStream();
  ASSERT_TRUE(stream->start());
  EXPECT_EQ(stream->pathsBeingWatched(), std::vector<String>{path()});
  fs::create_directories(root_ / "a" / "b" / "c");
  test::writeFile(root_ / "a" / "b" / "c" / "f", "x");
  ASSERT_TRUE(runUntil([&] { return sawEvent(path("a/b/c")); }));
  for (const char* folder : {"", "a", "a/b"}) EXPECT_TRUE(sawEvent(path(folder))) << folder;
  // And the new folders are watched from now on.
  runFor(0.1);
  const auto inB = [&] {
    return std::count_if(events_.begin(), events_.end(),
                         [&](const FileSystemEvent& e) { return e.path == path("a/b"); });
  };
  const auto before = inB();
  test::writeFile(root_ / "a" / "b" / "g", "x");
  EXPECT_TRUE(runUntil([&] { return inB() > before; }));
}

TEST_F(FileSystemEventStreamTest, ChangesAreCoalescedPerFolderAndKeptWhileStopped) {
  fs::create_directory(root_ / "one");
  fs::create_directory(root_ / "two");
  const auto stream = makeStream();
  ASSERT_TRUE(stream->start());
  stream->stop();
  for (int i = 0; i < 50; ++i) {
    test::writeFile(root_ / "one" / std::to_string(i), "x");
    test::writeFile(root_ / "two" / std::to_string(i), "x");
  }
  runFor(0.2);
  EXPECT_EQ(batches_, 0);  // stopped: nothing delivered
  ASSERT_TRUE(stream->start());
  ASSERT_TRUE(runUntil([&] { return events_.size() >= 2; }));
  runFor(0.1);
  EXPECT_EQ(events_.size(), 2U);
  EXPECT_TRUE(sawEvent(path("one")));
  EXPECT_TRUE(sawEvent(path("two")));
  EXPECT_EQ(stream->latestEventId(), lastID_);
  EXPECT_EQ(FileSystemEventStream::currentEventId(), lastID_);
}

TEST_F(FileSystemEventStreamTest, RunningOutOfWatchesAsksForAScanOfTheUnwatchedSubtree) {
  // Root, "a" and "b" need three watches (plus one per ancestor of the root,
  // which these rows leave out by not watching the root).
  fs::create_directories(root_ / "a");
  fs::create_directories(root_ / "b");
  for (const std::size_t limit : {3U, 2U}) {
    SCOPED_TRACE(limit);
    events_.clear();
    FileSystemEventStream::setWatchLimit(limit);
    const auto stream = makeStream(kFSEventStreamEventIdSinceNow, 0, 0);
    ASSERT_TRUE(stream->start());
    const FSEventStreamEventFlags dropped =
        kFSEventStreamEventFlagMustScanSubDirs | kFSEventStreamEventFlagUserDropped;
    if (limit == 3) {
      runFor(0.1);
      EXPECT_EQ(count(dropped), 0U);
    } else {
      ASSERT_TRUE(runUntil([&] { return count(dropped) == 1; }));
      EXPECT_TRUE(sawEvent(path("a"), dropped) || sawEvent(path("b"), dropped));
    }
    stream->invalidate();
  }
}

TEST_F(FileSystemEventStreamTest, OverflowsAreReportedOnTheRootAndBackedOff) {
  FileSystemEventStream::setOverflowBackoff(0.3);
  const auto stream = makeStream();
  ASSERT_TRUE(stream->start());
  const FSEventStreamEventFlags overflow =
      kFSEventStreamEventFlagMustScanSubDirs | kFSEventStreamEventFlagKernelDropped;
  for (int i = 0; i < 5; ++i) FileSystemEventStream::simulateKernelOverflow();
  // One report at once, one for the rest when the back-off ends.
  ASSERT_TRUE(runUntil([&] { return count(overflow) == 2; }));
  runFor(0.5);
  EXPECT_EQ(count(overflow), 2U);
  for (const FileSystemEvent& e : events_) EXPECT_EQ(e.path, path());
}

TEST_F(FileSystemEventStreamTest, RootMovedOrDeletedIsARootChange) {
  const fs::path original = root_;
  const String rootPath = path();
  const auto stream = makeStream();
  ASSERT_TRUE(stream->start());
  fs::rename(original, original.native() + "-moved");
  ASSERT_TRUE(runUntil([&] { return count(kFSEventStreamEventFlagRootChanged) >= 1; }));
  EXPECT_TRUE(sawEvent(rootPath, kFSEventStreamEventFlagRootChanged));
  // Made again: reported, and watched again.
  events_.clear();
  fs::create_directory(original);
  ASSERT_TRUE(runUntil([&] { return count(kFSEventStreamEventFlagRootChanged) >= 1; }));
  test::writeFile(original / "new", "x");
  ASSERT_TRUE(runUntil([&] { return sawEvent(rootPath, 0) && events_.back().flags == 0; }));
  fs::remove_all(original);
  ASSERT_TRUE(runUntil([&] { return count(kFSEventStreamEventFlagRootChanged) >= 2; }));
  fs::remove_all(original.native() + "-moved");
}

TEST_F(FileSystemEventStreamTest, StartingFromAnEarlierIdentifierReportsWhatChangedMeanwhile) {
  for (const char* folder : {"same", "written", "gone/inner", "renamed"}) {
    fs::create_directories(root_ / folder);
  }
  test::writeFile(root_ / "renamed" / "f", "x");
  FSEventStreamEventId saved = 0;
  {
    const auto first = makeStream();
    ASSERT_TRUE(first->start());
    // One delivered change, so that the saved identifier has one before it
    // even when this is the first stream the history has seen.
    test::writeFile(root_ / "written" / "f", "old");
    ASSERT_TRUE(runUntil([&] { return !events_.empty(); }));
    first->saveSnapshot();
    saved = first->latestEventId();
  }
  // No stream runs while these happen.
  test::writeFile(root_ / "written" / "f", "new, longer");
  fs::remove_all(root_ / "gone");
  fs::rename(root_ / "renamed" / "f", root_ / "renamed" / "g");
  fs::create_directory(root_ / "made");

  struct Case {
    const char* what;
    std::function<FSEventStreamEventId()> since;  // asked when the case runs
    std::vector<String> expected;                 // before history done, in order
    FSEventStreamEventFlags firstFlags;
  };
  const auto fixed = [](FSEventStreamEventId id) { return [id] { return id; }; };
  const Case cases[] = {
      {"from the snapshot's identifier",
       fixed(saved),
       {path(), path("made"), path("renamed"), path("written")},
       0},
      {"from before the snapshot: no usable record",
       fixed(saved - 1),
       {path()},
       kFSEventStreamEventFlagMustScanSubDirs},
      {"from one past the latest identifier handed out",
       [] { return FileSystemEventStream::currentEventId() + 1; },
       {path()},
       kFSEventStreamEventFlagMustScanSubDirs},
      {"from an identifier never handed out",
       fixed(UINT64_MAX - 1),
       {path()},
       kFSEventStreamEventFlagMustScanSubDirs},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    events_.clear();
    lastID_ = 0;
    const auto stream = makeStream(c.since());
    ASSERT_TRUE(stream->start());
    ASSERT_TRUE(runUntil([&] { return count(kFSEventStreamEventFlagHistoryDone) == 1; }));
    ASSERT_EQ(events_.size(), c.expected.size() + 1);
    for (std::size_t i = 0; i < c.expected.size(); ++i) EXPECT_EQ(events_[i].path, c.expected[i]);
    EXPECT_EQ(events_.front().flags, c.firstFlags);
    EXPECT_EQ(events_.back().flags, kFSEventStreamEventFlagHistoryDone);
  }
}

TEST_F(FileSystemEventStreamTest, ChangesNotYetDeliveredWhenTheSnapshotIsTakenAreNotLost) {
  fs::create_directory(root_ / "busy");
  FSEventStreamEventId saved = 0;
  {
    const auto first = makeStream(kFSEventStreamEventIdSinceNow, 30);  // never delivers in time
    ASSERT_TRUE(first->start());
    test::writeFile(root_ / "busy" / "f", "x");
    std::this_thread::sleep_for(std::chrono::milliseconds(100));  // for the reader thread
    first->saveSnapshot();
    saved = first->latestEventId();
  }
  const auto second = makeStream(saved);
  ASSERT_TRUE(second->start());
  ASSERT_TRUE(runUntil([&] { return count(kFSEventStreamEventFlagHistoryDone) == 1; }));
  EXPECT_TRUE(sawEvent(path("busy")));
}

TEST(FileSystemEventStreamCreateTest, EmptyPathMakesNoStream) {
  EXPECT_FALSE(FileSystemEventStream::create(u"", kFSEventStreamEventIdSinceNow, 0, 0,
                                             [](auto&, const auto&) {}));
}

}  // namespace
}  // namespace lx
