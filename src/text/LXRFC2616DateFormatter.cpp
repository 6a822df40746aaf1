#include "vantorcore/text/LXRFC2616DateFormatter.h"

#include "text/PerThreadFormatter.h"

namespace lx {

LX_DEFINE_CLASS(LXRFC2616DateFormatter, DateFormatter)

namespace {

std::unique_ptr<DateFormatter> gmtFormatter(StringView pattern) {
  auto f = std::make_unique<DateFormatter>();
  f->setTimeZone(u"GMT");
  f->setDateFormat(pattern);
  return f;
}

}  // namespace

LXRFC2616DateFormatter::LXRFC2616DateFormatter() {
  setTimeZone(u"GMT");
  setLocale("en_US_POSIX");
  setDateFormat(u"EEE, dd MMM yyyy HH:mm:ss z");
}

std::shared_ptr<LXRFC2616DateFormatter> LXRFC2616DateFormatter::defaultFormatter() {
  return detail::perThreadInstance<LXRFC2616DateFormatter>(u"LXRFC2616DateFormatter");
}

DateFormatter& LXRFC2616DateFormatter::dateFormatterForRFC850() const {
  std::lock_guard lock(fallbackMutex_);
  if (!rfc850_) rfc850_ = gmtFormatter(u"EEEE, dd-MMM-yy HH:mm:ss 'GMT'");
  return *rfc850_;
}

DateFormatter& LXRFC2616DateFormatter::dateFormatterForAsctime() const {
  std::lock_guard lock(fallbackMutex_);
  if (!asctime_) asctime_ = gmtFormatter(u"EEE MMM dd HH:mm:ss yyyy");
  return *asctime_;
}

std::optional<Date> LXRFC2616DateFormatter::dateFromString(StringView text) const {
  if (auto date = DateFormatter::dateFromString(text)) return date;
  if (auto date = dateFormatterForRFC850().dateFromString(text)) return date;
  return dateFormatterForAsctime().dateFromString(text);
}

}  // namespace lx
