// Matching a parsed CSS selector against libxml2's tree directly, without
// XPath: libxml2 evaluates the translated predicates through its generic
// interpreter, allocating strings for every concat() and normalize-space()
// on every element, which makes queries several times slower than a walk.
// The matches are exactly those of the selector's XPath translation.
#pragma once

#include <libxml/tree.h>

#include <memory>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "xml/CSSSelectorSyntax.h"

namespace lx::detail {

/// Every element of a document in document order, and where each local
/// name occurs, so that a query whose selector names the elements it wants
/// looks at those alone.
struct CSSElementIndex {
  std::vector<xmlNodePtr> elements;
  std::unordered_map<std::string_view, std::vector<std::size_t>> positionsByLocalName;
};

/// The index of the elements below `document`.
std::shared_ptr<const CSSElementIndex> indexElements(xmlNodePtr document);

/// True when `scope` is a node the matcher walks below (an element or a
/// document); for other nodes the XPath translation answers.
bool canMatchCSSBelow(const xmlNode* scope);

/// The elements strictly below `scope` that match any alternative of
/// `selector`, in document order. `documentIndex`, when given, indexes the
/// document that `scope` is.
std::vector<xmlNodePtr> elementsMatchingCSS(const CSSCompiledSelector& selector, xmlNodePtr scope,
                                            const CSSElementIndex* documentIndex = nullptr);

}  // namespace lx::detail
