#include "vantorcore/text/Dictionary+Additions.h"

namespace lx {

bool ValueClass::isInstance(const Value& value) const {
  if (std::holds_alternative<Number>(kind_)) return value.isNumber();
  if (const Class* const* cls = std::get_if<const Class*>(&kind_)) {
    const ObjectPtr object = value.asObject();
    return object && object->isKindOfClass(**cls);
  }
  const Value::Type type = std::get<Value::Type>(kind_);
  if (type == Value::Type::Integer || type == Value::Type::UnsignedInteger) {
    return value.isInteger();
  }
  return value.type() == type;
}

Dictionary lx_dictionaryByAddingEntriesFromDictionary(const Dictionary& dictionary,
                                                      const Dictionary* entries) {
  Dictionary result = dictionary;
  if (entries) result.addEntries(*entries);
  return result;
}

std::optional<Value> lx_objectOfClass(const Dictionary& dictionary, const ValueClass& cls,
                                      StringView key, std::optional<Value> defaultValue) {
  return lx_objectOfClasses(dictionary, std::span(&cls, 1), key, std::move(defaultValue));
}

std::optional<Value> lx_objectOfClasses(const Dictionary& dictionary,
                                        std::span<const ValueClass> classes, StringView key,
                                        std::optional<Value> defaultValue) {
  if (const Value* v = dictionary.find(key)) {
    for (const ValueClass& cls : classes) {
      if (cls.isInstance(*v)) return *v;
    }
  }
  return defaultValue;
}

std::optional<std::vector<String>> lx_stringArrayForKey(const Dictionary& dictionary,
                                                        StringView key) {
  const Value* v = dictionary.find(key);
  const Array* array = v ? v->asArray() : nullptr;
  if (!array) return std::nullopt;
  std::vector<String> strings;
  strings.reserve(array->size());
  for (const Value& element : *array) {
    if (!element.isString()) return std::nullopt;
    strings.push_back(*element.asString());
  }
  return strings;
}

void lx_setObject(Dictionary& dictionary, std::optional<Value> object, StringView key) {
  if (object) dictionary.set(key, std::move(*object));
}

void lx_setNilAsNullObject(Dictionary& dictionary, std::optional<Value> object, StringView key) {
  dictionary.set(key, object ? std::move(*object) : Value());
}

}  // namespace lx
