// `LXTranscriptConnection`: what a transcript needs of a connection, its
// identity. Two connections answering equal UUIDs are the same connection.
#pragma once

#include "vantorcore/Export.h"

#include <memory>

#include "vantorcore/text/LXUUID.h"

namespace LX_API lx {

class LXTranscriptConnection {
 public:
  virtual ~LXTranscriptConnection() = default;
  /// The connection's identifier; null for a connection without one (its
  /// lines then carry index 0 and no caption).
  [[nodiscard]] virtual std::shared_ptr<LXUUID> uuid() const = 0;
};

}  // namespace lx
