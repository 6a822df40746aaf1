// LXSystemVersion parsing on arbitrary UTF-16 pairs: the canonical form
// parses back to itself, comparison is antisymmetric and reflexive, and
// nothing crashes.
#include <cstdint>
#include <cstdlib>

#include "vantorcore/files/LXSystemVersion.h"
#include "vantorcore/platform/Log.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto quiet = lx::discardLogLines();  // the warnings are expected
  (void)quiet;
  lx::String all(size / 2, u'\0');
  for (std::size_t i = 0; i < all.size(); ++i) {
    all[i] = static_cast<char16_t>(data[2 * i] | (data[2 * i + 1] << 8));
  }
  const std::size_t cut = all.find(u'|');
  const auto a = lx::LXSystemVersion::systemVersionWithString(all.substr(0, cut));
  const auto b = lx::LXSystemVersion::systemVersionWithString(
      cut == lx::String::npos ? lx::String() : all.substr(cut + 1));
  const auto again = lx::LXSystemVersion::systemVersionWithString(a->string());
  if (again->string() != a->string() || again->compare(*a) != 0) std::abort();
  if (a->compare(*b) != -b->compare(*a) || a->compare(*a) != 0) std::abort();
  if (a->components().empty() ||
      (a->components().size() > 1 &&
       a->components().back().find_first_not_of(u'0') == lx::String::npos)) {
    std::abort();
  }
  return 0;
}
