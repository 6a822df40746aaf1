// `UserDefaults`: the preferences store, persisted as XML property lists.
//
// Layout: each store is one file in the configuration folder
// ($XDG_CONFIG_HOME, else ~/.config):
//   standard store  <config>/<main bundle identifier>.plist, or
//                   <config>/<process name>.plist without an identifier;
//   suite "name"    <config>/<name>.plist.
// Files are replaced atomically with mode 0600. A file that is not a
// property list with a dictionary at its top is renamed to
// "<file>.corrupt-<unix time>", the line "UserDefaults: moved unreadable
// preferences <path> aside to <new path>" is logged and the store starts
// empty (an empty file too).
//
// Lookup order: the store's own values, then the registration domain
// (`registerDefaults`), which is never written to disk.
//
// Observation: a store is an `Observable` (one key per registration, the
// change dictionary holding the values looked up as above), and also takes
// closures (`addObserver(key, observer)`). Observers are called on the
// thread that made the change, after it is complete and without the store's
// lock held, so they may read (and even write) the store.
//
// While a store has observers it watches its file: a change made by another
// process (or another store object over the same file) is read shortly
// after, and observers of the keys whose values differ are called on a
// dispatch engine thread, once per change even when the writer touched the
// file several times within a few milliseconds. What the watch makes of the
// file:
//   replaced or rewritten       the keys that differ, with their new values
//   removed                     every key the store had, as removed
//   emptied, not a property list  moved aside as above; every key as removed
//   unreadable (a folder, EACCES)  "UserDefaults: couldn't read <path>: ..."
//                               is logged, values and observers stay as they
//                               were until it is readable again
// Removing the configuration folder itself ends the watch.
//
// Every member may be called from any thread.
#pragma once

#include "vantorcore/Export.h"

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>

#include "vantorcore/platform/Data.h"
#include "vantorcore/platform/Observable.h"
#include "vantorcore/platform/String.h"
#include "vantorcore/platform/Value.h"

namespace LX_API lx {

class UserDefaults : public Observable {
 public:
  /// Called with the key and its new value (absent once removed) after the
  /// value changed: set or removed here, or changed on disk and picked up
  /// by the watch or `synchronize`.
  using Observer = std::function<void(const String& key, const std::optional<Value>& value)>;

  /// Unregisters its observer when destroyed. Move-only; a default-made or
  /// moved-from token does nothing.
  class ObserverToken {
   public:
    ObserverToken() = default;
    /// Tokens move; a moved-from token removes nothing.
    ///@{
    ObserverToken(ObserverToken&& other) noexcept;
    ObserverToken& operator=(ObserverToken&& other) noexcept;
    ///@}
    ObserverToken(const ObserverToken&) = delete;
    ObserverToken& operator=(const ObserverToken&) = delete;
    ~ObserverToken();
    /// Unregisters now; later calls do nothing.
    void reset();

   private:
    friend class UserDefaults;
    ObserverToken(std::weak_ptr<UserDefaults> store, std::uint64_t id);
    std::weak_ptr<UserDefaults> store_;
    std::uint64_t id_ = 0;
  };

  /// The process's standard store, loaded on first use.
  static std::shared_ptr<UserDefaults> standardUserDefaults();
  /// Drops the standard store, so that the next `standardUserDefaults()`
  /// loads it again from disk (and reads HOME/XDG_CONFIG_HOME again).
  /// Meant for tests; holders of the old store keep a working, detached
  /// object. Registered defaults and observers of the old store are gone.
  static void resetStandardUserDefaults();

  /// The store of the suite `name` (the file <config>/<name>.plist). Each
  /// call makes a new object over the same file; writes of one become
  /// visible to the others on `synchronize`. An empty name or one holding
  /// "/" gives null, as does a name equal to the standard store's.
  static std::shared_ptr<UserDefaults> suiteNamed(StringView name);

  /// The file backing this store.
  [[nodiscard]] const String& path() const noexcept { return path_; }

