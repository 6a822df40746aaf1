// `LXKeychain`: a stateless façade over the secure item store that reads,
// stores and removes password items.
//
// Every operation copies the caller's query (never changing it) and forces
// the keys it needs, overwriting the caller's. Status -25300 (item not found)
// is never an error: lookups return absent and changes and removals true,
// silently. Any other failing status writes the line
// "<selector> Keychain error occurred: <status>" to the system log and, when
// an error out is given, `errorWithStatus(status)`. The two attribute queries
// log only when the caller gave an error out, so that callers can use them
// as a quiet existence probe.
//
// Any thread may call; the class holds nothing between calls. Two `set…`
// calls for one item at once are not coordinated: one may fail with the
// duplicate-item status.
#pragma once

#include "vantorcore/Export.h"

#include <cstdint>
#include <memory>
#include <optional>

#include "vantorcore/platform/Error.h"
#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/SecureItemStore.h"

namespace LX_API lx {

/// The error domain of password-store failures; codes are the store's statuses.
inline constexpr StringView LXKeychainErrorDomain = u"LXKeychainErrorDomain";
/// A marker for client code meaning "the password is in the keychain".
inline constexpr StringView kPasswordInKeychain = u"PasswordInKeychain";

class LXKeychain : public Object {
  LX_DECLARE_CLASS(LXKeychain)

 public:
  /// Extra query keys merged into each call; absent adds none.
  using Query = std::optional<Dictionary>;

  /// A keychain on `store`; null means `SecureItemStore::defaultStore()`,
  /// looked up at each call.
  explicit LXKeychain(std::shared_ptr<SecureItemStore> store = nullptr);

  /// A new keychain on the default store at every call (not a shared
  /// instance: instances are interchangeable).
  static std::shared_ptr<LXKeychain> defaultKeychain();

  /// An error in `LXKeychainErrorDomain` with `status` as its code, the
  /// description "Keychain Error" (localised) and, when the store has a text
  /// for the status, that text as failure reason and recovery suggestion.
  static ErrorPtr errorWithStatus(OSStatus status);

  // Queries. Each forces its return key, its match limit and
  // `kSecAttrSynchronizable` = `kSecAttrSynchronizableAny`; absent when
  // nothing matches or on failure.

  /// The attributes of the first matching item.
  std::optional<Dictionary> attributesOfFirstItemMatchingQuery(const Query& query,
                                                               ErrorPtr* error = nullptr) const;
  /// The attributes of every matching item (dictionaries).
  std::optional<Array> attributesOfItemsMatchingQuery(const Query& query,
                                                      ErrorPtr* error = nullptr) const;
  /// The secret of the first matching item.
  std::optional<Data> dataForFirstItemMatchingQuery(const Query& query,
                                                    ErrorPtr* error = nullptr) const;
  /// The secrets of every matching item (data).
  std::optional<Array> dataForItemsMatchingQuery(const Query& query,
                                                 ErrorPtr* error = nullptr) const;
  /// The persistent reference of the first matching item.
  std::optional<Data> persistentReferenceForFirstItemMatchingQuery(const Query& query,
                                                                   ErrorPtr* error = nullptr) const;
  /// The persistent references of every matching item (data).
  std::optional<Array> persistentReferencesForItemsMatchingQuery(const Query& query,
                                                                 ErrorPtr* error = nullptr) const;

  // Changes.

