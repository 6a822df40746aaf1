// `Value`: the dynamic value of dictionaries, JSON, property lists, user info
// and preferences; `Array`, the insertion-ordered `Dictionary`, and
// `SharedString`, the immutable string inside both.
//
// Values have value semantics: a copy of a value is independent of it. Copies
// share their strings, arrays and dictionaries until one of them is changed
// (copy on write), so copying is cheap and reading one value from several
// threads is safe. Objects are shared, as references. A moved-from value is
// null.
//
// A parsed document (JSON) lives in one block of memory that its values point
// into; the first change to a container copies that container out of it, and
// the block is given back when the last value that points into it is gone.
#pragma once

#include "vantorcore/Export.h"

#include <atomic>
#include <compare>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "vantorcore/platform/Data.h"
#include "vantorcore/platform/Date.h"
#include "vantorcore/platform/String.h"

namespace LX_API lx {

class Object;
class Value;
class Array;
class Dictionary;

namespace detail {

class DocumentArena;

// The shared part of a string, data, container or object. Nodes on the heap
// count their references; nodes inside a parsed document are immutable and
// count on their document instead.
struct Node {
  enum class Kind : std::uint8_t { String, Data, Array, Dictionary, Object };
  // Set once a caller was handed a mutable pointer into the node: copies of
  // its value copy it from then on, so that later writes through that pointer
  // never show in them.
  static constexpr std::uint8_t kUnsharable = 1;

  std::atomic<std::uint32_t> refs{1};
  Kind kind;
  std::uint8_t flags = 0;
  DocumentArena* document = nullptr;

  explicit Node(Kind k, DocumentArena* d = nullptr) noexcept : kind(k), document(d) {}
};

void retainDocument(DocumentArena* document) noexcept;
void releaseDocument(DocumentArena* document) noexcept;
void destroyNode(Node* node) noexcept;

inline void retain(Node* node) noexcept {
  if (node->document) {
    retainDocument(node->document);
  } else {
    node->refs.fetch_add(1, std::memory_order_relaxed);
  }
}

inline void release(Node* node) noexcept {
  if (node->document) {
    releaseDocument(node->document);
  } else if (node->refs.fetch_sub(1, std::memory_order_acq_rel) == 1) {
    destroyNode(node);
  }
}

struct StringNode : Node {
  std::size_t length = 0;
  explicit StringNode(DocumentArena* d = nullptr) noexcept : Node(Kind::String, d) {}
  char16_t* chars() noexcept { return reinterpret_cast<char16_t*>(this + 1); }
  const char16_t* chars() const noexcept { return reinterpret_cast<const char16_t*>(this + 1); }
};

class DocumentBuilder;

}  // namespace detail

/// An immutable UTF-16 string whose copies share its characters: the string
/// of a `Value` and the key of a `Dictionary`. Reads as a `StringView` for
/// free and converts to a `String` by copying.
class SharedString {
 public:
  SharedString() noexcept = default;
  /// Copies `text` into a new shared string.
  ///@{
  SharedString(StringView text);
  SharedString(const String& text) : SharedString(StringView(text)) {}
  SharedString(const char16_t* text) : SharedString(StringView(text)) {}
  ///@}
  /// Copies share the characters; a moved-from string is empty.
  ///@{
  SharedString(const SharedString& other) noexcept : node_(other.node_) {
    if (node_) detail::retain(node_);
  }
  SharedString(SharedString&& other) noexcept : node_(std::exchange(other.node_, nullptr)) {}
  SharedString& operator=(const SharedString& other) noexcept {
    SharedString(other).swap(*this);
    return *this;
  }
  SharedString& operator=(SharedString&& other) noexcept {
    SharedString(std::move(other)).swap(*this);
    return *this;
  }
  ///@}
  ~SharedString() {
    if (node_) detail::release(node_);
  }
  /// Exchanges the characters of the two strings without copying.
  void swap(SharedString& other) noexcept { std::swap(node_, other.node_); }

  /// Read access as for `std::u16string_view`; `data()` is never null (an empty string gives u"").
  ///@{
  [[nodiscard]] std::size_t size() const noexcept { return node_ ? node_->length : 0; }
  [[nodiscard]] std::size_t length() const noexcept { return size(); }
  [[nodiscard]] bool empty() const noexcept { return size() == 0; }
  [[nodiscard]] const char16_t* data() const noexcept { return node_ ? node_->chars() : u""; }
  [[nodiscard]] const char16_t* begin() const noexcept { return data(); }
  [[nodiscard]] const char16_t* end() const noexcept { return data() + size(); }
  [[nodiscard]] char16_t operator[](std::size_t i) const noexcept { return data()[i]; }
  [[nodiscard]] StringView view() const noexcept { return {data(), size()}; }
  [[nodiscard]] String str() const { return String(view()); }
  operator StringView() const noexcept { return view(); }  // NOLINT(google-explicit-constructor)
  operator String() const { return str(); }                // NOLINT(google-explicit-constructor)
  ///@}

