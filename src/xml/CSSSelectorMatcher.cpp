#include "xml/CSSSelectorMatcher.h"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>

#include "xml/XMLDocumentStorage.h"

namespace lx::detail {

namespace {

using Kind = CSSCondition::Kind;

std::string_view text(const xmlChar* characters) {
  return characters ? std::string_view(reinterpret_cast<const char*>(characters))
                    : std::string_view();
}

bool isElement(const xmlNode* node) { return node && node->type == XML_ELEMENT_NODE; }

const xmlNode* previousElement(const xmlNode* node) {
  for (node = node->prev; node; node = node->prev)
    if (node->type == XML_ELEMENT_NODE) return node;
  return nullptr;
}

const xmlNode* nextElement(const xmlNode* node) {
  for (node = node->next; node; node = node->next)
    if (node->type == XML_ELEMENT_NODE) return node;
  return nullptr;
}

// XPath's name(): "prefix:local" when the attribute has a prefix.
bool hasQualifiedName(const xmlAttr* attribute, std::string_view name) {
  const std::string_view local = text(attribute->name);
  if (!attribute->ns || !attribute->ns->prefix) return local == name;
  const std::string_view prefix = text(attribute->ns->prefix);
  return name.size() == prefix.size() + 1 + local.size() && name.starts_with(prefix) &&
         name[prefix.size()] == ':' && name.ends_with(local);
}

// What "@name" (no namespace) or "@*[name()='p:name']" selects first.
const xmlAttr* findAttribute(const xmlNode* element, const CSSCondition& condition) {
  for (const xmlAttr* attribute = element->properties; attribute; attribute = attribute->next) {
    if (condition.anyNamespace ? hasQualifiedName(attribute, condition.attribute)
                               : !attribute->ns && text(attribute->name) == condition.attribute)
      return attribute;
  }
  return nullptr;
}

// XPath's string(): almost always the one text child, read in place.
std::string_view attributeValue(const xmlAttr* attribute, std::string& scratch) {
  const xmlNode* child = attribute->children;
  if (!child) return {};
  if (!child->next && child->type == XML_TEXT_NODE) return text(child->content);
  xmlChar* content = xmlNodeGetContent(reinterpret_cast<const xmlNode*>(attribute));
  scratch = text(content);
  freeXMLString(content);
  return scratch;
}

bool isXMLSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

// contains(concat(' ', normalize-space(value), ' '), concat(' ', word, ' ')).
bool includesWord(std::string_view value, std::string_view word) {
  if (!word.empty() && word.find_first_of(" \t\n\r") == std::string_view::npos) {
    std::size_t i = 0;
    while (i < value.size()) {
      while (i < value.size() && isXMLSpace(value[i])) ++i;
      const std::size_t start = i;
      while (i < value.size() && !isXMLSpace(value[i])) ++i;
      if (i > start && value.substr(start, i - start) == word) return true;
    }
    return false;
  }
  std::string normalized = " ";
  bool spacePending = false;
  for (const char c : value) {
    if (isXMLSpace(c)) {
      spacePending = normalized.size() > 1;
    } else {
      if (spacePending) normalized += ' ';
      spacePending = false;
      normalized += c;
    }
  }
  normalized += ' ';
  return normalized.find(" " + std::string(word) + " ") != std::string::npos;
}

bool compares(const CSSCondition& condition, std::string_view value) {
  const std::string_view wanted = condition.value;
  switch (condition.kind) {
    case Kind::AttributeEquals:
      return value == wanted;
    case Kind::AttributeDashMatch:
      return value == wanted || (value.size() > wanted.size() && value.starts_with(wanted) &&
                                 value[wanted.size()] == '-');
    case Kind::AttributeIncludes:
      return includesWord(value, wanted);
    case Kind::AttributePrefix:
      return value.starts_with(wanted);
    case Kind::AttributeSuffix:
      // Valid UTF-8 ends with these bytes only where it ends with these characters.
      return value.ends_with(wanted);
    default:
      return value.find(wanted) != std::string_view::npos;
  }
}

// The position p = a·n + b for some n ≥ 0.
bool isNth(long position, long a, long b) {
  if (a == 0) return position == b;
  if (a > 0) return position >= b && (position - b) % a == 0;
  return position <= b && (b - position) % -a == 0;
}

long siblingPosition(const xmlNode* element, const xmlNode* (*step)(const xmlNode*)) {
  long position = 1;
  for (const xmlNode* sibling = step(element); sibling; sibling = step(sibling)) ++position;
  return position;
}

bool matchesCompound(const CSSCompound& compound, const xmlNode* element);

bool holds(const CSSCondition& condition, const xmlNode* element) {
  switch (condition.kind) {
    case Kind::LocalName:
      return text(element->name) == condition.value;
    case Kind::HTMLName:
      return !element->ns && text(element->name) == condition.value;
    case Kind::AttributeExists:
      return findAttribute(element, condition) != nullptr;
    case Kind::AttributeEquals:
    case Kind::AttributeDashMatch:
    case Kind::AttributeIncludes:
    case Kind::AttributePrefix:
    case Kind::AttributeSuffix:
    case Kind::AttributeSubstring: {
      // A missing attribute reads as "", which no operator with a value matches.
      const xmlAttr* attribute = findAttribute(element, condition);
      std::string scratch;
      return attribute && compares(condition, attributeValue(attribute, scratch));
    }
    case Kind::Never:
      return false;
    case Kind::FirstChild:
      return !previousElement(element);
    case Kind::LastChild:
      return !nextElement(element);
    case Kind::OnlyChild:
      return !previousElement(element) && !nextElement(element);
    case Kind::Empty:
      for (const xmlNode* child = element->children; child; child = child->next) {
        if (child->type == XML_ELEMENT_NODE || child->type == XML_TEXT_NODE ||
            child->type == XML_CDATA_SECTION_NODE)
          return false;
      }
      return true;
    case Kind::NthChild:
      return isNth(siblingPosition(element, previousElement), condition.a, condition.b);
    case Kind::NthLastChild:
      return isNth(siblingPosition(element, nextElement), condition.a, condition.b);
    case Kind::Not:
      return !matchesCompound(condition.negated, element);
  }
  return false;
}

bool matchesCompound(const CSSCompound& compound, const xmlNode* element) {
  for (const CSSCondition& condition : compound)
    if (!holds(condition, element)) return false;
  return true;
}

// Right to left, as browsers match: the compound at `index` on `element`,
// then the ones before it on its ancestors or earlier siblings, none of
// them at or above `scope`.
bool matchesFrom(const CSSComplexSelector& selector, std::size_t index, const xmlNode* element,
                 const xmlNode* scope) {
  if (!matchesCompound(selector.compounds[index], element)) return false;
  if (index == 0) return true;
  const std::size_t left = index - 1;
  switch (selector.combinators[left]) {
    case CSSCombinator::Child: {
      const xmlNode* parent = element->parent;
      return parent != scope && isElement(parent) && matchesFrom(selector, left, parent, scope);
    }
    case CSSCombinator::Descendant:
      for (const xmlNode* up = element->parent; up != scope && isElement(up); up = up->parent)
        if (matchesFrom(selector, left, up, scope)) return true;
      return false;
    case CSSCombinator::Adjacent: {
      const xmlNode* before = previousElement(element);
      return before && matchesFrom(selector, left, before, scope);
    }
    case CSSCombinator::Sibling:
      for (const xmlNode* before = previousElement(element); before;
           before = previousElement(before))
        if (matchesFrom(selector, left, before, scope)) return true;
      return false;
  }
  return false;
}

// Elements hold all the content; XPath's descendant axis never enters DTD
// nodes or entity declarations either.
xmlNodePtr nextInDocumentOrder(xmlNodePtr node, const xmlNode* scope) {
  if (node->type == XML_ELEMENT_NODE && node->children) return node->children;
  for (; node != scope; node = node->parent)
    if (node->next) return node->next;
  return nullptr;
}

// The positions of the only elements that can match: those with the name
// every alternative's last compound asks for, in document order. Absent
// when an alternative takes any name.
std::optional<std::vector<std::size_t>> candidatePositions(const CSSCompiledSelector& selector,
                                                           const CSSElementIndex& index) {
  std::vector<std::string_view> names;
  for (const CSSComplexSelector& alternative : selector.alternatives) {
    const CSSCompound& last = alternative.compounds.back();
    if (last.empty() ||
        (last.front().kind != Kind::HTMLName && last.front().kind != Kind::LocalName))
      return std::nullopt;
    if (std::find(names.begin(), names.end(), last.front().value) == names.end())
      names.push_back(last.front().value);
  }
  std::vector<std::size_t> positions;
  for (const std::string_view name : names) {
    const auto found = index.positionsByLocalName.find(name);
    if (found != index.positionsByLocalName.end())
      positions.insert(positions.end(), found->second.begin(), found->second.end());
  }
  if (names.size() > 1) std::sort(positions.begin(), positions.end());
  return positions;
}

}  // namespace

std::shared_ptr<const CSSElementIndex> indexElements(xmlNodePtr document) {
  auto index = std::make_shared<CSSElementIndex>();
  for (xmlNodePtr node = document->children; node; node = nextInDocumentOrder(node, document)) {
    if (node->type != XML_ELEMENT_NODE) continue;
    index->positionsByLocalName[text(node->name)].push_back(index->elements.size());
    index->elements.push_back(node);
  }
  return index;
}

bool canMatchCSSBelow(const xmlNode* scope) {
  return scope->type == XML_ELEMENT_NODE || scope->type == XML_DOCUMENT_NODE ||
         scope->type == XML_HTML_DOCUMENT_NODE;
}

std::vector<xmlNodePtr> elementsMatchingCSS(const CSSCompiledSelector& selector, xmlNodePtr scope,
                                            const CSSElementIndex* documentIndex) {
  std::vector<xmlNodePtr> matches;
  const auto matchesAny = [&](xmlNodePtr element) {
    for (const CSSComplexSelector& alternative : selector.alternatives)
      if (matchesFrom(alternative, alternative.compounds.size() - 1, element, scope)) return true;
    return false;
  };
  if (!documentIndex) {
    for (xmlNodePtr node = scope->children; node; node = nextInDocumentOrder(node, scope))
      if (node->type == XML_ELEMENT_NODE && matchesAny(node)) matches.push_back(node);
    return matches;
  }
  const std::optional<std::vector<std::size_t>> candidates =
      candidatePositions(selector, *documentIndex);
  if (!candidates) {
    for (xmlNodePtr element : documentIndex->elements)
      if (matchesAny(element)) matches.push_back(element);
    return matches;
  }
  for (const std::size_t position : *candidates) {
    xmlNodePtr element = documentIndex->elements[position];
    if (matchesAny(element)) matches.push_back(element);
  }
  return matches;
}

}  // namespace lx::detail
