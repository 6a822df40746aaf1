#include "vantorcore/observation/LXPreferencesObservation.h"

#include <algorithm>
#include <vector>

namespace lx {

LX_DEFINE_CLASS(LXPreferencesObservation, Object)

namespace {
// Only the address matters: it tells our store registrations apart.
const char kDefaultObservationContext[] = "LXPreferencesObservationCenterDefaultObservationContext";
void* observationContext() { return const_cast<char*>(kDefaultObservationContext); }
}  // namespace

LXPreferencesObservation::LXPreferencesObservation(std::shared_ptr<UserDefaults> userDefaults,
                                                   String key, const ObjectPtr& target,
                                                   std::string selector, Block block)
    : userDefaults_(std::move(userDefaults)),
      key_(std::move(key)),
      target_(target),
      selector_(std::move(selector)),
      block_(std::move(block)) {}

LXPreferencesObservation::~LXPreferencesObservation() {
  // No lock: nobody else can reach a dying object.
  if (observationCount_ != 0) uninstallLocked();
}

void LXPreferencesObservation::installLocked() {
  userDefaults_->addObserver(std::static_pointer_cast<LXPreferencesObservation>(shared_from_this()),
                             key_, KeyValueObservingOptionNew, observationContext());
}

void LXPreferencesObservation::uninstallLocked() {
  userDefaults_->removeObserver(this, key_, observationContext());
}

void LXPreferencesObservation::increment() {
  std::lock_guard lock(mutex_);
  if (observationCount_ == 0) installLocked();
  ++observationCount_;
}

void LXPreferencesObservation::decrement() {
  std::lock_guard lock(mutex_);
  if (observationCount_ == 0) return;
  if (--observationCount_ == 0) uninstallLocked();
}

void LXPreferencesObservation::clear() {
  std::lock_guard lock(mutex_);
  if (observationCount_ == 0) return;
  observationCount_ = 0;
  uninstallLocked();
}

std::uint64_t LXPreferencesObservation::observationCount() const {
  std::lock_guard lock(mutex_);
  return observationCount_;
}

void LXPreferencesObservation::observeValueForKeyPath(const String&, Object&,
                                                      const Dictionary& change, void* context) {
  if (context != observationContext()) return;
  const Value* value = change.find(KeyValueChangeNewKey);
  dispatchChangeWithValue(value && !value->isNull() ? std::optional<Value>(*value) : std::nullopt);
}

void LXPreferencesObservation::dispatchChangeWithValue(const std::optional<Value>& value) {
  if (const ObjectPtr target = target_.lock(); target && !selector_.empty()) {
    const Class::Method* method = target->objectClass().methodNamed(selector_);
    if (!method) return;
    const std::size_t arity =
        std::min<std::size_t>(2, std::count(selector_.begin(), selector_.end(), ':'));
    const Value arguments[] = {Value(key_), value ? *value : Value()};
    (*method)(*target, std::span<const Value>(arguments, arity));
  } else if (block_) {
    block_(key_, value);
  }
}

}  // namespace lx
