// Finding the installed font file for a `Font` through fontconfig: the
// family, weight, slant and pitch asked for, the nearest installed match
// when the family is missing, and which family was used. The desktop's
// default sans-serif and monospace fonts come from the same configuration.
//
// Every function may be called from any thread.
#pragma once

#include "vantorcore/Export.h"

#include <optional>
#include <string>

#include "vantorcore/platform/Font.h"

namespace LX_API lx {

/// The posture of a face.
enum class FontSlant { Roman, Italic, Oblique };

/// What to ask for beyond the family and size of a `Font`.
struct FontTraits {
  /// CSS/OpenType weight, 1...1000 (400 regular, 700 bold); 0 takes 700 for
  /// a bold `Font` and 400 otherwise. Out-of-range values are clamped.
  int weight = 0;
  /// Upright, italic or oblique.
  FontSlant slant = FontSlant::Roman;
  /// Prefer a fixed-pitch face; when the family has none, the desktop's
  /// monospace font is the fallback instead of its sans-serif one.
  bool fixedPitch = false;
};

/// The installed face fontconfig chose.
struct FontMatch {
  /// The family actually used, at the size asked, bold when `weight` is 600
  /// or more.
  Font font;
  /// The family asked for ("sans-serif" when the font named none).
  String requestedFamily;
  /// True when the face belongs to the family asked for, or the request was
  /// one of fontconfig's generic names (sans-serif, sans, serif, monospace,
  /// mono, system-ui, emoji, math); false when fontconfig fell back to the
  /// nearest other family.
  bool familyFound = false;
  /// The font file and the face's index within it.
  std::string file;
  /// The face's index within its file (collections hold several).
  int faceIndex = 0;
  /// The face's own weight (OpenType scale), slant and pitch.
  int weight = 400;
  /// The matched face's posture.
  FontSlant slant = FontSlant::Roman;
  /// Whether every glyph has the same width.
  bool fixedPitch = false;
};

/// The installed face nearest to `font` with `traits`; absent only when
/// fontconfig cannot start or no font is installed at all.
///   'DejaVu Sans', weight 700    => DejaVuSans-Bold.ttf, familyFound
///   'No Such Family'             => the default sans face, !familyFound
[[nodiscard]] std::optional<FontMatch> lx_matchFont(const Font& font,
                                                    const FontTraits& traits = {});

/// The desktop's default sans-serif font (fontconfig's "sans-serif") at
/// `pointSize` (0 or less, or NaN: `Font::kDefaultPointSize`); absent when
/// no font is installed.
[[nodiscard]] std::optional<Font> lx_defaultSansSerifFont(double pointSize);
/// The same for "monospace".
[[nodiscard]] std::optional<Font> lx_defaultMonospaceFont(double pointSize);

}  // namespace lx
