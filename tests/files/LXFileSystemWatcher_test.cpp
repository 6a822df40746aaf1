#include "vantorcore/files/LXFileSystemWatcher.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "concurrency/ConcurrencyTestSupport.h"
#include "support/TestSupport.h"
#include "vantorcore/archiving/KeyedArchiver.h"
#include "vantorcore/archiving/KeyedUnarchiver.h"
#include "vantorcore/files/FileManager+Additions.h"
#include "vantorcore/platform/Log.h"
#include "vantorcore/platform/String+Paths.h"
#include "vantorcore/platform/Thread.h"

namespace lx {
namespace {

namespace fs = std::filesystem;

class RecordingDelegate : public LXFileSystemWatcherDelegate {
 public:
  void didRecieveChanges(LXFileSystemWatcher& watcher,
                         const std::vector<std::shared_ptr<LXFileSystemChange>>& batch) override {
    EXPECT_TRUE(Thread::isMainThread());
    lastEventIDSeen = watcher.lastEventID();
    changes.insert(changes.end(), batch.begin(), batch.end());
    ++batches;
  }
  bool respondsToRootDidMoveToPath() const override { return respondsToMove; }
  void rootDidMoveToPath(LXFileSystemWatcher&, const String& path) override {
    movedTo.push_back(path);
  }

  bool sawChange(const String& path, std::uint32_t flags = 0) const {
    return std::any_of(changes.begin(), changes.end(), [&](const auto& c) {
      return c->path() == path && (c->flags() & flags) == flags;
    });
  }

  std::vector<std::shared_ptr<LXFileSystemChange>> changes;
  std::vector<String> movedTo;
  std::uint64_t lastEventIDSeen = 0;
  int batches = 0;
  bool respondsToMove = true;
};

String stringOf(const fs::path& path) { return stringWithFileSystemRepresentation(path.native()); }

TEST(LXFileSystemWatcherTest, RootsAreSanitisedAndTheSystemFolderRefused) {
  const String system = stringByAppendingPathComponent(*lx_bootDiskPath(), u"System");
  const struct {
    std::optional<String> root;
    std::optional<String> expected;  // absent: no watcher
  } cases[] = {
      {std::nullopt, std::nullopt},
      {system, std::nullopt},
      {system + u"/Library", std::nullopt},
      {u"/System/Volumes/Data/Users/x", u"/Users/x"},
      {u"/System/Volumes/Data", u"/System/Volumes/Data"},
      {u"/Users/x", u"/Users/x"},
      {u"", u""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.root ? toUTF8(*c.root) : "absent");
    const auto watcher = LXFileSystemWatcher::initWithRootPath(c.root);
    ASSERT_EQ(watcher != nullptr, c.expected.has_value());
    if (!watcher) continue;
    EXPECT_EQ(watcher->rootPath(), *c.expected);
    EXPECT_EQ(watcher->lastEventID(), kFSEventStreamEventIdSinceNow);
    EXPECT_EQ(watcher->latency(), 1.0);
    EXPECT_FALSE(watcher->isWatchingEvents());
  }
  EXPECT_FALSE(LXFileSystemWatcher::initWithRootPath(u"")->start());
}

// A watcher whose client path is a symbolic link to the folder the stream
// resolves, so that the two forms of the root differ.
class WatcherCallbackTest : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::create_directory(folder_ / "real");
    fs::create_directory_symlink(folder_ / "real", folder_ / "link");
    watcher_ = LXFileSystemWatcher::initWithRootPath(client_);
    watcher_->setDelegate(delegate_);
    ASSERT_TRUE(watcher_->start());
    ASSERT_EQ(watcher_->rootPathResolved(), resolved_);
  }

  fs::path folder_ = fs::canonical(test::makeTemporaryFolder("cb"));
  String client_ = stringOf(folder_ / "link");
  String resolved_ = stringOf(folder_ / "real");
  std::shared_ptr<RecordingDelegate> delegate_ = std::make_shared<RecordingDelegate>();
  std::shared_ptr<LXFileSystemWatcher> watcher_;
};

TEST_F(WatcherCallbackTest, EventsAreRewrittenDroppedOrKeptByFlag) {
  const String above = stringOf(folder_);
  const String sameLength = stringOf(folder_ / "xxxx");  // as long as ".../real"
  const struct {
    const char* what;
    String path;
    std::uint32_t flags;
    std::optional<String> expected;  // absent: dropped
    bool conditionFailed = false;
  } cases[] = {
      {"below the resolved root: the client's form", resolved_ + u"/a/b", 0, client_ + u"/a/b"},
      {"the resolved root itself", resolved_, 0, client_},
      {"above the root: dropped", above, 0, std::nullopt},
      {"same length, another folder: rewritten all the same", sameLength, 0, client_, true},
      {"must scan above the root: the resolved root", above, 0x1, resolved_},
      {"must scan below: kept as is", resolved_ + u"/a", 0x1, resolved_ + u"/a"},
      {"history done: kept as is", above, 0x10, above},
      {"root changed: kept as is", resolved_, 0x20, resolved_},
      {"dropped-event flags ride along", resolved_ + u"/a", 0x6, client_ + u"/a"},
      {"from the data volume", u"/System/Volumes/Data" + resolved_ + u"/c", 0, client_ + u"/c"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    delegate_->changes.clear();
    std::vector<String> lines;
    const LogSink previous = setLogSink([&](const String& line) { lines.push_back(line); });
    watcher_->streamDidDeliverEvents(77, {{c.path, c.flags, 5}});
    setLogSink(previous);
    EXPECT_EQ(watcher_->lastEventID(), 77U);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), u"CONDITION FAILED: Root paths do not match"),
              c.conditionFailed ? 1 : 0);
    if (!c.expected) {
      EXPECT_TRUE(delegate_->changes.empty());
      continue;
    }
    ASSERT_EQ(delegate_->changes.size(), 1U);
    EXPECT_EQ(delegate_->changes[0]->path(), *c.expected);
    EXPECT_EQ(delegate_->changes[0]->flags(), c.flags);
    EXPECT_EQ(delegate_->changes[0]->eventID(), 5U);
    EXPECT_EQ(delegate_->changes[0]->scanSubpaths(), (c.flags & 1) != 0);
  }
  EXPECT_EQ(delegate_->movedTo, std::vector<String>{resolved_});
}

