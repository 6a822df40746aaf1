// `FileSystemEventStream`: the platform's file-system event stream on Linux,
// over inotify. It reports, in batches, the folders below a root in which
// something changed, each with a persistent event identifier and flags.
//
// How the Linux stream keeps the platform's promises:
// - recursive: one watch per folder of the tree. A folder that appears after
//   watching began is watched and then read, and every folder found inside
//   it is reported, so `mkdir -p a/b/c && touch a/b/c/f` made faster than
//   its watches shows "a", "a/b" and "a/b/c";
// - events are coalesced per folder for the stream's latency and reported
//   as folder paths, in the order each folder first changed;
// - nothing is lost silently: a kernel queue overflow becomes a must-scan
//   event on the root with `kFSEventStreamEventFlagKernelDropped`; running
//   out of watches (ENOSPC), or a folder path too long for the kernel, a
//   must-scan event on the folder whose subtree stays unwatched, with
//   `kFSEventStreamEventFlagUserDropped`. Overflows
//   that follow each other are reported at most once per back-off interval,
//   which doubles up to 64 s and falls back after a quiet minute;
// - with `kFSEventStreamCreateFlagWatchRoot`, the root's folders above it are
//   watched too: a root moved, deleted or made again gives
//   `kFSEventStreamEventFlagRootChanged` with the root path;
// - persistent identifiers: a per-user counter that only grows (SQLite under
//   $XDG_STATE_HOME). `saveSnapshot` records the tree; a stream started with
//   an identifier from an earlier run compares the disk with that record and
//   reports every folder that changed in between, then
//   `kFSEventStreamEventFlagHistoryDone`. With no usable record (none, or
//   one taken after that identifier) it reports one must-scan event on the
//   root, then history done.
//
// Events are read on a thread of their own; batches are delivered on the
// stream's dispatch queue (set it before `start`). Create, start, stop and
// invalidate from one thread (the delivery queue's, normally main).
#pragma once

#include "vantorcore/Export.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "vantorcore/platform/DispatchQueue.h"
#include "vantorcore/platform/String.h"

namespace LX_API lx {

/// An event identifier; later events have larger ones.
using FSEventStreamEventId = std::uint64_t;
/// What happened to a folder, as bits.
using FSEventStreamEventFlags = std::uint32_t;
/// How a stream is made, as bits.
using FSEventStreamCreateFlags = std::uint32_t;

/// Only events after the start are reported.
inline constexpr FSEventStreamEventId kFSEventStreamEventIdSinceNow = UINT64_MAX;

/// Event flags: what a delivered event reports beyond "this folder changed".
///@{
inline constexpr FSEventStreamEventFlags kFSEventStreamEventFlagNone = 0x0;
inline constexpr FSEventStreamEventFlags kFSEventStreamEventFlagMustScanSubDirs = 0x1;
inline constexpr FSEventStreamEventFlags kFSEventStreamEventFlagUserDropped = 0x2;
inline constexpr FSEventStreamEventFlags kFSEventStreamEventFlagKernelDropped = 0x4;
inline constexpr FSEventStreamEventFlags kFSEventStreamEventFlagEventIdsWrapped = 0x8;
inline constexpr FSEventStreamEventFlags kFSEventStreamEventFlagHistoryDone = 0x10;
inline constexpr FSEventStreamEventFlags kFSEventStreamEventFlagRootChanged = 0x20;
///@}

/// Creation flags: NoDefer delivers the first event of a quiet period at once; WatchRoot also
/// reports the root being moved or deleted.
///@{
inline constexpr FSEventStreamCreateFlags kFSEventStreamCreateFlagUseCFTypes = 0x1;
inline constexpr FSEventStreamCreateFlags kFSEventStreamCreateFlagNoDefer = 0x2;
inline constexpr FSEventStreamCreateFlags kFSEventStreamCreateFlagWatchRoot = 0x4;
///@}

/// One event of a batch.
struct FileSystemEvent {
  /// The folder that changed.
  String path;
  /// What happened, as event flags.
  FSEventStreamEventFlags flags = 0;
  /// The event's identifier.
  FSEventStreamEventId eventID = 0;
};

class FileSystemEventStream {
 public:
  /// Receives each batch (never empty) on the delivery queue.
  using Callback = std::function<void(FileSystemEventStream& stream,
                                      const std::vector<FileSystemEvent>& events)>;

  /// A stream over the folder `path` (a tilde is not expanded) reporting
  /// events after `sinceWhen`, coalesced for `latency` seconds. Null when
  /// the path is empty or the system has no inotify. A path that is not a
  /// folder yet is fine: the stream reports its creation with WatchRoot.
  static std::shared_ptr<FileSystemEventStream> create(StringView path,
                                                       FSEventStreamEventId sinceWhen,
                                                       double latency,
                                                       FSEventStreamCreateFlags flags,
                                                       Callback callback);
  virtual ~FileSystemEventStream() = default;

  /// The root as the stream watches it: the path with symbolic links and
  /// "."/".." resolved (the path as given when it does not exist).
  [[nodiscard]] virtual std::vector<String> pathsBeingWatched() const = 0;
  /// The queue batches are delivered on; the main queue unless set.
  virtual void setDispatchQueue(std::shared_ptr<DispatchQueue> queue) = 0;
  /// Watches the tree (first start) or resumes; true when running.
  virtual bool start() = 0;
  /// Stops delivering; changes while stopped are reported on the next
  /// start as the folders they touched (the watches stay).
  virtual void stop() = 0;
  /// Drops every watch; the stream cannot start again.
  virtual void invalidate() = 0;
  /// The identifier of the newest event delivered, else the one the
  /// stream started from (the counter's latest when that was since-now).
  [[nodiscard]] virtual FSEventStreamEventId latestEventId() const = 0;
  /// Records the tree, tagged with `latestEventId()`, so that a stream
  /// started later from that identifier reports what changed meanwhile.
  /// Folders with changes not yet delivered are recorded as changed.
  virtual void saveSnapshot() = 0;

  /// The newest identifier this process has handed out; before the first,
  /// one below the process's first block, so greater than any identifier
  /// handed out by an earlier run.
  static FSEventStreamEventId currentEventId();

  /// Lowers the number of inotify watches the process uses (absent: the
  /// kernel's limit), as a small fs.inotify.max_user_watches would.
  static void setWatchLimit(std::optional<std::size_t> limit);
  /// Acts as if the kernel's event queue overflowed.
  static void simulateKernelOverflow();
  /// The first back-off interval after an overflow, in seconds (default 1).
  static void setOverflowBackoff(double seconds);
};

}  // namespace lx
