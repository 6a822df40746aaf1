#include "vantorcore/files/LXFileSystemChange.h"

#include <gtest/gtest.h>

namespace lx {
namespace {

TEST(LXFileSystemChangeTest, FieldsFlagsAndDescription) {
  const struct {
    std::optional<String> path;
    std::uint64_t eventID;
    std::uint32_t flags;
    String expectedPath;
    std::uint32_t expectedFlags;
    std::uint64_t expectedID;
    bool scan;
  } cases[] = {
      {u"/a", 7, 0x1, u"/a", 0x1, 7, true},
      {u"/a", UINT64_MAX, 0x10, u"/a", 0x10, UINT64_MAX, false},
      {u"", 0, 0x3, u"", 0x3, 0, true},
      {std::nullopt, 9, 0x1, u"", 0, 0, false},  // absent path: all empty
  };
  for (const auto& c : cases) {
    const LXFileSystemChange change(c.path, c.eventID, c.flags);
    EXPECT_EQ(change.path(), c.expectedPath);
    EXPECT_EQ(change.flags(), c.expectedFlags);
    EXPECT_EQ(change.eventID(), c.expectedID);
    EXPECT_EQ(change.scanSubpaths(), c.scan);
  }
  const String description = LXFileSystemChange(u"/x", 18446744073709551615ULL, 17).description();
  EXPECT_TRUE(description.ends_with(u" Path = /x, flags = 17, EventID = 18446744073709551615,"));
}

}  // namespace
}  // namespace lx
