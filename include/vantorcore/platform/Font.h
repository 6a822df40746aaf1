// `Font`: a font as styled text names it, by family, point size and weight,
// with the desktop's fixed-pitch and interface fonts.
#pragma once

#include "vantorcore/Export.h"

#include <compare>
#include <optional>

#include "vantorcore/platform/String.h"

namespace LX_API lx {

class Font {
 public:
  /// The size the desktop uses when a setting gives none.
  static constexpr double kDefaultPointSize = 11;
  /// The family of the interface font.
  static constexpr StringView kSystemFamily = u"Sans";

  /// A font of `family` at `pointSize` (values of 0 or less, and NaN, become
  /// `kDefaultPointSize`), bold or regular.
  Font(String family, double pointSize, bool bold = false);

  /// The user's fixed-pitch font at `pointSize`, or at its own size when
  /// `pointSize` is 0 or less. The family and size come from the desktop
  /// setting "monospace-font-name" of org.gnome.desktop.interface (read
  /// with `gsettings` once per process), else from fontconfig's match for
  /// "monospace"; absent when neither answers. Any thread.
  static std::optional<Font> userFixedPitchFontOfSize(double pointSize);
  /// The interface font ("Sans") at `pointSize`, regular or bold.
  ///@{
  static Font systemFontOfSize(double pointSize);
  static Font boldSystemFontOfSize(double pointSize);
  ///@}

  /// The font of a desktop font description: a family, then optional style
  /// words, then an optional size in points, as in
  ///   'Monospace 11'            => Monospace, 11, regular
  ///   'DejaVu Sans Mono Bold 9' => DejaVu Sans Mono, 9, bold
  ///   'Hack'                    => Hack, `kDefaultPointSize`
  ///   '' or '12'                => absent (no family)
  /// Surrounding quotes, as `gsettings` prints them, are dropped.
  static std::optional<Font> fromDescription(StringView description);

  /// The family name as given, e.g. "DejaVu Sans".
  [[nodiscard]] const String& familyName() const noexcept { return family_; }
  /// The size in points.
  [[nodiscard]] double pointSize() const noexcept { return pointSize_; }
  /// Whether the bold weight is wanted.
  [[nodiscard]] bool isBold() const noexcept { return bold_; }
  /// The same family and size in bold; the font itself when already bold.
  [[nodiscard]] Font boldVariant() const;

  /// Equal when family, size and weight are.
  friend bool operator==(const Font&, const Font&) = default;

 private:
  String family_;
  double pointSize_;
  bool bold_;
};

}  // namespace lx
