#include "vantorcore/xml/LXCSSSelector.h"

#include <cctype>
#include <mutex>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "xml/CSSSelectorSyntax.h"
#include "xml/XMLDocumentStorage.h"

namespace lx {

namespace {

// The text with every character that XML (and so XPath) cannot hold, the
// C0 controls but tab, line feed and carriage return, U+FFFE and U+FFFF,
// replaced by U+FFFD: no document holds them, so nothing matches either way.
std::string xmlCharactersOnly(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    const bool control = c < 0x20 && c != '\t' && c != '\n' && c != '\r';
    const bool nonCharacter = c == 0xEF && i + 2 < text.size() && text[i + 1] == '\xBF' &&
                              (text[i + 2] == '\xBE' || text[i + 2] == '\xBF');
    if (control || nonCharacter) {
      result += "\xEF\xBF\xBD";
      if (nonCharacter) i += 2;
    } else {
      result += text[i];
    }
  }
  return result;
}

// An XPath 1.0 string literal; XPath has no escapes, so text holding both
// kinds of quote is built with concat().
std::string literal(std::string_view text) {
  if (text.find('\'') == std::string_view::npos) return "'" + std::string(text) + "'";
  if (text.find('"') == std::string_view::npos) return "\"" + std::string(text) + "\"";
  std::string result = "concat(";
  std::size_t start = 0;
  while (start <= text.size()) {
    const std::size_t quote = text.find('\'', start);
    const std::string_view piece = text.substr(
        start, quote == std::string_view::npos ? std::string_view::npos : quote - start);
    if (!piece.empty()) result += "'" + std::string(piece) + "',";
    if (quote == std::string_view::npos) break;
    result += "\"'\",";
    start = quote + 1;
  }
  result.back() = ')';
  return result;
}

bool isNameStart(unsigned char c) { return std::isalpha(c) || c == '_' || c >= 0x80; }
bool isNameChar(unsigned char c) { return isNameStart(c) || std::isdigit(c) || c == '-'; }
char32_t hexDigitValue(char c) {
  return std::isdigit(static_cast<unsigned char>(c))
             ? c - '0'
             : (std::tolower(static_cast<unsigned char>(c)) - 'a' + 10);
}
bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f'; }

void appendUTF8(std::string& out, char32_t c) {
  if (c == 0 || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) c = 0xFFFD;
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xC0 | (c >> 6));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    out += static_cast<char>(0xE0 | (c >> 12));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (c >> 18));
    out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  }
}

std::size_t codePointCount(std::string_view utf8) {
  std::size_t count = 0;
  for (const char c : utf8) count += (static_cast<unsigned char>(c) & 0xC0) != 0x80;
  return count;
}

// A name XPath accepts after "@" as it is: ASCII, not starting with a digit,
// "-" or ".".
bool isPlainXPathName(std::string_view name) {
  if (name.empty() || !(std::isalpha(static_cast<unsigned char>(name[0])) || name[0] == '_'))
    return false;
  for (const char c : name)
    if (!(std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '-' || c == '.'))
      return false;
  return true;
}

// Matching recurses once per compound and per :not() level, so both are
// bounded; real selectors stay far below either limit.
constexpr std::size_t kMaxCompounds = 256;
constexpr std::size_t kMaxNotNesting = 32;

using Condition = detail::CSSCondition;
using Kind = detail::CSSCondition::Kind;

// Recursive descent over the selector text into its parts. Every parse
// function returns false after recording the first failure.
class Parser {
 public:
  Parser(std::string_view text, bool lowerCaseTypes)
      : text_(text), lowerCaseTypes_(lowerCaseTypes) {}

  std::optional<std::vector<detail::CSSComplexSelector>> parse() {
    std::vector<detail::CSSComplexSelector> alternatives;
    do {
      skipSpace();
      if (!parseSelector(alternatives.emplace_back())) return std::nullopt;
    } while (consume(','));
    if (!atEnd()) {
      fail("Unexpected “" + std::string(1, peek()) + "”");
      return std::nullopt;
    }
    return alternatives;
  }

  [[nodiscard]] const std::string& reason() const { return reason_; }
  [[nodiscard]] std::size_t offset() const { return failedAt_; }

