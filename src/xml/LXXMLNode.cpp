#include "vantorcore/xml/LXXMLNode.h"

#include <libxml/HTMLtree.h>
#include <libxml/tree.h>
#include <libxml/xmlerror.h>
#include <libxml/xpath.h>
#include <libxml/xpathInternals.h>

#include <iterator>

#include "vantorcore/xml/LXXMLDocument.h"
#include "vantorcore/xml/LXXPathResult.h"
#include "xml/CSSSelectorMatcher.h"
#include "xml/XMLDocumentStorage.h"

namespace lx {

namespace {

const xmlChar* xmlText(const std::string& utf8) {
  return reinterpret_cast<const xmlChar*>(utf8.c_str());
}

bool hasNamespaceURI(const xmlNode* node) {
  return (node->type == XML_ELEMENT_NODE || node->type == XML_ATTRIBUTE_NODE) && node->ns &&
         node->ns->href;
}

// libxml2 reports XPath errors by code only; these are its own texts.
const char* const kXPathErrorTexts[] = {
    "Ok",
    "Number encoding",
    "Unfinished literal",
    "Start of literal",
    "Expected $ for variable reference",
    "Undefined variable",
    "Invalid predicate",
    "Invalid expression",
    "Missing closing curly brace",
    "Unregistered function",
    "Invalid operand",
    "Invalid type",
    "Invalid number of arguments",
    "Invalid context size",
    "Invalid context position",
    "Memory allocation error",
    "Syntax error",
    "Resource error",
    "Sub resource error",
    "Undefined namespace prefix",
    "Encoding error",
    "Char out of XML range",
    "Invalid or incomplete context",
    "Stack usage error",
    "Forbidden variable",
};

void rememberXPathError(void* userData, xmlErrorPtr error) {
  auto* message = static_cast<std::string*>(userData);
  if (!message->empty()) return;
  const int index = error->code - XML_XPATH_EXPRESSION_OK;
  *message = index >= 0 && index < static_cast<int>(std::size(kXPathErrorTexts))
                 ? kXPathErrorTexts[index]
                 : "Invalid expression";
  if (error->str1) *message += " at offset " + std::to_string(error->int1);
}

void ignoreGenericError(void*, const char*, ...) {}

// Some XPath failures also go to libxml2's per-thread generic error sink,
// which writes to standard error; a query must not print.
class SilencedGenericErrors {
 public:
  SilencedGenericErrors() : function_(xmlGenericError), context_(xmlGenericErrorContext) {
    xmlSetGenericErrorFunc(nullptr, ignoreGenericError);
  }
  ~SilencedGenericErrors() { xmlSetGenericErrorFunc(context_, function_); }
  SilencedGenericErrors(const SilencedGenericErrors&) = delete;
  SilencedGenericErrors& operator=(const SilencedGenericErrors&) = delete;

