// `KeylessCoding`: the conversion between keyless (positional) coding's
// type encodings and addresses and the values a keyed coder stores, shared
// by the coders that implement `encodeValueOfObjCType` and
// `decodeValueOfObjCType` (see Coder.h for what each address holds).
//
//   write "@" at &value           => value
//   write "*" at &"text"          => "text" (a null C string => null)
//   write "#" at &cls             => the class name (a null class => null)
//   write "i" at &int32           => BoxedValue "i"
//   write "{x=i}" or "^v"         => absent: nothing a coder can store
//
// One object per coder: C strings handed out by `read` stay valid as long as
// it lives. Not thread-safe, like the coders that own it.
#pragma once

#include "vantorcore/Export.h"

#include <cstddef>
#include <deque>
#include <optional>
#include <string>

#include "vantorcore/platform/Value.h"

namespace LX_API lx {

class KeylessCoding {
 public:
  /// The value to store for a keyless write of `type` at `address` (table
  /// above), or absent for types without a stored form.
  static std::optional<Value> valueForObjCType(const char* type, const void* address);

  /// Stores `value` at `address` (which holds `size` bytes) as `type`.
  /// Scalars accept a box of the same encoding or a number (converted as a
  /// C cast would); "*" accepts a string (or null, giving a null pointer);
  /// "#" a class name that the registry knows (or null). False, with
  /// `address` untouched, for any other value, type or size.
  bool read(const Value& value, const char* type, void* address, std::size_t size);

 private:
  // C strings handed out by `read`; a deque so earlier ones never move.
  std::deque<std::string> cStrings_;
};

}  // namespace lx
