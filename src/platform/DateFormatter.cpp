#include "vantorcore/platform/DateFormatter.h"

#include <unicode/locid.h>
#include <unicode/numfmt.h>
#include <unicode/numsys.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>

namespace lx {
namespace {

// Reads the numeric fields of a date: a run of ASCII digits. ICU's date
// parser copies its decimal number format for every numeric field it reads,
// which costs several times the rest of the parse; a format that is not a
// decimal format is used as it is. Only parsers get it, and only for locales
// that write ASCII digits.
class ASCIIDigitsFormat final : public icu::NumberFormat {
 public:
  using icu::NumberFormat::format;

  ASCIIDigitsFormat* clone() const override { return new ASCIIDigitsFormat(*this); }
  UClassID getDynamicClassID() const override { return &kClassID; }

  icu::UnicodeString& format(double number, icu::UnicodeString& appendTo,
                             icu::FieldPosition& pos) const override {
    return format(static_cast<int64_t>(number), appendTo, pos);
  }
  icu::UnicodeString& format(int32_t number, icu::UnicodeString& appendTo,
                             icu::FieldPosition& pos) const override {
    return format(static_cast<int64_t>(number), appendTo, pos);
  }
  icu::UnicodeString& format(int64_t number, icu::UnicodeString& appendTo,
                             icu::FieldPosition&) const override {
    char digits[24];
    const int n =
        std::snprintf(digits, sizeof digits, "%0*lld", std::min(getMinimumIntegerDigits(), 20),
                      static_cast<long long>(number));
    const int keep = std::min(n, std::max(getMaximumIntegerDigits(), 1));
    return appendTo.append(icu::UnicodeString(digits + (n - keep), keep, US_INV));
  }

  void parse(const icu::UnicodeString& text, icu::Formattable& result,
             icu::ParsePosition& position) const override {
    const int32_t start = position.getIndex();
    int32_t i = start;
    int64_t value = 0;
    while (i < text.length() && text[i] >= u'0' && text[i] <= u'9' && value <= INT32_MAX) {
      value = value * 10 + (text[i] - u'0');
      ++i;
    }
    if (i == start) {
      position.setErrorIndex(start);
      return;
    }
    if (value > INT32_MAX) {
      result.setInt64(value);
    } else {
      result.setLong(static_cast<int32_t>(value));
    }
    position.setIndex(i);
  }

 private:
  static inline char kClassID = 0;
};

bool writesASCIIDigits(const icu::Locale& locale) {
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::NumberingSystem> system(
      icu::NumberingSystem::createInstance(locale, status));
  return U_SUCCESS(status) && system && std::strcmp(system->getName(), "latn") == 0;
}

icu::DateFormat::EStyle icuStyle(DateFormatterStyle style) {
  switch (style) {
    case DateFormatterStyle::Short:
      return icu::DateFormat::kShort;
    case DateFormatterStyle::Medium:
      return icu::DateFormat::kMedium;
    case DateFormatterStyle::Long:
      return icu::DateFormat::kLong;
    case DateFormatterStyle::Full:
      return icu::DateFormat::kFull;
    case DateFormatterStyle::None:
      break;
  }
  return icu::DateFormat::kNone;
}

// The formatter for the owner's settings: the locale's own pattern for a
// pair of styles, else the explicit pattern.
std::unique_ptr<icu::SimpleDateFormat> makeFormatter(const icu::Locale& locale,
                                                     const String& format,
                                                     DateFormatterStyle dateStyle,
                                                     DateFormatterStyle timeStyle) {
  if (dateStyle != DateFormatterStyle::None || timeStyle != DateFormatterStyle::None) {
    std::unique_ptr<icu::DateFormat> styled(
        icu::DateFormat::createDateTimeInstance(icuStyle(dateStyle), icuStyle(timeStyle), locale));
    // ICU's styled formatters are SimpleDateFormats for every Gregorian locale.
    auto* simple = dynamic_cast<icu::SimpleDateFormat*>(styled.get());
    if (!simple) return nullptr;
    styled.release();
    return std::unique_ptr<icu::SimpleDateFormat>(simple);
  }
  UErrorCode status = U_ZERO_ERROR;
  const icu::UnicodeString pattern(false, reinterpret_cast<const UChar*>(format.data()),
                                   static_cast<int32_t>(format.size()));
  auto f = std::make_unique<icu::SimpleDateFormat>(pattern, locale, status);
  if (U_FAILURE(status)) return nullptr;
  return f;
}

}  // namespace

LX_DEFINE_CLASS(DateFormatter, Object)

struct DateFormatter::Impl {
  std::unique_ptr<icu::SimpleDateFormat> formatter;
  // A calendar of our own to format and parse in: ICU's convenience calls
  // clone the formatter's calendar on every call, which costs more than the
  // formatting itself.
  std::unique_ptr<icu::Calendar> calendar;
  std::unique_ptr<icu::SimpleDateFormat> parser;  // the formatter with ASCIIDigitsFormat
  bool stale = true;

