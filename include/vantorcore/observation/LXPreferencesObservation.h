// `LXPreferencesObservation`: one observed key of a preferences store for
// one observer (a method by selector) or one closure, counting the
// registrations it stands for. The store is observed exactly while the
// count is non-zero.
#pragma once

#include "vantorcore/Export.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/UserDefaults.h"

namespace LX_API lx {

class LXPreferencesObservation : public Object, public KeyValueObserver {
  LX_DECLARE_CLASS(LXPreferencesObservation)

 public:
  /// Receives the key and its new value, absent when the key was removed.
  using Block = std::function<void(const String& key, const std::optional<Value>& value)>;

  /// Observes nothing until `increment`. `target` is held weakly; the store
  /// strongly, so it outlives its observations.
  LXPreferencesObservation(std::shared_ptr<UserDefaults> userDefaults, String key,
                           const ObjectPtr& target, std::string selector, Block block);
  /// Ends the store observation if the count is not zero.
  ~LXPreferencesObservation() override;

  /// Adds one registration; the first installs the store observation.
  void increment();
  /// Drops one registration (none when already zero); the last removes the
  /// store observation.
  void decrement();
  /// Drops every registration and the store observation at once.
  void clear();

  /// Calls the target's method when the target is alive and a selector is
  /// set: with no argument, the key, or the key and the value (null when
  /// absent), as many as the selector has colons (at most two). Otherwise
  /// calls the closure, if any. Otherwise nothing.
  void dispatchChangeWithValue(const std::optional<Value>& value);

  /// How many times the observation has fired.
  [[nodiscard]] std::uint64_t observationCount() const;
  /// The defaults it watches.
  [[nodiscard]] const std::shared_ptr<UserDefaults>& userDefaults() const noexcept {
    return userDefaults_;
  }
  /// The watched key.
  [[nodiscard]] const String& key() const noexcept { return key_; }
  /// The observer, or null for a closure registration or once it has died.
  [[nodiscard]] ObjectPtr target() const { return target_.lock(); }
  /// The method called on a change; empty for a block observation.
  [[nodiscard]] const std::string& selector() const noexcept { return selector_; }
  /// The block called on a change; empty for a selector observation.
  [[nodiscard]] const Block& block() const noexcept { return block_; }

  /// The store's change callback: takes the new value and dispatches it.
  void observeValueForKeyPath(const String& keyPath, Object& object, const Dictionary& change,
                              void* context) override;

 private:
  void installLocked();
  void uninstallLocked();

  mutable std::mutex mutex_;
  std::uint64_t observationCount_ = 0;
  const std::shared_ptr<UserDefaults> userDefaults_;
  const String key_;
  const std::weak_ptr<Object> target_;
  const std::string selector_;
  const Block block_;
};

}  // namespace lx
