// The HTTP and ISO 8601 date parsers on arbitrary text: a date or absent,
// never a crash; a parsed HTTP date writes back as an HTTP date.
#include <cstdint>
#include <cstdlib>

#include "vantorcore/text/Date+Conversions.h"
#include "vantorcore/text/LXISO8601WithUTCDateFormatter.h"
#include "vantorcore/text/LXRFC2616DateFormatter.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const lx::String text = lx::fromUTF8(std::string_view(reinterpret_cast<const char*>(data), size));
  if (auto date = lx::LXRFC2616DateFormatter::defaultFormatter()->dateFromString(text)) {
    (void)lx::lx_rfc1123String(*date);
  }
  (void)lx::LXISO8601WithUTCDateFormatter::defaultFormatter()->dateFromString(text);
  return 0;
}
