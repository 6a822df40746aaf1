#include "vantorcore/platform/URLComponents.h"

#include <boost/url/parse.hpp>
#include <boost/url/url_view.hpp>

#include "vantorcore/platform/PercentEncoding.h"

namespace lx {
namespace {

namespace urls = boost::urls;

std::optional<String> decodePart(const std::optional<std::string>& part) {
  if (!part) return std::nullopt;
  auto bytes = percentDecodeUTF8(*part);
  return fromUTF8(bytes ? *bytes : *part);
}

std::optional<std::string> encodePart(const std::optional<String>& part,
                                      const URLAllowedSet& allowed) {
  if (!part) return std::nullopt;
  return percentEncodeUTF8(toUTF8(*part), allowed);
}

// Query-item names and values may not hold the characters that split them.
constexpr URLAllowedSet queryItemSet() {
  URLAllowedSet set;
  for (unsigned c = 0; c < 128; ++c) {
    if (kURLQueryAllowedCharacterSet.contains(c) && c != '&' && c != '=') set.add(c);
  }
  return set;
}
constexpr URLAllowedSet kQueryItemAllowed = queryItemSet();

std::optional<URLComponents> fromView(const urls::url_view& v) {
  URLComponents c;
  if (v.has_scheme()) c.setScheme(fromUTF8(v.scheme()));
  if (v.has_userinfo()) c.setPercentEncodedUser(fromUTF8(v.encoded_user()));
  if (v.has_password()) c.setPercentEncodedPassword(fromUTF8(v.encoded_password()));
  if (v.has_authority()) c.setPercentEncodedHost(fromUTF8(v.encoded_host()));
  if (v.has_port() && !v.port().empty()) c.setPort(static_cast<int>(v.port_number()));
  c.setPercentEncodedPath(fromUTF8(v.encoded_path()));
  if (v.has_query()) c.setPercentEncodedQuery(fromUTF8(v.encoded_query()));
  if (v.has_fragment()) c.setPercentEncodedFragment(fromUTF8(v.encoded_fragment()));
  return c;
}

std::optional<URLComponents> fromText(const std::string& text) {
  auto v = urls::parse_uri_reference(text);
  if (!v) return std::nullopt;
  return fromView(*v);
}

}  // namespace

std::optional<String> URLComponents::encoded(const std::optional<std::string>& part) {
  if (!part) return std::nullopt;
  return fromUTF8(*part);
}

std::optional<std::string> URLComponents::raw(const std::optional<String>& part) {
  if (!part) return std::nullopt;
  return toUTF8(*part);
}

std::optional<URLComponents> URLComponents::componentsWithURL(const lx::URL& url,
                                                              bool resolvingAgainstBaseURL) {
  return fromText(toUTF8(resolvingAgainstBaseURL ? url.absoluteString() : url.relativeString()));
}

std::optional<URLComponents> URLComponents::componentsWithString(StringView string) {
  if (!isValidUTF16(string)) return std::nullopt;
  return fromText(toUTF8(string));
}

std::optional<String> URLComponents::string() const {
  std::string out;
  if (scheme_) out += *scheme_ + ":";
  const bool hasAuthority = user_ || password_ || host_ || port_;
  if (hasAuthority) {
    if (!path_.empty() && path_.front() != '/') return std::nullopt;
    out += "//";
    if (user_ || password_) {
      out += user_.value_or("");
      if (password_) out += ":" + *password_;
      out += "@";
    }
    out += host_.value_or("");
    if (port_) out += ":" + std::to_string(*port_);
  } else if (path_.starts_with("//")) {
    return std::nullopt;
  }
  out += path_;
  if (query_) out += "?" + *query_;
  if (fragment_) out += "#" + *fragment_;
  return fromUTF8(out);
}

std::optional<lx::URL> URLComponents::URL() const {
  auto text = string();
  if (!text) return std::nullopt;
  return lx::URL::URLWithString(*text);
}

std::optional<String> URLComponents::scheme() const { return encoded(scheme_); }
void URLComponents::setScheme(std::optional<String> scheme) { scheme_ = raw(scheme); }
std::optional<String> URLComponents::user() const { return decodePart(user_); }
void URLComponents::setUser(const std::optional<String>& user) {
  user_ = encodePart(user, kURLUserAllowedCharacterSet);
}
std::optional<String> URLComponents::password() const { return decodePart(password_); }
void URLComponents::setPassword(const std::optional<String>& password) {
  password_ = encodePart(password, kURLPasswordAllowedCharacterSet);
}
std::optional<String> URLComponents::host() const { return decodePart(host_); }
void URLComponents::setHost(const std::optional<String>& host) {
  host_ = encodePart(host, kURLHostAllowedCharacterSet);
}
String URLComponents::path() const { return *decodePart(path_); }
void URLComponents::setPath(StringView path) {
  path_ = percentEncodeUTF8(toUTF8(path), kURLPathAllowedCharacterSet);
}
std::optional<String> URLComponents::query() const { return decodePart(query_); }
void URLComponents::setQuery(const std::optional<String>& query) {
  query_ = encodePart(query, kURLQueryAllowedCharacterSet);
}
std::optional<String> URLComponents::fragment() const { return decodePart(fragment_); }
void URLComponents::setFragment(const std::optional<String>& fragment) {
  fragment_ = encodePart(fragment, kURLFragmentAllowedCharacterSet);
}

std::optional<std::vector<URLQueryItem>> URLComponents::percentEncodedQueryItems() const {
  if (!query_) return std::nullopt;
  std::vector<URLQueryItem> items;
  for (const String& pair : componentsSeparatedByString(fromUTF8(*query_), u"&")) {
    const auto eq = pair.find(u'=');
    if (eq == String::npos) {
      items.push_back({pair, std::nullopt});
    } else {
      items.push_back({pair.substr(0, eq), pair.substr(eq + 1)});
    }
  }
  return items;
}

std::optional<std::vector<URLQueryItem>> URLComponents::queryItems() const {
  auto items = percentEncodedQueryItems();
  if (!items) return items;
  for (auto& item : *items) {
    item.name = stringByRemovingPercentEncoding(item.name).value_or(item.name);
    if (item.value) item.value = stringByRemovingPercentEncoding(*item.value).value_or(*item.value);
  }
  return items;
}

void URLComponents::setPercentEncodedQueryItems(
    const std::optional<std::vector<URLQueryItem>>& items) {
  if (!items) {
    query_.reset();
    return;
  }
  std::string query;
  for (std::size_t i = 0; i < items->size(); ++i) {
    if (i) query += "&";
    query += toUTF8((*items)[i].name);
    if ((*items)[i].value) query += "=" + toUTF8(*(*items)[i].value);
  }
  query_ = std::move(query);
}

void URLComponents::setQueryItems(const std::optional<std::vector<URLQueryItem>>& items) {
  if (!items) {
    query_.reset();
    return;
  }
  std::vector<URLQueryItem> encodedItems;
  for (const auto& item : *items) {
    URLQueryItem e{fromUTF8(percentEncodeUTF8(toUTF8(item.name), kQueryItemAllowed)), std::nullopt};
    if (item.value) e.value = fromUTF8(percentEncodeUTF8(toUTF8(*item.value), kQueryItemAllowed));
    encodedItems.push_back(std::move(e));
  }
  setPercentEncodedQueryItems(encodedItems);
}

}  // namespace lx
