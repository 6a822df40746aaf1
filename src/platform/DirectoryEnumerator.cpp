#include "vantorcore/platform/DirectoryEnumerator.h"

#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <unordered_set>
#include <utility>
#include <vector>

#include "vantorcore/platform/String+Paths.h"

namespace lx {

// Named rather than unnamed: `DirectoryEnumerator::Walk`, a member of a
// public class, holds them.
namespace detail {

struct FolderIdentity {
  dev_t device = 0;
  ino_t inode = 0;
  bool operator==(const FolderIdentity&) const = default;
};

// Owns one descriptor.
class Descriptor {
 public:
  explicit Descriptor(int fd = -1) noexcept : fd_(fd) {}
  Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    reset(std::exchange(other.fd_, -1));
    return *this;
  }
  ~Descriptor() { reset(); }
  void reset(int fd = -1) noexcept {
    if (fd_ >= 0) ::close(fd_);
    fd_ = fd;
  }
  [[nodiscard]] int get() const noexcept { return fd_; }
  [[nodiscard]] bool valid() const noexcept { return fd_ >= 0; }

 private:
  int fd_;
};

}  // namespace detail

namespace {

using detail::Descriptor;
using detail::FolderIdentity;

std::optional<FolderIdentity> identityOf(int fd) {
  struct stat st {};
  if (::fstat(fd, &st) != 0) return std::nullopt;
  return FolderIdentity{st.st_dev, st.st_ino};
}

constexpr int kDirectoryOpenFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK;
constexpr std::size_t kReadBufferSize = 64 * 1024;
// Levels up to this depth keep their descriptor while the walk is below
// them, which saves reopening them through ".."; deeper levels close theirs,
// so a walk holds at most this many descriptors (plus one) at any depth.
constexpr std::size_t kKeptLevels = 32;
// A ".hidden" file larger than this is not a list of names someone keeps.
constexpr std::size_t kHiddenListLimit = 1 << 20;

DirectoryItemKind kindOfEntryType(unsigned char type) {
  switch (type) {
    case DT_DIR:
      return DirectoryItemKind::Directory;
    case DT_LNK:
      return DirectoryItemKind::SymbolicLink;
    case DT_REG:
      return DirectoryItemKind::File;
    default:
      return DirectoryItemKind::Other;
  }
}

DirectoryItemKind kindOfMode(unsigned mode) {
  if (S_ISDIR(mode)) return DirectoryItemKind::Directory;
  if (S_ISLNK(mode)) return DirectoryItemKind::SymbolicLink;
  if (S_ISREG(mode)) return DirectoryItemKind::File;
  return DirectoryItemKind::Other;
}

// The names listed in a ".hidden" file, one per line.
std::unordered_set<std::string> readHiddenList(int folder) {
  std::unordered_set<std::string> names;
  Descriptor file(::openat(folder, ".hidden", O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK));
  struct stat st {};
  if (!file.valid() || ::fstat(file.get(), &st) != 0 || !S_ISREG(st.st_mode)) return names;
  std::string text(std::min<std::size_t>(st.st_size, kHiddenListLimit), '\0');
  const ssize_t got = ::read(file.get(), text.data(), text.size());
  text.resize(got > 0 ? got : 0);
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    if (end > start) names.emplace(text, start, end - start);
    start = end + 1;
  }
  return names;
}

}  // namespace

// One thread's depth-first walk. The folders being walked form a stack of
// levels; the innermost level's descriptor is `folder`, outer levels keep
// theirs only near the top.
class DirectoryEnumerator::Walk {
 public:
  // Decides, for a folder about to be entered, whether to hand it to
  // another thread instead (taking its path and depth).
  using HandOff = std::function<bool(std::string_view path, int depth)>;

  Walk(const DirectoryEnumerator& owner, const Visitor& visit, unsigned worker, HandOff handOff)
      : owner_(owner),
        visit_(visit),
        worker_(worker),
        handOff_(std::move(handOff)),
        buffer_(kReadBufferSize) {}

  // Walks below `root`; a symbolic link is followed only when it is the
  // caller's root, never for a folder handed over by another thread.
  void run(std::string root, int depth, bool followsLink) {
    path_ = std::move(root);
    Descriptor folder(::open(
        path_.c_str(), followsLink ? kDirectoryOpenFlags & ~O_NOFOLLOW : kDirectoryOpenFlags));
    if (!folder.valid()) return;
    baseDepth_ = depth;
    stack_.clear();
    if (!pushLevel(folder.get())) return;
    while (!stack_.empty()) {
      Level& level = stack_.back();
      if (level.next == level.entries.size()) {
        stack_.pop_back();
        if (stack_.empty()) return;
        if (stack_.back().kept.valid()) {
          folder = std::move(stack_.back().kept);
        } else if (!climb(folder)) {
          return;
        }
        continue;
      }
      const Entry& entry = level.entries[level.next++];
      path_.resize(level.pathLength);
      path_ += '/';
      path_.append(level.names, entry.nameOffset, entry.nameLength);
      const bool descend = visit_(itemOf(level, entry), worker_);
      if (!descend || entry.kind != DirectoryItemKind::Directory) continue;
      const int depth = baseDepth_ + static_cast<int>(stack_.size());
      if (handOff_ && handOff_(path_, depth)) continue;
      Descriptor child(
          ::openat(folder.get(), path_.c_str() + level.pathLength + 1, kDirectoryOpenFlags));
      if (!child.valid()) continue;
      if (stack_.size() <= kKeptLevels) level.kept = std::move(folder);
      folder = std::move(child);
      if (!pushLevel(folder.get())) {
        if (stack_.back().kept.valid()) {
          folder = std::move(stack_.back().kept);
        } else if (!climb(folder)) {
          return;
        }
      }
    }
  }

