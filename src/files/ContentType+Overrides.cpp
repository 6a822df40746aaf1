#include "vantorcore/files/ContentType+Overrides.h"

#include <algorithm>
#include <mutex>

#include "files/TypeLookupTables.h"
#include "vantorcore/platform/StringMap.h"

namespace lx {

namespace {

using detail::StringMap;

// Tag class => tag => type. A tag class has few entries, so the outer level
// is a short list.
struct OverrideTable {
  std::mutex lock;
  std::vector<std::pair<String, StringMap<ContentType>>> byClass;

  StringMap<ContentType>* tagsOf(StringView tagClass) {
    for (auto& [cls, tags] : byClass) {
      if (cls == tagClass) return &tags;
    }
    return nullptr;
  }
};

// Tag => tag class => type: the opposite nesting of the overrides.
struct LookupCache {
  std::mutex lock;
  StringMap<std::vector<std::pair<String, ContentType>>> byTag;
};

// Made at first use and never destroyed, so lookups from threads that
// outlive static destruction stay safe.
OverrideTable& overrides() {
  static auto* table = new OverrideTable;
  return *table;
}

LookupCache& lookupCache() {
  static auto* cache = new LookupCache;
  return *cache;
}

detail::KeyTree sortedKeys(const auto& outer, const auto& innerKeys) {
  detail::KeyTree tree;
  for (const auto& [key, inner] : outer) tree.emplace_back(key, innerKeys(inner));
  for (auto& entry : tree) std::sort(entry.second.begin(), entry.second.end());
  std::sort(tree.begin(), tree.end());
  return tree;
}

}  // namespace

void lx_setTypeOverride(const std::optional<ContentType>& type, StringView tag,
                        StringView tagClass) {
  if (tag.empty() || tagClass.empty()) return;
  OverrideTable& table = overrides();
  std::lock_guard lock(table.lock);
  StringMap<ContentType>* tags = table.tagsOf(tagClass);
  if (!type) {
    if (tags) {
      if (const auto it = tags->find(tag); it != tags->end()) tags->erase(it);
    }
    return;
  }
  if (!tags) tags = &table.byClass.emplace_back(String(tagClass), StringMap<ContentType>()).second;
  tags->insert_or_assign(String(tag), *type);
}

void lx_setTypeOverrideForFilenameExtension(const std::optional<ContentType>& type,
                                            StringView extension) {
  lx_setTypeOverride(type, extension, UTTagClassFilenameExtension);
}

void lx_setTypeOverrideForMIMEType(const std::optional<ContentType>& type, StringView mimeType) {
  lx_setTypeOverride(type, mimeType, UTTagClassMIMEType);
}

std::optional<ContentType> lx_typeOverrideForTag(StringView tag, StringView tagClass) {
  if (tag.empty() || tagClass.empty()) return std::nullopt;
  OverrideTable& table = overrides();
  std::lock_guard lock(table.lock);
  const StringMap<ContentType>* tags = table.tagsOf(tagClass);
  if (!tags) return std::nullopt;
  const auto it = tags->find(tag);
  if (it == tags->end()) return std::nullopt;
  return it->second;
}

std::optional<ContentType> lx_typeOverrideForFilenameExtension(StringView extension) {
  return lx_typeOverrideForTag(extension, UTTagClassFilenameExtension);
}

std::optional<ContentType> lx_typeOverrideForMIMEType(StringView mimeType) {
  return lx_typeOverrideForTag(mimeType, UTTagClassMIMEType);
}

std::optional<ContentType> lx_typeConsideringOverridesWithTag(
    StringView tag, StringView tagClass, const std::optional<ContentType>& supertype) {
  if (tag.empty() || tagClass.empty()) return std::nullopt;
  if (auto type = lx_typeOverrideForTag(tag, tagClass)) return type;
  LookupCache& cache = lookupCache();
  std::lock_guard lock(cache.lock);
  auto tagEntry = cache.byTag.find(tag);
  if (tagEntry != cache.byTag.end()) {
    for (const auto& [cls, type] : tagEntry->second) {
      if (cls == tagClass) return type;
    }
  }
  auto type = ContentType::typeWithTag(tag, tagClass, supertype);
  if (!type) return type;
  if (tagEntry == cache.byTag.end()) {
    if (cache.byTag.size() >= kTypeLookupCacheCountLimit) cache.byTag.clear();
    tagEntry = cache.byTag.try_emplace(String(tag)).first;
  }
  tagEntry->second.emplace_back(String(tagClass), *type);
  return type;
}

std::optional<ContentType> lx_typeConsideringOverridesWithFilenameExtension(
    StringView extension, const std::optional<ContentType>& supertype) {
  return lx_typeConsideringOverridesWithTag(extension, UTTagClassFilenameExtension, supertype);
}

std::optional<ContentType> lx_typeConsideringOverridesWithMIMEType(
    StringView mimeType, const std::optional<ContentType>& supertype) {
  return lx_typeConsideringOverridesWithTag(mimeType, UTTagClassMIMEType, supertype);
}

std::vector<ContentType> lx_directSupertypes(const ContentType& type) {
  std::vector<ContentType> supertypes;
  const auto add = [&](const Value& identifier) {
    const SharedString* text = identifier.asString();
    if (!text) return;
    auto supertype = ContentType::typeWithIdentifier(*text);
    if (supertype &&
        std::find(supertypes.begin(), supertypes.end(), *supertype) == supertypes.end()) {
      supertypes.push_back(std::move(*supertype));
    }
  };
  const Dictionary declaration = type.declaration();
  const Value& conformsTo = declaration[kUTTypeConformsToKey];
  if (conformsTo.isString()) {
    add(conformsTo);
  } else if (const Array* identifiers = conformsTo.asArray()) {
    for (const Value& identifier : *identifiers) add(identifier);
  }
  return supertypes;
}

std::optional<URL> lx_declaringBundleURL(const ContentType& type) {
  return type.declaringBundleURL();
}

void lx_removeAllCachedTypeLookups() {
  LookupCache& cache = lookupCache();
  std::lock_guard lock(cache.lock);
  cache.byTag.clear();
}

namespace detail {

KeyTree typeOverrideKeys() {
  OverrideTable& table = overrides();
  std::lock_guard lock(table.lock);
  return sortedKeys(table.byClass, [](const StringMap<ContentType>& tags) {
    std::vector<String> keys;
    for (const auto& [tag, type] : tags) keys.push_back(tag);
    return keys;
  });
}

KeyTree typeLookupCacheKeys() {
  LookupCache& cache = lookupCache();
  std::lock_guard lock(cache.lock);
  return sortedKeys(cache.byTag, [](const std::vector<std::pair<String, ContentType>>& classes) {
    std::vector<String> keys;
    for (const auto& [cls, type] : classes) keys.push_back(cls);
    return keys;
  });
}

}  // namespace detail
}  // namespace lx
