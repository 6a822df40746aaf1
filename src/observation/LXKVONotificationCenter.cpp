#include "vantorcore/observation/LXKVONotificationCenter.h"

#include "vantorcore/platform/StringFormat.h"

namespace lx {

LX_DEFINE_CLASS(LXKVONotificationCenter, Object)

LXKVONotificationCenter::LXKVONotificationCenter() = default;
LXKVONotificationCenter::~LXKVONotificationCenter() = default;

LXKVONotificationCenter& LXKVONotificationCenter::defaultCenter() {
  static auto* center = new LXKVONotificationCenter;  // lives as long as the process
  return *center;
}

String LXKVONotificationCenter::dictionaryKeyForObserver(const void* observer, const void* object,
                                                         StringView keyPath,
                                                         const void* operationIdentity) {
  return stringWithFormat(u"%p:%p:%@:%p", observer, object, keyPath, operationIdentity);
}

String LXKVONotificationCenter::dictionaryKeyForObservation(const LXKVObservation& observation) {
  // The observer may be gone; its key still holds the address it had.
  return dictionaryKeyForObserver(observation.observerAddress(), observation.target().get(),
                                  observation.keyPath(), observation.operationIdentity());
}

String LXKVONotificationCenter::prefixForObserver(const void* observer) {
  return stringWithFormat(u"%p:", observer);
}

std::shared_ptr<LXKVObservation> LXKVONotificationCenter::addObserver(
    const ObjectPtr& observer, const std::shared_ptr<Observable>& object, StringView keyPath,
    std::string selector, Value userInfo, unsigned options) {
  if (!observer || !object) return nullptr;
  const String key = dictionaryKeyForObserver(observer.get(), object.get(), keyPath,
                                              LXKVObservation::identityOfSelector(selector));
  std::shared_ptr<LXKVObservation> replaced;
  std::shared_ptr<LXKVObservation> made;
  {
    std::lock_guard lock(mutex_);
    if (auto it = iObservations_.find(key); it != iObservations_.end()) {
      if (!it->second->observerIsGone()) return nullptr;
      replaced = std::move(it->second);
      iObservations_.erase(it);
    }
    made = LXKVObservation::initWithObserver(observer, object, keyPath, std::move(selector),
                                             std::move(userInfo), options);
    iObservations_.emplace(key, made);
  }
  if (replaced) replaced->deregister();
  return made;
}

std::shared_ptr<LXKVObservation> LXKVONotificationCenter::addObserver(
    const ObjectPtr& observer, const std::shared_ptr<Observable>& object, StringView keyPath,
    LXKVObservation::Operation operation, Value userInfo, unsigned options) {
  std::lock_guard lock(mutex_);
  auto made = LXKVObservation::initWithObserver(observer, object, keyPath, std::move(operation),
                                                std::move(userInfo), options);
  if (made) iObservations_.emplace(dictionaryKeyForObservation(*made), made);
  return made;
}

void LXKVONotificationCenter::removeObservation(
    const std::shared_ptr<LXKVObservation>& observation) {
  if (!observation) return;
  {
    std::lock_guard lock(mutex_);
    auto it = iObservations_.find(dictionaryKeyForObservation(*observation));
    if (it != iObservations_.end() && it->second == observation) iObservations_.erase(it);
  }
  observation->deregister();
}

void LXKVONotificationCenter::removeObserver(const Object* observer, const Observable* object,
                                             StringView keyPath, std::string_view selector) {
  std::lock_guard lock(mutex_);
  auto it = iObservations_.find(dictionaryKeyForObserver(
      observer, object, keyPath, LXKVObservation::identityOfSelector(selector)));
  if (it == iObservations_.end()) return;
  const std::shared_ptr<LXKVObservation> found = it->second;
  removeObservation(found);
}

std::vector<LXKVONotificationCenter::Table::iterator>
LXKVONotificationCenter::entriesOfObserverLocked(const void* observer) {
  const String prefix = prefixForObserver(observer);
  std::vector<Table::iterator> entries;
  for (auto it = iObservations_.lower_bound(prefix);
       it != iObservations_.end() && it->first.starts_with(prefix); ++it) {
    entries.push_back(it);
  }
  return entries;
}

void LXKVONotificationCenter::removeObserver(const Object* observer) {
  std::lock_guard lock(mutex_);
  for (auto it : entriesOfObserverLocked(observer)) {
    const std::shared_ptr<LXKVObservation> observation = std::move(it->second);
    iObservations_.erase(it);
    observation->deregister();
  }
}

std::vector<String> LXKVONotificationCenter::observingKeysForObserver(const Object* observer) {
  std::vector<String> keys;
  std::lock_guard lock(mutex_);
  for (auto it : entriesOfObserverLocked(observer)) {
    // A dead observer that lived at this address is not this observer.
    if (it->second->observer().get() == observer) keys.push_back(it->first);
  }
  return keys;
}

std::vector<std::shared_ptr<LXKVObservation>> LXKVONotificationCenter::observationsForObserver(
    const Object* observer) {
  std::vector<std::shared_ptr<LXKVObservation>> observations;
  std::lock_guard lock(mutex_);
  for (auto it : entriesOfObserverLocked(observer)) {
    if (it->second->observer().get() == observer) observations.push_back(it->second);
  }
  return observations;
}

}  // namespace lx
