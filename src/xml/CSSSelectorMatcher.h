// Matching a parsed CSS selector against libxml2's tree directly, without
// XPath: libxml2 evaluates the translated predicates through its generic
// interpreter, allocating strings for every concat() and normalize-space()
// on every element, which makes queries several times slower than a walk.
// The matches are exactly those of the selector's XPath translation.
#pragma once

#include <libxml/tree.h>

#include <vector>

#include "xml/CSSSelectorSyntax.h"

namespace lx::detail {

/// True when `scope` is a node the matcher walks below (an element or a
/// document); for other nodes the XPath translation answers.
bool canMatchCSSBelow(const xmlNode* scope);

/// The elements strictly below `scope` that match any alternative of
/// `selector`, in document order.
std::vector<xmlNodePtr> elementsMatchingCSS(const CSSCompiledSelector& selector, xmlNodePtr scope);

}  // namespace lx::detail
