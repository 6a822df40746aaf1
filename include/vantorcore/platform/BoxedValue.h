// `BoxedValue`: a scalar kept as its type-encoding text and raw bytes, the
// platform's value box. Coders use it to carry values that have no `Value`
// kind of their own (keyless coding of C scalars, archived value records).
//
// Encodings and their sizes (bytes in the machine's order, little-endian on
// every target of the library):
//   "c" "C" "B" => 1    "s" "S" => 2    "i" "I" "l" "L" "f" => 4
//   "q" "Q" "d" => 8
// "l" and "L" are the platform's 32-bit long encodings. Pointer encodings
// ("@", "#", "*", ":") and structures are not boxed: they have no bytes that
// mean anything outside the process.
//
// Immutable once made, so every operation is thread-safe.
#pragma once

#include "vantorcore/Export.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "vantorcore/platform/Data.h"
#include "vantorcore/platform/Object.h"

namespace LX_API lx {

class BoxedValue : public Object {
  LX_DECLARE_CLASS(BoxedValue)

 public:
  /// The byte size of a scalar encoding from the table above, or absent for
  /// any other text (including the empty one).
  static std::optional<std::size_t> sizeOfObjCType(std::string_view type) noexcept;

  /// A box of `bytes` for `type`; null when the type is not a scalar
  /// encoding or the byte count differs from its size.
  static std::shared_ptr<BoxedValue> valueWithBytes(std::string_view type, DataView bytes);

  /// Typed constructors, each with its encoding.
  ///@{
  static std::shared_ptr<BoxedValue> valueWithBool(bool value);             // "B"
  static std::shared_ptr<BoxedValue> valueWithInt32(std::int32_t value);    // "i"
  static std::shared_ptr<BoxedValue> valueWithInt64(std::int64_t value);    // "q"
  static std::shared_ptr<BoxedValue> valueWithUInt64(std::uint64_t value);  // "Q"
  static std::shared_ptr<BoxedValue> valueWithFloat(float value);           // "f"
  static std::shared_ptr<BoxedValue> valueWithDouble(double value);         // "d"
  ///@}

  /// The type-encoding text ("i", "q", ...).
  [[nodiscard]] const std::string& objCType() const noexcept { return type_; }
  /// The raw bytes, exactly `sizeOfObjCType(objCType())` of them.
  [[nodiscard]] DataView bytes() const noexcept { return bytes_; }
  /// Copies the bytes to `buffer`; false (and nothing copied) when `size`
  /// differs from the encoding's size.
  bool getValue(void* buffer, std::size_t size) const noexcept;

  /// Typed readers: the value when the box holds exactly that encoding,
  /// absent otherwise (no conversions between encodings).
  ///@{
  [[nodiscard]] std::optional<bool> boolValue() const noexcept;
  [[nodiscard]] std::optional<std::int32_t> int32Value() const noexcept;
  [[nodiscard]] std::optional<std::int64_t> int64Value() const noexcept;
  [[nodiscard]] std::optional<std::uint64_t> uint64Value() const noexcept;
  [[nodiscard]] std::optional<float> floatValue() const noexcept;
  [[nodiscard]] std::optional<double> doubleValue() const noexcept;
  ///@}
  /// The scalar as a plain number: "B" a bool, signed encodings an
  /// integer, unsigned ones an unsigned integer, "f" and "d" a real.
  [[nodiscard]] Value numberValue() const noexcept;

  /// The bytes in hexadecimal between angle brackets, as the platform
  /// prints boxes: an "i" of 42 => "<2a000000>".
  [[nodiscard]] String description() const override;
  /// Equal to a box with the same encoding and bytes.
  [[nodiscard]] bool isEqual(const Object& other) const override;
  [[nodiscard]] std::size_t hash() const noexcept override;

  /// Use the factories; public only for `std::make_shared`.
  BoxedValue(std::string type, Data bytes) : type_(std::move(type)), bytes_(std::move(bytes)) {}

 private:
  template <class T>
  std::optional<T> read(std::string_view type) const noexcept;

  std::string type_;
  Data bytes_;
};

}  // namespace lx
