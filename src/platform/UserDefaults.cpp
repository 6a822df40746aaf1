#include "vantorcore/platform/UserDefaults.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <filesystem>

#include "PreferencesFileMonitor.h"
#include "vantorcore/platform/Bundle.h"
#include "vantorcore/platform/FileIO.h"
#include "vantorcore/platform/Log.h"
#include "vantorcore/platform/ProcessInfo.h"
#include "vantorcore/platform/PropertyList.h"
#include "vantorcore/platform/String+Paths.h"

namespace lx {

namespace {

String configurationFolder() {
  if (const auto value = ProcessInfo::environmentValue("XDG_CONFIG_HOME");
      value && value->starts_with(u'/')) {
    return *value;
  }
  return stringByAppendingPathComponent(homeDirectory(), u".config");
}

String standardStoreName() {
  if (auto identifier = Bundle::main().bundleIdentifier(); identifier && !identifier->empty()) {
    return *identifier;
  }
  return ProcessInfo::processName();
}

String storePath(StringView name) {
  return stringByAppendingPathComponent(configurationFolder(), String(name) + u".plist");
}

// Holds an exclusive advisory lock on the store's folder, so that the
// read-modify-write of a store is atomic across objects and processes.
class FolderLock {
 public:
  explicit FolderLock(StringView file) {
    const std::string folder = fileSystemRepresentation(stringByDeletingLastPathComponent(file));
    std::error_code ec;
    std::filesystem::create_directories(folder, ec);
    fd_ = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd_ >= 0) {
      while (::flock(fd_, LOCK_EX) != 0 && errno == EINTR) {
      }
    }
  }
  ~FolderLock() {
    if (fd_ >= 0) ::close(fd_);  // closing releases the lock
  }
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;

 private:
  int fd_ = -1;
};

// The keys whose values differ between two dictionaries.
std::vector<String> changedKeys(const Dictionary& before, const Dictionary& after) {
  std::vector<String> keys;
  for (const auto& [key, value] : before) {
    const Value* now = after.find(key);
    if (!now || !(*now == value)) keys.push_back(key);
  }
  for (const auto& [key, value] : after) {
    if (!before.contains(key)) keys.push_back(key);
  }
  return keys;
}

std::optional<Value> valueIn(const Dictionary& values, const Dictionary& registered,
                             StringView key) {
  if (const Value* v = values.find(key)) return *v;
  if (const Value* v = registered.find(key)) return *v;
  return std::nullopt;
}

std::mutex& standardMutex() {
  static std::mutex m;
  return m;
}
std::shared_ptr<UserDefaults>& standardStore() {
  static auto* store = new std::shared_ptr<UserDefaults>;  // outlives static destruction
  return *store;
}

}  // namespace

// --- ObserverToken ---------------------------------------------------------

UserDefaults::ObserverToken::ObserverToken(std::weak_ptr<UserDefaults> store, std::uint64_t id)
    : store_(std::move(store)), id_(id) {}

UserDefaults::ObserverToken::ObserverToken(ObserverToken&& other) noexcept
    : store_(std::move(other.store_)), id_(std::exchange(other.id_, 0)) {}

UserDefaults::ObserverToken& UserDefaults::ObserverToken::operator=(
    ObserverToken&& other) noexcept {
  if (this != &other) {
    reset();
    store_ = std::move(other.store_);
    id_ = std::exchange(other.id_, 0);
  }
  return *this;
}

UserDefaults::ObserverToken::~ObserverToken() { reset(); }

void UserDefaults::ObserverToken::reset() {
  if (id_ == 0) return;
  if (auto store = store_.lock()) store->removeKeyObserver(id_);
  store_.reset();
  id_ = 0;
}

// --- Stores ----------------------------------------------------------------

UserDefaults::UserDefaults(String path) : path_(std::move(path)) {}

UserDefaults::~UserDefaults() {
  if (watchId_) detail::PreferencesFileMonitor::shared().unwatch(watchId_);
}

void UserDefaults::observerAdded(StringView) { startWatching(); }

void UserDefaults::startWatching() {
  std::call_once(watchOnce_, [this] {
    {
      // Changes are differences from what was read: read before watching.
      std::lock_guard lock(mutex_);
      if (!loaded_) reloadLocked(nullptr);
    }
    std::weak_ptr<UserDefaults> weak = std::static_pointer_cast<UserDefaults>(shared_from_this());
    watchId_ = detail::PreferencesFileMonitor::shared().watch(path_, [weak] {
      if (auto store = weak.lock()) store->synchronize();
    });
  });
}

