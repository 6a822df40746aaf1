#include <dirent.h>
#include <pthread.h>
#include <sys/stat.h>

#include <cerrno>
#include <mutex>

#include "files/BootDiskSource.h"
#include "vantorcore/files/FileManager+Additions.h"
#include "vantorcore/platform/ContentType.h"
#include "vantorcore/platform/FileIO.h"
#include "vantorcore/platform/Log.h"
#include "vantorcore/platform/ProcessInfo.h"
#include "vantorcore/platform/String+Paths.h"

namespace lx {

namespace {

// udev writes a label's unsafe bytes as "\xNN" in the link name.
std::string decodeUdevName(std::string_view name) {
  std::string out;
  for (std::size_t i = 0; i < name.size(); ++i) {
    unsigned value = 0;
    if (name[i] == '\\' && i + 3 < name.size() && name[i + 1] == 'x' &&
        std::sscanf(std::string(name.substr(i + 2, 2)).c_str(), "%2x", &value) == 1) {
      out.push_back(static_cast<char>(value));
      i += 3;
    } else {
      out.push_back(name[i]);
    }
  }
  return out;
}

// The label of the block device that holds "/", or "Linux" when it has none
// (containers, unlabelled disks). Absent only when "/" cannot be examined.
std::optional<String> rootFileSystemName() {
  struct stat root {};
  if (::stat("/", &root) != 0) return std::nullopt;
  if (DIR* dir = ::opendir("/dev/disk/by-label")) {
    std::optional<String> label;
    while (const dirent* entry = ::readdir(dir)) {
      const std::string name = entry->d_name;
      if (name == "." || name == "..") continue;
      struct stat device {};
      if (::stat(("/dev/disk/by-label/" + name).c_str(), &device) == 0 && S_ISBLK(device.st_mode) &&
          device.st_rdev == root.st_dev) {
        label = stringWithFileSystemRepresentation(decodeUdevName(name));
        break;
      }
    }
    ::closedir(dir);
    if (label && !label->empty() && label->find(u'/') == String::npos) return label;
  }
  return String(u"Linux");
}

std::mutex& sourceMutex() {
  static std::mutex m;
  return m;
}
detail::BootDiskNameSource& installedSource() {
  static auto* source = new detail::BootDiskNameSource;  // outlives static destruction
  return *source;
}

std::optional<String> bootDiskName() {
  detail::BootDiskNameSource source;
  {
    std::lock_guard lock(sourceMutex());
    source = installedSource();
  }
  return source ? source() : rootFileSystemName();
}

// The cache of `lx_bootDiskPath`. A pthread lock rather than std::shared_mutex
// because its calls report failure, which the documented log lines expect.
pthread_rwlock_t bootDiskLock = PTHREAD_RWLOCK_INITIALIZER;
std::optional<String>& bootDiskCache() {
  static auto* cache = new std::optional<String>;  // outlives static destruction
  return *cache;
}

std::optional<String> prettyHostName() {
  const std::optional<Data> info = readFileContents(u"/etc/machine-info");
  if (!info) return std::nullopt;
  std::string_view rest = asStringView(*info);
  constexpr std::string_view kKey = "PRETTY_HOSTNAME=";
  while (!rest.empty()) {
    const std::size_t end = rest.find('\n');
    std::string_view line = rest.substr(0, end);
    if (line.starts_with(kKey)) {
      line.remove_prefix(kKey.size());
      if (line.size() >= 2 && (line.front() == '"' || line.front() == '\'') &&
          line.back() == line.front()) {
        line = line.substr(1, line.size() - 2);
      }
      if (!line.empty()) return fromUTF8(line);
    }
    if (end == std::string_view::npos) break;
    rest.remove_prefix(end + 1);
  }
  return std::nullopt;
}

}  // namespace

namespace detail {
BootDiskNameSource setBootDiskNameSource(BootDiskNameSource source) {
  std::lock_guard lock(sourceMutex());
  return std::exchange(installedSource(), std::move(source));
}
}  // namespace detail

std::optional<String> lx_bootDiskPath() {
  if (pthread_rwlock_rdlock(&bootDiskLock) != 0) {
    logLine(u"lx_bootDiskPath: Couldn't obtain read lock.");
    return std::nullopt;
  }
  if (std::optional<String> cached = bootDiskCache()) {
    pthread_rwlock_unlock(&bootDiskLock);
    return cached;
  }
  pthread_rwlock_unlock(&bootDiskLock);
  if (pthread_rwlock_wrlock(&bootDiskLock) != 0) {
    logLine(u"lx_bootDiskPath: Couldn't obtain write lock.");
    return std::nullopt;
  }
  // Another thread may have filled the cache between the two locks.
  std::optional<String>& cache = bootDiskCache();
  if (!cache) {
    const std::optional<String> name = bootDiskName();
    if (name && !name->empty()) {
      cache = stringByAppendingPathComponent(u"/Volumes", *name);
    } else {
      logFormat(u"boot disk name failed (%d)", name ? 0 : -1);
    }
  }
  std::optional<String> result = cache;
  pthread_rwlock_unlock(&bootDiskLock);
  return result;
}

void lx_resetBootDiskValues() {
  if (pthread_rwlock_wrlock(&bootDiskLock) != 0) {
    logLine(u"lx_resetBootDiskValues: Couldn't obtain write lock.");
    return;
  }
  bootDiskCache().reset();
  pthread_rwlock_unlock(&bootDiskLock);
}

String lx_computerName() {
  if (auto pretty = prettyHostName()) return *pretty;
  if (auto host = ProcessInfo::hostName(); host && !host->empty()) return *host;
  return u"Macintosh HD";
}

bool lx_directoryExistsAtPath(const FileManager& manager, StringView path) {
  bool isDirectory = false;
  return manager.fileExistsAtPath(path, &isDirectory) && isDirectory;
}

bool lx_itemAtPath(const FileManager& manager, StringView path, StringView otherPath) {
  const auto fileSystemOf = [](StringView p) -> dev_t {
    struct stat st {};
    return ::stat(fileSystemRepresentation(p).c_str(), &st) == 0 ? st.st_dev : 0;
  };
  return fileSystemOf(path) == fileSystemOf(otherPath);
}

std::optional<String> lx_MIMETypeForFilename(const FileManager& manager, StringView filename) {
  const String extension = pathExtension(filename);
  if (extension.empty()) return std::nullopt;
  const auto type = ContentType::typeWithFilenameExtension(extension);
  return type ? type->preferredMIMEType() : std::nullopt;
}

}  // namespace lx
