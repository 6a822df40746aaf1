#include "vantorcore/platform/FileManager.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <filesystem>

#include "vantorcore/platform/ProcessInfo.h"
#include "vantorcore/platform/String+Paths.h"
#include "vantorcore/platform/Thread.h"

namespace lx {

LX_DEFINE_CLASS(FileManager, Object)

namespace fs = std::filesystem;

namespace {

std::string bytesOf(StringView path) { return fileSystemRepresentation(path); }

StringView typeOfMode(mode_t mode) {
  switch (mode & S_IFMT) {
    case S_IFREG:
      return NSFileTypeRegular;
    case S_IFDIR:
      return NSFileTypeDirectory;
    case S_IFLNK:
      return NSFileTypeSymbolicLink;
    case S_IFSOCK:
      return NSFileTypeSocket;
    case S_IFCHR:
      return NSFileTypeCharacterSpecial;
    case S_IFBLK:
      return NSFileTypeBlockSpecial;
    default:
      return NSFileTypeUnknown;
  }
}

Date dateOf(const struct statx_timestamp& t) {
  return Date(static_cast<double>(t.tv_sec) + t.tv_nsec / 1e9);
}

// The ".hidden" file of the item's folder lists the item's name.
bool listedInHiddenFile(StringView path) {
  const String folder = stringByDeletingLastPathComponent(path);
  const std::optional<Data> list =
      readFileContents(stringByAppendingPathComponent(folder.empty() ? u"." : folder, u".hidden"));
  if (!list) return false;
  const std::string name = bytesOf(lastPathComponent(path));
  std::string_view rest = asStringView(*list);
  while (!rest.empty()) {
    const std::size_t end = rest.find('\n');
    std::string_view line = rest.substr(0, end);
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (line == name) return true;
    if (end == std::string_view::npos) break;
    rest.remove_prefix(end + 1);
  }
  return false;
}

// The untranslated "Name=" of the "[Desktop Entry]" group of a .desktop file.
std::optional<String> desktopEntryName(StringView path) {
  const std::optional<Data> contents = readFileContents(path);
  if (!contents) return std::nullopt;
  std::string_view rest = asStringView(*contents);
  bool inEntry = false;
  while (!rest.empty()) {
    const std::size_t end = rest.find('\n');
    std::string_view line = rest.substr(0, end);
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (line.starts_with('[')) {
      inEntry = line == "[Desktop Entry]";
    } else if (inEntry && line.starts_with("Name=") && line.size() > 5) {
      return fromUTF8(line.substr(5));
    }
    if (end == std::string_view::npos) break;
    rest.remove_prefix(end + 1);
  }
  return std::nullopt;
}

// A folder from an XDG variable, or `fallback` below the home folder when the
// variable is unset, empty or relative.
String xdgFolder(const char* variable, StringView fallback) {
  if (const auto value = ProcessInfo::environmentValue(variable);
      value && value->starts_with(u'/')) {
    return *value;
  }
  return stringByAppendingPathComponent(homeDirectory(), fallback);
}

bool failWithErrno(ErrorPtr* error, bool writing, StringView path) {
  setError(error, fileError(errno, writing, path));
  return false;
}

bool failWith(ErrorPtr* error, const std::error_code& ec, bool writing, StringView path) {
  setError(error, fileError(ec.value(), writing, path));
  return false;
}

bool itemExists(const std::string& bytes) {
  struct stat st {};
  return ::lstat(bytes.c_str(), &st) == 0;
}

}  // namespace

FileManager::FileManager() = default;
FileManager::~FileManager() = default;

std::shared_ptr<FileManager> FileManager::defaultManager() {
  static const auto manager = std::make_shared<FileManager>();
  return manager;
}

std::shared_ptr<FileManager> FileManager::threadSafeManager() {
  if (Thread::isMainThread()) return defaultManager();
  Dictionary& dictionary = Thread::current()->threadDictionary();
  if (const Value* stored = dictionary.find(kPerThreadFileManagerKey)) {
    if (auto manager = stored->objectAs<FileManager>()) return manager;
  }
  auto manager = std::make_shared<FileManager>();
  dictionary.set(kPerThreadFileManagerKey, Value(manager));
  return manager;
}

void FileManager::releaseThreadSafeManager() {
  if (Thread::isMainThread()) return;
  Thread::current()->threadDictionary().erase(kPerThreadFileManagerKey);
}

std::shared_ptr<FileManagerDelegate> FileManager::delegate() const {
  std::lock_guard lock(mutex_);
  return delegate_.lock();
}

void FileManager::setDelegate(std::weak_ptr<FileManagerDelegate> delegate) {
  std::lock_guard lock(mutex_);
  delegate_ = std::move(delegate);
}

bool FileManager::fileExistsAtPath(StringView path, bool* isDirectory) const {
  struct stat st {};
  if (::stat(bytesOf(path).c_str(), &st) != 0) return false;
  if (isDirectory) *isDirectory = S_ISDIR(st.st_mode);
  return true;
}

bool FileManager::isReadableFileAtPath(StringView path) const {
  return ::access(bytesOf(path).c_str(), R_OK) == 0;
}

bool FileManager::isWritableFileAtPath(StringView path) const {
  return ::access(bytesOf(path).c_str(), W_OK) == 0;
}

std::optional<std::vector<String>> FileManager::contentsOfDirectoryAtPath(StringView path,
                                                                          ErrorPtr* error) const {
  DIR* dir = ::opendir(bytesOf(path).c_str());
  if (!dir) {
    failWithErrno(error, false, path);
    return std::nullopt;
  }
  std::vector<String> names;
  while (const dirent* entry = ::readdir(dir)) {
    const std::string_view name = entry->d_name;
    if (name == "." || name == "..") continue;
    names.push_back(stringWithFileSystemRepresentation(name));
  }
  ::closedir(dir);
  return names;
}

std::optional<Data> FileManager::contentsAtPath(StringView path) const {
  return readFileContents(path);
}

std::optional<Dictionary> FileManager::attributesOfItemAtPath(StringView path,
                                                              ErrorPtr* error) const {
  const std::string bytes = bytesOf(path);
  struct statx st {};
  if (::statx(AT_FDCWD, bytes.c_str(), AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS | STATX_BTIME, &st) !=
      0) {
    failWithErrno(error, false, path);
    return std::nullopt;
  }
  Dictionary attributes;
  attributes.set(NSFileType, Value(typeOfMode(st.stx_mode)));
  attributes.set(NSFileSize, Value(static_cast<std::uint64_t>(st.stx_size)));
  attributes.set(NSFileModificationDate, Value(dateOf(st.stx_mtime)));
  if (st.stx_mask & STATX_BTIME) attributes.set(NSFileCreationDate, Value(dateOf(st.stx_btime)));
  attributes.set(NSFilePosixPermissions, Value(static_cast<std::int64_t>(st.stx_mode & 07777)));
  attributes.set(NSFileOwnerAccountID, Value(static_cast<std::uint64_t>(st.stx_uid)));
  attributes.set(NSFileGroupOwnerAccountID, Value(static_cast<std::uint64_t>(st.stx_gid)));
  attributes.set(NSFileReferenceCount, Value(static_cast<std::uint64_t>(st.stx_nlink)));
  attributes.set(NSFileSystemNumber,
                 Value(static_cast<std::uint64_t>(makedev(st.stx_dev_major, st.stx_dev_minor))));
  attributes.set(NSFileSystemFileNumber, Value(static_cast<std::uint64_t>(st.stx_ino)));
  attributes.set(NSFileExtensionHidden, Value(isExtensionHiddenAtPath(path)));
  return attributes;
}

bool FileManager::setAttributes(const Dictionary& attributes, StringView path, ErrorPtr* error) {
  const std::string bytes = bytesOf(path);
  if (const Value* mode = attributes.find(NSFilePosixPermissions)) {
    if (::chmod(bytes.c_str(), static_cast<mode_t>(mode->int64Value() & 07777)) != 0) {
      return failWithErrno(error, true, path);
    }
  }
  const Value* owner = attributes.find(NSFileOwnerAccountID);
  const Value* group = attributes.find(NSFileGroupOwnerAccountID);
  if (owner || group) {
    const auto uid = owner ? static_cast<uid_t>(owner->int64Value()) : static_cast<uid_t>(-1);
    const auto gid = group ? static_cast<gid_t>(group->int64Value()) : static_cast<gid_t>(-1);
    if (::lchown(bytes.c_str(), uid, gid) != 0) return failWithErrno(error, true, path);
  }
  if (const Value* date = attributes.find(NSFileModificationDate); date && date->isDate()) {
    const double t = date->asDate()->timeIntervalSince1970();
    const double whole = std::floor(t);
    const struct timespec times[2] = {
        {0, UTIME_OMIT}, {static_cast<time_t>(whole), static_cast<long>((t - whole) * 1e9)}};
    if (::utimensat(AT_FDCWD, bytes.c_str(), times, 0) != 0)
      return failWithErrno(error, true, path);
  }
  if (const Value* hidden = attributes.find(NSFileExtensionHidden)) {
    if (!setExtensionHiddenAtPath(path, hidden->boolValue())) {
      return failWithErrno(error, true, path);
    }
  }
  return true;
}

std::optional<String> FileManager::destinationOfSymbolicLinkAtPath(StringView path,
                                                                   ErrorPtr* error) const {
  std::error_code ec;
  const fs::path target = fs::read_symlink(bytesOf(path), ec);
  if (ec) {
    failWith(error, ec, false, path);
    return std::nullopt;
  }
  return stringWithFileSystemRepresentation(target.native());
}

String FileManager::displayNameAtPath(StringView path) const {
  String name = lastPathComponent(path);
  if (pathExtension(name) == u"desktop") {
    if (auto entryName = desktopEntryName(path)) return *entryName;
  }
  if (isExtensionHiddenAtPath(path)) return stringByDeletingPathExtension(name);
  return name;
}

std::optional<bool> FileManager::isHiddenAtPath(StringView path) const {
  if (!itemExists(bytesOf(path))) return std::nullopt;
  return lastPathComponent(path).starts_with(u'.') || listedInHiddenFile(path);
}

bool FileManager::isExtensionHiddenAtPath(StringView path) const {
  char value[8];
  const ssize_t n =
      ::getxattr(bytesOf(path).c_str(), kExtensionHiddenAttribute, value, sizeof value);
  return n > 0 && value[0] == '1';
}

bool FileManager::setExtensionHiddenAtPath(StringView path, bool hidden) {
  const std::string bytes = bytesOf(path);
  if (hidden) return ::setxattr(bytes.c_str(), kExtensionHiddenAttribute, "1", 1, 0) == 0;
  if (::removexattr(bytes.c_str(), kExtensionHiddenAttribute) == 0) return true;
  // Clearing a flag that was never set succeeds, on an item that exists.
  return errno == ENODATA && itemExists(bytes);
}

bool FileManager::createDirectoryAtPath(StringView path, bool intermediates,
                                        const Dictionary& attributes, ErrorPtr* error) {
  const std::string bytes = bytesOf(path);
  const Value* permissions = attributes.find(NSFilePosixPermissions);
  const auto mode = static_cast<mode_t>(permissions ? permissions->int64Value() & 07777 : 0777);
  if (intermediates) {
    std::error_code ec;
    const fs::path target(bytes);
    if (target.has_parent_path() && target.parent_path() != target) {
      fs::create_directories(target.parent_path(), ec);
      if (ec) return failWith(error, ec, true, path);
    }
  }
  if (::mkdir(bytes.c_str(), mode) != 0) {
    struct stat st {};
    const bool existingFolder =
        errno == EEXIST && ::stat(bytes.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
    if (!(intermediates && existingFolder)) return failWithErrno(error, true, path);
  }
  return attributes.empty() || setAttributes(attributes, path, error);
}

bool FileManager::createFileAtPath(StringView path, DataView data, const Dictionary& attributes) {
  const Value* permissions = attributes.find(NSFilePosixPermissions);
  const auto mode = static_cast<mode_t>(permissions ? permissions->int64Value() & 07777 : 0644);
  if (!writeFileAtomically(data, path, mode)) return false;
  Dictionary rest = attributes;
  rest.erase(NSFilePosixPermissions);
  return rest.empty() || setAttributes(rest, path);
}

bool FileManager::removeItemAtPath(StringView path, ErrorPtr* error) {
  const std::string bytes = bytesOf(path);
  if (!itemExists(bytes)) {
    setError(error, fileError(ENOENT, true, path));
    return false;
  }
  if (auto d = delegate(); d && !d->shouldRemoveItemAtPath(*this, String(path))) return true;
  std::error_code ec;
  fs::remove_all(bytes, ec);
  return ec ? failWith(error, ec, true, path) : true;
}

namespace {
// The checks copying and moving share: the source must exist and the
// destination must not. Reports the failure through `error`.
bool canTransfer(const std::string& from, const std::string& to, StringView source,
                 StringView destination, ErrorPtr* error) {
  if (!itemExists(from)) {
    setError(error, fileError(ENOENT, false, source));
    return false;
  }
  if (itemExists(to)) {
    setError(error, fileError(EEXIST, true, destination));
    return false;
  }
  return true;
}
}  // namespace

bool FileManager::moveItemAtPath(StringView source, StringView destination, ErrorPtr* error) {
  const std::string from = bytesOf(source), to = bytesOf(destination);
  if (!canTransfer(from, to, source, destination, error)) return false;
  if (auto d = delegate();
      d && !d->shouldMoveItemAtPath(*this, String(source), String(destination))) {
    return true;
  }
  if (::rename(from.c_str(), to.c_str()) == 0) return true;
  if (errno != EXDEV) return failWithErrno(error, true, destination);
  std::error_code ec;
  fs::copy(from, to, fs::copy_options::recursive | fs::copy_options::copy_symlinks, ec);
  if (ec) {
    std::error_code ignored;
    fs::remove_all(to, ignored);
    return failWith(error, ec, true, destination);
  }
  fs::remove_all(from, ec);
  return ec ? failWith(error, ec, true, source) : true;
}

bool FileManager::copyItemAtPath(StringView source, StringView destination, ErrorPtr* error) {
  const std::string from = bytesOf(source), to = bytesOf(destination);
  if (!canTransfer(from, to, source, destination, error)) return false;
  if (auto d = delegate();
      d && !d->shouldCopyItemAtPath(*this, String(source), String(destination))) {
    return true;
  }
  std::error_code ec;
  fs::copy(from, to, fs::copy_options::recursive | fs::copy_options::copy_symlinks, ec);
  return ec ? failWith(error, ec, true, destination) : true;
}

bool FileManager::createSymbolicLinkAtPath(StringView path, StringView destination,
                                           ErrorPtr* error) {
  if (::symlink(bytesOf(destination).c_str(), bytesOf(path).c_str()) != 0) {
    return failWithErrno(error, true, path);
  }
  return true;
}

String FileManager::currentDirectoryPath() const {
  std::error_code ec;
  const fs::path cwd = fs::current_path(ec);
  return ec ? String() : stringWithFileSystemRepresentation(cwd.native());
}

String FileManager::temporaryDirectory() const {
  const auto value = ProcessInfo::environmentValue("TMPDIR");
  if (!value || value->empty()) return u"/tmp";
  return stringByAppendingPathComponent(*value, u"");
}

String FileManager::homeDirectoryForCurrentUser() const { return homeDirectory(); }

std::vector<String> FileManager::searchPathsForDirectory(SearchPathDirectory directory) const {
  switch (directory) {
    case SearchPathDirectory::Caches:
      return {xdgFolder("XDG_CACHE_HOME", u".cache")};
    case SearchPathDirectory::ApplicationSupport:
      return {xdgFolder("XDG_DATA_HOME", u".local/share")};
  }
  return {};
}

}  // namespace lx
