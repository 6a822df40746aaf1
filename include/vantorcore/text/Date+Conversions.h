// Dates to and from POSIX time values and UTC date-time records, the
// monotonic clock, RFC 1123 text and relative "ago" phrases.
#pragma once

#include "vantorcore/Export.h"

#include <cstdint>
#include <ctime>

#include "vantorcore/platform/Date.h"
#include "vantorcore/platform/String.h"

namespace LX_API lx {

/// A UTC date-time record: seconds since 1904-01-01 00:00:00 UTC in 48 bits
/// (`highSeconds` the top 16, `lowSeconds` the low 32) and a fraction of a
/// second in 1/65536 units.
struct UTCDateTime {
  /// The fields, as described above.
  ///@{
  std::uint16_t highSeconds = 0;
  std::uint32_t lowSeconds = 0;
  std::uint16_t fraction = 0;
  ///@}
};

/// The date at `value.tv_sec + value.tv_nsec / 1e9` seconds since 1970.
Date lx_dateWithTimespec(const timespec& value) noexcept;

/// Seconds since 1970 truncated toward zero, and the remaining fraction in
/// nanoseconds, truncated and clamped to 0 when negative (so dates before
/// 1970 lose their fraction).
///   1.5 => (1, 500000000)    -1.5 => (-1, 0)
timespec lx_timespec(Date date) noexcept;

/// The date a UTC date-time record denotes. Every record converts (48 bits
/// of seconds stay far inside a date's range).
///   (0, 0, 0) => 1904-01-01 00:00:00 UTC   fraction 0x8000 => + 0.5 s
Date lx_dateWithUTCDateTime(const UTCDateTime& value) noexcept;

/// Nanoseconds of the monotonic clock (CLOCK_MONOTONIC): arbitrary origin,
/// fixed while the machine runs. Any thread.
std::uint64_t lx_nanoseconds() noexcept;

/// `lx_nanoseconds() / 1e9`, as seconds.
double lx_timeIntervalSinceFixedReferenceDate() noexcept;

/// The date as an HTTP date, written with one shared formatter (locale
/// "en_US", zone "GMT", pattern "EEE',' dd MMM yyyy HH':'mm':'ss 'GMT'").
/// Any thread (calls are serialised on the shared formatter). Dates of
/// years 1583 to 9999 are written without ICU, to the text ICU writes.
///   0 => 'Thu, 01 Jan 1970 00:00:00 GMT'
String lx_rfc1123String(Date date);

/// The date written with `format` (a Unicode date pattern) by a new
/// formatter with locale "en_US" and the system time zone.
String lx_descriptionWithFormat(Date date, StringView format);

/// How long ago `date` was, in words, by whole calendar units of the
/// current calendar between the date and now (`Clock::current()`): years,
/// then months, then weeks, else "Today" (under a day), "Yesterday" (under
/// two days) or "%ld days ago". Texts are looked up with `LXLocal`. A
/// future date logs "CONDITION FAILED: lx_relativeNaturalLanguageString
/// doesn't support future dates (can be added though)" and is then
/// described like any other (as "Today").
///   23 hours ago => 'Today'    26 hours ago => 'Yesterday'
///   8 days ago => '1 week ago'    3 weeks ago => '3 weeks ago'
String lx_relativeNaturalLanguageString(Date date);

}  // namespace lx
