// An immutable set of Unicode code points, the platform's character set.
//
// Membership is a bit test for the Basic Multilingual Plane and a binary
// search over ranges above it, so scanners and trims can test every unit of a
// long string cheaply. Sets share their storage: copying is a reference-count
// increment, and every operation that "changes" a set returns a new one.
#pragma once

#include "vantorcore/Export.h"

#include <cstddef>
#include <memory>

#include "vantorcore/platform/String.h"

namespace LX_API lx {

class CharacterSet {
 public:
  /// The empty set.
  CharacterSet();

  /// Space separators (general category Zs) and U+0009 CHARACTER TABULATION.
  static CharacterSet whitespaceCharacterSet();
  /// All separators (Z*), U+0009–U+000D and U+0085.
  static CharacterSet whitespaceAndNewlineCharacterSet();
  /// U+000A–U+000D, U+0085, U+2028 and U+2029.
  static CharacterSet newlineCharacterSet();
  /// Decimal digits of every script (general category Nd), not only '0'–'9'.
  static CharacterSet decimalDigitCharacterSet();
  /// Letters and marks (L*, M*).
  static CharacterSet letterCharacterSet();
  /// Letters, marks and numbers (L*, M*, N*).
  static CharacterSet alphanumericCharacterSet();
  /// Punctuation (P*); symbols such as '+' or '$' are not in it.
  static CharacterSet punctuationCharacterSet();
  /// Upper- and title-case letters (Lu, Lt).
  static CharacterSet uppercaseLetterCharacterSet();
  /// Lower-case letters (Ll).
  static CharacterSet lowercaseLetterCharacterSet();

  /// The code points of `characters`; a surrogate pair adds its code point, a
  /// lone surrogate adds the surrogate unit itself.
  static CharacterSet characterSetWithCharactersInString(StringView characters);

  /// The `count` code points from `first` on; the range is clipped at U+10FFFF
  /// and an empty range gives the empty set.
  static CharacterSet characterSetWithRange(char32_t first, std::size_t count);

  /// Every code point (surrogate units included) not in this set.
  [[nodiscard]] CharacterSet invertedSet() const;

  /// The code points in this set or in `other`.
  [[nodiscard]] CharacterSet unionWith(const CharacterSet& other) const;

  /// Whether `c` is a member. Any value above U+10FFFF is not. Thread-safe.
  [[nodiscard]] bool contains(char32_t c) const noexcept;

  /// Membership of the code point at `index` of `text`; `length` receives the
  /// 1 or 2 units it spans. `index` must be inside `text`.
  [[nodiscard]] bool containsCodePointAt(StringView text, std::size_t index,
                                         std::size_t* length = nullptr) const noexcept;

  /// Same members.
  friend bool operator==(const CharacterSet& a, const CharacterSet& b) noexcept;

  struct Storage;

 private:
  explicit CharacterSet(std::shared_ptr<const Storage> storage);
  std::shared_ptr<const Storage> storage_;
};

}  // namespace lx
