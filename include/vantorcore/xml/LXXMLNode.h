// `LXXMLNode`: one node of a parsed, read-only XML or HTML document, and
// `LXXMLElement`, an element node with its attributes.
//
// Nodes are small values: each holds a reference to its document, so a node
// (or a query result) stays usable after the `LXXMLDocument` it came from is
// gone. Documents never change after parsing, so nodes of one document may be
// read and queried from several threads at once.
#pragma once

#include "vantorcore/Export.h"

#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "vantorcore/platform/Error.h"
#include "vantorcore/platform/String.h"

struct _xmlNode;

namespace LX_API lx {

namespace detail {
struct XMLDocumentStorage;
struct XMLNamespaceNode;
}  // namespace detail

class LXXMLDocument;
class LXXMLElement;
class LXXPathResult;

/// Prefix => namespace URI, for the prefixes an XPath expression uses.
using LXXMLNamespaces = std::map<String, String>;

/// The kinds of node a document holds.
enum class LXXMLNodeKind {
  Document,
  Element,
  Attribute,
  Text,
  CDATA,
  Comment,
  ProcessingInstruction,
  EntityReference,
  Namespace,
  DocumentType,
  Other,
};

class LXXMLNode {
 public:
  /// What kind of node this is.
  [[nodiscard]] LXXMLNodeKind kind() const noexcept;

  /// The qualified name as written ("svg:rect", "title"); "#text", "#comment",
  /// "#cdata-section" and "#document" for the nodes without a name; the
  /// prefix (or "") for a namespace node.
  [[nodiscard]] String name() const;
  /// The name without its prefix ("rect").
  [[nodiscard]] String localName() const;
  /// The namespace URI of an element or attribute (for a default namespace
  /// too); absent when it has none.
  [[nodiscard]] std::optional<String> namespaceURI() const;
  /// The prefix as written; absent without one (also under a default
  /// namespace).
  [[nodiscard]] std::optional<String> prefix() const;
  /// The XPath string value: all text below an element or document, the
  /// value of an attribute, the text of a text node or comment, the URI of a
  /// namespace node.
  [[nodiscard]] String stringValue() const;
  /// The source line the node started on (1-based), or 0 when unknown.
  [[nodiscard]] long lineNumber() const;

  /// The parent node: the element of an attribute or namespace node, the
  /// document of the root element; absent for the document.
  [[nodiscard]] std::optional<LXXMLNode> parent() const;
  /// The child nodes in document order (attributes are not children).
  [[nodiscard]] std::vector<LXXMLNode> children() const;
  /// The node as an element; absent for every other kind.
  [[nodiscard]] std::optional<LXXMLElement> asElement() const;
  /// The document the node belongs to.
  [[nodiscard]] LXXMLDocument document() const;

  /// The node serialised as markup (HTML for an HTML document).
  [[nodiscard]] String XMLString() const;

  /// Evaluates an XPath 1.0 expression with this node as the context node.
  /// `namespaces` binds the prefixes the expression uses; "xml" is always
  /// bound. Absent, with an error in `LXXMLErrorDomain`
  /// (`LXXMLErrorInvalidXPath`), for an expression that does not compile or
  /// evaluate (an unbound prefix, an unknown function).
  ///   'count(//item)' => number 3        '//item[1]/title' => node set
  std::optional<LXXPathResult> evaluateXPath(StringView expression,
                                             const LXXMLNamespaces& namespaces = {},
                                             ErrorPtr* error = nullptr) const;
  /// The node set an XPath expression selects, in document order. Absent as
  /// above, and also (`LXXMLErrorInvalidXPath`) when the expression gives a
  /// string, number or boolean.
  std::optional<std::vector<LXXMLNode>> nodesForXPath(StringView expression,
                                                      const LXXMLNamespaces& namespaces = {},
                                                      ErrorPtr* error = nullptr) const;
  /// The elements below this node (not the node itself) that a CSS selector
  /// matches, in document order: exactly those its XPath translation (see
  /// LXCSSSelector.h) selects. The selector is compiled once per process and
  /// matched against the tree directly; the first query from a document
  /// indexes its elements by name. Names match by local name, so plain type
  /// selectors find elements under a default namespace; in HTML documents
  /// type names match in any case. Absent, with `LXXMLErrorInvalidCSSSelector`,
  /// for a selector that does not parse.
  std::optional<std::vector<LXXMLElement>> elementsForCSSSelector(StringView selector,
                                                                  ErrorPtr* error = nullptr) const;

  /// The same node of the same document.
  friend bool operator==(const LXXMLNode& a, const LXXMLNode& b) noexcept;

 protected:
  /// A node of `document`; made by the document and its queries.
  LXXMLNode(std::shared_ptr<const detail::XMLDocumentStorage> document, _xmlNode* node,
            std::shared_ptr<const detail::XMLNamespaceNode> namespaceNode = nullptr) noexcept;

  /// The libxml2 node, valid while the document lives.
  [[nodiscard]] _xmlNode* rawNode() const noexcept { return node_; }
  /// The storage that keeps the document alive.
  [[nodiscard]] const std::shared_ptr<const detail::XMLDocumentStorage>& storage() const noexcept {
    return document_;
  }

 private:
  friend class LXXMLDocument;
  friend class LXXPathResult;
  friend class LXXMLElement;
  friend struct detail::XMLDocumentStorage;

  std::shared_ptr<const detail::XMLDocumentStorage> document_;
  _xmlNode* node_;
  // XPath hands out namespace nodes as temporary copies; we keep our own.
  std::shared_ptr<const detail::XMLNamespaceNode> namespace_;
};

/// One attribute of an element.
struct LXXMLAttribute {
  String name;       ///< qualified, as written
  String localName;  ///< without the prefix
  /// The namespace URI; absent for none.
  std::optional<String> namespaceURI;
  /// The value, entities resolved.
  String value;
  /// Equal when all four fields are.
  friend bool operator==(const LXXMLAttribute&, const LXXMLAttribute&) = default;
};

/// An element node, with its attributes and namespaced lookups.
class LXXMLElement : public LXXMLNode {
 public:
  /// The attributes in document order (namespace declarations excluded).
  [[nodiscard]] std::vector<LXXMLAttribute> attributes() const;
  /// The value of the attribute with this qualified name; absent when the
  /// element has none.
  [[nodiscard]] std::optional<String> attributeNamed(StringView name) const;
  /// The value of the attribute with this local name in `namespaceURI`.
  [[nodiscard]] std::optional<String> attributeNamed(StringView localName,
                                                     StringView namespaceURI) const;
  /// The child elements in document order.
  [[nodiscard]] std::vector<LXXMLElement> elementChildren() const;

 private:
  friend class LXXMLNode;
  explicit LXXMLElement(const LXXMLNode& node) noexcept : LXXMLNode(node) {}
};

}  // namespace lx

// The result type of evaluateXPath, which itself holds nodes, so it comes
// after them.
#include "vantorcore/xml/LXXPathResult.h"  // IWYU pragma: export
