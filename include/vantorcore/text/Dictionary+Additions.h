// Typed look-ups and nil-tolerant stores on `Dictionary`.
//
// A value's "class" is a `ValueClass`: a storage kind of `Value` (string,
// data, array...), the boxed numbers as one class, or a registered object
// `Class` (matching its subclasses too). As thread-safe as the dictionary.
#pragma once

#include "vantorcore/Export.h"

#include <initializer_list>
#include <optional>
#include <span>
#include <variant>
#include <vector>

#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/String.h"
#include "vantorcore/platform/Value.h"

namespace LX_API lx {

/// What `lx_objectOfClass` accepts: a `Value::Type` (with `Integer` and
/// `UnsignedInteger` both meaning "an integer"), `ValueClass::number()` for
/// any number or boolean, or an object `Class` and its subclasses.
class ValueClass {
 public:
  /// A value type or an object class to match.
  ///@{
  ValueClass(Value::Type type) noexcept : kind_(type) {}  // NOLINT: implicit on purpose
  ValueClass(const Class& cls) noexcept : kind_(&cls) {}  // NOLINT: implicit on purpose
  ///@}
  /// Booleans, integers and reals: the platform's boxed-number class.
  static ValueClass number() noexcept { return ValueClass(Number{}); }

  /// Whether `value` is an instance of this class.
  [[nodiscard]] bool isInstance(const Value& value) const;

 private:
  struct Number {};
  explicit ValueClass(Number n) noexcept : kind_(n) {}
  std::variant<Value::Type, const Class*, Number> kind_;
};

/// A copy of `dictionary` with the entries of `entries` (if given) added;
/// `entries` win and new keys come after the existing ones.
Dictionary lx_dictionaryByAddingEntriesFromDictionary(const Dictionary& dictionary,
                                                      const Dictionary* entries);

/// The value under `key` when it is an instance of `cls`, else `defaultValue`.
///   {'n': 3}, number, 'n' => 3;   {'n': 3}, String, 'n' => default;   missing key => default
std::optional<Value> lx_objectOfClass(const Dictionary& dictionary, const ValueClass& cls,
                                      StringView key,
                                      std::optional<Value> defaultValue = std::nullopt);

/// The value under `key` when it is an instance of one of `classes` (tried in
/// order), else `defaultValue`.
std::optional<Value> lx_objectOfClasses(const Dictionary& dictionary,
                                        std::span<const ValueClass> classes, StringView key,
                                        std::optional<Value> defaultValue = std::nullopt);
/// The value under `key` when it is of one of `classes`; absent otherwise.
inline std::optional<Value> lx_objectOfClasses(const Dictionary& dictionary,
                                               std::initializer_list<ValueClass> classes,
                                               StringView key,
                                               std::optional<Value> defaultValue = std::nullopt) {
  return lx_objectOfClasses(dictionary, std::span(classes.begin(), classes.size()), key,
                            std::move(defaultValue));
}

/// The array under `key` when every element is a string (an empty array
/// qualifies), else absent.
///   ['a', 'b'] => ['a', 'b'];   [] => [];   ['a', 1] => absent;   'a' => absent
std::optional<std::vector<String>> lx_stringArrayForKey(const Dictionary& dictionary,
                                                        StringView key);

/// Stores `object` under `key`; an absent object leaves the dictionary as it
/// is (an existing entry stays).
void lx_setObject(Dictionary& dictionary, std::optional<Value> object, StringView key);

/// Stores `object` under `key`, or the null value when it is absent.
void lx_setNilAsNullObject(Dictionary& dictionary, std::optional<Value> object, StringView key);

}  // namespace lx
