#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/utf16.h>

#include <algorithm>
#include <climits>
#include <cstring>

#include "platform/ASCIICase.h"
#include "text/CollationFallback.h"
#include "text/HFSCaseFoldingTable.h"
#include "vantorcore/platform/Log.h"
#include "vantorcore/text/String+Collation.h"

namespace lx {
namespace {

void logCollatorStatus(StringView operation, int status) {
  logFormat(u"%@ : status: %d", operation, status);
}

// The line of a successful call, formatted once per operation.
String successLine(StringView operation) {
  return stringWithFormat(u"%@ : status: %d", operation, 0);
}

const String& collationKeyLine() {
  static const String line = successLine(u"lx_collationKeyForCollator:");
  return line;
}
const String& compareKeysLine() {
  static const String line = successLine(u"lx_compareCollationKey:withCollationKey:");
  return line;
}
const String& hfsEqualLine() {
  static const String line = successLine(u"lx_isEqualToHFSExtendedString:");
  return line;
}

// Sorting by collation keys logs once per comparison; while lines are
// discarded this touches neither the line nor the log.
void logSuccess(const String& (*line)()) {
  if (!logLinesDiscarded()) logLine(line());
}

ComparisonResult sign(int order) noexcept {
  return order < 0 ? ComparisonResult::Ascending
                   : (order > 0 ? ComparisonResult::Descending : ComparisonResult::Same);
}

// --- Version tokens ---------------------------------------------------------

enum TokenType { kNumber = 0, kText = 1, kSeparator = 2 };

TokenType tokenType(char16_t c) noexcept {
  if (c < 0x80) {
    if (c == u'.') return kSeparator;
    return (c >= u'0' && c <= u'9') ? kNumber : kText;
  }
  return u_charType(c) == U_DECIMAL_DIGIT_NUMBER ? kNumber : kText;
}

// Walks the tokens of a version string without copying them.
class VersionTokens {
 public:
  explicit VersionTokens(StringView s) noexcept : s_(s) {}

  bool next(StringView& token, TokenType& type) noexcept {
    if (pos_ >= s_.size()) return false;
    const std::size_t start = pos_;
    type = tokenType(s_[pos_++]);
    if (type != kSeparator) {
      while (pos_ < s_.size() && tokenType(s_[pos_]) == type) ++pos_;
    }
    token = s_.substr(start, pos_ - start);
    return true;
  }

