#include "vantorcore/text/Scanner+Additions.h"

namespace lx {

namespace {

// Leaves the scanner at `location` and hands out [from, to) when it is not empty.
bool finish(Scanner& scanner, std::size_t location, std::size_t from, std::size_t to,
            String* into) {
  scanner.setScanLocation(location);
  if (to <= from) return false;
  if (into) *into = scanner.string().substr(from, to - from);
  return true;
}

unsigned caseOptions(const Scanner& scanner) {
  return LiteralSearch | (scanner.caseSensitive() ? 0u : CaseInsensitiveSearch);
}

}  // namespace

bool scanNextCharacterFromSet(Scanner& scanner, const std::optional<CharacterSet>& set,
                              String* into) {
  const std::size_t at = scanner.scanLocation();
  if (!set || at >= scanner.string().size() || !set->contains(scanner.string()[at])) return false;
  return finish(scanner, at + 1, at, at + 1, into);
}

bool scanNextString(Scanner& scanner, StringView string, String* into) {
  const String& text = scanner.string();
  const std::size_t at = scanner.scanLocation();
  if (string.size() > text.size() - at) return false;
  const StringView next = StringView(text).substr(at, string.size());
  if (compare(next, string, caseOptions(scanner)) != ComparisonResult::Same) return false;
  if (into) *into = String(next);
  scanner.setScanLocation(at + string.size());
  return true;
}

bool scanBackwardNextCharacterFromSet(Scanner& scanner, const CharacterSet& set, String* into) {
  const std::size_t at = scanner.scanLocation();
  if (at == 0) return false;
  const bool member = set.contains(scanner.string()[at - 1]);
  return finish(scanner, at - 1, at - 1, member ? at : at - 1, into);
}

bool scanBackwardCharactersFromSet(Scanner& scanner, const CharacterSet& set, String* into) {
  const std::size_t at = scanner.scanLocation();
  std::size_t i = at;
  while (i > 0 && set.contains(scanner.string()[i - 1])) --i;
  return finish(scanner, i, i, at, into);
}

bool scanBackwardUpToCharactersFromSet(Scanner& scanner, const CharacterSet& set, String* into) {
  const String& text = scanner.string();
  const std::size_t at = scanner.scanLocation();
  std::size_t i = at;
  while (i > 0 && !set.contains(text[i - 1])) --i;
  if (i > 0 && i == text.size()) return false;
  return finish(scanner, i, i, at, into);
}

bool scanBackwardUpToString(Scanner& scanner, StringView string, String* into) {
  const std::size_t at = scanner.scanLocation();
  const Range match = at == 0 ? Range{}
                              : rangeOfString(scanner.string(), string,
                                              caseOptions(scanner) | BackwardsSearch, Range{0, at});
  const std::size_t from = match.found() ? match.end() : 0;
  scanner.setScanLocation(from);
  const bool scanned = !match.found() || match.location + (at - from) != 0;
  if (scanned && into) *into = scanner.string().substr(from, at - from);
  return scanned;
}

bool scanPastCharactersFromSet(Scanner& scanner, const CharacterSet& set) {
  const std::size_t at = scanner.scanLocation();
  std::size_t i = at;
  while (i < scanner.string().size() && set.contains(scanner.string()[i])) ++i;
  return finish(scanner, i, at, i, nullptr);
}

}  // namespace lx
