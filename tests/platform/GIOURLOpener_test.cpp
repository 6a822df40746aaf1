#include "vantorcore/platform/GIOURLOpener.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "support/TestSupport.h"
#include "vantorcore/platform/URLSchemeHandlerRegistration.h"

namespace lx {
namespace {

TEST(GIOURLOpener, ExplainsWhyAURLCannotBeOpened) {
  const auto folder = test::makeTemporaryFolder("opener");
  const test::ScopedEnvironmentVariable dataHome("XDG_DATA_HOME", (folder / "data").string());
  const test::ScopedEnvironmentVariable configHome("XDG_CONFIG_HOME", (folder / "config").string());
  const test::ScopedEnvironmentVariable dataDirs("XDG_DATA_DIRS", (folder / "none").string());
  const test::ScopedEnvironmentVariable bus("DBUS_SESSION_BUS_ADDRESS",
                                            "unix:path=" + (folder / "no-bus").string());
  ASSERT_TRUE(
      installURLSchemeHandler({u"org.example.Opened", u"Opened", {u"opened"}, {u"/bin/true"}}));
  const struct {
    const char16_t* url;
    URLOpenerErrorCode code;
  } rows[] = {
      {u"nobody-handles-this://x", URLOpenerErrorNoHandler},
      {u"opened://x", URLOpenerErrorNoSessionBus},
  };
  // GIO keeps the first session bus it reaches for the life of the process,
  // and an earlier test may have reached one: each row runs in a fresh
  // process that re-runs this test up to here (exit 2: opened; 1: another
  // error).
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  for (const auto& row : rows) {
    SCOPED_TRACE(toUTF8(row.url));
    EXPECT_EXIT(
        {
          ErrorPtr error;
          if (GIOURLOpener().openURL(*URL::URLWithString(row.url), &error)) std::exit(2);
          std::exit(error && error->domain() == URLOpenerErrorDomain && error->code() == row.code
                        ? 0
                        : 1);
        },
        ::testing::ExitedWithCode(0), "");
  }
}

class NeverOpens : public URLOpener {
 public:
  bool openURL(const URL&, ErrorPtr*) override { return false; }
};

TEST(URLOpener, SharedOpenerCanBeReplacedAndRestored) {
  EXPECT_TRUE(std::dynamic_pointer_cast<GIOURLOpener>(URLOpener::shared()));
  const auto fake = std::make_shared<NeverOpens>();
  URLOpener::setShared(fake);
  EXPECT_EQ(URLOpener::shared(), fake);
  URLOpener::setShared(nullptr);
  EXPECT_TRUE(std::dynamic_pointer_cast<GIOURLOpener>(URLOpener::shared()));
}

}  // namespace
}  // namespace lx
