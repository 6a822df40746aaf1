// The preferences store shared by the applications of one maker: a suite
// that each of them opens by the same name.
#pragma once

#include "vantorcore/Export.h"

#include <memory>

#include "vantorcore/platform/UserDefaults.h"

namespace LX_API lx {

/// The shared suite's name; its file is <config>/group.org.vantorcore.shared.plist.
inline constexpr StringView LXSharedUserDefaultsSuiteName = u"group.org.vantorcore.shared";

/// The shared suite's store, made on first use (so that it honours the
/// configuration folder in effect then) and kept for the process; the
/// standard store if the suite cannot be made. Thread-safe.
std::shared_ptr<UserDefaults> lx_sharedUserDefaults();

}  // namespace lx
