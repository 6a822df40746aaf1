// Watches preference files for changes made by other processes (or other
// store objects), with inotify on the dispatch engine's threads.
//
// The folder is watched rather than the file, so that a file replaced by
// rename (as every store writes) is still seen. Events for one file that
// arrive within `kCoalescingDelay` of the first are answered by one call.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>

#include "vantorcore/platform/String.h"

namespace lx::detail {

class PreferencesFileMonitor {
 public:
  static constexpr std::chrono::milliseconds kCoalescingDelay{15};

  /// The process's monitor, made on first use and never destroyed.
  static PreferencesFileMonitor& shared();

  /// Calls `changed` on an engine thread after the file at `path` was
  /// written, replaced, removed or had its permissions changed. Returns an
  /// id for `unwatch`, or 0 when the folder cannot be watched (the line
  /// "UserDefaults: cannot watch <folder>: <reason>" is logged then).
  std::uint64_t watch(const String& path, std::function<void()> changed);
  /// Stops calls for `id`; one already running on another thread may finish.
  void unwatch(std::uint64_t id);

 private:
  PreferencesFileMonitor();
  struct Watch;
  void waitForEvents();
  void readEvents();
  void schedule(std::uint64_t id);

  int fd_ = -1;
  struct Engine;
  std::unique_ptr<Engine> engine_;
  std::mutex mutex_;
  std::uint64_t nextId_ = 1;
  std::map<int, int> folderReferences_;  // by watch descriptor
  std::map<std::uint64_t, std::shared_ptr<Watch>> watches_;
};

}  // namespace lx::detail
