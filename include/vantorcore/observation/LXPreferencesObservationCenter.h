// `LXPreferencesObservationCenter`: watch single keys of a preferences
// store and hear each new value, through a method of an observer object or
// a closure. There is one centre per store.
//
// Registrations of one observer for one key are counted: the store is
// observed once per observer and key, and the observation ends with the
// last removal. Closure registrations are separate, one per call; the
// returned observation is the token that removes it.
//
// Threads: every member may be called from any thread. Values arrive on the
// thread on which the store reports the change (the writing thread, or a
// dispatch engine thread for changes made by another process) and the
// initial value on the registering thread, always outside the centre's
// locks, so callbacks may register and remove freely.
//
// A reactive form lives in "LXPreferencesObservationCenter+Publisher.h".
#pragma once

#include "vantorcore/Export.h"

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>

#include "vantorcore/observation/LXPreferencesObservation.h"

namespace LX_API lx {

/// Registration options (bit set).
enum LXPreferencesObservationOptions : unsigned {
  /// Deliver the key's current value once, right after registration.
  LXPreferencesObservationOptionInitial = 1u << 0,
};

class LXPreferencesObservationCenter : public Object {
  LX_DECLARE_CLASS(LXPreferencesObservationCenter)

 public:
  /// The block an observation calls, with the key and the change.
  using Block = LXPreferencesObservation::Block;
  template <class T>
  class Publisher;
  class Subscription;

  /// The standard store's centre (`centerForUserDefaults(nullptr)`); it
  /// lives as long as the process.
  static std::shared_ptr<LXPreferencesObservationCenter> defaultCenter();
  /// The centre of `defaults`, made on first request; null means the
  /// standard store. A store's centre lives as long as the store does (the
  /// class-wide table holds stores weakly).
  static std::shared_ptr<LXPreferencesObservationCenter> centerForUserDefaults(
      const std::shared_ptr<UserDefaults>& defaults);
  /// A centre that is not entered in the class-wide table; prefer
  /// `centerForUserDefaults`. Holds `defaults` weakly, or strongly when
  /// `ownsDefaults` (as the default centre does).
  static std::shared_ptr<LXPreferencesObservationCenter> initWithDefaults(
      const std::shared_ptr<UserDefaults>& defaults, bool ownsDefaults = false);

  /// Calls `block` with the key and each new value. Returns the token for
  /// `removeObserver`; null when the store is gone or `block` is empty.
  std::shared_ptr<LXPreferencesObservation> addObserverForKey(StringView key, Block block);
  /// The same; with `LXPreferencesObservationOptionInitial` the block is
  /// called once with the current value (absent when unset) before this
  /// returns.
  std::shared_ptr<LXPreferencesObservation> addObserverForKey(StringView key, unsigned options,
                                                              Block block);
  /// Calls the method `selector` of `observer` (held weakly) for each new
  /// value of `key`, with the key and/or value as its colons ask (see
  /// `LXPreferencesObservation::dispatchChangeWithValue`). A repeated
  /// registration counts up and keeps the first selector.
  void addObserver(const ObjectPtr& observer, StringView key, std::string selector);
  /// The same with options (see `addObserverForKey`).
  void addObserver(const ObjectPtr& observer, StringView key, unsigned options,
                   std::string selector);

  /// Removes a closure token, or every registration of an observer.
  void removeObserver(const ObjectPtr& observerOrToken);
  /// With a key: one registration of the observer for that key (the store
  /// observation ends when its count reaches zero). Without: all of the
  /// observer's keys at once, whatever their counts. A closure token stops
  /// delivering at once.
  void removeObserver(const ObjectPtr& observerOrToken, const std::optional<String>& key);

  /// The store, or null once it is gone.
  [[nodiscard]] std::shared_ptr<UserDefaults> defaults() const;

  /// A publisher of the values of `key`, of any type.
  [[nodiscard]] Publisher<Value> publisher(StringView key, unsigned options = 0);
  /// A publisher of the values of `key` as `T`: a value of another type (or
  /// none) arrives as absent.
  template <class T>
  [[nodiscard]] Publisher<T> publisher(StringView key, unsigned options = 0);

  /// Use `centerForUserDefaults`; public for make_shared.
  LXPreferencesObservationCenter(const std::shared_ptr<UserDefaults>& defaults, bool ownsDefaults);
  ~LXPreferencesObservationCenter() override;

 private:
  using KeyTable = std::map<String, std::shared_ptr<LXPreferencesObservation>, std::less<>>;
  void deliverInitialValue(const std::shared_ptr<LXPreferencesObservation>& observation);

  std::mutex observersLock_;
  std::map<std::weak_ptr<Object>, KeyTable, std::owner_less<>> observers_;
  std::set<std::shared_ptr<LXPreferencesObservation>> blockObservers_;
  const std::weak_ptr<UserDefaults> defaults_;
  const std::shared_ptr<UserDefaults> ownedDefaults_;
};

}  // namespace lx
