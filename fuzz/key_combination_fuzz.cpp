// Key-combination parsing on arbitrary UTF-8: never a crash, every success
// prints to forms that read back to the same combination, every failure
// says why.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "vantorcore/drawing/KeyCombination.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const lx::String text = lx::fromUTF8(std::string_view(reinterpret_cast<const char*>(data), size));
  lx::ErrorPtr error;
  const auto parsed = lx::KeyCombination::parse(text, &error);
  if (!parsed) {
    if (!error) std::abort();
    return 0;
  }
  if (lx::KeyCombination::fromAccelerator(parsed->acceleratorString()) != parsed ||
      lx::KeyCombination::fromDisplayString(parsed->displayString()) != parsed ||
      lx::KeyCombination::fromSymbolString(parsed->symbolString()) != parsed ||
      lx::KeyCombination::fromDictionary(parsed->dictionaryRepresentation()) != parsed) {
    std::abort();
  }
  return 0;
}
