// `Value`: the dynamic value of dictionaries, JSON, property lists, user info
// and preferences; `Array` and the insertion-ordered `Dictionary`.
//
// Values have value semantics: copying a value copies its arrays and
// dictionaries (objects are shared, as references). A moved-from value is null.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <variant>
#include <vector>

#include "vantorcore/platform/Data.h"
#include "vantorcore/platform/Date.h"
#include "vantorcore/platform/String.h"

namespace lx {

class Object;
class Value;
class Dictionary;
using Array = std::vector<Value>;

namespace detail {
// A heap cell with deep copy, so that `Value` can hold its own containers.
template <class T>
class Box {
 public:
  explicit Box(T value) : ptr_(std::make_unique<T>(std::move(value))) {}
  Box(const Box& other) : ptr_(std::make_unique<T>(*other.ptr_)) {}
  Box(Box&&) noexcept = default;
  Box& operator=(const Box& other) {
    if (this != &other) ptr_ = std::make_unique<T>(*other.ptr_);
    return *this;
  }
  Box& operator=(Box&&) noexcept = default;
  T& operator*() noexcept { return *ptr_; }
  const T& operator*() const noexcept { return *ptr_; }

 private:
  std::unique_ptr<T> ptr_;
};
}  // namespace detail

/// A floating-point number that remembers whether it came in as a float, so
/// that writers can print it with single precision.
struct Real {
  double value = 0;
  bool isFloat = false;
};

class Value {
 public:
  enum class Type { Null, Bool, Integer, UnsignedInteger, Real, String, Data, Date, Array,
                    Dictionary, Object };

  /// The null object.
  Value() noexcept = default;
  Value(std::nullptr_t) noexcept {}
  Value(bool b) noexcept : v_(b) {}
  template <class T>
    requires(std::is_integral_v<T> && std::is_signed_v<T> && !std::is_same_v<T, bool>)
  Value(T i) noexcept : v_(static_cast<std::int64_t>(i)) {}
  template <class T>
    requires(std::is_integral_v<T> && std::is_unsigned_v<T> && !std::is_same_v<T, bool> &&
             !std::is_same_v<T, char16_t>)
  Value(T u) noexcept : v_(static_cast<std::uint64_t>(u)) {}
  Value(double d) noexcept : v_(Real{d, false}) {}
  Value(float f) noexcept : v_(Real{f, true}) {}
  Value(Real r) noexcept : v_(r) {}
  Value(String s) noexcept : v_(std::move(s)) {}
  Value(StringView s) : v_(String(s)) {}
  Value(const char16_t* s) : v_(String(s)) {}
  /// UTF-8 text.
  Value(const char* s) : v_(fromUTF8(s)) {}
  Value(Data d) noexcept : v_(std::move(d)) {}
  Value(Date d) noexcept : v_(d) {}
  Value(Array a);
  Value(Dictionary d);
  Value(std::shared_ptr<Object> o) noexcept;
  template <class T>
    requires(std::is_base_of_v<Object, T> && !std::is_same_v<T, Object>)
  Value(std::shared_ptr<T> o) noexcept : Value(std::static_pointer_cast<Object>(std::move(o))) {}

  Value(const Value&) = default;
  Value(Value&& other) noexcept : v_(std::move(other.v_)) { other.v_ = std::monostate{}; }
  Value& operator=(const Value&) = default;
  Value& operator=(Value&& other) noexcept {
    if (this != &other) {
      v_ = std::move(other.v_);
      other.v_ = std::monostate{};
    }
    return *this;
  }
  ~Value();

  [[nodiscard]] Type type() const noexcept { return static_cast<Type>(v_.index()); }
  [[nodiscard]] bool isNull() const noexcept { return type() == Type::Null; }
  [[nodiscard]] bool isBool() const noexcept { return type() == Type::Bool; }
  [[nodiscard]] bool isInteger() const noexcept {
    return type() == Type::Integer || type() == Type::UnsignedInteger;
  }
  [[nodiscard]] bool isReal() const noexcept { return type() == Type::Real; }
  /// Booleans count as numbers, as the platform's boxed numbers do.
  [[nodiscard]] bool isNumber() const noexcept { return isBool() || isInteger() || isReal(); }
  [[nodiscard]] bool isString() const noexcept { return type() == Type::String; }
  [[nodiscard]] bool isData() const noexcept { return type() == Type::Data; }
  [[nodiscard]] bool isDate() const noexcept { return type() == Type::Date; }
  [[nodiscard]] bool isArray() const noexcept { return type() == Type::Array; }
  [[nodiscard]] bool isDictionary() const noexcept { return type() == Type::Dictionary; }
  [[nodiscard]] bool isObject() const noexcept { return type() == Type::Object; }

