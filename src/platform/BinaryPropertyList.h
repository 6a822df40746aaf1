// The binary property-list format ("bplist00"), read and written directly:
// the backing library's binary codec measures strings with strlen and so
// cuts them at U+0000, and copies every shared object.
#pragma once

#include <cstddef>
#include <optional>

#include "vantorcore/platform/Data.h"
#include "vantorcore/platform/String.h"
#include "vantorcore/platform/Value.h"

namespace lx::detail {

/// The value of a binary document, or absent with `failure` set to a short
/// reason. Refuses nesting deeper than `maximumDepth`, cycles, references
/// outside the document, and shared objects that would expand into more
/// than `extraObjects` objects beyond those the document holds and the
/// bytes of its object area (a bound on its references). Shared
/// objects are read once and share their storage in the result.
std::optional<Value> readBinaryPropertyList(DataView data, std::size_t maximumDepth,
                                            std::size_t extraObjects, String* failure);

/// The binary document of `value`, or absent with `failure` set to the
/// reason (null, objects, nesting beyond `maximumDepth`). Equal strings and
/// integers are written once. A one-entry dictionary {"CF$UID": n} with a
/// non-negative integer n becomes a UID.
std::optional<Data> writeBinaryPropertyList(const Value& value, std::size_t maximumDepth,
                                            String* failure);

}  // namespace lx::detail
