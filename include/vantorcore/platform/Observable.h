// Key-value observation: an `Observable` keeps observers per key path and
// tells them of changes that its own code announces with
// `willChangeValueForKey` / `didChangeValueForKey`, on the changing thread.
//
// A key path is one key ("title") or keys joined by dots
// ("document.owner.name"). Each key but the last must name an `Observable`
// (held as an object value) for the path to go on; a dictionary value is
// looked into as well, but changes inside it are only heard as a change of
// the key that holds it. When an object along the path is replaced, the
// observation moves to the new one by itself.
#pragma once

#include "vantorcore/Export.h"

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/Value.h"

namespace LX_API lx {

/// What a change dictionary carries (bit set).
enum KeyValueObservingOptions : unsigned {
  KeyValueObservingOptionNew = 0x01,      ///< the value after the change, under "new"
  KeyValueObservingOptionOld = 0x02,      ///< the value before the change, under "old"
  KeyValueObservingOptionInitial = 0x04,  ///< one call at registration time
  KeyValueObservingOptionPrior = 0x08,    ///< one more call before the change
};

/// Keys of the change dictionary, with the platform's values.
///@{
inline constexpr StringView KeyValueChangeKindKey = u"kind";
inline constexpr StringView KeyValueChangeNewKey = u"new";
inline constexpr StringView KeyValueChangeOldKey = u"old";
inline constexpr StringView KeyValueChangeNotificationIsPriorKey = u"notificationIsPrior";
///@}
/// The only kind of change reported here: the value was set.
inline constexpr int KeyValueChangeSetting = 1;

/// Receives changes. Held weakly by what it observes: a dead observer is
/// skipped silently.
class KeyValueObserver {
 public:
  virtual ~KeyValueObserver() = default;
  /// `change` holds "kind" (1) and, as the options asked, "new" / "old"
  /// (null when the object has no value for the key path) or
  /// "notificationIsPrior" = true. `keyPath` and `context` are the
  /// registration's; `object` is the object it was registered with.
  virtual void observeValueForKeyPath(const String& keyPath, Object& object,
                                      const Dictionary& change, void* context) = 0;
};

namespace detail {
class KeyPathObservation;
}

class Observable : public Object {
 public:
  Observable();
  ~Observable() override;

  /// Registers `observer` for `keyPath`. The same observer may register
  /// several times, with different contexts. With the initial option it is
  /// called once at once, on the calling thread. Registrations of observers
  /// that have died are dropped here, so a new observer that happens to
  /// live at a dead one's address starts clean. Thread-safe.
  void addObserver(const std::shared_ptr<KeyValueObserver>& observer, StringView keyPath,
                   unsigned options, void* context = nullptr);
  /// Removes the most recent registration of `observer` for `keyPath` with
  /// `context` (any context when null). Returns false when there was none.
  /// Safe from any thread, and from inside a change callback: once it
  /// returns no call to that registration starts (one already running on
  /// another thread may finish).
  bool removeObserver(const KeyValueObserver* observer, StringView keyPath,
                      void* context = nullptr);
  /// Live registrations for `keyPath`.
  [[nodiscard]] std::size_t observerCount(StringView keyPath) const;

  /// Announce a change of `key` (a single key); calls must pair, and may
  /// nest. Observers are called by `didChangeValueForKey` (and, for the prior
  /// option, by `willChangeValueForKey`) on the calling thread, with no lock
  /// held.
  ///@{
  void willChangeValueForKey(StringView key);
  virtual void didChangeValueForKey(StringView key);
  ///@}

  /// The current value for `key`, for the change dictionary; absent by
  /// default (reported as null).
  [[nodiscard]] virtual std::optional<Value> valueForKey(StringView key) const;
  /// The value at the end of `keyPath`, walking observables and
  /// dictionaries; absent when a step has no value or cannot be walked.
  ///   'a'      => valueForKey('a')
  ///   'a.b'    => valueForKey('b') of the observable (or dictionary) under 'a'
  ///   'a.'     => absent unless the value under 'a' has an empty key
  [[nodiscard]] std::optional<Value> valueForKeyPath(StringView keyPath) const;

 protected:
  /// For objects that learn both values only once the change is made (a
  /// store reloaded from disk): one prior call and one change call, back to
  /// back, with the values given.
  void announceChange(StringView key, const Value& oldValue, const Value& newValue);
  /// Called after every registration, outside the lock; lets a subclass
  /// start work it only needs while observed.
  virtual void observerAdded(StringView /*keyPath*/) {}

 private:
  friend class detail::KeyPathObservation;
  // Drops the registrations for `keyPath` whose observers have died.
  void dropDeadObservers(StringView keyPath);

  struct Registration {
    std::weak_ptr<KeyValueObserver> observer;
    const KeyValueObserver* identity;
    unsigned options;
    void* context;
    std::atomic<bool> removed{false};
    // Set for a dotted key path: forwards the changes of every step.
    std::shared_ptr<detail::KeyPathObservation> path;
  };
  using RegistrationPtr = std::shared_ptr<Registration>;
  std::vector<RegistrationPtr> registrationsFor(StringView key) const;
  void notify(const std::vector<RegistrationPtr>& registrations, const String& key,
              const Dictionary& change, unsigned requiredOption);

  mutable std::mutex kvoMutex_;
  std::map<String, std::vector<RegistrationPtr>, std::less<>> registrations_;
  std::map<String, std::vector<Value>, std::less<>> pendingOld_;
};

}  // namespace lx