 private:
  bool fail(std::string reason) {
    if (reason_.empty()) {
      reason_ = std::move(reason);
      failedAt_ = pos_;
    }
    return false;
  }
  [[nodiscard]] bool atEnd() const { return pos_ >= text_.size(); }
  [[nodiscard]] char peek(std::size_t ahead = 0) const {
    return pos_ + ahead < text_.size() ? text_[pos_ + ahead] : '\0';
  }
  bool consume(char c) {
    if (peek() != c || atEnd()) return false;
    ++pos_;
    return true;
  }
  bool skipSpace() {
    const std::size_t start = pos_;
    while (!atEnd() && isSpace(peek())) ++pos_;
    return pos_ != start;
  }

  bool parseSelector(detail::CSSComplexSelector& selector) {
    if (!parseCompound(selector.compounds.emplace_back())) return false;
    for (;;) {
      const bool spaced = skipSpace();
      if (consume('>')) {
        selector.combinators.push_back(detail::CSSCombinator::Child);
      } else if (consume('+')) {
        selector.combinators.push_back(detail::CSSCombinator::Adjacent);
      } else if (consume('~')) {
        selector.combinators.push_back(detail::CSSCombinator::Sibling);
      } else if (spaced && !atEnd() && peek() != ',') {
        selector.combinators.push_back(detail::CSSCombinator::Descendant);
      } else {
        return true;
      }
      skipSpace();
      if (selector.compounds.size() == kMaxCompounds)
        return fail("More than " + std::to_string(kMaxCompounds) + " compound selectors in a row");
      if (!parseCompound(selector.compounds.emplace_back())) return false;
    }
  }

  // A type selector and its qualifiers. HTML names (lower-cased, no
  // namespace) become name tests, which libxml2 evaluates far faster than a
  // local-name() comparison; XML names match by local name.
  bool parseCompound(detail::CSSCompound& compound) {
    compound.clear();
    bool any = false;
    if (consume('*')) {
      any = true;
    } else if (startsName()) {
      std::string type;
      if (!parseName(type)) return false;
      if (lowerCaseTypes_) {
        for (char& c : type) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
      }
      const bool nameTest = lowerCaseTypes_ && isPlainXPathName(type);
      compound.emplace_back(nameTest ? Kind::HTMLName : Kind::LocalName, xmlCharactersOnly(type));
      any = true;
    }
    if (peek() == '|') return fail("Namespace prefixes are not supported");
    for (;;) {
      std::string name;
      if (consume('#')) {
        if (!parseName(name)) return false;
        compound.push_back(attributeCondition(Kind::AttributeEquals, "id", name));
      } else if (consume('.')) {
        if (!parseName(name)) return false;
        compound.push_back(attributeCondition(Kind::AttributeIncludes, "class", name));
      } else if (consume('[')) {
        if (!parseAttribute(compound.emplace_back())) return false;
      } else if (consume(':')) {
        if (!parsePseudoClass(compound.emplace_back())) return false;
      } else {
        break;
      }
      any = true;
    }
    if (!any) return fail(atEnd() ? "Expected a selector at the end" : "Expected a selector");
    return true;
  }

  static Condition attributeCondition(Kind kind, std::string_view name, std::string_view value) {
    Condition condition(kind, xmlCharactersOnly(value));
    condition.attribute = xmlCharactersOnly(name);
    condition.anyNamespace = !isPlainXPathName(name);
    return condition;
  }

  [[nodiscard]] bool startsName() const {
    const auto c = static_cast<unsigned char>(peek());
    const auto next = static_cast<unsigned char>(peek(1));
    if (c == '-') return isNameStart(next) || next == '-' || next == '\\';
    return isNameStart(c) || c == '\\';
  }

  // An identifier with CSS escapes ("\31 " is "1", "\:" is ":").
  bool parseName(std::string& name) {
    name.clear();
    if (!startsName()) return fail("Expected a name");
    while (!atEnd()) {
      const char c = peek();
      if (c == '\\') {
        ++pos_;
        if (atEnd() || peek() == '\n') return fail("Incomplete escape");
        if (std::isxdigit(static_cast<unsigned char>(peek()))) {
          char32_t code = 0;
          for (int i = 0; i < 6 && std::isxdigit(static_cast<unsigned char>(peek())); ++i)
            code = code * 16 + hexDigitValue(text_[pos_++]);
          if (isSpace(peek())) ++pos_;
          appendUTF8(name, code);
        } else {
          name += text_[pos_++];
        }
      } else if (isNameChar(static_cast<unsigned char>(c))) {
        name += c;
        ++pos_;
      } else {
        break;
      }
    }
    return true;
  }

