#include "vantorcore/security/LXKeychain.h"

#include "vantorcore/platform/Exception.h"
#include "vantorcore/platform/Log.h"
#include "vantorcore/text/VantorCoreLocale.h"

namespace lx {

LX_DEFINE_CLASS(LXKeychain, Object)

namespace {

Dictionary copyOf(const LXKeychain::Query& query) { return query ? *query : Dictionary(); }

}  // namespace

LXKeychain::LXKeychain(std::shared_ptr<SecureItemStore> store) : store_(std::move(store)) {}

std::shared_ptr<LXKeychain> LXKeychain::defaultKeychain() { return std::make_shared<LXKeychain>(); }

std::shared_ptr<SecureItemStore> LXKeychain::store() const {
  return store_ ? store_ : SecureItemStore::defaultStore();
}

ErrorPtr LXKeychain::errorWithStatus(OSStatus status) {
  Dictionary userInfo{{String(NSLocalizedDescriptionKey), Value(LXLocal(u"Keychain Error"))}};
  if (const auto message = SecCopyErrorMessageString(status)) {
    userInfo.set(NSLocalizedFailureReasonErrorKey, Value(*message));
    userInfo.set(NSLocalizedRecoverySuggestionErrorKey, Value(*message));
  }
  return Error::make(String(LXKeychainErrorDomain), std::int64_t{status}, std::move(userInfo));
}

bool LXKeychain::check(OSStatus status, StringView selector, bool log, ErrorPtr* error) {
  if (status == errSecSuccess) return true;
  if (status == errSecItemNotFound) return false;
  if (log) logFormat(u"%@ Keychain error occurred: %i", String(selector), status);
  setError(error, errorWithStatus(status));
  return false;
}

std::optional<Value> LXKeychain::copyMatching(const Query& query, StringView returnKey, bool all,
                                              StringView selector, bool logOnlyWithErrorOut,
                                              ErrorPtr* error) const {
  Dictionary forced = copyOf(query);
  forced.set(returnKey, Value(true));
  forced.set(kSecMatchLimit, Value(all ? kSecMatchLimitAll : kSecMatchLimitOne));
  forced.set(kSecAttrSynchronizable, Value(kSecAttrSynchronizableAny));
  const auto target = store();
  Value result;
  const OSStatus status = target ? target->copyMatching(forced, &result) : errSecNotAvailable;
  if (!check(status, selector, !logOnlyWithErrorOut || error, error)) return std::nullopt;
  return result;
}

std::optional<Dictionary> LXKeychain::attributesOfFirstItemMatchingQuery(const Query& query,
                                                                         ErrorPtr* error) const {
  const auto result = copyMatching(query, kSecReturnAttributes, false,
                                   u"attributesOfFirstItemMatchingQuery:error:", true, error);
  if (!result || !result->isDictionary()) return std::nullopt;
  return *result->asDictionary();
}

std::optional<Array> LXKeychain::attributesOfItemsMatchingQuery(const Query& query,
                                                                ErrorPtr* error) const {
  const auto result = copyMatching(query, kSecReturnAttributes, true,
                                   u"attributesOfItemsMatchingQuery:error:", true, error);
  if (!result || !result->isArray()) return std::nullopt;
  return *result->asArray();
}

std::optional<Data> LXKeychain::dataForFirstItemMatchingQuery(const Query& query,
                                                              ErrorPtr* error) const {
  const auto result = copyMatching(query, kSecReturnData, false,
                                   u"dataForFirstItemMatchingQuery:error:", false, error);
  if (!result || !result->isData()) return std::nullopt;
  return *result->asData();
}

std::optional<Array> LXKeychain::dataForItemsMatchingQuery(const Query& query,
                                                           ErrorPtr* error) const {
  const auto result =
      copyMatching(query, kSecReturnData, true, u"dataForItemsMatchingQuery:error:", false, error);
  if (!result || !result->isArray()) return std::nullopt;
  return *result->asArray();
}

std::optional<Data> LXKeychain::persistentReferenceForFirstItemMatchingQuery(
    const Query& query, ErrorPtr* error) const {
  const auto result =
      copyMatching(query, kSecReturnPersistentRef, false,
                   u"persistentReferenceForFirstItemMatchingQuery:error:", false, error);
  if (!result || !result->isData()) return std::nullopt;
  return *result->asData();
}

std::optional<Array> LXKeychain::persistentReferencesForItemsMatchingQuery(const Query& query,
                                                                           ErrorPtr* error) const {
  const auto result =
      copyMatching(query, kSecReturnPersistentRef, true,
                   u"persistentReferencesForItemsMatchingQuery:error:", false, error);
  if (!result || !result->isArray()) return std::nullopt;
  return *result->asArray();
}

std::optional<Data> LXKeychain::createItemWithData(const std::optional<Data>& data,
                                                   const Dictionary& attributes,
                                                   ErrorPtr* error) const {
  Dictionary add = attributes;
  if (data) add.set(kSecValueData, Value(*data));
  add.set(kSecReturnPersistentRef, Value(true));
  const auto target = store();
  Value result;
  const OSStatus status = target ? target->add(add, &result) : errSecNotAvailable;
  if (status != errSecSuccess) {
    // Here "not found" is as much a failure as any other status.
    logFormat(u"%@ Keychain error occurred: %i", String(u"createItemWithData:attributes:error:"),
              status);
    setError(error, errorWithStatus(status));
    return std::nullopt;
  }
  if (!result.isData()) return std::nullopt;
  return *result.asData();
}

bool LXKeychain::updateItemWithPersistentReference(const Data& reference,
                                                   const std::optional<Data>& data,
                                                   const Query& attributes, ErrorPtr* error) const {
  const Dictionary match{{String(kSecValuePersistentRef), Value(reference)},
                         {String(kSecAttrSynchronizable), Value(kSecAttrSynchronizableAny)}};
  Dictionary changes = copyOf(attributes);
  if (data) changes.set(kSecValueData, Value(*data));
  const auto target = store();
  const OSStatus status = target ? target->update(match, changes) : errSecNotAvailable;
  return check(status, u"updateItemWithPersistentReference:data:attributes:error:", true, error) ||
         status == errSecItemNotFound;
}

bool LXKeychain::updateAllItemsMatchingQuery(const Query& query, const std::optional<Data>& data,
                                             const Query& attributes, ErrorPtr* error) const {
  Dictionary match = copyOf(query);
  match.set(kSecAttrSynchronizable, Value(kSecAttrSynchronizableAny));
  Dictionary changes = copyOf(attributes);
  if (data) changes.set(kSecValueData, Value(*data));
  const auto target = store();
  const OSStatus status = target ? target->update(match, changes) : errSecNotAvailable;
  return check(status, u"updateAllItemsMatchingQuery:data:attributes:error:", true, error) ||
         status == errSecItemNotFound;
}

bool LXKeychain::removeItemWithPersistentReference(const Data& reference, ErrorPtr* error) const {
  const Dictionary match{{String(kSecValuePersistentRef), Value(reference)}};
  const auto target = store();
  const OSStatus status = target ? target->remove(match) : errSecNotAvailable;
  return check(status, u"removeItemWithPersistentReference:error:", true, error) ||
         status == errSecItemNotFound;
}

bool LXKeychain::removeAllItemsMatchingQuery(const Query& query, ErrorPtr* error) const {
  const auto target = store();
  const OSStatus status = target ? target->remove(copyOf(query)) : errSecNotAvailable;
  return check(status, u"removeAllItemsMatchingQuery:error:", true, error) ||
         status == errSecItemNotFound;
}

Dictionary LXKeychain::genericQuery(const Query& query, const std::optional<String>& account,
                                    const std::optional<String>& service) {
  if (!service) throw InvalidArgumentException(u"a generic password needs a service");
  Dictionary result = copyOf(query);
  result.set(kSecClass, Value(kSecClassGenericPassword));
  if (account) result.set(kSecAttrAccount, Value(*account));
  result.set(kSecAttrService, Value(*service));
  return result;
}

Dictionary LXKeychain::internetQuery(const Query& query, const std::optional<String>& account,
                                     const std::optional<String>& server, std::int64_t port,
                                     const std::optional<String>& protocol) {
  Dictionary result = copyOf(query);
  result.set(kSecClass, Value(kSecClassInternetPassword));
  if (account) result.set(kSecAttrAccount, Value(*account));
  if (server) result.set(kSecAttrServer, Value(*server));
  if (port != 0) result.set(kSecAttrPort, Value(port));
  if (protocol) result.set(kSecAttrProtocol, Value(*protocol));
  return result;
}

std::optional<String> LXKeychain::passwordMatching(Dictionary query, ErrorPtr* error) const {
  query.set(kSecAttrSynchronizable, Value(kSecAttrSynchronizableAny));
  const auto data = dataForFirstItemMatchingQuery(query, error);
  if (!data) return std::nullopt;
  const std::string_view bytes = asStringView(*data);
  if (!isValidUTF8(bytes)) return std::nullopt;
  return fromUTF8(bytes);
}

bool LXKeychain::replacePassword(const String& password, const Dictionary& query,
                                 const Dictionary& creationAttributes, ErrorPtr* error) const {
  const Data data = dataFromBytes(toUTF8(password));
  const auto target = store();
  if (!target) {
    setError(error, errorWithStatus(errSecNotAvailable));
    return false;
  }
  // One change, so the old password is never missing for another reader and
  // a failed creation leaves it in place.
  ErrorPtr captured;
  const OSStatus status = target->performAsOneChange([&] {
    if (const auto reference = persistentReferenceForFirstItemMatchingQuery(query, &captured)) {
      removeItemWithPersistentReference(*reference, &captured);
    }
    if (captured && captured->code() != errSecItemNotFound) {
      return static_cast<OSStatus>(captured->code());
    }
    captured = nullptr;
    if (!createItemWithData(data, creationAttributes, &captured)) {
      return captured ? static_cast<OSStatus>(captured->code()) : errSecIO;
    }
    return errSecSuccess;
  });
  if (status != errSecSuccess && !captured) captured = errorWithStatus(status);
  setError(error, captured);
  return status == errSecSuccess;
}

std::optional<String> LXKeychain::passwordForAccount(const std::optional<String>& account,
                                                     const std::optional<String>& service,
                                                     const Query& query, ErrorPtr* error) const {
  return passwordMatching(genericQuery(query, account, service), error);
}

bool LXKeychain::setPassword(const String& password, const std::optional<String>& account,
                             const std::optional<String>& service, const Query& query,
                             const Query& attributes, ErrorPtr* error) const {
  return replacePassword(password, genericQuery(query, account, service),
                         genericQuery(attributes, account, service), error);
}

bool LXKeychain::removePasswordForAccount(const std::optional<String>& account,
                                          const std::optional<String>& service, const Query& query,
                                          ErrorPtr* error) const {
  return removeAllItemsMatchingQuery(genericQuery(query, account, service), error);
}

std::optional<String> LXKeychain::internetPasswordForAccount(
    const std::optional<String>& account, const std::optional<String>& server, std::int64_t port,
    const std::optional<String>& protocol, const Query& query, ErrorPtr* error) const {
  return passwordMatching(internetQuery(query, account, server, port, protocol), error);
}

bool LXKeychain::setInternetPassword(const String& password, const std::optional<String>& account,
                                     const std::optional<String>& server, std::int64_t port,
                                     const std::optional<String>& protocol, const Query& query,
                                     const Query& attributes, ErrorPtr* error) const {
  return replacePassword(password, internetQuery(query, account, server, port, protocol),
                         internetQuery(attributes, account, server, port, protocol), error);
}

bool LXKeychain::removeInternetPasswordForAccount(const std::optional<String>& account,
                                                  const std::optional<String>& server,
                                                  std::int64_t port,
                                                  const std::optional<String>& protocol,
                                                  const Query& query, ErrorPtr* error) const {
  // Unlike lookup and set, removal always names the protocol.
  if (!protocol) throw InvalidArgumentException(u"removing an internet password needs a protocol");
  return removeAllItemsMatchingQuery(internetQuery(query, account, server, port, protocol), error);
}

}  // namespace lx
