#include "vantorcore/text/String+POSIXUtilities.h"

#include <arpa/inet.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace lx {
namespace {

// glibc declares the GNU strerror_r (returning the text) when _GNU_SOURCE is
// set, POSIX's (returning an error number) otherwise; accept either.
[[maybe_unused]] std::optional<String> strerrorText(int result, const char* buffer) {
  if (result != 0) return std::nullopt;
  return fromUTF8(buffer);
}
[[maybe_unused]] std::optional<String> strerrorText(const char* text, const char*) {
  if (text == nullptr) return std::nullopt;
  return fromUTF8(text);
}

}  // namespace

std::optional<String> lx_confstr(int name) {
  char buffer[1024] = {};
  if (confstr(name, buffer, sizeof buffer) == 0) return std::nullopt;
  return fromUTF8(buffer);
}

std::optional<String> lx_strerror(int errorNumber) {
  char buffer[256] = {};
  return strerrorText(strerror_r(errorNumber, buffer, 255), buffer);
}

bool lx_getIPAddress(StringView string, void* address, int family, ErrorPtr* error) {
  const std::string text = toUTF8(string);
  // inet_pton stops at a NUL, which would let '1.2.3.4\0junk' pass.
  if (text.find('\0') != std::string::npos) return false;
  unsigned char scratch[16];
  const int result = inet_pton(family, text.c_str(), address ? address : scratch);
  if (result == 1) return true;
  if (result < 0) setError(error, Error::posix(errno));
  return false;
}

bool lx_getIPv4Address(StringView string, void* address, ErrorPtr* error) {
  return lx_getIPAddress(string, address, AF_INET, error);
}

bool lx_getIPv6Address(StringView string, void* address, ErrorPtr* error) {
  const std::size_t first = string.find_first_not_of(u"[]");
  const std::size_t last = string.find_last_not_of(u"[]");
  const StringView trimmed =
      first == StringView::npos ? StringView() : string.substr(first, last - first + 1);
  return lx_getIPAddress(trimmed, address, AF_INET6, error);
}

}  // namespace lx
