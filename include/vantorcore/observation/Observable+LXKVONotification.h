// Registration with the default KVO notification centre from the observed
// object's side.
#pragma once

#include "vantorcore/Export.h"

#include <memory>
#include <string>
#include <string_view>

#include "vantorcore/observation/LXKVONotificationCenter.h"

namespace LX_API lx {

/// `LXKVONotificationCenter::defaultCenter().addObserver(observer, receiver,
/// keyPath, selector, userInfo, options)`: the registration, or null for a
/// duplicate.
std::shared_ptr<LXKVObservation> lx_addObserver(const std::shared_ptr<Observable>& receiver,
                                                const ObjectPtr& observer, StringView keyPath,
                                                std::string selector, Value userInfo = {},
                                                unsigned options = 0);

/// `LXKVONotificationCenter::defaultCenter().removeObserver(observer,
/// receiver, keyPath, selector)`.
void lx_removeObserver(const std::shared_ptr<Observable>& receiver, const Object* observer,
                       StringView keyPath, std::string_view selector);

}  // namespace lx
