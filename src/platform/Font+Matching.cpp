#include "vantorcore/platform/Font+Matching.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include "platform/FontconfigLibrary.h"

namespace lx {
namespace {

using detail::fontconfig;

constexpr StringView kGenericFamilies[] = {u"sans-serif", u"sans",      u"serif", u"monospace",
                                           u"mono",       u"system-ui", u"emoji", u"math"};

struct PatternDeleter {
  void operator()(FcPattern* p) const noexcept { fontconfig().PatternDestroy(p); }
};
using PatternPtr = std::unique_ptr<FcPattern, PatternDeleter>;

bool isGeneric(StringView family) {
  return std::any_of(std::begin(kGenericFamilies), std::end(kGenericFamilies),
                     [&](StringView g) { return isEqualCaseInsensitive(g, family); });
}

const FcChar8* fcText(const std::string& s) { return reinterpret_cast<const FcChar8*>(s.c_str()); }

FontSlant slantOf(int fcSlant) {
  if (fcSlant >= FC_SLANT_OBLIQUE) return FontSlant::Oblique;
  return fcSlant >= FC_SLANT_ITALIC ? FontSlant::Italic : FontSlant::Roman;
}

// The match's own spelling of `family` when it is one of its family names
// (fonts list localised and sub-family names too).
std::optional<String> familyNamed(FcPattern* match, StringView family) {
  FcChar8* name = nullptr;
  for (int i = 0; fontconfig().PatternGetString(match, FC_FAMILY, i, &name) == FcResultMatch; ++i) {
    String candidate = fromUTF8(reinterpret_cast<const char*>(name));
    if (isEqualCaseInsensitive(candidate, family)) return candidate;
  }
  return std::nullopt;
}

}  // namespace

std::optional<FontMatch> lx_matchFont(const Font& font, const FontTraits& traits) {
  const detail::FontconfigLibrary& fc = fontconfig();
  if (!fc.library.isLoaded() || !fc.Init()) return std::nullopt;
  const String requested = font.familyName().empty() ? String(u"sans-serif") : font.familyName();
  PatternPtr pattern(fc.PatternCreate());
  fc.PatternAddString(pattern.get(), FC_FAMILY, fcText(toUTF8(requested)));
  if (traits.fixedPitch) {
    fc.PatternAddString(pattern.get(), FC_FAMILY, fcText("monospace"));
    fc.PatternAddInteger(pattern.get(), FC_SPACING, FC_MONO);
  }
  const int weight =
      traits.weight > 0 ? std::clamp(traits.weight, 1, 1000) : (font.isBold() ? 700 : 400);
  fc.PatternAddInteger(pattern.get(), FC_WEIGHT, fc.WeightFromOpenType(weight));
  fc.PatternAddInteger(pattern.get(), FC_SLANT,
                       traits.slant == FontSlant::Roman    ? FC_SLANT_ROMAN
                       : traits.slant == FontSlant::Italic ? FC_SLANT_ITALIC
                                                           : FC_SLANT_OBLIQUE);
  fc.PatternAddDouble(pattern.get(), FC_SIZE, font.pointSize());
  fc.ConfigSubstitute(nullptr, pattern.get(), FcMatchPattern);
  fc.DefaultSubstitute(pattern.get());
  FcResult result = FcResultNoMatch;
  PatternPtr match(fc.FontMatch(nullptr, pattern.get(), &result));
  FcChar8* family = nullptr;
  FcChar8* file = nullptr;
  if (!match || fc.PatternGetString(match.get(), FC_FAMILY, 0, &family) != FcResultMatch ||
      fc.PatternGetString(match.get(), FC_FILE, 0, &file) != FcResultMatch) {
    return std::nullopt;
  }
  int faceIndex = 0, faceWeight = FC_WEIGHT_REGULAR, slant = FC_SLANT_ROMAN,
      spacing = FC_PROPORTIONAL;
  fc.PatternGetInteger(match.get(), FC_INDEX, 0, &faceIndex);
  fc.PatternGetInteger(match.get(), FC_WEIGHT, 0, &faceWeight);
  fc.PatternGetInteger(match.get(), FC_SLANT, 0, &slant);
  fc.PatternGetInteger(match.get(), FC_SPACING, 0, &spacing);
  const int openTypeWeight = fc.WeightToOpenType(faceWeight);
  const std::optional<String> named = familyNamed(match.get(), requested);
  return FontMatch{Font(named ? *named : fromUTF8(reinterpret_cast<const char*>(family)),
                        font.pointSize(), openTypeWeight >= 600),
                   requested,
                   named || isGeneric(requested),
                   reinterpret_cast<const char*>(file),
                   faceIndex,
                   openTypeWeight,
                   slantOf(slant),
                   spacing >= FC_MONO};
}

std::optional<Font> lx_defaultSansSerifFont(double pointSize) {
  const std::optional<FontMatch> match = lx_matchFont(Font(u"sans-serif", pointSize));
  return match ? std::optional(match->font) : std::nullopt;
}

std::optional<Font> lx_defaultMonospaceFont(double pointSize) {
  const std::optional<FontMatch> match = lx_matchFont(Font(u"monospace", pointSize));
  return match ? std::optional(match->font) : std::nullopt;
}

}  // namespace lx
