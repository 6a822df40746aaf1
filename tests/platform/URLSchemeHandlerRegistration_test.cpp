#include "vantorcore/platform/URLSchemeHandlerRegistration.h"

#include <gtest/gtest.h>

#include "support/TestSupport.h"
#include "vantorcore/platform/URLOpener.h"

namespace lx {
namespace {

TEST(URLSchemeHandlerNames, ApplicationIDsAreBusNames) {
  const String longest = u"a." + String(253, u'b');
  const struct {
    String id;
    bool valid;
    const char16_t* objectPath;
  } rows[] = {
      {u"org.example.Notes", true, u"/org/example/Notes"},
      {u"org.ex-a.App_2", true, u"/org/ex_a/App_2"},
      {u"a.b", true, u"/a/b"},
      {longest, true, nullptr},
      {longest + u"c", false, nullptr},
      {u"notes", false, nullptr},
      {u"", false, nullptr},
      {u"org.1x", false, nullptr},
      {u"org..x", false, nullptr},
      {u".org.x", false, nullptr},
      {u"org.x.", false, nullptr},
      {u"org.ex a", false, nullptr},
      {u"org.caf\u00e9", false, nullptr},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(toUTF8(row.id).substr(0, 40));
    EXPECT_EQ(isValidApplicationID(row.id), row.valid);
    if (row.objectPath) {
      EXPECT_EQ(applicationObjectPath(row.id), row.objectPath);
    }
  }
}

class URLSchemeHandlerFiles : public ::testing::Test {
 protected:
  const std::filesystem::path folder_ = test::makeTemporaryFolder("handlers");
  test::ScopedEnvironmentVariable dataHome_{"XDG_DATA_HOME", (folder_ / "data").string()};
  test::ScopedEnvironmentVariable configHome_{"XDG_CONFIG_HOME", (folder_ / "config").string()};
};

TEST_F(URLSchemeHandlerFiles, InstallQuotesTheCommandAndRemoveKeepsOthers) {
  test::writeFile(folder_ / "config/mimeapps.list",
                  "# mine\n[Default Applications]\nx-scheme-handler/notes=other.App.desktop;\n"
                  "text/plain=editor.desktop;\n");
  const URLSchemeHandler handler{u"org.example.Notes",
                                 u"Notes\nApp",
                                 {u"Notes", u"notes-x"},
                                 {u"/opt/my app/notes", u"--say", u"50% \"$HOME\"\\"}};
  ErrorPtr error;
  ASSERT_TRUE(installURLSchemeHandler(handler, &error));
  const std::vector<String> paths = URLSchemeHandlerFilePaths(u"org.example.Notes");
  EXPECT_EQ(test::readFile(toUTF8(paths[0])),
            "[Desktop Entry]\nType=Application\nName=Notes App\n"
            "Exec=\"/opt/my app/notes\" --say \"50%% \\\\\"\\\\$HOME\\\\\"\\\\\\\\\" %U\n"
            "MimeType=x-scheme-handler/notes;x-scheme-handler/notes-x;\n"
            "DBusActivatable=true\nNoDisplay=true\n");
  EXPECT_EQ(test::readFile(toUTF8(paths[1])),
            "[D-BUS Service]\nName=org.example.Notes\n"
            "Exec=\"/opt/my app/notes\" --say \"50% \\\"\\$HOME\\\"\\\\\"\n");
  const std::string installed = test::readFile(folder_ / "config/mimeapps.list");
  EXPECT_NE(installed.find("x-scheme-handler/notes=org.example.Notes.desktop;other.App.desktop;"),
            std::string::npos)
      << installed;
  EXPECT_NE(installed.find("x-scheme-handler/notes-x=org.example.Notes.desktop;"),
            std::string::npos);

  ASSERT_TRUE(removeURLSchemeHandler(u"org.example.Notes", &error));
  ASSERT_TRUE(removeURLSchemeHandler(u"org.example.Notes", &error));  // nothing left is fine
  EXPECT_FALSE(std::filesystem::exists(toUTF8(paths[0])));
  EXPECT_FALSE(std::filesystem::exists(toUTF8(paths[1])));
  const std::string removed = test::readFile(folder_ / "config/mimeapps.list");
  EXPECT_EQ(removed.find("org.example.Notes"), std::string::npos) << removed;
  EXPECT_NE(removed.find("x-scheme-handler/notes=other.App.desktop;"), std::string::npos);
  EXPECT_NE(removed.find("text/plain=editor.desktop;"), std::string::npos);
  EXPECT_NE(removed.find("# mine"), std::string::npos);
}

TEST_F(URLSchemeHandlerFiles, InstallRefusesIncompleteHandlers) {
  const URLSchemeHandler rows[] = {
      {u"notes", u"Notes", {u"notes"}, {u"/bin/notes"}},
      {u"org.example.Notes", u"Notes", {}, {u"/bin/notes"}},
      {u"org.example.Notes", u"Notes", {u"notes"}, {}},
  };
  for (const URLSchemeHandler& row : rows) {
    ErrorPtr error;
    EXPECT_FALSE(installURLSchemeHandler(row, &error));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain(), URLOpenerErrorDomain);
  }
  EXPECT_FALSE(std::filesystem::exists(folder_ / "data"));
}

}  // namespace
}  // namespace lx
