// A parsed CSS selector list, the one form both the XPath translation and
// the direct tree matcher read, so the two cannot drift apart. Every text
// is UTF-8 with the characters XML cannot hold already replaced by U+FFFD.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "vantorcore/platform/Error.h"
#include "vantorcore/platform/String.h"

namespace lx::detail {

/// One condition of a compound selector on an element.
struct CSSCondition {
  enum class Kind {
    LocalName,           // local name equals `value` (XML type selectors)
    HTMLName,            // name equals `value`, no namespace (HTML type selectors)
    AttributeExists,     // [a]
    AttributeEquals,     // [a=v] and #id
    AttributeDashMatch,  // [a|=v]
    AttributeIncludes,   // [a~=v] and .class: ' v ' inside ' normalize-space(a) '
    AttributePrefix,     // [a^=v]
    AttributeSuffix,     // [a$=v]
    AttributeSubstring,  // [a*=v]
    Never,               // what can never match ([a^=''], :not(*))
    FirstChild,
    LastChild,
    OnlyChild,
    Empty,
    NthChild,      // position among element siblings is a·n + b
    NthLastChild,  // the same counted from the end
    Not,           // none of `negated` fails (see below)
  };
  /// A condition of `kind`; the other fields as that kind needs them.
  explicit CSSCondition(Kind kind = Kind::Never, std::string value = {}) noexcept
      : kind(kind), value(std::move(value)) {}

  Kind kind;
  /// The attribute's name; `anyNamespace` when XPath cannot name it plainly,
  /// so it matches by qualified name in any namespace.
  std::string attribute;
  bool anyNamespace = false;
  /// The type name, attribute value or class.
  std::string value;
  long a = 0;
  long b = 0;
  /// For `Not`: the compound whose match is negated.
  std::vector<CSSCondition> negated;
};

/// A compound selector: conditions that must all hold ("*" has none).
using CSSCompound = std::vector<CSSCondition>;

/// How a compound relates to the one before it.
enum class CSSCombinator { Descendant, Child, Adjacent, Sibling };

/// A complex selector: `combinators[i]` joins `compounds[i]` to `compounds[i + 1]`.
struct CSSComplexSelector {
  std::vector<CSSCompound> compounds;
  std::vector<CSSCombinator> combinators;
};

/// A selector, compiled once: its parts and the XPath that selects the same.
struct CSSCompiledSelector {
  std::vector<CSSComplexSelector> alternatives;
  std::string xpath;
};

/// The compiled selector through the process-wide cache; null with an
/// `LXXMLErrorInvalidCSSSelector` error for a selector that does not parse.
std::shared_ptr<const CSSCompiledSelector> cachedCSSSelector(StringView selector,
                                                             bool caseInsensitiveTypes,
                                                             ErrorPtr* error);

}  // namespace lx::detail
