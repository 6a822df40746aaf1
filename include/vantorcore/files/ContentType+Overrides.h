// The library's additions to `ContentType`: a process-wide table of
// overrides that map a tag (a filename extension or a MIME type) to a type
// of the host's choosing, a cache of the registry's answers, and lookups that
// consult the overrides first.
//
// Two tables, each behind its own lock, and no operation holds both:
// - overrides, by tag class and then by tag;
// - the lookup cache, by tag and then by tag class (the opposite nesting),
//   holding at most `kTypeLookupCacheCountLimit` tags: adding one more
//   empties it first, as an evictable cache may.
// Tags and tag classes are compared exactly as given (an override for "txt"
// does not apply to "TXT"; the registry behind the cache ignores case).
//
// The cache key is the tag and class only: the constraint of the first
// successful lookup decides the cached answer, and later lookups of the same
// tag and class with another constraint receive that type. Overrides win even
// against a constraint they do not conform to. Absent answers are not cached.
//
// The same operations exist as the four `LXType…` functions working on
// identifiers (LXTypeOverrideFunctions.h) and as statics of
// `ContentTypeOverrides` (ContentTypeOverrides.h). Every function may be
// called from any thread.
#pragma once

#include "vantorcore/Export.h"

#include <cstddef>
#include <optional>
#include <vector>

#include "vantorcore/platform/ContentType.h"
#include "vantorcore/platform/URL.h"

namespace LX_API lx {

/// The most tags the lookup cache holds before it is emptied.
inline constexpr std::size_t kTypeLookupCacheCountLimit = 10000;

/// Stores `type` as the override for (`tagClass`, `tag`); an absent type
/// removes it. Nothing happens when `tag` or `tagClass` is empty.
void lx_setTypeOverride(const std::optional<ContentType>& type, StringView tag,
                        StringView tagClass);
/// `lx_setTypeOverride` for `UTTagClassFilenameExtension` / `UTTagClassMIMEType`.
///@{
void lx_setTypeOverrideForFilenameExtension(const std::optional<ContentType>& type,
                                            StringView extension);
void lx_setTypeOverrideForMIMEType(const std::optional<ContentType>& type, StringView mimeType);
///@}

/// The stored override, or absent (always for an empty tag or tag class).
///@{
std::optional<ContentType> lx_typeOverrideForTag(StringView tag, StringView tagClass);
std::optional<ContentType> lx_typeOverrideForFilenameExtension(StringView extension);
std::optional<ContentType> lx_typeOverrideForMIMEType(StringView mimeType);
///@}

/// The override for (`tagClass`, `tag`) when there is one, else the cached
/// answer, else `ContentType::typeWithTag(tag, tagClass, supertype)`, which
/// is then cached when present. Absent for an empty tag or tag class.
///   override 'txt' => public.plain-text; ('txt', public.image) => public.plain-text
///@{
std::optional<ContentType> lx_typeConsideringOverridesWithTag(
    StringView tag, StringView tagClass, const std::optional<ContentType>& supertype);
std::optional<ContentType> lx_typeConsideringOverridesWithFilenameExtension(
    StringView extension, const std::optional<ContentType>& supertype = ContentType::data());
std::optional<ContentType> lx_typeConsideringOverridesWithMIMEType(
    StringView mimeType, const std::optional<ContentType>& supertype = ContentType::data());
///@}

/// The types that `type`'s declaration names under `kUTTypeConformsToKey`:
/// one for a single identifier, one per identifier of an array (identifiers
/// that name no type are skipped), none otherwise. No duplicates.
std::vector<ContentType> lx_directSupertypes(const ContentType& type);

/// The URL of what declares the type (`ContentType::declaringBundleURL`).
std::optional<URL> lx_declaringBundleURL(const ContentType& type);

/// Empties the lookup cache, as a host does after
/// `ContentType::reloadRegistry`. Overrides are kept.
void lx_removeAllCachedTypeLookups();

}  // namespace lx