  bool parseString(std::string& value) {
    const char quote = peek();
    ++pos_;
    value.clear();
    while (!atEnd() && peek() != quote) {
      if (peek() == '\\') {
        ++pos_;
        if (atEnd()) break;
        if (peek() == '\n') {
          ++pos_;
          continue;
        }
        --pos_;
        std::string escaped;
        if (!parseName(escaped)) return false;
        value += escaped;
        continue;
      }
      if (peek() == '\n') return fail("Unterminated string");
      value += text_[pos_++];
    }
    if (!consume(quote)) return fail("Unterminated string");
    return true;
  }

  bool parseAttribute(Condition& condition) {
    skipSpace();
    std::string name;
    if (!parseName(name)) return false;
    if (peek() == '|' && peek(1) != '=') return fail("Namespace prefixes are not supported");
    skipSpace();
    if (consume(']')) {
      condition = attributeCondition(Kind::AttributeExists, name, "");
      return true;
    }
    char op = '=';
    if (std::string_view("~|^$*").find(peek()) != std::string_view::npos && peek() != '\0')
      op = text_[pos_++];
    if (!consume('=')) return fail("Expected “]” or an attribute operator");
    skipSpace();
    std::string value;
    if (peek() == '"' || peek() == '\'') {
      if (!parseString(value)) return false;
    } else if (!parseName(value)) {
      return false;
    }
    skipSpace();
    if (!consume(']')) return fail("Expected “]”");
    static constexpr std::pair<char, Kind> kOperators[] = {
        {'=', Kind::AttributeEquals},   {'|', Kind::AttributeDashMatch},
        {'~', Kind::AttributeIncludes}, {'^', Kind::AttributePrefix},
        {'$', Kind::AttributeSuffix},   {'*', Kind::AttributeSubstring}};
    Kind kind = Kind::AttributeEquals;
    for (const auto& [symbol, operatorKind] : kOperators)
      if (symbol == op) kind = operatorKind;
    // These operators never match an empty value, nor "~=" a spaced one.
    const bool hopeless =
        op != '=' && op != '|' &&
        (value.empty() || (op == '~' && value.find_first_of(" \t\n\r\f") != std::string::npos));
    condition = hopeless ? Condition(Kind::Never) : attributeCondition(kind, name, value);
    return true;
  }

  bool parsePseudoClass(Condition& condition) {
    if (peek() == ':') return fail("Pseudo-elements are not supported");
    std::string name;
    if (!parseName(name)) return false;
    for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    static constexpr std::pair<std::string_view, Kind> kStructural[] = {
        {"first-child", Kind::FirstChild},
        {"last-child", Kind::LastChild},
        {"only-child", Kind::OnlyChild},
        {"empty", Kind::Empty}};
    for (const auto& [word, kind] : kStructural) {
      if (name == word) {
        condition = Condition(kind);
        return true;
      }
    }
    if ((name == "nth-child" || name == "nth-last-child") && consume('(')) {
      condition = Condition(name == "nth-child" ? Kind::NthChild : Kind::NthLastChild);
      return parseNth(condition.a, condition.b);
    }
    if (name == "not" && consume('(')) {
      skipSpace();
      condition = Condition(Kind::Not);
      if (notDepth_ == kMaxNotNesting)
        return fail(":not() nested more than " + std::to_string(kMaxNotNesting) + " deep");
      ++notDepth_;
      const bool parsed = parseCompound(condition.negated);
      --notDepth_;
      if (!parsed) return false;
      skipSpace();
      if (!consume(')')) return fail("Expected “)” after the :not() argument");
      return true;
    }
    return fail("Unsupported pseudo-class “:" + name + "”");
  }

  bool parseInteger(long& value) {
    if (!std::isdigit(static_cast<unsigned char>(peek()))) return fail("Expected a number");
    value = 0;
    while (std::isdigit(static_cast<unsigned char>(peek()))) {
      if (value > 99'999'999) return fail("Number too large");
      value = value * 10 + (text_[pos_++] - '0');
    }
    return true;
  }

