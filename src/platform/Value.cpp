#include "vantorcore/platform/Value.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <limits>

#include "vantorcore/platform/Object.h"

namespace lx {

Value::Value(Array a) : v_(detail::Box<Array>(std::move(a))) {}
Value::Value(Dictionary d) : v_(detail::Box<Dictionary>(std::move(d))) {}
Value::Value(std::shared_ptr<Object> o) noexcept {
  if (o) v_ = std::move(o);
}
Value::~Value() = default;

const Array* Value::asArray() const noexcept {
  auto* box = std::get_if<detail::Box<Array>>(&v_);
  return box ? &**box : nullptr;
}
Array* Value::asArray() noexcept {
  auto* box = std::get_if<detail::Box<Array>>(&v_);
  return box ? &**box : nullptr;
}
const Dictionary* Value::asDictionary() const noexcept {
  auto* box = std::get_if<detail::Box<Dictionary>>(&v_);
  return box ? &**box : nullptr;
}
Dictionary* Value::asDictionary() noexcept {
  auto* box = std::get_if<detail::Box<Dictionary>>(&v_);
  return box ? &**box : nullptr;
}
std::shared_ptr<Object> Value::asObject() const noexcept {
  auto* o = std::get_if<std::shared_ptr<Object>>(&v_);
  return o ? *o : nullptr;
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
    case Type::Bool: return std::get<bool>(v_);
    case Type::String: {
      // The platform's boolValue on text: "Y", "y", "T", "t" or a non-zero
      // leading number, after white space.
      const String& s = std::get<String>(v_);
      std::size_t i = 0;
      while (i < s.size() && (s[i] == u' ' || s[i] == u'\t' || s[i] == u'\n')) ++i;
      if (i < s.size() && (s[i] == u'Y' || s[i] == u'y' || s[i] == u'T' || s[i] == u't'))
        return true;
      return int64Value() != 0;
    }
    default: return int64Value() != 0 || doubleValue() != 0;
  }
}

std::int64_t Value::int64Value() const noexcept {
  switch (type()) {
    case Type::Bool: return std::get<bool>(v_) ? 1 : 0;
    case Type::Integer: return std::get<std::int64_t>(v_);
    case Type::UnsignedInteger: return static_cast<std::int64_t>(std::get<std::uint64_t>(v_));
    case Type::Real: return saturate<std::int64_t>(std::get<Real>(v_).value);
    case Type::String: {
      const std::string text = toUTF8(std::get<String>(v_));
      return std::strtoll(text.c_str(), nullptr, 10);
    }
    default: return 0;
  }
}

std::uint64_t Value::uint64Value() const noexcept {
  switch (type()) {
    case Type::UnsignedInteger: return std::get<std::uint64_t>(v_);
    case Type::Real: return saturate<std::uint64_t>(std::get<Real>(v_).value);
    case Type::String: {
      const std::string text = toUTF8(std::get<String>(v_));
      return std::strtoull(text.c_str(), nullptr, 10);
    }
    default: return static_cast<std::uint64_t>(int64Value());
  }
}

double Value::doubleValue() const noexcept {
  switch (type()) {
    case Type::Bool: return std::get<bool>(v_) ? 1 : 0;
    case Type::Integer: return static_cast<double>(std::get<std::int64_t>(v_));
    case Type::UnsignedInteger: return static_cast<double>(std::get<std::uint64_t>(v_));
    case Type::Real: return std::get<Real>(v_).value;
    case Type::String: {
      const std::string text = toUTF8(std::get<String>(v_));
      return std::strtod(text.c_str(), nullptr);
    }
    default: return 0;
  }
}

