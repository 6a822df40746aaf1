// Type-identifier overrides as free functions on identifier strings, shaped
// like the platform's older type-identifier functions. Each is a thin form
// of an operation in ContentType+Overrides.h (same tables, same locks); see
// there for the rules. Every function may be called from any thread.
#pragma once

#include "vantorcore/Export.h"

#include <optional>

#include "vantorcore/platform/String.h"

namespace LX_API lx {

/// The identifier of `lx_typeConsideringOverridesWithTag(tag, tagClass, T)`,
/// where T is the type named `conformingToIdentifier` (no constraint when it
/// is absent or names no type). Absent for an empty tag or tag class.
///   (extension, 'png', 'public.data')  => 'public.png'
std::optional<String> LXTypeCreatePreferredIdentifierForTag(
    StringView tagClass, StringView tag, std::optional<StringView> conformingToIdentifier);

/// The identifier of the override stored for (`tagClass`, `tag`), or absent.
std::optional<String> LXTypeGetOverrideIdentifierForTag(StringView tagClass, StringView tag);

/// Stores the type named `identifier` as the override for (`tagClass`,
/// `tag`). An identifier that names no type stores nothing and removes the
/// override there was, as setting an absent type does.
void LXTypeRegisterOverrideIdentifierForTag(StringView identifier, StringView tagClass,
                                            StringView tag);

/// Removes the override for (`tagClass`, `tag`).
void LXTypeUnregisterOverrideIdentifierForTag(StringView tagClass, StringView tag);

}  // namespace lx
