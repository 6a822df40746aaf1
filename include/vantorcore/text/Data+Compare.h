// Prefix and suffix tests on byte buffers.
#pragma once

#include "vantorcore/Export.h"

#include "vantorcore/platform/Data.h"

namespace LX_API lx {

/// True when `data` begins with `prefix`. An empty prefix is never found
/// (a search for no bytes finds nothing).
bool lx_hasPrefix(DataView data, DataView prefix) noexcept;

/// True when `data` ends with `suffix`; an empty suffix is never found.
bool lx_hasSuffix(DataView data, DataView suffix) noexcept;

}  // namespace lx
