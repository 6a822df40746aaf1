#include "vantorcore/platform/Date.h"

#include <chrono>

namespace lx {

Date Date::now() noexcept {
  using namespace std::chrono;
  return Date(duration<double>(system_clock::now().time_since_epoch()).count());
}

double Date::timeIntervalSinceNow() const noexcept { return seconds_ - now().seconds_; }

}  // namespace lx