  /// The value under `key`: the store's own, else the registered default,
  /// else absent.
  [[nodiscard]] std::optional<Value> objectForKey(StringView key);
  /// The value if it is a string, else absent.
  [[nodiscard]] std::optional<String> stringForKey(StringView key);
  /// A number or a string read as a boolean ("YES", "true", "1"...); false
  /// for anything else or absent.
  [[nodiscard]] bool boolForKey(StringView key);
  /// A number (reals truncate) or a string's leading number; 0 otherwise.
  [[nodiscard]] std::int64_t integerForKey(StringView key);
  /// A number or a string's leading number; 0 otherwise.
  [[nodiscard]] double doubleForKey(StringView key);
  /// The value if it is an array / dictionary / data, else absent.
  [[nodiscard]] std::optional<Array> arrayForKey(StringView key);
  /// The value under `key` when it is a dictionary; absent otherwise.
  [[nodiscard]] std::optional<Dictionary> dictionaryForKey(StringView key);
  /// The value under `key` when it is data; absent otherwise.
  [[nodiscard]] std::optional<Data> dataForKey(StringView key);

  /// Stores `value` and writes the file. A null value removes the key. A
  /// value without a property-list form (an object, or one inside) is
  /// refused: nothing changes and "UserDefaults: refusing to store a
  /// non-property-list value for key <key>" is logged.
  void setObject(const Value& value, StringView key);
  /// Removes the key and writes the file; observers hear of it only if it
  /// was there.
  void removeObjectForKey(StringView key);

  /// Adds to the registration domain: fallbacks that are never persisted.
  /// Later registrations of a key win.
  void registerDefaults(const Dictionary& defaults);

  /// Re-reads the file when another process (or another object over the
  /// same file) changed it since this store last read or wrote it (by
  /// modification time, size or inode), telling observers about changed
  /// keys. Returns false only when the file exists and cannot be read.
  bool synchronize();

  /// The registered defaults overlaid with the store's values.
  [[nodiscard]] Dictionary dictionaryRepresentation();

  using Observable::addObserver;
  /// Calls `observer` after each change of `key`; see the file comment for
  /// the thread. The returned token unregisters it when destroyed.
  [[nodiscard]] ObserverToken addObserver(StringView key, Observer observer);
  /// The same for a change of any key.
  [[nodiscard]] ObserverToken addObserverForAllKeys(Observer observer);

  /// The value for `key`, as `objectForKey` finds it.
  [[nodiscard]] std::optional<Value> valueForKey(StringView key) const override;

  /// Use `standardUserDefaults()` or `suiteNamed()`; public for make_shared.
  explicit UserDefaults(String path);
  ~UserDefaults() override;

 protected:
  void observerAdded(StringView keyPath) override;

 private:
  struct FileStamp {
    bool exists = false;
    std::int64_t mtimeNanoseconds = 0;
    std::int64_t size = 0;
    std::uint64_t inode = 0;
    friend bool operator==(const FileStamp&, const FileStamp&) = default;
  };
  struct Change {
    String key;
    std::optional<Value> oldValue;
    std::optional<Value> newValue;
  };
  FileStamp stampOfFile() const;
  // Reads the file into `values_` when it changed; returns the keys whose
  // values differ. Called with `mutex_` held.
  std::vector<Change> reloadLocked(bool* readFailed);
  std::optional<Value> lookupLocked(StringView key) const;
  void notify(const std::vector<Change>& changes);
  ObserverToken addKeyObserver(std::optional<String> key, Observer observer);
  void removeKeyObserver(std::uint64_t id);
  void startWatching();
  std::optional<Value> lookup(StringView key);

  const String path_;
  mutable std::mutex mutex_;
  Dictionary values_;
  Dictionary registered_;
  FileStamp stamp_;
  bool loaded_ = false;
  std::mutex observersMutex_;
  std::uint64_t nextObserverId_ = 1;
  // By id; an absent key observes every key.
  std::map<std::uint64_t, std::pair<std::optional<String>, std::shared_ptr<Observer>>> observers_;
  std::once_flag watchOnce_;
  std::uint64_t watchId_ = 0;  // set once under watchOnce_
};

}  // namespace lx
