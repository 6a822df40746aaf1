#include <gtest/gtest.h>

#include "support/TestSupport.h"
#include "vantorcore/text/String+PathAdditions.h"
#include "vantorcore/text/String+PathAttributes.h"

namespace lx {
namespace {

TEST(PathNodeAttributes, OfAFileAFolderAndAMissingItem) {
  const auto folder = test::makeTemporaryFolder("node");
  test::writeFile(folder / "Report.PDF", "12345");
  const String file = fromUTF8((folder / "Report.PDF").string());
  const String dir = fromUTF8(folder.string());
  EXPECT_EQ(PathNode::displayName(file), u"Report.PDF");
  EXPECT_EQ(PathNode::size(file), 5u);
  EXPECT_EQ(PathNode::kind(file), u"PDF document");
  EXPECT_EQ(PathNode::kind(dir), u"Folder");
  EXPECT_EQ(PathNode::size(dir), std::nullopt);
  ASSERT_TRUE(PathNode::modificationDate(file));
  EXPECT_NEAR(PathNode::modificationDate(file)->timeIntervalSinceNow(), 0, 3600);
  EXPECT_EQ(PathNode::path(file), lx_stringByNormalizingPath(file));

  const String missing = u"/nonexistent-folder-for-tests/report.txt";
  EXPECT_EQ(PathNode::displayName(missing), u"report.txt");
  EXPECT_EQ(PathNode::modificationDate(missing), std::nullopt);
  EXPECT_EQ(PathNode::kind(missing), std::nullopt);
  EXPECT_EQ(PathNode::size(missing), std::nullopt);
}

}  // namespace
}  // namespace lx
