// `Coder`: the one abstract keyed coder that every archiver and unarchiver of
// the library implements, so that a model class writes its `encodeWithCoder`
// and `initWithCoder` once and works with all of them.
//
// A coder is either writing (the `encode…` half) or reading (the `decode…`
// half). Calling the other half, or an operation a coder does not offer, is
// a programming error and throws `InvalidArgumentException`, as the
// platform's abstract coder does. A coder is used by one thread at a time.
//
// Keyless (positional) coding takes a type encoding and an address, as the
// platform does:
//   "@"  a `Value`            (`const Value*` to write, `Value*` to read)
//   "*"  a C string           (`const char* const*` to write; reading stores
//                              a `const char*` owned by the coder, valid as
//                              long as the coder lives, or null)
//   "#"  a class              (`const Class* const*` / `const Class**`)
//   scalars of `BoxedValue`   (the scalar itself, e.g. `const std::int32_t*`)
// The size given when reading must be the size of the type at the address.
//
// Decoding failures (a value of a class that is not allowed, a corrupt
// archive) are reported through `failWithError`, which follows
// `decodingFailurePolicy`: raise, or keep the error in `error()` and let the
// decode call return null or 0.
#pragma once

#include "vantorcore/Export.h"

#include <cstdint>
#include <optional>
#include <span>

#include "vantorcore/platform/Data.h"
#include "vantorcore/platform/Error.h"
#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/String.h"
#include "vantorcore/platform/Value.h"

namespace LX_API lx {

/// What a coder does when decoding fails, with the platform's values.
enum class DecodingFailurePolicy {
  /// Throw `Exception` named "NSInvalidUnarchiveOperationException".
  RaiseException = 0,
  /// Keep the error in `Coder::error()` and return null or 0.
  SetErrorAndReturn = 1,
};

/// Codes of `NSCocoaErrorDomain` for coders, with the platform's values.
///@{
inline constexpr std::int64_t NSCoderReadCorruptError = 4864;
inline constexpr std::int64_t NSCoderValueNotFoundError = 4865;
inline constexpr std::int64_t NSCoderInvalidValueError = 4866;
///@}

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
  /// Writes a boolean under `key`.
  virtual void encodeBool(bool value, StringView key);
  /// Writes a 32-bit integer under `key`.
  virtual void encodeInt32(std::int32_t value, StringView key);
  /// Writes a 64-bit integer under `key`.
  virtual void encodeInt64(std::int64_t value, StringView key);
  /// Writes a double under `key`.
  virtual void encodeDouble(double value, StringView key);
  /// Writes a float under `key` (coders that keep only doubles widen it).
  virtual void encodeFloat(float value, StringView key);
  /// `encodeObject(Value(value), key)` unless a coder stores text specially.
  virtual void encodeString(StringView value, StringView key);
  /// `encodeInt32`: `int` is 32 bits on every platform the library targets.
  void encodeInt(int value, StringView key) { encodeInt32(value, key); }
  /// Writes the next unkeyed value; for keyed archivers, the root object.
  virtual void encodeObject(const Value& object);
  /// Writes `object` only if something else writes it unconditionally; the
  /// default (and coders without that notion) write it as `encodeObject`.
  virtual void encodeConditionalObject(const Value& object, StringView key);
  /// Writes `bytes` under `key`, read back by `decodeBytesForKey`.
  virtual void encodeBytes(DataView bytes, StringView key);
  /// Writes the next keyless value of `type` found at `address` (see the
  /// table at the top of this file).
  virtual void encodeValueOfObjCType(const char* type, const void* address);
  /// Writes `data` as the next keyless object.
  void encodeDataObject(const Data& data);

  // -- Reading ---------------------------------------------------------------

  /// Whether the value being decoded has an entry for `key`.
  [[nodiscard]] virtual bool containsValueForKey(StringView key);
  /// The value under `key`, or null when there is none.
  virtual Value decodeObjectForKey(StringView key);
  /// The scalar under `key`; false or 0 when there is none or it is not a
  /// number (coders may convert text, see each coder).
  virtual bool decodeBoolForKey(StringView key);
  /// The 32-bit integer under `key`, as `decodeBoolForKey` describes.
  virtual std::int32_t decodeInt32ForKey(StringView key);
  /// The 64-bit integer under `key`, as `decodeBoolForKey` describes.
  virtual std::int64_t decodeInt64ForKey(StringView key);
  /// The double under `key`, as `decodeBoolForKey` describes.
  virtual double decodeDoubleForKey(StringView key);
  /// The float under `key`, as `decodeBoolForKey` describes.
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
  /// The bytes written by `encodeBytes` under `key` (their length is the
  /// data's size), or absent when there are none.
  virtual std::optional<Data> decodeBytesForKey(StringView key);
  /// Reads the next keyless value of `type` into `address`, which holds
  /// `size` bytes. False, with `address` untouched, when there is no next
  /// value, it is not of `type`, or `size` is not the type's size.
  virtual bool decodeValueOfObjCType(const char* type, void* address, std::size_t size);
  /// The next keyless object as data, or absent when it is not data.
  std::optional<Data> decodeDataObject();

  /// `decodeObjectForKey`, restricted to values of one of `classes` (or
  /// their subclasses, see ValueClasses.h for plain values) when the coder
  /// `requiresSecureCoding`. A value of another class fails with
  /// `NSCoderReadCorruptError` (see `failWithError`) and gives null.
  virtual Value decodeObjectOfClasses(std::span<const Class* const> classes, StringView key);
  /// `decodeObjectOfClasses` with one class.
  Value decodeObjectOfClass(const Class& cls, StringView key);

  /// Whether decoding checks classes (and encoding refuses objects whose
  /// class does not support secure coding). False unless a coder says more.
  [[nodiscard]] virtual bool requiresSecureCoding() const { return false; }
  /// The platform's abstract coder raises.
  [[nodiscard]] virtual DecodingFailurePolicy decodingFailurePolicy() const {
    return DecodingFailurePolicy::RaiseException;
  }
  /// The first decoding failure, or null.
  [[nodiscard]] const ErrorPtr& error() const noexcept { return error_; }
  /// Reports a decoding failure: throws under `RaiseException` (the
  /// exception's reason is the error's description), else keeps the first
  /// error, which explains the others, in `error()`.
  void failWithError(ErrorPtr error);

 protected:
  /// Throws the `InvalidArgumentException` for an operation this coder does
  /// not implement ("-[LXJSONKeyedArchiver decodeObjectForKey:] ...").
  [[noreturn]] void unsupported(const char* operation) const;
  /// The coder's class name for messages.
  [[nodiscard]] virtual String coderName() const { return u"Coder"; }
  /// Forgets the kept error, for coders that can be reused.
  void clearError() noexcept { error_.reset(); }

 private:
  ErrorPtr error_;
};

}  // namespace lx
