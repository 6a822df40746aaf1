// `HTTPURLResponse`: the status and header fields of the last HTTP response
// a task received (after any redirects). Immutable once made; any thread.
#pragma once

#include "vantorcore/Export.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/String.h"
#include "vantorcore/platform/URL.h"
#include "vantorcore/platform/Value.h"

namespace LX_API lx {

class HTTPURLResponse : public Object {
  LX_DECLARE_CLASS(HTTPURLResponse)
 public:
  /// `headers` in the order the server sent them; a repeated field is kept
  /// once, its values joined with ", ".
  HTTPURLResponse(lx::URL url, int statusCode, std::vector<std::pair<String, String>> headers);

  /// The URL the response came from (the last one of a redirect chain).
  [[nodiscard]] const lx::URL& URL() const noexcept { return url_; }
  /// The HTTP status, e.g. 200 or 404.
  [[nodiscard]] int statusCode() const noexcept { return statusCode_; }
  /// The header fields as a dictionary, in the server's order.
  [[nodiscard]] Dictionary allHeaderFields() const;
  /// A field's value, the name compared without regard to ASCII case.
  [[nodiscard]] std::optional<String> valueForHTTPHeaderField(StringView field) const;
  /// "Content-Length" as a number, or -1 when it is missing or unusable.
  [[nodiscard]] std::int64_t expectedContentLength() const;
  /// The media type of "Content-Type" in lower case, without parameters
  /// ("text/html; charset=UTF-8" => "text/html"), or absent.
  [[nodiscard]] std::optional<String> MIMEType() const;
  /// "<HTTPURLResponse: url> { Status Code: n }".
  [[nodiscard]] String description() const override;

  /// The platform's English phrase for a status code ("not found"), or
  /// "server error"/"client error"... by class for codes it does not know.
  static String localizedStringForStatusCode(int statusCode);

 private:
  lx::URL url_;
  int statusCode_;
  std::vector<std::pair<String, String>> headers_;
};

}  // namespace lx
