// The source of the root file system's name behind `lx_bootDiskPath`,
// replaceable so that tests can watch the cache forget and re-read it.
#pragma once

#include <functional>
#include <optional>

#include "vantorcore/platform/String.h"

namespace lx::detail {

/// Answers the root file system's name, or absent when "/" cannot be
/// examined.
using BootDiskNameSource = std::function<std::optional<String>()>;

/// Installs `source` (empty: the real one, which reads /dev/disk/by-label)
/// and returns the one it replaces. Does not touch the cache.
BootDiskNameSource setBootDiskNameSource(BootDiskNameSource source);

}  // namespace lx::detail
