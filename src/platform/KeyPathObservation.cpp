#include "KeyPathObservation.h"

namespace lx::detail {

namespace {
// Marks this class's registrations with each step.
int kStepContext;

Value orNull(const std::optional<Value>& value) { return value ? *value : Value(); }
}  // namespace

std::vector<String> splitKeyPath(StringView keyPath) {
  std::vector<String> components;
  std::size_t start = 0;
  for (;;) {
    const std::size_t dot = keyPath.find(u'.', start);
    components.emplace_back(keyPath.substr(start, dot - start));
    if (dot == StringView::npos) return components;
    start = dot + 1;
  }
}

std::optional<Value> valueAlongPath(std::optional<Value> value,
                                    std::span<const String> components) {
  for (const String& key : components) {
    if (!value) return std::nullopt;
    if (auto observable = value->objectAs<Observable>()) {
      value = observable->valueForKey(key);
    } else if (const Dictionary* dictionary = value->asDictionary()) {
      const Value* found = dictionary->find(key);
      value = found ? std::optional<Value>(*found) : std::nullopt;
    } else {
      return std::nullopt;
    }
  }
  return value;
}

KeyPathObservation::KeyPathObservation(Observable& root, String keyPath,
                                       std::weak_ptr<KeyValueObserver> client, unsigned options,
                                       void* context)
    : root_(root),
      rootOwner_(root.weak_from_this()),
      rootShared_(!rootOwner_.expired()),
      keyPath_(std::move(keyPath)),
      components_(splitKeyPath(keyPath_)),
      client_(std::move(client)),
      options_(options),
      context_(context),
      links_(components_.size()) {}

KeyPathObservation::~KeyPathObservation() {
  // The root (index 0) is being destroyed itself or has dropped us already.
  for (std::size_t i = 1; i < links_.size(); ++i) leave(i, links_[i]);
}

void KeyPathObservation::attach() { relink(); }

void KeyPathObservation::detach() {
  detached_ = true;
  std::lock_guard relinkLock(relinkMutex_);
  std::vector<Link> links;
  {
    std::lock_guard lock(mutex_);
    links.swap(links_);
  }
  for (std::size_t i = 0; i < links.size(); ++i) leave(i, links[i]);
}

void KeyPathObservation::leave(std::size_t index, const Link& link) {
  if (!link.raw) return;
  if (index == 0) {
    link.raw->removeObserver(this, components_[0], &kStepContext);
  } else if (auto owner = link.owner.lock()) {
    link.raw->removeObserver(this, components_[index], &kStepContext);
  }
}

void KeyPathObservation::relink() {
  std::lock_guard relinkLock(relinkMutex_);
  if (detached_) return;
  // Find the object at each step first, without our lock: valueForKey is
  // the observed objects' own code.
  std::vector<Link> wanted(components_.size());
  std::vector<std::shared_ptr<Observable>> keepAlive;
  Observable* step = &root_;
  for (std::size_t i = 0; i < components_.size(); ++i) {
    wanted[i].raw = step;
    if (i > 0) wanted[i].owner = keepAlive.back();
    if (i + 1 == components_.size()) break;
    auto next = orNull(step->valueForKey(components_[i])).objectAs<Observable>();
    if (!next) break;
    keepAlive.push_back(next);
    step = next.get();
  }
  std::vector<Link> previous;
  {
    std::lock_guard lock(mutex_);
    previous = links_;
    links_ = wanted;
  }
  auto same = [](const Link& a, const Link& b) {
    // An address alone could be a new object where a dead one was.
    return a.raw == b.raw && !a.owner.owner_before(b.owner) && !b.owner.owner_before(a.owner);
  };
  const auto self = shared_from_this();
  for (std::size_t i = 0; i < components_.size(); ++i) {
    if (same(previous[i], wanted[i])) continue;
    leave(i, previous[i]);
    if (wanted[i].raw) {
      wanted[i].raw->addObserver(
          self, components_[i],
          KeyValueObservingOptionPrior | KeyValueObservingOptionOld | KeyValueObservingOptionNew,
          &kStepContext);
    }
  }
}

int KeyPathObservation::indexOfLink(const Object& object) {
  std::lock_guard lock(mutex_);
  for (std::size_t i = 0; i < links_.size(); ++i) {
    if (links_[i].raw == &object) return static_cast<int>(i);
  }
  return -1;
}

void KeyPathObservation::observeValueForKeyPath(const String&, Object& object,
                                                const Dictionary& change, void* context) {
  if (context != &kStepContext || detached_) return;
  // Keep the root alive while we walk from it; a dying root hears nothing.
  const std::shared_ptr<Object> rootOwner = rootOwner_.lock();
  if (rootShared_ && !rootOwner) return;
  if (client_.expired()) {
    // The client died registered. Its registration with the root owns us;
    // dropping it makes us leave every step once this change has passed.
    // The root may never be touched again, so the step's change is the
    // one chance to clean up.
    root_.dropDeadObservers(keyPath_);
    return;
  }
  const int index = indexOfLink(object);
  if (index < 0) return;
  const auto rest = std::span<const String>(components_).subspan(index + 1);
  const Value* old = change.find(KeyValueChangeOldKey);
  if (const Value* prior = change.find(KeyValueChangeNotificationIsPriorKey);
      prior && prior->boolValue()) {
    Value oldValue = orNull(valueAlongPath(old ? *old : Value(), rest));
    {
      std::lock_guard lock(mutex_);
      pendingOld_.push_back(oldValue);
    }
    if (!(options_ & KeyValueObservingOptionPrior)) return;
    Dictionary priorChange{{String(KeyValueChangeKindKey), Value(KeyValueChangeSetting)},
                           {String(KeyValueChangeNotificationIsPriorKey), Value(true)}};
    if (options_ & KeyValueObservingOptionOld) priorChange.set(KeyValueChangeOldKey, oldValue);
    deliver(priorChange);
    return;
  }
  Value oldValue;
  {
    std::lock_guard lock(mutex_);
    if (!pendingOld_.empty()) {
      oldValue = std::move(pendingOld_.back());
      pendingOld_.pop_back();
    }
  }
  // A step other than the last was replaced: follow the new object.
  if (static_cast<std::size_t>(index) + 1 < components_.size()) relink();
  const Value* now = change.find(KeyValueChangeNewKey);
  Dictionary pathChange{{String(KeyValueChangeKindKey), Value(KeyValueChangeSetting)}};
  if (options_ & KeyValueObservingOptionNew) {
    pathChange.set(KeyValueChangeNewKey, orNull(valueAlongPath(now ? *now : Value(), rest)));
  }
  if (options_ & KeyValueObservingOptionOld) pathChange.set(KeyValueChangeOldKey, oldValue);
  deliver(pathChange);
}

void KeyPathObservation::deliver(const Dictionary& change) {
  if (detached_) return;
  if (auto client = client_.lock())
    client->observeValueForKeyPath(keyPath_, root_, change, context_);
}

}  // namespace lx::detail
