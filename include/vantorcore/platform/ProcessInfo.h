// Facts about the running process: its name, identifier and environment.
#pragma once

#include "vantorcore/Export.h"

#include <cstdint>
#include <optional>

#include "vantorcore/platform/String.h"

namespace LX_API lx {

/// A system version as three numbers ("22.04" => 22, 4, 0).
struct OperatingSystemVersion {
  /// The three numbers, 0 when the version has fewer.
  ///@{
  std::int64_t majorVersion = 0;
  std::int64_t minorVersion = 0;
  std::int64_t patchVersion = 0;
  ///@}
  /// Equal when all three numbers are.
  friend constexpr bool operator==(const OperatingSystemVersion&,
                                   const OperatingSystemVersion&) = default;
};

class ProcessInfo {
 public:
  /// The executable's short name (the last component of /proc/self/exe, or
  /// the name the process was started with when that cannot be read).
  static const String& processName();
  /// The process id.
  static int processIdentifier() noexcept;
  /// An environment variable, or absent when unset.
  static std::optional<String> environmentValue(const char* name);
  /// The host name (`gethostname`), or absent.
  static std::optional<String> hostName();
  /// The running system's version from "VERSION_ID" of os-release (read
  /// through `OSRelease`'s source on each call): up to three dot-separated
  /// runs of digits, each stopping at the first other character; missing
  /// parts are 0, numbers beyond 64 bits saturate. All zero when the
  /// distribution gives no VERSION_ID (rolling releases) or no file exists.
  ///   '12' => 12.0.0   '22.04' => 22.4.0   '3.18.4_rc1' => 3.18.4   'rolling' => 0.0.0
  static OperatingSystemVersion operatingSystemVersion();
};

}  // namespace lx
