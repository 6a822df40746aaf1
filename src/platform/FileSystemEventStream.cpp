#include "vantorcore/platform/FileSystemEventStream.h"

#include <fcntl.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <unordered_map>

#include "platform/FileSystemEventHistory.h"
#include "platform/InotifyService.h"
#include "platform/TreeSnapshot.h"
#include "vantorcore/platform/DirectoryEnumerator.h"
#include "vantorcore/platform/String+Paths.h"

namespace lx {

namespace {

using detail::FileSystemEventHistory;
using detail::InotifyService;
using detail::TreeSnapshot;
using SteadyClock = std::chrono::steady_clock;

constexpr std::uint32_t kFolderMask = IN_CREATE | IN_DELETE | IN_MODIFY | IN_ATTRIB |
                                      IN_MOVED_FROM | IN_MOVED_TO | IN_CLOSE_WRITE | IN_ONLYDIR |
                                      IN_DONT_FOLLOW | IN_EXCL_UNLINK;
constexpr std::uint32_t kAncestorMask =
    IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_ONLYDIR | IN_DONT_FOLLOW;
constexpr double kLongestBackoff = 64;
constexpr auto kQuietAfterOverflow = std::chrono::seconds(60);

std::atomic<double> gFirstBackoff{1.0};

std::string join(const std::string& folder, std::string_view name) {
  return folder.empty() ? std::string(name) : folder + "/" + std::string(name);
}

bool isInside(const std::string& path, const std::string& folder) {
  return path == folder ||
         (path.size() > folder.size() && path.starts_with(folder) && path[folder.size()] == '/');
}

std::string resolved(const std::string& path) {
  char buffer[PATH_MAX];
  return ::realpath(path.c_str(), buffer) ? std::string(buffer) : path;
}

class InotifyEventStream final : public FileSystemEventStream,
                                 public detail::InotifySubscriber,
                                 public std::enable_shared_from_this<InotifyEventStream> {
 public:
  InotifyEventStream(std::string root, FSEventStreamEventId sinceWhen, double latency,
                     FSEventStreamCreateFlags flags, Callback callback)
      : root_(resolved(root)),
        sinceWhen_(sinceWhen),
        latency_(std::max(latency, 0.0)),
        flags_(flags),
        callback_(std::move(callback)),
        queue_(DispatchQueue::main()),
        latestDelivered_(sinceWhen == kFSEventStreamEventIdSinceNow
                             ? FileSystemEventHistory::shared().latestEventID()
                             : sinceWhen) {}

  ~InotifyEventStream() override { dropWatches(); }

  std::vector<String> pathsBeingWatched() const override {
    return {stringWithFileSystemRepresentation(root_)};
  }

  void setDispatchQueue(std::shared_ptr<DispatchQueue> queue) override {
    const std::lock_guard lock(mutex_);
    queue_ = std::move(queue);
  }

  bool start() override {
    {
      const std::lock_guard lock(mutex_);
      if (invalidated_) return false;
      if (running_) return true;
      running_ = true;
      if (watching_) {
        scheduleFlushLocked();
        return true;
      }
      watching_ = true;
    }
    if (flags_ & kFSEventStreamCreateFlagWatchRoot) watchAncestors();
    watchTree("", false);
    if (sinceWhen_ != kFSEventStreamEventIdSinceNow) replayHistory();
    const std::lock_guard lock(mutex_);
    scheduleFlushLocked();
    return true;
  }

  void stop() override {
    const std::lock_guard lock(mutex_);
    running_ = false;
  }

  void invalidate() override {
    {
      const std::lock_guard lock(mutex_);
      running_ = false;
      invalidated_ = true;
    }
    dropWatches();
  }

  FSEventStreamEventId latestEventId() const override {
    const std::lock_guard lock(mutex_);
    return latestDelivered_;
  }

  void saveSnapshot() override {
    std::optional<TreeSnapshot> snapshot = TreeSnapshot::take(root_);
    if (!snapshot) return;
    {
      const std::lock_guard lock(mutex_);
      snapshot->eventID = latestDelivered_;
      for (const Pending& p : pending_) {
        if (p.flags & kFSEventStreamEventFlagMustScanSubDirs) {
          for (auto& [folder, record] : snapshot->folders) {
            if (isInside(folder, p.folder)) snapshot->markUnsettled(folder);
          }
        } else {
          snapshot->markUnsettled(p.folder);
        }
      }
    }
    FileSystemEventHistory::shared().saveSnapshot(root_, *snapshot);
  }

  // --- the reader thread ---------------------------------------------------

  void inotifyEvent(int wd, std::uint32_t mask, std::string_view name) override {
    std::optional<std::string> newFolder;
    bool rootCameBack = false;
    {
      const std::lock_guard lock(mutex_);
      if (const auto ancestor = ancestors_.find(wd); ancestor != ancestors_.end()) {
        if (name != ancestor->second) return;
        pushLocked("", kFSEventStreamEventFlagRootChanged);
        if (mask & (IN_DELETE | IN_MOVED_FROM)) forgetFoldersLocked("", true);
        rootCameBack = mask & (IN_CREATE | IN_MOVED_TO);
      } else {
        const auto found = folders_.find(wd);
        if (found == folders_.end()) return;
        const std::string folder = found->second;
        if (mask & IN_IGNORED) {
          folders_.erase(found);
          return;
        }
        pushLocked(folder, kFSEventStreamEventFlagNone);
        if (mask & IN_ISDIR) {
          if (mask & (IN_DELETE | IN_MOVED_FROM)) forgetFoldersLocked(join(folder, name), true);
          if (mask & (IN_CREATE | IN_MOVED_TO)) newFolder = join(folder, name);
        }
      }
    }
    if (rootCameBack) watchTree("", true);
    if (newFolder) watchTree(*newFolder, true);
    const std::lock_guard lock(mutex_);
    scheduleFlushLocked();
  }

  void inotifyOverflow() override {
    const std::lock_guard lock(mutex_);
    const auto now = SteadyClock::now();
    if (now - lastOverflow_ > kQuietAfterOverflow) backoff_ = gFirstBackoff.load();
    lastOverflow_ = now;
    if (now >= nextOverflowReport_) {
      reportOverflowLocked(now);
      return;
    }
    if (overflowDeferred_) return;
    // Inside the back-off interval: one report when it ends.
    overflowDeferred_ = true;
    const double wait = std::chrono::duration<double>(nextOverflowReport_ - now).count();
    queue_->asyncAfter(wait, [weak = weak_from_this()] {
      if (const auto self = weak.lock()) {
        const std::lock_guard lock(self->mutex_);
        self->overflowDeferred_ = false;
        self->reportOverflowLocked(SteadyClock::now());
      }
    });
  }

 private:
  struct Pending {
    std::string folder;
    FSEventStreamEventFlags flags;
  };

  void reportOverflowLocked(SteadyClock::time_point now) {
    pushLocked("", kFSEventStreamEventFlagMustScanSubDirs | kFSEventStreamEventFlagKernelDropped);
    nextOverflowReport_ = now + std::chrono::duration_cast<SteadyClock::duration>(
                                    std::chrono::duration<double>(backoff_));
    backoff_ = std::min(backoff_ * 2, kLongestBackoff);
    scheduleFlushLocked();
  }

  // Adds a change; plain changes of a folder already waiting merge into it.
  void pushLocked(const std::string& folder, FSEventStreamEventFlags flags) {
    const auto same = std::find_if(pending_.begin(), pending_.end(), [&](const Pending& p) {
      return p.folder == folder && p.flags == flags;
    });
    if (same == pending_.end()) pending_.push_back({folder, flags});
  }

  void scheduleFlushLocked() {
    if (!running_ || flushScheduled_ || pending_.empty()) return;
    flushScheduled_ = true;
    queue_->asyncAfter(latency_, [weak = weak_from_this()] {
      if (const auto self = weak.lock()) self->flush();
    });
  }

  // On the delivery queue: numbers the waiting changes and hands them over.
  void flush() {
    std::vector<FileSystemEvent> events;
    {
      const std::lock_guard lock(mutex_);
      flushScheduled_ = false;
      if (!running_ || pending_.empty()) return;
      events.reserve(pending_.size());
      for (const Pending& p : pending_) {
        events.push_back(
            {stringWithFileSystemRepresentation(p.folder.empty() ? root_ : root_ + "/" + p.folder),
             p.flags, FileSystemEventHistory::shared().nextEventID()});
      }
      pending_.clear();
      latestDelivered_ = events.back().eventID;
    }
    callback_(*this, events);
  }

  // Watches `folder` (relative to the root) and every folder below it;
  // with `report`, each of them is reported as changed, since what they
  // hold appeared before their watches did.
  void watchTree(const std::string& folder, bool report) {
    if (!watchFolder(folder, report)) return;
    const std::string base = folder.empty() ? root_ : root_ + "/" + folder;
    DirectoryEnumerator().enumerate(
        stringWithFileSystemRepresentation(base), [&](const DirectoryItem& item, unsigned) {
          if (!item.isDirectory()) return false;
          return watchFolder(std::string(item.path.substr(root_.size() + 1)), report);
        });
  }

  bool watchFolder(const std::string& folder, bool report) {
    auto& service = InotifyService::shared();
    const std::string path = folder.empty() ? root_ : root_ + "/" + folder;
    const int wd = service.addWatch(path, kFolderMask, weak_from_this());
    const std::lock_guard lock(mutex_);
    if (wd < 0) {
      // Unwatched (no watches left, or the path is too long for the
      // kernel): the client must look at the subtree itself.
      if (wd != -ENOENT && wd != -ENOTDIR) {
        pushLocked(folder,
                   kFSEventStreamEventFlagMustScanSubDirs | kFSEventStreamEventFlagUserDropped);
      }
      return false;
    }
    if (folders_.contains(wd)) {
      service.removeWatch(wd, this);  // already ours: keep one subscription
    }
    folders_[wd] = folder;
    if (report) pushLocked(folder, kFSEventStreamEventFlagNone);
    return true;
  }

  // Forgets the watches of `folder` and below (moved away or deleted).
  void forgetFoldersLocked(const std::string& folder, bool release) {
    for (auto it = folders_.begin(); it != folders_.end();) {
      if (folder.empty() || isInside(it->second, folder)) {
        if (release) InotifyService::shared().removeWatch(it->first, this);
        it = folders_.erase(it);
      } else {
        ++it;
      }
    }
  }

  void watchAncestors() {
    std::string path = root_;
    while (path.size() > 1) {
      const std::size_t slash = path.rfind('/');
      if (slash == std::string::npos) break;
      const std::string name = path.substr(slash + 1);
      path = slash == 0 ? "/" : path.substr(0, slash);
      const int wd = InotifyService::shared().addWatch(path, kAncestorMask, weak_from_this());
      if (wd >= 0) {
        const std::lock_guard lock(mutex_);
        ancestors_[wd] = name;
      }
    }
  }

  // Reports what changed since `sinceWhen_` from the snapshot of an earlier
  // run, ahead of anything the new watches saw.
  void replayHistory() {
    std::vector<Pending> history;
    const std::optional<TreeSnapshot> before = FileSystemEventHistory::shared().snapshot(root_);
    const bool usable = before && before->eventID <= sinceWhen_ &&
                        sinceWhen_ <= FileSystemEventHistory::shared().latestEventID();
    const std::optional<TreeSnapshot> now = usable ? TreeSnapshot::take(root_) : std::nullopt;
    if (now) {
      for (std::string& folder : now->changedSince(*before)) {
        history.push_back({std::move(folder), kFSEventStreamEventFlagNone});
      }
    } else {
      history.push_back({"", kFSEventStreamEventFlagMustScanSubDirs});
    }
    history.push_back({"", kFSEventStreamEventFlagHistoryDone});
    const std::lock_guard lock(mutex_);
    pending_.insert(pending_.begin(), history.begin(), history.end());
  }

  void dropWatches() {
    std::vector<int> watches;
    {
      const std::lock_guard lock(mutex_);
      for (const auto& [wd, folder] : folders_) watches.push_back(wd);
      for (const auto& [wd, name] : ancestors_) watches.push_back(wd);
      folders_.clear();
      ancestors_.clear();
    }
    for (const int wd : watches) InotifyService::shared().removeWatch(wd, this);
  }

  const std::string root_;
  const FSEventStreamEventId sinceWhen_;
  const double latency_;
  const FSEventStreamCreateFlags flags_;
  const Callback callback_;

  mutable std::mutex mutex_;
  std::shared_ptr<DispatchQueue> queue_;
  bool running_ = false;
  bool watching_ = false;
  bool invalidated_ = false;
  bool flushScheduled_ = false;
  FSEventStreamEventId latestDelivered_;
  std::unordered_map<int, std::string> folders_;    // watch => folder below the root
  std::unordered_map<int, std::string> ancestors_;  // watch => the name leading to the root
  std::vector<Pending> pending_;
  double backoff_ = gFirstBackoff.load();
  SteadyClock::time_point lastOverflow_{};
  SteadyClock::time_point nextOverflowReport_{};
  bool overflowDeferred_ = false;
};

}  // namespace

std::shared_ptr<FileSystemEventStream> FileSystemEventStream::create(StringView path,
                                                                     FSEventStreamEventId sinceWhen,
                                                                     double latency,
                                                                     FSEventStreamCreateFlags flags,
                                                                     Callback callback) {
  if (path.empty() || !callback) return nullptr;
  return std::make_shared<InotifyEventStream>(fileSystemRepresentation(path), sinceWhen, latency,
                                              flags, std::move(callback));
}

FSEventStreamEventId FileSystemEventStream::currentEventId() {
  return FileSystemEventHistory::shared().latestEventID();
}

void FileSystemEventStream::setWatchLimit(std::optional<std::size_t> limit) {
  InotifyService::shared().setWatchLimit(limit);
}

void FileSystemEventStream::simulateKernelOverflow() {
  InotifyService::shared().simulateOverflow();
}

void FileSystemEventStream::setOverflowBackoff(double seconds) { gFirstBackoff = seconds; }

}  // namespace lx
