#include "vantorcore/platform/String+Paths.h"

#include <pwd.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace lx {
namespace {

constexpr char16_t kSlash = u'/';

// The path without trailing slashes; a path of only slashes keeps one.
StringView trimTrailingSlashes(StringView path) {
  std::size_t end = path.size();
  while (end > 1 && path[end - 1] == kSlash) --end;
  return path.substr(0, end);
}

// The last component as a view into `path` ("/" for the root).
StringView lastComponentView(StringView path) {
  const StringView trimmed = trimTrailingSlashes(path);
  if (trimmed == u"/") return trimmed;
  const std::size_t slash = trimmed.rfind(kSlash);
  return slash == StringView::npos ? trimmed : trimmed.substr(slash + 1);
}

// Appends `text` to `out`, collapsing any run of slashes (also across the
// boundary with what `out` already ends with).
void appendCollapsingSlashes(String& out, StringView text) {
  for (const char16_t c : text) {
    if (c == kSlash && !out.empty() && out.back() == kSlash) continue;
    out.push_back(c);
  }
}

// The in-place form of `stringByAppendingPathComponent`; `out` is already in
// appended form (collapsed, no trailing slash except "/"), so joining many
// components stays linear.
void appendPathComponentInPlace(String& out, StringView component) {
  if (!out.empty() && !component.empty() && out.back() != kSlash) out.push_back(kSlash);
  appendCollapsingSlashes(out, component);
  if (out.size() > 1 && out.back() == kSlash) out.pop_back();
}

// Drops the last component of a standardised path; the root stays.
void popComponent(String& out) {
  const std::size_t slash = out.rfind(kSlash);
  if (slash == String::npos) {
    out.clear();
  } else {
    out.resize(slash == 0 ? 1 : slash);
  }
}

// The user database's home for a passwd look-up function (getpwuid_r or
// getpwnam_r), retrying with a larger buffer when the entry does not fit.
template <class Lookup>
std::optional<String> passwdHome(Lookup lookup) {
  std::vector<char> buffer(1024);
  for (;;) {
    passwd entry{};
    passwd* result = nullptr;
    const int rc = lookup(&entry, buffer.data(), buffer.size(), &result);
    if (rc == ERANGE && buffer.size() < (1u << 20)) {
      buffer.resize(buffer.size() * 2);
      continue;
    }
    if (rc != 0 || result == nullptr || result->pw_dir == nullptr) return std::nullopt;
    return stringWithFileSystemRepresentation(result->pw_dir);
  }
}

}  // namespace

std::vector<String> pathComponents(StringView path) {
  std::vector<String> components;
  if (path.empty()) return components;
  if (path.front() == kSlash) components.emplace_back(u"/");
  std::size_t i = 0;
  bool sawName = false;
  while (i < path.size()) {
    while (i < path.size() && path[i] == kSlash) ++i;
    const std::size_t start = i;
    while (i < path.size() && path[i] != kSlash) ++i;
    if (i > start) {
      components.emplace_back(path.substr(start, i - start));
      sawName = true;
    }
  }
  if (sawName && path.back() == kSlash) components.emplace_back(u"/");
  return components;
}

String pathWithComponents(std::span<const String> components) {
  String out;
  for (const auto& component : components) appendPathComponentInPlace(out, component);
  return out;
}

String stringByAppendingPathComponent(StringView path, StringView component) {
  String out;
  out.reserve(path.size() + component.size() + 1);
  appendPathComponentInPlace(out, path);
  appendPathComponentInPlace(out, component);
  return out;
}

String lastPathComponent(StringView path) { return String(lastComponentView(path)); }

String stringByDeletingLastPathComponent(StringView path) {
  String collapsed;
  appendPathComponentInPlace(collapsed, path);
  if (collapsed == u"/") return collapsed;
  const std::size_t slash = collapsed.rfind(kSlash);
  if (slash == String::npos) return String();
  collapsed.resize(slash == 0 ? 1 : slash);
  return collapsed;
}

String pathExtension(StringView path) {
  const StringView last = lastComponentView(path);
  const std::size_t dot = last.rfind(u'.');
  if (dot == StringView::npos || dot == 0 || dot + 1 == last.size()) return String();
  return String(last.substr(dot + 1));
}

String stringByDeletingPathExtension(StringView path) {
  const StringView trimmed = trimTrailingSlashes(path);
  const std::size_t extension = pathExtension(trimmed).size();
  if (extension == 0) return String(trimmed);
  return String(trimmed.substr(0, trimmed.size() - extension - 1));
}

String stringByAppendingPathExtension(StringView path, StringView extension) {
  const StringView trimmed = trimTrailingSlashes(path);
  if (trimmed.empty() || trimmed == u"/" || extension.find(kSlash) != StringView::npos) {
    return String(path);
  }
  String out(trimmed);
  out.push_back(u'.');
  out.append(extension);
  return out;
}

