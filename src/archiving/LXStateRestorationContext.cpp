#include "vantorcore/archiving/LXStateRestorationContext.h"

namespace lx {

LX_DEFINE_CLASS(LXStateRestorationContext, Object)

Value LXStateRestorationContext::objectForKey(StringView key) const { return values_[key]; }

void LXStateRestorationContext::setObject(Value value, StringView key) {
  if (value.isNull()) {
    values_.erase(key);
  } else {
    values_.set(SharedString(key), std::move(value));
  }
}

}  // namespace lx
