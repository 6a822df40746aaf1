// `DirectoryEnumerator`: walks a folder tree depth first, a folder before its
// contents, handing each item with the values asked for read up front.
//
// Built for speed and for trees of any depth:
// - each folder is read whole with getdents64; the child is opened with
//   openat on the parent's descriptor. Below the 32nd level a folder's
//   descriptor is closed before the walk descends and the walk climbs back
//   through "..", checking that it arrives where it left. So a walk holds
//   at most 33 descriptors however deep the tree, and paths longer than
//   PATH_MAX never reach the kernel;
// - the kind comes from the directory entry; statx (relative to the folder,
//   never following a link) is called only when sizes are asked for or the
//   file system answers DT_UNKNOWN;
// - symbolic links are never followed, FIFOs and devices never opened.
//
// Errors are not reported: a folder that cannot be opened or read simply has
// no items, and an item that vanishes before its statx is left out, as the
// platform's enumerator without an error handler behaves.
//
// Item names and paths are the file system's bytes (`fileSystemRepresentation`
// of platform/String+Paths.h turns them back into `String`s).
#pragma once

#include "vantorcore/Export.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "vantorcore/platform/String.h"

namespace LX_API lx {

/// What an item is, from its directory entry or its statx.
enum class DirectoryItemKind : std::uint8_t { File, Directory, SymbolicLink, Other };

/// One item of a walk.
struct DirectoryItem {
  std::string_view name;  ///< the entry's name, valid during the visit
  std::string_view path;  ///< root path + "/" + the names below it
  /// File, directory, symbolic link or other.
  DirectoryItemKind kind = DirectoryItemKind::File;
  int depth = 0;  ///< 0 for the root's direct children
  /// A leading "." or named in the folder's ".hidden" file; read only with
  /// `Keys::Hidden` (otherwise only the leading dot counts).
  bool hidden = false;
  /// st_size and st_blocks × 512; read only with `Keys::Sizes`, and then
  /// absent for directories, as the platform gives folders no size.
  ///@{
  bool hasSizes = false;
  std::uint64_t logicalSize = 0;
  std::uint64_t allocatedSize = 0;
  ///@}
  /// Device, inode and the modification and status-change times in
  /// nanoseconds since 1970; read only with `Keys::Stamps`, for every item.
  ///@{
  bool hasStamps = false;
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::int64_t modified = 0;
  std::int64_t statusChanged = 0;
  ///@}

  /// Whether the item is a directory (not a link to one).
  [[nodiscard]] bool isDirectory() const noexcept { return kind == DirectoryItemKind::Directory; }
};

class DirectoryEnumerator {
 public:
  /// The values to read up front; each costs file-system access per item
  /// or per folder.
  enum Keys : unsigned {
    None = 0,
    Hidden = 1,  ///< read each folder's ".hidden" when it has one
    Sizes = 2,   ///< statx every item that is not a folder
    Stamps = 4,  ///< statx every item, folders included
  };

  /// Called for each item; for a folder, the answer says whether to walk
  /// into it. `worker` numbers the calling thread of a concurrent walk
  /// (always 0 for `enumerate`).
  using Visitor = std::function<bool(const DirectoryItem& item, unsigned worker)>;

  /// An enumerator reading the `keys` attributes of each item.
  explicit DirectoryEnumerator(unsigned keys = None) noexcept : keys_(keys) {}

  /// Treats every directory entry as DT_UNKNOWN, as some file systems
  /// answer, so the kinds come from statx. For such file systems and tests.
  void setIgnoresEntryTypes(bool ignores) noexcept { ignoresEntryTypes_ = ignores; }

  /// Walks the tree below `root` (the root itself is not an item; a root
  /// that is a symbolic link to a folder is followed) on the
  /// calling thread, in depth-first order, a folder before its contents.
  void enumerate(StringView root, const Visitor& visit) const;

  /// Walks the tree below `root` on `threads` threads (the calling one
  /// included) in no particular order; `visit` is called concurrently, with
  /// `worker` below `threads`, so it can keep per-thread results without
  /// locks. Returns when every item has been visited.
  void enumerateConcurrently(StringView root, unsigned threads, const Visitor& visit) const;

  /// The thread count for concurrent walks: the hardware's, at most 4.
  static unsigned defaultThreadCount() noexcept;

 private:
  class Walk;

  unsigned keys_;
  bool ignoresEntryTypes_ = false;
};

}  // namespace lx
