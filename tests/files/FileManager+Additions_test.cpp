#include <gtest/gtest.h>

#include <thread>

#include "files/BootDiskSource.h"
#include "support/TestSupport.h"
#include "vantorcore/files/FileManager+Additions.h"
#include "vantorcore/platform/Log.h"
#include "vantorcore/platform/String+Paths.h"
#include "vantorcore/platform/Thread.h"

namespace lx {
namespace {

// The main thread shares the default manager, released or not; each other
// thread gets its own.
TEST(ThreadSafeManagerTest, EachOtherThreadGetsItsOwn) {
  ASSERT_TRUE(Thread::isMainThread());  // the test runner's initial thread
  EXPECT_EQ(FileManager::threadSafeManager(), FileManager::defaultManager());
  FileManager::releaseThreadSafeManager();
  EXPECT_EQ(FileManager::threadSafeManager(), FileManager::defaultManager());
  std::shared_ptr<FileManager> first, firstAgain, afterRelease, second;
  std::thread([&] {
    first = FileManager::threadSafeManager();
    firstAgain = FileManager::threadSafeManager();
    FileManager::releaseThreadSafeManager();
    afterRelease = FileManager::threadSafeManager();
  }).join();
  std::thread([&] { second = FileManager::threadSafeManager(); }).join();
  EXPECT_EQ(first, firstAgain);
  EXPECT_NE(first, afterRelease);
  EXPECT_NE(first, second);
  EXPECT_NE(first, FileManager::defaultManager());
  EXPECT_NE(second, FileManager::defaultManager());
}

TEST(BootDiskTest, IsAVolumePathReadOnceUntilReset) {
  const auto restore = detail::setBootDiskNameSource([] { return String(u"First Disk"); });
  lx_resetBootDiskValues();
  EXPECT_EQ(lx_bootDiskPath(), u"/Volumes/First Disk");
  detail::setBootDiskNameSource([] { return String(u"Second"); });
  EXPECT_EQ(lx_bootDiskPath(), u"/Volumes/First Disk");  // cached
  lx_resetBootDiskValues();
  EXPECT_EQ(lx_bootDiskPath(), u"/Volumes/Second");

  detail::setBootDiskNameSource([] { return std::optional<String>(); });
  lx_resetBootDiskValues();
  ScopedLogCapture log;
  EXPECT_FALSE(lx_bootDiskPath());
  EXPECT_TRUE(log.contains(u"boot disk name failed (-1)"));

  detail::setBootDiskNameSource(restore);
  lx_resetBootDiskValues();
  const std::optional<String> real = lx_bootDiskPath();
  ASSERT_TRUE(real);
  EXPECT_TRUE(real->starts_with(u"/Volumes/"));
  EXPECT_GT(real->size(), 9u);
}

TEST(AdditionsTest, ComputerNameIsNeverEmpty) { EXPECT_FALSE(lx_computerName().empty()); }

TEST(AdditionsTest, DirectoryExistsOnlyForFolders) {
  auto manager = FileManager::defaultManager();
  const String folder =
      stringWithFileSystemRepresentation(test::makeTemporaryFolder("add").native());
  const String file = stringByAppendingPathComponent(folder, u"f");
  const String link = stringByAppendingPathComponent(folder, u"link");
  ASSERT_TRUE(manager->createFileAtPath(file));
  ASSERT_TRUE(manager->createSymbolicLinkAtPath(link, folder));
  const struct {
    String path;
    bool isDirectory;
  } cases[] = {{folder, true}, {file, false}, {link, true}, {folder + u"/missing", false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.path));
    EXPECT_EQ(lx_directoryExistsAtPath(*manager, c.path), c.isDirectory);
  }
}

TEST(AdditionsTest, SameVolumeComparesFileSystemNumbers) {
  auto manager = FileManager::defaultManager();
  const String folder =
      stringWithFileSystemRepresentation(test::makeTemporaryFolder("vol").native());
  EXPECT_TRUE(lx_itemAtPath(*manager, folder, stringByDeletingLastPathComponent(folder)));
  EXPECT_FALSE(lx_itemAtPath(*manager, folder, u"/proc"));
  EXPECT_TRUE(lx_itemAtPath(*manager, u"/missing/a", u"/missing/b"));  // both count as 0
  EXPECT_FALSE(lx_itemAtPath(*manager, folder, u"/missing/b"));
}

TEST(AdditionsTest, MIMETypesComeFromTheExtension) {
  const struct {
    const char16_t* name;
    std::optional<String> type;
  } cases[] = {
      {u"a.png", u"image/png"},         {u"/x/b.tar.GZ", u"application/gzip"},
      {u"c.JSON", u"application/json"}, {u"README", std::nullopt},
      {u"x.unknownext", std::nullopt},  {u".png", std::nullopt},
      {u"name.", std::nullopt},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.name));
    EXPECT_EQ(lx_MIMETypeForFilename(*FileManager::defaultManager(), c.name), c.type);
  }
}

}  // namespace
}  // namespace lx