 private:
  struct Entry {
    std::uint32_t nameOffset = 0;
    std::uint32_t nameLength = 0;
    DirectoryItemKind kind = DirectoryItemKind::File;
    bool kindUnknown = false;  // DT_UNKNOWN: statx tells
    bool hidden = false;
    bool hasSizes = false;
    bool hasStamps = false;
    std::uint64_t logicalSize = 0;
    std::uint64_t allocatedSize = 0;
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::int64_t modified = 0;
    std::int64_t statusChanged = 0;
  };
  struct Level {
    // Every entry's name, each followed by a NUL so that it can be handed
    // to the system as it stands.
    std::string names;
    std::vector<Entry> entries;
    std::size_t next = 0;
    std::size_t pathLength = 0;
    FolderIdentity identity;  // read only for levels that close their descriptor
    Descriptor kept;          // while the walk is below this level
  };

  DirectoryItem itemOf(const Level& level, const Entry& entry) const {
    DirectoryItem item;
    item.name = std::string_view(level.names).substr(entry.nameOffset, entry.nameLength);
    item.path = path_;
    item.kind = entry.kind;
    item.depth = baseDepth_ + static_cast<int>(stack_.size()) - 1;
    item.hidden = entry.hidden || item.name.front() == '.';
    item.hasSizes = entry.hasSizes;
    item.logicalSize = entry.logicalSize;
    item.allocatedSize = entry.allocatedSize;
    item.hasStamps = entry.hasStamps;
    item.device = entry.device;
    item.inode = entry.inode;
    item.modified = entry.modified;
    item.statusChanged = entry.statusChanged;
    return item;
  }

  // Reads the folder open as `fd` into a new innermost level. False (and
  // nothing pushed) when it cannot be read at all.
  bool pushLevel(int fd) {
    Level level;
    level.pathLength = path_.size();
    if (stack_.size() >= kKeptLevels) {
      const std::optional<FolderIdentity> identity = identityOf(fd);
      if (!identity) return false;
      level.identity = *identity;
    }
    bool hasHiddenList = false;
    for (;;) {
      const ssize_t got = ::getdents64(fd, buffer_.data(), buffer_.size());
      if (got <= 0) break;
      // Records take 24 bytes and the name, padded to 8: a fair guess.
      level.entries.reserve(level.entries.size() + static_cast<std::size_t>(got) / 32);
      level.names.reserve(level.names.size() + static_cast<std::size_t>(got) / 2);
      for (ssize_t offset = 0; offset < got;) {
        const auto* entry = reinterpret_cast<const struct dirent64*>(buffer_.data() + offset);
        offset += entry->d_reclen;
        const std::string_view name(entry->d_name);
        if (name == "." || name == "..") continue;
        if (name == ".hidden") hasHiddenList = true;
        Entry e;
        e.nameOffset = static_cast<std::uint32_t>(level.names.size());
        e.nameLength = static_cast<std::uint32_t>(name.size());
        const unsigned char type =
            owner_.ignoresEntryTypes_ ? static_cast<unsigned char>(DT_UNKNOWN) : entry->d_type;
        e.kind = kindOfEntryType(type);
        e.kindUnknown = type == DT_UNKNOWN;
        level.names.append(name.data(), name.size() + 1);
        level.entries.push_back(e);
      }
    }
    completeEntries(fd, level);
    if ((owner_.keys_ & Hidden) && hasHiddenList) markHidden(fd, level);
    stack_.push_back(std::move(level));
    return true;
  }

