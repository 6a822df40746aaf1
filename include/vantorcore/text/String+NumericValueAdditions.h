// Unsigned integer values of strings, and decimal text of floating-point
// numbers that does not depend on the user's locale. Thread-safe.
#pragma once

#include "vantorcore/Export.h"

#include "vantorcore/platform/String.h"

namespace LX_API lx {

/// The base-10 value of the text's leading number as `strtoull` reads it:
/// leading white space and a sign are accepted (a '-' negates modulo 2^64),
/// 0 when there are no digits, ULLONG_MAX on overflow.
///   '42abc' => 42,   '  7' => 7,   'x' => 0,   '-1' => 18446744073709551615,
///   '99999999999999999999' => 18446744073709551615
unsigned long long lx_unsignedLongLongValue(StringView string);

/// The same with `strtoul` (of the same width on 64-bit Linux).
unsigned long lx_unsignedLongValue(StringView string);

/// `value` rounded to at most `maxFractionalDigits` fractional digits (half
/// away from zero, on the shortest decimal form of the double) and written in
/// the "en_US_POSIX" locale: '.' as separator, no grouping, no trailing zeros.
///   (3.14159, 2) => '3.14',   (2.5, 0) => '3',   (2.675, 2) => '2.68',
///   (1234567.5, 1) => '1234567.5',   (1.0, 3) => '1',   (-0.125, 2) => '-0.13'
String lx_stringWithFloat(double value, unsigned maxFractionalDigits);

}  // namespace lx
