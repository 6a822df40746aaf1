#include "vantorcore/platform/Font+Matching.h"

#include <gtest/gtest.h>

#include <limits>

// fontconfig 2.14 loses two blocks while parsing its configuration files,
// even between FcInit and FcFini; the leak checker should not blame us.
extern "C" const char* __lsan_default_suppressions() { return "leak:libfontconfig.so\n"; }

namespace lx {
namespace {

// scripts/install-deps.sh installs fonts-dejavu-core, so DejaVu is the
// family every machine running these tests has.
TEST(FontMatching, FindsFamiliesWeightsSlantsAndPitch) {
  const struct {
    const char* name;
    Font font;
    FontTraits traits;
    const char16_t* family;
    const char* fileSuffix;
    bool found, bold, fixed;
    FontSlant slant;
  } cases[] = {
      {"regular",
       Font(u"DejaVu Sans", 12),
       {},
       u"DejaVu Sans",
       "/DejaVuSans.ttf",
       true,
       false,
       false,
       FontSlant::Roman},
      {"any case",
       Font(u"dejavu SANS mono", 12),
       {},
       u"DejaVu Sans Mono",
       "/DejaVuSansMono.ttf",
       true,
       false,
       true,
       FontSlant::Roman},
      {"bold font",
       Font(u"DejaVu Sans", 12, true),
       {},
       u"DejaVu Sans",
       "/DejaVuSans-Bold.ttf",
       true,
       true,
       false,
       FontSlant::Roman},
      {"weight 700",
       Font(u"DejaVu Serif", 12),
       {700},
       u"DejaVu Serif",
       "/DejaVuSerif-Bold.ttf",
       true,
       true,
       false,
       FontSlant::Roman},
      {"weight clamped",
       Font(u"DejaVu Serif", 12),
       {5000},
       u"DejaVu Serif",
       "/DejaVuSerif-Bold.ttf",
       true,
       true,
       false,
       FontSlant::Roman},
      {"italic",
       Font(u"DejaVu Serif", 12),
       {0, FontSlant::Italic},
       u"DejaVu Serif",
       "/DejaVuSerif-Italic.ttf",
       true,
       false,
       false,
       FontSlant::Italic},
      {"oblique",
       Font(u"DejaVu Sans", 12),
       {0, FontSlant::Oblique},
       u"DejaVu Sans",
       "/DejaVuSans-Oblique.ttf",
       true,
       false,
       false,
       FontSlant::Oblique},
      {"generic monospace",
       Font(u"monospace", 12),
       {},
       u"DejaVu Sans Mono",
       "/DejaVuSansMono.ttf",
       true,
       false,
       true,
       FontSlant::Roman},
      {"missing family",
       Font(u"No Such Family 1234", 12),
       {},
       u"DejaVu Sans",
       "/DejaVuSans.ttf",
       false,
       false,
       false,
       FontSlant::Roman},
      {"missing, fixed pitch",
       Font(u"No Such Family 1234", 12),
       {0, FontSlant::Roman, true},
       u"DejaVu Sans Mono",
       "/DejaVuSansMono.ttf",
       false,
       false,
       true,
       FontSlant::Roman},
      {"no family",
       Font(u"", 12),
       {},
       u"DejaVu Sans",
       "/DejaVuSans.ttf",
       true,
       false,
       false,
       FontSlant::Roman},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const std::optional<FontMatch> match = lx_matchFont(c.font, c.traits);
    ASSERT_TRUE(match);
    EXPECT_EQ(match->font.familyName(), c.family);
    EXPECT_TRUE(match->file.ends_with(c.fileSuffix)) << match->file;
    EXPECT_EQ(match->familyFound, c.found);
    EXPECT_EQ(match->font.isBold(), c.bold);
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
