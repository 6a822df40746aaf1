#include "vantorcore/platform/Coder.h"

#include <algorithm>

#include "vantorcore/platform/Exception.h"
#include "vantorcore/platform/StringFormat.h"
#include "vantorcore/platform/ValueClasses.h"

namespace lx {

Coder::~Coder() = default;

void Coder::unsupported(const char* operation) const {
  throw InvalidArgumentException(u"-[" + coderName() + u" " + fromUTF8(operation) +
                                 u"] is not available on this coder");
}

void Coder::encodeObject(const Value&, StringView) { unsupported("encodeObject:forKey:"); }
void Coder::encodeBool(bool, StringView) { unsupported("encodeBool:forKey:"); }
void Coder::encodeInt32(std::int32_t, StringView) { unsupported("encodeInt32:forKey:"); }
void Coder::encodeInt64(std::int64_t, StringView) { unsupported("encodeInt64:forKey:"); }
void Coder::encodeDouble(double, StringView) { unsupported("encodeDouble:forKey:"); }
void Coder::encodeFloat(float, StringView) { unsupported("encodeFloat:forKey:"); }
void Coder::encodeString(StringView value, StringView key) { encodeObject(Value(value), key); }
void Coder::encodeObject(const Value&) { unsupported("encodeObject:"); }
void Coder::encodeConditionalObject(const Value& object, StringView key) {
  encodeObject(object, key);
}
void Coder::encodeBytes(DataView, StringView) { unsupported("encodeBytes:length:forKey:"); }
void Coder::encodeValueOfObjCType(const char*, const void*) {
  unsupported("encodeValueOfObjCType:at:");
}
void Coder::encodeDataObject(const Data& data) {
  const Value value(data);
  encodeValueOfObjCType("@", &value);
}

bool Coder::containsValueForKey(StringView) { unsupported("containsValueForKey:"); }
Value Coder::decodeObjectForKey(StringView) { unsupported("decodeObjectForKey:"); }
bool Coder::decodeBoolForKey(StringView) { unsupported("decodeBoolForKey:"); }
std::int32_t Coder::decodeInt32ForKey(StringView) { unsupported("decodeInt32ForKey:"); }
std::int64_t Coder::decodeInt64ForKey(StringView) { unsupported("decodeInt64ForKey:"); }
double Coder::decodeDoubleForKey(StringView) { unsupported("decodeDoubleForKey:"); }
float Coder::decodeFloatForKey(StringView) { unsupported("decodeFloatForKey:"); }
Value Coder::decodeObject() { unsupported("decodeObject"); }
std::optional<Data> Coder::decodeBytesForKey(StringView) {
  unsupported("decodeBytesForKey:returnedLength:");
}
bool Coder::decodeValueOfObjCType(const char*, void*, std::size_t) {
  unsupported("decodeValueOfObjCType:at:size:");
}

std::optional<Data> Coder::decodeDataObject() {
  Value value;
  if (!decodeValueOfObjCType("@", &value, sizeof value) || !value.isData()) return std::nullopt;
  return *value.asData();
}

Value Coder::decodeObjectOfClasses(std::span<const Class* const> classes, StringView key) {
  Value value = decodeObjectForKey(key);
  if (value.isNull() || !requiresSecureCoding() ||
      std::any_of(classes.begin(), classes.end(),
                  [&](const Class* cls) { return cls && ValueClasses::isKindOf(value, *cls); })) {
    return value;
  }
  String allowed;
  for (const Class* cls : classes) {
    if (!cls) continue;
    if (!allowed.empty()) allowed += u", ";
    allowed += cls->name();
  }
  failWithError(Error::make(
      String(NSCocoaErrorDomain), NSCoderReadCorruptError,
      Dictionary{{String(NSLocalizedDescriptionKey),
                  stringWithFormat(u"value for key '%@' was of unexpected class '%@'. "
                                   u"Allowed classes are '{(%@)}'.",
                                   String(key), ValueClasses::classOf(value).name(), allowed)}}));
  return Value();
}

Value Coder::decodeObjectOfClass(const Class& cls, StringView key) {
  const Class* classes[] = {&cls};
  return decodeObjectOfClasses(classes, key);
}

void Coder::failWithError(ErrorPtr error) {
  if (!error) return;
  if (decodingFailurePolicy() == DecodingFailurePolicy::RaiseException) {
    throw Exception(u"NSInvalidUnarchiveOperationException", error->localizedDescription());
  }
  if (!error_) error_ = std::move(error);
}

std::optional<String> Coder::decodeStringForKey(StringView key) {
  Value v = decodeObjectForKey(key);
  if (const SharedString* s = v.asString()) return s->str();
  return std::nullopt;
}

}  // namespace lx
