#include "vantorcore/observation/UserDefaults+LXPreferences.h"

namespace lx {

std::shared_ptr<UserDefaults> lx_sharedUserDefaults() {
  // Never destroyed: observers may still use it while the process exits.
  static const auto* shared = [] {
    auto suite = UserDefaults::suiteNamed(LXSharedUserDefaultsSuiteName);
    return new std::shared_ptr<UserDefaults>(suite ? suite : UserDefaults::standardUserDefaults());
  }();
  return *shared;
}

}  // namespace lx