  // "an+b" and its short forms ("odd", "even", "3", "-n+2", "2n").
  bool parseNth(long& a, long& b) {
    skipSpace();
    std::string word;
    if (std::isalpha(static_cast<unsigned char>(peek())) && (peek() != 'n' && peek() != 'N')) {
      if (!parseName(word)) return false;
      for (char& c : word) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
      if (word == "odd") {
        a = 2, b = 1;
      } else if (word == "even") {
        a = 2, b = 0;
      } else {
        return fail("Expected an+b, “odd” or “even”");
      }
    } else {
      long sign = 1;
      if (consume('-')) {
        sign = -1;
      } else {
        consume('+');
      }
      long number = 1;
      const bool hasNumber = std::isdigit(static_cast<unsigned char>(peek()));
      if (hasNumber && !parseInteger(number)) return false;
      if (consume('n') || consume('N')) {
        a = sign * number;
        b = 0;
        skipSpace();
        const char op = peek();
        if (op == '+' || op == '-') {
          ++pos_;
          skipSpace();
          if (!parseInteger(b)) return false;
          if (op == '-') b = -b;
        }
      } else {
        if (!hasNumber) return fail("Expected an+b");
        a = 0;
        b = sign * number;
      }
    }
    skipSpace();
    if (!consume(')')) return fail("Expected “)”");
    return true;
  }

  std::string_view text_;
  bool lowerCaseTypes_;
  std::size_t pos_ = 0;
  std::string reason_;
  std::size_t failedAt_ = 0;
  std::size_t notDepth_ = 0;
};

// The XPath 1.0 form of parsed selectors.
class XPathWriter {
 public:
  static std::string alternatives(const std::vector<detail::CSSComplexSelector>& selectors) {
    std::string xpath;
    for (const detail::CSSComplexSelector& selector : selectors) {
      if (!xpath.empty()) xpath += " | ";
      xpath += complex(selector);
    }
    return xpath;
  }

 private:
  static std::string complex(const detail::CSSComplexSelector& selector) {
    std::string xpath = "descendant::" + step(selector.compounds.front());
    for (std::size_t i = 0; i < selector.combinators.size(); ++i) {
      const detail::CSSCompound& compound = selector.compounds[i + 1];
      switch (selector.combinators[i]) {
        case detail::CSSCombinator::Descendant:
          xpath += "/descendant::" + step(compound);
          break;
        case detail::CSSCombinator::Child:
          xpath += "/" + step(compound);
          break;
        case detail::CSSCombinator::Sibling:
          xpath += "/following-sibling::" + step(compound);
          break;
        case detail::CSSCombinator::Adjacent:
          // The nearest following sibling first, whatever it is, then the test.
          xpath += "/following-sibling::*[1]" + predicate(conditions(compound, true));
          break;
      }
    }
    return xpath;
  }

  static bool hasNameTest(const detail::CSSCompound& compound) {
    return !compound.empty() && compound.front().kind == Kind::HTMLName;
  }

  // A name test and the other conditions as its predicate.
  static std::string step(const detail::CSSCompound& compound) {
    return (hasNameTest(compound) ? compound.front().value : "*") +
           predicate(conditions(compound, false));
  }

  static std::string predicate(const std::string& conditions) {
    return conditions.empty() ? std::string() : "[" + conditions + "]";
  }

  // The conditions joined with "and"; the name test too (as self::) where a
  // step cannot carry it.
  static std::string conditions(const detail::CSSCompound& compound, bool withNameTest) {
    std::string joined;
    for (std::size_t i = withNameTest || !hasNameTest(compound) ? 0 : 1; i < compound.size(); ++i) {
      if (!joined.empty()) joined += " and ";
      joined += condition(compound[i]);
    }
    return joined;
  }

  static std::string attributeNode(const Condition& c) {
    return c.anyNamespace ? "@*[name()=" + literal(c.attribute) + "]" : "@" + c.attribute;
  }

  // The position p = a·n + b for some n ≥ 0.
  static std::string nth(const std::string& p, long a, long b) {
    const std::string bs = "(" + std::to_string(b) + ")";
    if (a == 0) return p + "=" + bs;
    if (a > 0) return p + ">=" + bs + " and (" + p + "-" + bs + ") mod " + std::to_string(a) + "=0";
    return p + "<=" + bs + " and (" + bs + "-" + p + ") mod " + std::to_string(-a) + "=0";
  }

