// `LXRFC2616DateFormatter`: reads and writes HTTP dates, with the two
// obsolete forms of RFC 2616 as reading fallbacks.
#pragma once

#include "vantorcore/Export.h"

#include <memory>
#include <mutex>

#include "vantorcore/platform/DateFormatter.h"

namespace LX_API lx {

class LXRFC2616DateFormatter : public DateFormatter {
  LX_DECLARE_CLASS(LXRFC2616DateFormatter)

 public:
  /// Zone "GMT", locale "en_US_POSIX", pattern "EEE, dd MMM yyyy HH:mm:ss z".
  LXRFC2616DateFormatter();

  /// The calling thread's formatter, kept in its thread dictionary under
  /// "LXRFC2616DateFormatter" and made on first use. Use it on that thread.
  static std::shared_ptr<LXRFC2616DateFormatter> defaultFormatter();

  /// The RFC 850 fallback: zone "GMT", pattern "EEEE, dd-MMM-yy HH:mm:ss
  /// 'GMT'", no locale set. Made on first use under a lock on this object.
  DateFormatter& dateFormatterForRFC850() const;
  /// The asctime fallback: zone "GMT", pattern "EEE MMM dd HH:mm:ss yyyy",
  /// no locale set. Made on first use under a lock on this object.
  DateFormatter& dateFormatterForAsctime() const;

  /// The date in the formatter's pattern; with the settings `init` made,
  /// the RFC 1123 form. Dates of years 1583 to 9999 are written without ICU
  /// while those settings stand, to the text ICU writes.
  ///   784111777 => 'Sun, 06 Nov 1994 08:49:37 GMT'
  [[nodiscard]] String stringFromDate(Date date) const override;

  /// The RFC 1123 form, else the RFC 850 form, else the asctime form. The
  /// fallbacks read English day and month names only when the default
  /// locale is English (they set none); that is the settled behaviour.
  /// While the settings of `init` stand, the exact text `stringFromDate`
  /// writes is read without ICU; ICU reads everything else.
  ///   'Sun, 06 Nov 1994 08:49:37 GMT'  => 784111777
  ///   'Sunday, 06-Nov-94 08:49:37 GMT' => 784111777
  ///   'Sun Nov 06 08:49:37 1994'       => 784111777     'soon' => absent
  [[nodiscard]] std::optional<Date> dateFromString(StringView text) const override;

 private:
  // Whether zone, locale and pattern are still the ones `init` set.
  [[nodiscard]] bool hasHTTPSettings() const noexcept;

  mutable std::mutex fallbackMutex_;
  mutable std::unique_ptr<DateFormatter> rfc850_;
  mutable std::unique_ptr<DateFormatter> asctime_;
};

}  // namespace lx
