#include "platform/JSONSyntaxError.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <system_error>
#include <vector>
#include "ASCIICase.h"

namespace lx::detail {

namespace {

struct Fault {
  std::string reason;
  std::size_t offset;
};

bool isLetterOrDigit(char c) {
  const char lower = static_cast<char>(c | 0x20);
  return isASCIIDigit(c) || (lower >= 'a' && lower <= 'z');
}

// The length of the well-formed UTF-8 sequence that `bytes` starts with, or 0.
// Narrowing the second byte's range per lead byte is what shuts out overlong
// forms, encoded UTF-16 surrogates and code points past U+10FFFF.
std::size_t utf8SequenceLength(std::string_view bytes, char32_t& codePoint) {
  const auto lead = static_cast<unsigned char>(bytes.front());
  std::size_t length = 0;
  unsigned char low = 0x80;
  unsigned char high = 0xBF;
  if (lead < 0x80) {
    codePoint = lead;
    return 1;
  } else if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
    codePoint = lead & 0x1F;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    codePoint = lead & 0x0F;
    low = lead == 0xE0 ? 0xA0 : low;
    high = lead == 0xED ? 0x9F : high;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    codePoint = lead & 0x07;
    low = lead == 0xF0 ? 0x90 : low;
    high = lead == 0xF4 ? 0x8F : high;
  } else {
    return 0;
  }
  if (bytes.size() < length) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    const auto byte = static_cast<unsigned char>(bytes[i]);
    if (byte < (i == 1 ? low : 0x80) || byte > (i == 1 ? high : 0xBF)) return 0;
    codePoint = (codePoint << 6) | (byte & 0x3F);
  }
  return length;
}

std::string describeCharacter(char32_t c) {
  if (c >= 0x20 && c < 0x7F) return std::string{'\'', static_cast<char>(c), '\''};
  char text[16];
  std::snprintf(text, sizeof text, "U+%04X", static_cast<unsigned>(c));
  return text;
}

// Roughly log10 of the number's magnitude. Only used to tell the two ways
// from_chars can be out of range apart, which lie some 600 powers of ten
// from each other, so the exponent may saturate.
long long decimalMagnitude(std::string_view number) {
  std::size_t i = number.front() == '-' ? 1 : 0;
  while (i < number.size() && number[i] == '0') ++i;
  long long magnitude = 0;
  for (; i < number.size() && isASCIIDigit(number[i]); ++i) ++magnitude;
  if (i < number.size() && number[i] == '.') {
    ++i;
    for (; magnitude <= 0 && i < number.size() && number[i] == '0'; ++i) --magnitude;
    while (i < number.size() && isASCIIDigit(number[i])) ++i;
  }
  if (i < number.size()) {  // the exponent
    ++i;
    const bool negative = number[i] == '-';
    if (number[i] == '-' || number[i] == '+') ++i;
    long long exponent = 0;
    for (; i < number.size(); ++i)
      exponent = std::min(exponent * 10 + (number[i] - '0'), 1LL << 40);
    magnitude += negative ? -exponent : exponent;
  }
  return magnitude;
}

// The reader keeps integers exact, so one that fits neither int64 nor uint64
// would come back altered. Reals may lose digits but must not become infinite,
// which JSON cannot write back; one too small for a double just reads as zero.
bool isInRange(std::string_view number, bool integral) {
  const char* first = number.data();
  const char* last = first + number.size();
  if (integral && number.front() == '-') {
    std::int64_t value;
    return std::from_chars(first, last, value).ec == std::errc();
  }
  if (integral) {
    std::uint64_t value;
    return std::from_chars(first, last, value).ec == std::errc();
  }
  double value;
  return std::from_chars(first, last, value).ec != std::errc::result_out_of_range ||
         decimalMagnitude(number) < 0;
}

class Checker {
 public:
  Checker(std::string_view json, std::size_t maximumDepth)
      : json_(json), maximumDepth_(maximumDepth) {}

