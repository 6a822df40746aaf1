#include "vantorcore/text/String+Substrings.h"

namespace lx {
namespace {

// The forward search from `from` to the end of the string; not found when
// `from` lies past the end.
Range searchFrom(StringView string, StringView needle, unsigned options, std::size_t from) {
  if (from > string.size()) return Range{};
  return rangeOfString(string, needle, options, Range{from, string.size() - from});
}

}  // namespace

bool lx_containsString(StringView string, const std::optional<String>& other, unsigned options) {
  return other && rangeOfString(string, *other, options).found();
}

std::size_t lx_numberOfInstancesOfString(StringView string, StringView other, unsigned options) {
  options &= ~unsigned{BackwardsSearch};
  std::size_t count = 0;
  for (Range match = searchFrom(string, other, options, 0); match.found() && match.length > 0;
       match = searchFrom(string, other, options, match.end())) {
    ++count;
  }
  return count;
}

Range lx_rangeOfSubstringDelimitedByString(StringView string, StringView open, StringView close,
                                           unsigned options, Range range) {
  options &= ~unsigned{BackwardsSearch | AnchoredSearch};
  const Range first = searchFrom(string, open, options, range.location);
  if (!first.found()) return Range{};
  const Range second = searchFrom(string, close, options, first.end());
  return Range{first.end(), second.location - first.end()};
}

}  // namespace lx
