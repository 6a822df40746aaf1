#include "vantorcore/platform/JSON.h"

#include <simdjson.h>

#include "platform/JSONElement.h"
#include "platform/JSONSyntaxError.h"
#include "platform/ValueDocument.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <iterator>
#include <new>
#include <type_traits>
#include <vector>

namespace lx {

namespace {

ErrorPtr jsonError(String description) {
  return Error::make(String(NSCocoaErrorDomain), JSONSerialization::kErrorCode,
                     Dictionary{{u"NSDebugDescription", Value(std::move(description))}});
}

// ---------------------------------------------------------------------------
// Reading

// ---------------------------------------------------------------------------
// Writing

// The shortest text that reads back to the same value: a float is printed as
// the float it is. Large magnitudes go scientific: "181222222222222220000" is
// shorter than its exponent form but would read back as an integer beyond 64
// bits.
template <class F>
char* shortest(char* first, char* last, F value) {
  if (std::fabs(value) >= F(1e18))
    return std::to_chars(first, last, value, std::chars_format::scientific).ptr;
  return std::to_chars(first, last, value).ptr;
}

constexpr auto kPowersOfTen = [] {
  std::array<double, 16> powers{};
  double p = 1;
  for (double& power : powers) {
    power = p;
    p *= 10;
  }
  return powers;
}();

// Most doubles in documents are decimals with a few digits (prices, ratios,
// measurements). For those the shortest text is the integer n and the count
// of decimals k with the fewest k for which n / 10^k is the double again,
// which is quicker to find than by the general search. Exact because n and
// 10^k are exact doubles and division rounds correctly, as reading does;
// scaled values stay below 2^50 so that rounding `d * 10^k` cannot pick the
// wrong n. Returns null, having written nothing, when the double is not such
// a decimal or its exponent form would be as short: `shortest` decides then.
char* shortDecimal(char* p, double d) {
  const double a = std::fabs(d);
  if (!(a >= 1e-5 && a < 0x1p50)) return nullptr;
  for (std::size_t k = 0; k < kPowersOfTen.size(); ++k) {
    const double scaled = a * kPowersOfTen[k];
    if (scaled >= 0x1p50) return nullptr;
    const auto n = static_cast<std::uint64_t>(scaled + 0.5);
    if (static_cast<double>(n) / kPowersOfTen[k] != a) continue;
    char digits[24];
    const auto count = static_cast<std::size_t>(std::to_chars(digits, digits + 24, n).ptr - digits);
    // Lengths of the fixed and exponent forms, sign aside; the exponent has
    // two digits in this range.
    std::size_t significant = count;
    while (significant > 1 && digits[significant - 1] == '0') --significant;
    const std::size_t exponentForm = significant + (significant > 1) + 4;
    const std::size_t fixedForm = k == 0 ? count : count > k ? count + 1 : k + 2;
    if (fixedForm >= exponentForm) return nullptr;
    if (d < 0) *p++ = '-';
    if (count > k) {
      std::memcpy(p, digits, count - k);
      p += count - k;
      if (k == 0) return p;
      *p++ = '.';
    } else {
      *p++ = '0';
      *p++ = '.';
      std::memset(p, '0', k - count);
      p += k - count;
    }
    std::memcpy(p, digits + count - std::min(k, count), std::min(k, count));
    return p + std::min(k, count);
  }
  return nullptr;
}

// Characters below 0x80 that a JSON string cannot hold as they are, without
// and with "/" among them.
using EscapeTable = std::array<bool, 128>;
constexpr EscapeTable escapeTable(bool slash) {
  EscapeTable table{};
  for (int c = 0; c < 0x20; ++c) table[c] = true;
  table['"'] = table['\\'] = true;
  table['/'] = slash;
  return table;
}
constexpr EscapeTable kNeedsEscape = escapeTable(false);
constexpr EscapeTable kNeedsEscapeOrSlash = escapeTable(true);

// Writes into a buffer it grows itself and addresses by a cursor, so that
// each piece is a bounds check and a few stores rather than a string append.
class Writer {
 public:
  explicit Writer(unsigned options)
      : pretty_(options & JSONWritingPrettyPrinted),
        sorted_(options & JSONWritingSortedKeys),
        needsEscape_(options & JSONWritingWithoutEscapingSlashes ? kNeedsEscape
                                                                 : kNeedsEscapeOrSlash) {}

