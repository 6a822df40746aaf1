// Version comparison on arbitrary UTF-16 pairs: antisymmetric, reflexive,
// and never a crash.
#include <cstdint>
#include <cstdlib>

#include "vantorcore/text/String+Collation.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  lx::String all(size / 2, u'\0');
  for (std::size_t i = 0; i < all.size(); ++i)
    all[i] = static_cast<char16_t>(data[2 * i] | (data[2 * i + 1] << 8));
  const std::size_t cut = all.find(u'|');
  const lx::String a = all.substr(0, cut);
  const lx::String b = cut == lx::String::npos ? lx::String() : all.substr(cut + 1);
  const auto ab = static_cast<int>(lx::lx_versionCompare(a, b));
  const auto ba = static_cast<int>(lx::lx_versionCompare(b, a));
  if (ab != -ba || lx::lx_versionCompare(a, a) != lx::ComparisonResult::Same) std::abort();
  (void)lx::lx_stringByHFSExtendedFolding(a);
  return 0;
}
