#include "vantorcore/platform/HTTPURLResponse.h"

#include <algorithm>
#include <charconv>

#include "ASCIICase.h"
#include "vantorcore/platform/StringFormat.h"

namespace lx {

LX_DEFINE_CLASS(HTTPURLResponse, Object)

HTTPURLResponse::HTTPURLResponse(lx::URL url, int statusCode,
                                 std::vector<std::pair<String, String>> headers)
    : url_(std::move(url)), statusCode_(statusCode) {
  for (auto& [name, value] : headers) {
    const auto it = std::find_if(headers_.begin(), headers_.end(), [&](const auto& h) {
      return detail::asciiCaseInsensitiveEquals(h.first, name);
    });
    if (it == headers_.end()) {
      headers_.emplace_back(std::move(name), std::move(value));
    } else {
      it->second += u", ";
      it->second += value;
    }
  }
}

Dictionary HTTPURLResponse::allHeaderFields() const {
  Dictionary fields;
  for (const auto& [name, value] : headers_) fields.set(SharedString(name), Value(value));
  return fields;
}

std::optional<String> HTTPURLResponse::valueForHTTPHeaderField(StringView field) const {
  for (const auto& [name, value] : headers_) {
    if (detail::asciiCaseInsensitiveEquals(name, field)) return value;
  }
  return std::nullopt;
}

std::int64_t HTTPURLResponse::expectedContentLength() const {
  const auto text = valueForHTTPHeaderField(u"Content-Length");
  if (!text) return -1;
  const std::string utf8 = toUTF8(*text);
  std::int64_t length = -1;
  const auto [end, ec] = std::from_chars(utf8.data(), utf8.data() + utf8.size(), length);
  return ec == std::errc() && end == utf8.data() + utf8.size() && length >= 0 ? length : -1;
}

std::optional<String> HTTPURLResponse::MIMEType() const {
  auto type = valueForHTTPHeaderField(u"Content-Type");
  if (!type) return std::nullopt;
  type->erase(std::min(type->find(u';'), type->size()));
  while (!type->empty() && (type->back() == u' ' || type->back() == u'\t')) type->pop_back();
  return detail::asciiLowercase(*type);
}

String HTTPURLResponse::description() const {
  return stringWithFormat(u"<HTTPURLResponse: %@> { Status Code: %d }", url_.absoluteString(),
                          statusCode_);
}

String HTTPURLResponse::localizedStringForStatusCode(int statusCode) {
  switch (statusCode) {
    case 200:
      return u"no error";
    case 201:
      return u"created";
    case 204:
      return u"no content";
    case 206:
      return u"partial content";
    case 301:
      return u"moved permanently";
    case 302:
      return u"found";
    case 303:
      return u"see other";
    case 304:
      return u"not modified";
    case 307:
      return u"temporarily redirected";
    case 308:
      return u"permanent redirect";
    case 400:
      return u"bad request";
    case 401:
      return u"unauthorized";
    case 403:
      return u"forbidden";
    case 404:
      return u"not found";
    case 405:
      return u"method not allowed";
    case 408:
      return u"request timed out";
    case 429:
      return u"too many requests";
    case 500:
      return u"internal server error";
    case 502:
      return u"bad gateway";
    case 503:
      return u"service unavailable";
    case 504:
      return u"gateway timed out";
    default:
      break;
  }
  if (statusCode >= 100 && statusCode < 200) return u"informational";
  if (statusCode >= 200 && statusCode < 300) return u"success";
  if (statusCode >= 300 && statusCode < 400) return u"redirected";
  if (statusCode >= 400 && statusCode < 500) return u"client error";
  return u"server error";
}

}  // namespace lx
