// `Coder`: the one abstract keyed coder that every archiver and unarchiver of
// the library implements, so that a model class writes its `encodeWithCoder`
// and `initWithCoder` once and works with all of them.
//
// A coder is either writing (the `encode…` half) or reading (the `decode…`
// half). Calling the other half is a programming error and throws
// `InvalidArgumentException`, as the platform's abstract coder does. A coder
// is used by one thread at a time.
#pragma once

#include <cstdint>
#include <optional>

#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/String.h"
#include "vantorcore/platform/Value.h"

namespace lx {

class Coder {
 public:
  Coder() = default;
  Coder(const Coder&) = delete;
  Coder& operator=(const Coder&) = delete;
  virtual ~Coder();

  /// True for keyed coders (all of the library's); an unkeyed coder reads and
  /// writes values in order through `encodeObject(value)` / `decodeObject()`.
  [[nodiscard]] virtual bool allowsKeyedCoding() const { return true; }

  // -- Writing ---------------------------------------------------------------

  /// Writes `object` (any `Value`: strings, numbers, data, dates, arrays,
  /// dictionaries, objects) under `key`. A null value writes nothing.
  virtual void encodeObject(const Value& object, StringView key);
  virtual void encodeBool(bool value, StringView key);
  virtual void encodeInt32(std::int32_t value, StringView key);
  virtual void encodeInt64(std::int64_t value, StringView key);
  virtual void encodeDouble(double value, StringView key);
  virtual void encodeFloat(float value, StringView key);
  /// `encodeObject(Value(value), key)` unless a coder stores text specially.
  virtual void encodeString(StringView value, StringView key);
  /// `encodeInt32`: `int` is 32 bits on every platform the library targets.
  void encodeInt(int value, StringView key) { encodeInt32(value, key); }
  /// Writes the next unkeyed value; for keyed archivers, the root object.
  virtual void encodeObject(const Value& object);

  // -- Reading ---------------------------------------------------------------

  /// Whether the value being decoded has an entry for `key`.
  [[nodiscard]] virtual bool containsValueForKey(StringView key);
  /// The value under `key`, or null when there is none.
  virtual Value decodeObjectForKey(StringView key);
  /// The scalar under `key`; false or 0 when there is none or it is not a
  /// number (coders may convert text, see each coder).
  virtual bool decodeBoolForKey(StringView key);
  virtual std::int32_t decodeInt32ForKey(StringView key);
  virtual std::int64_t decodeInt64ForKey(StringView key);
  virtual double decodeDoubleForKey(StringView key);
  virtual float decodeFloatForKey(StringView key);
  /// `decodeInt32ForKey`.
  int decodeIntForKey(StringView key) { return decodeInt32ForKey(key); }
  /// The string under `key`, or absent when there is none or it is not text.
  std::optional<String> decodeStringForKey(StringView key);
  /// The value under `key` when it is an object of class `T` (or a subclass);
  /// null otherwise.
  template <class T>
  std::shared_ptr<T> decodeObjectOfClassForKey(StringView key) {
    return decodeObjectForKey(key).objectAs<T>();
  }
  /// Reads the next unkeyed value; for keyed unarchivers, the root object.
  virtual Value decodeObject();

 protected:
  /// Throws the `InvalidArgumentException` for an operation this coder does
  /// not implement ("-[LXJSONKeyedArchiver decodeObjectForKey:] ...").
  [[noreturn]] void unsupported(const char* operation) const;
  /// The coder's class name for messages.
  [[nodiscard]] virtual String coderName() const { return u"Coder"; }
};

}  // namespace lx