bool isAbsolutePath(StringView path) {
  return !path.empty() && (path.front() == kSlash || path.front() == u'~');
}

String homeDirectory() {
  const char* home = std::getenv("HOME");
  if (home != nullptr && *home != '\0') return stringWithFileSystemRepresentation(home);
  const std::optional<String> fromDatabase = homeDirectoryOfRealUser();
  return fromDatabase && !fromDatabase->empty() ? *fromDatabase : String(u"/");
}

std::optional<String> homeDirectoryOfRealUser() {
  const uid_t uid = getuid();
  return passwdHome([uid](passwd* entry, char* buffer, std::size_t size, passwd** result) {
    return getpwuid_r(uid, entry, buffer, size, result);
  });
}

std::optional<String> homeDirectoryForUser(StringView userName) {
  const std::string name = fileSystemRepresentation(userName);
  if (name.empty() || name.find('\0') != std::string::npos) return std::nullopt;
  return passwdHome([&name](passwd* entry, char* buffer, std::size_t size, passwd** result) {
    return getpwnam_r(name.c_str(), entry, buffer, size, result);
  });
}

String stringByExpandingTildeInPath(StringView path) {
  if (path.empty() || path.front() != u'~') return String(path);
  const std::size_t slash = path.find(kSlash);
  const StringView user = path.substr(1, slash == StringView::npos ? StringView::npos : slash - 1);
  const std::optional<String> home =
      user.empty() ? std::optional<String>(homeDirectory()) : homeDirectoryForUser(user);
  if (!home) return String(path);
  const StringView rest = slash == StringView::npos ? StringView() : path.substr(slash);
  return stringByAppendingPathComponent(*home, rest);
}

String stringByAbbreviatingWithTildeInPath(StringView path) {
  const String home = stringByAppendingPathComponent(homeDirectory(), u"");
  if (home == u"/" || !path.starts_with(home)) return String(path);
  if (path.size() > home.size() && path[home.size()] != kSlash) return String(path);
  return stringByAppendingPathComponent(u"~", path.substr(home.size()));
}

String stringByStandardizingPath(StringView path) {
  return detail::resolveDotComponents(stringByExpandingTildeInPath(path), true);
}

String detail::resolveDotComponents(StringView path, bool keepLeadingParents) {
  const bool absolute = !path.empty() && path.front() == kSlash;
  String out = absolute ? String(u"/") : String();
  out.reserve(path.size());
  // Components appended after any leading ".." of a relative path: only
  // these can be taken back by a later "..".
  std::size_t removable = 0;
  std::size_t i = 0;
  while (i < path.size()) {
    while (i < path.size() && path[i] == kSlash) ++i;
    const std::size_t start = i;
    while (i < path.size() && path[i] != kSlash) ++i;
    const StringView component = path.substr(start, i - start);
    if (component.empty() || component == u".") continue;
    if (component == u"..") {
      if (removable > 0) {
        popComponent(out);
        --removable;
        continue;
      }
      if (absolute || !keepLeadingParents) continue;
    } else {
      ++removable;
    }
    if (!out.empty() && out.back() != kSlash) out.push_back(kSlash);
    out.append(component);
  }
  return out;
}

std::string fileSystemRepresentation(StringView path) {
  std::string out;
  out.reserve(path.size() + path.size() / 2);
  const char16_t* units = path.data();
  const std::int32_t length = static_cast<std::int32_t>(path.size());
  std::int32_t i = 0;
  while (i < length) {
    UChar32 c;
    U16_NEXT(units, i, length, c);
    if (c < 0x80) {
      out.push_back(static_cast<char>(c));
      continue;
    }
    if (U_IS_SURROGATE(c)) {
      if (c >= 0xDC80 && c <= 0xDCFF) {
        out.push_back(static_cast<char>(c - 0xDC00));
        continue;
      }
      c = 0xFFFD;
    }
    char bytes[U8_MAX_LENGTH];
    std::int32_t n = 0;
    U8_APPEND_UNSAFE(bytes, n, c);
    out.append(bytes, static_cast<std::size_t>(n));
  }
  return out;
}

String stringWithFileSystemRepresentation(std::string_view bytes) {
  String out;
  out.reserve(bytes.size());
  const auto* data = reinterpret_cast<const std::uint8_t*>(bytes.data());
  const std::int32_t length = static_cast<std::int32_t>(bytes.size());
  std::int32_t i = 0;
  while (i < length) {
    const std::int32_t start = i;
    UChar32 c;
    U8_NEXT(data, i, length, c);
    if (c >= 0) {
      appendCodePoint(out, static_cast<char32_t>(c));
      continue;
    }
    // Each byte of the ill-formed sequence (all are 0x80 or above) keeps its
    // value in a lone low surrogate.
    for (std::int32_t k = start; k < i; ++k) out.push_back(static_cast<char16_t>(0xDC00 + data[k]));
  }
  return out;
}

}  // namespace lx
