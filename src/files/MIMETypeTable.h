// The built-in extension-to-MIME table behind `lx_MIMETypeForFilename`, kept
// apart so that the content-type registry can take its place.
#pragma once

#include <optional>

#include "vantorcore/platform/String.h"

namespace lx::detail {

/// The preferred MIME type for a lower-case extension without its dot, or
/// absent when the table has none.
std::optional<StringView> mimeTypeForExtension(StringView lowercaseExtension);

}  // namespace lx::detail
