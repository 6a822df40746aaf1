#include "vantorcore/files/LXTypeOverrideFunctions.h"

#include "vantorcore/files/ContentType+Overrides.h"

namespace lx {

namespace {

std::optional<String> identifierOf(const std::optional<ContentType>& type) {
  if (!type) return std::nullopt;
  return type->identifier();
}

}  // namespace

std::optional<String> LXTypeCreatePreferredIdentifierForTag(
    StringView tagClass, StringView tag, std::optional<StringView> conformingToIdentifier) {
  std::optional<ContentType> constraint;
  if (conformingToIdentifier) constraint = ContentType::typeWithIdentifier(*conformingToIdentifier);
  return identifierOf(lx_typeConsideringOverridesWithTag(tag, tagClass, constraint));
}

std::optional<String> LXTypeGetOverrideIdentifierForTag(StringView tagClass, StringView tag) {
  return identifierOf(lx_typeOverrideForTag(tag, tagClass));
}

void LXTypeRegisterOverrideIdentifierForTag(StringView identifier, StringView tagClass,
                                            StringView tag) {
  lx_setTypeOverride(ContentType::typeWithIdentifier(identifier), tag, tagClass);
}

void LXTypeUnregisterOverrideIdentifierForTag(StringView tagClass, StringView tag) {
  lx_setTypeOverride(std::nullopt, tag, tagClass);
}

}  // namespace lx
