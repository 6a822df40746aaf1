#include "vantorcore/observation/LXKVObservation.h"

#include <set>

#include "vantorcore/platform/StringFormat.h"

namespace lx {

LX_DEFINE_CLASS(LXKVObservation, Object)

namespace {
// Tells our registrations apart from any other the observed object holds.
int kObservationContext;
}  // namespace

const void* LXKVObservation::identityOfSelector(std::string_view selector) {
  static std::mutex mutex;
  static auto* names = new std::set<std::string, std::less<>>;  // addresses stay valid
  std::lock_guard lock(mutex);
  return &*names->emplace(selector).first;
}

LXKVObservation::LXKVObservation(const ObjectPtr& observer, std::shared_ptr<Observable> object,
                                 String keyPath, std::string selector, Operation operation,
                                 Value userInfo)
    : selector_(std::move(selector)),
      operation_(std::move(operation)),
      operationIdentity_(operation_ ? static_cast<const void*>(&operation_)
                                    : identityOfSelector(selector_)),
      userInfo_(std::move(userInfo)),
      keyPath_(std::move(keyPath)),
      observer_(observer),
      observerAddress_(observer.get()),
      target_(std::move(object)) {}

std::shared_ptr<LXKVObservation> LXKVObservation::initWithObserver(
    const ObjectPtr& observer, const std::shared_ptr<Observable>& object, StringView keyPath,
    std::string selector, Value userInfo, unsigned options) {
  if (!observer || !object) return nullptr;
  auto observation = std::make_shared<LXKVObservation>(
      observer, object, String(keyPath), std::move(selector), nullptr, std::move(userInfo));
  observation->registerWithTarget(options);
  return observation;
}

std::shared_ptr<LXKVObservation> LXKVObservation::initWithObserver(
    const ObjectPtr& observer, const std::shared_ptr<Observable>& object, StringView keyPath,
    Operation operation, Value userInfo, unsigned options) {
  if (!observer || !object || !operation) return nullptr;
  auto observation = std::make_shared<LXKVObservation>(
      observer, object, String(keyPath), std::string(), std::move(operation), std::move(userInfo));
  observation->registerWithTarget(options);
  return observation;
}

void LXKVObservation::registerWithTarget(unsigned options) {
  target_->addObserver(std::static_pointer_cast<LXKVObservation>(shared_from_this()), keyPath_,
                       options, &kObservationContext);
}

void LXKVObservation::deregister() {
  std::call_once(deregistered_,
                 [this] { target_->removeObserver(this, keyPath_, &kObservationContext); });
}

void LXKVObservation::observeValueForKeyPath(const String& keyPath, Object&,
                                             const Dictionary& change, void* context) {
  if (context != &kObservationContext) return;
  ObjectPtr observer = observer_.lock();
  if (!observer) return;  // a dead observer hears nothing
  if (operation_) {
    operation_(keyPath, target_, change, userInfo_);
    return;
  }
  if (const Class::Method* method = observer->objectClass().methodNamed(selector_)) {
    const Value arguments[] = {Value(keyPath), Value(ObjectPtr(target_)), Value(change), userInfo_};
    (*method)(*observer, arguments);
  }
}

String LXKVObservation::description() const {
  const ObjectPtr observer = observer_.lock();
  return stringWithFormat(
      u"<%@ %p ivars:   keyPath: %@   observer: %@ %p   selector: %@   target: %@ %p   userInfo: "
      u"%@",
      className(), this, keyPath_, observer ? observer->className() : String(u"(null)"),
      observer.get(), operation_ ? String(u"(closure)") : fromUTF8(selector_), target_->className(),
      target_.get(), userInfo_);
}

}  // namespace lx
