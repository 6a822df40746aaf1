// The RFC 1123 date form ("Sun, 06 Nov 1994 08:49:37 GMT") written and read
// without ICU, for the HTTP date operations that would otherwise spend most
// of their time in ICU's pattern-driven formatter.
//
// Both directions cover only what ICU's formatter (pattern
// "EEE, dd MMM yyyy HH:mm:ss z" or its quoted twin, zone GMT, an English
// locale) does identically: Gregorian dates from 1583-01-01 to 9999-12-31.
// Everything else is absent, and the caller asks ICU, so that results never
// depend on which path ran. Earlier dates are left to ICU because its
// calendar switches to the Julian one before 1582-10-15.
#pragma once

#include <optional>

#include "vantorcore/platform/Date.h"
#include "vantorcore/platform/String.h"

namespace lx::detail {

/// ICU's text for `date`, or absent outside 1583-01-01 ... 9999-12-31 (and
/// for NaN and infinities). Fractions of a second are dropped toward the
/// past, as ICU does.
///   784111777   => 'Sun, 06 Nov 1994 08:49:37 GMT'
///   -0.5        => 'Wed, 31 Dec 1969 23:59:59 GMT'
///   -12219292800 (1582-10-15) => absent
std::optional<String> rfc1123StringFromDate(Date date);

/// The date of exactly the text `rfc1123StringFromDate` writes: the right
/// weekday, two-digit day valid for the month, "GMT", capitalised English
/// names, years 1583 ... 9999. Absent for anything else, including texts
/// ICU would still read (lower case, other zones, other years).
///   'Sun, 06 Nov 1994 08:49:37 GMT' => 784111777
///   'Mon, 06 Nov 1994 08:49:37 GMT' => absent (wrong weekday)
///   'Sun, 06 Nov 1994 08:49:37 UTC' => absent
std::optional<Date> rfc1123DateFromString(StringView text) noexcept;

}  // namespace lx::detail