namespace {

// Old-style property-list quoting: bare when the text is a plain word.
String quotedIfNeeded(const String& s) {
  bool plain = !s.empty();
  for (char16_t c : s) {
    if (!((c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9') ||
          c == u'_' || c == u'.' || c == u'$' || c == u'/' || c == u':' || c == u'-')) {
      plain = false;
      break;
    }
  }
  if (plain) return s;
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
    case Value::Type::Null: out.append(u"<null>"); break;
    case Value::Type::Bool: out.append(v.boolValue() ? u"1" : u"0"); break;
    case Value::Type::Integer: out.append(fromUTF8(std::to_string(v.int64Value()))); break;
    case Value::Type::UnsignedInteger: out.append(fromUTF8(std::to_string(v.uint64Value()))); break;
    case Value::Type::Real: out.append(formatReal(v.doubleValue())); break;
    case Value::Type::String:
      out.append(topLevel ? *v.asString() : quotedIfNeeded(*v.asString()));
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
      const std::time_t t = static_cast<std::time_t>(std::floor(v.asDate()->timeIntervalSince1970()));
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
    case Value::Type::Object: out.append(v.asObject()->description()); break;
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
    case Value::Type::Null: return true;
    case Value::Type::String: return *a.asString() == *b.asString();
    case Value::Type::Data: return *a.asData() == *b.asData();
    case Value::Type::Date: return *a.asDate() == *b.asDate();
    case Value::Type::Array: return *a.asArray() == *b.asArray();
    case Value::Type::Dictionary: return *a.asDictionary() == *b.asDictionary();
    case Value::Type::Object: {
      auto oa = a.asObject(), ob = b.asObject();
      return oa == ob || oa->isEqual(*ob);
    }
    default: return false;
  }
}

std::size_t Value::hash() const noexcept {
  switch (type()) {
    case Type::Null: return 0x9e3779b9;
    case Type::Bool:
    case Type::Integer:
    case Type::UnsignedInteger:
    case Type::Real: {
      const double d = doubleValue();
      if (std::isnan(d)) return 0x7ff8;
      if (isReal() && d != std::floor(d)) return std::hash<double>{}(d);
      return std::hash<std::uint64_t>{}(isReal() ? static_cast<std::uint64_t>(
                                                       static_cast<std::int64_t>(d))
                                                 : uint64Value());
    }
    case Type::String: return std::hash<String>{}(*asString());
    case Type::Data: return std::hash<std::string_view>{}(asStringView(*asData()));
    case Type::Date: return std::hash<double>{}(asDate()->timeIntervalSince1970());
    case Type::Array: return asArray()->size() * 31 + 7;
    case Type::Dictionary: return asDictionary()->size() * 37 + 11;
    case Type::Object: return asObject()->hash();
  }
  return 0;
}

// ---------------------------------------------------------------------------
// Dictionary

namespace {
// Below this size a linear scan beats hashing, and small dictionaries are
// the common case (user info, JSON objects).
constexpr std::size_t kIndexThreshold = 12;

struct ViewHash {
  using is_transparent = void;
  std::size_t operator()(StringView s) const noexcept { return std::hash<StringView>{}(s); }
};
}  // namespace

struct Dictionary::Index {
  std::unordered_map<String, std::size_t, ViewHash, std::equal_to<>> map;
};

Dictionary::Dictionary(std::initializer_list<Entry> entries) {
  for (const auto& e : entries) set(e.first, e.second);
}
Dictionary::Dictionary(std::vector<Entry> entries) : entries_(std::move(entries)) {
  mergeRepeatedKeys();
}
Dictionary::Dictionary(const Dictionary& other) : entries_(other.entries_) {}
Dictionary& Dictionary::operator=(const Dictionary& other) {
  if (this != &other) {
    entries_ = other.entries_;
    index_.reset();
  }
  return *this;
}
Dictionary::Dictionary() noexcept = default;
Dictionary::~Dictionary() = default;
Dictionary::Dictionary(Dictionary&&) noexcept = default;
Dictionary& Dictionary::operator=(Dictionary&&) noexcept = default;

void Dictionary::rebuildIndex() const {
  index_ = std::make_unique<Index>();
  index_->map.reserve(entries_.size() * 2);
  for (std::size_t i = 0; i < entries_.size(); ++i) index_->map.emplace(entries_[i].first, i);
}

// Keys almost never repeat, so this only looks: a pairwise scan while the
// dictionary is small, its hash index otherwise (kept for later lookups).
// Only when a key does repeat are the entries compacted.
void Dictionary::mergeRepeatedKeys() {
  std::size_t out = 0;
  if (entries_.size() < kIndexThreshold) {
    // One bit per (length, first unit) seen: a key whose bit is clear cannot
    // have come before, which spares the scan for nearly every key.
    std::uint64_t seen = 0;
    for (std::size_t i = 0; i < entries_.size(); ++i) {
      const String& key = entries_[i].first;
      const std::uint64_t bit = std::uint64_t{1}
                                << ((key.size() * 31 + (key.empty() ? 0 : key[0])) & 63);
      std::size_t first = (seen & bit) ? 0 : out;
      seen |= bit;
      while (first < out && entries_[first].first != key) ++first;
      if (first < out) {
        entries_[first].second = std::move(entries_[i].second);
      } else if (out++ != i) {
        entries_[out - 1] = std::move(entries_[i]);
      }
    }
  } else {
    index_ = std::make_unique<Index>();
    index_->map.reserve(entries_.size() * 2);
    for (std::size_t i = 0; i < entries_.size(); ++i) {
      const auto [it, added] = index_->map.emplace(entries_[i].first, out);
      if (!added) {
        entries_[it->second].second = std::move(entries_[i].second);
      } else if (out++ != i) {
        entries_[out - 1] = std::move(entries_[i]);
      }
    }
  }
  entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(out), entries_.end());
}

