#include "text/RFC1123Date.h"

#include <array>
#include <cmath>
#include <cstdint>

namespace lx::detail {
namespace {

constexpr std::array<const char*, 7> kWeekdays = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr std::array<const char*, 12> kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                 "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

constexpr int kFirstYear = 1583;  // the first whole Gregorian year in ICU's calendar
constexpr int kLastYear = 9999;   // "yyyy" writes five digits after it
constexpr double kMillisPerDay = 86400000.0;

// Days since 1970-01-01 of a proleptic Gregorian date (H. Hinnant's
// days_from_civil).
constexpr std::int64_t daysFromCivil(std::int64_t y, unsigned m, unsigned d) noexcept {
  y -= m <= 2;
  const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
  const auto yoe = static_cast<unsigned>(y - era * 400);
  const unsigned doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + static_cast<std::int64_t>(doe) - 719468;
}

struct Civil {
  int year;
  unsigned month;  // 1...12
  unsigned day;    // 1...31
};

// The inverse of daysFromCivil, for days >= 0000-03-01.
constexpr Civil civilFromDays(std::int64_t z) noexcept {
  z += 719468;
  const std::int64_t era = z / 146097;
  const auto doe = static_cast<unsigned>(z - era * 146097);
  const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const unsigned mp = (5 * doy + 2) / 153;
  const unsigned day = doy - (153 * mp + 2) / 5 + 1;
  const unsigned month = mp < 10 ? mp + 3 : mp - 9;
  return {static_cast<int>(yoe + era * 400 + (month <= 2)), month, day};
}

constexpr std::int64_t kFirstDay = daysFromCivil(kFirstYear, 1, 1);
constexpr std::int64_t kEndDay = daysFromCivil(kLastYear + 1, 1, 1);

// 0 for Sunday; 1970-01-01 was a Thursday.
constexpr unsigned weekday(std::int64_t days) noexcept {
  return static_cast<unsigned>(((days + 4) % 7 + 7) % 7);
}

constexpr bool isLeapYear(int y) noexcept { return y % 4 == 0 && (y % 100 != 0 || y % 400 == 0); }

constexpr unsigned daysInMonth(int year, unsigned month) noexcept {
  constexpr unsigned kLengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && isLeapYear(year) ? 29 : kLengths[month - 1];
}

static_assert(civilFromDays(daysFromCivil(2000, 2, 29)).day == 29);
static_assert(weekday(daysFromCivil(1994, 11, 6)) == 0);

char16_t* putDigits(char16_t* out, unsigned value, int count) noexcept {
  for (int i = count - 1; i >= 0; --i) {
    out[i] = static_cast<char16_t>(u'0' + value % 10);
    value /= 10;
  }
  return out + count;
}

char16_t* putText(char16_t* out, const char* text) noexcept {
  while (*text) *out++ = static_cast<char16_t>(*text++);
  return out;
}

// The value of `count` ASCII digits at `in`, or -1.
int readDigits(const char16_t* in, int count) noexcept {
  int value = 0;
  for (int i = 0; i < count; ++i) {
    if (in[i] < u'0' || in[i] > u'9') return -1;
    value = value * 10 + (in[i] - u'0');
  }
  return value;
}

// The index of the three letters at `in` among `names`, or -1.
template <std::size_t N>
int readName(const char16_t* in, const std::array<const char*, N>& names) noexcept {
  for (std::size_t i = 0; i < N; ++i) {
    const char* name = names[i];
    if (in[0] == name[0] && in[1] == name[1] && in[2] == name[2]) return static_cast<int>(i);
  }
  return -1;
}

bool matches(const char16_t* in, const char* literal) noexcept {
  for (; *literal; ++in, ++literal) {
    if (*in != static_cast<char16_t>(*literal)) return false;
  }
  return true;
}

constexpr std::size_t kLength = sizeof "Sun, 06 Nov 1994 08:49:37 GMT" - 1;

}  // namespace

std::optional<String> rfc1123StringFromDate(Date date) {
  // ICU keeps milliseconds as a double and splits them into days and the
  // milliseconds of the day exactly like this; doing the same arithmetic
  // keeps fractional and negative times on the same second as ICU.
  const double millis = date.timeIntervalSince1970() * 1000.0;
  if (!std::isfinite(millis)) return std::nullopt;
  const double days = std::floor(millis / kMillisPerDay);
  if (days < static_cast<double>(kFirstDay) || days >= static_cast<double>(kEndDay)) {
    return std::nullopt;
  }
  const double millisInDay = millis - days * kMillisPerDay;
  if (!(millisInDay >= 0 && millisInDay < kMillisPerDay)) return std::nullopt;

  const auto day = static_cast<std::int64_t>(days);
  const Civil civil = civilFromDays(day);
  const auto seconds = static_cast<unsigned>(millisInDay) / 1000;

  char16_t text[kLength];
  char16_t* out = putText(text, kWeekdays[weekday(day)]);
  out = putText(out, ", ");
  out = putDigits(out, civil.day, 2);
  *out++ = u' ';
  out = putText(out, kMonths[civil.month - 1]);
  *out++ = u' ';
  out = putDigits(out, static_cast<unsigned>(civil.year), 4);
  *out++ = u' ';
  out = putDigits(out, seconds / 3600, 2);
  *out++ = u':';
  out = putDigits(out, seconds / 60 % 60, 2);
  *out++ = u':';
  out = putDigits(out, seconds % 60, 2);
  putText(out, " GMT");
  return String(text, kLength);
}

std::optional<Date> rfc1123DateFromString(StringView text) noexcept {
  if (text.size() != kLength) return std::nullopt;
  const char16_t* in = text.data();
  const int weekdayIndex = readName(in, kWeekdays);
  const int monthIndex = readName(in + 8, kMonths);
  const int dayOfMonth = readDigits(in + 5, 2);
  const int year = readDigits(in + 12, 4);
  const int hour = readDigits(in + 17, 2);
  const int minute = readDigits(in + 20, 2);
  const int second = readDigits(in + 23, 2);
  if (weekdayIndex < 0 || monthIndex < 0 || dayOfMonth < 1 || year < kFirstYear || hour < 0 ||
      hour > 23 || minute < 0 || minute > 59 || second < 0 || second > 59 ||
      !matches(in + 3, ", ") || in[7] != u' ' || in[11] != u' ' || in[16] != u' ' ||
      in[19] != u':' || in[22] != u':' || !matches(in + 25, " GMT")) {
    return std::nullopt;
  }
  const auto month = static_cast<unsigned>(monthIndex + 1);
  if (static_cast<unsigned>(dayOfMonth) > daysInMonth(year, month)) return std::nullopt;
  const std::int64_t day = daysFromCivil(year, month, static_cast<unsigned>(dayOfMonth));
  if (weekday(day) != static_cast<unsigned>(weekdayIndex)) return std::nullopt;
  return Date(static_cast<double>(day * 86400 + hour * 3600 + minute * 60 + second));
}

}  // namespace lx::detail
