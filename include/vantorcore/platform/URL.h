// `URL`: the platform's URL value type, an RFC 3986 reference (absolute or
// relative to a base URL), parsed with Boost.URL.
//
// A `URL` is an immutable regular value: cheap to copy (the base is shared),
// safe to read from any thread. Accessors return decoded text unless their
// name says "percentEncoded"; a part the URL does not have is absent.
#pragma once

#include "vantorcore/Export.h"

#include <memory>
#include <optional>
#include <string>

#include "vantorcore/platform/String.h"

namespace LX_API lx {

class URL {
 public:
  /// Parses `string` as a URL reference, relative to `base` when given (a
  /// reference with a scheme ignores the base). Absent for text that is not
  /// a valid reference: spaces, non-ASCII characters, malformed escapes, a
  /// bad port.
  ///   'http://a.b/c?d#e' => URL          'a b' => absent
  ///   'c/d' relative to 'http://h/a/b' => 'http://h/a/c/d'
  static std::optional<URL> URLWithString(StringView string);
  /// `string` resolved against `base`; absent when it does not parse.
  static std::optional<URL> URLWithString(StringView string, const std::optional<URL>& base);

  /// A "file" URL for a file-system path: the path is percent-encoded with
  /// the path set; a relative path is taken from the current directory; a
  /// directory URL ends in "/". Never fails.
  ///   '/tmp/a b' => 'file:///tmp/a%20b'     ('/tmp', true) => 'file:///tmp/'
  static URL fileURLWithPath(StringView path, bool isDirectory = false);

  /// The reference resolved against the base, as encoded text.
  [[nodiscard]] String absoluteString() const;
  /// The reference as it was given (without the base).
  [[nodiscard]] String relativeString() const;
  /// The same, as UTF-8 (encoded text is always ASCII).
  [[nodiscard]] const std::string& absoluteUTF8() const noexcept { return absolute_; }
  /// The base URL, when the URL was made relative to one.
  [[nodiscard]] std::optional<URL> baseURL() const;
  /// The URL resolved against its base, with no base left.
  [[nodiscard]] URL absoluteURL() const;

  /// The parts of the resolved URL. `host` drops the brackets of an IPv6
  /// literal; `path` is decoded and loses a trailing "/" (except the root
  /// path itself); it is "" when the URL has no path.
  ///   'HTTP://u:p@Host:8/a/b/?q#f' => scheme 'HTTP', user 'u', password 'p',
  ///       host 'Host', port 8, path '/a/b', query 'q', fragment 'f'
  ///@{
  [[nodiscard]] std::optional<String> scheme() const;
  [[nodiscard]] std::optional<String> user() const;
  [[nodiscard]] std::optional<String> password() const;
  [[nodiscard]] std::optional<String> host() const;
  [[nodiscard]] std::optional<int> port() const;
  [[nodiscard]] String path() const;
  [[nodiscard]] std::optional<String> query() const;
  [[nodiscard]] std::optional<String> fragment() const;
  ///@}
  /// The path as written, still percent-encoded and with its trailing "/".
  [[nodiscard]] String percentEncodedPath() const;
  /// The last component of `path()` ('/a/b.txt' => 'b.txt', '/' => '/').
  [[nodiscard]] String lastPathComponent() const;
  /// True when the path ends in "/".
  [[nodiscard]] bool hasDirectoryPath() const;

  /// True for the "file" scheme (any case).
  [[nodiscard]] bool isFileURL() const;

  /// A new URL with `component` (percent-encoded with the path set) added
  /// after a "/"; a directory URL when `isDirectory`.
  [[nodiscard]] URL URLByAppendingPathComponent(StringView component,
                                                bool isDirectory = false) const;

  /// Equal when the resolved texts are equal, byte for byte.
  friend bool operator==(const URL& a, const URL& b) noexcept { return a.absolute_ == b.absolute_; }

 private:
  URL() = default;
  static std::optional<URL> parse(std::string relative, std::shared_ptr<const URL> base);

  std::string relative_;
  std::string absolute_;
  std::shared_ptr<const URL> base_;
};

}  // namespace lx
