#include "vantorcore/platform/Font+Matching.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace lx {
namespace {

// scripts/install-deps.sh installs fonts-dejavu-core, so DejaVu is the
// family every machine running these tests has.
TEST(FontMatching, FindsFamiliesWeightsSlantsAndPitch) {
  constexpr auto kRoman = FontSlant::Roman, kItalic = FontSlant::Italic;
  constexpr auto kOblique = FontSlant::Oblique;
  // Asked: family, bold, traits. Got: family, file, found, bold, fixed, slant.
  const struct {
    const char16_t* family;
    bool bold;
    FontTraits traits;
    const char16_t* used;
    const char* file;
    bool found, usedBold, fixed;
    FontSlant slant;
  } cases[] = {
      // clang-format off
      {u"DejaVu Sans", false, {}, u"DejaVu Sans", "/DejaVuSans.ttf", true, false, false, kRoman},
      {u"dejavu SANS mono", false, {}, u"DejaVu Sans Mono", "/DejaVuSansMono.ttf", true, false, true, kRoman},
      {u"DejaVu Sans", true, {}, u"DejaVu Sans", "/DejaVuSans-Bold.ttf", true, true, false, kRoman},
      {u"DejaVu Serif", false, {700}, u"DejaVu Serif", "/DejaVuSerif-Bold.ttf", true, true, false, kRoman},
      {u"DejaVu Serif", false, {5000}, u"DejaVu Serif", "/DejaVuSerif-Bold.ttf", true, true, false, kRoman},
      {u"DejaVu Serif", false, {0, kItalic}, u"DejaVu Serif", "/DejaVuSerif-Italic.ttf", true, false, false, kItalic},
      {u"DejaVu Sans", false, {0, kOblique}, u"DejaVu Sans", "/DejaVuSans-Oblique.ttf", true, false, false, kOblique},
      {u"monospace", false, {}, u"DejaVu Sans Mono", "/DejaVuSansMono.ttf", true, false, true, kRoman},
      {u"No Such Family 1234", false, {}, u"DejaVu Sans", "/DejaVuSans.ttf", false, false, false, kRoman},
      {u"No Such Family 1234", false, {0, kRoman, true}, u"DejaVu Sans Mono", "/DejaVuSansMono.ttf", false, false, true, kRoman},
      {u"", false, {}, u"DejaVu Sans", "/DejaVuSans.ttf", true, false, false, kRoman},
      // clang-format on
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.family) + (c.bold ? " bold" : "") + " weight " +
                 std::to_string(c.traits.weight));
    const std::optional<FontMatch> match = lx_matchFont(Font(c.family, 12, c.bold), c.traits);
    ASSERT_TRUE(match);
    EXPECT_EQ(match->font.familyName(), c.used);
    EXPECT_TRUE(match->file.ends_with(c.file)) << match->file;
    EXPECT_EQ(match->familyFound, c.found);
    EXPECT_EQ(match->font.isBold(), c.usedBold);
    EXPECT_EQ(match->fixedPitch, c.fixed);
    EXPECT_EQ(match->slant, c.slant);
    EXPECT_EQ(match->font.pointSize(), 12);
  }
  EXPECT_EQ(lx_matchFont(Font(u"", 12))->requestedFamily, u"sans-serif");
}

TEST(FontMatching, DesktopDefaults) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const struct {
    double size, expected;
  } sizes[] = {{9, 9},
               {0, Font::kDefaultPointSize},
               {-3, Font::kDefaultPointSize},
               {nan, Font::kDefaultPointSize}};
  for (const auto& s : sizes) {
    EXPECT_EQ(lx_defaultSansSerifFont(s.size), Font(u"DejaVu Sans", s.expected));
    EXPECT_EQ(lx_defaultMonospaceFont(s.size), Font(u"DejaVu Sans Mono", s.expected));
  }
}

}  // namespace
}  // namespace lx
