// The per-user memory of the file-system event stream, kept in SQLite at
// $XDG_STATE_HOME/vantorcore/fsevents.sqlite (else ~/.local/state/...):
// - the event-identifier counter, a 64-bit number that only grows. A
//   process reserves identifiers in blocks of `kBlockSize`, so a crash skips
//   the rest of its block and never hands out a number twice;
// - one snapshot per watched root (folder identities, times and entry
//   digests, see TreeSnapshot.h), tagged with the identifier it was taken at.
//
// A database that cannot be opened, or that holds something else, is moved
// aside to "<name>.unusable" and made anew; when even that fails the
// history lives in memory for the process, its counter starting at the
// microseconds since 1970 so that it still grows across runs. Thread-safe.
#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

#include "platform/TreeSnapshot.h"

struct sqlite3;

namespace lx::detail {

class FileSystemEventHistory {
 public:
  static constexpr std::uint64_t kBlockSize = 1024;

  /// The process's history, opened on first use at the path above.
  static FileSystemEventHistory& shared();

  /// A history in the database file `path` (made when missing).
  explicit FileSystemEventHistory(const std::string& path);
  ~FileSystemEventHistory();
  FileSystemEventHistory(const FileSystemEventHistory&) = delete;
  FileSystemEventHistory& operator=(const FileSystemEventHistory&) = delete;

  /// A new identifier, greater than every one handed out before.
  std::uint64_t nextEventID();
  /// The greatest identifier handed out so far (0 before the first).
  std::uint64_t latestEventID();

  /// Stores `snapshot` for `root`, replacing the one before.
  void saveSnapshot(const std::string& root, const TreeSnapshot& snapshot);
  /// The snapshot stored for `root`, or absent.
  std::optional<TreeSnapshot> snapshot(const std::string& root);

 private:
  bool open(const std::string& path);
  bool reserveBlock();

  std::mutex mutex_;
  sqlite3* db_ = nullptr;
  std::uint64_t next_ = 1;      // the next identifier to hand out
  std::uint64_t reserved_ = 0;  // identifiers below this one are ours
};

}  // namespace lx::detail