  /// Compare the UTF-16 code units, as `StringView` does.
  ///@{
  friend bool operator==(const SharedString& a, const SharedString& b) noexcept {
    return a.node_ == b.node_ || a.view() == b.view();
  }
  friend bool operator==(const SharedString& a, StringView b) noexcept { return a.view() == b; }
  friend bool operator==(const SharedString& a, const char16_t* b) noexcept {
    return a.view() == StringView(b);
  }
  friend bool operator==(const SharedString& a, const String& b) noexcept { return a.view() == b; }
  friend std::strong_ordering operator<=>(const SharedString& a, const SharedString& b) noexcept {
    return a.view() <=> b.view();
  }
  friend std::strong_ordering operator<=>(const SharedString& a, StringView b) noexcept {
    return a.view() <=> b;
  }
  ///@}

 private:
  friend class Value;
  friend class detail::DocumentBuilder;
  // Takes over one reference to `node`.
  explicit SharedString(detail::StringNode* node) noexcept : node_(node) {}

  detail::StringNode* node_ = nullptr;
};

/// A floating-point number that remembers whether it came in as a float, so
/// that writers can print it with single precision.
struct Real {
  /// The number.
  double value = 0;
  /// Whether it came in as a single-precision float.
  bool isFloat = false;
};

class Value {
 public:
  /// What a value holds.
  enum class Type : std::uint8_t {
    Null,
    Bool,
    Integer,
    UnsignedInteger,
    Real,
    String,
    Data,
    Date,
    Array,
    Dictionary,
    Object
  };

  /// The null object.
  Value() noexcept : integer_(0) {}
  /// Converts from each type a value can hold; signed and unsigned integers stay apart, a float
  /// remembers it was one.
  ///@{
  Value(std::nullptr_t) noexcept : Value() {}
  Value(bool b) noexcept : type_(Type::Bool), bool_(b) {}
  template <class T>
  requires(std::is_integral_v<T>&& std::is_signed_v<T> && !std::is_same_v<T, bool>) Value(T i)
  noexcept : type_(Type::Integer), integer_(static_cast<std::int64_t>(i)) {}
  template <class T>
  requires(std::is_integral_v<T>&& std::is_unsigned_v<T> && !std::is_same_v<T, bool> &&
           !std::is_same_v<T, char16_t>) Value(T u)
  noexcept : type_(Type::UnsignedInteger), unsigned_(static_cast<std::uint64_t>(u)) {}
  Value(double d) noexcept : type_(Type::Real), real_(d) {}
  Value(float f) noexcept : type_(Type::Real), isFloat_(true), real_(f) {}
  Value(Real r) noexcept : type_(Type::Real), isFloat_(r.isFloat), real_(r.value) {}
  Value(SharedString s) noexcept : type_(Type::String), string_(std::move(s)) {}
  Value(const String& s) : Value(SharedString(s)) {}
  Value(StringView s) : Value(SharedString(s)) {}
  Value(const char16_t* s) : Value(SharedString(s)) {}
  /// UTF-8 text.
  Value(const char* s) : Value(SharedString(fromUTF8(s))) {}
  Value(Data d);
  Value(Date d) noexcept : type_(Type::Date), date_(d) {}
  Value(Array a);
  Value(Dictionary d);
  Value(std::shared_ptr<Object> o);
  template <class T>
  requires(std::is_base_of_v<Object, T> && !std::is_same_v<T, Object>) Value(std::shared_ptr<T> o)
      : Value(std::static_pointer_cast<Object>(std::move(o))) {}
  ///@}

  /// Copies share containers until one changes; a moved-from value is null.
  ///@{
  Value(const Value& other) noexcept : type_(other.type_), isFloat_(other.isFloat_) {
    copyPayload(other);
  }
  Value(Value&& other) noexcept : type_(other.type_), isFloat_(other.isFloat_) {
    integer_ = other.integer_;  // the node or string pointer moves with the bits
    other.type_ = Type::Null;
    other.integer_ = 0;
  }
  Value& operator=(const Value& other) noexcept {
    if (this != &other) Value(other).swap(*this);
    return *this;
  }
  Value& operator=(Value&& other) noexcept {
    if (this != &other) Value(std::move(other)).swap(*this);
    return *this;
  }
  ///@}
  ~Value() {
    if (holdsNode()) detail::release(node_);
  }
  /// Exchanges the two values without copying.
  void swap(Value& other) noexcept {
    std::swap(type_, other.type_);
    std::swap(isFloat_, other.isFloat_);
    std::swap(integer_, other.integer_);
  }

