// `LXFileSystemChange`: one change that a file-system watcher reports: the
// folder in which something changed, the event identifier and the event
// flags (platform/FileSystemEventStream.h). Immutable; any thread.
#pragma once

#include "vantorcore/Export.h"

#include <cstdint>

#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/String.h"

namespace LX_API lx {

class LXFileSystemChange : public Object {
  LX_DECLARE_CLASS(LXFileSystemChange)

 public:
  LXFileSystemChange() = default;
  /// Stores the three values; an absent path leaves every field empty.
  LXFileSystemChange(const std::optional<String>& path, std::uint64_t eventID, std::uint32_t flags);

  /// The folder that changed, as an absolute path.
  [[nodiscard]] const String& path() const noexcept { return path_; }
  /// What happened, as the stream's event flags.
  [[nodiscard]] std::uint32_t flags() const noexcept { return flags_; }
  /// The event's identifier; later events have larger ones.
  [[nodiscard]] std::uint64_t eventID() const noexcept { return eventID_; }
  /// True when the must-scan-subdirectories flag (0x1) is set: the folder's
  /// whole subtree has to be looked at again.
  [[nodiscard]] bool scanSubpaths() const noexcept { return flags_ & 0x1; }

  /// The root class's description, then " Path = %@, flags = %u, EventID = %qu,".
  [[nodiscard]] String description() const override;

 private:
  String path_;
  std::uint32_t flags_ = 0;
  std::uint64_t eventID_ = 0;
};

}  // namespace lx
