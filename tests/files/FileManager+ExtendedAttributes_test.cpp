#include <gtest/gtest.h>
#include <sys/xattr.h>

#include "support/TestSupport.h"
#include "vantorcore/files/FileManager+ExtendedAttributes.h"
#include "vantorcore/platform/String+Paths.h"

namespace lx {
namespace {

TEST(ExtendedAttributesTest, NamesWithoutANamespaceGoToTheUserNamespace) {
  const struct {
    const char16_t* name;
    const char* kernelName;
  } cases[] = {
      {u"com.example.tag", "user.com.example.tag"},
      {u"user.x", "user.x"},
      {u"trusted.x", "trusted.x"},
      {u"security.x", "security.x"},
      {u"system.x", "system.x"},
      {u"users.x", "user.users.x"},
      {u"", "user."},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.kernelName);
    EXPECT_EQ(lx_extendedAttributeName(c.name), c.kernelName);
  }
}

class ExtendedAttributesFileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto folder = test::makeTemporaryFolder("xattr");
    test::writeFile(folder / "f", "x");
    path_ = stringWithFileSystemRepresentation((folder / "f").native());
    if (::setxattr((folder / "f").c_str(), "user.probe", "1", 1, 0) != 0) {
      GTEST_SKIP() << "the test folder's file system has no user attributes";
    }
  }
  FileManager manager_;
  String path_;
};

TEST_F(ExtendedAttributesFileTest, WritesReadsAndRemoves) {
  lx_setData(manager_, Data{1, 2, 3}, u"com.example.tag", path_);
  EXPECT_EQ(lx_dataForExtendedAttribute(manager_, u"com.example.tag", path_), (Data{1, 2, 3}));
  EXPECT_EQ(lx_dataForExtendedAttribute(manager_, u"user.com.example.tag", path_), (Data{1, 2, 3}));
  const URL url = URL::fileURLWithPath(path_);
  EXPECT_EQ(lx_dataForExtendedAttribute(manager_, u"com.example.tag", url), (Data{1, 2, 3}));

  lx_setData(manager_, std::nullopt, u"com.example.tag", url);
  EXPECT_FALSE(lx_dataForExtendedAttribute(manager_, u"com.example.tag", path_));
}

TEST_F(ExtendedAttributesFileTest, EmptyMissingAndUnreadableAreAbsent) {
  lx_setData(manager_, Data{}, u"empty", path_);
  char probe;
  EXPECT_EQ(::getxattr(fileSystemRepresentation(path_).c_str(), "user.empty", &probe, 1), 0);
  EXPECT_FALSE(lx_dataForExtendedAttribute(manager_, u"empty", path_));
  EXPECT_FALSE(lx_dataForExtendedAttribute(manager_, u"never.set", path_));
  EXPECT_FALSE(lx_dataForExtendedAttribute(manager_, u"x", path_ + u"-missing"));
  lx_setData(manager_, Data{1}, u"x", path_ + u"-missing");  // ignored, no crash
  lx_setData(manager_, std::nullopt, u"never.set", path_);
}

}  // namespace
}  // namespace lx
