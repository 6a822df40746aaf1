#include "vantorcore/platform/CharacterSet.h"

#include <unicode/uniset.h>

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

namespace lx {

namespace {

constexpr char32_t kMaxCodePoint = 0x10FFFF;
constexpr char32_t kBMPLimit = 0x10000;

// Inclusive [first, last] ranges, sorted and neither overlapping nor touching,
// so equal sets have equal lists.
using Ranges = std::vector<std::pair<char32_t, char32_t>>;

Ranges normalized(Ranges ranges) {
  std::sort(ranges.begin(), ranges.end());
  Ranges out;
  for (const auto& r : ranges) {
    if (!out.empty() && r.first <= out.back().second + 1) {
      out.back().second = std::max(out.back().second, r.second);
    } else {
      out.push_back(r);
    }
  }
  return out;
}

}  // namespace

struct CharacterSet::Storage {
  explicit Storage(Ranges r) : ranges(normalized(std::move(r))) {
    for (const auto& [first, last] : ranges) {
      if (first >= kBMPLimit) break;
      const char32_t end = std::min<char32_t>(last, kBMPLimit - 1);
      for (char32_t c = first; c <= end; ++c) bmp[c >> 6] |= std::uint64_t{1} << (c & 63);
    }
  }

  bool contains(char32_t c) const noexcept {
    if (c < kBMPLimit) return (bmp[c >> 6] >> (c & 63)) & 1;
    if (c > kMaxCodePoint) return false;
    auto it = std::upper_bound(ranges.begin(), ranges.end(), c,
                               [](char32_t v, const auto& r) { return v < r.first; });
    return it != ranges.begin() && c <= std::prev(it)->second;
  }

  Ranges ranges;
  std::array<std::uint64_t, kBMPLimit / 64> bmp{};
};

namespace {

// Builds a set from an ICU property pattern; the patterns are constants, so a
// failure here can only mean a broken ICU data library, and yields the empty set.
CharacterSet::Storage fromPattern(const char16_t* pattern) {
  UErrorCode status = U_ZERO_ERROR;
  icu::UnicodeSet set(icu::UnicodeString(pattern), status);
  Ranges ranges;
  if (U_SUCCESS(status)) {
    for (int32_t i = 0; i < set.getRangeCount(); ++i) {
      ranges.emplace_back(static_cast<char32_t>(set.getRangeStart(i)),
                          static_cast<char32_t>(set.getRangeEnd(i)));
    }
  }
  return CharacterSet::Storage(std::move(ranges));
}

}  // namespace

CharacterSet::CharacterSet() {
  static const auto empty = std::make_shared<const Storage>(Ranges{});
  storage_ = empty;
}

CharacterSet::CharacterSet(std::shared_ptr<const Storage> storage) : storage_(std::move(storage)) {}

#define LX_STANDARD_SET(function, pattern)                                             \
  CharacterSet CharacterSet::function() {                                              \
    static const auto storage = std::make_shared<const Storage>(fromPattern(pattern)); \
    return CharacterSet(storage);                                                      \
  }

LX_STANDARD_SET(whitespaceCharacterSet, u"[\\p{Zs}\\u0009]")
LX_STANDARD_SET(whitespaceAndNewlineCharacterSet, u"[\\p{Z}\\u0009-\\u000D\\u0085]")
LX_STANDARD_SET(newlineCharacterSet, u"[\\u000A-\\u000D\\u0085\\u2028\\u2029]")
LX_STANDARD_SET(decimalDigitCharacterSet, u"[\\p{Nd}]")
LX_STANDARD_SET(letterCharacterSet, u"[\\p{L}\\p{M}]")
LX_STANDARD_SET(alphanumericCharacterSet, u"[\\p{L}\\p{M}\\p{N}]")
LX_STANDARD_SET(punctuationCharacterSet, u"[\\p{P}]")
LX_STANDARD_SET(uppercaseLetterCharacterSet, u"[\\p{Lu}\\p{Lt}]")
LX_STANDARD_SET(lowercaseLetterCharacterSet, u"[\\p{Ll}]")

#undef LX_STANDARD_SET

CharacterSet CharacterSet::characterSetWithCharactersInString(StringView characters) {
  Ranges ranges;
  for (std::size_t i = 0, n = 0; i < characters.size(); i += n) {
    const char32_t c = codePointAt(characters, i, &n);
    ranges.emplace_back(c, c);
  }
  return CharacterSet(std::make_shared<const Storage>(std::move(ranges)));
}

CharacterSet CharacterSet::characterSetWithRange(char32_t first, std::size_t count) {
  if (count == 0 || first > kMaxCodePoint) return CharacterSet();
  const std::size_t room = kMaxCodePoint - first;
  const char32_t last =
      count - 1 >= room ? kMaxCodePoint : static_cast<char32_t>(first + count - 1);
  return CharacterSet(std::make_shared<const Storage>(Ranges{{first, last}}));
}

CharacterSet CharacterSet::invertedSet() const {
  Ranges out;
  char32_t next = 0;
  for (const auto& [first, last] : storage_->ranges) {
    if (first > next) out.emplace_back(next, first - 1);
    next = last + 1;
  }
  if (next <= kMaxCodePoint) out.emplace_back(next, kMaxCodePoint);
  return CharacterSet(std::make_shared<const Storage>(std::move(out)));
}

CharacterSet CharacterSet::unionWith(const CharacterSet& other) const {
  Ranges ranges = storage_->ranges;
  ranges.insert(ranges.end(), other.storage_->ranges.begin(), other.storage_->ranges.end());
  return CharacterSet(std::make_shared<const Storage>(std::move(ranges)));
}

bool CharacterSet::contains(char32_t c) const noexcept { return storage_->contains(c); }

bool CharacterSet::containsCodePointAt(StringView text, std::size_t index,
                                       std::size_t* length) const noexcept {
  const char16_t unit = text[index];
  if (unit < 0xD800 || unit > 0xDFFF) {  // the common case needs no decoding
    if (length) *length = 1;
    return storage_->contains(unit);
  }
  return storage_->contains(codePointAt(text, index, length));
}

bool operator==(const CharacterSet& a, const CharacterSet& b) noexcept {
  return a.storage_ == b.storage_ || a.storage_->ranges == b.storage_->ranges;
}

}  // namespace lx
