// Arbitrary selector text: the compiler either refuses it with an error or
// gives XPath that libxml2 compiles and runs on a small document.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "vantorcore/xml/LXCSSSelector.h"
#include "vantorcore/xml/LXXMLDocument.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto document = lx::LXXMLDocument::documentWithString(
      u"<r xmlns='urn:x'><a id='i' class='c d' href='h-1'><b/><b>t</b></a><p/></r>");
  const lx::String selector =
      lx::fromUTF8(std::string_view(reinterpret_cast<const char*>(data), size));
  lx::ErrorPtr error;
  const auto xpath = lx::LXXPathForCSSSelector(selector, size % 2 == 0, &error);
  if (!xpath) {
    if (!error) std::abort();
    return 0;
  }
  if (!document->evaluateXPath(lx::fromUTF8(*xpath), {}, &error)) std::abort();
  return 0;
}
