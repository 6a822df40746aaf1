// Type-identifier overrides in the form of the platform's newer interface:
// statics that set and read overrides by tag kind, and "initialisers" that
// make a type from a tag considering the overrides. Each is the operation of
// ContentType+Overrides.h with the same name in other words (same tables,
// same locks, same rules). Every function may be called from any thread.
//
//   ContentTypeOverrides::setOverride(ContentType::plainText(), FilenameExtension{u"conf"});
//   auto type = ContentTypeOverrides::type(FilenameExtension{u"conf"});  // public.plain-text
#pragma once

#include "vantorcore/Export.h"

#include <optional>
#include <vector>

#include "vantorcore/files/ContentType+Overrides.h"

namespace LX_API lx {

/// A filename extension (without the dot), as a tag of its class.
struct FilenameExtension {
  /// The extension, without the dot.
  StringView value;
};
/// A MIME type, as a tag of its class.
struct MIMEType {
  /// The MIME type, such as "text/plain".
  StringView value;
};

/// The type-override functions as one class, with the tag class chosen by overloading.
class ContentTypeOverrides {
 public:
  /// Sets (or, with an absent type, removes) the override for a tag.
  static void setOverride(const std::optional<ContentType>& type, StringView tag,
                          StringView tagClass) {
    lx_setTypeOverride(type, tag, tagClass);
  }
  /// Sets or, with an absent type, removes the override for a tag.
  ///@{
  static void setOverride(const std::optional<ContentType>& type, FilenameExtension extension) {
    lx_setTypeOverrideForFilenameExtension(type, extension.value);
  }
  static void setOverride(const std::optional<ContentType>& type, MIMEType mimeType) {
    lx_setTypeOverrideForMIMEType(type, mimeType.value);
  }
  ///@}

  /// The override stored for a tag, or absent.
  static std::optional<ContentType> overrideType(StringView tag, StringView tagClass) {
    return lx_typeOverrideForTag(tag, tagClass);
  }
  /// The stored override for a tag; absent when there is none.
  ///@{
  static std::optional<ContentType> overrideType(FilenameExtension extension) {
    return lx_typeOverrideForFilenameExtension(extension.value);
  }
  static std::optional<ContentType> overrideType(MIMEType mimeType) {
    return lx_typeOverrideForMIMEType(mimeType.value);
  }
  ///@}

  /// The type for a tag considering the overrides.
  static std::optional<ContentType> type(StringView tag, StringView tagClass,
                                         const std::optional<ContentType>& conformingTo) {
    return lx_typeConsideringOverridesWithTag(tag, tagClass, conformingTo);
  }
  /// The override when there is one, else the type the registry reports below `supertype`.
  ///@{
  static std::optional<ContentType> type(
      FilenameExtension extension,
      const std::optional<ContentType>& conformingTo = ContentType::data()) {
    return lx_typeConsideringOverridesWithFilenameExtension(extension.value, conformingTo);
  }
  static std::optional<ContentType> type(
      MIMEType mimeType, const std::optional<ContentType>& conformingTo = ContentType::data()) {
    return lx_typeConsideringOverridesWithMIMEType(mimeType.value, conformingTo);
  }
  ///@}

  /// The type's direct supertypes and declaring bundle, as properties.
  static std::vector<ContentType> directSupertypes(const ContentType& type) {
    return lx_directSupertypes(type);
  }
  /// The URL of the bundle that declares `type`; absent for built-in and system types.
  static std::optional<URL> declaringBundleURL(const ContentType& type) {
    return lx_declaringBundleURL(type);
  }
};

}  // namespace lx
