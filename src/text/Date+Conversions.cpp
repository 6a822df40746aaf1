#include <unicode/calendar.h>

#include <cmath>
#include <memory>
#include <mutex>

#include "text/RFC1123Date.h"
#include "vantorcore/platform/Clock.h"
#include "vantorcore/platform/DateFormatter.h"
#include "vantorcore/platform/Log.h"
#include "vantorcore/text/Date+Conversions.h"
#include "vantorcore/text/VantorCoreLocale.h"

namespace lx {
namespace {

// Seconds from 1904-01-01 to 1970-01-01 UTC (66 years, 17 of them leap).
constexpr double kSeconds1904To1970 = 2082844800.0;

// "1 <unit> ago" for one, the "%ld <units> ago" text otherwise.
String agoText(long count, StringView one, StringView many) {
  if (count == 1) return LXLocal(one);
  return stringWithFormat(LXLocal(many), count);
}

}  // namespace

Date lx_dateWithTimespec(const timespec& value) noexcept {
  return Date(static_cast<double>(value.tv_sec) + static_cast<double>(value.tv_nsec) / 1e9);
}

timespec lx_timespec(Date date) noexcept {
  const double seconds = date.timeIntervalSince1970();
  const double whole = std::trunc(seconds);
  timespec value{};
  value.tv_sec = static_cast<time_t>(whole);
  const double nanoseconds = std::trunc((seconds - whole) * 1e9);
  value.tv_nsec = nanoseconds > 0 ? static_cast<long>(nanoseconds) : 0;
  return value;
}

Date lx_dateWithUTCDateTime(const UTCDateTime& value) noexcept {
  const double seconds =
      static_cast<double>((static_cast<std::uint64_t>(value.highSeconds) << 32) | value.lowSeconds);
  return Date(seconds - kSeconds1904To1970 + value.fraction / 65536.0);
}

std::uint64_t lx_nanoseconds() noexcept {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * 1000000000u +
         static_cast<std::uint64_t>(now.tv_nsec);
}

double lx_timeIntervalSinceFixedReferenceDate() noexcept {
  return static_cast<double>(lx_nanoseconds()) / 1e9;
}

String lx_rfc1123String(Date date) {
  if (auto text = detail::rfc1123StringFromDate(date)) return std::move(*text);
  static std::mutex mutex;
  static const std::unique_ptr<DateFormatter> formatter = [] {
    auto f = std::make_unique<DateFormatter>();
    f->setLocale("en_US");
    f->setTimeZone(u"GMT");
    f->setDateFormat(u"EEE',' dd MMM yyyy HH':'mm':'ss 'GMT'");
    return f;
  }();
  std::lock_guard lock(mutex);
  return formatter->stringFromDate(date);
}

String lx_descriptionWithFormat(Date date, StringView format) {
  DateFormatter formatter;
  formatter.setLocale("en_US");
  formatter.setDateFormat(format);
  return formatter.stringFromDate(date);
}

String lx_relativeNaturalLanguageString(Date date) {
  const Date now = Clock::current()->currentDate();
  if (date > now) {
    LXConditionFailed(
        u"lx_relativeNaturalLanguageString doesn't support future dates (can be added though)");
  }
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::Calendar> calendar(icu::Calendar::createInstance(status));
  long years = 0, months = 0, weeks = 0, days = 0;
  if (U_SUCCESS(status)) {
    // Field by field, largest first, as calendar component differences go:
    // each difference moves the calendar on before the next is taken.
    calendar->setTime(date.timeIntervalSince1970() * 1000.0, status);
    const UDate target = now.timeIntervalSince1970() * 1000.0;
    years = calendar->fieldDifference(target, UCAL_YEAR, status);
    months = calendar->fieldDifference(target, UCAL_MONTH, status);
    weeks = calendar->fieldDifference(target, UCAL_WEEK_OF_YEAR, status);
    days = calendar->fieldDifference(target, UCAL_DATE, status);
    if (U_FAILURE(status)) years = months = weeks = days = 0;
  }
  if (years >= 1) return agoText(years, u"1 year ago", u"%ld years ago");
  if (months >= 1) return agoText(months, u"1 month ago", u"%ld months ago");
  if (weeks >= 1) return agoText(weeks, u"1 week ago", u"%ld weeks ago");
  if (days < 1) return LXLocal(u"Today");
  if (days < 2) return LXLocal(u"Yesterday");
  return stringWithFormat(LXLocal(u"%ld days ago"), days);
}

}  // namespace lx
