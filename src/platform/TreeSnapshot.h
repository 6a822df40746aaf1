// What a folder tree looked like at one moment, so that a later look can
// tell which folders changed in between without any watcher running.
//
// Per folder (by path relative to the root, "" for the root itself): its
// device and inode, its modification and status-change times, and a digest
// of its entries (each entry's name, kind and inode, and for entries other
// than folders their modification and status-change times, combined so
// that their order does not matter). A file written, made,
// removed or renamed changes its folder's record; a changed folder is
// reported by its own path.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "vantorcore/platform/Data.h"

namespace lx::detail {

struct FolderRecord {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::int64_t modified = 0;  // nanoseconds since 1970
  std::int64_t changed = 0;   // status change, nanoseconds since 1970
  std::uint64_t digest = 0;
  bool operator==(const FolderRecord&) const = default;
};

class TreeSnapshot {
 public:
  /// Reads the tree below `root` (bytes of the file-system path); absent
  /// when the root is not a readable folder.
  static std::optional<TreeSnapshot> take(const std::string& root);

  /// The compact form stored in the history, and back; absent for data
  /// that is not such a form.
  [[nodiscard]] Data serialized() const;
  static std::optional<TreeSnapshot> deserialized(DataView data);

  /// The relative paths of the folders that differ between `before` and
  /// this snapshot: new folders and folders whose record changed, sorted.
  /// Removed folders show through their parent's digest.
  [[nodiscard]] std::vector<std::string> changedSince(const TreeSnapshot& before) const;

  /// Forgets the digest of the folder at relative path `folder`, so that a
  /// later comparison reports it whatever it then holds. For folders whose
  /// changes were seen but not yet delivered.
  void markUnsettled(const std::string& folder);

  /// The identifier of the last event delivered before the snapshot.
  std::uint64_t eventID = 0;
  std::unordered_map<std::string, FolderRecord> folders;
};

}  // namespace lx::detail
