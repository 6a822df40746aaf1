#include "vantorcore/platform/URL.h"

#include <boost/url/parse.hpp>
#include <boost/url/url.hpp>
#include <boost/url/url_view.hpp>
#include <filesystem>
#include <system_error>

#include "vantorcore/platform/PercentEncoding.h"

namespace lx {
namespace {

namespace urls = boost::urls;

urls::url_view viewOf(const std::string& text) {
  // Only texts that parsed are ever stored, so this cannot fail.
  return urls::parse_uri_reference(text).value();
}

String decoded(std::string_view encoded) {
  auto bytes = percentDecodeUTF8(encoded);
  return fromUTF8(bytes ? *bytes : std::string(encoded));
}

std::optional<String> decodedIf(bool present, std::string_view encoded) {
  if (!present) return std::nullopt;
  return decoded(encoded);
}

}  // namespace

std::optional<URL> URL::parse(std::string relative, std::shared_ptr<const URL> base) {
  auto ref = urls::parse_uri_reference(relative);
  if (!ref) return std::nullopt;
  URL result;
  result.absolute_ = relative;
  if (base && !ref->has_scheme()) {
    auto baseView = urls::parse_uri_reference(base->absolute_);
    if (baseView && baseView->has_scheme()) {
      urls::url resolved;
      if (urls::resolve(*baseView, *ref, resolved)) result.absolute_ = resolved.buffer();
    }
  }
  result.base_ = std::move(base);
  result.relative_ = std::move(relative);
  return result;
}

std::optional<URL> URL::URLWithString(StringView string) {
  return URLWithString(string, std::nullopt);
}

std::optional<URL> URL::URLWithString(StringView string, const std::optional<URL>& base) {
  if (!isValidUTF16(string)) return std::nullopt;
  return parse(toUTF8(string), base ? std::make_shared<const URL>(*base) : nullptr);
}

URL URL::fileURLWithPath(StringView path, bool isDirectory) {
  std::string utf8 = toUTF8(path);
  if (utf8.empty() || utf8.front() != '/') {
    std::error_code ec;
    std::string cwd = std::filesystem::current_path(ec).string();
    if (ec || cwd.empty()) cwd = "/";
    if (cwd.back() != '/') cwd.push_back('/');
    utf8 = cwd + utf8;
  }
  if (isDirectory && utf8.back() != '/') utf8.push_back('/');
  URL result;
  result.absolute_ = "file://" + percentEncodeUTF8(utf8, kURLPathAllowedCharacterSet);
  result.relative_ = result.absolute_;
  return result;
}

String URL::absoluteString() const { return fromUTF8(absolute_); }
String URL::relativeString() const { return fromUTF8(relative_); }

std::optional<URL> URL::baseURL() const {
  if (!base_) return std::nullopt;
  return *base_;
}

URL URL::absoluteURL() const {
  URL result;
  result.absolute_ = absolute_;
  result.relative_ = absolute_;
  return result;
}

std::optional<String> URL::scheme() const {
  const auto v = viewOf(absolute_);
  if (!v.has_scheme()) return std::nullopt;
  return fromUTF8(v.scheme());
}

std::optional<String> URL::user() const {
  const auto v = viewOf(absolute_);
  return decodedIf(v.has_userinfo(), v.encoded_user());
}

std::optional<String> URL::password() const {
  const auto v = viewOf(absolute_);
  return decodedIf(v.has_password(), v.encoded_password());
}

std::optional<String> URL::host() const {
  const auto v = viewOf(absolute_);
  if (!v.has_authority()) return std::nullopt;
  if (v.host_type() == urls::host_type::ipv6 || v.host_type() == urls::host_type::ipvfuture) {
    return fromUTF8(v.encoded_host_address());
  }
  return decoded(v.encoded_host());
}

std::optional<int> URL::port() const {
  const auto v = viewOf(absolute_);
  if (!v.has_port() || v.port().empty()) return std::nullopt;
  return static_cast<int>(v.port_number());
}

String URL::percentEncodedPath() const { return fromUTF8(viewOf(absolute_).encoded_path()); }

String URL::path() const {
  std::string_view encoded = viewOf(absolute_).encoded_path();
  if (encoded.size() > 1 && encoded.back() == '/') encoded.remove_suffix(1);
  return decoded(encoded);
}

std::optional<String> URL::query() const {
  const auto v = viewOf(absolute_);
  return decodedIf(v.has_query(), v.encoded_query());
}

std::optional<String> URL::fragment() const {
  const auto v = viewOf(absolute_);
  return decodedIf(v.has_fragment(), v.encoded_fragment());
}

String URL::lastPathComponent() const {
  const String p = path();
  if (p == u"/") return p;
  const auto slash = p.rfind(u'/');
  return slash == String::npos ? p : p.substr(slash + 1);
}

bool URL::hasDirectoryPath() const {
  std::string_view encoded = viewOf(absolute_).encoded_path();
  return !encoded.empty() && encoded.back() == '/';
}

bool URL::isFileURL() const {
  const auto v = viewOf(absolute_);
  return v.has_scheme() && v.scheme_id() == urls::scheme::file;
}

URL URL::URLByAppendingPathComponent(StringView component, bool isDirectory) const {
  urls::url u(viewOf(absolute_));
  std::string path(u.encoded_path());
  if (path.empty() || path.back() != '/') path.push_back('/');
  path += percentEncodeUTF8(toUTF8(component), kURLPathAllowedCharacterSet);
  if (isDirectory && path.back() != '/') path.push_back('/');
  u.set_encoded_path(path);
  URL result;
  result.absolute_ = u.buffer();
  result.relative_ = result.absolute_;
  return result;
}

}  // namespace lx
