// `LXFileSystemWatcher`: watches one folder tree through the platform's
// file-system event stream (platform/FileSystemEventStream.h) and hands its
// delegate batches of `LXFileSystemChange`, each naming a changed folder.
//
// The watcher remembers the newest event identifier it has seen and can be
// archived ("RootPath", "LastEventID" as a boxed "Q"), so that a host can
// watch again after a restart and be told what changed in between.
// Archiving also records the tree in the stream's history, which is what a
// later start from the archived identifier compares the disk with.
//
// Paths are reported in the form in which the client named the root, even
// when the stream resolves it to another path (a symbolic link, a moved
// folder); a root path beginning with "/System/Volumes/Data/" is taken
// without that prefix's first 20 characters.
//
// Main thread only: the stream delivers on the main queue, so the delegate
// is called, and `lastEventID` changes, on the main thread.
#pragma once

#include "vantorcore/Export.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "vantorcore/files/LXFileSystemChange.h"
#include "vantorcore/platform/Coder.h"
#include "vantorcore/platform/FileSystemEventStream.h"
#include "vantorcore/platform/Object.h"

namespace LX_API lx {

class LXFileSystemWatcher;

/// The host's side of a watcher, held weakly.
class LXFileSystemWatcherDelegate {
 public:
  virtual ~LXFileSystemWatcherDelegate() = default;
  /// A non-empty batch of changes, in event order.
  virtual void didRecieveChanges(
      LXFileSystemWatcher& watcher,
      const std::vector<std::shared_ptr<LXFileSystemChange>>& changes) = 0;
  /// Whether `rootDidMoveToPath` is implemented (the operation is optional).
  [[nodiscard]] virtual bool respondsToRootDidMoveToPath() const { return false; }
  /// The root moved, was deleted or was made again; `path` is the event's.
  virtual void rootDidMoveToPath(LXFileSystemWatcher& watcher, const String& path) {}
};

class LXFileSystemWatcher : public Object, public SecureCoding {
  LX_DECLARE_CLASS(LXFileSystemWatcher)

 public:
  /// The creation flags of `start`: platform collection types (0x1) and
  /// watching the root itself (0x4).
  static constexpr FSEventStreamCreateFlags kDefaultCreateFlags = 5;

  /// A watcher of `rootPath` reporting events after `lastEventID`. Null for
  /// an absent path and for a path that begins with the boot disk's
  /// "System" folder (`lx_bootDiskPath()` + "/System").
  static std::shared_ptr<LXFileSystemWatcher> initWithRootPath(
      const std::optional<String>& rootPath,
      std::uint64_t lastEventID = kFSEventStreamEventIdSinceNow);
  /// Reads "RootPath" and "LastEventID" (since-now when missing) and goes on
  /// as `initWithRootPath`.
  static std::shared_ptr<LXFileSystemWatcher> initWithCoder(Coder& coder);
  /// Writes "RootPath" and "LastEventID". A watcher still at since-now with
  /// a stream first takes the stream's latest identifier. With a stream,
  /// the tree is recorded in the stream's history first.
  void encodeWithCoder(Coder& coder) const override;

  ~LXFileSystemWatcher() override;

  /// `startWithFlags(kDefaultCreateFlags)`.
  bool start();
  /// Makes the stream on first use (delivering on the main queue) and
  /// starts it; resumes a stopped stream. True when it runs.
  bool startWithFlags(FSEventStreamCreateFlags flags);
  /// Stops the stream and keeps it, so `start` resumes it.
  void stop();
  /// True whenever a stream exists, also after `stop`.
  [[nodiscard]] bool isWatchingEvents() const noexcept { return stream_ != nullptr; }

  /// The folder watched, as given at creation.
  [[nodiscard]] const String& rootPath() const noexcept { return rootPath_; }
  /// The path the stream watches, sanitised; absent before the first start.
  [[nodiscard]] const std::optional<String>& rootPathResolved() const noexcept {
    return rootPathResolved_;
  }
  /// The identifier of the last event delivered; save it to resume from there.
  [[nodiscard]] std::uint64_t lastEventID() const noexcept { return lastEventID_; }
  /// Seconds the stream coalesces events for; 1.0 unless set before start.
  [[nodiscard]] double latency() const noexcept { return latency_; }
  /// How long changes are collected before a delivery, in seconds.
  void setLatency(double seconds) noexcept { latency_ = seconds; }
  /// The delegate, held weakly; null when none was set or it is gone.
  [[nodiscard]] std::shared_ptr<LXFileSystemWatcherDelegate> delegate() const {
    return delegate_.lock();
  }
  /// Sets the delegate, which is held weakly.
  void setDelegate(std::weak_ptr<LXFileSystemWatcherDelegate> delegate) {
    delegate_ = std::move(delegate);
  }

  /// The stream's callback: takes `latestEventID` as `lastEventID`, turns
  /// the events into changes (see the file comment) and hands a non-empty
  /// list to the delegate. Public so a host's own event source can feed it.
  void streamDidDeliverEvents(FSEventStreamEventId latestEventID,
                              const std::vector<FileSystemEvent>& events);

  /// The root class's description, then " Root Path = %@, Last EventID = %qu".
  [[nodiscard]] String description() const override;

  /// "/System/Volumes/Data/Users/x" => "/Users/x"; other paths unchanged.
  static String sanitizedPath(StringView path);

  /// Use the factories; public only for `std::make_shared`.
  LXFileSystemWatcher() = default;

 private:
  String rootPath_;
  std::optional<String> rootPathResolved_;
  // Archiving may take the stream's identifier in place of since-now.
  mutable std::uint64_t lastEventID_ = kFSEventStreamEventIdSinceNow;
  std::shared_ptr<FileSystemEventStream> stream_;
  double latency_ = 1.0;
  std::weak_ptr<LXFileSystemWatcherDelegate> delegate_;
};

}  // namespace lx
