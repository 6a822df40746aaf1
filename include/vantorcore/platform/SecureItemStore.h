// The secure item store: password items kept by a backend that outlives the
// process, reached through the platform's four item operations
// (`SecItemCopyMatching`, `SecItemAdd`, `SecItemUpdate`, `SecItemDelete`)
// with dictionaries keyed by the platform's attribute constants.
//
// Items belong to one of two classes, generic passwords (`kSecClassGenericPassword`)
// and internet passwords (`kSecClassInternetPassword`). Each item has string,
// integer, data and boolean attributes, a secret (`kSecValueData`) and a
// persistent reference: 16 random bytes chosen when the item is added, never
// reused, stable between runs. Two items of one class may not agree on all of
// the class's primary-key attributes (generic: account, service, access group,
// synchronizable; internet: account, security domain, server, protocol,
// authentication type, port, path, access group, synchronizable); an absent
// key attribute counts as "" (strings), 0 (port) or false (synchronizable).
//
// Queries match the attributes they name exactly (case and NUL bytes count);
// attributes they leave out match anything, except `kSecAttrSynchronizable`,
// whose absence matches only local items (`kSecAttrSynchronizableAny` matches
// both kinds) unless `kSecValuePersistentRef` names the item. `kSecMatchLimit` is
// `kSecMatchLimitOne` (the default), `kSecMatchLimitAll` or a positive integer. Results, as the
// platform shapes them: with one return key the bare value (attribute dictionary, secret data or
// reference data), with several a dictionary holding the attributes and `kSecValueData` /
// `kSecValuePersistentRef`; under a limit above one an array of those; with no return key no result
// at all.
//
// Limits: string and data attributes hold at most `kMaximumAttributeSize`
// bytes (UTF-8 for strings), secrets at most `kMaximumSecretSize` bytes; one
// past either is `errSecParam`, as are unknown keys, values of the wrong type,
// a missing or unknown class, and a match limit below one.
//
// Every store is safe to call from any thread.
#pragma once

#include "vantorcore/Export.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "vantorcore/platform/Data.h"
#include "vantorcore/platform/String.h"
#include "vantorcore/platform/Value.h"

namespace LX_API lx {

/// The platform's 32-bit status.
using OSStatus = std::int32_t;

/// Statuses, with the platform's values.
///@{
inline constexpr OSStatus errSecSuccess = 0;
inline constexpr OSStatus errSecIO = -36;
inline constexpr OSStatus errSecParam = -50;
inline constexpr OSStatus errSecNotAvailable = -25291;
inline constexpr OSStatus errSecReadOnly = -25292;
inline constexpr OSStatus errSecInvalidKeychain = -25295;
inline constexpr OSStatus errSecDuplicateItem = -25299;
inline constexpr OSStatus errSecItemNotFound = -25300;
inline constexpr OSStatus errSecInteractionNotAllowed = -25308;
inline constexpr OSStatus errSecDecode = -26275;
///@}

/// The store's text for `status`, or absent for a status it does not know.
/// `errSecSuccess` reads "No error.".
std::optional<String> SecCopyErrorMessageString(OSStatus status);

/// Query and attribute keys, with the platform's string values.
///@{
inline constexpr StringView kSecClass = u"class";
inline constexpr StringView kSecClassGenericPassword = u"genp";
inline constexpr StringView kSecClassInternetPassword = u"inet";
inline constexpr StringView kSecAttrAccessGroup = u"agrp";
inline constexpr StringView kSecAttrAccount = u"acct";
inline constexpr StringView kSecAttrAuthenticationType = u"atyp";
inline constexpr StringView kSecAttrComment = u"icmt";
inline constexpr StringView kSecAttrCreationDate = u"cdat";
inline constexpr StringView kSecAttrCreator = u"crtr";
inline constexpr StringView kSecAttrDescription = u"desc";
inline constexpr StringView kSecAttrGeneric = u"gena";
inline constexpr StringView kSecAttrIsInvisible = u"invi";
inline constexpr StringView kSecAttrIsNegative = u"nega";
inline constexpr StringView kSecAttrLabel = u"labl";
inline constexpr StringView kSecAttrModificationDate = u"mdat";
inline constexpr StringView kSecAttrPath = u"path";
inline constexpr StringView kSecAttrPort = u"port";
inline constexpr StringView kSecAttrProtocol = u"ptcl";
inline constexpr StringView kSecAttrSecurityDomain = u"sdmn";
inline constexpr StringView kSecAttrServer = u"srvr";
inline constexpr StringView kSecAttrService = u"svce";
inline constexpr StringView kSecAttrSynchronizable = u"sync";
inline constexpr StringView kSecAttrSynchronizableAny = u"syna";
inline constexpr StringView kSecAttrType = u"type";
inline constexpr StringView kSecMatchLimit = u"m_Limit";
inline constexpr StringView kSecMatchLimitOne = u"m_LimitOne";
inline constexpr StringView kSecMatchLimitAll = u"m_LimitAll";
inline constexpr StringView kSecReturnAttributes = u"r_Attributes";
inline constexpr StringView kSecReturnData = u"r_Data";
inline constexpr StringView kSecReturnPersistentRef = u"r_PersistentRef";
inline constexpr StringView kSecValueData = u"v_Data";
inline constexpr StringView kSecValuePersistentRef = u"v_PersistentRef";
///@}

/// Values of `kSecAttrProtocol`, with the platform's string values.
///@{
inline constexpr StringView kSecAttrProtocolFTP = u"ftp ";
inline constexpr StringView kSecAttrProtocolHTTP = u"http";
inline constexpr StringView kSecAttrProtocolHTTPS = u"htps";
inline constexpr StringView kSecAttrProtocolIMAP = u"imap";
inline constexpr StringView kSecAttrProtocolSMTP = u"smtp";
inline constexpr StringView kSecAttrProtocolSSH = u"ssh ";
///@}

class SecureItemQuery;
struct SecureItem;

class SecureItemStore {
 public:
  /// Limits of stored items, in bytes; larger values are refused with errSecParam.
  ///@{
  static constexpr std::size_t kMaximumAttributeSize = 4096;
  static constexpr std::size_t kMaximumSecretSize = 1 << 20;
  static constexpr std::size_t kReferenceSize = 16;
  ///@}