  std::optional<Fault> run() {
    Next next = Next::Value;
    for (;;) {
      skipWhitespace();
      if (next == Next::Separator && open_.empty()) {
        if (pos_ == json_.size()) return std::nullopt;
        return offending("Unexpected content after the JSON value");
      }
      if (pos_ == json_.size()) return endOfInput();
      const char c = json_[pos_];
      std::optional<Fault> fault;
      switch (next) {
        case Next::Value:
          fault = value(next);
          break;
        case Next::Key:
          if (c != '"') return offending("Expected string key in object");
          fault = string();
          next = Next::Colon;
          break;
        case Next::Colon:
          if (c != ':') return offending("Expected ':' after object key");
          ++pos_;
          next = Next::Value;
          break;
        case Next::Separator: {
          const bool inArray = open_.back() == '[';
          if (c == ',') {
            ++pos_;
            next = inArray ? Next::Value : Next::Key;
          } else if (c == (inArray ? ']' : '}')) {
            ++pos_;
            open_.pop_back();
          } else {
            return offending(inArray ? "Expected ',' or ']' in array"
                                     : "Expected ',' or '}' in object");
          }
          break;
        }
      }
      if (fault) return fault;
    }
  }

 private:
  enum class Next { Value, Key, Colon, Separator };

  std::string_view json_;
  std::size_t maximumDepth_;
  std::size_t pos_ = 0;
  std::vector<char> open_;  // the opening bracket of each container we are in

  void skipWhitespace() {
    while (pos_ < json_.size() && (json_[pos_] == ' ' || json_[pos_] == '\t' ||
                                   json_[pos_] == '\n' || json_[pos_] == '\r'))
      ++pos_;
  }

  Fault endOfInput() const { return {"Unexpected end of input", json_.size()}; }

  // A byte that is wrong where it stands: when it is not even UTF-8, that says
  // more about what went wrong (a file in another encoding) than its place does.
  Fault offending(std::string reason) const {
    char32_t ignored;
    if (static_cast<unsigned char>(json_[pos_]) >= 0x80 &&
        utf8SequenceLength(json_.substr(pos_), ignored) == 0)
      return {"Invalid UTF-8", pos_};
    return {std::move(reason), pos_};
  }

  Fault unexpectedCharacter() const {
    char32_t c = static_cast<unsigned char>(json_[pos_]);
    utf8SequenceLength(json_.substr(pos_), c);
    return offending("Unexpected character " + describeCharacter(c));
  }

  std::optional<Fault> value(Next& next) {
    const char c = json_[pos_];
    next = Next::Separator;
    switch (c) {
      case '[':
      case '{': {
        if (open_.size() == maximumDepth_)
          return Fault{"Nesting deeper than " + std::to_string(maximumDepth_), pos_};
        open_.push_back(c);
        ++pos_;
        skipWhitespace();
        const char close = c == '[' ? ']' : '}';
        if (pos_ < json_.size() && json_[pos_] == close) {
          ++pos_;
          open_.pop_back();
        } else {
          next = c == '[' ? Next::Value : Next::Key;
        }
        return std::nullopt;
      }
      case '"':
        return string();
      case 't':
        return literal("true");
      case 'f':
        return literal("false");
      case 'n':
        return literal("null");
      default:
        // "+1" and ".5" are numbers gone wrong more often than stray characters.
        if (isASCIIDigit(c) || c == '-' || c == '+' || c == '.') return number();
        return unexpectedCharacter();
    }
  }

  std::optional<Fault> literal(std::string_view word) {
    const std::string_view rest = json_.substr(pos_);
    const std::size_t n = std::min(word.size(), rest.size());
    if (rest.substr(0, n) != word.substr(0, n)) return Fault{"Invalid literal", pos_};
    // A literal cut short is a truncated text rather than a misspelling.
    if (n < word.size()) return endOfInput();
    if (n < rest.size() && isLetterOrDigit(rest[n])) return Fault{"Invalid literal", pos_};
    pos_ += n;
    return std::nullopt;
  }

