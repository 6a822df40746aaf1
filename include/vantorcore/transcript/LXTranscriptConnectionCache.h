// `LXTranscriptConnectionCache`: what a transcript remembers of a connection
// it has seen: the identifier, the index and the caption shown before each
// line.
#pragma once

#include "vantorcore/Export.h"

#include <cstdint>
#include <memory>

#include "vantorcore/platform/AttributedString.h"
#include "vantorcore/platform/Object.h"
#include "vantorcore/text/LXUUID.h"
#include "vantorcore/transcript/LXTranscriptConnection.h"

namespace LX_API lx {

class LXTranscriptConnectionCache : public Object {
  LX_DECLARE_CLASS(LXTranscriptConnectionCache)
  struct Key {};

 public:
  /// A cache for `connection`'s `uuid()` at `index`.
  static std::shared_ptr<LXTranscriptConnectionCache> createWithConnection(
      const LXTranscriptConnection& connection, std::uint64_t index);
  /// A cache for `uuid` (may be null) at `index`. The caption is
  /// "<index>: " in `LXTranscript::connectionLabelAttributes()`:
  ///   index 1  => '1: '
  ///   index 42 => '42: '
  static std::shared_ptr<LXTranscriptConnectionCache> createWithUUID(std::shared_ptr<LXUUID> uuid,
                                                                     std::uint64_t index);

  /// Use the factory functions, which set up the cache's ownership.
  LXTranscriptConnectionCache(Key, std::shared_ptr<LXUUID> uuid, std::uint64_t index);

  /// The connection's UUID.
  [[nodiscard]] const std::shared_ptr<LXUUID>& UUID() const noexcept { return uuid_; }
  /// The caption shown before its lines.
  [[nodiscard]] const AttributedString& caption() const noexcept { return caption_; }
  /// From 1, in the order connections first appeared since the last clear.
  [[nodiscard]] std::uint64_t index() const noexcept { return index_; }

 private:
  std::shared_ptr<LXUUID> uuid_;
  AttributedString caption_;
  std::uint64_t index_;
};

}  // namespace lx
