// `vantor date rfc1123|iso8601|relative [DATE...]`: HTTP dates, ISO 8601
// time stamps and relative phrases.
#include <cstdlib>
#include <iostream>
#include <memory>
#include <optional>

#include "Command.h"
#include "StreamIO.h"
#include "vantorcore/text/Date+Conversions.h"
#include "vantorcore/text/LXISO8601WithUTCDateFormatter.h"
#include "vantorcore/text/LXRFC2616DateFormatter.h"

namespace {

constexpr char kUsage[] =
    "usage: vantor date rfc1123|iso8601|relative [DATE...]\n\n"
    "Each DATE is '@SECONDS' (since 1970) or a text: an HTTP date (any of the\n"
    "three RFC 2616 forms) or an ISO 8601 time stamp with an offset. Without\n"
    "DATE, one date per line of standard input; '-' alone means now.\n"
    "  rfc1123   prints the date as an HTTP date\n"
    "  iso8601   prints the date as an ISO 8601 time stamp (UTC)\n"
    "  relative  prints how long ago it was ('Yesterday', '3 weeks ago')\n"
    "A DATE that cannot be read is reported on standard error (exit 1).";

std::optional<lx::Date> readDate(const std::string& text) {
  if (text == "-") return lx::Date::now();
  if (text.size() > 1 && text[0] == '@') {
    char* end = nullptr;
    const double seconds = std::strtod(text.c_str() + 1, &end);
    if (end && *end == '\0') return lx::Date(seconds);
    return std::nullopt;
  }
  const lx::String s = lx::fromUTF8(text);
  if (auto date = lx::LXRFC2616DateFormatter::defaultFormatter()->dateFromString(s)) return date;
  return lx::LXISO8601WithUTCDateFormatter::defaultFormatter()->dateFromString(s);
}

lx::String write(const std::string& mode, lx::Date date) {
  if (mode == "rfc1123") return lx::lx_rfc1123String(date);
  if (mode == "relative") return lx::lx_relativeNaturalLanguageString(date);
  static const auto iso = [] {
    auto f = std::make_shared<lx::DateFormatter>();
    f->setLocale("en_US_POSIX");
    f->setTimeZone(u"UTC");
    f->setDateFormat(u"yyyy-MM-dd'T'HH:mm:ssZZZZZ");
    return f;
  }();
  return iso->stringFromDate(date);
}

int convert(const std::string& mode, const std::string& text) {
  const auto date = readDate(text);
  if (!date) return vantor::fail("date", "cannot read the date '" + text + "'");
  std::cout << lx::toUTF8(write(mode, *date)) << "\n";
  return 0;
}

int run(vantor::Arguments args) {
  const vantor::Command self{"date", "", kUsage, nullptr};
  if (args.empty()) return vantor::usageError(self, "rfc1123, iso8601 or relative?");
  const std::string& mode = args[0];
  if (mode != "rfc1123" && mode != "iso8601" && mode != "relative") {
    return vantor::usageError(self, "unknown mode '" + mode + "'");
  }
  int status = 0;
  if (args.size() > 1) {
    for (std::size_t i = 1; i < args.size(); ++i) status |= convert(mode, args[i]);
    return status;
  }
  for (std::string line; std::getline(std::cin, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    status |= convert(mode, line);
  }
  return status;
}

}  // namespace

VANTOR_COMMAND("date", "HTTP dates, ISO 8601 time stamps and relative phrases", kUsage, run);
