#include "vantorcore/platform/FileIO.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <random>

#include "vantorcore/platform/String+Paths.h"

namespace lx {

namespace {

std::int64_t cocoaCode(int errnoValue, bool writing) {
  switch (errnoValue) {
    case ENOENT:
    case ENOTDIR:
      return writing ? NSFileNoSuchFileError : NSFileReadNoSuchFileError;
    case EACCES:
    case EPERM:
      return writing ? NSFileWriteNoPermissionError : NSFileReadNoPermissionError;
    case ENAMETOOLONG:
    case EILSEQ:
      return writing ? NSFileWriteInvalidFileNameError : NSFileReadInvalidFileNameError;
    case EFBIG:
      return writing ? NSFileWriteOutOfSpaceError : NSFileReadTooLargeError;
    case EEXIST:
    case ENOTEMPTY:
      return writing ? NSFileWriteFileExistsError : NSFileReadUnknownError;
    case ENOSPC:
    case EDQUOT:
      return writing ? NSFileWriteOutOfSpaceError : NSFileReadUnknownError;
    case EROFS:
      return writing ? NSFileWriteVolumeReadOnlyError : NSFileReadUnknownError;
    default:
      return writing ? NSFileWriteUnknownError : NSFileReadUnknownError;
  }
}

// Closes a descriptor on every path out of a function.
struct FileDescriptor {
  int fd = -1;
  ~FileDescriptor() {
    if (fd >= 0) ::close(fd);
  }
};

bool writeAll(int fd, DataView data) {
  std::size_t done = 0;
  while (done < data.size()) {
    const ssize_t n = ::write(fd, data.data() + done, data.size() - done);
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    done += static_cast<std::size_t>(n);
  }
  return true;
}

}  // namespace

ErrorPtr fileError(int errnoValue, bool writing, StringView path) {
  const String name = lastPathComponent(path);
  const String description =
      writing ? stringWithFormat(u"The file \u201c%@\u201d couldn\u2019t be saved.", name)
              : stringWithFormat(u"The file \u201c%@\u201d couldn\u2019t be opened.", name);
  return Error::make(String(NSCocoaErrorDomain), cocoaCode(errnoValue, writing),
                     Dictionary{{String(NSFilePathErrorKey), Value(String(path))},
                                {String(NSLocalizedDescriptionKey), Value(description)},
                                {String(NSUnderlyingErrorKey), Value(Error::posix(errnoValue))}});
}

std::optional<Data> readFileContents(StringView path, ErrorPtr* error) {
  const std::string bytes = fileSystemRepresentation(path);
  FileDescriptor file{::open(bytes.c_str(), O_RDONLY | O_CLOEXEC)};
  struct stat st {};
  if (file.fd < 0 || ::fstat(file.fd, &st) != 0) {
    setError(error, fileError(errno, false, path));
    return std::nullopt;
  }
  if (S_ISDIR(st.st_mode)) {
    setError(error, fileError(EISDIR, false, path));
    return std::nullopt;
  }
  Data data;
  // The size is a hint only: files in /proc report 0 and others may grow.
  data.reserve(S_ISREG(st.st_mode) ? static_cast<std::size_t>(st.st_size) : 0);
  std::uint8_t buffer[65536];
  for (;;) {
    const ssize_t n = ::read(file.fd, buffer, sizeof buffer);
    if (n == 0) break;
    if (n < 0) {
      if (errno == EINTR) continue;
      setError(error, fileError(errno, false, path));
      return std::nullopt;
    }
    data.insert(data.end(), buffer, buffer + n);
  }
  return data;
}

bool writeFileAtomically(DataView data, StringView path, mode_t mode, ErrorPtr* error) {
  const std::string target = fileSystemRepresentation(path);
  // A random name in the target's own folder, so that the rename stays on one
  // file system and several writers never share a temporary file.
  thread_local std::mt19937_64 random{std::random_device{}()};
  char suffix[32];
  std::snprintf(suffix, sizeof suffix, ".tmp-%016llx", static_cast<unsigned long long>(random()));
  const std::string temporary = target + suffix;

  FileDescriptor file{::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC,
                             static_cast<mode_t>(0600))};
  if (file.fd < 0) {
    setError(error, fileError(errno, true, path));
    return false;
  }
  const bool ok = writeAll(file.fd, data) && ::fchmod(file.fd, mode) == 0 &&
                  ::fsync(file.fd) == 0 && ::rename(temporary.c_str(), target.c_str()) == 0;
  if (!ok) {
    const int saved = errno;
    ::unlink(temporary.c_str());
    setError(error, fileError(saved, true, path));
    return false;
  }
  return true;
}

}  // namespace lx
