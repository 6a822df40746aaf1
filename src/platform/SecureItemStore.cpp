#include "vantorcore/platform/SecureItemStore.h"

#include <openssl/rand.h>

#include <cstdlib>
#include <mutex>

#include "vantorcore/platform/EmbeddedSecureItemStore.h"
#include "vantorcore/platform/Log.h"
#include "vantorcore/platform/SecretServiceSecureItemStore.h"
#include "vantorcore/platform/SecureItemQuery.h"

namespace lx {
namespace {

Data randomReference() {
  Data reference(SecureItemStore::kReferenceSize);
  if (RAND_bytes(reference.data(), static_cast<int>(reference.size())) != 1) reference.clear();
  return reference;
}

std::mutex defaultStoreMutex;
std::shared_ptr<SecureItemStore> defaultStoreInstance;

std::shared_ptr<SecureItemStore> chooseDefaultStore() {
  std::optional<SecureItemStore::Backend> backend;
  if (const char* name = std::getenv("VANTOR_SECURE_ITEM_STORE"); name && *name) {
    const std::string_view n(name);
    if (n == "embedded") backend = SecureItemStore::Backend::Embedded;
    if (n == "secret-service") backend = SecureItemStore::Backend::SecretService;
    if (!backend) logFormat(u"Secure item store: unknown backend \"%s\" ignored", name);
  }
  if (!backend) {
    backend = SecretServiceSecureItemStore::isReachable() ? SecureItemStore::Backend::SecretService
                                                          : SecureItemStore::Backend::Embedded;
  }
  OSStatus status = errSecSuccess;
  auto store = SecureItemStore::make(*backend, &status);
  if (store) {
    logFormat(u"Secure item store: %@", String(store->backendName()));
  } else {
    logFormat(
        u"Secure item store: %@ unavailable (%i)",
        String(*backend == SecureItemStore::Backend::Embedded ? u"embedded" : u"secret-service"),
        status);
  }
  return store;
}

}  // namespace

std::optional<String> SecCopyErrorMessageString(OSStatus status) {
  switch (status) {
    case errSecSuccess:
      return u"No error.";
    case errSecIO:
      return u"An input/output error occurred while reading or writing the store.";
    case errSecParam:
      return u"One or more parameters passed to a function were not valid.";
    case errSecNotAvailable:
      return u"The secure item store is not available.";
    case errSecReadOnly:
      return u"The secure item store is read-only.";
    case errSecInvalidKeychain:
      return u"The secure item store is damaged and cannot be read.";
    case errSecDuplicateItem:
      return u"The specified item already exists in the keychain.";
    case errSecItemNotFound:
      return u"The specified item could not be found in the keychain.";
    case errSecInteractionNotAllowed:
      return u"User interaction is not allowed.";
    case errSecDecode:
      return u"Unable to decode the provided data.";
    default:
      return std::nullopt;
  }
}

OSStatus SecureItemStore::copyMatching(const Dictionary& query, Value* result) {
  OSStatus status = errSecSuccess;
  const auto parsed = SecureItemQuery::parse(query, SecureItemQuery::Purpose::Match, &status);
  if (!parsed) return status;
  std::vector<SecureItem> items;
  status = find(*parsed, items);
  if (status != errSecSuccess) return status;
  if (items.empty()) return errSecItemNotFound;
  if (result) *result = parsed->shapeResult(items);
  return errSecSuccess;
}

OSStatus SecureItemStore::add(const Dictionary& attributes, Value* result) {
  OSStatus status = errSecSuccess;
  const auto parsed = SecureItemQuery::parse(attributes, SecureItemQuery::Purpose::Add, &status);
  if (!parsed) return status;
  SecureItem item;
  item.reference = randomReference();
  if (item.reference.empty()) return errSecNotAvailable;
  item.attributes =
      SecureItemQuery::withPrimaryKeyDefaults(parsed->itemClass(), parsed->attributes());
  item.attributes.set(kSecClass, Value(parsed->itemClass()));
  const Date now = Date::now();
  item.attributes.set(kSecAttrCreationDate, Value(now));
  item.attributes.set(kSecAttrModificationDate, Value(now));
  item.secret = parsed->secret().value_or(Data());
  status = insert(item);
  if (status == errSecSuccess && result) *result = parsed->shapeResult({item});
  return status;
}

OSStatus SecureItemStore::update(const Dictionary& query, const Dictionary& changes) {
  OSStatus status = errSecSuccess;
  auto match = SecureItemQuery::parse(query, SecureItemQuery::Purpose::Match, &status);
  if (!match) return status;
  match->matchAll();
  if (query.contains(kSecMatchLimit) || match->returnsAttributes() || match->returnsData() ||
      match->returnsReference()) {
    return errSecParam;
  }
  const auto change = SecureItemQuery::parse(changes, SecureItemQuery::Purpose::Change, &status);
  if (!change) return status;
  if (change->attributes().empty() && !change->secret()) return errSecParam;
  Dictionary attributeChanges = change->attributes();
  attributeChanges.set(kSecAttrModificationDate, Value(Date::now()));
  return modify(*match, attributeChanges, change->secret());
}

OSStatus SecureItemStore::remove(const Dictionary& query) {
  OSStatus status = errSecSuccess;
  auto match = SecureItemQuery::parse(query, SecureItemQuery::Purpose::Match, &status);
  if (!match) return status;
  match->matchAll();
  if (match->returnsAttributes() || match->returnsData() || match->returnsReference()) {
    return errSecParam;
  }
  return erase(*match);
}

std::shared_ptr<SecureItemStore> SecureItemStore::make(Backend backend, OSStatus* status) {
  if (backend == Backend::Embedded) {
    return EmbeddedSecureItemStore::open(EmbeddedSecureItemStore::standardPath(), status);
  }
  return SecretServiceSecureItemStore::open(status);
}

std::shared_ptr<SecureItemStore> SecureItemStore::defaultStore() {
  std::lock_guard lock(defaultStoreMutex);
  if (!defaultStoreInstance) defaultStoreInstance = chooseDefaultStore();
  return defaultStoreInstance;
}

void SecureItemStore::setDefaultStore(std::shared_ptr<SecureItemStore> store) {
  std::lock_guard lock(defaultStoreMutex);
  defaultStoreInstance = std::move(store);
}

OSStatus SecItemCopyMatching(const Dictionary& query, Value* result) {
  const auto store = SecureItemStore::defaultStore();
  return store ? store->copyMatching(query, result) : errSecNotAvailable;
}

OSStatus SecItemAdd(const Dictionary& attributes, Value* result) {
  const auto store = SecureItemStore::defaultStore();
  return store ? store->add(attributes, result) : errSecNotAvailable;
}

OSStatus SecItemUpdate(const Dictionary& query, const Dictionary& attributesToUpdate) {
  const auto store = SecureItemStore::defaultStore();
  return store ? store->update(query, attributesToUpdate) : errSecNotAvailable;
}

OSStatus SecItemDelete(const Dictionary& query) {
  const auto store = SecureItemStore::defaultStore();
  return store ? store->remove(query) : errSecNotAvailable;
}

}  // namespace lx
