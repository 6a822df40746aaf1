#include "platform/TreeSnapshot.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <cstring>

#include "vantorcore/platform/DirectoryEnumerator.h"
#include "vantorcore/platform/String+Paths.h"

namespace lx::detail {

namespace {

constexpr char kMagic[4] = {'V', 'T', 'S', '1'};

std::uint64_t mix(std::uint64_t x) {
  // splitmix64's finaliser: spreads every input bit over the whole word.
  x += 0x9e3779b97f4a7c15ULL;
  x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9ULL;
  x = (x ^ (x >> 27)) * 0x94d049bb133111ebULL;
  return x ^ (x >> 31);
}

std::uint64_t entryDigest(const DirectoryItem& item) {
  std::uint64_t h = mix(std::hash<std::string_view>{}(item.name));
  h = mix(h ^ static_cast<std::uint64_t>(item.kind));
  h = mix(h ^ item.inode);
  // A subfolder's times change with its own entries, which its own record
  // reports; its parent only cares that it is there.
  if (item.isDirectory()) return h;
  h = mix(h ^ static_cast<std::uint64_t>(item.modified));
  return mix(h ^ static_cast<std::uint64_t>(item.statusChanged));
}

void append(Data& out, const void* bytes, std::size_t size) {
  const auto* p = static_cast<const std::uint8_t*>(bytes);
  out.insert(out.end(), p, p + size);
}

template <class T>
void appendValue(Data& out, T value) {
  append(out, &value, sizeof value);
}

// Reads values off the front of a byte view; any read past the end fails.
class Reader {
 public:
  explicit Reader(DataView data) : data_(data) {}
  template <class T>
  bool read(T& value) {
    return take(&value, sizeof value);
  }
  bool take(void* out, std::size_t size) {
    if (data_.size() < size) return false;
    std::memcpy(out, data_.data(), size);
    data_ = data_.subspan(size);
    return true;
  }
  [[nodiscard]] bool atEnd() const { return data_.empty(); }

 private:
  DataView data_;
};

}  // namespace

std::optional<TreeSnapshot> TreeSnapshot::take(const std::string& root) {
  struct statx st {};
  if (::statx(AT_FDCWD, root.c_str(), AT_NO_AUTOMOUNT,
              STATX_TYPE | STATX_INO | STATX_MTIME | STATX_CTIME, &st) != 0 ||
      !S_ISDIR(st.stx_mode)) {
    return std::nullopt;
  }
  TreeSnapshot snapshot;
  snapshot.folders[""] = {makedev(st.stx_dev_major, st.stx_dev_minor), st.stx_ino,
                          st.stx_mtime.tv_sec * 1000000000LL + st.stx_mtime.tv_nsec,
                          st.stx_ctime.tv_sec * 1000000000LL + st.stx_ctime.tv_nsec, 0};
  const std::size_t prefix = root.size() + 1;
  DirectoryEnumerator(DirectoryEnumerator::Stamps)
      .enumerate(
          stringWithFileSystemRepresentation(root), [&](const DirectoryItem& item, unsigned) {
            const std::string_view relative = item.path.substr(prefix);
            const std::size_t slash = relative.rfind('/');
            const std::string parent(slash == std::string_view::npos ? std::string_view()
                                                                     : relative.substr(0, slash));
            snapshot.folders[parent].digest += entryDigest(item);
            if (item.isDirectory()) {
              FolderRecord& record = snapshot.folders[std::string(relative)];
              record.device = item.device;
              record.inode = item.inode;
              record.modified = item.modified;
              record.changed = item.statusChanged;
            }
            return true;
          });
  return snapshot;
}

Data TreeSnapshot::serialized() const {
  Data out;
  append(out, kMagic, sizeof kMagic);
  appendValue(out, eventID);
  appendValue(out, static_cast<std::uint64_t>(folders.size()));
  for (const auto& [path, record] : folders) {
    appendValue(out, static_cast<std::uint32_t>(path.size()));
    append(out, path.data(), path.size());
    appendValue(out, record.device);
    appendValue(out, record.inode);
    appendValue(out, record.modified);
    appendValue(out, record.changed);
    appendValue(out, record.digest);
  }
  return out;
}

std::optional<TreeSnapshot> TreeSnapshot::deserialized(DataView data) {
  Reader reader(data);
  char magic[sizeof kMagic];
  TreeSnapshot snapshot;
  std::uint64_t count = 0;
  if (!reader.take(magic, sizeof magic) || std::memcmp(magic, kMagic, sizeof magic) != 0 ||
      !reader.read(snapshot.eventID) || !reader.read(count)) {
    return std::nullopt;
  }
  for (std::uint64_t i = 0; i < count; ++i) {
    std::uint32_t length = 0;
    if (!reader.read(length)) return std::nullopt;
    std::string path(length, '\0');
    FolderRecord record;
    if (!reader.take(path.data(), length) || !reader.read(record.device) ||
        !reader.read(record.inode) || !reader.read(record.modified) ||
        !reader.read(record.changed) || !reader.read(record.digest)) {
      return std::nullopt;
    }
    snapshot.folders.emplace(std::move(path), record);
  }
  if (!reader.atEnd()) return std::nullopt;
  return snapshot;
}

std::vector<std::string> TreeSnapshot::changedSince(const TreeSnapshot& before) const {
  std::vector<std::string> changed;
  for (const auto& [path, record] : folders) {
    const auto old = before.folders.find(path);
    if (old == before.folders.end() || !(old->second == record)) changed.push_back(path);
  }
  std::sort(changed.begin(), changed.end());
  return changed;
}

void TreeSnapshot::markUnsettled(const std::string& folder) {
  const auto found = folders.find(folder);
  // The inverted digest differs from the one any later reading of the
  // same entries gives.
  if (found != folders.end()) found->second.digest = ~found->second.digest;
}

}  // namespace lx::detail
