#include "vantorcore/platform/Coder.h"

#include "vantorcore/platform/Exception.h"

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

bool Coder::containsValueForKey(StringView) { unsupported("containsValueForKey:"); }
Value Coder::decodeObjectForKey(StringView) { unsupported("decodeObjectForKey:"); }
bool Coder::decodeBoolForKey(StringView) { unsupported("decodeBoolForKey:"); }
std::int32_t Coder::decodeInt32ForKey(StringView) { unsupported("decodeInt32ForKey:"); }
std::int64_t Coder::decodeInt64ForKey(StringView) { unsupported("decodeInt64ForKey:"); }
double Coder::decodeDoubleForKey(StringView) { unsupported("decodeDoubleForKey:"); }
float Coder::decodeFloatForKey(StringView) { unsupported("decodeFloatForKey:"); }
Value Coder::decodeObject() { unsupported("decodeObject"); }

std::optional<String> Coder::decodeStringForKey(StringView key) {
  Value v = decodeObjectForKey(key);
  if (const SharedString* s = v.asString()) return s->str();
  return std::nullopt;
}

}  // namespace lx
