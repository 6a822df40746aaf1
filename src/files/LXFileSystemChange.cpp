#include "vantorcore/files/LXFileSystemChange.h"

#include "vantorcore/platform/StringFormat.h"

namespace lx {

LX_DEFINE_CLASS(LXFileSystemChange, Object)

LXFileSystemChange::LXFileSystemChange(const std::optional<String>& path, std::uint64_t eventID,
                                       std::uint32_t flags) {
  if (!path) return;
  path_ = *path;
  flags_ = flags;
  eventID_ = eventID;
}

String LXFileSystemChange::description() const {
  return Object::description() +
         stringWithFormat(u" Path = %@, flags = %u, EventID = %qu,", path_, flags_, eventID_);
}

}  // namespace lx