  /// The held type, and a test for each type.
  ///@{
  [[nodiscard]] Type type() const noexcept { return type_; }
  [[nodiscard]] bool isNull() const noexcept { return type_ == Type::Null; }
  [[nodiscard]] bool isBool() const noexcept { return type_ == Type::Bool; }
  [[nodiscard]] bool isInteger() const noexcept {
    return type_ == Type::Integer || type_ == Type::UnsignedInteger;
  }
  [[nodiscard]] bool isReal() const noexcept { return type_ == Type::Real; }
  /// Booleans count as numbers, as the platform's boxed numbers do.
  [[nodiscard]] bool isNumber() const noexcept { return isBool() || isInteger() || isReal(); }
  [[nodiscard]] bool isString() const noexcept { return type_ == Type::String; }
  [[nodiscard]] bool isData() const noexcept { return type_ == Type::Data; }
  [[nodiscard]] bool isDate() const noexcept { return type_ == Type::Date; }
  [[nodiscard]] bool isArray() const noexcept { return type_ == Type::Array; }
  [[nodiscard]] bool isDictionary() const noexcept { return type_ == Type::Dictionary; }
  [[nodiscard]] bool isObject() const noexcept { return type_ == Type::Object; }
  ///@}

  /// Typed access: a pointer to the held value, or null when the value is of
  /// another type. The pointer lives as long as the value is not reassigned.
  /// The mutable forms first give this value a container of its own, so that
  /// changes through them never show in copies.
  ///@{
  [[nodiscard]] const SharedString* asString() const noexcept {
    return type_ == Type::String ? &string_ : nullptr;
  }
  [[nodiscard]] const Data* asData() const noexcept;
  [[nodiscard]] const Date* asDate() const noexcept {
    return type_ == Type::Date ? &date_ : nullptr;
  }
  [[nodiscard]] const Array* asArray() const noexcept;
  [[nodiscard]] Array* asArray();
  [[nodiscard]] const Dictionary* asDictionary() const noexcept;
  [[nodiscard]] Dictionary* asDictionary();
  [[nodiscard]] std::optional<Real> asReal() const noexcept {
    if (type_ != Type::Real) return std::nullopt;
    return Real{real_, isFloat_};
  }
  [[nodiscard]] std::shared_ptr<Object> asObject() const noexcept;
  ///@}
  /// The held object if it is a `T` (or derives from it), else null.
  template <class T>
  [[nodiscard]] std::shared_ptr<T> objectAs() const noexcept {
    return std::dynamic_pointer_cast<T>(asObject());
  }

  /// Numeric conversions with the platform's rules: numbers convert (reals
  /// truncate, saturating), booleans are 0/1, strings are read like
  /// `intValue`/`doubleValue` (leading number, else 0), anything else is 0.
  ///@{
  [[nodiscard]] bool boolValue() const noexcept;
  [[nodiscard]] std::int64_t int64Value() const noexcept;
  [[nodiscard]] std::uint64_t uint64Value() const noexcept;
  [[nodiscard]] double doubleValue() const noexcept;
  ///@}

  /// A readable rendering in the platform's old property-list style, as `%@`
  /// prints it: strings bare, arrays "( a, b )", dictionaries "{ k = v; }".
  [[nodiscard]] String description() const;

  /// Deep equality. Numbers (and booleans) compare by value across kinds,
  /// objects by `isEqual`, dictionaries regardless of key order.
  friend bool operator==(const Value& a, const Value& b);
  /// A hash consistent with `==`.
  [[nodiscard]] std::size_t hash() const noexcept;

 private:
  friend class detail::DocumentBuilder;
  // Takes over one reference to `node`, whose kind matches `type`.
  Value(Type type, detail::Node* node) noexcept : type_(type), node_(node) {}

  [[nodiscard]] bool holdsNode() const noexcept {
    return type_ == Type::String ? string_.node_ != nullptr
                                 : type_ >= Type::Data && type_ != Type::Date;
  }
  void copyPayload(const Value& other) noexcept;
  // Makes the node this value's own before a caller may change it.
  void makeUnique();

