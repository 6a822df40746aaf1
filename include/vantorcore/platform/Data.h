// Byte buffers: the platform's data objects.
#pragma once

#include "vantorcore/Export.h"

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace LX_API lx {

/// Bytes, owned.
using Data = std::vector<std::uint8_t>;
/// Bytes, borrowed; valid while their owner is.
using DataView = std::span<const std::uint8_t>;

/// The bytes of `text`, as a data object.
inline Data dataFromBytes(std::string_view text) { return Data(text.begin(), text.end()); }

/// The bytes as a `std::string_view` (no copy).
inline std::string_view asStringView(DataView data) noexcept {
  return {reinterpret_cast<const char*>(data.data()), data.size()};
}

}  // namespace lx
