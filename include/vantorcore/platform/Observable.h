// Key-value observation: an `Observable` keeps observers per key and tells
// them of changes that its own code announces with `willChangeValueForKey`
// / `didChangeValueForKey`, on the changing thread.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/Value.h"

namespace lx {

/// What a change dictionary carries (bit set).
enum KeyValueObservingOptions : unsigned {
  KeyValueObservingOptionNew = 0x01,      ///< the value after the change, under "new"
  KeyValueObservingOptionOld = 0x02,      ///< the value before the change, under "old"
  KeyValueObservingOptionInitial = 0x04,  ///< one call at registration time
  KeyValueObservingOptionPrior = 0x08,    ///< one more call before the change
};

// Keys of the change dictionary, with the platform's values.
inline constexpr StringView KeyValueChangeKindKey = u"kind";
inline constexpr StringView KeyValueChangeNewKey = u"new";
inline constexpr StringView KeyValueChangeOldKey = u"old";
inline constexpr StringView KeyValueChangeNotificationIsPriorKey = u"notificationIsPrior";
/// The only kind of change reported here: the value was set.
inline constexpr int KeyValueChangeSetting = 1;

/// Receives changes. Held weakly by what it observes: a dead observer is
/// skipped silently.
class KeyValueObserver {
 public:
  virtual ~KeyValueObserver() = default;
  /// `change` holds "kind" (1) and, as the options asked, "new" / "old"
  /// (null when the object has no value for the key) or
  /// "notificationIsPrior" = true. `context` is the registration's.
  virtual void observeValueForKeyPath(const String& keyPath, Object& object,
                                      const Dictionary& change, void* context) = 0;
};

class Observable : public Object {
 public:
  /// Registers `observer` for `key` (one key; dots are not followed). The
  /// same observer may register several times, with different contexts.
  /// With the initial option it is called once at once. Thread-safe.
  void addObserver(const std::shared_ptr<KeyValueObserver>& observer, StringView key,
                   unsigned options, void* context = nullptr);
  /// Removes the most recent registration of `observer` for `key` with
  /// `context` (any context when null). Returns false when there was none.
  bool removeObserver(const KeyValueObserver* observer, StringView key, void* context = nullptr);
  /// Live registrations for `key`.
  [[nodiscard]] std::size_t observerCount(StringView key) const;

  /// Announce a change of `key`; calls must pair, and may nest. Observers
  /// are called by `didChangeValueForKey` (and, for the prior option, by
  /// `willChangeValueForKey`) on the calling thread, with no lock held.
  void willChangeValueForKey(StringView key);
  virtual void didChangeValueForKey(StringView key);

  /// The current value for `key`, for the change dictionary; absent by
  /// default (reported as null).
  [[nodiscard]] virtual std::optional<Value> valueForKey(StringView key) const;

 private:
  struct Registration {
    std::weak_ptr<KeyValueObserver> observer;
    const KeyValueObserver* identity;
    unsigned options;
    void* context;
  };
  std::vector<Registration> registrationsFor(StringView key) const;
  void notify(const std::vector<Registration>& registrations, const String& key,
              const Dictionary& change, unsigned requiredOption);

  mutable std::mutex kvoMutex_;
  std::map<String, std::vector<Registration>, std::less<>> registrations_;
  std::map<String, std::vector<Value>, std::less<>> pendingOld_;
};

}  // namespace lx
