#include "vantorcore/platform/Collator.h"

#include <unicode/ucol.h>
#include <unicode/uloc.h>

#include <climits>

namespace lx {
namespace {

// ICU lengths are int32_t; longer strings are compared on their first 2^31-1
// units, which no caller reaches in practice.
int32_t icuLength(std::size_t n) noexcept {
  return n > static_cast<std::size_t>(INT32_MAX) ? INT32_MAX : static_cast<int32_t>(n);
}

const UChar* icuChars(StringView s) noexcept { return reinterpret_cast<const UChar*>(s.data()); }

}  // namespace

std::shared_ptr<const Collator> Collator::collatorWithLocale(std::string_view localeID,
                                                             const Options& options, int* status) {
  UErrorCode err = U_ZERO_ERROR;
  const std::string locale(localeID);
  UCollator* c = ucol_open(locale.c_str(), &err);
  if (U_SUCCESS(err)) {
    UErrorCode attributeStatus = U_ZERO_ERROR;
    ucol_setAttribute(c, UCOL_NORMALIZATION_MODE, UCOL_ON, &attributeStatus);
    ucol_setAttribute(c, UCOL_NUMERIC_COLLATION, options.numeric ? UCOL_ON : UCOL_OFF,
                      &attributeStatus);
    ucol_setAttribute(c, UCOL_ALTERNATE_HANDLING,
                      options.ignorePunctuation ? UCOL_SHIFTED : UCOL_NON_IGNORABLE,
                      &attributeStatus);
    UColAttributeValue strength = UCOL_TERTIARY;
    if (options.ignoreDiacritics) {
      strength = UCOL_PRIMARY;
    } else if (options.ignoreCase) {
      strength = UCOL_SECONDARY;
    }
    ucol_setAttribute(c, UCOL_STRENGTH, strength, &attributeStatus);
    if (U_FAILURE(attributeStatus)) err = attributeStatus;
  }
  if (status) *status = static_cast<int>(err);
  if (U_FAILURE(err)) {
    if (c) ucol_close(c);
    return nullptr;
  }
  return std::shared_ptr<const Collator>(new Collator(c));
}

std::shared_ptr<const Collator> Collator::localizedStandardCollator() {
  static const std::shared_ptr<const Collator> standard = [] {
    // The C/POSIX locale maps to ICU's "en_US_POSIX", whose collation is
    // code-point order with case significant; a file browser in that locale
    // still orders names the English way.
    std::string locale = uloc_getDefault();
    if (const auto posix = locale.find("_POSIX"); posix != std::string::npos) {
      locale.erase(posix);
    }
    return collatorWithLocale(locale, Options{.numeric = true, .ignoreCase = true});
  }();
  return standard;
}

Collator::~Collator() { ucol_close(collator_); }

ComparisonResult Collator::compare(StringView a, StringView b) const noexcept {
  const UCollationResult r =
      ucol_strcoll(collator_, icuChars(a), icuLength(a.size()), icuChars(b), icuLength(b.size()));
  return static_cast<ComparisonResult>(static_cast<int>(r));
}

std::size_t Collator::sortKey(StringView s, std::uint8_t* buffer,
                              std::size_t capacity) const noexcept {
  const int32_t n =
      ucol_getSortKey(collator_, icuChars(s), icuLength(s.size()), buffer, icuLength(capacity));
  return n > 0 ? static_cast<std::size_t>(n) : 0;
}

Data Collator::sortKey(StringView s) const {
  Data key(s.size() * 2 + 16);
  std::size_t n = sortKey(s, key.data(), key.size());
  if (n > key.size()) {
    key.resize(n);
    n = sortKey(s, key.data(), key.size());
  }
  key.resize(n);
  return key;
}

std::string Collator::localeID() const {
  UErrorCode err = U_ZERO_ERROR;
  const char* id = ucol_getLocaleByType(collator_, ULOC_ACTUAL_LOCALE, &err);
  return U_SUCCESS(err) && id ? id : "";
}

ComparisonResult localizedStandardCompare(StringView a, StringView b) noexcept {
  static const std::shared_ptr<const Collator> standard = Collator::localizedStandardCollator();
  if (standard) return standard->compare(a, b);
  return compare(a, b, CaseInsensitiveSearch | NumericSearch);
}

}  // namespace lx
