#include "vantorcore/observation/Observable+LXKVONotification.h"

namespace lx {

std::shared_ptr<LXKVObservation> lx_addObserver(const std::shared_ptr<Observable>& receiver,
                                                const ObjectPtr& observer, StringView keyPath,
                                                std::string selector, Value userInfo,
                                                unsigned options) {
  return LXKVONotificationCenter::defaultCenter().addObserver(
      observer, receiver, keyPath, std::move(selector), std::move(userInfo), options);
}

void lx_removeObserver(const std::shared_ptr<Observable>& receiver, const Object* observer,
                       StringView keyPath, std::string_view selector) {
  LXKVONotificationCenter::defaultCenter().removeObserver(observer, receiver.get(), keyPath,
                                                          selector);
}

}  // namespace lx
