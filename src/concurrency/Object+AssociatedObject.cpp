#include "vantorcore/concurrency/Object+AssociatedObject.h"

namespace lx {

namespace {
// The unnamed slot's key: the address of this variable, unique to this unit.
const char kAssociatedObjectKey = 0;
}  // namespace

void lx_setAssociatedObject(Object& object, const Value& value, const void* key) {
  object.setAssociatedValue(key, value.isNull() ? std::nullopt : std::optional<Value>(value));
}

Value lx_associatedObjectForKey(const Object& object, const void* key) {
  return object.associatedValue(key).value_or(Value());
}

void setAssociatedObject(Object& object, const Value& value) {
  lx_setAssociatedObject(object, value, &kAssociatedObjectKey);
}

Value associatedObject(const Object& object) {
  return lx_associatedObjectForKey(object, &kAssociatedObjectKey);
}

}  // namespace lx
