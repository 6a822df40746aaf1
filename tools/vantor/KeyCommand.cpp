// `vantor key parse|format TEXT...`: key combinations in every form.
#include <iostream>
#include <string>

#include "Command.h"
#include "StreamIO.h"
#include "vantorcore/drawing/KeyCombination.h"

namespace {

constexpr char kUsage[] =
    "usage: vantor key parse|format TEXT...\n\n"
    "Reads each TEXT as a key combination in any form: a GTK accelerator\n"
    "('<Control><Shift>k'), the display form ('Ctrl+Shift+K') or symbols\n"
    "('⌃⇧⌘K').\n"
    "  parse   prints one line per form: accelerator, display, symbols, xkb\n"
    "          (the key's XKB name) and keysym (hex)\n"
    "  format  prints the display form only";

int run(vantor::Arguments args) {
  const vantor::Command self{"key", "", kUsage, nullptr};
  if (args.empty() || (args[0] != "parse" && args[0] != "format")) {
    return vantor::usageError(self, "parse or format?");
  }
  if (args.size() < 2) return vantor::usageError(self, "which key combination?");
  int status = 0;
  for (std::size_t i = 1; i < args.size(); ++i) {
    lx::ErrorPtr error;
    const auto key = lx::KeyCombination::parse(lx::fromUTF8(args[i]), &error);
    if (!key) {
      status = vantor::fail("key", lx::toUTF8(error->localizedDescription()));
      continue;
    }
    if (args[0] == "format") {
      std::cout << lx::toUTF8(key->displayString()) << "\n";
      continue;
    }
    char keysym[16];
    std::snprintf(keysym, sizeof keysym, "0x%X", key->keysym());
    std::cout << "accelerator: " << lx::toUTF8(key->acceleratorString()) << "\n"
              << "display: " << lx::toUTF8(key->displayString()) << "\n"
              << "symbols: " << lx::toUTF8(key->symbolString()) << "\n"
              << "xkb: " << key->xkbKeyName() << "\n"
              << "keysym: " << keysym << "\n";
  }
  return status;
}

}  // namespace

VANTOR_COMMAND("key", "Parse and format key combinations (GTK, display and symbol forms)", kUsage,
               run);
