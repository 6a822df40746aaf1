#include "vantorcore/platform/GIOURLOpener.h"

#include <gtest/gtest.h>

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
  for (const auto& row : rows) {
    SCOPED_TRACE(toUTF8(row.url));
    ErrorPtr error;
    EXPECT_FALSE(GIOURLOpener().openURL(*URL::URLWithString(row.url), &error));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain(), URLOpenerErrorDomain);
    EXPECT_EQ(error->code(), row.code);
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
