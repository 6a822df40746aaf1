#include "vantorcore/platform/Font.h"

#include <stdio.h>

#include <algorithm>
#include <cmath>
#include <mutex>
#include <string>
#include <vector>

#include "platform/FontconfigLibrary.h"

namespace lx {
namespace {

using detail::fontconfig;

constexpr StringView kStyleWords[] = {u"Bold",    u"Regular", u"Book",      u"Medium",   u"Italic",
                                      u"Oblique", u"Light",   u"Semi-Bold", u"Condensed"};

bool isStyleWord(StringView word) {
  for (StringView style : kStyleWords) {
    if (word == style) return true;
  }
  return false;
}

std::optional<double> sizeWord(StringView word) {
  if (word.empty() || word.size() > 8) return std::nullopt;
  std::string ascii;
  for (char16_t c : word) {
    if (!((c >= u'0' && c <= u'9') || c == u'.')) return std::nullopt;
    ascii.push_back(static_cast<char>(c));
  }
  try {
    return std::stod(ascii);
  } catch (...) {
    return std::nullopt;
  }
}

// `gsettings` reads dconf directly, so this costs one short-lived process,
// once; its absence (no GNOME schemas, no binary) answers nothing.
std::optional<Font> desktopMonospaceSetting() {
  FILE* pipe =
      popen("gsettings get org.gnome.desktop.interface monospace-font-name 2>/dev/null", "r");
  if (!pipe) return std::nullopt;
  std::string out;
  char buffer[256];
  while (std::size_t n = fread(buffer, 1, sizeof buffer, pipe)) out.append(buffer, n);
  const int status = pclose(pipe);
  if (status != 0) return std::nullopt;
  while (!out.empty() && (out.back() == '\n' || out.back() == ' ')) out.pop_back();
  return Font::fromDescription(fromUTF8(out));
}

std::optional<Font> fontconfigMonospace() {
  const detail::FontconfigLibrary& fc = fontconfig();
  if (!fc.library.isLoaded() || !fc.Init()) return std::nullopt;
  FcPattern* pattern = fc.NameParse(reinterpret_cast<const FcChar8*>("monospace"));
  if (!pattern) return std::nullopt;
  fc.ConfigSubstitute(nullptr, pattern, FcMatchPattern);
  fc.DefaultSubstitute(pattern);
  FcResult result = FcResultNoMatch;
  FcPattern* match = fc.FontMatch(nullptr, pattern, &result);
  std::optional<Font> font;
  FcChar8* family = nullptr;
  if (match && fc.PatternGetString(match, FC_FAMILY, 0, &family) == FcResultMatch && family) {
    font = Font(fromUTF8(reinterpret_cast<const char*>(family)), Font::kDefaultPointSize);
  }
  if (match) fc.PatternDestroy(match);
  fc.PatternDestroy(pattern);
  return font;
}

}  // namespace

Font::Font(String family, double pointSize, bool bold)
    : family_(std::move(family)),
      pointSize_(std::isnan(pointSize) || pointSize <= 0 ? kDefaultPointSize : pointSize),
      bold_(bold) {}

std::optional<Font> Font::fromDescription(StringView description) {
  if (description.size() >= 2 && description.front() == u'\'' && description.back() == u'\'') {
    description = description.substr(1, description.size() - 2);
  }
  std::vector<StringView> words;
  std::size_t start = 0;
  while (start <= description.size()) {
    const std::size_t space = std::min(description.find(u' ', start), description.size());
    if (space > start) words.push_back(description.substr(start, space - start));
    start = space + 1;
  }
  double size = kDefaultPointSize;
  if (!words.empty()) {
    if (std::optional<double> s = sizeWord(words.back())) {
      size = *s;
      words.pop_back();
    }
  }
  bool bold = false;
  while (words.size() > 1 && isStyleWord(words.back())) {
    bold = bold || words.back() == u"Bold";
    words.pop_back();
  }
  if (words.empty()) return std::nullopt;
  String family(words.front());
  for (std::size_t i = 1; i < words.size(); ++i) family.append(u" ").append(words[i]);
  return Font(std::move(family), size, bold);
}

std::optional<Font> Font::userFixedPitchFontOfSize(double pointSize) {
  static const std::optional<Font> user = [] {
    std::optional<Font> font = desktopMonospaceSetting();
    return font ? font : fontconfigMonospace();
  }();
  if (!user) return std::nullopt;
  if (std::isnan(pointSize) || pointSize <= 0) return user;
  return Font(user->family_, pointSize, user->bold_);
}

Font Font::systemFontOfSize(double pointSize) { return Font(String(kSystemFamily), pointSize); }

Font Font::boldSystemFontOfSize(double pointSize) {
  return Font(String(kSystemFamily), pointSize, true);
}

Font Font::boldVariant() const { return Font(family_, pointSize_, true); }

}  // namespace lx
