#include "vantorcore/web/LXWebServer.h"

#include <mutex>

#include "vantorcore/platform/UserDefaults.h"

namespace lx {

namespace {

std::mutex& overrideMutex() {
  static std::mutex mutex;
  return mutex;
}

std::optional<String>& overrideAddress() {
  static std::optional<String> address;
  return address;
}

String withoutTrailingSlashes(String address) {
  while (!address.empty() && address.back() == u'/') address.pop_back();
  return address;
}

}  // namespace

String LXWebServerBaseAddress() {
  {
    std::lock_guard lock(overrideMutex());
    if (overrideAddress()) return *overrideAddress();
  }
  const auto preferred =
      UserDefaults::standardUserDefaults()->stringForKey(LXWebServerBaseAddressPrefKey);
  if (preferred && !preferred->empty()) return withoutTrailingSlashes(*preferred);
  return String(LXWebServerDefaultBaseAddress);
}

void LXSetWebServerBaseAddress(const std::optional<String>& address) {
  std::lock_guard lock(overrideMutex());
  overrideAddress() =
      address ? std::optional<String>(withoutTrailingSlashes(*address)) : std::nullopt;
}

}  // namespace lx
