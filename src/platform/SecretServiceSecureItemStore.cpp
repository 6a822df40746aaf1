#include "vantorcore/platform/SecretServiceSecureItemStore.h"

#if VANTOR_HAVE_LIBSECRET

#include <array>
#include <mutex>
#include <string>

#include "platform/GLibLibrary.h"
#include "vantorcore/platform/Log.h"
#include "vantorcore/platform/PropertyList.h"
#include "vantorcore/platform/SecureItemQuery.h"

namespace lx {
namespace {

using detail::gio;
using detail::glib;
using detail::gobject;
using detail::libsecret;

constexpr const char* kReferenceAttribute = "reference";
constexpr const char* kAttributesAttribute = "attributes";

SecretSchema makeSchema(const char* name) {
  static constexpr const char* kStored[] = {"acct",
                                            "svce",
                                            "srvr",
                                            "ptcl",
                                            "atyp",
                                            "port",
                                            "path",
                                            "sdmn",
                                            "agrp",
                                            "sync",
                                            kReferenceAttribute,
                                            kAttributesAttribute};
  SecretSchema schema{};
  schema.name = name;
  schema.flags = SECRET_SCHEMA_NONE;
  for (std::size_t i = 0; i < std::size(kStored); ++i) {
    schema.attributes[i] = {kStored[i], SECRET_SCHEMA_ATTRIBUTE_STRING};
  }
  return schema;
}

const SecretSchema kGenericSchema = makeSchema("org.vantorcore.GenericPassword");
const SecretSchema kInternetSchema = makeSchema("org.vantorcore.InternetPassword");

const SecretSchema* schemaFor(StringView itemClass) {
  return itemClass == kSecClassGenericPassword ? &kGenericSchema : &kInternetSchema;
}

OSStatus statusFor(GError* error) {
  const bool locked =
      error->domain == libsecret().error_get_quark() && error->code == SECRET_ERROR_IS_LOCKED;
  glib().error_free(error);
  return locked ? errSecInteractionNotAllowed : errSecNotAvailable;
}

// Attribute values are C strings; '%' and NUL are escaped so that both
// survive and nothing else changes for other tools that show them.
std::string escaped(const Value& value) {
  std::string text;
  if (value.isString()) {
    text = toUTF8(*value.asString());
  } else if (value.isBool()) {
    text = value.boolValue() ? "1" : "0";
  } else {
    text = std::to_string(value.int64Value());
  }
  std::string out;
  for (char c : text) {
    if (c == '%') {
      out += "%25";
    } else if (c == '\0') {
      out += "%00";
    } else {
      out += c;
    }
  }
  return out;
}

std::string hex(const Data& bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string out;
  for (std::uint8_t b : bytes) {
    out += kDigits[b >> 4];
    out += kDigits[b & 15];
  }
  return out;
}

std::optional<Data> unhex(std::string_view text) {
  if (text.size() != 2 * SecureItemStore::kReferenceSize) return std::nullopt;
  Data bytes;
  for (std::size_t i = 0; i < text.size(); i += 2) {
    const auto digit = [](char c) { return c <= '9' ? c - '0' : c - 'a' + 10; };
    bytes.push_back(static_cast<std::uint8_t>(digit(text[i]) * 16 + digit(text[i + 1])));
  }
  return bytes;
}

struct HashTableUnref {
  void operator()(GHashTable* table) const { glib().hash_table_unref(table); }
};
using Attributes = std::unique_ptr<GHashTable, HashTableUnref>;

Attributes newAttributes() {
  return Attributes(
      glib().hash_table_new_full(glib().str_hash, glib().str_equal, glib().free, glib().free));
}

void put(GHashTable* table, const char* key, const std::string& value) {
  glib().hash_table_insert(table, glib().strdup(key), glib().strdup(value.c_str()));
}

// The search attributes for `query`: the key attributes it names.
Attributes searchAttributes(const SecureItemQuery& query) {
  Attributes table = newAttributes();
  for (StringView key : SecureItemQuery::primaryKeyAttributes()) {
    if (key == kSecAttrSynchronizable) continue;
    if (const Value* value = query.attributes().find(key)) {
      put(table.get(), toUTF8(key).c_str(), escaped(*value));
    }
  }
  if (query.synchronizable() != SecureItemQuery::Synchronizable::Any) {
    put(table.get(), "sync",
        query.synchronizable() == SecureItemQuery::Synchronizable::Synchronized ? "1" : "0");
  }
  if (query.reference()) put(table.get(), kReferenceAttribute, hex(*query.reference()));
  return table;
}

// Every stored attribute of `item`.
std::optional<Attributes> storedAttributes(const SecureItem& item) {
  const auto encoded = PropertyList::write(Value(item.attributes), PropertyList::Format::Binary);
  if (!encoded) return std::nullopt;
  Attributes table = newAttributes();
  for (StringView key : SecureItemQuery::primaryKeyAttributes()) {
    put(table.get(), toUTF8(key).c_str(), escaped(item.attributes[key]));
  }
  put(table.get(), kReferenceAttribute, hex(item.reference));
  gchar* base64 = glib().base64_encode(encoded->data(), encoded->size());
  put(table.get(), kAttributesAttribute, base64);
  glib().free(base64);
  return table;
}

std::string labelFor(const SecureItem& item) {
  if (const Value* label = item.attributes.find(kSecAttrLabel); label && label->isString()) {
    return toUTF8(*label->asString());
  }
  const bool generic = item.attributes[kSecClass] == Value(kSecClassGenericPassword);
  const Value& where = item.attributes[generic ? kSecAttrService : kSecAttrServer];
  const Value& who = item.attributes[kSecAttrAccount];
  return (where.isString() ? toUTF8(*where.asString()) : std::string()) + " (" +
         (who.isString() ? toUTF8(*who.asString()) : std::string()) + ")";
}

// Our item behind one daemon item; absent for items not written by us.
std::optional<SecureItem> decode(SecretItem* daemonItem) {
  GHashTable* table = libsecret().item_get_attributes(daemonItem);
  const auto* reference =
      static_cast<const char*>(glib().hash_table_lookup(table, kReferenceAttribute));
  const auto* encoded =
      static_cast<const char*>(glib().hash_table_lookup(table, kAttributesAttribute));
  std::optional<SecureItem> item;
  if (reference && encoded) {
    gsize size = 0;
    guchar* bytes = glib().base64_decode(encoded, &size);
    const auto attributes = PropertyList::read(DataView(bytes, size));
    glib().free(bytes);
    auto parsed = unhex(reference);
    if (attributes && attributes->isDictionary() && parsed) {
      item = SecureItem{std::move(*parsed), *attributes->asDictionary(), Data()};
    }
  }
  glib().hash_table_unref(table);
  return item;
}

}  // namespace

struct SecretServiceSecureItemStore::Connection {
  std::mutex mutex;
  SecretService* service = nullptr;

