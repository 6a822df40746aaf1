// The immutable snapshot of declared content types behind `ContentType`, and
// the declaration record that every type value shares.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "vantorcore/platform/ContentType.h"
#include "vantorcore/platform/StringMap.h"

namespace lx {

struct ContentType::Declaration {
  enum class Origin { BuiltIn, Database, Dynamic };

  String identifier;
  String key;  // the identifier lower-cased: what comparisons use
  Origin origin = Origin::Dynamic;
  std::size_t position = 0;           // in the registry's declarations
  std::size_t builtInRank = 0;        // position in the built-in table
  std::vector<String> conformsTo;     // direct supertypes, as declared
  std::vector<String> extensions;     // lower-case, preferred first
  std::vector<int> extensionWeights;  // glob weight of each extension
  std::vector<String> mimeTypes;      // lower-case, preferred first
  // Keys of itself and every supertype, sorted. They point into keys owned
  // by this registry's declarations, or, for a dynamic type, into its own
  // key and its supertype's declaration, which `dynamicSupertype` keeps.
  std::vector<StringView> conformance;
  std::optional<ContentType> dynamicSupertype;
  String declaringFolder;  // shared-mime-info folder of database types
};

namespace detail {

class ContentTypeRegistry : public std::enable_shared_from_this<ContentTypeRegistry> {
 public:
  using Declaration = ContentType::Declaration;

  /// The registry in use, built from the system folders on first use.
  static std::shared_ptr<const ContentTypeRegistry> current();
  /// Builds a registry from the built-in table and `folders` (highest
  /// precedence first) and makes it current.
  static void reload(const std::vector<String>& folders);

  /// The declaration with this lower-case identifier, or null.
  [[nodiscard]] const Declaration* find(StringView key) const noexcept;
  /// Declared types claiming the lower-case tag, in deciding order.
  [[nodiscard]] std::span<const Declaration* const> extensionOwners(StringView key) const noexcept;
  [[nodiscard]] std::span<const Declaration* const> mimeTypeOwners(StringView key) const noexcept;

  /// A type value sharing this registry's ownership.
  [[nodiscard]] ContentType typeFor(const Declaration& declaration) const;

 private:
  friend class ContentTypeRegistryBuilder;

  std::vector<Declaration> declarations_;  // reserved up front: addresses stay
  StringMap<const Declaration*> byKey_;
  StringMap<std::vector<const Declaration*>> byExtension_;
  StringMap<std::vector<const Declaration*>> byMIMEType_;
};

}  // namespace detail
}  // namespace lx