  std::optional<Fault> number() {
    const std::size_t start = pos_;
    std::size_t p = start;
    const auto at = [&](auto predicate) { return p < json_.size() && predicate(json_[p]); };
    const auto digits = [&] {
      const std::size_t from = p;
      while (at(isASCIIDigit)) ++p;
      return p > from;
    };
    const Fault invalid{"Invalid number", start};
    bool integral = true;
    if (at([](char c) { return c == '-'; })) ++p;
    if (at([](char c) { return c == '0'; })) {
      ++p;
    } else if (!digits()) {
      return invalid;
    }
    if (at([](char c) { return c == '.'; })) {
      ++p;
      integral = false;
      if (!digits()) return invalid;
    }
    if (at([](char c) { return c == 'e' || c == 'E'; })) {
      ++p;
      integral = false;
      if (at([](char c) { return c == '+' || c == '-'; })) ++p;
      if (!digits()) return invalid;
    }
    // "01", "1.2.3", "0x1F" and "12abc" are one broken number, not a number
    // followed by something unexpected.
    if (at([](char c) { return isLetterOrDigit(c) || c == '.' || c == '+' || c == '-'; }))
      return invalid;
    pos_ = p;
    if (!isInRange(json_.substr(start, p - start), integral))
      return Fault{"Number out of range", start};
    return std::nullopt;
  }

  std::optional<Fault> string() {
    std::size_t p = pos_ + 1;
    // A \uD800-\uDBFF escape is only half a character until its pair
    // follows; this is where it began, or kNoSurrogate.
    constexpr std::size_t kNoSurrogate = std::string_view::npos;
    std::size_t highSurrogate = kNoSurrogate;
    for (;;) {
      if (p == json_.size()) return endOfInput();
      const char c = json_[p];
      if (highSurrogate != kNoSurrogate && c != '\\')
        return Fault{"Invalid surrogate escape", highSurrogate};
      if (c == '"') {
        pos_ = p + 1;
        return std::nullopt;
      }
      if (static_cast<unsigned char>(c) < 0x20) return Fault{"Unescaped control character", p};
      if (static_cast<unsigned char>(c) >= 0x80) {
        char32_t ignored;
        const std::size_t length = utf8SequenceLength(json_.substr(p), ignored);
        if (length == 0) return Fault{"Invalid UTF-8", p};
        p += length;
        continue;
      }
      if (c != '\\') {
        ++p;
        continue;
      }
      if (p + 1 == json_.size()) return endOfInput();
      const char kind = json_[p + 1];
      if (kind != 'u') {
        if (highSurrogate != kNoSurrogate) return Fault{"Invalid surrogate escape", highSurrogate};
        if (std::string_view(R"("\/bfnrt)").find(kind) == std::string_view::npos)
          return Fault{"Invalid escape", p};
        p += 2;
        continue;
      }
      int unit = 0;
      for (std::size_t i = p + 2; i < p + 6 && unit >= 0; ++i) {
        if (i == json_.size()) return endOfInput();
        const int digit = asciiHexValue(json_[i]);
        unit = digit < 0 ? -1 : unit * 16 + digit;
      }
      const bool isLow = unit >= 0xDC00 && unit <= 0xDFFF;
      if (highSurrogate != kNoSurrogate) {
        if (!isLow) return Fault{"Invalid surrogate escape", highSurrogate};
        highSurrogate = kNoSurrogate;
      } else if (unit < 0) {
        return Fault{"Invalid escape", p};
      } else if (isLow) {
        return Fault{"Invalid surrogate escape", p};
      } else if (unit >= 0xD800 && unit <= 0xDBFF) {
        highSurrogate = p;
      }
      p += 6;
    }
  }
};

}  // namespace

std::optional<std::string> describeJSONSyntaxError(std::string_view json,
                                                   std::size_t maximumDepth) {
  const std::optional<Fault> fault = Checker(json, maximumDepth).run();
  if (!fault) return std::nullopt;
  return fault->reason + " at byte " + std::to_string(fault->offset);
}

}  // namespace lx::detail
