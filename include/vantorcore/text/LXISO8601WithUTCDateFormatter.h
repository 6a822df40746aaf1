// `LXISO8601WithUTCDateFormatter`: reads ISO 8601 time stamps with a zone
// offset, with or without milliseconds.
#pragma once

#include "vantorcore/Export.h"

#include <memory>
#include <mutex>

#include "vantorcore/platform/DateFormatter.h"

namespace LX_API lx {

class LXISO8601WithUTCDateFormatter : public DateFormatter {
  LX_DECLARE_CLASS(LXISO8601WithUTCDateFormatter)

 public:
  /// Locale "en_US_POSIX", pattern "yyyy-MM-dd'T'HH:mm:ssZZZZ"; no zone is
  /// set, the offset in the text decides.
  LXISO8601WithUTCDateFormatter();

  /// The calling thread's formatter, kept in its thread dictionary under
  /// "LXISO8601WithUTCDateFormatter" and made on first use.
  static std::shared_ptr<LXISO8601WithUTCDateFormatter> defaultFormatter();

  /// The fallback for fractional seconds: locale "en_US_POSIX", pattern
  /// "yyyy-MM-dd'T'HH:mm:ss.SSSZ". Made on first use under a lock.
  DateFormatter& dateFormatterForISO8601Z() const;

  /// The own pattern, else the fallback.
  ///   '2020-01-02T03:04:05+0000'     => 1577934245
  ///   '2020-01-02T03:04:05.678+0000' => 1577934245.678
  ///   '2020-01-02T03:04:05+01:00'    => 1577930645      '2020-01-02' => absent
  [[nodiscard]] std::optional<Date> dateFromString(StringView text) const override;

 private:
  mutable std::mutex fallbackMutex_;
  mutable std::unique_ptr<DateFormatter> fractional_;
};

}  // namespace lx
