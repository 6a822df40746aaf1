#include "vantorcore/files/LXFileSystemChange.h"

#include <gtest/gtest.h>

namespace lx {
namespace {

// Only bit 0 asks for a scan below the path; without a path the change is empty.
TEST(LXFileSystemChangeTest, FieldsFlagsAndDescription) {
  const struct {
    std::optional<String> path;
    std::uint64_t eventID;
    std::uint32_t flags;
    bool scan;
  } cases[] = {
      {u"/a", 7, 0x1, true},
      {u"/a", UINT64_MAX, 0x10, false},
      {u"", 0, 0x3, true},
      {std::nullopt, 9, 0x1, false},
  };
  for (const auto& c : cases) {
    const LXFileSystemChange change(c.path, c.eventID, c.flags);
    EXPECT_EQ(change.path(), c.path.value_or(u""));
    EXPECT_EQ(change.flags(), c.path ? c.flags : 0);
    EXPECT_EQ(change.eventID(), c.path ? c.eventID : 0);
    EXPECT_EQ(change.scanSubpaths(), c.scan);
  }
  const String description = LXFileSystemChange(u"/x", 18446744073709551615ULL, 17).description();
  EXPECT_TRUE(description.ends_with(u" Path = /x, flags = 17, EventID = 18446744073709551615,"));
}

}  // namespace
}  // namespace lx
