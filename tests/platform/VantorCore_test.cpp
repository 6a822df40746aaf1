#include "vantorcore/platform/VantorCore.h"

#include <gtest/gtest.h>

namespace lx {
namespace {

TEST(VantorCoreTest, LibraryVersionMatchesTheHeaders) {
  EXPECT_EQ(VantorCore::version(), u"" VANTORCORE_VERSION);
  EXPECT_EQ(toUTF8(VantorCore::version()), std::to_string(VantorCore::majorVersion()) + "." +
                                               std::to_string(VantorCore::minorVersion()) + "." +
                                               std::to_string(VantorCore::patchVersion()));
  EXPECT_TRUE(VantorCore::isCompatibleWith(VANTORCORE_VERSION_MAJOR, VANTORCORE_VERSION_MINOR));
  EXPECT_TRUE(VANTORCORE_VERSION_AT_LEAST(VANTORCORE_VERSION_MAJOR, VANTORCORE_VERSION_MINOR,
                                          VANTORCORE_VERSION_PATCH));
  EXPECT_FALSE(VANTORCORE_VERSION_AT_LEAST(VANTORCORE_VERSION_MAJOR, VANTORCORE_VERSION_MINOR,
                                           VANTORCORE_VERSION_PATCH + 1));
  EXPECT_FALSE(
      VANTORCORE_VERSION_AT_LEAST(VANTORCORE_VERSION_MAJOR, VANTORCORE_VERSION_MINOR + 1, 0));
}

TEST(VantorCoreTest, HeadersOfOtherVersionsAreCompatibleByTheSonameRule) {
  const int major = VantorCore::majorVersion();
  const int minor = VantorCore::minorVersion();
  const bool beforeOne = major == 0;
  const struct {
    int major;
    int minor;
    bool compatible;
  } cases[] = {
      {major, minor, true},
      {major, minor + 1, false},  // headers newer than the library
      {major, minor - 1, !beforeOne && minor > 0},
      {major, 0, !beforeOne || minor == 0},
      {major + 1, minor, false},
      {major - 1, minor, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.major) + "." + std::to_string(c.minor));
    EXPECT_EQ(VantorCore::isCompatibleWith(c.major, c.minor), c.compatible);
  }
}

}  // namespace
}  // namespace lx
