#include "vantorcore/platform/ValueClasses.h"

namespace lx {

namespace {

const Class& registered(StringView name, const Class& superclass) {
  return ClassRegistry::registerClass(String(name), &superclass);
}

// Registered when the program starts, so that lookups by name find them
// before anyone asked for them by function.
[[maybe_unused]] const bool kRegistered = [] {
  ValueClasses::mutableString();
  ValueClasses::mutableData();
  ValueClasses::mutableArray();
  ValueClasses::mutableDictionary();
  ValueClasses::mutableSet();
  ValueClasses::null();
  ValueClasses::number();
  ValueClasses::date();
  return true;
}();

}  // namespace

// clang-format off
const Class& ValueClasses::null() { static const Class& c = registered(u"NSNull", Object::staticClass()); return c; }
const Class& ValueClasses::number() { static const Class& c = registered(u"NSNumber", Object::staticClass()); return c; }
const Class& ValueClasses::string() { static const Class& c = registered(u"NSString", Object::staticClass()); return c; }
const Class& ValueClasses::mutableString() { static const Class& c = registered(u"NSMutableString", string()); return c; }
const Class& ValueClasses::data() { static const Class& c = registered(u"NSData", Object::staticClass()); return c; }
const Class& ValueClasses::mutableData() { static const Class& c = registered(u"NSMutableData", data()); return c; }
const Class& ValueClasses::date() { static const Class& c = registered(u"NSDate", Object::staticClass()); return c; }
const Class& ValueClasses::array() { static const Class& c = registered(u"NSArray", Object::staticClass()); return c; }
const Class& ValueClasses::mutableArray() { static const Class& c = registered(u"NSMutableArray", array()); return c; }
const Class& ValueClasses::dictionary() { static const Class& c = registered(u"NSDictionary", Object::staticClass()); return c; }
const Class& ValueClasses::mutableDictionary() { static const Class& c = registered(u"NSMutableDictionary", dictionary()); return c; }
const Class& ValueClasses::set() { static const Class& c = registered(u"NSSet", Object::staticClass()); return c; }
const Class& ValueClasses::mutableSet() { static const Class& c = registered(u"NSMutableSet", set()); return c; }
// clang-format on

const Class& ValueClasses::classOf(const Value& value) {
  switch (value.type()) {
    case Value::Type::Null:
      return null();
    case Value::Type::Bool:
    case Value::Type::Integer:
    case Value::Type::UnsignedInteger:
    case Value::Type::Real:
      return number();
    case Value::Type::String:
      return string();
    case Value::Type::Data:
      return data();
    case Value::Type::Date:
      return date();
    case Value::Type::Array:
      return array();
    case Value::Type::Dictionary:
      return dictionary();
    case Value::Type::Object:
      return value.asObject()->objectClass();
  }
  return null();
}

bool ValueClasses::isKindOf(const Value& value, const Class& cls) {
  return classOf(value).isSubclassOfClass(cls);
}

}  // namespace lx
