#include "vantorcore/transcript/LXTranscriptConnectionCache.h"

#include "vantorcore/platform/StringFormat.h"
#include "vantorcore/transcript/LXTranscript.h"

namespace lx {

LX_DEFINE_CLASS(LXTranscriptConnectionCache, Object)

std::shared_ptr<LXTranscriptConnectionCache> LXTranscriptConnectionCache::createWithConnection(
    const LXTranscriptConnection& connection, std::uint64_t index) {
  return createWithUUID(connection.uuid(), index);
}

std::shared_ptr<LXTranscriptConnectionCache> LXTranscriptConnectionCache::createWithUUID(
    std::shared_ptr<LXUUID> uuid, std::uint64_t index) {
  return std::make_shared<LXTranscriptConnectionCache>(Key{}, std::move(uuid), index);
}

LXTranscriptConnectionCache::LXTranscriptConnectionCache(Key, std::shared_ptr<LXUUID> uuid,
                                                         std::uint64_t index)
    : uuid_(std::move(uuid)),
      caption_(stringWithFormat(u"%lu: ", static_cast<unsigned long>(index)),
               LXTranscript::connectionLabelAttributes()),
      index_(index) {}

}  // namespace lx
