// `LXKVObservation`: one registration of the KVO notification centre. It is
// the observer the observed object knows about; it forwards each change to
// an operation of the client observer (a method by selector, or a closure),
// holds the client weakly and the observed object strongly, and can always
// remove itself.
#pragma once

#include "vantorcore/Export.h"

#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/Observable.h"
#include "vantorcore/platform/Value.h"

namespace LX_API lx {

class LXKVObservation : public Object, public KeyValueObserver {
  LX_DECLARE_CLASS(LXKVObservation)

 public:
  /// A closure operation: the key path, the observed object, the change
  /// dictionary and the registration's user info.
  using Operation = std::function<void(const String& keyPath, const ObjectPtr& object,
                                       const Dictionary& change, const Value& userInfo)>;

  /// Makes the observation and registers it with `object` for `keyPath`
  /// with the platform `options` (`KeyValueObservingOptions`). Each change
  /// calls the method `selector` of `observer` with four arguments: key path,
  /// object, change dictionary, `userInfo` (the selector names them, e.g.
  /// "observeTitle:ofObject:change:userInfo:"). Null when `observer` or
  /// `object` is null. With the initial option the first call happens before
  /// this returns.
  static std::shared_ptr<LXKVObservation> initWithObserver(
      const ObjectPtr& observer, const std::shared_ptr<Observable>& object, StringView keyPath,
      std::string selector, Value userInfo, unsigned options);
  /// The same with a closure; `observer` only decides whether the closure
  /// is still wanted (a dead observer's closure is not called).
  static std::shared_ptr<LXKVObservation> initWithObserver(
      const ObjectPtr& observer, const std::shared_ptr<Observable>& object, StringView keyPath,
      Operation operation, Value userInfo, unsigned options);

  /// Removes the registration from the observed object; calls after the
  /// first do nothing. Safe from any thread and from inside a change.
  void deregister();

  /// The method's name; empty for a closure.
  [[nodiscard]] const std::string& selector() const noexcept { return selector_; }
  /// A stable identity of the operation, printed in the centre's keys: the
  /// same for every registration of one selector name, unique per closure
  /// registration.
  [[nodiscard]] const void* operationIdentity() const noexcept { return operationIdentity_; }
  /// The value given at registration, passed back with each change.
  [[nodiscard]] const Value& userInfo() const noexcept { return userInfo_; }
  /// The observed key path.
  [[nodiscard]] const String& keyPath() const noexcept { return keyPath_; }
  /// The client observer, or null once it has died.
  [[nodiscard]] ObjectPtr observer() const { return observer_.lock(); }
  /// The address the client observer had when registered, dead or alive.
  [[nodiscard]] const void* observerAddress() const noexcept { return observerAddress_; }
  /// Whether the client observer has died.
  [[nodiscard]] bool observerIsGone() const noexcept { return observer_.expired(); }
  /// The observed object, held strongly while the observation lives.
  [[nodiscard]] const std::shared_ptr<Observable>& target() const noexcept { return target_; }

  /// "<LXKVObservation 0x... ivars:   keyPath: k   observer: C 0x...   selector: s
  /// target: C 0x...   userInfo: u" (on one line; no closing bracket).
  [[nodiscard]] String description() const override;

  /// The platform callback; forwards changes of this registration.
  void observeValueForKeyPath(const String& keyPath, Object& object, const Dictionary& change,
                              void* context) override;

  /// The identity that every registration of `selector` shares.
  static const void* identityOfSelector(std::string_view selector);

  /// Use `initWithObserver`; public for make_shared.
  LXKVObservation(const ObjectPtr& observer, std::shared_ptr<Observable> object, String keyPath,
                  std::string selector, Operation operation, Value userInfo);

 private:
  void registerWithTarget(unsigned options);

  const std::string selector_;
  const Operation operation_;
  const void* const operationIdentity_;
  const Value userInfo_;
  const String keyPath_;
  const std::weak_ptr<Object> observer_;
  const void* const observerAddress_;
  const std::shared_ptr<Observable> target_;
  std::once_flag deregistered_;
};

}  // namespace lx
