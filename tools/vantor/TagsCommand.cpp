// `vantor tags`: the file tags, their label colours and the favourites that
// the tag manager sees for this user.
#include <cmath>
#include <cstdio>
#include <iostream>

#include "Command.h"
#include "vantorcore/files/LXTagManager.h"
#include "vantorcore/platform/Exception.h"

namespace vantor {
namespace {

constexpr char kUsage[] =
    "usage: vantor tags\n\n"
    "Prints where the tag database is expected and whether it is readable,\n"
    "each tag with its label colour index and its primary and secondary\n"
    "colours (#RRGGBBAA), and the favourite tags. Without a database the\n"
    "built-in tables are shown.";

std::string hex(const lx::Color& color) {
  const auto byte = [](double v) { return static_cast<unsigned>(std::lround(v * 255)); };
  char text[16];
  std::snprintf(text, sizeof text, "#%02X%02X%02X%02X", byte(color.red()), byte(color.green()),
                byte(color.blue()), byte(color.alpha()));
  return text;
}

int run(Arguments args) {
  if (!args.empty()) {
    return usageError(Command{"tags", "", kUsage, nullptr}, "tags takes no arguments");
  }
  const auto manager = lx::LXTagManager::sharedInstance();
  std::cout << "database: " << lx::toUTF8(lx::LXTagManager::databasePath())
            << (lx::LXTagManager::canAccessTagMetadata() ? " (readable)" : " (not readable)")
            << "\ntags:\n";
  for (const auto& [name, index] : manager->tagToColorIndex()) {
    std::cout << "  " << lx::toUTF8(name.view()) << "\t" << index.int64Value() << "\t";
    try {
      lx::Color secondary;
      const lx::Color primary = manager->colorForTag(name.view(), &secondary);
      std::cout << hex(primary) << " " << hex(secondary) << "\n";
    } catch (const lx::RangeException&) {
      std::cout << "(no such label colour)\n";
    }
  }
  std::cout << "favourites:";
  for (const lx::String& name : manager->favoriteTags()) std::cout << " " << lx::toUTF8(name);
  std::cout << "\n";
  return 0;
}

}  // namespace

VANTOR_COMMAND("tags", "the file tags, label colours and favourites of this user", kUsage, run);

}  // namespace vantor
