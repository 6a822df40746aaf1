#include "vantorcore/text/LXISO8601WithUTCDateFormatter.h"

#include "text/PerThreadFormatter.h"

namespace lx {

LX_DEFINE_CLASS(LXISO8601WithUTCDateFormatter, DateFormatter)

LXISO8601WithUTCDateFormatter::LXISO8601WithUTCDateFormatter() {
  setLocale("en_US_POSIX");
  setDateFormat(u"yyyy-MM-dd'T'HH:mm:ssZZZZ");
}

std::shared_ptr<LXISO8601WithUTCDateFormatter> LXISO8601WithUTCDateFormatter::defaultFormatter() {
  return detail::perThreadInstance<LXISO8601WithUTCDateFormatter>(u"LXISO8601WithUTCDateFormatter");
}

DateFormatter& LXISO8601WithUTCDateFormatter::dateFormatterForISO8601Z() const {
  std::lock_guard lock(fallbackMutex_);
  if (!fractional_) {
    fractional_ = std::make_unique<DateFormatter>();
    fractional_->setLocale("en_US_POSIX");
    fractional_->setDateFormat(u"yyyy-MM-dd'T'HH:mm:ss.SSSZ");
  }
  return *fractional_;
}

std::optional<Date> LXISO8601WithUTCDateFormatter::dateFromString(StringView text) const {
  if (auto date = DateFormatter::dateFromString(text)) return date;
  return dateFormatterForISO8601Z().dateFromString(text);
}

}  // namespace lx
