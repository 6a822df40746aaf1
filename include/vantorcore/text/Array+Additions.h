// Operations on arrays: `Array` and, where it is natural, any `std::vector<T>`.
//
// Equality is `==` (for `Value`: deep, numbers across kinds, objects by
// `isEqual`). The operations that build a new array return it by value; the
// "mutable" variants of the platform are the same functions, since the
// result is the caller's to change. As thread-safe as the vectors given.
#pragma once

#include "vantorcore/Export.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <ranges>
#include <set>
#include <type_traits>
#include <unordered_set>
#include <vector>

#include "vantorcore/platform/Exception.h"
#include "vantorcore/platform/String.h"
#include "vantorcore/platform/Value.h"

namespace LX_API lx {

/// A set of indexes, in ascending order.
using IndexSet = std::set<std::size_t>;

/// `Array` or a `std::vector`: indexed, sized, with `push_back`.
template <class S>
concept Sequence = requires(S& s, const typename S::value_type& v) {
  s[std::size_t{0}];
  s.size();
  s.push_back(v);
};

/// Element 0, or absent for an empty array.
template <Sequence S, class T = typename S::value_type>
std::optional<T> lx_firstObject(const S& array) {
  if (array.empty()) return std::nullopt;
  return array.front();
}

/// The first index below the shorter count where the arrays differ, else
/// that shorter count.
///   [a, b] vs [a, b, c] => 2;   [a, b] vs [a, x] => 1;   [] vs [a] => 0
template <Sequence S>
std::size_t lx_indexOfFirstMismatchedObjectInArray(const S& array, const S& other) {
  const std::size_t count = std::min(array.size(), other.size());
  for (std::size_t i = 0; i < count; ++i) {
    if (!(array[i] == other[i])) return i;
  }
  return count;
}

/// The first element `test` accepts, or absent.
template <Sequence S, class Test, class T = typename S::value_type>
std::optional<T> lx_objectPassingTest(const S& array, Test&& test) {
  for (const T& element : array) {
    if (test(element)) return element;
  }
  return std::nullopt;
}

/// The indexes of `array`'s elements that are members of `objects`, by hash
/// and equality.
///   [a, b, a, c] members of [a, c] => {0, 2, 3}
template <Sequence S, class T = typename S::value_type>
IndexSet lx_indexesOfObjects(const S& array, const S& objects) {
  const std::unordered_set<T> members(objects.begin(), objects.end());
  IndexSet indexes;
  for (std::size_t i = 0; i < array.size(); ++i) {
    if (members.contains(array[i])) indexes.insert(indexes.end(), i);
  }
  return indexes;
}

namespace detail {
template <class>
struct IsOptional : std::false_type {};
template <class U>
struct IsOptional<std::optional<U>> : std::true_type {};
}  // namespace detail

/// `transform`'s result for every element, in order, so the result always
/// has `array`'s count. When `transform` returns a `std::optional`, the
/// result is an `Array` and an absent result is stored as the null value.
template <Sequence S, class Transform, class T = typename S::value_type>
auto lx_map(const S& array, Transform&& transform) {
  using R = std::invoke_result_t<Transform&, const T&>;
  if constexpr (detail::IsOptional<R>::value) {
    Array result;
    result.reserve(array.size());
    for (const T& element : array) {
      R mapped = transform(element);
      result.push_back(mapped ? Value(std::move(*mapped)) : Value());
    }
    return result;
  } else {
    std::vector<R> result;
    result.reserve(array.size());
    for (const T& element : array) result.push_back(transform(element));
    return result;
  }
}

/// `transform`'s present results, in order (it returns a `std::optional`); an
/// `Array` when they are values.
///   ['1', 'x', '3'] with "parse int" => [1, 3]
template <Sequence S, class Transform, class T = typename S::value_type>
auto lx_compactMap(const S& array, Transform&& transform) {
  using R = std::invoke_result_t<Transform&, const T&>;
  static_assert(detail::IsOptional<R>::value, "lx_compactMap needs a std::optional result");
  using V = typename R::value_type;
  std::conditional_t<std::is_same_v<V, Value>, Array, std::vector<V>> result;
  for (const T& element : array) {
    if (R mapped = transform(element)) result.push_back(std::move(*mapped));
  }
  return result;
}

/// The elements `test` accepts, in order.
template <Sequence S, class Test, class T = typename S::value_type>
S lx_filter(const S& array, Test&& test) {
  S result;
  for (const T& element : array) {
    if (test(element)) result.push_back(element);
  }
  return result;
}

/// Merges overlapping or touching ranges in a single pass: each range is
/// merged into, or inserted before, the first result range it reaches, and a
/// grown range is not compared again, so overlaps can remain.
///   (0,5) (5,5)          => (0,10)
///   (10,2) (0,3)         => (0,3) (10,2)
///   (0,2) (10,2) (1,20)  => (0,21) (10,2)
std::vector<Range> lx_coalesceRanges(const std::vector<Range>& ranges);

/// Any collection's elements, in its own order, as a vector.
template <std::ranges::input_range R>
requires(
    !std::is_same_v<std::remove_cvref_t<R>, Dictionary> &&
    !std::is_same_v<std::remove_cvref_t<R>, Array>) auto arrayByEnumerating(const R& collection) {
  return std::vector<std::ranges::range_value_t<R>>(std::ranges::begin(collection),
                                                    std::ranges::end(collection));
}

/// An array enumerates its elements.
inline Array arrayByEnumerating(const Array& array) { return array; }

/// A dictionary enumerates its keys, in insertion order.
Array arrayByEnumerating(const Dictionary& dictionary);

/// Removes every element at index `index` or above; nothing when `index` is
/// at or past the count.
template <Sequence S>
void lx_removeObjectsFromIndex(S& array, std::size_t index) {
  if (index < array.size()) array.erase(array.begin() + index, array.end());
}

namespace detail {
[[noreturn]] void throwRemoveToIndexRange(std::size_t count);
}  // namespace detail

/// Removes everything when `index` is at or past the count; otherwise the
/// first `index - 1` elements, keeping the one at `index - 1` (a settled
/// one-short count). 0 on a non-empty array throws `RangeException`.
///   [a b c d e] to 3  => [c d e];   to 10 => [];   to 1 => unchanged;   to 0 => throws
template <Sequence S>
void lx_removeObjectsToIndex(S& array, std::size_t index) {
  if (index >= array.size()) {
    array.clear();
  } else if (index == 0) {
    detail::throwRemoveToIndexRange(array.size());
  } else {
    array.erase(array.begin(), array.begin() + (index - 1));
  }
}

}  // namespace lx
