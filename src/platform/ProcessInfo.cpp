#include "vantorcore/platform/ProcessInfo.h"

#include <limits.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <limits>

#include "vantorcore/platform/OSRelease.h"

namespace lx {

const String& ProcessInfo::processName() {
  static const String name = [] {
    char buf[PATH_MAX];
    const ssize_t n = readlink("/proc/self/exe", buf, sizeof buf - 1);
    std::string path = n > 0 ? std::string(buf, static_cast<std::size_t>(n))
                             : std::string(program_invocation_name ? program_invocation_name : "");
    const auto slash = path.rfind('/');
    if (slash != std::string::npos) path = path.substr(slash + 1);
    return fromUTF8(path);
  }();
  return name;
}

int ProcessInfo::processIdentifier() noexcept { return static_cast<int>(getpid()); }

std::optional<String> ProcessInfo::environmentValue(const char* name) {
  const char* value = std::getenv(name);
  if (!value) return std::nullopt;
  return fromUTF8(value);
}

std::optional<String> ProcessInfo::hostName() {
  char buf[HOST_NAME_MAX + 1] = {};
  if (gethostname(buf, sizeof buf - 1) != 0) return std::nullopt;
  return fromUTF8(buf);
}

OperatingSystemVersion ProcessInfo::operatingSystemVersion() {
  OperatingSystemVersion version;
  const auto text = OSRelease::value(u"VERSION_ID");
  if (!text) return version;
  std::int64_t* parts[] = {&version.majorVersion, &version.minorVersion, &version.patchVersion};
  std::size_t i = 0;
  for (std::int64_t* part : parts) {
    if (part != parts[0]) {
      if (i >= text->size() || (*text)[i] != u'.') break;
      ++i;
    }
    for (; i < text->size() && (*text)[i] >= u'0' && (*text)[i] <= u'9'; ++i) {
      const int digit = (*text)[i] - u'0';
      constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
      *part = *part > (kMax - digit) / 10 ? kMax : *part * 10 + digit;
    }
  }
  return version;
}

}  // namespace lx
