#include <algorithm>
#include <array>

#include "vantorcore/text/Data+BOM.h"

namespace lx {
namespace {
constexpr std::array<std::uint8_t, 3> kUTF8BOM = {0xEF, 0xBB, 0xBF};
}  // namespace

bool lx_hasUTF8BOM(DataView data) noexcept {
  return data.size() >= kUTF8BOM.size() &&
         std::equal(kUTF8BOM.begin(), kUTF8BOM.end(), data.begin());
}

Data lx_dataWithUTF8BOM(DataView data) {
  Data out;
  if (!lx_hasUTF8BOM(data)) {
    out.reserve(data.size() + kUTF8BOM.size());
    out.assign(kUTF8BOM.begin(), kUTF8BOM.end());
  }
  out.insert(out.end(), data.begin(), data.end());
  return out;
}

}  // namespace lx
