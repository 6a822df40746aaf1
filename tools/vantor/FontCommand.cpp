// `vantor font FAMILY [--size PT] [--bold|--weight W] [--italic]
// [--monospace]`: the installed face fontconfig matches.
#include <cmath>
#include <cstdlib>
#include <iostream>
#include <string>

#include "Command.h"
#include "StreamIO.h"
#include "vantorcore/platform/Font+Matching.h"

namespace {

constexpr char kUsage[] =
    "usage: vantor font FAMILY [--size PT] [--weight W | --bold] [--italic] [--monospace]\n\n"
    "Prints the installed face fontconfig chooses for FAMILY (generic names such\n"
    "as sans-serif and monospace work too): the family used, whether it is the\n"
    "one asked for, the file, weight, slant and pitch. Exit status 1 when no\n"
    "font can be found at all.";

const char* slantName(lx::FontSlant slant) {
  switch (slant) {
    case lx::FontSlant::Italic:
      return "italic";
    case lx::FontSlant::Oblique:
      return "oblique";
    case lx::FontSlant::Roman:
      break;
  }
  return "roman";
}

int run(vantor::Arguments args) {
  const vantor::Command self{"font", "", kUsage, nullptr};
  std::string family;
  double size = lx::Font::kDefaultPointSize;
  lx::FontTraits traits;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (a == "--bold") {
      traits.weight = 700;
    } else if (a == "--italic") {
      traits.slant = lx::FontSlant::Italic;
    } else if (a == "--monospace") {
      traits.fixedPitch = true;
    } else if (a == "--size" || a == "--weight") {
      if (i + 1 >= args.size()) return vantor::usageError(self, a + " needs a value");
      char* end = nullptr;
      const double value = std::strtod(args[++i].c_str(), &end);
      if (*end != '\0' || !std::isfinite(value) || value <= 0) {
        return vantor::usageError(self, "bad value '" + args[i] + "' for " + a);
      }
      if (a == "--size")
        size = value;
      else
        traits.weight = static_cast<int>(std::min(value, 1000.0));
    } else if (family.empty() && a.rfind("-", 0) != 0) {
      family = a;
    } else {
      return vantor::usageError(self, "unexpected argument '" + a + "'");
    }
  }
  if (family.empty()) return vantor::usageError(self, "which family?");
  const auto match = lx::lx_matchFont(lx::Font(lx::fromUTF8(family), size), traits);
  if (!match) return vantor::fail("font", "no font is installed");
  std::cout << "family: " << lx::toUTF8(match->font.familyName()) << "\n"
            << "found: " << (match->familyFound ? "yes" : "no, nearest match") << "\n"
            << "file: " << match->file << "\n"
            << "index: " << match->faceIndex << "\n"
            << "size: " << match->font.pointSize() << "\n"
            << "weight: " << match->weight << "\n"
            << "slant: " << slantName(match->slant) << "\n"
            << "pitch: " << (match->fixedPitch ? "fixed" : "proportional") << "\n";
  return 0;
}

}  // namespace

VANTOR_COMMAND("font", "Show the installed font fontconfig matches for a family", kUsage, run);
