#include "vantorcore/platform/FileManager.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>

#include "support/TestSupport.h"
#include "vantorcore/platform/String+Paths.h"

namespace lx {
namespace {

namespace fs = std::filesystem;

class FileManagerTest : public ::testing::Test {
 protected:
  String folder_ = stringWithFileSystemRepresentation(test::makeTemporaryFolder("fm").native());
  FileManager manager_;

  String at(StringView name) const { return stringByAppendingPathComponent(folder_, name); }
};

// A dictionary keyed by the attribute-key constants.
Dictionary attributes(std::initializer_list<std::pair<StringView, Value>> entries) {
  Dictionary d;
  for (const auto& [key, value] : entries) d.set(key, value);
  return d;
}

std::vector<String> sorted(std::vector<String> names) {
  std::sort(names.begin(), names.end());
  return names;
}

TEST_F(FileManagerTest, CreatesListsAndReadsItems) {
  ASSERT_TRUE(manager_.createFileAtPath(at(u"a.txt"), dataFromBytes("hello")));
  ASSERT_TRUE(manager_.createDirectoryAtPath(at(u"sub"), false));
  bool isDirectory = true;
  EXPECT_TRUE(manager_.fileExistsAtPath(at(u"a.txt"), &isDirectory));
  EXPECT_FALSE(isDirectory);
  EXPECT_TRUE(manager_.fileExistsAtPath(at(u"sub"), &isDirectory));
  EXPECT_TRUE(isDirectory);
  EXPECT_FALSE(manager_.fileExistsAtPath(at(u"missing")));
  EXPECT_EQ(manager_.contentsAtPath(at(u"a.txt")), dataFromBytes("hello"));
  EXPECT_EQ(sorted(*manager_.contentsOfDirectoryAtPath(folder_)),
            (std::vector<String>{u"a.txt", u"sub"}));

  ErrorPtr error;
  EXPECT_FALSE(manager_.contentsOfDirectoryAtPath(at(u"missing"), &error));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->domain(), NSCocoaErrorDomain);
  EXPECT_EQ(error->code(), NSFileReadNoSuchFileError);
}

TEST_F(FileManagerTest, IntermediateFoldersOnlyWhenAsked) {
  ErrorPtr error;
  EXPECT_FALSE(manager_.createDirectoryAtPath(at(u"x/y/z"), false, Dictionary{}, &error));
  EXPECT_TRUE(error);
  EXPECT_TRUE(manager_.createDirectoryAtPath(at(u"x/y/z"), true,
                                             attributes({{NSFilePosixPermissions, 0700}})));
  EXPECT_TRUE(manager_.createDirectoryAtPath(at(u"x/y/z"), true));  // existing is fine
  error.reset();
  EXPECT_FALSE(manager_.createDirectoryAtPath(at(u"x/y/z"), false, Dictionary{}, &error));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code(), NSFileWriteFileExistsError);
  EXPECT_EQ((*manager_.attributesOfItemAtPath(at(u"x/y/z")))[NSFilePosixPermissions].int64Value(),
            0700);
}

TEST_F(FileManagerTest, AttributesDescribeTheItemItself) {
  ASSERT_TRUE(manager_.createFileAtPath(at(u"f"), dataFromBytes("12345"),
                                        attributes({{NSFilePosixPermissions, 0640}})));
  ASSERT_TRUE(manager_.createSymbolicLinkAtPath(at(u"link"), u"f"));
  const Dictionary file = *manager_.attributesOfItemAtPath(at(u"f"));
  EXPECT_EQ(file[NSFileType], Value(NSFileTypeRegular));
  EXPECT_EQ(file[NSFileSize].uint64Value(), 5u);
  EXPECT_EQ(file[NSFilePosixPermissions].int64Value(), 0640);
  EXPECT_EQ(file[NSFileOwnerAccountID].uint64Value(), static_cast<std::uint64_t>(getuid()));
  EXPECT_TRUE(file[NSFileModificationDate].isDate());
  if (const Value* created = file.find(NSFileCreationDate)) {
    EXPECT_TRUE(created->isDate());  // present only where the file system records it
  }
  EXPECT_EQ(file[NSFileExtensionHidden], Value(false));

  const Dictionary link = *manager_.attributesOfItemAtPath(at(u"link"));
  EXPECT_EQ(link[NSFileType], Value(NSFileTypeSymbolicLink));
  EXPECT_EQ(link[NSFileSystemNumber], file[NSFileSystemNumber]);
  EXPECT_EQ(manager_.destinationOfSymbolicLinkAtPath(at(u"link")), u"f");
  EXPECT_FALSE(manager_.destinationOfSymbolicLinkAtPath(at(u"f")));
  EXPECT_EQ((*manager_.attributesOfItemAtPath(folder_))[NSFileType], Value(NSFileTypeDirectory));
}

