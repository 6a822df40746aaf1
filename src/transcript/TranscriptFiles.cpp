#include "transcript/TranscriptFiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <memory>

#include "vantorcore/platform/DateFormatter.h"

namespace lx::transcript {
namespace {

struct FileDescriptor {
  int fd;
  ~FileDescriptor() {
    if (fd >= 0) ::close(fd);
  }
};

}  // namespace

bool appendToFile(const String& path, std::string_view bytes) {
  if (path.empty()) return false;
  // One write(2) per line on an O_APPEND descriptor: each line lands whole
  // and in order even if another process appends to the same log.
  const FileDescriptor file{
      ::open(toUTF8(path).c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644)};
  if (file.fd < 0) return false;
  while (!bytes.empty()) {
    const ssize_t n = ::write(file.fd, bytes.data(), bytes.size());
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(n));
  }
  return true;
}

std::string sessionHeader(Date date) {
  // Formatters are for one thread each; headers are written from the
  // transcript queue and from the threads that make transcripts.
  thread_local const std::unique_ptr<DateFormatter> formatter = [] {
    auto f = std::make_unique<DateFormatter>();
    f->setLocale("en_US_POSIX");
    f->setTimeZone(String(u"GMT"));
    f->setDateFormat(u"yyyy-MM-dd HH:mm:ss Z");
    return f;
  }();
  return "\n**********\n\nDate/Time: " + toUTF8(formatter->stringFromDate(date)) + "\n\n";
}

void removeFolderOf(const String& path) {
  std::error_code ec;
  std::filesystem::remove_all(std::filesystem::path(toUTF8(path)).parent_path(), ec);
}

std::string readLogTail(const String& path, std::uint64_t limit, bool* truncated) {
  *truncated = false;
  const FileDescriptor file{::open(toUTF8(path).c_str(), O_RDONLY | O_CLOEXEC)};
  struct stat st {};
  if (file.fd < 0 || ::fstat(file.fd, &st) != 0) return {};
  const auto size = static_cast<std::uint64_t>(st.st_size);
  off_t offset = 0;
  if (size > limit) {
    *truncated = true;
    offset = static_cast<off_t>(size - limit);
  }
  std::string text;
  text.resize(static_cast<std::size_t>(size - static_cast<std::uint64_t>(offset)));
  std::size_t filled = 0;
  while (filled < text.size()) {
    const ssize_t n = ::pread(file.fd, text.data() + filled, text.size() - filled,
                              offset + static_cast<off_t>(filled));
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    filled += static_cast<std::size_t>(n);
  }
  text.resize(filled);
  if (*truncated) {
    const std::size_t newline = text.find('\n');
    text.erase(0, newline == std::string::npos ? text.size() : newline + 1);
  }
  return text;
}

}  // namespace lx::transcript
