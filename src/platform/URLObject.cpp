#include "vantorcore/platform/URLObject.h"

#include <functional>

namespace lx {

LX_DEFINE_CLASS(URLObject, Object)

bool URLObject::isEqual(const Object& other) const {
  const auto* o = dynamic_cast<const URLObject*>(&other);
  return o && o->url_ == url_;
}

std::size_t URLObject::hash() const noexcept {
  return std::hash<std::string>{}(url_.absoluteUTF8());
}

}  // namespace lx