  static std::string condition(const Condition& c) {
    const std::string v = literal(c.value);
    switch (c.kind) {
      case Kind::LocalName:
        return "local-name()=" + v;
      case Kind::HTMLName:
        return "self::" + c.value;
      case Kind::AttributeExists:
        return attributeNode(c);
      case Kind::AttributeEquals:
        return attributeNode(c) + "=" + v;
      case Kind::AttributeDashMatch:
        return "(" + attributeNode(c) + "=" + v + " or starts-with(" + attributeNode(c) + "," +
               literal(c.value + "-") + "))";
      case Kind::AttributeIncludes:
        return "contains(concat(' ',normalize-space(" + attributeNode(c) + "),' ')," +
               literal(" " + c.value + " ") + ")";
      case Kind::AttributePrefix:
        return "starts-with(" + attributeNode(c) + "," + v + ")";
      case Kind::AttributeSuffix:
        return "substring(" + attributeNode(c) + ",string-length(" + attributeNode(c) + ")-" +
               std::to_string(codePointCount(c.value) - 1) + ")=" + v;
      case Kind::AttributeSubstring:
        return "contains(" + attributeNode(c) + "," + v + ")";
      case Kind::Never:
        return "false()";
      case Kind::FirstChild:
        return "not(preceding-sibling::*)";
      case Kind::LastChild:
        return "not(following-sibling::*)";
      case Kind::OnlyChild:
        return "not(preceding-sibling::*) and not(following-sibling::*)";
      case Kind::Empty:
        return "not(*) and not(text())";
      case Kind::NthChild:
        return nth("(count(preceding-sibling::*)+1)", c.a, c.b);
      case Kind::NthLastChild:
        return nth("(count(following-sibling::*)+1)", c.a, c.b);
      case Kind::Not: {
        const std::string matched = conditions(c.negated, true);
        return matched.empty() ? "false()" : "not(" + matched + ")";
      }
    }
    return "false()";
  }
};

std::shared_ptr<const detail::CSSCompiledSelector> compile(StringView selector,
                                                           bool caseInsensitiveTypes,
                                                           ErrorPtr* error) {
  const std::string utf8 = toUTF8(selector);
  Parser parser(utf8, caseInsensitiveTypes);
  std::optional<std::vector<detail::CSSComplexSelector>> alternatives = parser.parse();
  if (!alternatives) {
    setError(error, detail::makeXMLError(LXXMLErrorInvalidCSSSelector,
                                         "Invalid CSS selector “" + utf8 + "”: " + parser.reason() +
                                             " at offset " + std::to_string(parser.offset())));
    return nullptr;
  }
  std::string xpath = XPathWriter::alternatives(*alternatives);
  return std::make_shared<const detail::CSSCompiledSelector>(
      detail::CSSCompiledSelector{std::move(*alternatives), std::move(xpath)});
}

constexpr std::size_t kCacheCapacity = 1024;

}  // namespace

namespace detail {

std::shared_ptr<const CSSCompiledSelector> cachedCSSSelector(StringView selector,
                                                             bool caseInsensitiveTypes,
                                                             ErrorPtr* error) {
  static std::mutex mutex;
  static std::unordered_map<String, std::shared_ptr<const CSSCompiledSelector>> cache[2];
  auto& table = cache[caseInsensitiveTypes ? 1 : 0];
  {
    const std::lock_guard lock(mutex);
    if (const auto found = table.find(String(selector)); found != table.end()) return found->second;
  }
  std::shared_ptr<const CSSCompiledSelector> compiled =
      compile(selector, caseInsensitiveTypes, error);
  if (compiled) {
    const std::lock_guard lock(mutex);
    if (table.size() >= kCacheCapacity) table.clear();
    table.emplace(String(selector), compiled);
  }
  return compiled;
}

}  // namespace detail

std::optional<std::string> LXXPathForCSSSelector(StringView selector, bool caseInsensitiveTypes,
                                                 ErrorPtr* error) {
  const auto compiled = compile(selector, caseInsensitiveTypes, error);
  if (!compiled) return std::nullopt;
  return compiled->xpath;
}

std::optional<std::string> LXCachedXPathForCSSSelector(StringView selector,
                                                       bool caseInsensitiveTypes, ErrorPtr* error) {
  const auto compiled = detail::cachedCSSSelector(selector, caseInsensitiveTypes, error);
  if (!compiled) return std::nullopt;
  return compiled->xpath;
}

}  // namespace lx
