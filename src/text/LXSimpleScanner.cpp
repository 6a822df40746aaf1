#include "vantorcore/text/LXSimpleScanner.h"

namespace lx {

bool LXSimpleScanner::scanRun(const CharacterSet& set, bool members, String* into) {
  const std::size_t start = location_;
  std::size_t i = start;
  while (i < end_ && set.contains(string_[i]) == members) ++i;
  if (i == start) return false;
  if (into) *into = string_.substr(start, i - start);
  location_ = i;
  return true;
}

bool LXSimpleScanner::scanCharactersFromSet(const CharacterSet& set, String* into) {
  return scanRun(set, true, into);
}

bool LXSimpleScanner::scanUpToCharactersFromSet(const CharacterSet& set, String* into) {
  return scanRun(set, false, into);
}

bool LXSimpleScanner::scanString(StringView string, String* into) {
  if (location_ >= end_ || string.size() >= end_ - location_) return false;
  if (StringView(string_).substr(location_, string.size()) != string) return false;
  if (into) *into = String(string);
  location_ += string.size();
  return true;
}

}  // namespace lx