std::size_t Dictionary::indexOf(StringView key) const noexcept {
  if (entries_.size() < kIndexThreshold) {
    for (std::size_t i = 0; i < entries_.size(); ++i)
      if (entries_[i].first == key) return i;
    return entries_.size();
  }
  if (!index_) rebuildIndex();
  auto it = index_->map.find(key);
  return it == index_->map.end() ? entries_.size() : it->second;
}

const Value* Dictionary::find(StringView key) const noexcept {
  const std::size_t i = indexOf(key);
  return i < entries_.size() ? &entries_[i].second : nullptr;
}

Value* Dictionary::find(StringView key) noexcept {
  const std::size_t i = indexOf(key);
  return i < entries_.size() ? &entries_[i].second : nullptr;
}

const Value& Dictionary::operator[](StringView key) const noexcept {
  static const Value null;
  const Value* v = find(key);
  return v ? *v : null;
}

void Dictionary::set(StringView key, Value value) {
  const std::size_t i = indexOf(key);
  if (i < entries_.size()) {
    entries_[i].second = std::move(value);
    return;
  }
  entries_.emplace_back(String(key), std::move(value));
  if (index_) index_->map.emplace(entries_.back().first, entries_.size() - 1);
}

bool Dictionary::erase(StringView key) {
  const std::size_t i = indexOf(key);
  if (i >= entries_.size()) return false;
  entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(i));
  index_.reset();
  return true;
}

void Dictionary::clear() noexcept {
  entries_.clear();
  index_.reset();
}

void Dictionary::addEntries(const Dictionary& other) {
  for (const auto& [k, v] : other) set(k, v);
}

std::vector<String> Dictionary::keys() const {
  std::vector<String> out;
  out.reserve(entries_.size());
  for (const auto& e : entries_) out.push_back(e.first);
  return out;
}

bool operator==(const Dictionary& a, const Dictionary& b) {
  if (a.size() != b.size()) return false;
  for (const auto& [k, v] : a) {
    const Value* other = b.find(k);
    if (!other || !(*other == v)) return false;
  }
  return true;
}

}  // namespace lx
