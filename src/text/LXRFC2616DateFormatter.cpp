#include "vantorcore/text/LXRFC2616DateFormatter.h"

#include <string>
#include <string_view>

#include "text/PerThreadFormatter.h"
#include "text/RFC1123Date.h"

namespace lx {

LX_DEFINE_CLASS(LXRFC2616DateFormatter, DateFormatter)

namespace {

constexpr StringView kZone = u"GMT";
constexpr std::string_view kLocale = "en_US_POSIX";
constexpr StringView kPattern = u"EEE, dd MMM yyyy HH:mm:ss z";

std::unique_ptr<DateFormatter> gmtFormatter(StringView pattern) {
  auto f = std::make_unique<DateFormatter>();
  f->setTimeZone(u"GMT");
  f->setDateFormat(pattern);
  return f;
}

}  // namespace

LXRFC2616DateFormatter::LXRFC2616DateFormatter() {
  setTimeZone(String(kZone));
  setLocale(std::string(kLocale));
  setDateFormat(kPattern);
}

bool LXRFC2616DateFormatter::hasHTTPSettings() const noexcept {
  return timeZone() == kZone && locale() == kLocale && dateFormat() == kPattern;
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

String LXRFC2616DateFormatter::stringFromDate(Date date) const {
  if (hasHTTPSettings()) {
    if (auto text = detail::rfc1123StringFromDate(date)) return std::move(*text);
  }
  return DateFormatter::stringFromDate(date);
}

std::optional<Date> LXRFC2616DateFormatter::dateFromString(StringView text) const {
  if (hasHTTPSettings()) {
    if (auto date = detail::rfc1123DateFromString(text)) return date;
  }
  if (auto date = DateFormatter::dateFromString(text)) return date;
  if (auto date = dateFormatterForRFC850().dateFromString(text)) return date;
  return dateFormatterForAsctime().dateFromString(text);
}

}  // namespace lx
