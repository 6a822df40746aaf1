// `DateFormatter`: dates to text and back with Unicode date-format patterns
// ("EEE, dd MMM yyyy HH:mm:ss z"), a locale and a time zone, on ICU's
// SimpleDateFormat.
//
// A formatter is for one thread at a time (ICU's formatter keeps a calendar
// it works in); the library hands each thread its own where it shares them.
#pragma once

#include "vantorcore/Export.h"

#include <memory>
#include <optional>
#include <string>

#include "vantorcore/platform/Date.h"
#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/String.h"

namespace LX_API lx {

/// The locale's predefined lengths of a date or a time, as ICU names them.
enum class DateFormatterStyle { None, Short, Medium, Long, Full };

class DateFormatter : public Object {
  LX_DECLARE_CLASS(DateFormatter)

 public:
  /// A formatter with an empty pattern, the default locale (from
  /// LANG/LC_*) and the system time zone (from TZ).
  DateFormatter();
  ~DateFormatter() override;

  /// The pattern in ICU/Unicode form; empty while styles are used.
  [[nodiscard]] const String& dateFormat() const noexcept { return format_; }
  /// Sets the pattern and clears both styles.
  void setDateFormat(StringView pattern);

  /// The length of the date and of the time part. While either is not
  /// `None`, the locale's pattern for the pair is used instead of
  /// `dateFormat()`; with both `None` (the default) the pattern applies.
  /// In "en_US" at 13:05:09 UTC on 2026-11-24:
  ///   Short date, Long time  => '11/24/26, 1:05:09\u202fPM UTC'
  ///   Short date, None       => '11/24/26'
  ///   None,       Short time => '1:05\u202fPM'
  /// (ICU 72 writes a narrow no-break space before the day period.)
  ///@{
  [[nodiscard]] DateFormatterStyle dateStyle() const noexcept { return dateStyle_; }
  void setDateStyle(DateFormatterStyle style);
  ///@}
  /// The style of the time part; `None` leaves the time out.
  ///@{
  [[nodiscard]] DateFormatterStyle timeStyle() const noexcept { return timeStyle_; }
  void setTimeStyle(DateFormatterStyle style);
  ///@}

  /// An ICU locale ID ("en_US_POSIX"); absent means the default locale.
  [[nodiscard]] const std::optional<std::string>& locale() const noexcept { return locale_; }
  /// The locale, as an ICU identifier; absent for the process locale.
  void setLocale(std::optional<std::string> localeID);

  /// A time-zone ID ("GMT", "Europe/Berlin"); absent means the system zone.
  /// An unknown ID behaves as "GMT" (ICU's unknown zone has offset 0).
  [[nodiscard]] const std::optional<String>& timeZone() const noexcept { return timeZone_; }
  /// The time zone, as an IANA name; absent for the system zone.
  void setTimeZone(std::optional<String> zoneID);

  /// The date written with the pattern. "" when ICU cannot build the
  /// formatter (a malformed pattern). Subclasses may write common cases
  /// without ICU, to the same text.
  [[nodiscard]] virtual String stringFromDate(Date date) const;

  /// The date the whole of `text` denotes under the pattern, parsed
  /// strictly (no text left over, fields within range). Absent otherwise.
  /// Subclasses add fallbacks.
  [[nodiscard]] virtual std::optional<Date> dateFromString(StringView text) const;

 private:
  struct Impl;

  String format_;
  DateFormatterStyle dateStyle_ = DateFormatterStyle::None;
  DateFormatterStyle timeStyle_ = DateFormatterStyle::None;
  std::optional<std::string> locale_;
  std::optional<String> timeZone_;
  std::unique_ptr<Impl> impl_;  // ICU's formatter, rebuilt after a setting changes
};

}  // namespace lx
