// `LXXPathResult`: the value of an XPath 1.0 expression: a node set, a
// string, a number or a boolean. Every result converts to the other types
// by XPath's own rules (`string()`, `number()`, `boolean()`).
#pragma once

#include "vantorcore/Export.h"

#include <vector>

#include "vantorcore/platform/String.h"
#include "vantorcore/xml/LXXMLNode.h"

namespace LX_API lx {

class LXXPathResult {
 public:
  /// What an XPath expression evaluated to.
  enum class Type { NodeSet, String, Number, Boolean };

  /// A result of each type.
  ///@{
  explicit LXXPathResult(std::vector<LXXMLNode> nodes);
  explicit LXXPathResult(String string);
  explicit LXXPathResult(double number) noexcept;
  explicit LXXPathResult(bool boolean) noexcept;
  ///@}

  /// Node set, string, number or boolean.
  [[nodiscard]] Type type() const noexcept { return type_; }
  /// The nodes in document order; empty unless the type is `NodeSet`.
  [[nodiscard]] const std::vector<LXXMLNode>& nodes() const noexcept { return nodes_; }
  /// The string value: of the first node for a node set ("" when empty);
  /// numbers as XPath writes them ('3', '0.5', 'NaN', 'Infinity').
  [[nodiscard]] String stringValue() const;
  /// The number value: NaN for text that is not a number.
  [[nodiscard]] double numberValue() const;
  /// The boolean value: a non-empty node set or string, a number not 0/NaN.
  [[nodiscard]] bool booleanValue() const;

 private:
  Type type_;
  std::vector<LXXMLNode> nodes_;
  String string_;
  double number_ = 0;
  bool boolean_ = false;
};

}  // namespace lx