TEST_F(FileManagerTest, SetAttributesAppliesModeDateAndExtensionFlag) {
  ASSERT_TRUE(manager_.createFileAtPath(at(u"report.txt")));
  const Date date(1500000000.25);
  ASSERT_TRUE(manager_.setAttributes(attributes({{NSFilePosixPermissions, 0604},
                                                 {NSFileModificationDate, date},
                                                 {NSFileExtensionHidden, true}}),
                                     at(u"report.txt")));
  const Dictionary after = *manager_.attributesOfItemAtPath(at(u"report.txt"));
  EXPECT_EQ(after[NSFilePosixPermissions].int64Value(), 0604);
  EXPECT_NEAR(after[NSFileModificationDate].asDate()->timeIntervalSince1970(),
              date.timeIntervalSince1970(), 1e-6);
  EXPECT_EQ(after[NSFileExtensionHidden], Value(true));
  EXPECT_EQ(manager_.displayNameAtPath(at(u"report.txt")), u"report");
  EXPECT_TRUE(manager_.setExtensionHiddenAtPath(at(u"report.txt"), false));
  EXPECT_TRUE(manager_.setExtensionHiddenAtPath(at(u"report.txt"), false));  // already clear
  EXPECT_EQ(manager_.displayNameAtPath(at(u"report.txt")), u"report.txt");
  EXPECT_FALSE(manager_.setExtensionHiddenAtPath(at(u"missing"), false));
  EXPECT_FALSE(
      manager_.setAttributes(attributes({{NSFilePosixPermissions, 0600}}), at(u"missing")));
}

TEST_F(FileManagerTest, HiddenItemsAndDisplayNames) {
  for (const char16_t* name : {u".dot", u"listed", u"plain", u"app.desktop"}) {
    ASSERT_TRUE(manager_.createFileAtPath(at(name)));
  }
  ASSERT_TRUE(manager_.createFileAtPath(at(u".hidden"), dataFromBytes("other\nlisted\n")));
  ASSERT_TRUE(manager_.createFileAtPath(
      at(u"app.desktop"),
      dataFromBytes("[Desktop Action x]\nName=Not this\n[Desktop Entry]\nName[de]=Rechner\n"
                    "Name=Calculator\n")));
  const struct {
    const char16_t* name;
    std::optional<bool> hidden;
    const char16_t* displayName;
  } cases[] = {
      {u".dot", true, u".dot"},
      {u"listed", true, u"listed"},
      {u"plain", false, u"plain"},
      {u"app.desktop", false, u"Calculator"},
      {u"missing.txt", std::nullopt, u"missing.txt"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.name));
    EXPECT_EQ(manager_.isHiddenAtPath(at(c.name)), c.hidden);
    EXPECT_EQ(manager_.displayNameAtPath(at(c.name)), c.displayName);
  }
}

TEST_F(FileManagerTest, NamesThatAreNotUTF8SurviveTheRoundTrip) {
  const std::string bytes = "caf\xff\xfe.txt";
  test::writeFile(fs::path(fileSystemRepresentation(folder_)) / bytes, "x");
  const std::vector<String> names = *manager_.contentsOfDirectoryAtPath(folder_);
  ASSERT_EQ(names.size(), 1u);
  EXPECT_EQ(fileSystemRepresentation(names[0]), bytes);
  const String path = at(names[0]);
  EXPECT_TRUE(manager_.fileExistsAtPath(path));
  EXPECT_EQ(manager_.contentsAtPath(path), dataFromBytes("x"));
  EXPECT_TRUE(manager_.copyItemAtPath(path, path + u"2"));
  EXPECT_TRUE(manager_.removeItemAtPath(path));
  EXPECT_FALSE(manager_.fileExistsAtPath(path));
}

