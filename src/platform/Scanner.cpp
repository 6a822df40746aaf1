#include "vantorcore/platform/Scanner.h"

#include <locale.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>

#include "ASCIICase.h"
#include "vantorcore/platform/Exception.h"

namespace lx {

namespace {

// strtod follows LC_NUMERIC, which a host may have set to a locale with a
// decimal comma; the scanner's numbers always use '.'.
locale_t cLocale() {
  static const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
  return locale;
}

}  // namespace

Scanner::Scanner(String string)
    : string_(std::move(string)), skip_(CharacterSet::whitespaceAndNewlineCharacterSet()) {}

void Scanner::setScanLocation(std::size_t location) {
  if (location > string_.size()) {
    throw RangeException(stringWithFormat(u"scan location %lu beyond end of string (%lu)",
                                          static_cast<unsigned long>(location),
                                          static_cast<unsigned long>(string_.size())));
  }
  location_ = location;
}

std::size_t Scanner::endOfRun(std::size_t from, const CharacterSet& set,
                              bool members) const noexcept {
  std::size_t i = from;
  std::size_t n = 0;
  while (i < string_.size() && set.containsCodePointAt(string_, i, &n) == members) i += n;
  return i;
}

std::size_t Scanner::skippedLocation() const noexcept {
  return skip_ ? endOfRun(location_, *skip_, true) : location_;
}

bool Scanner::finishScan(std::size_t start, std::size_t end, String* into) {
  if (end <= start) return false;
  if (into) *into = string_.substr(start, end - start);
  location_ = end;
  return true;
}

bool Scanner::isAtEnd() const noexcept { return skippedLocation() >= string_.size(); }

bool Scanner::scanString(StringView string, String* into) {
  const std::size_t start = skippedLocation();
  if (string.empty() || start >= string_.size()) return false;
  const unsigned options =
      LiteralSearch | AnchoredSearch | (caseSensitive_ ? 0u : CaseInsensitiveSearch);
  const Range match = rangeOfString(string_, string, options, Range{start, string_.size() - start});
  return match.found() && finishScan(start, match.end(), into);
}

bool Scanner::scanCharactersFromSet(const CharacterSet& set, String* into) {
  const std::size_t start = skippedLocation();
  return finishScan(start, endOfRun(start, set, true), into);
}

bool Scanner::scanUpToString(StringView string, String* into) {
  const std::size_t start = skippedLocation();
  if (start >= string_.size()) return false;
  const unsigned options = LiteralSearch | (caseSensitive_ ? 0u : CaseInsensitiveSearch);
  const Range match = rangeOfString(string_, string, options, Range{start, string_.size() - start});
  return finishScan(start, match.found() ? match.location : string_.size(), into);
}

bool Scanner::scanUpToCharactersFromSet(const CharacterSet& set, String* into) {
  const std::size_t start = skippedLocation();
  return finishScan(start, endOfRun(start, set, false), into);
}

template <class T>
bool Scanner::scanSigned(T* value) {
  std::size_t i = skippedLocation();
  bool negative = false;
  if (i < string_.size() && (string_[i] == u'+' || string_[i] == u'-')) {
    negative = string_[i] == u'-';
    ++i;
  }
  const std::size_t digitsStart = i;
  // Accumulate as a negative number: its range includes the type's minimum.
  T result = 0;
  bool saturated = false;
  for (; i < string_.size() && detail::isASCIIDigit(string_[i]); ++i) {
    const T digit = static_cast<T>(string_[i] - u'0');
    if (result < (std::numeric_limits<T>::min() + digit) / 10) saturated = true;
    if (!saturated) result = result * 10 - digit;
  }
  if (i == digitsStart) return false;
  if (saturated) {
    result = negative ? std::numeric_limits<T>::min() : std::numeric_limits<T>::max();
  } else if (!negative) {
    result = result == std::numeric_limits<T>::min() ? std::numeric_limits<T>::max() : -result;
  }
  if (value) *value = result;
  location_ = i;
  return true;
}

bool Scanner::scanInt(int* value) { return scanSigned(value); }
bool Scanner::scanInteger(std::int64_t* value) { return scanSigned(value); }
bool Scanner::scanLongLong(long long* value) { return scanSigned(value); }

bool Scanner::scanDouble(double* value) {
  const std::size_t start = skippedLocation();
  std::size_t i = start;
  std::string text;
  auto take = [&](auto accept) {
    std::size_t count = 0;
    for (; i < string_.size() && accept(string_[i]); ++i, ++count) {
      text.push_back(static_cast<char>(string_[i]));
    }
    return count;
  };
  take([&](char16_t c) { return text.empty() && (c == u'+' || c == u'-'); });
  std::size_t digits = take(detail::isASCIIDigit);
  if (i < string_.size() && string_[i] == u'.') {
    const std::size_t dot = i;
    text.push_back('.');
    ++i;
    const std::size_t fraction = take(detail::isASCIIDigit);
    if (digits + fraction == 0) {
      i = dot;
      text.pop_back();
    }
    digits += fraction;
  }
  if (digits == 0) return false;
  if (i < string_.size() && (string_[i] == u'e' || string_[i] == u'E')) {
    const std::size_t mark = i;
    const std::size_t kept = text.size();
    text.push_back('e');
    ++i;
    if (i < string_.size() && (string_[i] == u'+' || string_[i] == u'-')) {
      text.push_back(static_cast<char>(string_[i++]));
    }
    if (take(detail::isASCIIDigit) == 0) {
      i = mark;
      text.resize(kept);
    }
  }
  if (value) *value = strtod_l(text.c_str(), nullptr, cLocale());
  location_ = i;
  return true;
}

bool Scanner::scanHexInt(unsigned* value) {
  std::size_t i = skippedLocation();
  if (i + 2 < string_.size() && string_[i] == u'0' &&
      (string_[i + 1] == u'x' || string_[i + 1] == u'X') &&
      detail::asciiHexValue(string_[i + 2]) >= 0) {
    i += 2;
  }
  const std::size_t digitsStart = i;
  unsigned long long result = 0;
  for (; i < string_.size() && detail::asciiHexValue(string_[i]) >= 0; ++i) {
    result = std::min<unsigned long long>(result * 16 + detail::asciiHexValue(string_[i]),
                                          std::numeric_limits<unsigned>::max());
  }
  if (i == digitsStart) return false;
  if (value) *value = static_cast<unsigned>(result);
  location_ = i;
  return true;
}

}  // namespace lx
