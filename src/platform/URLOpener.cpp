#include "vantorcore/platform/URLOpener.h"

#include <mutex>

#include "vantorcore/platform/GIOURLOpener.h"

namespace lx {

namespace {

std::mutex& sharedMutex() {
  static std::mutex mutex;
  return mutex;
}

std::shared_ptr<URLOpener>& sharedSlot() {
  static std::shared_ptr<URLOpener> opener;
  return opener;
}

}  // namespace

std::shared_ptr<URLOpener> URLOpener::shared() {
  const std::lock_guard lock(sharedMutex());
  if (!sharedSlot()) sharedSlot() = std::make_shared<GIOURLOpener>();
  return sharedSlot();
}

void URLOpener::setShared(std::shared_ptr<URLOpener> opener) {
  const std::lock_guard lock(sharedMutex());
  sharedSlot() = std::move(opener);
}

}  // namespace lx
