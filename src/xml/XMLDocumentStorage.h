// What every node of a parsed document shares: the libxml2 tree, freed with
// the last node that refers to it.
#pragma once

#include <libxml/tree.h>

#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "vantorcore/platform/Error.h"
#include "vantorcore/xml/LXXMLDocument.h"

namespace lx::detail {

struct CSSElementIndex;

struct XMLDocumentStorage {
  XMLDocumentStorage(xmlDocPtr document, bool html) noexcept : doc(document), isHTML(html) {}
  ~XMLDocumentStorage() { xmlFreeDoc(doc); }
  XMLDocumentStorage(const XMLDocumentStorage&) = delete;
  XMLDocumentStorage& operator=(const XMLDocumentStorage&) = delete;

  /// A document owning a freshly parsed tree.
  static LXXMLDocument adopt(xmlDocPtr doc, bool html);

  /// Numbers the elements once, before the first XPath query, so libxml2
  /// sorts node sets by number instead of by walking the tree. Deferred from
  /// parsing because it is a full pass over the tree that documents never
  /// queried with XPath do not need. Thread-safe.
  void orderElementsForXPath() const;

  /// The document's elements indexed for CSS queries, built on the first
  /// query from the document. Thread-safe.
  const CSSElementIndex& cssIndex() const;

  xmlDocPtr doc;
  bool isHTML;

 private:
  mutable std::once_flag elementsOrdered_;
  mutable std::once_flag elementsIndexed_;
  mutable std::shared_ptr<const CSSElementIndex> cssIndex_;
};

/// A namespace node as XPath gives it: libxml2 hands out copies that die
/// with the query result, so the node keeps its own prefix and URI.
struct XMLNamespaceNode {
  std::string prefix;
  std::string href;
  xmlNodePtr element;
};

/// Initialises libxml2 once per process (its XPath NaN and infinities too).
void initialiseLibxml();

/// An error in `LXXMLErrorDomain` with `description` (UTF-8).
ErrorPtr makeXMLError(LXXMLErrorCode code, std::string_view description);

/// Text of libxml2 (UTF-8, possibly null) as a String.
String stringFromXML(const xmlChar* text);

/// Frees a string libxml2 allocated (what its `xmlFree` does).
void freeXMLString(xmlChar* text);

/// `stringFromXML`, then frees the text.
String adoptXMLString(xmlChar* text);

}  // namespace lx::detail