  ~Connection() {
    if (service) gobject().object_unref(service);
  }

  // Matching daemon items of the query's class (both classes when it names
  // none), with our items decoded beside them; `status` on failure.
  OSStatus search(const SecureItemQuery& query, std::vector<SecretItem*>& daemonItems,
                  std::vector<SecureItem>& items) {
    const Attributes attributes = searchAttributes(query);
    for (const SecretSchema* schema : {&kGenericSchema, &kInternetSchema}) {
      if (!query.itemClass().empty() && schema != schemaFor(query.itemClass())) continue;
      GError* error = nullptr;
      GList* found = libsecret().service_search_sync(service, schema, attributes.get(),
                                                     SECRET_SEARCH_ALL, nullptr, &error);
      if (error) return statusFor(error);
      for (GList* node = found; node; node = node->next) {
        auto* daemonItem = static_cast<SecretItem*>(node->data);
        auto item = decode(daemonItem);
        if (item && query.matches(*item) && items.size() < query.limit()) {
          items.push_back(std::move(*item));
          daemonItems.push_back(daemonItem);
        } else {
          gobject().object_unref(daemonItem);
        }
      }
      glib().list_free(found);
    }
    return errSecSuccess;
  }

  OSStatus loadSecret(SecretItem* daemonItem, Data& secret) {
    if (libsecret().item_get_locked(daemonItem)) return errSecInteractionNotAllowed;
    GError* error = nullptr;
    if (!libsecret().item_load_secret_sync(daemonItem, nullptr, &error)) return statusFor(error);
    SecretValue* value = libsecret().item_get_secret(daemonItem);
    if (!value) return errSecDecode;
    gsize size = 0;
    const gchar* bytes = libsecret().value_get(value, &size);
    secret.assign(bytes, bytes + size);
    libsecret().value_unref(value);
    return errSecSuccess;
  }