TEST_F(FileManagerTest, CopyMoveAndRemove) {
  ASSERT_TRUE(manager_.createDirectoryAtPath(at(u"tree/inner"), true));
  ASSERT_TRUE(manager_.createFileAtPath(at(u"tree/inner/f"), dataFromBytes("data")));
  ASSERT_TRUE(manager_.createSymbolicLinkAtPath(at(u"tree/link"), u"inner/f"));

  ASSERT_TRUE(manager_.copyItemAtPath(at(u"tree"), at(u"copy")));
  EXPECT_EQ(manager_.contentsAtPath(at(u"copy/inner/f")), dataFromBytes("data"));
  EXPECT_EQ(manager_.destinationOfSymbolicLinkAtPath(at(u"copy/link")), u"inner/f");

  ErrorPtr error;
  EXPECT_FALSE(manager_.copyItemAtPath(at(u"tree"), at(u"copy"), &error));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code(), NSFileWriteFileExistsError);
  error.reset();
  EXPECT_FALSE(manager_.moveItemAtPath(at(u"tree"), at(u"copy"), &error));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code(), NSFileWriteFileExistsError);

  ASSERT_TRUE(manager_.moveItemAtPath(at(u"copy"), at(u"moved")));
  EXPECT_FALSE(manager_.fileExistsAtPath(at(u"copy")));
  EXPECT_TRUE(manager_.fileExistsAtPath(at(u"moved/inner/f")));

  // Removing a link removes the link, not what it points to.
  ASSERT_TRUE(manager_.removeItemAtPath(at(u"tree/link")));
  EXPECT_TRUE(manager_.fileExistsAtPath(at(u"tree/inner/f")));
  ASSERT_TRUE(manager_.removeItemAtPath(at(u"tree")));
  EXPECT_FALSE(manager_.fileExistsAtPath(at(u"tree")));
  error.reset();
  EXPECT_FALSE(manager_.removeItemAtPath(at(u"tree"), &error));
  EXPECT_TRUE(error);
}

TEST_F(FileManagerTest, DelegateCanVetoChanges) {
  struct Refuser : FileManagerDelegate {
    bool shouldRemoveItemAtPath(FileManager&, const String&) override { return false; }
  };
  auto refuser = std::make_shared<Refuser>();
  manager_.setDelegate(refuser);
  ASSERT_TRUE(manager_.createFileAtPath(at(u"keep")));
  EXPECT_TRUE(manager_.removeItemAtPath(at(u"keep")));  // skipped, not failed
  EXPECT_TRUE(manager_.fileExistsAtPath(at(u"keep")));
  refuser.reset();  // held weakly: gone means no veto
  EXPECT_TRUE(manager_.removeItemAtPath(at(u"keep")));
  EXPECT_FALSE(manager_.fileExistsAtPath(at(u"keep")));
}

TEST_F(FileManagerTest, PlacesFollowTheEnvironment) {
  const String home = stringWithFileSystemRepresentation(test::temporaryHome().native());
  EXPECT_EQ(manager_.temporaryDirectory(), home + u"/tmp");
  EXPECT_EQ(manager_.homeDirectoryForCurrentUser(), home);
  EXPECT_EQ(manager_.searchPathsForDirectory(SearchPathDirectory::Caches),
            std::vector<String>{home + u"/.cache"});
  EXPECT_EQ(manager_.searchPathsForDirectory(SearchPathDirectory::ApplicationSupport),
            std::vector<String>{home + u"/.local/share"});

  // A relative XDG folder is ignored, as the XDG base directory rules ask.
  test::ScopedEnvironmentVariable relative("XDG_CACHE_HOME", "relative/cache");
  EXPECT_EQ(manager_.searchPathsForDirectory(SearchPathDirectory::Caches),
            std::vector<String>{home + u"/.cache"});
  EXPECT_FALSE(manager_.currentDirectoryPath().empty());
}

}  // namespace
}  // namespace lx