  /// Where items live: an SQLite file of the library's own, or the desktop's Secret Service.
  enum class Backend { Embedded, SecretService };

  virtual ~SecureItemStore() = default;

  /// The items matching `query`, shaped into `*result` (when non-null) as
  /// described above. `errSecItemNotFound` when nothing matches.
  OSStatus copyMatching(const Dictionary& query, Value* result);
  /// Adds an item from `attributes` (with `kSecValueData`, an optional
  /// secret). `errSecDuplicateItem` when an item with the same primary key
  /// exists. The return keys shape `*result` as for `copyMatching`.
  OSStatus add(const Dictionary& attributes, Value* result);
  /// Changes every item matching `query` (which may not hold return keys or
  /// a match limit) by `changes` (attributes and optionally `kSecValueData`).
  /// `errSecItemNotFound` when nothing matches; `errSecDuplicateItem` when a
  /// change would give two items one primary key, and then nothing changes.
  OSStatus update(const Dictionary& query, const Dictionary& changes);
  /// Removes every item matching `query`; `errSecItemNotFound` when none.
  OSStatus remove(const Dictionary& query);

  /// The store that `SecItem…` use: the one set by `setDefaultStore`, else
  /// the one `VANTOR_SECURE_ITEM_STORE` ("embedded" or "secret-service")
  /// names, else Secret Service when the session bus offers it, else the
  /// embedded store. The choice is made once per process and logged once as
  /// "Secure item store: <backend>". Items never move between backends.
  static std::shared_ptr<SecureItemStore> defaultStore();
  /// Replaces the default store (null: choose again on next use).
  static void setDefaultStore(std::shared_ptr<SecureItemStore> store);
  /// A new store of `backend` at its standard place; null with `*status`
  /// set when the backend cannot be used here.
  static std::shared_ptr<SecureItemStore> make(Backend backend, OSStatus* status = nullptr);
  /// The backend's name as the environment variable spells it.
  [[nodiscard]] virtual StringView backendName() const noexcept = 0;
  /// Runs `changes` (calls on this store) as one change where the backend
  /// can: a status other than `errSecSuccess` from `changes` undoes all of
  /// them. The embedded store commits once; Secret Service has no
  /// transactions, so there the calls simply run in turn.
  virtual OSStatus performAsOneChange(const std::function<OSStatus()>& changes) {
    return changes();
  }

 protected:
  // Backend primitives. The query has been checked; `limit` of the query is
  // honoured by `find`, whose items carry their secret only when
  // `query.wantsSecret()`.
  virtual OSStatus find(const SecureItemQuery& query, std::vector<SecureItem>& items) = 0;
  /// Adds `item`; errSecDuplicateItem when an item with the same primary key exists.
  virtual OSStatus insert(const SecureItem& item) = 0;
  /// Changes the items matching `query`; errSecItemNotFound when there are none.
  virtual OSStatus modify(const SecureItemQuery& query, const Dictionary& attributeChanges,
                          const std::optional<Data>& secret) = 0;
  /// Removes the items matching `query`; errSecItemNotFound when there are none.
  virtual OSStatus erase(const SecureItemQuery& query) = 0;
};

// The platform's operations, on `SecureItemStore::defaultStore()`.
OSStatus SecItemCopyMatching(const Dictionary& query, Value* result);
/// Adds an item built from `attributes`; `result` gets what the kSecReturn… keys ask for.
OSStatus SecItemAdd(const Dictionary& attributes, Value* result);
/// Changes the items `query` matches.
OSStatus SecItemUpdate(const Dictionary& query, const Dictionary& attributesToUpdate);
/// Removes the items `query` matches.
OSStatus SecItemDelete(const Dictionary& query);

}  // namespace lx
