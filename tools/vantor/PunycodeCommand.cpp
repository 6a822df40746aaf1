// `vantor punycode HOST-OR-URL`: the ASCII-compatible form of a host name,
// or of the host inside a URL.
#include <iostream>

#include "Command.h"
#include "StreamIO.h"
#include "vantorcore/text/String+PunyCode.h"

namespace {

constexpr char kUsage[] =
    "usage: vantor punycode HOST-OR-URL...\n\n"
    "Prints each host name in its ASCII-compatible (\"xn--\") form. An argument\n"
    "containing \"://\" is taken as a URL and only its host is converted; a URL\n"
    "that does not parse afterwards is an error (exit 1).";

int run(vantor::Arguments args) {
  const vantor::Command self{"punycode", "", kUsage, nullptr};
  if (args.empty()) return vantor::usageError(self, "which host or URL?");
  int status = 0;
  for (const std::string& a : args) {
    const lx::String text = lx::fromUTF8(a);
    if (a.find("://") == std::string::npos) {
      std::cout << lx::toUTF8(lx::lx_punyCode(text)) << "\n";
    } else if (const auto url = lx::lx_URLWithString(lx::StringView(text))) {
      std::cout << lx::toUTF8(url->absoluteString()) << "\n";
    } else {
      status = vantor::fail("punycode", "not a URL after conversion: " + a);
    }
  }
  return status;
}

}  // namespace

VANTOR_COMMAND("punycode", "ASCII-compatible form of international host names", kUsage, run);
