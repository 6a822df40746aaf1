#include <gtest/gtest.h>

#include "support/TestSupport.h"
#include "vantorcore/files/FileManager+Folders.h"
#include "vantorcore/platform/ProcessInfo.h"
#include "vantorcore/platform/String+Paths.h"

namespace lx {
namespace {

String home() { return stringWithFileSystemRepresentation(test::temporaryHome().native()); }

TEST(FoldersTest, ProcessFoldersArePlacedAndMadeOnlyOnDemand) {
  FileManager manager;
  const String& process = ProcessInfo::processName();
  const struct {
    const char* name;
    std::optional<String> (*folder)(FileManager&, bool);
    std::optional<URL> (*url)(FileManager&, bool);
    String expected;
  } cases[] = {
      {"temporary items", lx_temporaryItemsFolder, lx_temporaryItemsURL,
       home() + u"/tmp/" + process},
      {"chewable items", lx_chewableItemsFolder, lx_chewableItemsURL,
       home() + u"/.cache/Cleanup At Startup/" + process},
      {"caches", lx_cachesFolder, lx_cachesURL, home() + u"/.cache/" + process},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    manager.removeItemAtPath(c.expected);  // made by earlier tests in this process
    EXPECT_EQ(c.folder(manager, false), c.expected);
    EXPECT_FALSE(manager.fileExistsAtPath(c.expected));  // "create" false makes nothing
    EXPECT_EQ(c.folder(manager, true), c.expected);
    bool isDirectory = false;
    EXPECT_TRUE(manager.fileExistsAtPath(c.expected, &isDirectory) && isDirectory);
    const std::optional<URL> url = c.url(manager, false);
    ASSERT_TRUE(url);
    EXPECT_EQ(url->path(), c.expected);
  }
}

TEST(FoldersTest, ApplicationSupportIsNamedAfterTheExecutable) {
  FileManager manager;
  const String expected = home() + u"/.local/share/" + *Bundle::main().executableName();
  EXPECT_EQ(lx_applicationSupportFolder(manager), expected);
  EXPECT_TRUE(manager.fileExistsAtPath(expected));
  Dictionary privateFolder;
  privateFolder.set(NSFilePosixPermissions, 0700);
  EXPECT_EQ(lx_applicationSupportSubFolder(manager, u"Logs", privateFolder), expected + u"/Logs");
  EXPECT_EQ(
      (*manager.attributesOfItemAtPath(expected + u"/Logs"))[NSFilePosixPermissions].int64Value(),
      0700);
  EXPECT_EQ(lx_applicationSupportSubURL(manager, u"Logs")->path(), expected + u"/Logs");
}

TEST(FoldersTest, BundleIdentifierSchemeNeedsAnIdentifier) {
  FileManager manager;
  Bundle& bundle = Bundle::main();
  const Dictionary saved = bundle.infoDictionary();

  Dictionary anonymous = saved;
  anonymous.erase(u"CFBundleIdentifier");
  bundle.setInfoDictionary(anonymous);
  EXPECT_FALSE(lx_bundleIDApplicationSupportURL(manager));
  EXPECT_FALSE(lx_bundleIDApplicationSupportURLForFolder(manager, u"Data"));

  Dictionary named = saved;
  named.set(u"CFBundleIdentifier", u"com.example.files-test");
  bundle.setInfoDictionary(named);
  const String expected = home() + u"/.local/share/com.example.files-test";
  EXPECT_EQ(lx_bundleIDApplicationSupportURL(manager)->path(), expected);
  EXPECT_EQ(lx_bundleIDApplicationSupportURLForFolder(manager, u"Data")->path(),
            expected + u"/Data");
  EXPECT_TRUE(manager.fileExistsAtPath(expected + u"/Data"));
  bundle.setInfoDictionary(saved);
}

}  // namespace
}  // namespace lx