  // Typed access: a pointer to the held value, or null when the value is of
  // another type. The pointer lives as long as the value is not reassigned.
  [[nodiscard]] const String* asString() const noexcept { return std::get_if<String>(&v_); }
  [[nodiscard]] String* asString() noexcept { return std::get_if<String>(&v_); }
  [[nodiscard]] const Data* asData() const noexcept { return std::get_if<Data>(&v_); }
  [[nodiscard]] const Date* asDate() const noexcept { return std::get_if<Date>(&v_); }
  [[nodiscard]] const Array* asArray() const noexcept;
  [[nodiscard]] Array* asArray() noexcept;
  [[nodiscard]] const Dictionary* asDictionary() const noexcept;
  [[nodiscard]] Dictionary* asDictionary() noexcept;
  [[nodiscard]] const Real* asReal() const noexcept { return std::get_if<Real>(&v_); }
  [[nodiscard]] std::shared_ptr<Object> asObject() const noexcept;
  /// The held object if it is a `T` (or derives from it), else null.
  template <class T>
  [[nodiscard]] std::shared_ptr<T> objectAs() const noexcept {
    return std::dynamic_pointer_cast<T>(asObject());
  }

  // Numeric conversions with the platform's rules: numbers convert (reals
  // truncate, saturating), booleans are 0/1, strings are read like
  // `intValue`/`doubleValue` (leading number, else 0), anything else is 0.
  [[nodiscard]] bool boolValue() const noexcept;
  [[nodiscard]] std::int64_t int64Value() const noexcept;
  [[nodiscard]] std::uint64_t uint64Value() const noexcept;
  [[nodiscard]] double doubleValue() const noexcept;

  /// A readable rendering in the platform's old property-list style, as `%@`
  /// prints it: strings bare, arrays "( a, b )", dictionaries "{ k = v; }".
  [[nodiscard]] String description() const;

  /// Deep equality. Numbers (and booleans) compare by value across kinds,
  /// objects by `isEqual`, dictionaries regardless of key order.
  friend bool operator==(const Value& a, const Value& b);
  /// A hash consistent with `==`.
  [[nodiscard]] std::size_t hash() const noexcept;

 private:
  using Storage = std::variant<std::monostate, bool, std::int64_t, std::uint64_t, Real, String,
                               Data, Date, detail::Box<Array>, detail::Box<Dictionary>,
                               std::shared_ptr<Object>>;
  Storage v_;
};

/// A string-keyed dictionary that keeps insertion order (so "the first key"
/// is the document's first key) with hashed lookup once it grows.
class Dictionary {
 public:
  using Entry = std::pair<String, Value>;
  using const_iterator = std::vector<Entry>::const_iterator;

  Dictionary() noexcept;
  Dictionary(std::initializer_list<Entry> entries);
  /// Takes `entries` as they are, in their order; a key that comes again
  /// sets the value of its first entry, as `set` would (so a parsed object
  /// with a repeated key keeps the key's first place and its last value).
  explicit Dictionary(std::vector<Entry> entries);
  Dictionary(const Dictionary& other);
  Dictionary(Dictionary&&) noexcept;
  Dictionary& operator=(const Dictionary& other);
  Dictionary& operator=(Dictionary&&) noexcept;
  ~Dictionary();

  [[nodiscard]] std::size_t size() const noexcept { return entries_.size(); }
  [[nodiscard]] bool empty() const noexcept { return entries_.empty(); }
  [[nodiscard]] const_iterator begin() const noexcept { return entries_.begin(); }
  [[nodiscard]] const_iterator end() const noexcept { return entries_.end(); }

  /// The value under `key`, or null when there is none.
  [[nodiscard]] const Value* find(StringView key) const noexcept;
  [[nodiscard]] Value* find(StringView key) noexcept;
  [[nodiscard]] bool contains(StringView key) const noexcept { return find(key) != nullptr; }
  /// The value under `key`, or the null value when there is none.
  [[nodiscard]] const Value& operator[](StringView key) const noexcept;

  /// Sets `key` to `value`; an existing key keeps its place in the order.
  void set(StringView key, Value value);
  /// Removes `key`; returns whether it was there.
  bool erase(StringView key);
  void clear() noexcept;
  /// Makes room for `count` entries, so that building a dictionary of known
  /// size (a parsed JSON object) does not reallocate.
  void reserve(std::size_t count) { entries_.reserve(count); }
  /// Adds every entry of `other`, its values winning.
  void addEntries(const Dictionary& other);

  [[nodiscard]] std::vector<String> keys() const;

  /// Equal when both hold the same keys with equal values, in any order.
  friend bool operator==(const Dictionary& a, const Dictionary& b);

 private:
  struct Index;
  std::size_t indexOf(StringView key) const noexcept;
  void rebuildIndex() const;
  void mergeRepeatedKeys();

  std::vector<Entry> entries_;
  mutable std::unique_ptr<Index> index_;
};

/// The value as a string, or `fallback` when it is not one.
inline String stringOr(const Value* v, StringView fallback = {}) {
  if (v && v->isString()) return *v->asString();
  return String(fallback);
}

}  // namespace lx

template <>
struct std::hash<lx::Value> {
  std::size_t operator()(const lx::Value& v) const noexcept { return v.hash(); }
};
