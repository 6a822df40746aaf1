// The UTF-8 byte-order mark (EF BB BF) at the start of byte buffers.
#pragma once

#include "vantorcore/Export.h"

#include "vantorcore/platform/Data.h"

namespace LX_API lx {

/// True when `data` begins with EF BB BF.
bool lx_hasUTF8BOM(DataView data) noexcept;

/// `data` itself when it already begins with the mark, otherwise the mark
/// followed by `data`; so applying it twice adds the mark once.
Data lx_dataWithUTF8BOM(DataView data);

}  // namespace lx
