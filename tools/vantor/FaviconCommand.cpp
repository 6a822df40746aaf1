// `vantor favicon URL [-o FILE.png] [--size N] [--timeout S]`: the icon
// of a web site, fetched (or taken from the cache) and written as a PNG.
#include <cmath>
#include <cstdlib>
#include <iostream>
#include <string>

#include "Command.h"
#include "StreamIO.h"
#include "vantorcore/drawing/FaviconLoader.h"
#include "vantorcore/drawing/IconDecoder.h"
#include "vantorcore/platform/RunLoop.h"

namespace {

constexpr char kUsage[] =
    "usage: vantor favicon URL [-o FILE.png] [--size N] [--timeout S]\n\n"
    "Finds the icon of the web site of URL (the page's <link rel=\"icon\">,\n"
    "\"shortcut icon\" or \"apple-touch-icon\", else /favicon.ico), scales it to\n"
    "N x N pixels (default 32, at most 2048) and writes it to FILE.png (default\n"
    "favicon.png). Icons are cached under $XDG_CACHE_HOME/vantorcore/favicons for\n"
    "a week. S is each request's idle time-out in seconds (default 15).\n"
    "Exit status 1 when the site has no icon or cannot be reached.";

// The error's description, and the one under it that says why.
std::string explain(const lx::ErrorPtr& error) {
  std::string text = lx::toUTF8(error->localizedDescription());
  if (const lx::Value* under = error->userInfo().find(lx::NSUnderlyingErrorKey)) {
    if (auto cause = under->objectAs<lx::Error>())
      text += " (" + lx::toUTF8(cause->localizedDescription()) + ")";
  }
  return text;
}

bool readNumber(const std::string& text, double& out) {
  char* end = nullptr;
  out = std::strtod(text.c_str(), &end);
  return !text.empty() && *end == '\0' && std::isfinite(out) && out > 0;
}

int run(vantor::Arguments args) {
  const vantor::Command self{"favicon", "", kUsage, nullptr};
  std::string address, output = "favicon.png";
  double size = 32, timeout = lx::FaviconLoader::kDefaultTimeout;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (a == "-o" || a == "--size" || a == "--timeout") {
      if (i + 1 >= args.size()) return vantor::usageError(self, a + " needs a value");
      const std::string& value = args[++i];
      if (a == "-o") {
        output = value;
      } else if (!readNumber(value, a == "--size" ? size : timeout) ||
                 (a == "--size" && (size != std::floor(size) || size > lx::kMaximumIconSide))) {
        return vantor::usageError(self, "bad value '" + value + "' for " + a);
      }
    } else if (address.empty() && a.rfind("-", 0) != 0) {
      address = a;
    } else {
      return vantor::usageError(self, "unexpected argument '" + a + "'");
    }
  }
  if (address.empty()) return vantor::usageError(self, "which URL?");
  const auto url = lx::URL::URLWithString(lx::fromUTF8(address));
  if (!url) return vantor::fail("favicon", "not a URL: " + address);

  auto loader = lx::FaviconLoader::make(lx::FaviconCache(), timeout);
  std::optional<lx::ImageSurface> icon;
  lx::ErrorPtr error;
  bool done = false;
  loader->loadFavicon(*url, static_cast<int>(size),
                      [&](std::optional<lx::ImageSurface> result, lx::ErrorPtr failure) {
                        icon = std::move(result);
                        error = std::move(failure);
                        done = true;
                      });
  // The completion arrives on the main queue, which this thread's loop drains.
  while (!done) lx::RunLoop::main()->runMode(lx::DefaultRunLoopMode, lx::Date::distantFuture());
  if (!icon) return vantor::fail("favicon", explain(error));
  if (!icon->writePNG(output, &error)) {
    return vantor::fail("favicon", lx::toUTF8(error->localizedDescription()));
  }
  std::cout << output << ": " << icon->width() << " x " << icon->height() << "\n";
  return 0;
}

}  // namespace

VANTOR_COMMAND("favicon", "Fetch the icon of a web site and write it as a PNG", kUsage, run);
