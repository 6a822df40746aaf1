#include "vantorcore/platform/Observable.h"

namespace lx {

namespace {
Value valueOrNull(const std::optional<Value>& v) { return v ? *v : Value(); }
}  // namespace

void Observable::addObserver(const std::shared_ptr<KeyValueObserver>& observer, StringView key,
                             unsigned options, void* context) {
  if (!observer) return;
  Registration registration{observer, observer.get(), options, context};
  {
    std::lock_guard lock(kvoMutex_);
    auto it = registrations_.find(key);
    if (it == registrations_.end())
      it = registrations_.emplace(String(key), std::vector<Registration>{}).first;
    it->second.push_back(registration);
  }
  if (options & KeyValueObservingOptionInitial) {
    Dictionary change{{String(KeyValueChangeKindKey), Value(KeyValueChangeSetting)}};
    if (options & KeyValueObservingOptionNew) {
      change.set(KeyValueChangeNewKey, valueOrNull(valueForKey(key)));
    }
    observer->observeValueForKeyPath(String(key), *this, change, context);
  }
}

bool Observable::removeObserver(const KeyValueObserver* observer, StringView key, void* context) {
  std::lock_guard lock(kvoMutex_);
  auto it = registrations_.find(key);
  if (it == registrations_.end()) return false;
  auto& list = it->second;
  for (auto r = list.rbegin(); r != list.rend(); ++r) {
    if (r->identity == observer && (!context || r->context == context)) {
      list.erase(std::next(r).base());
      return true;
    }
  }
  return false;
}

std::size_t Observable::observerCount(StringView key) const {
  std::size_t count = 0;
  for (auto& r : registrationsFor(key)) count += r.observer.expired() ? 0 : 1;
  return count;
}

std::vector<Observable::Registration> Observable::registrationsFor(StringView key) const {
  std::lock_guard lock(kvoMutex_);
  auto it = registrations_.find(key);
  return it == registrations_.end() ? std::vector<Registration>{} : it->second;
}

void Observable::notify(const std::vector<Registration>& registrations, const String& key,
                        const Dictionary& change, unsigned requiredOption) {
  for (auto& r : registrations) {
    if (requiredOption && !(r.options & requiredOption)) continue;
    auto observer = r.observer.lock();
    if (!observer) continue;
    Dictionary filtered = change;
    if (!(r.options & KeyValueObservingOptionNew)) filtered.erase(KeyValueChangeNewKey);
    if (!(r.options & KeyValueObservingOptionOld)) filtered.erase(KeyValueChangeOldKey);
    observer->observeValueForKeyPath(key, *this, filtered, r.context);
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
  Dictionary change{{String(KeyValueChangeKindKey), Value(KeyValueChangeSetting)},
                    {String(KeyValueChangeOldKey), old},
                    {String(KeyValueChangeNotificationIsPriorKey), Value(true)}};
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
    }
  }
  Dictionary change{{String(KeyValueChangeKindKey), Value(KeyValueChangeSetting)},
                    {String(KeyValueChangeNewKey), valueOrNull(valueForKey(key))},
                    {String(KeyValueChangeOldKey), old}};
  notify(registrations, String(key), change, 0);
}

std::optional<Value> Observable::valueForKey(StringView) const { return std::nullopt; }

}  // namespace lx
