// `vantor sysver`: system-version strings in canonical form, compared, or
// the running system's own.
#include <iostream>

#include "Command.h"
#include "StreamIO.h"
#include "vantorcore/files/LXSystemVersion.h"
#include "vantorcore/platform/ProcessInfo.h"

namespace vantor {
namespace {

using lx::LXSystemVersion;

constexpr char kUsage[] =
    "usage: vantor sysver [VERSION...]\n"
    "       vantor sysver compare A B\n\n"
    "With versions, prints the canonical form of each (\"1.2a3b4\" => \"1.2b4a3\",\n"
    "\"10.0.0\" => \"10\"); parsing warnings go to standard error. Without, prints\n"
    "the running system's version (VERSION_ID of os-release) and its three\n"
    "numbers; exit 1 when the system names none. `compare` prints A, \"<\", \"=\"\n"
    "or \">\", and B in canonical form.";

const Command& self() {
  static const Command command{"sysver", "", kUsage, nullptr};
  return command;
}

std::string canonical(const std::string& text) {
  return lx::toUTF8(LXSystemVersion::systemVersionWithString(lx::fromUTF8(text))->string());
}

int run(Arguments args) {
  if (!args.empty() && args[0] == "compare") {
    if (args.size() != 3) return usageError(self(), "compare takes two versions");
    const auto a = LXSystemVersion::systemVersionWithString(lx::fromUTF8(args[1]));
    const auto b = LXSystemVersion::systemVersionWithString(lx::fromUTF8(args[2]));
    const int order = a->compare(*b);
    std::cout << lx::toUTF8(a->string())
              << (order < 0   ? " < "
                  : order > 0 ? " > "
                              : " = ")
              << lx::toUTF8(b->string()) << "\n";
    return 0;
  }
  if (args.empty()) {
    const auto current = LXSystemVersion::currentSystemVersion();
    if (!current) return fail("sysver", "os-release names no VERSION_ID");
    const auto numbers = lx::ProcessInfo::operatingSystemVersion();
    std::cout << lx::toUTF8(current->string()) << " (" << numbers.majorVersion << "."
              << numbers.minorVersion << "." << numbers.patchVersion << ")\n";
    return 0;
  }
  for (const std::string& a : args) std::cout << canonical(a) << "\n";
  return 0;
}

}  // namespace

VANTOR_COMMAND("sysver", "canonical system versions, comparisons, the running system's", kUsage,
               run);

}  // namespace vantor
