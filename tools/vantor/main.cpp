// vantor: a command-line front end over VantorCore. Each subcommand is a thin
// call into the library; see `vantor --help`.
#include <algorithm>
#include <cstdio>
#include <iostream>

#include "Command.h"

namespace vantor {

namespace {
std::vector<Command>& registry() {
  static std::vector<Command> list;
  return list;
}
}  // namespace

bool registerCommand(Command command) {
  auto& list = registry();
  list.push_back(std::move(command));
  std::sort(list.begin(), list.end(),
            [](const Command& a, const Command& b) { return a.name < b.name; });
  return true;
}

const std::vector<Command>& commands() { return registry(); }

bool wantsHelp(Arguments args) {
  return std::any_of(args.begin(), args.end(),
                     [](const std::string& a) { return a == "--help" || a == "-h"; });
}

int usageError(const Command& command, std::string_view message) {
  std::cerr << "vantor " << command.name << ": " << message << "\n\n" << command.usage << "\n";
  return 2;
}

}  // namespace vantor

namespace {
void printOverview(std::ostream& out) {
  out << "usage: vantor <command> [arguments]\n\n"
         "VantorCore's command-line tool. Commands:\n";
  for (const auto& c : vantor::commands()) {
    out << "  " << c.name << std::string(c.name.size() < 12 ? 12 - c.name.size() : 1, ' ')
        << c.summary << "\n";
  }
  out << "\n`vantor <command> --help` describes a command.\n";
}
}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    printOverview(std::cerr);
    return 2;
  }
  const std::string name = argv[1];
  if (name == "--help" || name == "-h" || name == "help") {
    printOverview(std::cout);
    return 0;
  }
  const std::vector<std::string> args(argv + 2, argv + argc);
  for (const auto& c : vantor::commands()) {
    if (c.name != name) continue;
    if (vantor::wantsHelp(args)) {
      std::cout << c.usage << "\n";
      return 0;
    }
    return c.run(args);
  }
  std::cerr << "vantor: unknown command '" << name << "'\n\n";
  printOverview(std::cerr);
  return 2;
}