TEST_F(WatcherCallbackTest, EmptyBatchesCallNothingButStillTakeTheIdentifier) {
  const int before = delegate_->batches;
  watcher_->streamDidDeliverEvents(90, {});
  watcher_->streamDidDeliverEvents(91, {{stringOf(folder_), 0, 91}});  // all dropped
  EXPECT_EQ(delegate_->batches, before);
  EXPECT_EQ(watcher_->lastEventID(), 91U);
  delegate_->respondsToMove = false;
  watcher_->streamDidDeliverEvents(92, {{resolved_, 0x20, 92}});
  EXPECT_TRUE(delegate_->movedTo.empty());
  EXPECT_EQ(delegate_->batches, before + 1);
}

TEST_F(WatcherCallbackTest, StopKeepsTheStreamAndStartResumesIt) {
  watcher_->stop();
  EXPECT_TRUE(watcher_->isWatchingEvents());
  fs::create_directory(folder_ / "real" / "made");
  EXPECT_TRUE(watcher_->start());
  ASSERT_TRUE(test::spinUntil([&] { return delegate_->sawChange(client_); }));
  EXPECT_EQ(watcher_->lastEventID(), delegate_->lastEventIDSeen);
  EXPECT_NE(watcher_->description().find(u" Root Path = " + client_ + u", Last EventID = "),
            String::npos);
}

std::optional<Data> archive(const LXFileSystemWatcher& watcher) {
  return KeyedArchiver::archivedDataWithRootObject(
      Value(std::const_pointer_cast<LXFileSystemWatcher>(
          std::static_pointer_cast<const LXFileSystemWatcher>(watcher.shared_from_this()))),
      true);
}

std::shared_ptr<LXFileSystemWatcher> unarchive(const Data& data) {
  return KeyedUnarchiver::unarchivedObjectOfClass(LXFileSystemWatcher::staticClass(), data)
      .objectAs<LXFileSystemWatcher>();
}

TEST(LXFileSystemWatcherArchiveTest, ArchivesRootAndIdentifier) {
  const auto fixed = LXFileSystemWatcher::initWithRootPath(u"/System/Volumes/Data/w", 1234);
  const std::shared_ptr<LXFileSystemWatcher> back = unarchive(*archive(*fixed));
  ASSERT_TRUE(back);
  EXPECT_EQ(back->rootPath(), u"/w");
  EXPECT_EQ(back->lastEventID(), 1234U);
}

TEST(LXFileSystemWatcherArchiveTest, AnUnarchivedWatcherIsToldWhatChangedWhileNoneRan) {
  const fs::path folder = fs::canonical(test::makeTemporaryFolder("resume"));
  for (const char* file : {"kept/f", "edited/f", "emptied/f"}) test::writeFile(folder / file, "x");
  Data archived;
  {
    // Still at since-now: without a stream the value stays; with one it
    // becomes the stream's latest identifier.
    const auto watcher = LXFileSystemWatcher::initWithRootPath(stringOf(folder));
    EXPECT_EQ(unarchive(*archive(*watcher))->lastEventID(), kFSEventStreamEventIdSinceNow);
    ASSERT_TRUE(watcher->start());
    archived = *archive(*watcher);
    EXPECT_EQ(unarchive(archived)->lastEventID(), FileSystemEventStream::currentEventId());
  }
  test::writeFile(folder / "edited" / "f", "edited while no watcher ran");
  fs::remove(folder / "emptied" / "f");
  test::writeFile(folder / "new" / "f", "x");

  const auto watcher = unarchive(archived);
  ASSERT_TRUE(watcher);
  const auto delegate = std::make_shared<RecordingDelegate>();
  watcher->setDelegate(delegate);
  watcher->setLatency(0);
  ASSERT_TRUE(watcher->start());
  ASSERT_TRUE(test::spinUntil([&] { return delegate->sawChange(stringOf(folder), 0x10); }));
  std::vector<String> changed;
  for (const auto& c : delegate->changes) {
    if (c->flags() == 0) changed.push_back(c->path());
  }
  EXPECT_EQ(changed, (std::vector<String>{stringOf(folder), stringOf(folder / "edited"),
                                          stringOf(folder / "emptied"), stringOf(folder / "new")}));
  EXPECT_EQ(delegate->changes.back()->flags(), 0x10U);

  // One past the latest identifier handed out there is no usable record:
  // the whole root must be scanned.
  const auto ahead = LXFileSystemWatcher::initWithRootPath(
      stringOf(folder), FileSystemEventStream::currentEventId() + 1);
  const auto told = std::make_shared<RecordingDelegate>();
  ahead->setDelegate(told);
  ahead->setLatency(0);
  ASSERT_TRUE(ahead->start());
  ASSERT_TRUE(test::spinUntil([&] { return told->sawChange(stringOf(folder), 0x10); }));
  ASSERT_EQ(told->changes.size(), 2U);
  EXPECT_EQ(told->changes[0]->path(), stringOf(folder));
  EXPECT_EQ(told->changes[0]->flags(), 0x1U);
}

}  // namespace
}  // namespace lx