std::shared_ptr<UserDefaults> UserDefaults::standardUserDefaults() {
  std::lock_guard lock(standardMutex());
  auto& store = standardStore();
  if (!store) store = std::make_shared<UserDefaults>(storePath(standardStoreName()));
  return store;
}

void UserDefaults::resetStandardUserDefaults() {
  std::lock_guard lock(standardMutex());
  standardStore().reset();
}

std::shared_ptr<UserDefaults> UserDefaults::suiteNamed(StringView name) {
  if (name.empty() || name.find(u'/') != StringView::npos || name == u"." || name == u".." ||
      name == standardStoreName()) {
    return nullptr;
  }
  return std::make_shared<UserDefaults>(storePath(name));
}

UserDefaults::FileStamp UserDefaults::stampOfFile() const {
  struct stat st {};
  if (::stat(fileSystemRepresentation(path_).c_str(), &st) != 0) return {};
  return {true, static_cast<std::int64_t>(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec,
          static_cast<std::int64_t>(st.st_size), static_cast<std::uint64_t>(st.st_ino)};
}

std::vector<UserDefaults::Change> UserDefaults::reloadLocked(bool* readFailed) {
  FileStamp stamp = stampOfFile();
  if (loaded_ && stamp == stamp_) return {};
  Dictionary fresh;
  if (stamp.exists) {
    ErrorPtr error;
    const std::optional<Data> bytes = readFileContents(path_, &error);
    if (!bytes) {
      // Unreadable (permissions, say) is not corrupt: keep what we have.
      if (readFailed) *readFailed = true;
      logFormat(u"UserDefaults: couldn't read %@: %@", path_, error->localizedDescription());
      return {};
    }
    std::optional<Value> plist = PropertyList::read(*bytes);
    if (plist && plist->isDictionary()) {
      fresh = std::move(*plist->asDictionary());
    } else {
      const String aside =
          path_ + stringWithFormat(u".corrupt-%lld", static_cast<long long>(std::time(nullptr)));
      if (::rename(fileSystemRepresentation(path_).c_str(),
                   fileSystemRepresentation(aside).c_str()) == 0) {
        logFormat(u"UserDefaults: moved unreadable preferences %@ aside to %@", path_, aside);
      }
      stamp = stampOfFile();
    }
  }
  std::vector<Change> changes;
  if (loaded_) {
    for (String& key : changedKeys(values_, fresh)) {
      changes.push_back(
          {key, valueIn(values_, registered_, key), valueIn(fresh, registered_, key)});
    }
  }
  values_ = std::move(fresh);
  stamp_ = stamp;
  loaded_ = true;
  return changes;
}

std::optional<Value> UserDefaults::lookupLocked(StringView key) const {
  return valueIn(values_, registered_, key);
}

std::optional<Value> UserDefaults::lookup(StringView key) {
  std::lock_guard lock(mutex_);
  if (!loaded_) reloadLocked(nullptr);
  return lookupLocked(key);
}

std::optional<Value> UserDefaults::objectForKey(StringView key) { return lookup(key); }

std::optional<Value> UserDefaults::valueForKey(StringView key) const {
  // Reading may fill the cache on first use, which is not a visible change.
  return const_cast<UserDefaults*>(this)->lookup(key);
}

std::optional<String> UserDefaults::stringForKey(StringView key) {
  std::optional<Value> v = lookup(key);
  if (v && v->isString()) return *v->asString();
  return std::nullopt;
}

bool UserDefaults::boolForKey(StringView key) {
  const std::optional<Value> v = lookup(key);
  return v && (v->isNumber() || v->isString()) && v->boolValue();
}

std::int64_t UserDefaults::integerForKey(StringView key) {
  const std::optional<Value> v = lookup(key);
  return v && (v->isNumber() || v->isString()) ? v->int64Value() : 0;
}

double UserDefaults::doubleForKey(StringView key) {
  const std::optional<Value> v = lookup(key);
  return v && (v->isNumber() || v->isString()) ? v->doubleValue() : 0;
}

std::optional<Array> UserDefaults::arrayForKey(StringView key) {
  std::optional<Value> v = lookup(key);
  if (v && v->isArray()) return std::move(*v->asArray());
  return std::nullopt;
}

std::optional<Dictionary> UserDefaults::dictionaryForKey(StringView key) {
  std::optional<Value> v = lookup(key);
  if (v && v->isDictionary()) return std::move(*v->asDictionary());
  return std::nullopt;
}

std::optional<Data> UserDefaults::dataForKey(StringView key) {
  std::optional<Value> v = lookup(key);
  if (v && v->isData()) return *v->asData();
  return std::nullopt;
}

void UserDefaults::setObject(const Value& value, StringView key) {
  if (!value.isNull() && !PropertyList::write(value, PropertyList::Format::Binary)) {
    logFormat(u"UserDefaults: refusing to store a non-property-list value for key %@", key);
    return;
  }
  std::vector<Change> changes;
  {
    std::lock_guard lock(mutex_);
    const FolderLock folderLock(path_);
    // Start from what is on disk now, so that a change made meanwhile by
    // another process or store object is kept rather than overwritten.
    changes = reloadLocked(nullptr);
    const Value* old = values_.find(key);
    const bool changed = value.isNull() ? old != nullptr : !(old && *old == value);
    if (changed) {
      Change change{String(key), lookupLocked(key), std::nullopt};
      if (value.isNull()) {
        values_.erase(key);
      } else {
        values_.set(key, value);
      }
      change.newValue = lookupLocked(key);
      changes.push_back(std::move(change));
      ErrorPtr error;
      if (!PropertyList::writeFileAtomically(Value(values_), PropertyList::Format::XML, path_, 0600,
                                             &error)) {
        logFormat(u"UserDefaults: couldn't write %@: %@", path_, error->localizedDescription());
      }
      stamp_ = stampOfFile();
    }
  }
  notify(changes);
}

void UserDefaults::removeObjectForKey(StringView key) { setObject(Value(), key); }

void UserDefaults::registerDefaults(const Dictionary& defaults) {
  std::lock_guard lock(mutex_);
  registered_.addEntries(defaults);
}

bool UserDefaults::synchronize() {
  bool readFailed = false;
  std::vector<Change> changes;
  {
    std::lock_guard lock(mutex_);
    changes = reloadLocked(&readFailed);
  }
  notify(changes);
  return !readFailed;
}

Dictionary UserDefaults::dictionaryRepresentation() {
  std::lock_guard lock(mutex_);
  if (!loaded_) reloadLocked(nullptr);
  Dictionary all = registered_;
  all.addEntries(values_);
  return all;
}

UserDefaults::ObserverToken UserDefaults::addObserver(StringView key, Observer observer) {
  return addKeyObserver(String(key), std::move(observer));
}

UserDefaults::ObserverToken UserDefaults::addObserverForAllKeys(Observer observer) {
  return addKeyObserver(std::nullopt, std::move(observer));
}

UserDefaults::ObserverToken UserDefaults::addKeyObserver(std::optional<String> key,
                                                         Observer observer) {
  std::uint64_t id = 0;
  {
    std::lock_guard lock(observersMutex_);
    id = nextObserverId_++;
    observers_.emplace(
        id, std::make_pair(std::move(key), std::make_shared<Observer>(std::move(observer))));
  }
  startWatching();
  return ObserverToken(std::static_pointer_cast<UserDefaults>(shared_from_this()), id);
}

void UserDefaults::removeKeyObserver(std::uint64_t id) {
  std::lock_guard lock(observersMutex_);
  observers_.erase(id);
}

void UserDefaults::notify(const std::vector<Change>& changes) {
  for (const Change& change : changes) {
    std::vector<std::pair<std::uint64_t, std::shared_ptr<Observer>>> calls;
    {
      std::lock_guard lock(observersMutex_);
      for (const auto& [id, entry] : observers_) {
        if (!entry.first || *entry.first == change.key) calls.emplace_back(id, entry.second);
      }
    }
    for (const auto& [id, observer] : calls) {
      {
        // Skip observers removed by an earlier call of this change.
        std::lock_guard lock(observersMutex_);
        if (!observers_.contains(id)) continue;
      }
      (*observer)(change.key, change.newValue);
    }
    announceChange(change.key, change.oldValue ? *change.oldValue : Value(),
                   change.newValue ? *change.newValue : Value());
  }
}

}  // namespace lx
