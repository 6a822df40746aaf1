// Feeds arbitrary bytes to the JSON reader. For any input: no crash, hang or
// unbounded recursion; a document that reads writes back (compact and
// pretty) to text that reads to an equal value, and the writer's output is
// always valid UTF-8.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "vantorcore/platform/JSON.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(bytes), size);
  for (unsigned options : {0u, unsigned(lx::JSONReadingFragmentsAllowed)}) {
    lx::ErrorPtr error;
    const auto value = lx::JSONSerialization::JSONObjectWithData(text, options, &error);
    if (!value) {
      if (!error) std::abort();
      continue;
    }
    for (unsigned write : {unsigned(lx::JSONWritingFragmentsAllowed),
                           unsigned(lx::JSONWritingFragmentsAllowed | lx::JSONWritingPrettyPrinted |
                                    lx::JSONWritingSortedKeys)}) {
      const auto written = lx::JSONSerialization::stringWithJSONObject(*value, write);
      if (!written || !lx::isValidUTF8(*written)) std::abort();
      const auto reread =
          lx::JSONSerialization::JSONObjectWithData(*written, lx::JSONReadingFragmentsAllowed);
      if (!reread || !(*reread == *value)) std::abort();
    }
  }
  return 0;
}
