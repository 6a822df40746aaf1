#include "vantorcore/drawing/FaviconCache.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "vantorcore/platform/FileIO.h"
#include "vantorcore/platform/FileManager.h"

namespace lx {
namespace {

// An entry: this tag, the fetch date as an IEEE double (little-endian),
// then the icon's bytes.
constexpr char kEntryTag[4] = {'L', 'X', 'F', 'I'};
constexpr std::size_t kEntryHeaderBytes = sizeof kEntryTag + sizeof(double);

void appendEscaped(std::string& out, std::string_view text) {
  for (unsigned char c : text) {
    const bool plain = (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '.' || c == '-';
    if (plain) {
      out.push_back(static_cast<char>(c));
    } else {
      char escaped[4];
      std::snprintf(escaped, sizeof escaped, "%%%02X", c);
      out += escaped;
    }
  }
}

std::uint64_t littleEndian(std::uint64_t bits) {
  return std::endian::native == std::endian::little ? bits : __builtin_bswap64(bits);
}

}  // namespace

String FaviconCache::defaultFolder() {
  const auto caches =
      FileManager::defaultManager()->searchPathsForDirectory(SearchPathDirectory::Caches);
  return caches.front() + u"/vantorcore/favicons";
}

std::optional<String> FaviconCache::siteKey(const URL& site) {
  const auto host = site.host();
  if (!host || host->empty()) return std::nullopt;
  std::string scheme = toUTF8(site.scheme().value_or(u""));
  std::string lowerHost = toUTF8(*host);
  for (std::string* part : {&scheme, &lowerHost}) {
    for (char& c : *part) c = static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c);
  }
  const int port = site.port().value_or(scheme == "https" ? 443 : scheme == "http" ? 80 : 0);
  std::string key;
  appendEscaped(key, scheme);
  key += '_';
  appendEscaped(key, lowerHost);
  key += '_' + std::to_string(port);
  return fromUTF8(key);
}

std::optional<String> FaviconCache::entryPath(const URL& site) const {
  auto key = siteKey(site);
  if (!key) return std::nullopt;
  return folder_ + u"/" + *key + u".icon";
}

std::optional<Data> FaviconCache::iconData(const URL& site, Date now) const {
  const auto path = entryPath(site);
  if (!path) return std::nullopt;
  auto contents = readFileContents(*path);
  if (!contents || contents->size() < kEntryHeaderBytes ||
      std::memcmp(contents->data(), kEntryTag, sizeof kEntryTag) != 0) {
    return std::nullopt;
  }
  std::uint64_t bits;
  std::memcpy(&bits, contents->data() + sizeof kEntryTag, sizeof bits);
  const double fetched = std::bit_cast<double>(littleEndian(bits));
  // NaN and dates in the future (a clock set back) both count as stale.
  const double age = now.timeIntervalSince1970() - fetched;
  if (!(age >= 0 && age <= expiry_)) return std::nullopt;
  contents->erase(contents->begin(), contents->begin() + kEntryHeaderBytes);
  return contents;
}

bool FaviconCache::storeIconData(const URL& site, DataView icon, Date fetched,
                                 ErrorPtr* error) const {
  const auto path = entryPath(site);
  if (!path) return false;
  FileManager::defaultManager()->createDirectoryAtPath(folder_, true, {}, nullptr);
  const std::uint64_t bits =
      littleEndian(std::bit_cast<std::uint64_t>(fetched.timeIntervalSince1970()));
  Data entry(kEntryHeaderBytes + icon.size());
  std::memcpy(entry.data(), kEntryTag, sizeof kEntryTag);
  std::memcpy(entry.data() + sizeof kEntryTag, &bits, sizeof bits);
  std::copy(icon.begin(), icon.end(), entry.begin() + kEntryHeaderBytes);
  return writeFileAtomically(entry, *path, 0600, error);
}

void FaviconCache::removeIconData(const URL& site) const {
  if (const auto path = entryPath(site)) std::remove(toUTF8(*path).c_str());
}

}  // namespace lx
