#include "vantorcore/transcript/LXTranscriptConnectionCache.h"

#include <gtest/gtest.h>

#include <limits>

#include "transcript/TranscriptTestSupport.h"

namespace lx {
namespace {

TEST(LXTranscriptConnectionCacheTest, CaptionIsTheIndexInLabelStyle) {
  const struct {
    std::uint64_t index;
    String caption;
  } cases[] = {{0, u"0: "},
               {1, u"1: "},
               {42, u"42: "},
               {std::numeric_limits<std::uint64_t>::max(), u"18446744073709551615: "}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.index);
    const test::FakeConnection connection;
    auto cache = LXTranscriptConnectionCache::createWithConnection(connection, c.index);
    EXPECT_EQ(cache->index(), c.index);
    EXPECT_TRUE(cache->UUID()->isEqual(*connection.uuid()));
    EXPECT_EQ(cache->caption(),
              AttributedString(c.caption, LXTranscript::connectionLabelAttributes()));
  }
  EXPECT_EQ(LXTranscriptConnectionCache::createWithUUID(nullptr, 3)->UUID(), nullptr);
}

}  // namespace
}  // namespace lx
