// `URLComponents`: a URL taken apart into its parts, each editable, and put
// back together. The platform's URL-components type, on Boost.URL.
//
// Every part is held percent-encoded. The plain accessors decode on reading
// and encode on writing with the part's allowed set (PercentEncoding.h); the
// `percentEncoded…` accessors read and write the stored text as it is. A
// value type; not for concurrent mutation.
#pragma once

#include "vantorcore/Export.h"

#include <optional>
#include <string>
#include <vector>

#include "vantorcore/platform/String.h"
#include "vantorcore/platform/URL.h"

namespace LX_API lx {

/// One "name=value" pair of a query; a pair without "=" has no value.
struct URLQueryItem {
  /// The name, decoded.
  String name;
  /// The value, decoded; absent when the item has no "=".
  std::optional<String> value;
  /// Equal when name and value are.
  friend bool operator==(const URLQueryItem&, const URLQueryItem&) = default;
};

class URLComponents {
 public:
  /// Empty components: every part absent, the path "".
  URLComponents() = default;

  /// The parts of `url`, resolved against its base first when
  /// `resolvingAgainstBaseURL` (otherwise the relative reference alone).
  static std::optional<URLComponents> componentsWithURL(const URL& url,
                                                        bool resolvingAgainstBaseURL);
  /// The parts of a URL string; absent when the text is not a URL reference.
  static std::optional<URLComponents> componentsWithString(StringView string);

  /// The text the parts make: "scheme:" "//user:password@host:port" path
  /// "?query" "#fragment", each piece only when its part is present (the
  /// "//" part when any of user, password, host or port is). Absent when the
  /// parts cannot form a URL: an authority with a path that is not empty and
  /// does not begin with "/", or no authority and a path beginning "//".
  ///   scheme 'http', host 'h', path 'a' => absent
  [[nodiscard]] std::optional<String> string() const;
  /// `string()` parsed as a URL; absent when it is absent or does not parse
  /// (for example a scheme or an encoded part with characters that no URL
  /// may hold).
  [[nodiscard]] std::optional<lx::URL> URL() const;

  /// The scheme, user and password, decoded; absent when the URL has none. Setting the user or
  /// password encodes what the part may not hold.
  ///@{
  [[nodiscard]] std::optional<String> scheme() const;
  void setScheme(std::optional<String> scheme);
  [[nodiscard]] std::optional<String> user() const;
  void setUser(const std::optional<String>& user);
  [[nodiscard]] std::optional<String> password() const;
  void setPassword(const std::optional<String>& password);
  ///@}
  /// The host, decoded; an IPv6 literal keeps its brackets.
  [[nodiscard]] std::optional<String> host() const;
  /// Sets the host; absent removes it.
  void setHost(const std::optional<String>& host);
  /// The port; absent for the scheme's default.
  ///@{
  [[nodiscard]] std::optional<int> port() const noexcept { return port_; }
  void setPort(std::optional<int> port) noexcept { port_ = port; }
  ///@}
  /// The path, decoded; "" when there is none (never absent).
  [[nodiscard]] String path() const;
  /// Sets the path from decoded text; characters a path may not hold are encoded.
  void setPath(StringView path);
  /// The query and fragment, decoded; absent when the URL has none.
  ///@{
  [[nodiscard]] std::optional<String> query() const;
  void setQuery(const std::optional<String>& query);
  [[nodiscard]] std::optional<String> fragment() const;
  void setFragment(const std::optional<String>& fragment);
  ///@}

  /// The parts as they appear in the URL, percent-encoding kept; setters take the text as it is.
  ///@{
  [[nodiscard]] std::optional<String> percentEncodedUser() const { return encoded(user_); }
  void setPercentEncodedUser(const std::optional<String>& v) { user_ = raw(v); }
  [[nodiscard]] std::optional<String> percentEncodedPassword() const { return encoded(password_); }
  void setPercentEncodedPassword(const std::optional<String>& v) { password_ = raw(v); }
  [[nodiscard]] std::optional<String> percentEncodedHost() const { return encoded(host_); }
  void setPercentEncodedHost(const std::optional<String>& v) { host_ = raw(v); }
  [[nodiscard]] String percentEncodedPath() const { return fromUTF8(path_); }
  void setPercentEncodedPath(StringView v) { path_ = toUTF8(v); }
  [[nodiscard]] std::optional<String> percentEncodedQuery() const { return encoded(query_); }
  void setPercentEncodedQuery(const std::optional<String>& v) { query_ = raw(v); }
  [[nodiscard]] std::optional<String> percentEncodedFragment() const { return encoded(fragment_); }
  void setPercentEncodedFragment(const std::optional<String>& v) { fragment_ = raw(v); }
  ///@}

  /// The query split at "&" into pairs, split at the first "=" and decoded
  /// ("+" stays "+"); absent when there is no query. An empty query gives
  /// one item with an empty name.
  ///   'a=1&b&c=x%20y' => (a, 1), (b, absent), (c, 'x y')
  [[nodiscard]] std::optional<std::vector<URLQueryItem>> queryItems() const;
  /// Sets the query from pairs, encoding "&", "=", "#" and everything the
  /// query set excludes; absent removes the query.
  void setQueryItems(const std::optional<std::vector<URLQueryItem>>& items);
  /// The same without decoding or encoding.
  [[nodiscard]] std::optional<std::vector<URLQueryItem>> percentEncodedQueryItems() const;
  /// Sets the query from items whose names and values are already percent-encoded.
  void setPercentEncodedQueryItems(const std::optional<std::vector<URLQueryItem>>& items);

 private:
  static std::optional<String> encoded(const std::optional<std::string>& part);
  static std::optional<std::string> raw(const std::optional<String>& part);

  std::optional<std::string> scheme_;
  std::optional<std::string> user_;
  std::optional<std::string> password_;
  std::optional<std::string> host_;
  std::optional<int> port_;
  std::string path_;
  std::optional<std::string> query_;
  std::optional<std::string> fragment_;
};

}  // namespace lx
