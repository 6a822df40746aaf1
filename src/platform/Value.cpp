#include "vantorcore/platform/Value.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <new>

#include "platform/ValueDocument.h"
#include "vantorcore/platform/Object.h"

namespace lx {

namespace detail {

namespace {

struct DataNode : Node {
  Data data;
  explicit DataNode(Data d) : Node(Kind::Data), data(std::move(d)) {}
};
struct ObjectNode : Node {
  std::shared_ptr<Object> object;
  explicit ObjectNode(std::shared_ptr<Object> o) : Node(Kind::Object), object(std::move(o)) {}
};

}  // namespace

StringNode* newStringNode(StringView text) {
  void* memory = ::operator new(sizeof(StringNode) + text.size() * sizeof(char16_t));
  auto* node = new (memory) StringNode();
  node->length = text.size();
  std::memcpy(node->chars(), text.data(), text.size() * sizeof(char16_t));
  return node;
}

void destroyNode(Node* node) noexcept {
  switch (node->kind) {
    case Node::Kind::String:
      static_cast<StringNode*>(node)->~StringNode();
      break;
    case Node::Kind::Data:
      static_cast<DataNode*>(node)->~DataNode();
      break;
    case Node::Kind::Array:
      static_cast<ArrayNode*>(node)->~ArrayNode();
      break;
    case Node::Kind::Dictionary:
      static_cast<DictionaryNode*>(node)->~DictionaryNode();
      break;
    case Node::Kind::Object:
      static_cast<ObjectNode*>(node)->~ObjectNode();
      break;
  }
  ::operator delete(node);
}

// A heap copy of `node` for a value about to change it.
Node* cloneNode(const Node* node) {
  switch (node->kind) {
    case Node::Kind::Array:
      return new ArrayNode(static_cast<const ArrayNode*>(node)->array);
    case Node::Kind::Dictionary:
      return new DictionaryNode(static_cast<const DictionaryNode*>(node)->dictionary);
    case Node::Kind::Data:
      return new DataNode(static_cast<const DataNode*>(node)->data);
    case Node::Kind::Object:
      return new ObjectNode(static_cast<const ObjectNode*>(node)->object);
    case Node::Kind::String:
      break;
  }
  return nullptr;  // strings never change, so are never cloned
}

}  // namespace detail

SharedString::SharedString(StringView text)
    : node_(text.empty() ? nullptr : detail::newStringNode(text)) {}

Value::Value(Data d) : type_(Type::Data), node_(new detail::DataNode(std::move(d))) {}
Value::Value(Array a) : type_(Type::Array), node_(new detail::ArrayNode(std::move(a))) {}
Value::Value(Dictionary d)
    : type_(Type::Dictionary), node_(new detail::DictionaryNode(std::move(d))) {}
Value::Value(std::shared_ptr<Object> o) : Value() {
  if (!o) return;
  type_ = Type::Object;
  node_ = new detail::ObjectNode(std::move(o));
}

void Value::copyPayload(const Value& other) noexcept {
  if (type_ == Type::String) {
    new (&string_) SharedString(other.string_);
  } else if (!other.holdsNode()) {
    integer_ = other.integer_;
  } else if (other.node_->flags & detail::Node::kUnsharable) {
    // Only ever referenced from `other`, which may still change it.
    node_ = detail::cloneNode(other.node_);
  } else {
    node_ = other.node_;
    detail::retain(node_);
  }
}

void Value::makeUnique() {
  if (node_->document || node_->refs.load(std::memory_order_acquire) != 1) {
    detail::Node* own = detail::cloneNode(node_);
    detail::release(node_);
    node_ = own;
  }
  node_->flags |= detail::Node::kUnsharable;
}

const Data* Value::asData() const noexcept {
  return type_ == Type::Data ? &static_cast<const detail::DataNode*>(node_)->data : nullptr;
}
const Array* Value::asArray() const noexcept {
  return type_ == Type::Array ? &static_cast<const detail::ArrayNode*>(node_)->array : nullptr;
}
Array* Value::asArray() {
  if (type_ != Type::Array) return nullptr;
  makeUnique();
  return &static_cast<detail::ArrayNode*>(node_)->array;
}
const Dictionary* Value::asDictionary() const noexcept {
  return type_ == Type::Dictionary ? &static_cast<const detail::DictionaryNode*>(node_)->dictionary
                                   : nullptr;
}
Dictionary* Value::asDictionary() {
  if (type_ != Type::Dictionary) return nullptr;
  makeUnique();
  return &static_cast<detail::DictionaryNode*>(node_)->dictionary;
}
std::shared_ptr<Object> Value::asObject() const noexcept {
  return type_ == Type::Object ? static_cast<const detail::ObjectNode*>(node_)->object : nullptr;
}

namespace {

template <class T>
T saturate(double d) noexcept {
  if (std::isnan(d)) return 0;
  if (d <= static_cast<double>(std::numeric_limits<T>::min())) return std::numeric_limits<T>::min();
  if (d >= static_cast<double>(std::numeric_limits<T>::max())) return std::numeric_limits<T>::max();
  return static_cast<T>(d);
}

}  // namespace

bool Value::boolValue() const noexcept {
  switch (type()) {
    case Type::Bool:
      return bool_;
    case Type::String: {
      // The platform's boolValue on text: "Y", "y", "T", "t" or a non-zero
      // leading number, after white space.
      const StringView s = string_.view();
      std::size_t i = 0;
      while (i < s.size() && (s[i] == u' ' || s[i] == u'\t' || s[i] == u'\n')) ++i;
      if (i < s.size() && (s[i] == u'Y' || s[i] == u'y' || s[i] == u'T' || s[i] == u't'))
        return true;
      return int64Value() != 0;
    }
    default:
      return int64Value() != 0 || doubleValue() != 0;
  }
}

std::int64_t Value::int64Value() const noexcept {
  switch (type()) {
    case Type::Bool:
      return bool_ ? 1 : 0;
    case Type::Integer:
      return integer_;
    case Type::UnsignedInteger:
      return static_cast<std::int64_t>(unsigned_);
    case Type::Real:
      return saturate<std::int64_t>(real_);
    case Type::String: {
      const std::string text = toUTF8(string_.view());
      return std::strtoll(text.c_str(), nullptr, 10);
    }
    default:
      return 0;
  }
}

std::uint64_t Value::uint64Value() const noexcept {
  switch (type()) {
    case Type::UnsignedInteger:
      return unsigned_;
    case Type::Real:
      return saturate<std::uint64_t>(real_);
    case Type::String: {
      const std::string text = toUTF8(string_.view());
      return std::strtoull(text.c_str(), nullptr, 10);
    }
    default:
      return static_cast<std::uint64_t>(int64Value());
  }
}

double Value::doubleValue() const noexcept {
  switch (type()) {
    case Type::Bool:
      return bool_ ? 1 : 0;
    case Type::Integer:
      return static_cast<double>(integer_);
    case Type::UnsignedInteger:
      return static_cast<double>(unsigned_);
    case Type::Real:
      return real_;
    case Type::String: {
      const std::string text = toUTF8(string_.view());
      return std::strtod(text.c_str(), nullptr);
    }
    default:
      return 0;
  }
}

namespace {

// Old-style property-list quoting: bare when the text is a plain word.
String quotedIfNeeded(StringView s) {
  bool plain = !s.empty();
  for (char16_t c : s) {
    if (!((c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9') ||
          c == u'_' || c == u'.' || c == u'$' || c == u'/' || c == u':' || c == u'-')) {
      plain = false;
      break;
    }
  }
  if (plain) return String(s);
  String out = u"\"";
  for (char16_t c : s) {
    if (c == u'"' || c == u'\\') out.push_back(u'\\');
    if (c == u'\n') {
      out.append(u"\\n");
      continue;
    }
    out.push_back(c);
  }
  out.push_back(u'"');
  return out;
}

void describe(const Value& v, String& out, int indent, bool topLevel);

void newlineIndent(String& out, int indent) {
  out.push_back(u'\n');
  out.append(static_cast<std::size_t>(indent) * 4, u' ');
}

String formatReal(double d) {
  char buf[40];
  std::snprintf(buf, sizeof buf, "%.17g", d);
  // Shortest text that reads back as the same double.
  for (int precision = 1; precision <= 17; ++precision) {
    char shortBuf[40];
    std::snprintf(shortBuf, sizeof shortBuf, "%.*g", precision, d);
    if (std::strtod(shortBuf, nullptr) == d) return fromUTF8(shortBuf);
  }
  return fromUTF8(buf);
}

void describe(const Value& v, String& out, int indent, bool topLevel) {
  switch (v.type()) {
    case Value::Type::Null:
      out.append(u"<null>");
      break;
    case Value::Type::Bool:
      out.append(v.boolValue() ? u"1" : u"0");
      break;
    case Value::Type::Integer:
      out.append(fromUTF8(std::to_string(v.int64Value())));
      break;
    case Value::Type::UnsignedInteger:
      out.append(fromUTF8(std::to_string(v.uint64Value())));
      break;
    case Value::Type::Real:
      out.append(formatReal(v.doubleValue()));
      break;
    case Value::Type::String:
      out.append(topLevel ? v.asString()->view() : StringView(quotedIfNeeded(*v.asString())));
      break;
    case Value::Type::Data: {
      static const char* hex = "0123456789abcdef";
      out.push_back(u'<');
      const Data& d = *v.asData();
      for (std::size_t i = 0; i < d.size(); ++i) {
        if (i && i % 4 == 0) out.push_back(u' ');
        out.push_back(static_cast<char16_t>(hex[d[i] >> 4]));
        out.push_back(static_cast<char16_t>(hex[d[i] & 15]));
      }
      out.push_back(u'>');
      break;
    }
    case Value::Type::Date: {
      const std::time_t t =
          static_cast<std::time_t>(std::floor(v.asDate()->timeIntervalSince1970()));
      std::tm tm{};
      gmtime_r(&t, &tm);
      char buf[64];
      std::strftime(buf, sizeof buf, "%Y-%m-%d %H:%M:%S +0000", &tm);
      out.append(fromUTF8(buf));
      break;
    }
    case Value::Type::Array: {
      const Array& a = *v.asArray();
      out.push_back(u'(');
      for (std::size_t i = 0; i < a.size(); ++i) {
        newlineIndent(out, indent + 1);
        describe(a[i], out, indent + 1, false);
        if (i + 1 < a.size()) out.push_back(u',');
      }
      newlineIndent(out, indent);
      out.push_back(u')');
      break;
    }
    case Value::Type::Dictionary: {
      out.push_back(u'{');
      for (const auto& [key, value] : *v.asDictionary()) {
        newlineIndent(out, indent + 1);
        out.append(quotedIfNeeded(key));
        out.append(u" = ");
        describe(value, out, indent + 1, false);
        out.push_back(u';');
      }
      newlineIndent(out, indent);
      out.push_back(u'}');
      break;
    }
    case Value::Type::Object:
      out.append(v.asObject()->description());
      break;
  }
}

}  // namespace

String Value::description() const {
  String out;
  describe(*this, out, 0, true);
  return out;
}

bool operator==(const Value& a, const Value& b) {
  if (a.isNumber() && b.isNumber()) {
    if (a.isReal() || b.isReal()) return a.doubleValue() == b.doubleValue();
    if (a.type() == Value::Type::UnsignedInteger || b.type() == Value::Type::UnsignedInteger) {
      // Compare exactly: a negative signed value never equals an unsigned one.
      if (a.type() == Value::Type::Integer && a.int64Value() < 0) return false;
      if (b.type() == Value::Type::Integer && b.int64Value() < 0) return false;
      return a.uint64Value() == b.uint64Value();
    }
    return a.int64Value() == b.int64Value();
  }
  if (a.type() != b.type()) return false;
  switch (a.type()) {
    case Value::Type::Null:
      return true;
    case Value::Type::String:
      return *a.asString() == *b.asString();
    case Value::Type::Data:
      return *a.asData() == *b.asData();
    case Value::Type::Date:
      return *a.asDate() == *b.asDate();
    case Value::Type::Array:
      return *a.asArray() == *b.asArray();
    case Value::Type::Dictionary:
      return *a.asDictionary() == *b.asDictionary();
    case Value::Type::Object: {
      auto oa = a.asObject(), ob = b.asObject();
      return oa == ob || oa->isEqual(*ob);
    }
    default:
      return false;
  }
}

std::size_t Value::hash() const noexcept {
  switch (type()) {
    case Type::Null:
      return 0x9e3779b9;
    case Type::Bool:
    case Type::Integer:
    case Type::UnsignedInteger:
    case Type::Real: {
      const double d = doubleValue();
      if (std::isnan(d)) return 0x7ff8;
      if (isReal() && d != std::floor(d)) return std::hash<double>{}(d);
      return std::hash<std::uint64_t>{}(
          isReal() ? static_cast<std::uint64_t>(static_cast<std::int64_t>(d)) : uint64Value());
    }
    case Type::String:
      return std::hash<StringView>{}(asString()->view());
    case Type::Data:
      return std::hash<std::string_view>{}(asStringView(*asData()));
    case Type::Date:
      return std::hash<double>{}(asDate()->timeIntervalSince1970());
    case Type::Array:
      return asArray()->size() * 31 + 7;
    case Type::Dictionary:
      return asDictionary()->size() * 37 + 11;
    case Type::Object:
      return asObject()->hash();
  }
  return 0;
}

}  // namespace lx
