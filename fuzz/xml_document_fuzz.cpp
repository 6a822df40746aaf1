// Arbitrary bytes through the XML and HTML parsers, then a walk over every
// node and a few queries: no crash, no leak, no read outside the document.
#include <cstdint>

#include "vantorcore/xml/LXXMLDocument.h"
#include "vantorcore/xml/LXXPathResult.h"

namespace {

void visit(const lx::LXXMLNode& node, int budget) {
  (void)node.name();
  (void)node.localName();
  (void)node.namespaceURI();
  (void)node.stringValue();
  (void)node.lineNumber();
  if (const auto element = node.asElement()) (void)element->attributes();
  if (budget <= 0) return;
  for (const lx::LXXMLNode& child : node.children()) visit(child, budget - 1);
}

void query(const lx::LXXMLDocument& document) {
  visit(document, 64);
  (void)document.nodesForXPath(u"//*[@id] | //namespace::* | //text()");
  (void)document.elementsForCSSSelector(u"a[href^='h'] > *:nth-child(2n+1), p:not(.x)");
  (void)document.XMLString();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::span<const std::uint8_t> bytes(data, size);
  if (const auto document = lx::LXXMLDocument::documentWithData(bytes)) query(*document);
  if (const auto document = lx::LXXMLDocument::HTMLDocumentWithData(bytes)) query(*document);
  return 0;
}