  bool write(const Value& value, std::size_t depth = 0) {
    switch (value.type()) {
      case Value::Type::Null:
        append("null");
        return true;
      case Value::Type::Bool:
        append(value.boolValue() ? "true" : "false");
        return true;
      case Value::Type::Integer:
        return writeNumber(value.int64Value());
      case Value::Type::UnsignedInteger:
        return writeNumber(value.uint64Value());
      case Value::Type::Real:
        return writeReal(*value.asReal());
      case Value::Type::String:
        writeString(*value.asString());
        return true;
      case Value::Type::Array:
        return writeArray(*value.asArray(), depth + 1);
      case Value::Type::Dictionary:
        return writeDictionary(*value.asDictionary(), depth + 1);
      case Value::Type::Data:
      case Value::Type::Date:
      case Value::Type::Object:
        break;
    }
    return fail(u"Invalid type in JSON write (" + value.description() + u")");
  }

  /// The text written, as `Out` (a string or a data object), in memory
  /// advised as huge pages when large: a result of many megabytes would
  /// otherwise cost a page fault per 4 KiB as it is filled.
  template <class Out>
  Out take() {
    Out out;
    out.reserve(size_);
    detail::adviseHugePages(out.data(), size_);
    out.insert(out.end(), buffer_.data(), buffer_.data() + size_);
    return out;
  }
  ErrorPtr error() const { return error_; }

 private:
  bool fail(String description) {
    if (!error_) error_ = jsonError(std::move(description));
    return false;
  }

  // Room for `n` more bytes; returns where they go.
  char* reserve(std::size_t n) {
    if (size_ + n > buffer_.capacity())
      buffer_.reserve(std::max(buffer_.capacity() * 2, size_ + n + 4096), size_);
    return buffer_.data() + size_;
  }
  void append(std::string_view text) {
    std::memcpy(reserve(text.size()), text.data(), text.size());
    size_ += text.size();
  }
  void put(char c) {
    *reserve(1) = c;
    ++size_;
  }

  template <class N>
  bool writeNumber(N n) {
    char* p = reserve(24);
    size_ += static_cast<std::size_t>(std::to_chars(p, p + 24, n).ptr - p);
    return true;
  }

  bool writeReal(Real r) {
    if (std::isnan(r.value)) return fail(u"Invalid number value (NaN) in JSON write");
    if (std::isinf(r.value)) return fail(u"Invalid number value (infinite) in JSON write");
    char* p = reserve(32);
    char* end = nullptr;
    if (r.isFloat) {
      end = shortest(p, p + 32, static_cast<float>(r.value));
    } else if (!(end = shortDecimal(p, r.value))) {
      end = shortest(p, p + 32, r.value);
    }
    size_ += static_cast<std::size_t>(end - p);
    return true;
  }

  void newline(std::size_t depth) {
    char* p = reserve(1 + depth * 2);
    *p = '\n';
    std::memset(p + 1, ' ', depth * 2);
    size_ += 1 + depth * 2;
  }

  bool checkDepth(std::size_t depth) {
    return depth <= JSONSerialization::kMaximumDepth ||
           fail(u"Too many nested arrays or dictionaries");
  }

  // Strings and containers live behind pointers, so walking a large tree is
  // a chain of cache misses; asking for the next member's target while the
  // current one is written hides most of them.
  static void prefetch(const Value& value) {
    if (const SharedString* text = value.asString()) {
      __builtin_prefetch(text->data());
    } else if (const Dictionary* dict = value.asDictionary()) {
      __builtin_prefetch(dict);
    } else if (const Array* array = value.asArray()) {
      __builtin_prefetch(array);
    }
  }

  bool writeArray(const Array& array, std::size_t depth) {
    if (!checkDepth(depth)) return false;
    put('[');
    for (std::size_t i = 0; i < array.size(); ++i) {
      if (i + 1 < array.size()) prefetch(array[i + 1]);
      if (i) put(',');
      if (pretty_) newline(depth);
      if (!write(array[i], depth)) return false;
    }
    if (pretty_ && !array.empty()) newline(depth - 1);
    put(']');
    return true;
  }

  bool writeDictionary(const Dictionary& dict, std::size_t depth) {
    if (!checkDepth(depth)) return false;
    put('{');
    auto member = [&](const Dictionary::Entry& e, bool first) {
      if (!first) put(',');
      if (pretty_) newline(depth);
      writeString(e.first);
      append(pretty_ ? " : " : ":");
      return write(e.second, depth);
    };
    if (sorted_) {
      std::vector<const Dictionary::Entry*> entries;
      entries.reserve(dict.size());
      for (const auto& e : dict) entries.push_back(&e);
      std::sort(entries.begin(), entries.end(),
                [](const auto* a, const auto* b) { return a->first < b->first; });
      for (std::size_t i = 0; i < entries.size(); ++i)
        if (!member(*entries[i], i == 0)) return false;
    } else {
      for (auto it = dict.begin(); it != dict.end(); ++it) {
        if (std::next(it) != dict.end()) prefetch(std::next(it)->second);
        if (!member(*it, it == dict.begin())) return false;
      }
    }
    if (pretty_ && !dict.empty()) newline(depth - 1);
    put('}');
    return true;
  }

