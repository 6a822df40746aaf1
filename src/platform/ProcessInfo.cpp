#include "vantorcore/platform/ProcessInfo.h"

#include <limits.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

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

}  // namespace lx
