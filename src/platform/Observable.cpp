#include "vantorcore/platform/Observable.h"

#include <algorithm>

#include "KeyPathObservation.h"

namespace lx {

namespace {
Value valueOrNull(const std::optional<Value>& v) { return v ? *v : Value(); }

// Moves the registrations of dead observers out of `list`, so that the
// caller can destroy them after releasing its lock (a dotted path's
// registration leaves other objects when destroyed).
std::vector<std::shared_ptr<void>> takeDead(auto& list) {
  std::vector<std::shared_ptr<void>> dead;
  std::erase_if(list, [&](const auto& r) {
    if (!r->observer.expired()) return false;
    dead.push_back(r);
    return true;
  });
  return dead;
}

Dictionary settingChange() {
  return Dictionary{{String(KeyValueChangeKindKey), Value(KeyValueChangeSetting)}};
}
}  // namespace

Observable::Observable() = default;
Observable::~Observable() = default;

void Observable::addObserver(const std::shared_ptr<KeyValueObserver>& observer, StringView keyPath,
                             unsigned options, void* context) {
  if (!observer) return;
  auto registration = std::make_shared<Registration>();
  registration->observer = observer;
  registration->identity = observer.get();
  registration->options = options;
  registration->context = context;
  const bool dotted = keyPath.find(u'.') != StringView::npos;
  if (dotted) {
    registration->path = std::make_shared<detail::KeyPathObservation>(*this, String(keyPath),
                                                                      observer, options, context);
  }
  std::vector<std::shared_ptr<void>> dead;
  {
    std::lock_guard lock(kvoMutex_);
    auto it = registrations_.find(keyPath);
    if (it == registrations_.end()) {
      it = registrations_.emplace(String(keyPath), std::vector<RegistrationPtr>{}).first;
    }
    dead = takeDead(it->second);
    it->second.push_back(registration);
  }
  if (registration->path) registration->path->attach();
  observerAdded(keyPath);
  if (options & KeyValueObservingOptionInitial) {
    Dictionary change = settingChange();
    if (options & KeyValueObservingOptionNew) {
      change.set(KeyValueChangeNewKey, valueOrNull(valueForKeyPath(keyPath)));
    }
    observer->observeValueForKeyPath(String(keyPath), *this, change, context);
  }
}

bool Observable::removeObserver(const KeyValueObserver* observer, StringView keyPath,
                                void* context) {
  RegistrationPtr removed;
  std::vector<std::shared_ptr<void>> dead;
  {
    std::lock_guard lock(kvoMutex_);
    auto it = registrations_.find(keyPath);
    if (it == registrations_.end()) return false;
    auto& list = it->second;
    dead = takeDead(list);
    for (auto r = list.rbegin(); r != list.rend(); ++r) {
      if ((*r)->identity == observer && (!context || (*r)->context == context)) {
        removed = *r;
        list.erase(std::next(r).base());
        break;
      }
    }
    if (list.empty()) registrations_.erase(it);
  }
  if (!removed) return false;
  removed->removed = true;
  if (removed->path) removed->path->detach();
  return true;
}

void Observable::dropDeadObservers(StringView keyPath) {
  std::vector<std::shared_ptr<void>> dead;  // destroyed after the lock is released
  std::lock_guard lock(kvoMutex_);
  auto it = registrations_.find(keyPath);
  if (it == registrations_.end()) return;
  dead = takeDead(it->second);
  if (it->second.empty()) registrations_.erase(it);
}

std::size_t Observable::observerCount(StringView keyPath) const {
  std::size_t count = 0;
  for (auto& r : registrationsFor(keyPath)) count += r->observer.expired() ? 0 : 1;
  return count;
}

std::optional<Value> Observable::valueForKey(StringView) const { return std::nullopt; }

std::optional<Value> Observable::valueForKeyPath(StringView keyPath) const {
  const std::vector<String> components = detail::splitKeyPath(keyPath);
  return detail::valueAlongPath(valueForKey(components[0]),
                                std::span<const String>(components).subspan(1));
}

std::vector<Observable::RegistrationPtr> Observable::registrationsFor(StringView key) const {
  std::lock_guard lock(kvoMutex_);
  auto it = registrations_.find(key);
  return it == registrations_.end() ? std::vector<RegistrationPtr>{} : it->second;
}

void Observable::notify(const std::vector<RegistrationPtr>& registrations, const String& key,
                        const Dictionary& change, unsigned requiredOption) {
  for (auto& r : registrations) {
    // Dotted paths hear of their steps through their own registrations.
    if (r->path || (requiredOption && !(r->options & requiredOption))) continue;
    if (r->removed) continue;  // removed by an earlier observer of this change
    auto observer = r->observer.lock();
    if (!observer) continue;
    const bool dropNew =
        !(r->options & KeyValueObservingOptionNew) && change.contains(KeyValueChangeNewKey);
    const bool dropOld =
        !(r->options & KeyValueObservingOptionOld) && change.contains(KeyValueChangeOldKey);
    if (!dropNew && !dropOld) {
      observer->observeValueForKeyPath(key, *this, change, r->context);
      continue;
    }
    Dictionary filtered = change;
    if (dropNew) filtered.erase(KeyValueChangeNewKey);
    if (dropOld) filtered.erase(KeyValueChangeOldKey);
    observer->observeValueForKeyPath(key, *this, filtered, r->context);
  }
}

void Observable::willChangeValueForKey(StringView key) {
  auto registrations = registrationsFor(key);
  if (registrations.empty()) return;
  Value old = valueOrNull(valueForKey(key));
  {
    std::lock_guard lock(kvoMutex_);
    auto it = pendingOld_.find(key);
    if (it == pendingOld_.end()) it = pendingOld_.emplace(String(key), std::vector<Value>{}).first;
    it->second.push_back(old);
  }
  const bool anyPrior = std::any_of(registrations.begin(), registrations.end(), [](const auto& r) {
    return (r->options & KeyValueObservingOptionPrior) && !r->path;
  });
  if (!anyPrior) return;
  Dictionary change = settingChange();
  change.set(KeyValueChangeOldKey, old);
  change.set(KeyValueChangeNotificationIsPriorKey, Value(true));
  notify(registrations, String(key), change, KeyValueObservingOptionPrior);
}

void Observable::didChangeValueForKey(StringView key) {
  auto registrations = registrationsFor(key);
  if (registrations.empty()) return;
  Value old;
  {
    std::lock_guard lock(kvoMutex_);
    auto it = pendingOld_.find(key);
    // An observer added between the two calls has no "before" to report.
    if (it != pendingOld_.end() && !it->second.empty()) {
      old = std::move(it->second.back());
      it->second.pop_back();
      if (it->second.empty()) pendingOld_.erase(it);
    }
  }
  Dictionary change = settingChange();
  change.set(KeyValueChangeNewKey, valueOrNull(valueForKey(key)));
  change.set(KeyValueChangeOldKey, old);
  notify(registrations, String(key), change, 0);
}

void Observable::announceChange(StringView key, const Value& oldValue, const Value& newValue) {
  auto registrations = registrationsFor(key);
  if (registrations.empty()) return;
  const String name(key);
  Dictionary prior = settingChange();
  prior.set(KeyValueChangeOldKey, oldValue);
  prior.set(KeyValueChangeNotificationIsPriorKey, Value(true));
  notify(registrations, name, prior, KeyValueObservingOptionPrior);
  Dictionary change = settingChange();
  change.set(KeyValueChangeNewKey, newValue);
  change.set(KeyValueChangeOldKey, oldValue);
  notify(registrations, name, change, 0);
}

}  // namespace lx