  void writeString(StringView s) {
    static constexpr char kHex[] = "0123456789abcdef";
    // Worst case: six bytes ("\u001f") per unit, plus the quotes.
    char* const start = reserve(s.size() * 6 + 2);
    char* p = start;
    *p++ = '"';
    for (std::size_t i = 0; i < s.size(); ++i) {
      const char16_t c = s[i];
      if (c < 0x80) {
        if (!needsEscape_[c]) {
          *p++ = static_cast<char>(c);
          continue;
        }
        *p++ = '\\';
        switch (c) {
          case u'"':
            *p++ = '"';
            break;
          case u'\\':
            *p++ = '\\';
            break;
          case u'/':
            *p++ = '/';
            break;
          case u'\b':
            *p++ = 'b';
            break;
          case u'\f':
            *p++ = 'f';
            break;
          case u'\n':
            *p++ = 'n';
            break;
          case u'\r':
            *p++ = 'r';
            break;
          case u'\t':
            *p++ = 't';
            break;
          default:
            *p++ = 'u';
            *p++ = '0';
            *p++ = '0';
            *p++ = kHex[c >> 4];
            *p++ = kHex[c & 15];
        }
        continue;
      }
      char32_t cp = c;
      if (c >= 0xD800 && c <= 0xDBFF && i + 1 < s.size() && s[i + 1] >= 0xDC00 &&
          s[i + 1] <= 0xDFFF) {
        cp = 0x10000 + ((c - 0xD800) << 10) + (s[i + 1] - 0xDC00);
        ++i;
      } else if (c >= 0xD800 && c <= 0xDFFF) {
        cp = 0xFFFD;  // a lone surrogate
      }
      if (cp < 0x800) {
        *p++ = static_cast<char>(0xC0 | (cp >> 6));
      } else if (cp < 0x10000) {
        *p++ = static_cast<char>(0xE0 | (cp >> 12));
        *p++ = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
      } else {
        *p++ = static_cast<char>(0xF0 | (cp >> 18));
        *p++ = static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        *p++ = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
      }
      *p++ = static_cast<char>(0x80 | (cp & 0x3F));
    }
    *p++ = '"';
    size_ += static_cast<std::size_t>(p - start);
  }