  /// Adds an item from `attributes` with `data` as its secret; the new
  /// item's persistent reference, or absent on any non-zero status
  /// (the duplicate-item status included). The item is local unless the
  /// attributes say otherwise.
  std::optional<Data> createItemWithData(const std::optional<Data>& data,
                                         const Dictionary& attributes,
                                         ErrorPtr* error = nullptr) const;
  /// Sets `attributes` and, when given, `data` on the item of `reference`;
  /// true also when that item no longer exists.
  bool updateItemWithPersistentReference(const Data& reference, const std::optional<Data>& data,
                                         const Query& attributes, ErrorPtr* error = nullptr) const;
  /// The same for every item matching `query` (local or synchronised).
  bool updateAllItemsMatchingQuery(const Query& query, const std::optional<Data>& data,
                                   const Query& attributes, ErrorPtr* error = nullptr) const;
  /// Removes the item of `reference`; true also when there is none.
  bool removeItemWithPersistentReference(const Data& reference, ErrorPtr* error = nullptr) const;
  /// Removes every item matching `query` as given (so local items only,
  /// unless the query selects otherwise); true also when none matches.
  bool removeAllItemsMatchingQuery(const Query& query, ErrorPtr* error = nullptr) const;

  // Generic passwords (`kSecClassGenericPassword`). `service` is required:
  // absent, it raises `InvalidArgumentException`. An absent account matches
  // any account.

  /// The password, or absent when there is none, on failure, or when the
  /// secret is not UTF-8 (the last two without an error).
  std::optional<String> passwordForAccount(const std::optional<String>& account,
                                           const std::optional<String>& service,
                                           const Query& query = {},
                                           ErrorPtr* error = nullptr) const;
  /// Replaces the item by removal and creation from `attributes` (not the
  /// query, whose keys only select the item to replace), so every call gives
  /// it a new persistent reference. The error out is always written: null
  /// on success.
  bool setPassword(const String& password, const std::optional<String>& account,
                   const std::optional<String>& service, const Query& query = {},
                   const Query& attributes = {}, ErrorPtr* error = nullptr) const;
  /// Removes every matching local item.
  bool removePasswordForAccount(const std::optional<String>& account,
                                const std::optional<String>& service, const Query& query = {},
                                ErrorPtr* error = nullptr) const;

  // Internet passwords (`kSecClassInternetPassword`). Absent account, server
  // or protocol and port 0 match any; `protocol` is a `kSecAttrProtocol`
  // value, passed through. Removal requires the protocol (absent raises
  // `InvalidArgumentException`).

  /// Read, set and remove an internet password, matched as described above.
  ///@{
  std::optional<String> internetPasswordForAccount(const std::optional<String>& account,
                                                   const std::optional<String>& server,
                                                   std::int64_t port,
                                                   const std::optional<String>& protocol,
                                                   const Query& query = {},
                                                   ErrorPtr* error = nullptr) const;
  bool setInternetPassword(const String& password, const std::optional<String>& account,
                           const std::optional<String>& server, std::int64_t port,
                           const std::optional<String>& protocol, const Query& query = {},
                           const Query& attributes = {}, ErrorPtr* error = nullptr) const;
  bool removeInternetPasswordForAccount(const std::optional<String>& account,
                                        const std::optional<String>& server, std::int64_t port,
                                        const std::optional<String>& protocol,
                                        const Query& query = {}, ErrorPtr* error = nullptr) const;
  ///@}

 private:
  [[nodiscard]] std::shared_ptr<SecureItemStore> store() const;
  // The copy-and-force part of every query.
  std::optional<Value> copyMatching(const Query& query, StringView returnKey, bool all,
                                    StringView selector, bool logOnlyWithErrorOut,
                                    ErrorPtr* error) const;
  // Status handling shared by every operation: true for success, false
  // (after the log line and error) for anything else but "not found".
  static bool check(OSStatus status, StringView selector, bool log, ErrorPtr* error);
  // The generic or internet tuple query, before any lookup-only key.
  static Dictionary genericQuery(const Query& query, const std::optional<String>& account,
                                 const std::optional<String>& service);
  static Dictionary internetQuery(const Query& query, const std::optional<String>& account,
                                  const std::optional<String>& server, std::int64_t port,
                                  const std::optional<String>& protocol);
  std::optional<String> passwordMatching(Dictionary query, ErrorPtr* error) const;
  bool replacePassword(const String& password, const Dictionary& query,
                       const Dictionary& creationAttributes, ErrorPtr* error) const;

  std::shared_ptr<SecureItemStore> store_;
};

}  // namespace lx
