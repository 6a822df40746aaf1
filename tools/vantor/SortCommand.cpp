// `vantor sort --natural|--version`: sorts the lines of standard input in
// the file browser's natural order or in version order.
#include <algorithm>
#include <string>

#include "Command.h"
#include "StreamIO.h"
#include "vantorcore/platform/Collator.h"
#include "vantorcore/text/String+Collation.h"

namespace {

constexpr char kUsage[] =
    "usage: vantor sort --natural|--version [--reverse]\n\n"
    "Sorts the lines of standard input (UTF-8) and writes them to standard\n"
    "output. --natural: numbers by value, case and width ignored (the default\n"
    "locale's collator, through sort keys). --version: version order (text <\n"
    "separator < number, pre-release suffixes first). Equal lines keep their\n"
    "order.";

std::vector<std::string> lines(const std::vector<std::uint8_t>& in) {
  std::vector<std::string> out;
  std::string_view rest(reinterpret_cast<const char*>(in.data()), in.size());
  while (!rest.empty()) {
    const std::size_t end = rest.find('\n');
    out.emplace_back(rest.substr(0, end));
    if (end == std::string_view::npos) break;
    rest.remove_prefix(end + 1);
  }
  return out;
}

int run(vantor::Arguments args) {
  const vantor::Command self{"sort", "", kUsage, nullptr};
  bool natural = false, version = false, reverse = false;
  for (const std::string& a : args) {
    if (a == "--natural") {
      natural = true;
    } else if (a == "--version") {
      version = true;
    } else if (a == "--reverse" || a == "-r") {
      reverse = true;
    } else {
      return vantor::usageError(self, "unknown argument '" + a + "'");
    }
  }
  if (natural == version) return vantor::usageError(self, "--natural or --version?");
  std::vector<std::uint8_t> in;
  if (!vantor::readAll(0, in)) return vantor::fail("sort", "cannot read standard input");
  const std::vector<std::string> text = lines(in);
  std::vector<lx::String> strings;
  strings.reserve(text.size());
  for (const auto& line : text) strings.push_back(lx::fromUTF8(line));
  std::vector<std::size_t> order(text.size());
  for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
  if (natural) {
    const auto collator = lx::Collator::localizedStandardCollator();
    if (!collator) return vantor::fail("sort", "no collator for the current locale");
    std::vector<lx::Data> keys;
    keys.reserve(strings.size());
    for (const auto& s : strings) keys.push_back(collator->sortKey(s));
    std::stable_sort(order.begin(), order.end(),
                     [&](std::size_t a, std::size_t b) { return keys[a] < keys[b]; });
  } else {
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
      return lx::lx_versionCompare(strings[a], strings[b]) == lx::ComparisonResult::Ascending;
    });
  }
  if (reverse) std::reverse(order.begin(), order.end());
  std::string out;
  out.reserve(in.size() + 1);
  for (const std::size_t i : order) {
    out += text[i];
    out += '\n';
  }
  return vantor::writeOut(out) ? 0 : vantor::fail("sort", "cannot write standard output");
}

}  // namespace

VANTOR_COMMAND("sort", "natural or version-order sorting of lines", kUsage, run);
