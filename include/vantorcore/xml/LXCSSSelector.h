// CSS selectors compiled to XPath 1.0, the way `elementsForCSSSelector`
// queries documents.
//
// Supported: type selectors and "*"; "#id"; ".class"; attribute selectors
// "[a]", "[a=v]", "[a~=v]", "[a|=v]", "[a^=v]", "[a$=v]", "[a*=v]" (values as
// identifiers or quoted strings); the combinators " ", ">", "+" and "~";
// ":first-child", ":last-child", ":only-child", ":empty",
// ":nth-child(an+b)", ":nth-last-child(an+b)" (also "odd" and "even") and
// ":not(compound)"; selector lists with ",". A selector chains at most 256
// compound selectors, and :not() nests at most 32 deep. Names are identifiers with CSS
// escapes. Names match by local name, so a document with a default namespace
// needs no prefixes (in HTML, which has no namespaces, they are name tests). Namespace prefixes
// ("svg|rect"), pseudo-elements and other pseudo-classes are refused with a clear reason.
//
//   'div > p.note'  => descendant::*[local-name()='div']/*[local-name()='p' and
//                      contains(concat(' ',normalize-space(@class),' '),' note ')]
//   'li:nth-child(2n+1)' => ... [(count(preceding-sibling::*)+1) >= 1 and
//                      ((count(preceding-sibling::*)+1) - 1) mod 2 = 0]
#pragma once

#include "vantorcore/Export.h"

#include <optional>
#include <string>

#include "vantorcore/platform/Error.h"
#include "vantorcore/platform/String.h"

namespace LX_API lx {

/// The XPath expression (relative to a context node, selecting the matching
/// elements below it) for a CSS selector. Type names are lower-cased when
/// `caseInsensitiveTypes` (HTML). Absent, with an error in
/// `LXXMLErrorDomain` (`LXXMLErrorInvalidCSSSelector`) whose description
/// says what was wrong and at which offset, for a selector that does not
/// parse.
std::optional<std::string> LXXPathForCSSSelector(StringView selector, bool caseInsensitiveTypes,
                                                 ErrorPtr* error = nullptr);

/// The same through a process-wide cache of compiled selectors (at most
/// 1024; the cache starts afresh when full). Thread-safe.
std::optional<std::string> LXCachedXPathForCSSSelector(StringView selector,
                                                       bool caseInsensitiveTypes,
                                                       ErrorPtr* error = nullptr);

}  // namespace lx
