#include "vantorcore/platform/KeylessCoding.h"

#include <cstdint>
#include <cstring>
#include <string_view>

#include "vantorcore/platform/BoxedValue.h"
#include "vantorcore/platform/Object.h"

namespace lx {

namespace {

template <class T>
bool store(T value, void* address, std::size_t size) {
  if (size != sizeof value) return false;
  std::memcpy(address, &value, sizeof value);
  return true;
}

// A number converted to the scalar of `type`, as a C cast would.
bool storeNumber(const Value& n, char type, void* address, std::size_t size) {
  switch (type) {
    case 'c':
      return store(static_cast<std::int8_t>(n.int64Value()), address, size);
    case 'C':
      return store(static_cast<std::uint8_t>(n.uint64Value()), address, size);
    case 'B':
      return store(static_cast<std::uint8_t>(n.boolValue()), address, size);
    case 's':
      return store(static_cast<std::int16_t>(n.int64Value()), address, size);
    case 'S':
      return store(static_cast<std::uint16_t>(n.uint64Value()), address, size);
    case 'i':
    case 'l':
      return store(static_cast<std::int32_t>(n.int64Value()), address, size);
    case 'I':
    case 'L':
      return store(static_cast<std::uint32_t>(n.uint64Value()), address, size);
    case 'q':
      return store(n.int64Value(), address, size);
    case 'Q':
      return store(n.uint64Value(), address, size);
    case 'f':
      return store(static_cast<float>(n.doubleValue()), address, size);
    case 'd':
      return store(n.doubleValue(), address, size);
    default:
      return false;
  }
}

}  // namespace

std::optional<Value> KeylessCoding::valueForObjCType(const char* type, const void* address) {
  const std::string_view t = type ? type : "";
  if (t == "@") return *static_cast<const Value*>(address);
  if (t == "*") {
    const char* text = *static_cast<const char* const*>(address);
    return text ? Value(fromUTF8(text)) : Value();
  }
  if (t == "#") {
    const Class* cls = *static_cast<const Class* const*>(address);
    return cls ? Value(cls->name()) : Value();
  }
  const std::optional<std::size_t> size = BoxedValue::sizeOfObjCType(t);
  if (!size) return std::nullopt;
  return Value(
      BoxedValue::valueWithBytes(t, DataView(static_cast<const std::uint8_t*>(address), *size)));
}

bool KeylessCoding::read(const Value& value, const char* type, void* address, std::size_t size) {
  const std::string_view t = type ? type : "";
  if (t == "@") {
    if (size != sizeof(Value)) return false;
    *static_cast<Value*>(address) = value;
    return true;
  }
  if (t == "*") {
    if (size != sizeof(const char*) || !(value.isNull() || value.isString())) return false;
    const char* text = nullptr;
    if (value.isString()) text = cStrings_.emplace_back(toUTF8(*value.asString())).c_str();
    return store(text, address, size);
  }
  if (t == "#") {
    if (size != sizeof(const Class*)) return false;
    if (value.isNull()) return store(static_cast<const Class*>(nullptr), address, size);
    const Class* cls = value.isString() ? ClassRegistry::classNamed(*value.asString()) : nullptr;
    return cls && store(cls, address, size);
  }
  const std::optional<std::size_t> typeSize = BoxedValue::sizeOfObjCType(t);
  if (!typeSize || *typeSize != size) return false;
  if (const auto box = value.objectAs<BoxedValue>()) {
    return box->objCType() == t && box->getValue(address, size);
  }
  return value.isNumber() && storeNumber(value, t[0], address, size);
}

}  // namespace lx
