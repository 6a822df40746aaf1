#include <algorithm>

#include "vantorcore/text/Data+Compare.h"

namespace lx {

bool lx_hasPrefix(DataView data, DataView prefix) noexcept {
  return !prefix.empty() && prefix.size() <= data.size() &&
         std::equal(prefix.begin(), prefix.end(), data.begin());
}

bool lx_hasSuffix(DataView data, DataView suffix) noexcept {
  return !suffix.empty() && suffix.size() <= data.size() &&
         std::equal(suffix.begin(), suffix.end(),
                    data.end() - static_cast<std::ptrdiff_t>(suffix.size()));
}

}  // namespace lx
