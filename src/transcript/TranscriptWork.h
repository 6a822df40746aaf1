// The transcript queue's work in submission order, with the lines bound for
// log files gathered so that a run of appends costs one open, write and
// close per file rather than per line. No handle outlives a round of work,
// and work other than appending (a rotation above all) runs only after the
// lines queued before it are written, so a moved log is never written to
// from an old handle.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "vantorcore/platform/DispatchQueue.h"
#include "vantorcore/platform/String.h"

namespace lx::transcript {

/// Bytes bound for files, in order per file.
class LineBatch {
 public:
  /// Gathered bytes beyond which `add` writes out at once.
  static constexpr std::size_t kMaximumBytes = 1 << 20;

  /// Appends `bytes` for `path`; an empty path (no log) is ignored.
  void add(const String& path, std::string_view bytes);
  /// Appends what was gathered to each file and forgets it. A file that
  /// cannot be opened or written loses this round's bytes only.
  void writeOut();

 private:
  std::vector<std::pair<String, std::string>> files_;
  std::size_t bytes_ = 0;
};

/// A serial list of work on a dispatch queue.
class WorkList {
 public:
  using Work = std::function<void(LineBatch& lines)>;

  explicit WorkList(std::shared_ptr<DispatchQueue> queue) : queue_(std::move(queue)) {}

  /// Queues work that adds lines to the batch; any thread.
  void append(Work work);
  /// Queues work that runs after every line queued before it is written;
  /// any thread.
  void perform(std::function<void()> work);

 private:
  void drain();

  std::shared_ptr<DispatchQueue> queue_;
  std::mutex mutex_;
  std::vector<Work> pending_;
  bool draining_ = false;
};

}  // namespace lx::transcript
