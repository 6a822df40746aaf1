// Feeds arbitrary bytes to the JSON reader. For any input: no crash, hang or
// unbounded recursion; a refusal says where ("... at byte N", N within the
// input) unless it is the fragments rule; a document that reads writes back
// (compact and pretty) to text that reads to an equal value, and the
// writer's output is always valid UTF-8; changing a copy of a parsed value
// leaves the document as it was.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "vantorcore/platform/JSON.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(bytes), size);
  for (unsigned options : {0u, unsigned(lx::JSONReadingFragmentsAllowed)}) {
    lx::ErrorPtr error;
    const auto value = lx::JSONSerialization::JSONObjectWithData(text, options, &error);
    if (!value) {
      if (!error) std::abort();
      const std::string why = lx::toUTF8(lx::stringOr(&error->userInfo()[u"NSDebugDescription"]));
      const std::size_t at = why.rfind(" at byte ");
      if (at != std::string::npos && std::stoull(why.substr(at + 9)) > size) std::abort();
      if (at == std::string::npos && why.rfind("JSON text did not start", 0) != 0) std::abort();
      continue;
    }
    lx::Value copy = *value;
    if (lx::Array* array = copy.asArray()) {
      array->push_back(true);
      if (value->asArray()->size() + 1 != array->size()) std::abort();
    } else if (lx::Dictionary* dictionary = copy.asDictionary()) {
      dictionary->set(u"\uFFFF added by the fuzzer", 1);
      if (value->asDictionary()->contains(u"\uFFFF added by the fuzzer")) std::abort();
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
