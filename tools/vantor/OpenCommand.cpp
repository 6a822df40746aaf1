// `vantor open URL`: hands a URL to the application that handles its scheme.
#include "Command.h"
#include "StreamIO.h"
#include "vantorcore/platform/GIOURLOpener.h"

namespace {

constexpr char kUsage[] =
    "usage: vantor open URL\n\n"
    "Opens URL in the default application of its scheme (desktop files with\n"
    "x-scheme-handler/<scheme>), through the session bus for D-Bus-activatable\n"
    "applications. Exit status 1 when no application handles the scheme, there\n"
    "is no session bus to reach it, or it cannot be started.";

int run(vantor::Arguments args) {
  const vantor::Command self{"open", "", kUsage, nullptr};
  if (args.size() != 1) return vantor::usageError(self, "which URL?");
  const auto url = lx::URL::URLWithString(lx::fromUTF8(args[0]));
  if (!url || !url->scheme()) return vantor::fail("open", "not an absolute URL: " + args[0]);
  lx::ErrorPtr error;
  if (!lx::GIOURLOpener().openURL(*url, &error))
    return vantor::fail("open", lx::toUTF8(error->localizedDescription()));
  return 0;
}

}  // namespace

VANTOR_COMMAND("open", "Open a URL in the application that handles its scheme", kUsage, run);
