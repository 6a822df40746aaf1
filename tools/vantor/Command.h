// Subcommands of the `vantor` tool. Each source file registers its own
// subcommand with VANTOR_COMMAND, so adding one never touches main().
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vantor {

/// Arguments after the subcommand name.
using Arguments = std::span<const std::string>;

struct Command {
  std::string name;
  std::string summary;  // one line for `vantor --help`
  std::string usage;    // the full text for `vantor <name> --help`
  int (*run)(Arguments args);
};

/// Registers a subcommand; called from static initialisers.
bool registerCommand(Command command);
/// All subcommands, sorted by name.
const std::vector<Command>& commands();

/// True when `args` asks for help ("--help" or "-h" anywhere).
bool wantsHelp(Arguments args);
/// Prints `message` and the usage to standard error; returns exit status 2.
int usageError(const Command& command, std::string_view message);

}  // namespace vantor

#define VANTOR_CONCAT_INNER(a, b) a##b
#define VANTOR_CONCAT(a, b) VANTOR_CONCAT_INNER(a, b)
/// Registers a subcommand from a source file of the tool.
#define VANTOR_COMMAND(...)                                           \
  [[maybe_unused]] static const bool VANTOR_CONCAT(vantorCommand_, __LINE__) = \
      ::vantor::registerCommand(::vantor::Command{__VA_ARGS__})