  // Written up to `size_`; the rest is room. Large buffers are huge pages,
  // and nothing is zero-filled before it is written.
  detail::LargeBuffer buffer_;
  std::size_t size_ = 0;
  ErrorPtr error_;
  bool pretty_;
  bool sorted_;
  const EscapeTable& needsEscape_;
};

// `depth` counts containers the way the writer does: the top one is 1.
bool isValidMember(const Value& value, std::size_t depth) {
  const bool container = value.isArray() || value.isDictionary();
  if (container && depth > JSONSerialization::kMaximumDepth) return false;
  switch (value.type()) {
    case Value::Type::Null:
    case Value::Type::Bool:
    case Value::Type::Integer:
    case Value::Type::UnsignedInteger:
    case Value::Type::String:
      return true;
    case Value::Type::Real:
      return std::isfinite(value.asReal()->value);
    case Value::Type::Array:
      return std::all_of(value.asArray()->begin(), value.asArray()->end(),
                         [&](const Value& v) { return isValidMember(v, depth + 1); });
    case Value::Type::Dictionary:
      return std::all_of(value.asDictionary()->begin(), value.asDictionary()->end(),
                         [&](const auto& e) { return isValidMember(e.second, depth + 1); });
    default:
      return false;
  }
}

}  // namespace

namespace detail {

// A parser past this capacity is given back after its parse.
constexpr std::size_t kRetainedParserCapacity = 16u << 20;

struct ThreadJSONParser::State {
  simdjson::dom::parser parser;
  LargeBuffer input;
};

ThreadJSONParser::ThreadJSONParser()
    : state_([]() -> State& {
        thread_local State state;
        return state;
      }()) {}

ThreadJSONParser::~ThreadJSONParser() {
  if (state_.parser.capacity() > kRetainedParserCapacity) {
    state_.parser = simdjson::dom::parser();
    state_.input.reset();
  }
}

simdjson::dom::parser* ThreadJSONParser::operator->() noexcept { return &state_.parser; }

simdjson::error_code ThreadJSONParser::reserve(std::size_t length) {
  simdjson::dom::parser& parser = state_.parser;
  if (length <= parser.capacity()) return simdjson::SUCCESS;
  // `allocate` sizes the structural index only; the document (tape and
  // strings) is allocated here too, so that both are advised before use.
  if (const auto code = parser.allocate(length, JSONSerialization::kMaximumDepth)) return code;
  if (const auto code = parser.doc.allocate(length)) return code;
  const std::size_t slots = (length + 3 + 63) / 64 * 64;
  adviseHugePages(parser.doc.tape.get(), slots * sizeof(std::uint64_t));
  adviseHugePages(parser.doc.string_buf.get(), 5 * length / 3);
  adviseHugePages(parser.implementation->structural_indexes.get(), length * sizeof(std::uint32_t));
  return simdjson::SUCCESS;
}

const char* ThreadJSONParser::padded(std::string_view text) {
  state_.input.reserve(text.size() + simdjson::SIMDJSON_PADDING, 0);
  std::memcpy(state_.input.data(), text.data(), text.size());
  std::memset(state_.input.data() + text.size(), 0, simdjson::SIMDJSON_PADDING);
  return state_.input.data();
}

namespace {

// Recursion is bounded by the parser's depth limit.
void build(DocumentBuilder& builder, Value* slot, simdjson::dom::element element) {
  using simdjson::dom::element_type;
  switch (element.type()) {
    case element_type::ARRAY: {
      const simdjson::dom::array array = element.get_array().value_unsafe();
      std::size_t count = array.size();
      // The tape's count saturates; past that, count by walking.
      if (count >= 0xFFFFFF)
        count = static_cast<std::size_t>(std::distance(array.begin(), array.end()));
      Value* out = builder.setArray(slot, count);
      for (simdjson::dom::element member : array) build(builder, out++, member);
      return;
    }
    case element_type::OBJECT: {
      const simdjson::dom::object object = element.get_object().value_unsafe();
      std::size_t count = object.size();
      if (count >= 0xFFFFFF)
        count = static_cast<std::size_t>(std::distance(object.begin(), object.end()));
      Dictionary::Entry* out = builder.setDictionary(slot, count);
      for (simdjson::dom::key_value_pair member : object) {
        builder.setKey(out, member.key);
        build(builder, &out->second, member.value);
        ++out;
      }
      builder.finishDictionary(slot);
      return;
    }
    case element_type::INT64:
      *slot = Value(element.get_int64().value_unsafe());
      return;
    case element_type::UINT64:
      *slot = Value(element.get_uint64().value_unsafe());
      return;
    case element_type::DOUBLE:
      *slot = Value(element.get_double().value_unsafe());
      return;
    case element_type::STRING:
      builder.setString(slot, element.get_string().value_unsafe());
      return;
    case element_type::BOOL:
      *slot = Value(element.get_bool().value_unsafe());
      return;
    case element_type::NULL_VALUE:
      return;
  }
}

}  // namespace

Value valueFromJSONElement(simdjson::dom::element element, std::size_t textLength) {
  // A document's values take about three times its text.
  DocumentBuilder builder(textLength * 3);
  Value root;
  build(builder, &root, element);
  return builder.finish(root);
}

}  // namespace detail

std::optional<Value> JSONSerialization::JSONObjectWithData(std::string_view json, unsigned options,
                                                           ErrorPtr* error) {
  detail::ThreadJSONParser parser;
  simdjson::dom::element root;
  simdjson::error_code code = parser.reserve(json.size());
  if (!code) code = parser->parse(parser.padded(json), json.size(), false).get(root);
  std::optional<Value> result;
  if (code) {
    const std::optional<std::string> where = detail::describeJSONSyntaxError(json, kMaximumDepth);
    setError(error, jsonError(fromUTF8(where ? *where : simdjson::error_message(code))));
  } else if (!(options & JSONReadingFragmentsAllowed) && !root.is_array() && !root.is_object()) {
    setError(error, jsonError(u"JSON text did not start with array or object and option to allow "
                              u"fragments not set."));
  } else {
    result = detail::valueFromJSONElement(root, json.size());
  }
  return result;
}

namespace {
template <class Out>
std::optional<Out> serialize(const Value& value, unsigned options, ErrorPtr* error) {
  if (!(options & JSONWritingFragmentsAllowed) && !value.isArray() && !value.isDictionary()) {
    setError(error, jsonError(u"Invalid top-level type in JSON write"));
    return std::nullopt;
  }
  Writer writer(options);
  if (!writer.write(value)) {
    setError(error, writer.error());
    return std::nullopt;
  }
  return writer.take<Out>();
}
}  // namespace

std::optional<std::string> JSONSerialization::stringWithJSONObject(const Value& value,
                                                                   unsigned options,
                                                                   ErrorPtr* error) {
  return serialize<std::string>(value, options, error);
}

std::optional<Data> JSONSerialization::dataWithJSONObject(const Value& value, unsigned options,
                                                          ErrorPtr* error) {
  return serialize<Data>(value, options, error);
}

bool JSONSerialization::isValidJSONObject(const Value& value, bool fragmentsAllowed) {
  if (!fragmentsAllowed && !value.isArray() && !value.isDictionary()) return false;
  return isValidMember(value, 1);
}

}  // namespace lx