 private:
  StringView s_;
  std::size_t pos_ = 0;
};

// The platform's `intValue` of a digit run: ASCII digits from the start,
// saturating at INT_MAX (digits of other scripts end the number).
int intValue(StringView digits) noexcept {
  long long value = 0;
  for (const char16_t c : digits) {
    if (c < u'0' || c > u'9') break;
    value = value * 10 + (c - u'0');
    if (value > INT_MAX) return INT_MAX;
  }
  return static_cast<int>(value);
}

using detail::isASCII;

ComparisonResult compareText(StringView a, StringView b) {
  if (isASCII(a) && isASCII(b)) return sign(a.compare(b));
  return compare(a, b, 0);
}

// --- HFS decomposition -------------------------------------------------------

// HFS Plus keeps these ranges precomposed (compatibility and CJK ideographs).
bool keepsComposed(UChar32 c) noexcept {
  return (c >= 0x2000 && c <= 0x2FFF) || (c >= 0xF900 && c <= 0xFAFF) ||
         (c >= 0x2F800 && c <= 0x2FAFF);
}

std::optional<String> hfsDecompose(StringView s) {
  if (!isValidUTF16(s)) return std::nullopt;
  s = s.substr(0, std::min(s.size(), s.find(u'\0')));
  UErrorCode status = U_ZERO_ERROR;
  const icu::Normalizer2* nfd = icu::Normalizer2::getNFDInstance(status);
  if (U_FAILURE(status)) return std::nullopt;
  String out;
  out.reserve(s.size() + 8);
  std::size_t i = 0;
  while (i < s.size()) {
    // Collect a run of characters that decompose, then one that does not.
    std::size_t j = i;
    while (j < s.size()) {
      std::size_t length = 1;
      if (keepsComposed(codePointAt(s, j, &length))) break;
      j += length;
    }
    if (j > i) {
      const icu::UnicodeString piece(false, reinterpret_cast<const UChar*>(s.data() + i),
                                     static_cast<int32_t>(j - i));
      icu::UnicodeString decomposed;
      nfd->normalize(piece, decomposed, status);
      if (U_FAILURE(status)) return std::nullopt;
      out.append(reinterpret_cast<const char16_t*>(decomposed.getBuffer()),
                 static_cast<std::size_t>(decomposed.length()));
    }
    if (j < s.size()) {
      std::size_t length = 1;
      codePointAt(s, j, &length);
      out.append(s.substr(j, length));
      j += length;
    }
    i = j;
  }
  return out;
}

String hfsFold(StringView decomposed) {
  String out(decomposed.size(), u'\0');
  std::transform(decomposed.begin(), decomposed.end(), out.begin(), detail::hfsFoldUnit);
  return out;
}

// The root-locale collator of the fallback natural order, opened once; its
// status is what every fallback call reports.
struct FallbackCollator {
  std::shared_ptr<const Collator> collator;
  int status = 0;
};

const FallbackCollator& fallbackCollator() {
  static const FallbackCollator fallback = [] {
    FallbackCollator f;
    f.collator = Collator::collatorWithLocale(
        "", Collator::Options{.numeric = true, .ignoreCase = true}, &f.status);
    if (f.status < 0) f.status = 0;  // a fallback-locale warning is success
    return f;
  }();
  return fallback;
}

}  // namespace

namespace detail {
// The fallback path of `lx_localizedStandardCompare`, reachable on its own
// so that tests can run it on a machine where the platform collator exists.
ComparisonResult localizedStandardCompareWithoutPlatformCollator(StringView a, StringView b) {
  const FallbackCollator& fallback = fallbackCollator();
  const ComparisonResult order =
      fallback.collator ? fallback.collator->compare(a, b) : ComparisonResult::Same;
  logCollatorStatus(u"lx_localizedStandardCompare:", fallback.status);
  return order;
}
}  // namespace detail

ComparisonResult lx_localizedStandardCompare(StringView receiver, std::optional<StringView> other) {
  if (!other) return ComparisonResult::Descending;
  if (const auto& standard = Collator::localizedStandardCollator()) {
    return standard->compare(receiver, *other);
  }
  return detail::localizedStandardCompareWithoutPlatformCollator(receiver, *other);
}

ComparisonResult lx_versionCompare(StringView receiver, StringView other) noexcept {
  VersionTokens a(receiver), b(other);
  StringView ta, tb;
  TokenType typeA, typeB;
  for (;;) {
    const bool hasA = a.next(ta, typeA);
    const bool hasB = b.next(tb, typeB);
    if (!hasA && !hasB) return ComparisonResult::Same;
    if (!hasA) {
      return typeB == kText ? ComparisonResult::Descending : ComparisonResult::Ascending;
    }
    if (!hasB) {
      return typeA == kText ? ComparisonResult::Ascending : ComparisonResult::Descending;
    }
    if (typeA != typeB) {
      if (typeA == kText) return ComparisonResult::Ascending;
      if (typeB == kText) return ComparisonResult::Descending;
      return typeA == kNumber ? ComparisonResult::Descending : ComparisonResult::Ascending;
    }
    if (typeA == kText) {
      // A comparison of two texts cannot throw; a failure would mean memory
      // exhaustion, which we treat as "same" rather than aborting a sort.
      ComparisonResult r = ComparisonResult::Same;
      try {
        r = compareText(ta, tb);
      } catch (...) {
      }
      if (r != ComparisonResult::Same) return r;
    } else if (typeA == kNumber) {
      const int va = intValue(ta), vb = intValue(tb);
      if (va != vb) return va < vb ? ComparisonResult::Ascending : ComparisonResult::Descending;
    }
  }
}

Data lx_collationKeyForCollator(StringView receiver, const Collator& collator) {
  const std::size_t needed = collator.sortKey(receiver, nullptr, 0);
  logSuccess(collationKeyLine);
  Data key(needed);
  const std::size_t written = collator.sortKey(receiver, key.data(), key.size());
  logSuccess(collationKeyLine);
  key.resize(std::min(written, key.size()));
  return key;
}

ComparisonResult lx_compareCollationKey(DataView key, DataView otherKey) {
  const std::size_t n = std::min(key.size(), otherKey.size());
  int order = n ? std::memcmp(key.data(), otherKey.data(), n) : 0;
  if (order == 0) order = key.size() < otherKey.size() ? -1 : (key.size() > otherKey.size());
  logSuccess(compareKeysLine);
  return sign(order);
}

ComparisonResult lx_compareWithCollationKey(DataView receiver, DataView otherKey) {
  return lx_compareCollationKey(receiver, otherKey);
}

std::optional<String> lx_decomposedStringWithHFSExtendedMapping(StringView receiver) {
  return hfsDecompose(receiver);
}

bool lx_isEqualToHFSExtendedString(StringView receiver, StringView other) {
  auto strip = [](String folded) {
    std::erase(folded, u'\0');
    return folded;
  };
  const bool equal =
      strip(lx_stringByHFSExtendedFolding(receiver)) == strip(lx_stringByHFSExtendedFolding(other));
  logSuccess(hfsEqualLine);
  return equal;
}

String lx_stringByHFSExtendedFolding(StringView receiver) {
  const auto decomposed = hfsDecompose(receiver);
  if (!decomposed || decomposed->empty()) return String();
  return hfsFold(*decomposed);
}

}  // namespace lx