  icu::SimpleDateFormat* get(const DateFormatter& owner) {
    if (!stale) return formatter.get();
    stale = false;
    formatter.reset();
    parser.reset();
    const icu::Locale locale =
        owner.locale_ ? icu::Locale::createFromName(owner.locale_->c_str()) : icu::Locale();
    auto f = makeFormatter(locale, owner.format_, owner.dateStyle_, owner.timeStyle_);
    if (!f) return nullptr;
    if (owner.timeZone_) {
      const icu::UnicodeString zone(false, reinterpret_cast<const UChar*>(owner.timeZone_->data()),
                                    static_cast<int32_t>(owner.timeZone_->size()));
      f->adoptTimeZone(icu::TimeZone::createTimeZone(zone));
    }
    f->setLenient(false);
    calendar.reset(f->getCalendar()->clone());
    if (!calendar) return nullptr;
    if (writesASCIIDigits(locale)) {
      parser.reset(f->clone());
      if (parser) parser->adoptNumberFormat(new ASCIIDigitsFormat);
    }
    formatter = std::move(f);
    return formatter.get();
  }
};

DateFormatter::DateFormatter() : impl_(std::make_unique<Impl>()) {}
DateFormatter::~DateFormatter() = default;

void DateFormatter::setDateFormat(StringView pattern) {
  format_ = String(pattern);
  dateStyle_ = DateFormatterStyle::None;
  timeStyle_ = DateFormatterStyle::None;
  impl_->stale = true;
}

void DateFormatter::setDateStyle(DateFormatterStyle style) {
  dateStyle_ = style;
  impl_->stale = true;
}

void DateFormatter::setTimeStyle(DateFormatterStyle style) {
  timeStyle_ = style;
  impl_->stale = true;
}

void DateFormatter::setLocale(std::optional<std::string> localeID) {
  locale_ = std::move(localeID);
  impl_->stale = true;
}

void DateFormatter::setTimeZone(std::optional<String> zoneID) {
  timeZone_ = std::move(zoneID);
  impl_->stale = true;
}

String DateFormatter::stringFromDate(Date date) const {
  icu::SimpleDateFormat* f = impl_->get(*this);
  if (!f) return String();
  UErrorCode status = U_ZERO_ERROR;
  impl_->calendar->setTime(static_cast<UDate>(date.timeIntervalSince1970() * 1000.0), status);
  if (U_FAILURE(status)) return String();
  icu::UnicodeString out;
  icu::FieldPosition position;
  f->format(*impl_->calendar, out, position);
  return String(reinterpret_cast<const char16_t*>(out.getBuffer()),
                static_cast<std::size_t>(out.length()));
}

std::optional<Date> DateFormatter::dateFromString(StringView text) const {
  icu::SimpleDateFormat* f = impl_->get(*this);
  if (!f || text.empty()) return std::nullopt;
  const icu::UnicodeString in(false, reinterpret_cast<const UChar*>(text.data()),
                              static_cast<int32_t>(text.size()));
  icu::Calendar& calendar = *impl_->calendar;
  calendar.clear();
  icu::ParsePosition position(0);
  (impl_->parser ? impl_->parser.get() : f)->parse(in, calendar, position);
  if (position.getErrorIndex() >= 0 || position.getIndex() != in.length()) return std::nullopt;
  UErrorCode status = U_ZERO_ERROR;
  const UDate parsed = calendar.getTime(status);
  if (U_FAILURE(status)) return std::nullopt;
  return Date(parsed / 1000.0);
}

}  // namespace lx
