// Facts about the running process: its name, identifier and environment.
#pragma once

#include <optional>

#include "vantorcore/platform/String.h"

namespace lx {

class ProcessInfo {
 public:
  /// The executable's short name (the last component of /proc/self/exe, or
  /// the name the process was started with when that cannot be read).
  static const String& processName();
  static int processIdentifier() noexcept;
  /// An environment variable, or absent when unset.
  static std::optional<String> environmentValue(const char* name);
  /// The host name (`gethostname`), or absent.
  static std::optional<String> hostName();
};

}  // namespace lx
