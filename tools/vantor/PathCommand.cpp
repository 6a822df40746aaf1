// `vantor path`: the library's path operations on the command line.
#include <functional>
#include <iostream>
#include <map>
#include <unordered_set>

#include "Command.h"
#include "vantorcore/platform/String+Paths.h"
#include "vantorcore/text/String+PathAdditions.h"

namespace vantor {
namespace {

using lx::String;

constexpr const char* kUsage =
    "usage: vantor path <operation> <arguments>\n"
    "\n"
    "Operations on each PATH:\n"
    "  extension PATH...          last extension ('a.tar.gz' => 'gz')\n"
    "  delete-extension PATH...   without the last extension\n"
    "  all-extensions PATH...     every extension ('a.tar.gz' => 'tar.gz')\n"
    "  standardize PATH...        '.' and '..' folded, textually\n"
    "  abbreviate PATH...         the home directory replaced by '~'\n"
    "  expand PATH...             a leading '~' replaced by the home directory\n"
    "Operations with fixed arguments:\n"
    "  rebase FROM TO PATH...     PATH moved from under FROM to under TO\n"
    "  common-prefix A B          the leading components A and B share\n"
    "  is-child CHILD PARENT      'yes' or 'no' (exit status 0 or 1)\n"
    "  unique-name NAME EXISTING...  NAME, or a numbered variant not among EXISTING";

String arg(const std::string& text) { return lx::stringWithFileSystemRepresentation(text); }
void print(const String& text) { std::cout << lx::fileSystemRepresentation(text) << "\n"; }

const Command& self();

// Operations that map each path to one line.
const std::map<std::string, std::function<String(const String&)>>& perPathOperations() {
  static const std::map<std::string, std::function<String(const String&)>> operations = {
      {"extension", [](const String& p) { return lx::lx_pathExtension(p); }},
      {"delete-extension", [](const String& p) { return lx::lx_stringByDeletingPathExtension(p); }},
      {"all-extensions", [](const String& p) { return lx::lx_allPathExtensions(p); }},
      {"standardize", [](const String& p) { return lx::lx_stringByStandardizingUnixPath(p); }},
      {"abbreviate",
       [](const String& p) { return lx::lx_stringByAbbreviatingWithUserHomeTildeInPath(p); }},
      {"expand",
       [](const String& p) { return lx::lx_stringByExpandingTildeInPathToUserHomeDirectory(p); }},
  };
  return operations;
}

int rebase(Arguments args) {
  if (args.size() < 3) return usageError(self(), "rebase needs FROM, TO and at least one PATH");
  int status = 0;
  for (const auto& path : args.subspan(2)) {
    if (auto rebased = lx::lx_stringByRebasingPathFromRoot(arg(path), arg(args[0]), arg(args[1]))) {
      print(*rebased);
    } else {
      std::cerr << "vantor path: '" << path << "' is not under '" << args[0] << "'\n";
      status = 1;
    }
  }
  return status;
}

int run(Arguments args) {
  if (args.empty()) return usageError(self(), "missing operation");
  const std::string& operation = args[0];
  const Arguments rest = args.subspan(1);
  if (auto it = perPathOperations().find(operation); it != perPathOperations().end()) {
    if (rest.empty()) return usageError(self(), operation + " needs at least one PATH");
    for (const auto& path : rest) print(it->second(arg(path)));
    return 0;
  }
  if (operation == "rebase") return rebase(rest);
  if (operation == "common-prefix") {
    if (rest.size() != 2) return usageError(self(), "common-prefix needs exactly A and B");
    print(lx::lx_commonPathPrefix(arg(rest[0]), arg(rest[1])));
    return 0;
  }
  if (operation == "is-child") {
    if (rest.size() != 2) return usageError(self(), "is-child needs exactly CHILD and PARENT");
    const bool child = lx::lx_isChildOfPath(arg(rest[0]), arg(rest[1]));
    std::cout << (child ? "yes" : "no") << "\n";
    return child ? 0 : 1;
  }
  if (operation == "unique-name") {
    if (rest.empty()) return usageError(self(), "unique-name needs NAME");
    std::unordered_set<String> existing;
    for (const auto& name : rest.subspan(1)) existing.insert(arg(name));
    print(lx::lx_stringUniqueToSet(arg(rest[0]), existing));
    return 0;
  }
  return usageError(self(), "unknown operation '" + operation + "'");
}

const Command& self() {
  static const Command command{"path", "path and file-name operations", kUsage, run};
  return command;
}

}  // namespace

VANTOR_COMMAND(self());

}  // namespace vantor
