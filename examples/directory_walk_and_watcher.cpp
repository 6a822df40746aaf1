// Files: a directory walk that reads sizes up front, then a watcher that
// reports which folders of the tree change.
//
// Everything happens in a temporary folder (the XDG folders point there too,
// so the watcher's event history stays out of the user's). The watcher
// delivers on the main queue, so the program runs the main run loop until
// the change it made is reported, giving up after ten seconds.
#include <stdlib.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "vantorcore/files/LXFileSystemWatcher.h"
#include "vantorcore/platform/DirectoryEnumerator.h"
#include "vantorcore/platform/RunLoop.h"

namespace fs = std::filesystem;

// Prints each batch and notes whether `awaited` (a folder) was among it.
class PrintingDelegate : public lx::LXFileSystemWatcherDelegate {
 public:
  explicit PrintingDelegate(lx::String awaited) : awaited_(std::move(awaited)) {}
  void didRecieveChanges(
      lx::LXFileSystemWatcher&,
      const std::vector<std::shared_ptr<lx::LXFileSystemChange>>& changes) override {
    for (const auto& change : changes) {
      std::printf("changed: %s\n", lx::toUTF8(change->path()).c_str());
      if (change->path() == awaited_) seen = true;
    }
  }
  bool seen = false;

 private:
  lx::String awaited_;
};

int main() {
  char folder[] = "/tmp/vantor-example-XXXXXX";
  if (!mkdtemp(folder)) return 1;
  for (const char* name : {"XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_STATE_HOME"}) {
    setenv(name, folder, 1);
  }
  const fs::path root = fs::path(folder) / "tree";
  fs::create_directories(root / "docs" / "drafts");
  fs::create_directories(root / "photos");
  std::ofstream(root / "docs" / "notes.txt") << "twelve bytes";
  std::ofstream(root / "docs" / "drafts" / "letter.txt") << "Dear Ann,\n";
  std::ofstream(root / "photos" / ".thumbnail") << "hidden";

  // The walk: depth first, a folder before its contents; sizes are read
  // for files only, as folders have none.
  lx::DirectoryEnumerator enumerator(lx::DirectoryEnumerator::Sizes |
                                     lx::DirectoryEnumerator::Hidden);
  std::uint64_t files = 0, bytes = 0;
  enumerator.enumerate(lx::fromUTF8(root.native()), [&](const lx::DirectoryItem& item, unsigned) {
    std::printf("%*s%.*s%s%s\n", item.depth * 2, "", static_cast<int>(item.name.size()),
                item.name.data(), item.isDirectory() ? "/" : "", item.hidden ? " (hidden)" : "");
    if (item.hasSizes) ++files, bytes += item.logicalSize;
    return true;  // walk into every folder
  });
  std::printf("%llu files, %llu bytes\n", static_cast<unsigned long long>(files),
              static_cast<unsigned long long>(bytes));

  // The watcher: changes arrive on the main thread as the folders they touched.
  const lx::String drafts = lx::fromUTF8((root / "docs" / "drafts").native());
  auto watcher = lx::LXFileSystemWatcher::initWithRootPath(lx::fromUTF8(root.native()));
  auto delegate = std::make_shared<PrintingDelegate>(drafts);
  watcher->setDelegate(delegate);
  watcher->setLatency(0.1);
  if (!watcher->start()) return 1;
  std::ofstream(root / "docs" / "drafts" / "reply.txt") << "Dear Bob,\n";

  const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!delegate->seen && std::chrono::steady_clock::now() < giveUp) {
    lx::RunLoop::main()->runMode(lx::DefaultRunLoopMode, lx::Date::now().addingTimeInterval(0.05));
  }
  watcher->stop();
  fs::remove_all(folder);
  return files == 3 && bytes == 28 && delegate->seen ? 0 : 1;
}
