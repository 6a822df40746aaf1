#include "vantorcore/observation/LXPreferencesObservationCenter.h"

#include <vector>

namespace lx {

LX_DEFINE_CLASS(LXPreferencesObservationCenter, Object)

namespace {
struct CenterTable {
  std::mutex lock;
  std::map<std::weak_ptr<UserDefaults>, std::shared_ptr<LXPreferencesObservationCenter>,
           std::owner_less<>>
      centers;
  std::shared_ptr<LXPreferencesObservationCenter> standardCenter;  // the null key
};
CenterTable& centerTable() {
  static auto* table = new CenterTable;  // centres outlive static destruction
  return *table;
}
}  // namespace

LXPreferencesObservationCenter::LXPreferencesObservationCenter(
    const std::shared_ptr<UserDefaults>& defaults, bool ownsDefaults)
    : defaults_(defaults), ownedDefaults_(ownsDefaults ? defaults : nullptr) {}

LXPreferencesObservationCenter::~LXPreferencesObservationCenter() = default;

std::shared_ptr<LXPreferencesObservationCenter> LXPreferencesObservationCenter::defaultCenter() {
  return centerForUserDefaults(nullptr);
}

std::shared_ptr<LXPreferencesObservationCenter> LXPreferencesObservationCenter::initWithDefaults(
    const std::shared_ptr<UserDefaults>& defaults, bool ownsDefaults) {
  return std::make_shared<LXPreferencesObservationCenter>(defaults, ownsDefaults);
}

std::shared_ptr<LXPreferencesObservationCenter>
LXPreferencesObservationCenter::centerForUserDefaults(
    const std::shared_ptr<UserDefaults>& defaults) {
  CenterTable& table = centerTable();
  std::lock_guard lock(table.lock);
  if (!defaults) {
    if (!table.standardCenter) {
      table.standardCenter = initWithDefaults(UserDefaults::standardUserDefaults(), true);
    }
    return table.standardCenter;
  }
  std::erase_if(table.centers, [](const auto& entry) { return entry.first.expired(); });
  auto& center = table.centers[defaults];
  if (!center) center = initWithDefaults(defaults);
  return center;
}

std::shared_ptr<UserDefaults> LXPreferencesObservationCenter::defaults() const {
  return defaults_.lock();
}

std::shared_ptr<LXPreferencesObservation> LXPreferencesObservationCenter::addObserverForKey(
    StringView key, Block block) {
  return addObserverForKey(key, 0, std::move(block));
}

std::shared_ptr<LXPreferencesObservation> LXPreferencesObservationCenter::addObserverForKey(
    StringView key, unsigned options, Block block) {
  std::shared_ptr<UserDefaults> store = defaults();
  if (!store || !block) return nullptr;
  auto observation = std::make_shared<LXPreferencesObservation>(std::move(store), String(key),
                                                                nullptr, "", std::move(block));
  {
    std::lock_guard lock(observersLock_);
    blockObservers_.insert(observation);
    observation->increment();
  }
  if (options & LXPreferencesObservationOptionInitial) deliverInitialValue(observation);
  return observation;
}

void LXPreferencesObservationCenter::addObserver(const ObjectPtr& observer, StringView key,
                                                 std::string selector) {
  addObserver(observer, key, 0, std::move(selector));
}

void LXPreferencesObservationCenter::addObserver(const ObjectPtr& observer, StringView key,
                                                 unsigned options, std::string selector) {
  std::shared_ptr<UserDefaults> store = defaults();
  if (!observer || !store) return;
  std::shared_ptr<LXPreferencesObservation> observation;
  std::vector<std::shared_ptr<LXPreferencesObservation>> abandoned;
  {
    std::lock_guard lock(observersLock_);
    // Observers that died without removing themselves leave their store
    // observations behind; end them rather than let them pile up.
    std::erase_if(observers_, [&](auto& entry) {
      if (!entry.first.expired()) return false;
      for (auto& [name, dead] : entry.second) abandoned.push_back(dead);
      return true;
    });
    KeyTable& keys = observers_[observer];
    auto it = keys.find(key);
    if (it == keys.end()) {
      it =
          keys.emplace(String(key), std::make_shared<LXPreferencesObservation>(
                                        store, String(key), observer, std::move(selector), nullptr))
              .first;
    }
    observation = it->second;
    observation->increment();
    for (auto& dead : abandoned) dead->clear();
  }
  if (options & LXPreferencesObservationOptionInitial) deliverInitialValue(observation);
}

void LXPreferencesObservationCenter::deliverInitialValue(
    const std::shared_ptr<LXPreferencesObservation>& observation) {
  observation->dispatchChangeWithValue(
      observation->userDefaults()->objectForKey(observation->key()));
}

void LXPreferencesObservationCenter::removeObserver(const ObjectPtr& observerOrToken) {
  removeObserver(observerOrToken, std::nullopt);
}

void LXPreferencesObservationCenter::removeObserver(const ObjectPtr& observerOrToken,
                                                    const std::optional<String>& key) {
  if (!observerOrToken) return;
  std::lock_guard lock(observersLock_);
  if (auto token = std::dynamic_pointer_cast<LXPreferencesObservation>(observerOrToken)) {
    if (blockObservers_.erase(token)) token->clear();
  }
  auto entry = observers_.find(std::weak_ptr<Object>(observerOrToken));
  if (entry == observers_.end()) return;
  KeyTable& keys = entry->second;
  if (key) {
    if (auto it = keys.find(*key); it != keys.end()) {
      it->second->decrement();
      if (it->second->observationCount() == 0) keys.erase(it);
    }
  } else {
    for (auto& [name, observation] : keys) observation->clear();
    keys.clear();
  }
  if (keys.empty()) observers_.erase(entry);
}

}  // namespace lx
