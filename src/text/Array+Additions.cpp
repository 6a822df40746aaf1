#include "vantorcore/text/Array+Additions.h"

namespace lx {

std::vector<Range> lx_coalesceRanges(const std::vector<Range>& ranges) {
  if (ranges.empty()) return ranges;
  std::vector<Range> result{ranges.front()};
  for (auto n = ranges.begin() + 1; n != ranges.end(); ++n) {
    std::size_t j = 0;
    for (; j < result.size(); ++j) {
      const Range r = result[j];
      if (n->location < r.location) {
        if (n->end() >= r.location) {
          result[j] = Range{n->location, std::max(n->end(), r.end()) - n->location};
        } else {
          result.insert(result.begin() + j, *n);
        }
        break;
      }
      if (n->location <= r.end()) {
        result[j] = Range{r.location, std::max(n->end(), r.end()) - r.location};
        break;
      }
    }
    if (j == result.size()) result.push_back(*n);
  }
  return result;
}

Array arrayByEnumerating(const Dictionary& dictionary) {
  Array keys;
  keys.reserve(dictionary.size());
  for (const auto& [key, value] : dictionary) keys.emplace_back(key);
  return keys;
}

namespace detail {

void throwRemoveToIndexRange(std::size_t count) {
  // The platform computes the length as index - 1 in unsigned arithmetic.
  throw RangeException(stringWithFormat(u"range {0, %llu} extends beyond bounds [0 .. %llu]",
                                        static_cast<unsigned long long>(SIZE_MAX),
                                        static_cast<unsigned long long>(count - 1)));
}

}  // namespace detail

}  // namespace lx