  Type type_ = Type::Null;
  bool isFloat_ = false;
  union {
    bool bool_;
    std::int64_t integer_;
    std::uint64_t unsigned_;
    double real_;
    Date date_;
    SharedString string_;
    detail::Node* node_;
  };
};

/// A sequence of values with the interface of `std::vector<Value>`.
class Array {
 public:
  /// Standard container member types, as `std::vector`'s.
  ///@{
  using value_type = Value;
  using size_type = std::size_t;
  using difference_type = std::ptrdiff_t;
  using reference = Value&;
  using const_reference = const Value&;
  using pointer = Value*;
  using const_pointer = const Value*;
  using iterator = Value*;
  using const_iterator = const Value*;
  using reverse_iterator = std::reverse_iterator<iterator>;
  using const_reverse_iterator = std::reverse_iterator<const_iterator>;
  ///@}

  Array() noexcept = default;
  /// Construction and assignment as for `std::vector`; copies share the elements until one changes.
  ///@{
  Array(std::initializer_list<Value> values);
  explicit Array(std::size_t count);
  Array(std::size_t count, const Value& value);
  template <std::input_iterator It>
  Array(It first, It last) {
    if constexpr (std::forward_iterator<It>)
      reserve(static_cast<std::size_t>(std::distance(first, last)));
    for (; first != last; ++first) emplace_back(*first);
  }
  Array(const Array& other);
  Array(Array&& other) noexcept;
  Array& operator=(const Array& other);
  Array& operator=(Array&& other) noexcept;
  ///@}
  ~Array();

  /// Sequence operations with `std::vector`'s meaning.
  ///@{
  [[nodiscard]] std::size_t size() const noexcept { return size_; }
  [[nodiscard]] bool empty() const noexcept { return size_ == 0; }
  [[nodiscard]] std::size_t capacity() const noexcept { return capacity_; }
  [[nodiscard]] Value* data() noexcept { return data_; }
  [[nodiscard]] const Value* data() const noexcept { return data_; }
  [[nodiscard]] iterator begin() noexcept { return data_; }
  [[nodiscard]] iterator end() noexcept { return data_ + size_; }
  [[nodiscard]] const_iterator begin() const noexcept { return data_; }
  [[nodiscard]] const_iterator end() const noexcept { return data_ + size_; }
  [[nodiscard]] const_iterator cbegin() const noexcept { return data_; }
  [[nodiscard]] const_iterator cend() const noexcept { return data_ + size_; }
  [[nodiscard]] reverse_iterator rbegin() noexcept { return reverse_iterator(end()); }
  [[nodiscard]] reverse_iterator rend() noexcept { return reverse_iterator(begin()); }
  [[nodiscard]] const_reverse_iterator rbegin() const noexcept {
    return const_reverse_iterator(end());
  }
  [[nodiscard]] const_reverse_iterator rend() const noexcept {
    return const_reverse_iterator(begin());
  }
  Value& operator[](std::size_t i) noexcept { return data_[i]; }
  const Value& operator[](std::size_t i) const noexcept { return data_[i]; }
  /// Throws `std::out_of_range` past the end.
  Value& at(std::size_t i);
  const Value& at(std::size_t i) const;
  Value& front() noexcept { return data_[0]; }
  const Value& front() const noexcept { return data_[0]; }
  Value& back() noexcept { return data_[size_ - 1]; }
  const Value& back() const noexcept { return data_[size_ - 1]; }

  void reserve(std::size_t count);
  void push_back(const Value& value);
  void push_back(Value&& value);
  template <class... Args>
  Value& emplace_back(Args&&... args);
  void pop_back() noexcept;
  iterator insert(const_iterator position, Value value);
  iterator insert(const_iterator position, const_iterator first, const_iterator last);
  iterator erase(const_iterator position) { return erase(position, position + 1); }
  iterator erase(const_iterator first, const_iterator last);
  void resize(std::size_t count);
  void clear() noexcept;
  void swap(Array& other) noexcept;
  ///@}

  /// Equal when both hold equal elements in the same order.
  friend bool operator==(const Array& a, const Array& b);

 private:
  friend class detail::DocumentBuilder;
  // Makes room for `count` elements, keeping the ones there.
  void grow(std::size_t count);

  Value* data_ = nullptr;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
  // The elements belong to a parsed document: never freed or grown here.
  bool borrowed_ = false;
};

/// A string-keyed dictionary that keeps insertion order (so "the first key"
/// is the document's first key) with hashed lookup once it grows.
class Dictionary {
 public:
  /// A key and its value.
  using Entry = std::pair<SharedString, Value>;
  /// Iteration is read-only and in insertion order; change entries with `set` and `erase`.
  ///@{
  using const_iterator = const Entry*;
  using iterator = const Entry*;
  ///@}

