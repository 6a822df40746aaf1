#include "vantorcore/platform/EmbeddedSecureItemStore.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <string>
#include <unordered_map>

#include "SecretCipher.h"
#include "vantorcore/platform/PropertyList.h"
#include "vantorcore/platform/SecureItemQuery.h"

namespace lx {
namespace {

// Every primary-key attribute has a column of its own (in this order), so
// lookups by them use the indexes; other attributes are matched after
// decoding the row.
std::span<const StringView> columns() { return SecureItemQuery::primaryKeyAttributes(); }

constexpr const char* kSchema =
    "CREATE TABLE IF NOT EXISTS items(ref BLOB PRIMARY KEY NOT NULL, class TEXT NOT NULL,"
    " acct BLOB NOT NULL, svce BLOB NOT NULL, srvr BLOB NOT NULL, ptcl BLOB NOT NULL,"
    " atyp BLOB NOT NULL, port INTEGER NOT NULL, path BLOB NOT NULL, sdmn BLOB NOT NULL,"
    " agrp BLOB NOT NULL, sync INTEGER NOT NULL, attributes BLOB NOT NULL, secret BLOB NOT NULL)"
    " WITHOUT ROWID;"
    "CREATE UNIQUE INDEX IF NOT EXISTS genp_key ON items(acct, svce, agrp, sync)"
    " WHERE class = 'genp';"
    "CREATE UNIQUE INDEX IF NOT EXISTS inet_key ON items(acct, sdmn, srvr, ptcl, atyp, port,"
    " path, agrp, sync) WHERE class = 'inet';";

OSStatus statusForSQLite(int code) {
  switch (code & 0xff) {
    case SQLITE_OK:
    case SQLITE_ROW:
    case SQLITE_DONE:
      return errSecSuccess;
    case SQLITE_CONSTRAINT:
      return errSecDuplicateItem;
    case SQLITE_READONLY:
      return errSecReadOnly;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
      return errSecInvalidKeychain;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
    case SQLITE_CANTOPEN:
    case SQLITE_PERM:
    case SQLITE_AUTH:
      return errSecNotAvailable;
    default:
      return errSecIO;
  }
}

std::string utf8(const Value& value) {
  return value.isString() ? toUTF8(*value.asString()) : std::string();
}

}  // namespace

struct EmbeddedSecureItemStore::Database {
  sqlite3* db = nullptr;
  // Recursive: a batch holds it while the operations inside take it again.
  std::recursive_mutex mutex;
  // How many write transactions are open; inner ones are savepoints, so a
  // batch commits (and syncs) once.
  int transactionDepth = 0;
  std::optional<SecretCipher> cipher;
  // Set when the store cannot serve at all; every operation returns it.
  OSStatus broken = errSecSuccess;
  std::unordered_map<std::string, sqlite3_stmt*> statements;

  ~Database() {
    for (auto& [sql, statement] : statements) sqlite3_finalize(statement);
    sqlite3_close_v2(db);
  }

  // A cached prepared statement, reset and unbound by `Use`'s destructor.
  sqlite3_stmt* prepare(const std::string& sql, int* code) {
    if (auto it = statements.find(sql); it != statements.end()) return it->second;
    sqlite3_stmt* statement = nullptr;
    *code = sqlite3_prepare_v3(db, sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
    if (*code != SQLITE_OK) return nullptr;
    statements.emplace(sql, statement);
    return statement;
  }

  int exec(const char* sql) { return sqlite3_exec(db, sql, nullptr, nullptr, nullptr); }

  // Both with `mutex` held. Finds the rows `query` selects, up to its limit.
  OSStatus findLocked(const SecureItemQuery& query, std::vector<SecureItem>& items);
  // Inserts `item` or, with `replace`, rewrites the row of its reference
  // (keeping the stored secret when `secret` is absent).
  OSStatus writeLocked(const SecureItem& item, bool replace, const std::optional<Data>& secret);
};

namespace {

class Use {
 public:
  explicit Use(sqlite3_stmt* statement) : statement_(statement) {}
  ~Use() {
    sqlite3_reset(statement_);
    sqlite3_clear_bindings(statement_);
  }
  Use(const Use&) = delete;
  Use& operator=(const Use&) = delete;

