// `LXKVONotificationCenter`: key-value observation through registration
// objects (`LXKVObservation`) kept in one table, so that the client
// observer is never called after it dies, the observed object never dies
// while observed, duplicate registrations are refused and an observer can
// drop all of its registrations at once.
//
// The table key of a registration is "<observer>:<object>:<key path>:<operation>"
// (addresses printed with %p; the operation's identity as
// `LXKVObservation::operationIdentity`), so every key of one observer starts
// with "<observer>:".
//
// Every member may be called from any thread, including from inside a
// change callback. Changes are forwarded on the thread that made them,
// without the centre's lock.
#pragma once

#include "vantorcore/Export.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "vantorcore/observation/LXKVObservation.h"

namespace LX_API lx {

class LXKVONotificationCenter : public Object {
  LX_DECLARE_CLASS(LXKVONotificationCenter)

 public:
  /// The process-wide centre, made once on first use, never destroyed.
  static LXKVONotificationCenter& defaultCenter();

  /// Registers `observer` for changes of `keyPath` of `object`; each change
  /// calls the method `selector` of `observer` (see `LXKVObservation`).
  /// Returns the registration, or null when the same observer, object, key
  /// path and selector are registered already (the existing registration is
  /// kept) or when `observer` or `object` is null. A registration left behind
  /// by an observer that died is replaced rather than counted as a duplicate
  /// (a new observer may live at the dead one's address).
  std::shared_ptr<LXKVObservation> addObserver(const ObjectPtr& observer,
                                               const std::shared_ptr<Observable>& object,
                                               StringView keyPath, std::string selector,
                                               Value userInfo = {}, unsigned options = 0);
  /// The closure form. Each call makes a registration of its own (closures
  /// have no identity to compare); remove it with `removeObservation` or
  /// `removeObserver(observer)`.
  std::shared_ptr<LXKVObservation> addObserver(const ObjectPtr& observer,
                                               const std::shared_ptr<Observable>& object,
                                               StringView keyPath,
                                               LXKVObservation::Operation operation,
                                               Value userInfo = {}, unsigned options = 0);

  /// Removes `observation` from the table and deregisters it. Unknown or
  /// already removed observations do nothing.
  void removeObservation(const std::shared_ptr<LXKVObservation>& observation);
  /// Removes the registration with exactly these four parts, if any.
  void removeObserver(const Object* observer, const Observable* object, StringView keyPath,
                      std::string_view selector);
  /// Removes every registration of `observer`, and of any dead observer that
  /// lived at its address.
  void removeObserver(const Object* observer);

  /// The table keys of `observer`'s registrations, in key order.
  [[nodiscard]] std::vector<String> observingKeysForObserver(const Object* observer);
  /// The registrations under those keys.
  [[nodiscard]] std::vector<std::shared_ptr<LXKVObservation>> observationsForObserver(
      const Object* observer);

  /// The table key for the four parts.
  static String dictionaryKeyForObserver(const void* observer, const void* object,
                                         StringView keyPath, const void* operationIdentity);
  /// The table key of `observation`.
  static String dictionaryKeyForObservation(const LXKVObservation& observation);

  LXKVONotificationCenter();
  ~LXKVONotificationCenter() override;

 private:
  using Table = std::map<String, std::shared_ptr<LXKVObservation>, std::less<>>;
  static String prefixForObserver(const void* observer);
  // The keys that start with `observer`'s prefix. Called with the lock held.
  std::vector<Table::iterator> entriesOfObserverLocked(const void* observer);

  std::recursive_mutex mutex_;
  Table iObservations_;
};

}  // namespace lx
