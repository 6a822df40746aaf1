#include "platform/FileSystemEventHistory.h"

#include <sqlite3.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>

#include "vantorcore/platform/Log.h"
#include "vantorcore/platform/String+Paths.h"

namespace lx::detail {

namespace {

constexpr char kSchema[] =
    "CREATE TABLE IF NOT EXISTS counter (id INTEGER PRIMARY KEY CHECK (id = 0),"
    " next INTEGER NOT NULL);"
    "INSERT OR IGNORE INTO counter VALUES (0, 1);"
    "CREATE TABLE IF NOT EXISTS snapshots (root BLOB PRIMARY KEY, event_id INTEGER NOT NULL,"
    " records BLOB NOT NULL);";

std::string defaultPath() {
  const char* state = std::getenv("XDG_STATE_HOME");
  std::string folder = state && state[0] == '/'
                           ? std::string(state)
                           : fileSystemRepresentation(homeDirectory()) + "/.local/state";
  return folder + "/vantorcore/fsevents.sqlite";
}

std::uint64_t microsecondsSince1970() {
  return std::chrono::duration_cast<std::chrono::microseconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

// A prepared statement that finalises itself.
class Statement {
 public:
  Statement(sqlite3* db, const char* sql) { sqlite3_prepare_v2(db, sql, -1, &statement_, nullptr); }
  ~Statement() { sqlite3_finalize(statement_); }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;
  sqlite3_stmt* get() const { return statement_; }
  [[nodiscard]] bool valid() const { return statement_ != nullptr; }

 private:
  sqlite3_stmt* statement_ = nullptr;
};

}  // namespace

FileSystemEventHistory& FileSystemEventHistory::shared() {
  static auto* history = new FileSystemEventHistory(defaultPath());
  return *history;
}

FileSystemEventHistory::FileSystemEventHistory(const std::string& path) {
  std::error_code ec;
  std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ec);
  if (open(path)) return;
  logLine(u"FileSystemEventHistory: moving aside the unusable " +
          stringWithFileSystemRepresentation(path));
  std::filesystem::rename(path, path + ".unusable", ec);
  if (open(path)) return;
  next_ = microsecondsSince1970();
  reserved_ = UINT64_MAX;
}

FileSystemEventHistory::~FileSystemEventHistory() { sqlite3_close(db_); }

bool FileSystemEventHistory::open(const std::string& path) {
  sqlite3_close(db_);
  db_ = nullptr;
  if (sqlite3_open_v2(path.c_str(), &db_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr) !=
      SQLITE_OK) {
    sqlite3_close(db_);
    db_ = nullptr;
    return false;
  }
  chmod(path.c_str(), 0600);
  sqlite3_busy_timeout(db_, 5000);
  if (sqlite3_exec(db_, kSchema, nullptr, nullptr, nullptr) == SQLITE_OK && reserveBlock()) {
    return true;
  }
  sqlite3_close(db_);
  db_ = nullptr;
  return false;
}

bool FileSystemEventHistory::reserveBlock() {
  // One statement both moves the counter and reads where the block starts,
  // so two processes never get the same block.
  Statement update(db_, "UPDATE counter SET next = next + ?1 WHERE id = 0 RETURNING next - ?1;");
  if (!update.valid()) return false;
  sqlite3_bind_int64(update.get(), 1, static_cast<sqlite3_int64>(kBlockSize));
  if (sqlite3_step(update.get()) != SQLITE_ROW) return false;
  const sqlite3_int64 start = sqlite3_column_int64(update.get(), 0);
  if (start < 1 || static_cast<std::uint64_t>(start) > UINT64_MAX - 2 * kBlockSize) return false;
  next_ = static_cast<std::uint64_t>(start);
  reserved_ = next_ + kBlockSize;
  return true;
}

std::uint64_t FileSystemEventHistory::nextEventID() {
  const std::lock_guard lock(mutex_);
  if (next_ == reserved_ && !(db_ && reserveBlock())) {
    // The database went away mid-run: carry on in memory.
    reserved_ = UINT64_MAX;
  }
  return next_++;
}

std::uint64_t FileSystemEventHistory::latestEventID() {
  const std::lock_guard lock(mutex_);
  return next_ - 1;
}

void FileSystemEventHistory::saveSnapshot(const std::string& root, const TreeSnapshot& snapshot) {
  const std::lock_guard lock(mutex_);
  if (!db_) return;
  Statement insert(db_, "INSERT OR REPLACE INTO snapshots VALUES (?1, ?2, ?3);");
  if (!insert.valid()) return;
  const Data records = snapshot.serialized();
  sqlite3_bind_blob(insert.get(), 1, root.data(), static_cast<int>(root.size()), SQLITE_STATIC);
  sqlite3_bind_int64(insert.get(), 2, static_cast<sqlite3_int64>(snapshot.eventID));
  sqlite3_bind_blob64(insert.get(), 3, records.data(), records.size(), SQLITE_STATIC);
  sqlite3_step(insert.get());
}

std::optional<TreeSnapshot> FileSystemEventHistory::snapshot(const std::string& root) {
  const std::lock_guard lock(mutex_);
  if (!db_) return std::nullopt;
  Statement select(db_, "SELECT records FROM snapshots WHERE root = ?1;");
  if (!select.valid()) return std::nullopt;
  sqlite3_bind_blob(select.get(), 1, root.data(), static_cast<int>(root.size()), SQLITE_STATIC);
  if (sqlite3_step(select.get()) != SQLITE_ROW) return std::nullopt;
  const auto* bytes = static_cast<const std::uint8_t*>(sqlite3_column_blob(select.get(), 0));
  const int size = sqlite3_column_bytes(select.get(), 0);
  if (!bytes) return std::nullopt;
  return TreeSnapshot::deserialized(DataView(bytes, static_cast<std::size_t>(size)));
}

}  // namespace lx::detail
