// A point in time, as seconds since 1970-01-01 00:00:00 UTC.
#pragma once

#include "vantorcore/Export.h"

#include <compare>

namespace LX_API lx {

/// Seconds between 1970-01-01 and the platform's reference date 2001-01-01 UTC.
inline constexpr double kTimeIntervalSince1970ToReferenceDate = 978307200.0;

/// A regular value type: copyable, ordered, and cheap (one double).
class Date {
 public:
  constexpr Date() noexcept = default;
  /// The date `secondsSince1970` seconds after 1970-01-01 00:00 UTC.
  constexpr explicit Date(double secondsSince1970) noexcept : seconds_(secondsSince1970) {}

  /// The current wall-clock time: the date of `Clock::current()`, so a
  /// test's manual clock moves it too.
  static Date now() noexcept;
  /// The date `seconds` after 2001-01-01 00:00 UTC, the platform's reference date.
  static constexpr Date withTimeIntervalSinceReferenceDate(double seconds) noexcept {
    return Date(seconds + kTimeIntervalSince1970ToReferenceDate);
  }
  /// Far-away dates that timers use for "never".
  static constexpr Date distantFuture() noexcept { return Date(64092211200.0); }
  /// Midnight UTC on 1 January of year 1, earlier than any real date.
  static constexpr Date distantPast() noexcept { return Date(-62135769600.0); }

  /// Seconds since 1970 and since the 2001 reference date.
  ///@{
  [[nodiscard]] constexpr double timeIntervalSince1970() const noexcept { return seconds_; }
  [[nodiscard]] constexpr double timeIntervalSinceReferenceDate() const noexcept {
    return seconds_ - kTimeIntervalSince1970ToReferenceDate;
  }
  ///@}
  /// Seconds from now to this date (negative in the past).
  [[nodiscard]] double timeIntervalSinceNow() const noexcept;
  /// Seconds from `other` to this date.
  [[nodiscard]] constexpr double timeIntervalSinceDate(Date other) const noexcept {
    return seconds_ - other.seconds_;
  }
  /// The date `seconds` later.
  [[nodiscard]] constexpr Date addingTimeInterval(double seconds) const noexcept {
    return Date(seconds_ + seconds);
  }

  /// Dates order by time.
  ///@{
  friend constexpr auto operator<=>(Date, Date) noexcept = default;
  friend constexpr bool operator==(Date, Date) noexcept = default;
  ///@}

 private:
  double seconds_ = 0;
};

}  // namespace lx