  // Reads kinds the entries did not give and sizes when asked, dropping
  // items that vanished since the folder was read.
  void completeEntries(int fd, Level& level) const {
    const bool wantsSizes = owner_.keys_ & Sizes;
    const bool wantsStamps = owner_.keys_ & Stamps;
    // Only what is asked for: network file systems fetch each field they
    // are asked for from the server.
    const unsigned mask = STATX_TYPE | (wantsSizes ? STATX_SIZE | STATX_BLOCKS : 0U) |
                          (wantsStamps ? STATX_INO | STATX_MTIME | STATX_CTIME : 0U);
    std::erase_if(level.entries, [&](Entry& e) {
      const bool unknownKind = e.kindUnknown;
      if (!unknownKind && !wantsStamps && (!wantsSizes || e.kind == DirectoryItemKind::Directory)) {
        return false;
      }
      // Filled by the kernel; zeroing its 256 bytes first costs more than the
      // call's own copy for every file of a large tree.
      struct statx st;
      if (::statx(fd, level.names.data() + e.nameOffset,
                  AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT | AT_STATX_DONT_SYNC, mask, &st) != 0) {
        // Gone (or unreachable): an unknown kind cannot be guessed.
        return unknownKind || errno == ENOENT;
      }
      e.kind = kindOfMode(st.stx_mode);
      if (wantsSizes && e.kind != DirectoryItemKind::Directory) {
        e.hasSizes = true;
        e.logicalSize = st.stx_size;
        e.allocatedSize = st.stx_blocks * 512;
      }
      if (wantsStamps) {
        e.hasStamps = true;
        e.device = makedev(st.stx_dev_major, st.stx_dev_minor);
        e.inode = st.stx_ino;
        e.modified = st.stx_mtime.tv_sec * 1000000000LL + st.stx_mtime.tv_nsec;
        e.statusChanged = st.stx_ctime.tv_sec * 1000000000LL + st.stx_ctime.tv_nsec;
      }
      return false;
    });
  }

  static void markHidden(int fd, Level& level) {
    const std::unordered_set<std::string> hidden = readHiddenList(fd);
    if (hidden.empty()) return;
    for (Entry& e : level.entries) {
      e.hidden = hidden.contains(level.names.substr(e.nameOffset, e.nameLength));
    }
  }

  // Goes back from the folder open in `folder` to the innermost level's
  // folder. Through ".." when that still leads there; else (the tree moved
  // under us) by path while the path is short enough. False ends the walk.
  bool climb(Descriptor& folder) {
    const Level& level = stack_.back();
    Descriptor parent(::openat(folder.get(), "..", kDirectoryOpenFlags));
    if (!parent.valid() || identityOf(parent.get()) != level.identity) {
      path_.resize(level.pathLength);
      if (path_.size() >= PATH_MAX) return false;
      parent.reset(::open(path_.c_str(), kDirectoryOpenFlags));
      if (!parent.valid() || identityOf(parent.get()) != level.identity) return false;
    }
    folder = std::move(parent);
    return true;
  }

  const DirectoryEnumerator& owner_;
  const Visitor& visit_;
  unsigned worker_;
  HandOff handOff_;
  std::vector<char> buffer_;
  std::vector<Level> stack_;
  std::string path_;
  int baseDepth_ = 0;
};

void DirectoryEnumerator::enumerate(StringView root, const Visitor& visit) const {
  Walk(*this, visit, 0, nullptr).run(fileSystemRepresentation(root), 0, true);
}

unsigned DirectoryEnumerator::defaultThreadCount() noexcept {
  return std::clamp(std::thread::hardware_concurrency(), 1U, 4U);
}

void DirectoryEnumerator::enumerateConcurrently(StringView root, unsigned threads,
                                                const Visitor& visit) const {
  if (threads <= 1) return enumerate(root, visit);
  // Folders waiting for a thread. A walk hands a folder over only while the
  // queue runs short, so most folders are walked where they were found.
  struct Pending {
    std::string path;
    int depth;
    bool isRoot;
  };
  std::mutex mutex;
  std::condition_variable changed;
  std::deque<Pending> queue;
  std::atomic<std::size_t> queued{0};
  unsigned busy = 0;
  queue.push_back({fileSystemRepresentation(root), 0, true});
  queued = 1;

  const auto work = [&](unsigned worker) {
    Walk walk(*this, visit, worker, [&](std::string_view path, int depth) {
      if (queued.load(std::memory_order_relaxed) >= threads || path.size() >= PATH_MAX) {
        return false;
      }
      const std::lock_guard lock(mutex);
      queue.push_back({std::string(path), depth, false});
      queued.fetch_add(1, std::memory_order_relaxed);
      changed.notify_one();
      return true;
    });
    std::unique_lock lock(mutex);
    for (;;) {
      changed.wait(lock, [&] { return !queue.empty() || busy == 0; });
      if (queue.empty()) return;
      Pending next = std::move(queue.front());
      queue.pop_front();
      queued.fetch_sub(1, std::memory_order_relaxed);
      ++busy;
      lock.unlock();
      walk.run(std::move(next.path), next.depth, next.isRoot);
      lock.lock();
      if (--busy == 0 && queue.empty()) changed.notify_all();
    }
  };
  std::vector<std::thread> helpers;
  helpers.reserve(threads - 1);
  for (unsigned worker = 1; worker < threads; ++worker) helpers.emplace_back(work, worker);
  work(0);
  for (std::thread& helper : helpers) helper.join();
}

}  // namespace lx
