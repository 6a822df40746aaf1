// `vantor json`: pretty-prints, compacts or validates JSON from standard input.
#include <iostream>
#include <iterator>
#include <string>

#include "Command.h"
#include "vantorcore/platform/JSON.h"

namespace {

int runJSON(vantor::Arguments args);

const vantor::Command kCommand{
    "json", "pretty-print, compact or validate JSON from standard input",
    "usage: vantor json [--pretty | --compact | --validate] [--sort-keys]\n"
    "\n"
    "Reads one JSON document from standard input and writes it to standard output,\n"
    "pretty-printed (the default) or compact; --validate writes nothing and only\n"
    "sets the exit status. --sort-keys orders object members by key. Top-level\n"
    "strings, numbers, booleans and null are accepted.\n"
    "\n"
    "Exit status: 0 for a valid document, 1 for invalid JSON (the reason goes to\n"
    "standard error), 2 for a usage error.",
    runJSON};

int runJSON(vantor::Arguments args) {
  enum class Mode { Pretty, Compact, Validate } mode = Mode::Pretty;
  unsigned options = lx::JSONWritingFragmentsAllowed | lx::JSONWritingWithoutEscapingSlashes;
  for (const std::string& arg : args) {
    if (arg == "--pretty") {
      mode = Mode::Pretty;
    } else if (arg == "--compact") {
      mode = Mode::Compact;
    } else if (arg == "--validate") {
      mode = Mode::Validate;
    } else if (arg == "--sort-keys") {
      options |= lx::JSONWritingSortedKeys;
    } else {
      return vantor::usageError(kCommand, "unknown argument '" + arg + "'");
    }
  }
  const std::string input((std::istreambuf_iterator<char>(std::cin)),
                          std::istreambuf_iterator<char>());
  lx::ErrorPtr error;
  const auto value =
      lx::JSONSerialization::JSONObjectWithData(input, lx::JSONReadingFragmentsAllowed, &error);
  if (!value) {
    std::cerr << "vantor json: invalid JSON: "
              << lx::toUTF8(lx::stringOr(&error->userInfo()[u"NSDebugDescription"])) << "\n";
    return 1;
  }
  if (mode == Mode::Validate) return 0;
  if (mode == Mode::Pretty) options |= lx::JSONWritingPrettyPrinted;
  const auto text = lx::JSONSerialization::stringWithJSONObject(*value, options, &error);
  if (!text) {
    std::cerr << "vantor json: cannot write the document\n";
    return 1;
  }
  std::cout << *text << "\n";
  return 0;
}

}  // namespace

VANTOR_COMMAND(kCommand);