 private:
  xmlGenericErrorFunc function_;
  void* context_;
};

}  // namespace

LXXMLNode::LXXMLNode(std::shared_ptr<const detail::XMLDocumentStorage> document, _xmlNode* node,
                     std::shared_ptr<const detail::XMLNamespaceNode> namespaceNode) noexcept
    : document_(std::move(document)), node_(node), namespace_(std::move(namespaceNode)) {}

LXXMLNodeKind LXXMLNode::kind() const noexcept {
  if (namespace_) return LXXMLNodeKind::Namespace;
  switch (node_->type) {
    case XML_DOCUMENT_NODE:
    case XML_HTML_DOCUMENT_NODE:
      return LXXMLNodeKind::Document;
    case XML_ELEMENT_NODE:
      return LXXMLNodeKind::Element;
    case XML_ATTRIBUTE_NODE:
      return LXXMLNodeKind::Attribute;
    case XML_TEXT_NODE:
      return LXXMLNodeKind::Text;
    case XML_CDATA_SECTION_NODE:
      return LXXMLNodeKind::CDATA;
    case XML_COMMENT_NODE:
      return LXXMLNodeKind::Comment;
    case XML_PI_NODE:
      return LXXMLNodeKind::ProcessingInstruction;
    case XML_ENTITY_REF_NODE:
      return LXXMLNodeKind::EntityReference;
    case XML_DTD_NODE:
      return LXXMLNodeKind::DocumentType;
    default:
      return LXXMLNodeKind::Other;
  }
}

String LXXMLNode::name() const {
  switch (kind()) {
    case LXXMLNodeKind::Namespace:
      return fromUTF8(namespace_->prefix);
    case LXXMLNodeKind::Document:
      return u"#document";
    case LXXMLNodeKind::Text:
      return u"#text";
    case LXXMLNodeKind::CDATA:
      return u"#cdata-section";
    case LXXMLNodeKind::Comment:
      return u"#comment";
    case LXXMLNodeKind::Element:
    case LXXMLNodeKind::Attribute:
      if (node_->ns && node_->ns->prefix)
        return detail::stringFromXML(node_->ns->prefix) + u":" + detail::stringFromXML(node_->name);
      return detail::stringFromXML(node_->name);
    default:
      return detail::stringFromXML(node_->name);
  }
}

String LXXMLNode::localName() const {
  if (kind() == LXXMLNodeKind::Element || kind() == LXXMLNodeKind::Attribute)
    return detail::stringFromXML(node_->name);
  return name();
}

std::optional<String> LXXMLNode::namespaceURI() const {
  if (namespace_ || !hasNamespaceURI(node_)) return std::nullopt;
  return detail::stringFromXML(node_->ns->href);
}

std::optional<String> LXXMLNode::prefix() const {
  if (namespace_ || !hasNamespaceURI(node_) || !node_->ns->prefix) return std::nullopt;
  return detail::stringFromXML(node_->ns->prefix);
}

String LXXMLNode::stringValue() const {
  if (namespace_) return fromUTF8(namespace_->href);
  return detail::adoptXMLString(xmlXPathCastNodeToString(node_));
}

long LXXMLNode::lineNumber() const {
  const long line = xmlGetLineNo(namespace_ ? namespace_->element : node_);
  return line > 0 ? line : 0;
}

std::optional<LXXMLNode> LXXMLNode::parent() const {
  if (namespace_) return LXXMLNode(document_, namespace_->element);
  if (!node_->parent) return std::nullopt;
  return LXXMLNode(document_, node_->parent);
}

std::vector<LXXMLNode> LXXMLNode::children() const {
  std::vector<LXXMLNode> result;
  const LXXMLNodeKind k = kind();
  if (k != LXXMLNodeKind::Element && k != LXXMLNodeKind::Document) return result;
  for (xmlNodePtr child = node_->children; child; child = child->next)
    result.push_back(LXXMLNode(document_, child));
  return result;
}

std::optional<LXXMLElement> LXXMLNode::asElement() const {
  if (kind() != LXXMLNodeKind::Element) return std::nullopt;
  return LXXMLElement(*this);
}

LXXMLDocument LXXMLNode::document() const { return LXXMLDocument(document_); }

String LXXMLNode::XMLString() const {
  if (namespace_) {
    const std::string name = namespace_->prefix.empty() ? "xmlns" : "xmlns:" + namespace_->prefix;
    return fromUTF8(name + "=\"" + namespace_->href + "\"");
  }
  xmlBufferPtr buffer = xmlBufferCreate();
  if (document_->isHTML)
    htmlNodeDump(buffer, document_->doc, node_);
  else
    xmlNodeDump(buffer, document_->doc, node_, 0, 0);
  String result = detail::stringFromXML(xmlBufferContent(buffer));
  xmlBufferFree(buffer);
  return result;
}

std::optional<LXXPathResult> LXXMLNode::evaluateXPath(StringView expression,
                                                      const LXXMLNamespaces& namespaces,
                                                      ErrorPtr* error) const {
  const std::string utf8 = toUTF8(expression);
  std::string message;
  const SilencedGenericErrors silenced;
  document_->orderElementsForXPath();
  xmlXPathContextPtr context = xmlXPathNewContext(document_->doc);
  context->node = namespace_ ? namespace_->element : node_;
  context->error = rememberXPathError;
  context->userData = &message;
  for (const auto& [prefix, uri] : namespaces) {
    if (xmlXPathRegisterNs(context, xmlText(toUTF8(prefix)), xmlText(toUTF8(uri))) != 0 &&
        message.empty())
      message = "The prefix “" + toUTF8(prefix) + "” cannot be bound";
  }
  xmlXPathObjectPtr object =
      message.empty() ? xmlXPathEvalExpression(xmlText(utf8), context) : nullptr;
  std::optional<LXXPathResult> result;
  if (object) {
    switch (object->type) {
      case XPATH_NODESET: {
        std::vector<LXXMLNode> nodes;
        const xmlNodeSet* set = object->nodesetval;
        for (int i = 0; set && i < set->nodeNr; ++i) {
          xmlNodePtr node = set->nodeTab[i];
          if (node->type == XML_NAMESPACE_DECL) {
            auto* ns = reinterpret_cast<xmlNsPtr>(node);
            auto copy = std::make_shared<detail::XMLNamespaceNode>(detail::XMLNamespaceNode{
                ns->prefix ? reinterpret_cast<const char*>(ns->prefix) : "",
                ns->href ? reinterpret_cast<const char*>(ns->href) : "",
                reinterpret_cast<xmlNodePtr>(ns->next)});
            nodes.push_back(LXXMLNode(document_, copy->element, copy));
          } else {
            nodes.push_back(LXXMLNode(document_, node));
          }
        }
        result.emplace(std::move(nodes));
        break;
      }
      case XPATH_BOOLEAN:
        result.emplace(object->boolval != 0);
        break;
      case XPATH_NUMBER:
        result.emplace(object->floatval);
        break;
      case XPATH_STRING:
        result.emplace(detail::stringFromXML(object->stringval));
        break;
      default:
        message = "The expression gives a value XPath 1.0 does not define";
        break;
    }
    xmlXPathFreeObject(object);
  }
  xmlXPathFreeContext(context);
  if (!result) {
    if (message.empty()) message = "Invalid expression";
    setError(error, detail::makeXMLError(LXXMLErrorInvalidXPath,
                                         "Invalid XPath expression “" + utf8 + "”: " + message));
  }
  return result;
}

std::optional<std::vector<LXXMLNode>> LXXMLNode::nodesForXPath(StringView expression,
                                                               const LXXMLNamespaces& namespaces,
                                                               ErrorPtr* error) const {
  std::optional<LXXPathResult> result = evaluateXPath(expression, namespaces, error);
  if (!result) return std::nullopt;
  if (result->type() != LXXPathResult::Type::NodeSet) {
    setError(error, detail::makeXMLError(LXXMLErrorInvalidXPath,
                                         "The XPath expression “" + toUTF8(expression) +
                                             "” gives a value, not a node set"));
    return std::nullopt;
  }
  return result->nodes();
}

std::optional<std::vector<LXXMLElement>> LXXMLNode::elementsForCSSSelector(StringView selector,
                                                                           ErrorPtr* error) const {
  const auto compiled = detail::cachedCSSSelector(selector, document_->isHTML, error);
  if (!compiled) return std::nullopt;
  xmlNodePtr scope = namespace_ ? namespace_->element : node_;
  std::vector<LXXMLElement> elements;
  if (!detail::canMatchCSSBelow(scope)) {
    std::optional<std::vector<LXXMLNode>> nodes =
        nodesForXPath(fromUTF8(compiled->xpath), {}, error);
    if (!nodes) return std::nullopt;
    for (const LXXMLNode& node : *nodes) elements.push_back(LXXMLElement(node));
    return elements;
  }
  const bool wholeDocument = scope == reinterpret_cast<xmlNodePtr>(document_->doc);
  const std::vector<xmlNodePtr> matches = detail::elementsMatchingCSS(
      *compiled, scope, wholeDocument ? &document_->cssIndex() : nullptr);
  elements.reserve(matches.size());
  for (xmlNodePtr match : matches) elements.push_back(LXXMLElement(LXXMLNode(document_, match)));
  return elements;
}

bool operator==(const LXXMLNode& a, const LXXMLNode& b) noexcept {
  if (a.namespace_ || b.namespace_) {
    return a.namespace_ && b.namespace_ && a.namespace_->element == b.namespace_->element &&
           a.namespace_->prefix == b.namespace_->prefix;
  }
  return a.node_ == b.node_;
}

std::vector<LXXMLAttribute> LXXMLElement::attributes() const {
  std::vector<LXXMLAttribute> result;
  for (xmlAttrPtr attribute = rawNode()->properties; attribute; attribute = attribute->next) {
    const LXXMLNode node(storage(), reinterpret_cast<xmlNodePtr>(attribute));
    result.push_back({node.name(), node.localName(), node.namespaceURI(), node.stringValue()});
  }
  return result;
}

std::optional<String> LXXMLElement::attributeNamed(StringView name) const {
  for (const LXXMLAttribute& attribute : attributes())
    if (attribute.name == name) return attribute.value;
  return std::nullopt;
}

std::optional<String> LXXMLElement::attributeNamed(StringView localName,
                                                   StringView namespaceURI) const {
  for (const LXXMLAttribute& attribute : attributes())
    if (attribute.localName == localName && attribute.namespaceURI == namespaceURI)
      return attribute.value;
  return std::nullopt;
}

std::vector<LXXMLElement> LXXMLElement::elementChildren() const {
  std::vector<LXXMLElement> result;
  for (xmlNodePtr child = rawNode()->children; child; child = child->next)
    if (child->type == XML_ELEMENT_NODE)
      result.push_back(LXXMLElement(LXXMLNode(storage(), child)));
  return result;
}

}  // namespace lx