  Dictionary() noexcept = default;
  /// The entries in the order given; a repeated key keeps its first place and its last value.
  Dictionary(std::initializer_list<Entry> entries);
  /// Takes `entries` as they are, in their order; a key that comes again
  /// sets the value of its first entry, as `set` would (so a parsed object
  /// with a repeated key keeps the key's first place and its last value).
  explicit Dictionary(std::vector<Entry> entries);
  /// Copies share the entries until one changes.
  ///@{
  Dictionary(const Dictionary& other);
  Dictionary(Dictionary&& other) noexcept;
  Dictionary& operator=(const Dictionary& other);
  Dictionary& operator=(Dictionary&& other) noexcept;
  ///@}
  ~Dictionary();

  /// The number of entries, and read-only iteration in insertion order.
  ///@{
  [[nodiscard]] std::size_t size() const noexcept { return size_; }
  [[nodiscard]] bool empty() const noexcept { return size_ == 0; }
  [[nodiscard]] const_iterator begin() const noexcept { return entries_; }
  [[nodiscard]] const_iterator end() const noexcept { return entries_ + size_; }
  ///@}

  /// The value under `key`, or null when there is none.
  [[nodiscard]] const Value* find(StringView key) const noexcept;
  /// The same, for changing the value in place.
  [[nodiscard]] Value* find(StringView key) noexcept;
  /// Whether `key` has an entry.
  [[nodiscard]] bool contains(StringView key) const noexcept { return find(key) != nullptr; }
  /// The value under `key`, or the null value when there is none.
  [[nodiscard]] const Value& operator[](StringView key) const noexcept;

  /// Sets `key` to `value`; an existing key keeps its place in the order.
  void set(SharedString key, Value value);
  /// Removes `key`; returns whether it was there.
  bool erase(StringView key);
  /// Removes every entry.
  void clear() noexcept;
  /// Makes room for `count` entries, so that building a dictionary of known
  /// size does not reallocate.
  void reserve(std::size_t count);
  /// Adds every entry of `other`, its values winning.
  void addEntries(const Dictionary& other);

  /// The keys, in insertion order.
  [[nodiscard]] std::vector<String> keys() const;

  /// Equal when both hold the same keys with equal values, in any order.
  friend bool operator==(const Dictionary& a, const Dictionary& b);

 private:
  friend class detail::DocumentBuilder;
  [[nodiscard]] std::size_t indexOf(StringView key) const noexcept;
  void grow(std::size_t count);
  // Slots of the index of `count` entries; 0 below the size that has one.
  static std::size_t indexSlots(std::size_t count) noexcept;
  void buildIndex();
  // Makes `slots` (`indexSlots(size_)` of them) the empty index.
  void setIndex(std::uint32_t* slots) noexcept;
  void indexEntry(std::size_t i) noexcept;
  // Merges repeated keys (first place, last value) and indexes the entries,
  // in `index` when given, else in an index of its own. Entries a document
  // owns count no references and move as bytes.
  void mergeRepeatedKeys(std::uint32_t* index = nullptr);
  void destroy() noexcept;
  // Takes `other`'s entries into this empty dictionary (copies them when
  // they belong to a document).
  void take(Dictionary& other);

  Entry* entries_ = nullptr;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
  // Open addressing over entry positions + 1 (0 = empty), present from
  // `kIndexThreshold` entries on and kept current by every change, so that
  // lookups in a dictionary shared between threads never write.
  std::uint32_t* index_ = nullptr;
  std::size_t indexMask_ = 0;
  // Entries and index belong to a parsed document: never freed or changed.
  bool borrowed_ = false;
};

template <class... Args>
Value& Array::emplace_back(Args&&... args) {
  Value value(std::forward<Args>(args)...);
  if (size_ == capacity_ || borrowed_) grow(size_ + 1);
  return *new (data_ + size_++) Value(std::move(value));
}

/// The value as a string, or `fallback` when it is not one.
inline String stringOr(const Value* v, StringView fallback = {}) {
  if (v && v->isString()) return v->asString()->str();
  return String(fallback);
}

}  // namespace lx

/// Lets shared strings key unordered containers.
template <>
struct std::hash<lx::SharedString> {
  /// Hashes the code units, as the hash of the equal `StringView` would.
  std::size_t operator()(const lx::SharedString& s) const noexcept {
    return std::hash<lx::StringView>{}(s.view());
  }
};

/// Lets values key unordered containers.
template <>
struct std::hash<lx::Value> {
  /// Hashes with `Value::hash`, consistent with `==`.
  std::size_t operator()(const lx::Value& v) const noexcept { return v.hash(); }
};
