#include "vantorcore/platform/GIOURLOpener.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

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

#ifdef VANTOR_TOOL
// The tool links none of GLib, GObject, GIO or libsecret; an empty file
// under a library's soname, first on the loader's path, is a library that
// cannot be opened.
TEST(GLibFamily, EachEntryPointFailsWithTheLoadersMessageWhenALibraryCannotBeOpened) {
  const auto folder = test::makeTemporaryFolder("broken-glib");
  const struct {
    const char* arguments;
    const char* brokenLibrary;  // empty: every library opens
    int status;
    const char* output;
  } rows[] = {
    {"open nobody-handles-this://x", "", 1, "No application is registered"},
    {"open nobody-handles-this://x", VANTOR_GLIB_SONAME, 1, ": file too short"},
    {"open nobody-handles-this://x", VANTOR_GOBJECT_SONAME, 1, ": file too short"},
    {"open nobody-handles-this://x", VANTOR_GIO_SONAME, 1, ": file too short"},
    {"interapp install --scheme lazy", VANTOR_GLIB_SONAME, 1, "cannot be registered here"},
    // Handler files and mimeapps.list need GLib alone.
    {"interapp install --scheme lazy", VANTOR_GIO_SONAME, 0, "lazy.desktop"},
    {"interapp uninstall --scheme lazy", VANTOR_GLIB_SONAME, 1, "cannot be registered here"},
    {"interapp uninstall --scheme lazy", VANTOR_GIO_SONAME, 0, ""},
    {"interapp serve --scheme lazy", "", 1, "There is no session bus"},
    {"interapp serve --scheme lazy", VANTOR_GIO_SONAME, 1, ": file too short"},
#if VANTOR_HAVE_LIBSECRET
    {"keychain get --backend secret-service --service s", VANTOR_LIBSECRET_SONAME, 1,
     ": file too short"},
#endif
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.arguments) + " / " + row.brokenLibrary);
    const auto libraries = test::makeTemporaryFolder("libraries");
    if (*row.brokenLibrary) test::writeFile(libraries / row.brokenLibrary, "");
    const test::ShellResult tool = test::runShell(
        "env XDG_DATA_HOME=" + (folder / "data").string() + " XDG_CONFIG_HOME=" +
        (folder / "config").string() + " XDG_DATA_DIRS=" + (folder / "none").string() +
        " DBUS_SESSION_BUS_ADDRESS=unix:path=" + (folder / "no-bus").string() +
        " LD_LIBRARY_PATH=" + libraries.string() + " " + VANTOR_TOOL + " " + row.arguments);
    const std::string& output = tool.output;
    EXPECT_EQ(tool.status, row.status) << output;
    EXPECT_NE(output.find(row.output), std::string::npos) << output;
    if (*row.brokenLibrary && row.status != 0) {
      EXPECT_NE(output.find(row.brokenLibrary), std::string::npos) << output;
    }
  }
}
#endif

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
