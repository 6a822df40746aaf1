// `URLRequest`: what to ask an HTTP server for — the URL, the method, header
// fields, a body, the cache policy and the idle time-out. A value type.
#pragma once

#include "vantorcore/Export.h"

#include <optional>
#include <utility>
#include <vector>

#include "vantorcore/platform/Data.h"
#include "vantorcore/platform/String.h"
#include "vantorcore/platform/URL.h"

namespace LX_API lx {

/// Cache policies, with the platform's values. The URL-loading layer keeps
/// no response cache, so every policy loads from the server; the policy is
/// only recorded.
enum class URLRequestCachePolicy {
  UseProtocolCachePolicy = 0,
  ReloadIgnoringLocalCacheData = 1,
  ReturnCacheDataElseLoad = 2,
  ReturnCacheDataDontLoad = 3,
};

class URLRequest {
 public:
  /// The time-out of a request made without one, in seconds.
  static constexpr double kDefaultTimeoutInterval = 60;

  /// A "GET" request for `url` with no header fields and no body.
  explicit URLRequest(
      lx::URL url,
      URLRequestCachePolicy cachePolicy = URLRequestCachePolicy::UseProtocolCachePolicy,
      double timeoutInterval = kDefaultTimeoutInterval)
      : url_(std::move(url)), cachePolicy_(cachePolicy), timeoutInterval_(timeoutInterval) {}

  /// The URL requested.
  ///@{
  [[nodiscard]] const lx::URL& URL() const noexcept { return url_; }
  void setURL(lx::URL url) { url_ = std::move(url); }
  ///@}

  /// "GET" unless set; sent as given (case is kept).
  [[nodiscard]] const String& HTTPMethod() const noexcept { return method_; }
  /// Sets the method; sent as given.
  void setHTTPMethod(StringView method) { method_ = String(method); }

  /// The body; absent sends none ("POST" then sends an empty body).
  [[nodiscard]] const std::optional<Data>& HTTPBody() const noexcept { return body_; }
  /// Sets the body; absent sends none.
  void setHTTPBody(std::optional<Data> body) { body_ = std::move(body); }

  /// Whether the transport may answer from its cache.
  ///@{
  [[nodiscard]] URLRequestCachePolicy cachePolicy() const noexcept { return cachePolicy_; }
  void setCachePolicy(URLRequestCachePolicy policy) noexcept { cachePolicy_ = policy; }
  ///@}

  /// The idle time-out in seconds: how long connecting may take, and how
  /// long the transfer may go without receiving a byte. Never a limit on
  /// the whole transfer, so a long download that keeps moving is not cut.
  /// The transport judges idleness by the speed over its last five
  /// seconds, so a stall right after data fires up to five seconds late.
  [[nodiscard]] double timeoutInterval() const noexcept { return timeoutInterval_; }
  /// Sets the idle time-out, in seconds.
  void setTimeoutInterval(double seconds) noexcept { timeoutInterval_ = seconds; }

  /// The header fields in the order they were first set. Field names
  /// compare without regard to ASCII case.
  [[nodiscard]] const std::vector<std::pair<String, String>>& allHTTPHeaderFields() const noexcept {
    return headers_;
  }
  /// Sets a field, replacing a field of the same name; absent removes it.
  void setValue(const std::optional<String>& value, StringView field);
  /// Adds to a field: a field already set gets ",<value>" appended.
  void addValue(StringView value, StringView field);
  /// The field's value, or absent.
  [[nodiscard]] std::optional<String> valueForHTTPHeaderField(StringView field) const;

 private:
  lx::URL url_;
  String method_ = u"GET";
  std::optional<Data> body_;
  URLRequestCachePolicy cachePolicy_;
  double timeoutInterval_;
  std::vector<std::pair<String, String>> headers_;
};

}  // namespace lx
