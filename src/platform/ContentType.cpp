#include "vantorcore/platform/ContentType.h"

#include <dlfcn.h>

#include <algorithm>

#include "platform/ASCIICase.h"
#include "platform/ContentTypeRegistry.h"
#include "vantorcore/platform/SharedMimeInfo.h"

namespace lx {

namespace {

using detail::ContentTypeRegistry;
using Declaration = ContentType::Declaration;

constexpr StringView kDynamicPrefix = u"dyn.";
constexpr char kHexDigits[] = "0123456789abcdef";

bool isMIMETypeShape(StringView text) {
  const std::size_t slash = text.find(u'/');
  if (slash == 0 || slash == StringView::npos || slash + 1 == text.size()) return false;
  return std::none_of(text.begin(), text.end(), [](char16_t c) { return c <= u' '; });
}

// Whether `tag` can be a tag of `tagClass` at all (either known class).
bool isValidTag(StringView tag, StringView tagClass) {
  if (tagClass == UTTagClassFilenameExtension) {
    return tag.find_first_of(StringView(u"/\0", 2)) == StringView::npos;
  }
  return tagClass == UTTagClassMIMEType && isMIMETypeShape(tag);
}

String hexEncode(std::string_view bytes) {
  String out(kDynamicPrefix);
  for (unsigned char b : bytes) {
    out.push_back(static_cast<char16_t>(kHexDigits[b >> 4]));
    out.push_back(static_cast<char16_t>(kHexDigits[b & 15]));
  }
  return out;
}

std::optional<std::string> hexDecode(StringView hex) {
  if (hex.size() % 2 != 0) return std::nullopt;
  const auto nibble = [](char16_t c) -> int {
    if (c >= u'0' && c <= u'9') return c - u'0';
    if (c >= u'a' && c <= u'f') return c - u'a' + 10;
    return -1;
  };
  std::string bytes;
  bytes.reserve(hex.size() / 2);
  for (std::size_t i = 0; i < hex.size(); i += 2) {
    const int high = nibble(hex[i]);
    const int low = nibble(hex[i + 1]);
    if (high < 0 || low < 0) return std::nullopt;
    bytes.push_back(static_cast<char>(high * 16 + low));
  }
  return bytes;
}

ContentType builtIn(StringView identifier) {
  const auto registry = ContentTypeRegistry::current();
  return registry->typeFor(*registry->find(identifier));
}

const std::vector<String> kNoTags;

}  // namespace

ContentType ContentType::dynamicType(const String& tag, StringView tagClass,
                                     const ContentType& supertype) {
  auto d = std::make_shared<Declaration>();
  const String& superKey = supertype.declaration_->key;
  d->identifier = hexEncode(toUTF8(String(tagClass) + u"=" + tag + u";" + superKey));
  d->key = d->identifier;
  d->conformsTo = {supertype.identifier()};
  (tagClass == UTTagClassFilenameExtension ? d->extensions : d->mimeTypes) = {tag};
  d->conformance = supertype.declaration_->conformance;
  d->conformance.insert(
      std::upper_bound(d->conformance.begin(), d->conformance.end(), StringView(d->key)),
      StringView(d->key));
  d->dynamicSupertype = supertype;
  return ContentType(std::move(d));
}

std::optional<ContentType> ContentType::decodeDynamicIdentifier(StringView key) {
  const auto payload = hexDecode(key.substr(kDynamicPrefix.size()));
  if (!payload || !isValidUTF8(*payload)) return std::nullopt;
  const String text = fromUTF8(*payload);
  const std::size_t equals = text.find(u'=');
  const std::size_t semicolon = text.rfind(u';');
  if (equals == String::npos || semicolon == String::npos || semicolon < equals) {
    return std::nullopt;
  }
  const StringView tagClass = StringView(text).substr(0, equals);
  const String tag = text.substr(equals + 1, semicolon - equals - 1);
  const auto supertype = typeWithIdentifier(StringView(text).substr(semicolon + 1));
  if (!supertype || tag.empty() || !isValidTag(tag, tagClass) ||
      detail::asciiLowercase(tag) != tag) {
    return std::nullopt;
  }
  ContentType type = dynamicType(tag, tagClass, *supertype);
  if (type.identifier() != key) return std::nullopt;  // not the one spelling we make
  return type;
}

std::optional<ContentType> ContentType::typeWithIdentifier(StringView identifier) {
  const String key = detail::asciiLowercase(identifier);
  const auto registry = ContentTypeRegistry::current();
  if (const Declaration* d = registry->find(key)) return registry->typeFor(*d);
  if (key.starts_with(kDynamicPrefix)) return decodeDynamicIdentifier(key);
  return std::nullopt;
}

std::vector<ContentType> ContentType::typesWithTag(StringView tag, StringView tagClass,
                                                   const std::optional<ContentType>& supertype) {
  std::vector<ContentType> types;
  if (tag.empty() || !isValidTag(tag, tagClass)) return types;
  const String key = detail::asciiLowercase(tag);
  const auto registry = ContentTypeRegistry::current();
  const auto owners = tagClass == UTTagClassFilenameExtension ? registry->extensionOwners(key)
                                                              : registry->mimeTypeOwners(key);
  for (const Declaration* d : owners) {
    ContentType type = registry->typeFor(*d);
    if (!supertype || type.conformsTo(*supertype)) types.push_back(std::move(type));
  }
  return types;
}

std::optional<ContentType> ContentType::typeWithTag(StringView tag, StringView tagClass,
                                                    const std::optional<ContentType>& supertype) {
  if (tag.empty() || tagClass.empty() || !isValidTag(tag, tagClass)) return std::nullopt;
  const String key = detail::asciiLowercase(tag);
  const auto registry = ContentTypeRegistry::current();
  const auto owners = tagClass == UTTagClassFilenameExtension ? registry->extensionOwners(key)
                                                              : registry->mimeTypeOwners(key);
  for (const Declaration* d : owners) {
    if (!supertype || std::binary_search(d->conformance.begin(), d->conformance.end(),
                                         supertype->declaration_->key)) {
      return registry->typeFor(*d);
    }
  }
  return dynamicType(key, tagClass, supertype ? *supertype : data());
}

std::optional<ContentType> ContentType::typeWithFilenameExtension(
    StringView extension, const std::optional<ContentType>& supertype) {
  return typeWithTag(extension, UTTagClassFilenameExtension, supertype);
}

std::optional<ContentType> ContentType::typeWithMIMEType(
    StringView mimeType, const std::optional<ContentType>& supertype) {
  return typeWithTag(mimeType, UTTagClassMIMEType, supertype);
}

ContentType ContentType::item() { return builtIn(u"public.item"); }
ContentType ContentType::content() { return builtIn(u"public.content"); }
ContentType ContentType::data() { return builtIn(u"public.data"); }
ContentType ContentType::text() { return builtIn(u"public.text"); }
ContentType ContentType::plainText() { return builtIn(u"public.plain-text"); }
ContentType ContentType::image() { return builtIn(u"public.image"); }
ContentType ContentType::directory() { return builtIn(u"public.directory"); }
ContentType ContentType::folder() { return builtIn(u"public.folder"); }
ContentType ContentType::package() { return builtIn(u"com.apple.package"); }

const String& ContentType::identifier() const noexcept { return declaration_->identifier; }

std::optional<String> ContentType::preferredFilenameExtension() const {
  if (declaration_->extensions.empty()) return std::nullopt;
  return declaration_->extensions.front();
}

std::optional<String> ContentType::preferredMIMEType() const {
  if (declaration_->mimeTypes.empty()) return std::nullopt;
  return declaration_->mimeTypes.front();
}

const std::vector<String>& ContentType::tags(StringView tagClass) const noexcept {
  if (tagClass == UTTagClassFilenameExtension) return declaration_->extensions;
  if (tagClass == UTTagClassMIMEType) return declaration_->mimeTypes;
  return kNoTags;
}

const std::vector<String>& ContentType::conformsToIdentifiers() const noexcept {
  return declaration_->conformsTo;
}

std::vector<ContentType> ContentType::supertypes() const {
  std::vector<ContentType> types;
  for (const StringView key : declaration_->conformance) {
    if (key == declaration_->key) continue;
    if (auto type = typeWithIdentifier(key)) types.push_back(std::move(*type));
  }
  return types;
}

bool ContentType::conformsTo(const ContentType& other) const noexcept {
  const auto& keys = declaration_->conformance;
  return std::binary_search(keys.begin(), keys.end(), other.declaration_->key);
}

bool ContentType::isDynamic() const noexcept {
  return declaration_->origin == Declaration::Origin::Dynamic;
}

bool ContentType::isBuiltIn() const noexcept {
  return declaration_->origin == Declaration::Origin::BuiltIn;
}

Dictionary ContentType::declaration() const {
  const auto oneOrMany = [](const std::vector<String>& items) -> Value {
    if (items.size() == 1) return Value(items.front());
    Array array;
    for (const String& item : items) array.emplace_back(item);
    return Value(std::move(array));
  };
  Dictionary result;
  result.set(kUTTypeIdentifierKey, declaration_->identifier);
  if (!declaration_->conformsTo.empty()) {
    result.set(kUTTypeConformsToKey, oneOrMany(declaration_->conformsTo));
  }
  Dictionary tags;
  if (!declaration_->extensions.empty()) {
    tags.set(UTTagClassFilenameExtension, oneOrMany(declaration_->extensions));
  }
  if (!declaration_->mimeTypes.empty()) {
    tags.set(UTTagClassMIMEType, oneOrMany(declaration_->mimeTypes));
  }
  if (!tags.empty()) result.set(kUTTypeTagSpecificationKey, std::move(tags));
  return result;
}

std::optional<URL> ContentType::declaringBundleURL() const {
  switch (declaration_->origin) {
    case Declaration::Origin::Database:
      return URL::fileURLWithPath(declaration_->declaringFolder, true);
    case Declaration::Origin::BuiltIn: {
      // The binary holding the table: the shared library, or the program
      // that linked it statically.
      Dl_info info{};
      if (dladdr(reinterpret_cast<const void*>(&ContentType::item), &info) == 0 ||
          !info.dli_fname) {
        return std::nullopt;
      }
      return URL::fileURLWithPath(fromUTF8(info.dli_fname));
    }
    case Declaration::Origin::Dynamic:
      break;
  }
  return std::nullopt;
}

bool operator==(const ContentType& a, const ContentType& b) noexcept {
  return a.declaration_ == b.declaration_ || a.declaration_->key == b.declaration_->key;
}

std::size_t ContentType::hash() const noexcept {
  return std::hash<StringView>{}(declaration_->key);
}

void ContentType::reloadRegistry(const std::optional<std::vector<String>>& folders) {
  ContentTypeRegistry::reload(folders ? *folders : SharedMimeInfo::systemFolders());
}

}  // namespace lx
