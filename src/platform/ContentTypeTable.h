// The built-in content types that every registry starts from.
#pragma once

#include <span>

#include "vantorcore/platform/String.h"

namespace lx::detail {

/// One built-in type; the lists are space-separated, preferred tag first.
struct BuiltInContentType {
  StringView identifier;
  StringView conformsTo;
  StringView extensions;
  StringView mimeTypes;
};

/// The table, in the order that breaks ties between built-in types.
std::span<const BuiltInContentType> builtInContentTypes() noexcept;

}  // namespace lx::detail