  void bind(int index, const Value& value) {
    if (value.isString() || value.isNull()) {
      const std::string text = utf8(value);
      sqlite3_bind_blob(statement_, index, text.data(), static_cast<int>(text.size()),
                        SQLITE_TRANSIENT);
    } else if (value.isData()) {
      const Data& data = *value.asData();
      sqlite3_bind_blob(statement_, index, data.data(), static_cast<int>(data.size()),
                        SQLITE_TRANSIENT);
    } else {
      sqlite3_bind_int64(statement_, index, value.int64Value());
    }
  }
  // The class column holds text, as the unique indexes' conditions compare it.
  void bindText(int index, const std::string& text) {
    sqlite3_bind_text(statement_, index, text.data(), static_cast<int>(text.size()),
                      SQLITE_TRANSIENT);
  }
  int step() { return sqlite3_step(statement_); }
  [[nodiscard]] Data blob(int column) const {
    const auto* bytes = static_cast<const std::uint8_t*>(sqlite3_column_blob(statement_, column));
    return Data(bytes, bytes + sqlite3_column_bytes(statement_, column));
  }

 private:
  sqlite3_stmt* statement_;
};

// Rolls back unless committed, so every early return leaves no half change.
// Inside another write transaction it is a savepoint: its failure undoes only
// its own part, and the outermost one commits for all.
class WriteTransaction {
 public:
  // `depth` counts the write transactions open on `db`.
  WriteTransaction(sqlite3* db, int& depth) : db_(db), depth_(depth) {
    code_ = exec(depth == 0 ? "BEGIN IMMEDIATE" : "SAVEPOINT inner");
    if (code_ == SQLITE_OK) ++depth;
  }
  ~WriteTransaction() {
    if (code_ != SQLITE_OK || done_) return;
    --depth_;
    exec(depth_ == 0 ? "ROLLBACK" : "ROLLBACK TO inner; RELEASE inner");
  }
  WriteTransaction(const WriteTransaction&) = delete;
  WriteTransaction& operator=(const WriteTransaction&) = delete;
  [[nodiscard]] int code() const noexcept { return code_; }
  int commit() {
    done_ = true;
    --depth_;
    return exec(depth_ == 0 ? "COMMIT" : "RELEASE inner");
  }

 private:
  int exec(const char* sql) { return sqlite3_exec(db_, sql, nullptr, nullptr, nullptr); }

