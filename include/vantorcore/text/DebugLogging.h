// The debug-logging switch: extra diagnostic lines are written only when the
// boolean user default "DebugLogging" is set.
//
// Each source file that includes this header gets its own private copy of
// `LXDebugLoggingIsEnabled()` (it lives in an anonymous namespace) with its
// own cached `sDidCheck`/`sEnabled`. The first call in a file reads the
// default from the standard user defaults and, when it is set, logs
// "DEBUG LOGGING IS ON"; later calls return the cached answer, so a change of
// the default while the process runs is not seen. Thread-safe.
#pragma once

#include "vantorcore/Export.h"

#include <atomic>
#include <mutex>

namespace LX_API lx {

namespace detail {
/// Reads "DebugLogging" and logs "DEBUG LOGGING IS ON" when it is true.
bool readDebugLoggingDefault();
}  // namespace detail

// An anonymous namespace in a header on purpose: one copy per source file.
namespace {  // NOLINT(google-build-namespaces, cert-dcl59-cpp)

[[maybe_unused]] bool LXDebugLoggingIsEnabled() {
  static std::atomic<bool> sDidCheck{false};
  static bool sEnabled = false;
  static std::once_flag once;
  if (!sDidCheck.load(std::memory_order_acquire)) {
    std::call_once(once, [] {
      sEnabled = detail::readDebugLoggingDefault();
      sDidCheck.store(true, std::memory_order_release);
    });
  }
  return sEnabled;
}

}  // namespace

}  // namespace lx
