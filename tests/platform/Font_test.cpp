#include "vantorcore/platform/Font.h"

#include <gtest/gtest.h>

namespace lx {
namespace {

TEST(FontTest, DescriptionsNameFamilySizeAndWeight) {
  const struct {
    String description;
    std::optional<Font> font;
  } cases[] = {
      {u"Monospace 11", Font(u"Monospace", 11)},
      {u"'Monospace 11'", Font(u"Monospace", 11)},
      {u"DejaVu Sans Mono Bold 9", Font(u"DejaVu Sans Mono", 9, true)},
      {u"Hack Regular 10.5", Font(u"Hack", 10.5)},
      {u"Hack", Font(u"Hack", Font::kDefaultPointSize)},
      {u"Bold", Font(u"Bold", Font::kDefaultPointSize)},  // a family is never a style
      {u"  Fira   Code  12 ", Font(u"Fira Code", 12)},
      {u"Iosevka 0", Font(u"Iosevka", Font::kDefaultPointSize)},
      {u"Iosevka 123456789", Font(u"Iosevka 123456789", Font::kDefaultPointSize)},
      {u"12", std::nullopt},
      {u"''", std::nullopt},
      {u"", std::nullopt},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.description));
    EXPECT_EQ(Font::fromDescription(c.description), c.font);
  }
}

TEST(FontTest, UserFixedPitchFontTakesTheAskedSize) {
  const std::optional<Font> own = Font::userFixedPitchFontOfSize(0);
  ASSERT_TRUE(own);  // fontconfig, a dependency, always names one
  EXPECT_FALSE(own->familyName().empty());
  EXPECT_GT(own->pointSize(), 0);
  EXPECT_EQ(Font::userFixedPitchFontOfSize(-1), own);
  const std::optional<Font> sized = Font::userFixedPitchFontOfSize(14);
  EXPECT_EQ(sized->familyName(), own->familyName());
  EXPECT_EQ(sized->pointSize(), 14);
}

TEST(FontTest, BoldVariantKeepsFamilyAndSize) {
  const Font regular(u"Mono", 9);
  EXPECT_EQ(regular.boldVariant(), Font(u"Mono", 9, true));
  EXPECT_EQ(regular.boldVariant().boldVariant(), regular.boldVariant());
  EXPECT_EQ(Font::boldSystemFontOfSize(12), Font::systemFontOfSize(12).boldVariant());
  EXPECT_EQ(Font(u"Mono", -3).pointSize(), Font::kDefaultPointSize);
}

}  // namespace
}  // namespace lx