  // Whether an item other than `reference` has the primary key of `item`.
  OSStatus findClash(const SecureItem& item, bool& clash) {
    OSStatus status = errSecSuccess;
    Dictionary key{{String(kSecClass), item.attributes[kSecClass]}};
    for (StringView attribute :
         SecureItemQuery::primaryKey(item.attributes[kSecClass].asString()->view())) {
      key.set(attribute, item.attributes[attribute]);
    }
    auto query = SecureItemQuery::parse(key, SecureItemQuery::Purpose::Match, &status);
    if (!query) return status;
    query->matchAll();
    std::vector<SecretItem*> daemonItems;
    std::vector<SecureItem> items;
    status = search(*query, daemonItems, items);
    for (SecretItem* daemonItem : daemonItems) gobject().object_unref(daemonItem);
    clash = std::any_of(items.begin(), items.end(),
                        [&](const SecureItem& held) { return held.reference != item.reference; });
    return status;
  }
};

namespace {

// Releases the daemon items a search handed out.
struct DaemonItems {
  std::vector<SecretItem*> items;
  ~DaemonItems() {
    for (SecretItem* item : items) gobject().object_unref(item);
  }
};

bool sessionBusOffersSecrets() {
  if (!detail::secretLoadError().empty()) return false;
  GError* error = nullptr;
  GDBusConnection* bus = gio().bus_get_sync(G_BUS_TYPE_SESSION, nullptr, &error);
  if (!bus) {
    glib().error_free(error);
    return false;
  }
  bool offered = false;
  for (const char* method : {"NameHasOwner", "ListActivatableNames"}) {
    const bool hasOwner = std::string_view(method) == "NameHasOwner";
    GVariant* reply = gio().dbus_connection_call_sync(
        bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", method,
        hasOwner ? glib().variant_new("(s)", "org.freedesktop.secrets") : nullptr, nullptr,
        G_DBUS_CALL_FLAGS_NONE, 2000, nullptr, nullptr);
    if (!reply) continue;
    if (hasOwner) {
      gboolean owned = FALSE;
      glib().variant_get(reply, "(b)", &owned);
      offered = owned;
    } else {
      const gchar** names = nullptr;
      glib().variant_get(reply, "(^a&s)", &names);
      for (const gchar** name = names; name && *name && !offered; ++name) {
        offered = std::string_view(*name) == "org.freedesktop.secrets";
      }
      glib().free(names);
    }
    glib().variant_unref(reply);
    if (offered) break;
  }
  gobject().object_unref(bus);
  return offered;
}

}  // namespace

bool SecretServiceSecureItemStore::isReachable() { return sessionBusOffersSecrets(); }

std::shared_ptr<SecretServiceSecureItemStore> SecretServiceSecureItemStore::open(OSStatus* status) {
  if (const std::string& missing = detail::secretLoadError(); !missing.empty()) {
    logLine(u"The Secret Service cannot be reached: " + fromUTF8(missing));
    if (status) *status = errSecNotAvailable;
    return nullptr;
  }
  if (!sessionBusOffersSecrets()) {
    if (status) *status = errSecNotAvailable;
    return nullptr;
  }
  GError* error = nullptr;
  SecretService* service =
      libsecret().service_get_sync(SECRET_SERVICE_OPEN_SESSION, nullptr, &error);
  if (!service) {
    if (status) *status = statusFor(error);
    return nullptr;
  }
  auto connection = std::make_unique<Connection>();
  connection->service = service;
  if (status) *status = errSecSuccess;
  return std::shared_ptr<SecretServiceSecureItemStore>(
      new SecretServiceSecureItemStore(std::move(connection)));
}

SecretServiceSecureItemStore::SecretServiceSecureItemStore(std::unique_ptr<Connection> connection)
    : connection_(std::move(connection)) {}

SecretServiceSecureItemStore::~SecretServiceSecureItemStore() = default;

OSStatus SecretServiceSecureItemStore::find(const SecureItemQuery& query,
                                            std::vector<SecureItem>& items) {
  std::lock_guard lock(connection_->mutex);
  DaemonItems found;
  OSStatus status = connection_->search(query, found.items, items);
  for (std::size_t i = 0; status == errSecSuccess && query.wantsSecret() && i < items.size(); ++i) {
    status = connection_->loadSecret(found.items[i], items[i].secret);
  }
  if (status != errSecSuccess) items.clear();
  return status;
}

OSStatus SecretServiceSecureItemStore::insert(const SecureItem& item) {
  std::lock_guard lock(connection_->mutex);
  bool clash = false;
  OSStatus status = connection_->findClash(item, clash);
  if (status != errSecSuccess) return status;
  if (clash) return errSecDuplicateItem;
  const auto attributes = storedAttributes(item);
  if (!attributes) return errSecParam;
  GError* error = nullptr;
  SecretCollection* collection = libsecret().collection_for_alias_sync(
      connection_->service, SECRET_COLLECTION_DEFAULT, SECRET_COLLECTION_NONE, nullptr, &error);
  if (!collection) return error ? statusFor(error) : errSecNotAvailable;
  if (libsecret().collection_get_locked(collection)) {
    gobject().object_unref(collection);
    return errSecInteractionNotAllowed;
  }
  SecretValue* value =
      libsecret().value_new(reinterpret_cast<const gchar*>(item.secret.data()),
                            static_cast<gssize>(item.secret.size()), "application/octet-stream");
  SecretItem* created = libsecret().item_create_sync(
      collection, schemaFor(item.attributes[kSecClass].asString()->view()), attributes->get(),
      labelFor(item).c_str(), value, SECRET_ITEM_CREATE_NONE, nullptr, &error);
  libsecret().value_unref(value);
  gobject().object_unref(collection);
  if (!created) return statusFor(error);
  gobject().object_unref(created);
  return errSecSuccess;
}

OSStatus SecretServiceSecureItemStore::modify(const SecureItemQuery& query,
                                              const Dictionary& attributeChanges,
                                              const std::optional<Data>& secret) {
  std::lock_guard lock(connection_->mutex);
  DaemonItems found;
  std::vector<SecureItem> items;
  OSStatus status = connection_->search(query, found.items, items);
  if (status != errSecSuccess) return status;
  if (items.empty()) return errSecItemNotFound;
  // Every clash is looked for before the first change.
  for (SecureItem& item : items) {
    item.attributes.addEntries(attributeChanges);
    bool clash = false;
    status = connection_->findClash(item, clash);
    if (status != errSecSuccess) return status;
    if (clash) return errSecDuplicateItem;
  }
  for (std::size_t i = 0; i < items.size(); ++i) {
    SecretItem* daemonItem = found.items[i];
    if (libsecret().item_get_locked(daemonItem)) return errSecInteractionNotAllowed;
    const auto attributes = storedAttributes(items[i]);
    if (!attributes) return errSecParam;
    GError* error = nullptr;
    const SecretSchema* schema = schemaFor(items[i].attributes[kSecClass].asString()->view());
    if (!libsecret().item_set_attributes_sync(daemonItem, schema, attributes->get(), nullptr,
                                              &error) ||
        !libsecret().item_set_label_sync(daemonItem, labelFor(items[i]).c_str(), nullptr, &error)) {
      return statusFor(error);
    }
    if (secret) {
      SecretValue* value =
          libsecret().value_new(reinterpret_cast<const gchar*>(secret->data()),
                                static_cast<gssize>(secret->size()), "application/octet-stream");
      const bool set = libsecret().item_set_secret_sync(daemonItem, value, nullptr, &error);
      libsecret().value_unref(value);
      if (!set) return statusFor(error);
    }
  }
  return errSecSuccess;
}

OSStatus SecretServiceSecureItemStore::erase(const SecureItemQuery& query) {
  std::lock_guard lock(connection_->mutex);
  DaemonItems found;
  std::vector<SecureItem> items;
  OSStatus status = connection_->search(query, found.items, items);
  if (status != errSecSuccess) return status;
  if (items.empty()) return errSecItemNotFound;
  for (SecretItem* daemonItem : found.items) {
    if (libsecret().item_get_locked(daemonItem)) return errSecInteractionNotAllowed;
    GError* error = nullptr;
    if (!libsecret().item_delete_sync(daemonItem, nullptr, &error)) return statusFor(error);
  }
  return errSecSuccess;
}

}  // namespace lx

#else  // without libsecret, there is never a Secret Service to offer

namespace lx {

bool SecretServiceSecureItemStore::isReachable() { return false; }

std::shared_ptr<SecretServiceSecureItemStore> SecretServiceSecureItemStore::open(OSStatus* status) {
  if (status) *status = errSecNotAvailable;
  return nullptr;
}

}  // namespace lx

#endif