  sqlite3* db_;
  int& depth_;
  int code_;
  bool done_ = false;
};

std::string columnName(StringView key) { return toUTF8(key); }

// Reads the key file, or makes one when the database holds no secrets yet.
OSStatus loadKey(const std::filesystem::path& keyPath, bool databaseHasItems, Data& key) {
  for (int attempt = 0; attempt < 2; ++attempt) {
    const int fd = ::open(keyPath.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd >= 0) {
      key.assign(SecretCipher::kKeySize + 1, 0);
      const ssize_t n = ::read(fd, key.data(), key.size());
      ::close(fd);
      if (n != static_cast<ssize_t>(SecretCipher::kKeySize)) return errSecNotAvailable;
      key.resize(SecretCipher::kKeySize);
      return errSecSuccess;
    }
    if (errno != ENOENT || databaseHasItems) return errSecNotAvailable;
    key = SecretCipher::makeKey();
    if (key.empty()) return errSecNotAvailable;
    // A temporary file renamed into place without replacing: another process
    // that raced us to it wins, and we read its key on the next round.
    const std::filesystem::path temporary = keyPath.string() + ".new" + std::to_string(::getpid());
    const int out = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (out < 0) return errSecIO;
    const bool written = ::write(out, key.data(), key.size()) == static_cast<ssize_t>(key.size()) &&
                         ::fsync(out) == 0;
    ::close(out);
    const bool linked = written && ::link(temporary.c_str(), keyPath.c_str()) == 0;
    ::unlink(temporary.c_str());
    if (linked) return errSecSuccess;
    if (errno != EEXIST) return errSecIO;
  }
  return errSecNotAvailable;
}

}  // namespace

std::filesystem::path EmbeddedSecureItemStore::standardPath() {
  const char* dataHome = std::getenv("XDG_DATA_HOME");
  std::filesystem::path base;
  if (dataHome && *dataHome) {
    base = dataHome;
  } else {
    const char* home = std::getenv("HOME");
    base = std::filesystem::path(home ? home : "/") / ".local/share";
  }
  return base / "vantorcore" / "Keychain.sqlite";
}

std::filesystem::path EmbeddedSecureItemStore::keyPathFor(
    const std::filesystem::path& databasePath) {
  return databasePath.parent_path() / (databasePath.stem().string() + ".key");
}

EmbeddedSecureItemStore::EmbeddedSecureItemStore(std::unique_ptr<Database> database)
    : database_(std::move(database)) {}

EmbeddedSecureItemStore::~EmbeddedSecureItemStore() = default;

std::shared_ptr<EmbeddedSecureItemStore> EmbeddedSecureItemStore::open(
    const std::filesystem::path& databasePath, OSStatus* status) {
  auto database = std::make_unique<Database>();
  auto finish = [&](OSStatus result) {
    database->broken = result;
    if (status) *status = result;
    return std::shared_ptr<EmbeddedSecureItemStore>(
        new EmbeddedSecureItemStore(std::move(database)));
  };
  // The folder is ours alone too, so nobody else learns even its contents.
  std::error_code error;
  std::filesystem::create_directories(databasePath.parent_path().parent_path(), error);
  ::mkdir(databasePath.parent_path().c_str(), 0700);
  // Made here first so that the file never exists with a wider mode; the
  // WAL and shared-memory files take their mode from it.
  const int fd = ::open(databasePath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (fd >= 0) ::close(fd);
  int code = sqlite3_open_v2(databasePath.c_str(), &database->db,
                             SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
  if (code != SQLITE_OK) return finish(statusForSQLite(code));
  sqlite3_extended_result_codes(database->db, 1);
  sqlite3_busy_timeout(database->db, 5000);
  // A read-only file keeps whatever journal mode it has; that is no fault.
  database->exec("PRAGMA journal_mode=WAL");
  database->exec("PRAGMA synchronous=FULL");
  code = database->exec(kSchema);
  if (code != SQLITE_OK && (code & 0xff) != SQLITE_READONLY) return finish(statusForSQLite(code));
  sqlite3_stmt* count = database->prepare("SELECT EXISTS(SELECT 1 FROM items)", &code);
  if (!count) return finish(statusForSQLite(code));
  bool hasItems = false;
  {
    Use use(count);
    code = use.step();
    if (code != SQLITE_ROW) return finish(statusForSQLite(code));
    hasItems = sqlite3_column_int(count, 0) != 0;
  }
  Data key;
  const OSStatus keyStatus = loadKey(keyPathFor(databasePath), hasItems, key);
  if (keyStatus != errSecSuccess) return finish(keyStatus);
  database->cipher.emplace(key);
  return finish(errSecSuccess);
}

OSStatus EmbeddedSecureItemStore::Database::findLocked(const SecureItemQuery& query,
                                                       std::vector<SecureItem>& items) {
  std::string sql = "SELECT ref, attributes, secret FROM items WHERE 1";
  std::vector<Value> arguments;
  if (!query.itemClass().empty()) {
    // Spelled out rather than bound so that the partial indexes apply.
    sql += query.itemClass() == kSecClassGenericPassword ? " AND class = 'genp'"
                                                         : " AND class = 'inet'";
  }
  if (query.reference()) {
    sql += " AND ref = ?";
    arguments.emplace_back(*query.reference());
  }
  for (StringView column : columns()) {
    if (column == kSecAttrSynchronizable) continue;
    if (const Value* value = query.attributes().find(column)) {
      sql += " AND " + columnName(column) + " = ?";
      arguments.push_back(*value);
    }
  }
  if (query.synchronizable() != SecureItemQuery::Synchronizable::Any) {
    sql += query.synchronizable() == SecureItemQuery::Synchronizable::Local ? " AND sync = 0"
                                                                            : " AND sync = 1";
  }
  int code = SQLITE_OK;
  sqlite3_stmt* statement = prepare(sql, &code);
  if (!statement) return statusForSQLite(code);
  Use use(statement);
  for (std::size_t i = 0; i < arguments.size(); ++i)
    use.bind(static_cast<int>(i + 1), arguments[i]);
  while (items.size() < query.limit() && (code = use.step()) == SQLITE_ROW) {
    SecureItem item;
    item.reference = use.blob(0);
    const Data encoded = use.blob(1);
    auto attributes = PropertyList::read(encoded);
    if (!attributes || !attributes->isDictionary()) return errSecInvalidKeychain;
    item.attributes = *attributes->asDictionary();
    if (!query.matches(item)) continue;
    if (query.wantsSecret()) {
      auto secret = cipher->open(use.blob(2), item.reference);
      if (!secret) return errSecDecode;
      item.secret = std::move(*secret);
    }
    items.push_back(std::move(item));
  }
  return code == SQLITE_ROW ? errSecSuccess : statusForSQLite(code);
}

OSStatus EmbeddedSecureItemStore::Database::writeLocked(const SecureItem& item, bool replace,
                                                        const std::optional<Data>& secret) {
  const auto encoded = PropertyList::write(Value(item.attributes), PropertyList::Format::Binary);
  if (!encoded) return errSecParam;
  std::optional<Data> sealed;
  if (secret) {
    sealed = cipher->seal(*secret, item.reference);
    if (!sealed) return errSecIO;
  }
  std::string sql;
  if (replace) {
    sql = "UPDATE items SET class = ?";
    for (StringView column : columns()) sql += ", " + columnName(column) + " = ?";
    sql += ", attributes = ?";
    if (sealed) sql += ", secret = ?";
    sql += " WHERE ref = ?";
  } else {
    sql = "INSERT INTO items(class";
    for (StringView column : columns()) sql += ", " + columnName(column);
    sql += ", attributes, secret, ref) VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)";
  }
  int code = SQLITE_OK;
  sqlite3_stmt* statement = prepare(sql, &code);
  if (!statement) return statusForSQLite(code);
  Use use(statement);
  int index = 1;
  use.bindText(index++, utf8(item.attributes[kSecClass]));
  for (StringView column : columns()) use.bind(index++, item.attributes[column]);
  use.bind(index++, Value(*encoded));
  if (sealed) use.bind(index++, Value(*sealed));
  use.bind(index++, Value(item.reference));
  code = use.step();
  return code == SQLITE_DONE ? errSecSuccess : statusForSQLite(code);
}

OSStatus EmbeddedSecureItemStore::find(const SecureItemQuery& query,
                                       std::vector<SecureItem>& items) {
  const std::lock_guard lock(database_->mutex);
  if (database_->broken != errSecSuccess) return database_->broken;
  return database_->findLocked(query, items);
}

OSStatus EmbeddedSecureItemStore::insert(const SecureItem& item) {
  const std::lock_guard lock(database_->mutex);
  if (database_->broken != errSecSuccess) return database_->broken;
  return database_->writeLocked(item, false, item.secret);
}

OSStatus EmbeddedSecureItemStore::changeMatching(
    const SecureItemQuery& query, const std::function<OSStatus(std::vector<SecureItem>&)>& change) {
  const std::lock_guard lock(database_->mutex);
  if (database_->broken != errSecSuccess) return database_->broken;
  WriteTransaction transaction(database_->db, database_->transactionDepth);
  if (transaction.code() != SQLITE_OK) return statusForSQLite(transaction.code());
  std::vector<SecureItem> items;
  OSStatus status = database_->findLocked(query, items);
  if (status != errSecSuccess) return status;
  if (items.empty()) return errSecItemNotFound;
  status = change(items);
  if (status != errSecSuccess) return status;
  return statusForSQLite(transaction.commit());
}

OSStatus EmbeddedSecureItemStore::modify(const SecureItemQuery& query,
                                         const Dictionary& attributeChanges,
                                         const std::optional<Data>& secret) {
  return changeMatching(query, [&](std::vector<SecureItem>& items) {
    for (SecureItem& item : items) {
      item.attributes.addEntries(attributeChanges);
      const OSStatus status = database_->writeLocked(item, true, secret);
      if (status != errSecSuccess) return status;
    }
    return errSecSuccess;
  });
}

OSStatus EmbeddedSecureItemStore::erase(const SecureItemQuery& query) {
  return changeMatching(query, [&](std::vector<SecureItem>& items) {
    int code = SQLITE_OK;
    sqlite3_stmt* statement = database_->prepare("DELETE FROM items WHERE ref = ?", &code);
    if (!statement) return statusForSQLite(code);
    for (const SecureItem& item : items) {
      Use use(statement);
      use.bind(1, Value(item.reference));
      code = use.step();
      if (code != SQLITE_DONE) return statusForSQLite(code);
    }
    return errSecSuccess;
  });
}

OSStatus EmbeddedSecureItemStore::performAsOneChange(const std::function<OSStatus()>& changes) {
  const std::lock_guard lock(database_->mutex);
  if (database_->broken != errSecSuccess) return database_->broken;
  WriteTransaction transaction(database_->db, database_->transactionDepth);
  if (transaction.code() != SQLITE_OK) return statusForSQLite(transaction.code());
  const OSStatus status = changes();
  if (status != errSecSuccess) return status;
  return statusForSQLite(transaction.commit());
}

}  // namespace lx
