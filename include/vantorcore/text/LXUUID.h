// `LXUUID`: an immutable, copyable, archivable universally unique identifier.
//
// Text form: 36 upper-case hexadecimal digits in groups 8-4-4-4-12.
//   parse  "68753a44-4d6f-1226-9c60-0050e4c00067" => 68753A44-4D6F-1226-9C60-0050E4C00067
//   parse  "68753A44-4D6F-1226-9C60-0050E4C00067" => the same value
//   parse  "68753A444D6F12269C600050E4C00067"    => absent (hyphens required)
// Archived form: the text under "UUID" (keyed coders) or as the one unkeyed
// object. All operations are thread-safe: the value never changes.
#pragma once

#include "vantorcore/Export.h"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>

#include "vantorcore/platform/Coder.h"
#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/String.h"

namespace LX_API lx {

class LXUUID : public Object, public SecureCoding {
  LX_DECLARE_CLASS(LXUUID)

 public:
  /// The 16 bytes of a UUID value, shared by copies.
  using Bytes = std::array<std::uint8_t, 16>;
  /// The 16 bytes, shared between copies.
  using BytesPtr = std::shared_ptr<const Bytes>;

  /// A new random (version 4, RFC 4122 variant) UUID from the kernel's
  /// random source.
  static std::shared_ptr<LXUUID> UUID();
  /// Parses the text form in either case; absent for anything else, with
  /// the line "CONDITION FAILED: couldn't create UUID from string".
  static std::shared_ptr<LXUUID> UUIDWithString(StringView text);
  /// Shares an existing value; absent for a null value, with the line
  /// "CONDITION FAILED: UUID is NULL".
  static std::shared_ptr<LXUUID> UUIDWithBytes(BytesPtr bytes);

  /// Reads the text under "UUID" (or the next unkeyed object) and parses it
  /// as `UUIDWithString` does: absent, with its log line, when it is
  /// missing, not a string or malformed.
  static std::shared_ptr<LXUUID> initWithCoder(Coder& coder);
  void encodeWithCoder(Coder& coder) const override;

  /// A new object sharing this one's value (the bytes are not duplicated).
  [[nodiscard]] std::shared_ptr<LXUUID> copy() const;

  /// The UUID's 16 bytes.
  [[nodiscard]] const BytesPtr& bytes() const noexcept { return bytes_; }
  /// The canonical upper-case text form.
  [[nodiscard]] String stringValue() const;
  /// "<<LXUUID: 0x…>: 68753A44-4D6F-1226-9C60-0050E4C00067>".
  [[nodiscard]] String description() const override;
  /// Equal to another `LXUUID` (or subclass) holding the same 16 bytes.
  [[nodiscard]] bool isEqual(const Object& other) const override;
  /// A hash of the 16 bytes, so equal UUIDs hash alike.
  [[nodiscard]] std::size_t hash() const noexcept override;

  /// Use the factories; public only for `std::make_shared`.
  explicit LXUUID(BytesPtr bytes) : bytes_(std::move(bytes)) {}

 private:
  BytesPtr bytes_;
};

}  // namespace lx
