// The checked form of a secure item dictionary, shared by every backend of
// `SecureItemStore`: which class, which attributes to match or write, which
// item by reference, how many results and of which kinds.
#pragma once

#include "vantorcore/Export.h"

#include <cstddef>
#include <optional>
#include <span>

#include "vantorcore/platform/SecureItemStore.h"

namespace LX_API lx {

/// One stored item as backends hand it over.
struct SecureItem {
  /// The item's persistent reference.
  Data reference;
  /// Every attribute, `kSecClass` included, with primary-key attributes
  /// present even when their value is the default.
  Dictionary attributes;
  /// The secret; empty when it was not asked for.
  Data secret;
};

class SecureItemQuery {
 public:
  /// What the dictionary is for: which keys it may hold.
  enum class Purpose { Match, Add, Change };
  /// Which items a query matches by their synchronisable attribute.
  enum class Synchronizable { Local, Synchronized, Any };

  /// The checked query, or absent with `*status` = `errSecParam`. `Match`
  /// accepts attributes, match limit, return keys and a reference; `Add`
  /// attributes, return keys and the secret; `Change` attributes and the
  /// secret. A class is required except in `Change` and when a reference
  /// selects the item.
  static std::optional<SecureItemQuery> parse(const Dictionary& dictionary, Purpose purpose,
                                              OSStatus* status);

  /// `kSecClassGenericPassword` or `kSecClassInternetPassword`; empty for a
  /// `Change` or a query by reference alone.
  [[nodiscard]] const String& itemClass() const noexcept { return itemClass_; }
  /// The attributes named, without class, synchronizable selector, return
  /// keys, limit, reference or secret.
  [[nodiscard]] const Dictionary& attributes() const noexcept { return attributes_; }
  /// Which items the query matches by their synchronisable attribute.
  [[nodiscard]] Synchronizable synchronizable() const noexcept { return synchronizable_; }
  /// The persistent reference the query asks for; absent for any.
  [[nodiscard]] const std::optional<Data>& reference() const noexcept { return reference_; }
  /// The secret a query for an update sets; absent to leave it.
  [[nodiscard]] const std::optional<Data>& secret() const noexcept { return secret_; }
  /// 1 for `kSecMatchLimitOne`, SIZE_MAX for `kSecMatchLimitAll`.
  [[nodiscard]] std::size_t limit() const noexcept { return limit_; }
  /// Lifts the limit: changes and removals reach every matching item.
  void matchAll() noexcept { limit_ = static_cast<std::size_t>(-1); }
  /// Whether results come bare rather than in an array: the limit is
  /// `kSecMatchLimitOne` or not given.
  [[nodiscard]] bool returnsOneResult() const noexcept { return oneResult_; }
  /// What a search returns for each match: attributes, the secret, or a persistent reference.
  ///@{
  [[nodiscard]] bool returnsAttributes() const noexcept { return returnAttributes_; }
  [[nodiscard]] bool returnsData() const noexcept { return returnData_; }
  [[nodiscard]] bool returnsReference() const noexcept { return returnReference_; }
  [[nodiscard]] bool wantsSecret() const noexcept { return returnData_; }
  ///@}

  /// Whether `item` is one this query selects.
  [[nodiscard]] bool matches(const SecureItem& item) const;

  /// The primary-key attribute names of `itemClass` (empty for an unknown one).
  static std::span<const StringView> primaryKey(StringView itemClass) noexcept;
  /// Every attribute in some class's primary key, in one fixed order that
  /// backends may rely on for their stored layout.
  static std::span<const StringView> primaryKeyAttributes() noexcept;
  /// The default of a primary-key attribute: "" for strings, 0 for the port,
  /// false for synchronizable.
  static Value primaryKeyDefault(StringView attribute);
  /// `attributes` with every primary-key attribute of `itemClass` present.
  static Dictionary withPrimaryKeyDefaults(StringView itemClass, Dictionary attributes);

  /// The result for `items` as `copyMatching` shapes it.
  [[nodiscard]] Value shapeResult(const std::vector<SecureItem>& items) const;

 private:
  String itemClass_;
  Dictionary attributes_;
  Synchronizable synchronizable_ = Synchronizable::Local;
  std::optional<Data> reference_;
  std::optional<Data> secret_;
  std::size_t limit_ = 1;
  bool oneResult_ = true;
  bool returnAttributes_ = false;
  bool returnData_ = false;
  bool returnReference_ = false;
};

}  // namespace lx
