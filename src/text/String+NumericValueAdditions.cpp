#include <unicode/numberformatter.h>

#include <algorithm>
#include <cstdlib>
#include <string>

#include "vantorcore/platform/Log.h"
#include "vantorcore/text/DebugLogging.h"
#include "vantorcore/text/String+NumericValueAdditions.h"

namespace lx {

unsigned long long lx_unsignedLongLongValue(StringView string) {
  return std::strtoull(toUTF8(string).c_str(), nullptr, 10);
}

unsigned long lx_unsignedLongValue(StringView string) {
  return std::strtoul(toUTF8(string).c_str(), nullptr, 10);
}

namespace {

// Made once: the locale never changes and a formatter is safe to share.
const icu::number::LocalizedNumberFormatter& baseFormatter() {
  static const icu::number::LocalizedNumberFormatter formatter = [] {
    icu::Locale locale("en_US_POSIX");
    if (locale.isBogus()) {
      if (LXDebugLoggingIsEnabled()) logLine(u"Couldn't find en_US_POSIX locale");
      locale = icu::Locale::getDefault();
    }
    return icu::number::NumberFormatter::withLocale(locale)
        .grouping(UNUM_GROUPING_OFF)
        .roundingMode(UNUM_ROUND_HALFUP);
  }();
  return formatter;
}

}  // namespace

String lx_stringWithFloat(double value, unsigned maxFractionalDigits) {
  UErrorCode status = U_ZERO_ERROR;
  const int digits = static_cast<int>(std::min(maxFractionalDigits, 999u));
  const icu::UnicodeString text = baseFormatter()
                                      .precision(icu::number::Precision::maxFraction(digits))
                                      .formatDouble(value, status)
                                      .toString(status);
  if (U_FAILURE(status)) return {};
  return String(text.getBuffer(), text.getBuffer() + text.length());
}

}  // namespace lx
