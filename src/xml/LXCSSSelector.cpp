#include "vantorcore/xml/LXCSSSelector.h"

#include <cctype>
#include <mutex>
#include <string_view>
#include <unordered_map>
#include <vector>

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
std::string literal(std::string_view raw) {
  const std::string safe = xmlCharactersOnly(raw);
  const std::string_view text = safe;
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

std::string attributeNode(std::string_view name) {
  return isPlainXPathName(name) ? "@" + std::string(name) : "@*[name()=" + literal(name) + "]";
}

// Recursive descent over the selector text, building the XPath as it goes.
// Every parse function returns false after recording the first failure.
class Compiler {
 public:
  Compiler(std::string_view text, bool lowerCaseTypes)
      : text_(text), lowerCaseTypes_(lowerCaseTypes) {}

  std::optional<std::string> compile() {
    std::string xpath;
    do {
      skipSpace();
      std::string selector;
      if (!parseSelector(selector)) return std::nullopt;
      if (!xpath.empty()) xpath += " | ";
      xpath += selector;
    } while (consume(','));
    if (!atEnd()) {
      fail("Unexpected “" + std::string(1, peek()) + "”");
      return std::nullopt;
    }
    return xpath;
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

  // One compound selector: an XPath node test and the conditions on it.
  struct Compound {
    std::string nodeTest = "*";
    std::string conditions;
  };

  static std::string predicate(const std::string& conditions) {
    return conditions.empty() ? std::string() : "[" + conditions + "]";
  }

  static std::string joined(const std::string& a, const std::string& b) {
    return a.empty() ? b : b.empty() ? a : a + " and " + b;
  }

  // The node test as a condition, for places that cannot take a name test.
  static std::string selfCondition(const Compound& compound) {
    return compound.nodeTest == "*" ? std::string() : "self::" + compound.nodeTest;
  }

  bool parseSelector(std::string& xpath) {
    Compound compound;
    if (!parseCompound(compound)) return false;
    xpath = "descendant::" + compound.nodeTest + predicate(compound.conditions);
    for (;;) {
      const bool spaced = skipSpace();
      std::string axis;
      bool adjacent = false;
      if (consume('>')) {
        axis = "/";
      } else if (consume('+')) {
        adjacent = true;
      } else if (consume('~')) {
        axis = "/following-sibling::";
      } else if (spaced && !atEnd() && peek() != ',') {
        axis = "/descendant::";
      } else {
        return true;
      }
      skipSpace();
      if (!parseCompound(compound)) return false;
      if (adjacent) {
        // The nearest following sibling first, whatever it is, then the test.
        xpath += "/following-sibling::*[1]" +
                 predicate(joined(selfCondition(compound), compound.conditions));
      } else {
        xpath += axis + compound.nodeTest + predicate(compound.conditions);
      }
    }
  }

  // A type selector and its qualifiers. HTML names (lower-cased, no
  // namespace) become name tests, which libxml2 evaluates far faster than a
  // local-name() comparison; XML names match by local name.
  bool parseCompound(Compound& compound) {
    compound = Compound();
    std::vector<std::string> parts;
    bool any = false;
    if (consume('*')) {
      any = true;
    } else if (startsName()) {
      std::string type;
      if (!parseName(type)) return false;
      if (lowerCaseTypes_) {
        for (char& c : type) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
      }
      if (lowerCaseTypes_ && isPlainXPathName(type)) {
        compound.nodeTest = type;
      } else {
        parts.push_back("local-name()=" + literal(type));
      }
      any = true;
    }
    if (peek() == '|') return fail("Namespace prefixes are not supported");
    for (;;) {
      std::string part;
      if (consume('#')) {
        if (!parseName(part)) return false;
        parts.push_back("@id=" + literal(part));
      } else if (consume('.')) {
        if (!parseName(part)) return false;
        parts.push_back("contains(concat(' ',normalize-space(@class),' ')," +
                        literal(" " + part + " ") + ")");
      } else if (consume('[')) {
        if (!parseAttribute(part)) return false;
        parts.push_back(part);
      } else if (consume(':')) {
        if (!parsePseudoClass(part)) return false;
        parts.push_back(part);
      } else {
        break;
      }
      any = true;
    }
    if (!any) return fail(atEnd() ? "Expected a selector at the end" : "Expected a selector");
    for (const std::string& part : parts) compound.conditions = joined(compound.conditions, part);
    return true;
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

  bool parseAttribute(std::string& condition) {
    skipSpace();
    std::string name;
    if (!parseName(name)) return false;
    if (peek() == '|' && peek(1) != '=') return fail("Namespace prefixes are not supported");
    skipSpace();
    const std::string node = attributeNode(name);
    if (consume(']')) {
      condition = node;
      return true;
    }
    std::string op;
    if (std::string_view("~|^$*").find(peek()) != std::string_view::npos && peek() != '\0')
      op += text_[pos_++];
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
    const std::string v = literal(value);
    if (op.empty()) {
      condition = node + "=" + v;
    } else if (op == "|") {
      condition =
          "(" + node + "=" + v + " or starts-with(" + node + "," + literal(value + "-") + "))";
    } else if (value.empty() ||
               (op == "~" && value.find_first_of(" \t\n\r\f") != std::string::npos)) {
      condition = "false()";  // these operators never match an empty or spaced value
    } else if (op == "~") {
      condition = "contains(concat(' ',normalize-space(" + node + "),' ')," +
                  literal(" " + value + " ") + ")";
    } else if (op == "^") {
      condition = "starts-with(" + node + "," + v + ")";
    } else if (op == "$") {
      condition = "substring(" + node + ",string-length(" + node + ")-" +
                  std::to_string(codePointCount(value) - 1) + ")=" + v;
    } else {
      condition = "contains(" + node + "," + v + ")";
    }
    return true;
  }

  bool parsePseudoClass(std::string& condition) {
    if (peek() == ':') return fail("Pseudo-elements are not supported");
    std::string name;
    if (!parseName(name)) return false;
    for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (name == "first-child") {
      condition = "not(preceding-sibling::*)";
    } else if (name == "last-child") {
      condition = "not(following-sibling::*)";
    } else if (name == "only-child") {
      condition = "not(preceding-sibling::*) and not(following-sibling::*)";
    } else if (name == "empty") {
      condition = "not(*) and not(text())";
    } else if ((name == "nth-child" || name == "nth-last-child") && consume('(')) {
      long a = 0;
      long b = 0;
      if (!parseNth(a, b)) return false;
      const std::string axis = name == "nth-child" ? "preceding-sibling" : "following-sibling";
      condition = nthCondition("(count(" + axis + "::*)+1)", a, b);
    } else if (name == "not" && consume('(')) {
      skipSpace();
      Compound inner;
      if (!parseCompound(inner)) return false;
      skipSpace();
      if (!consume(')')) return fail("Expected “)” after the :not() argument");
      const std::string matched = joined(selfCondition(inner), inner.conditions);
      condition = matched.empty() ? "false()" : "not(" + matched + ")";
    } else {
      return fail("Unsupported pseudo-class “:" + name + "”");
    }
    return true;
  }

  // The position p = a·n + b for some n ≥ 0.
  static std::string nthCondition(const std::string& p, long a, long b) {
    const std::string bs = "(" + std::to_string(b) + ")";
    if (a == 0) return p + "=" + bs;
    if (a > 0) return p + ">=" + bs + " and (" + p + "-" + bs + ") mod " + std::to_string(a) + "=0";
    return p + "<=" + bs + " and (" + bs + "-" + p + ") mod " + std::to_string(-a) + "=0";
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
};

constexpr std::size_t kCacheCapacity = 1024;

}  // namespace

std::optional<std::string> LXXPathForCSSSelector(StringView selector, bool caseInsensitiveTypes,
                                                 ErrorPtr* error) {
  const std::string utf8 = toUTF8(selector);
  Compiler compiler(utf8, caseInsensitiveTypes);
  std::optional<std::string> xpath = compiler.compile();
  if (!xpath) {
    setError(error,
             detail::makeXMLError(LXXMLErrorInvalidCSSSelector,
                                  "Invalid CSS selector “" + utf8 + "”: " + compiler.reason() +
                                      " at offset " + std::to_string(compiler.offset())));
  }
  return xpath;
}

std::optional<std::string> LXCachedXPathForCSSSelector(StringView selector,
                                                       bool caseInsensitiveTypes, ErrorPtr* error) {
  static std::mutex mutex;
  static std::unordered_map<String, std::string> cache[2];
  auto& table = cache[caseInsensitiveTypes ? 1 : 0];
  {
    const std::lock_guard lock(mutex);
    if (const auto found = table.find(String(selector)); found != table.end()) return found->second;
  }
  std::optional<std::string> xpath = LXXPathForCSSSelector(selector, caseInsensitiveTypes, error);
  if (xpath) {
    const std::lock_guard lock(mutex);
    if (table.size() >= kCacheCapacity) table.clear();
    table.emplace(String(selector), *xpath);
  }
  return xpath;
}

}  // namespace lx
