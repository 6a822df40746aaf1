#include <algorithm>
#include <bit>
#include <cstring>
#include <functional>
#include <new>

#include "vantorcore/platform/Value.h"

namespace lx {

namespace {

// Below this size a linear scan beats hashing, and small dictionaries are
// the common case (user info, JSON objects).
constexpr std::size_t kIndexThreshold = 12;

std::size_t hashKey(StringView key) noexcept { return std::hash<StringView>{}(key); }

// Entries hold no pointer into themselves, so moving one is copying its bytes
// and forgetting the source.
void relocate(Dictionary::Entry* to, Dictionary::Entry* from, std::size_t count) noexcept {
  if (count)
    std::memmove(static_cast<void*>(to), static_cast<const void*>(from),
                 count * sizeof(Dictionary::Entry));
}

}  // namespace

Dictionary::Dictionary(std::initializer_list<Entry> entries) {
  reserve(entries.size());
  for (const Entry& e : entries) set(e.first, e.second);
}

Dictionary::Dictionary(std::vector<Entry> entries) {
  grow(entries.size());
  for (Entry& e : entries) new (entries_ + size_++) Entry(std::move(e));
  mergeRepeatedKeys();
}

Dictionary::Dictionary(const Dictionary& other) {
  grow(other.size_);
  for (const Entry& e : other) new (entries_ + size_++) Entry(e);
  if (size_ >= kIndexThreshold) buildIndex();
}

Dictionary::Dictionary(Dictionary&& other) noexcept { take(other); }

Dictionary& Dictionary::operator=(const Dictionary& other) {
  if (this != &other) *this = Dictionary(other);
  return *this;
}

Dictionary& Dictionary::operator=(Dictionary&& other) noexcept {
  if (this != &other) {
    destroy();
    take(other);
  }
  return *this;
}

void Dictionary::take(Dictionary& other) {
  if (other.borrowed_) {
    Dictionary copy(other);
    take(copy);
    return;
  }
  std::swap(entries_, other.entries_);
  std::swap(size_, other.size_);
  std::swap(capacity_, other.capacity_);
  std::swap(index_, other.index_);
  std::swap(indexMask_, other.indexMask_);
}

Dictionary::~Dictionary() { destroy(); }

void Dictionary::destroy() noexcept {
  if (!borrowed_) {
    for (std::size_t i = 0; i < size_; ++i) entries_[i].~Entry();
    ::operator delete(entries_);
    ::operator delete(index_);
  }
  entries_ = nullptr;
  index_ = nullptr;
  size_ = capacity_ = indexMask_ = 0;
  borrowed_ = false;
}

void Dictionary::grow(std::size_t count) {
  if (!borrowed_ && count <= capacity_) return;
  const std::size_t capacity = std::max({count, capacity_ * 2, std::size_t{4}});
  auto* entries = static_cast<Entry*>(::operator new(capacity * sizeof(Entry)));
  if (borrowed_) {
    for (std::size_t i = 0; i < size_; ++i) new (entries + i) Entry(entries_[i]);
    index_ = nullptr;  // the document's; rebuilt below
    borrowed_ = false;
    entries_ = entries;
    capacity_ = capacity;
    if (size_ >= kIndexThreshold) buildIndex();
    return;
  }
  relocate(entries, entries_, size_);
  ::operator delete(entries_);
  entries_ = entries;
  capacity_ = capacity;
}

void Dictionary::reserve(std::size_t count) {
  if (borrowed_ || count > capacity_) grow(std::max(count, size_));
}

std::size_t Dictionary::indexSlots(std::size_t count) noexcept {
  // Half full at most, so that probe runs stay short.
  return count < kIndexThreshold ? 0 : std::bit_ceil(count * 2);
}

void Dictionary::setIndex(std::uint32_t* slots) noexcept {
  const std::size_t count = indexSlots(size_);
  std::memset(slots, 0, count * sizeof(std::uint32_t));
  index_ = slots;
  indexMask_ = count - 1;
}

void Dictionary::buildIndex() {
  ::operator delete(index_);
  setIndex(static_cast<std::uint32_t*>(::operator new(indexSlots(size_) * sizeof(std::uint32_t))));
  for (std::size_t i = 0; i < size_; ++i) indexEntry(i);
}

void Dictionary::indexEntry(std::size_t i) noexcept {
  std::size_t slot = hashKey(entries_[i].first) & indexMask_;
  while (index_[slot]) slot = (slot + 1) & indexMask_;
  index_[slot] = static_cast<std::uint32_t>(i + 1);
}

// Keys almost never repeat, so this only looks, and compacts the entries only
// when a key does repeat.
void Dictionary::mergeRepeatedKeys(std::uint32_t* index) {
  const bool indexed = size_ >= kIndexThreshold;
  if (indexed) {
    setIndex(index ? index
                   : static_cast<std::uint32_t*>(
                         ::operator new(indexSlots(size_) * sizeof(std::uint32_t))));
  }
  // One bit per (length, first unit) seen: a key whose bit is clear cannot
  // have come before, which spares the scan for nearly every key.
  std::uint64_t seen = 0;
  std::size_t out = 0;
  for (std::size_t i = 0; i < size_; ++i) {
    const StringView key = entries_[i].first;
    std::size_t first = out;
    if (indexed) {
      std::size_t slot = hashKey(key) & indexMask_;
      for (; index_[slot]; slot = (slot + 1) & indexMask_) {
        if (entries_[index_[slot] - 1].first == key) {
          first = index_[slot] - 1;
          break;
        }
      }
      if (first == out) index_[slot] = static_cast<std::uint32_t>(out + 1);
    } else {
      const std::uint64_t bit = std::uint64_t{1}
                                << ((key.size() * 31 + (key.empty() ? 0 : key[0])) & 63);
      if (seen & bit) {
        first = 0;
        while (first < out && entries_[first].first != key) ++first;
      }
      seen |= bit;
    }
    if (first < out) {
      if (borrowed_) {
        std::memcpy(static_cast<void*>(&entries_[first].second),
                    static_cast<const void*>(&entries_[i].second), sizeof(Value));
      } else {
        entries_[first].second = std::move(entries_[i].second);
      }
    } else if (out++ != i) {
      if (borrowed_) {
        std::memcpy(static_cast<void*>(&entries_[out - 1]), static_cast<const void*>(&entries_[i]),
                    sizeof(Entry));
      } else {
        entries_[out - 1] = std::move(entries_[i]);
      }
    }
  }
  if (!borrowed_)
    for (std::size_t i = out; i < size_; ++i) entries_[i].~Entry();
  size_ = out;
}

std::size_t Dictionary::indexOf(StringView key) const noexcept {
  if (!index_) {
    for (std::size_t i = 0; i < size_; ++i)
      if (entries_[i].first.size() == key.size() && entries_[i].first == key) return i;
    return size_;
  }
  for (std::size_t slot = hashKey(key) & indexMask_; index_[slot]; slot = (slot + 1) & indexMask_) {
    if (entries_[index_[slot] - 1].first == key) return index_[slot] - 1;
  }
  return size_;
}

const Value* Dictionary::find(StringView key) const noexcept {
  const std::size_t i = indexOf(key);
  return i < size_ ? &entries_[i].second : nullptr;
}

Value* Dictionary::find(StringView key) noexcept {
  if (borrowed_) grow(size_);
  const std::size_t i = indexOf(key);
  return i < size_ ? &entries_[i].second : nullptr;
}

const Value& Dictionary::operator[](StringView key) const noexcept {
  static const Value null;
  const Value* v = find(key);
  return v ? *v : null;
}

void Dictionary::set(SharedString key, Value value) {
  if (borrowed_) grow(size_);
  const std::size_t i = indexOf(key);
  if (i < size_) {
    entries_[i].second = std::move(value);
    return;
  }
  if (size_ == capacity_) grow(size_ + 1);
  new (entries_ + size_++) Entry(std::move(key), std::move(value));
  // A dictionary that merged repeated keys may keep an index below the size
  // that builds one; it must then index this entry too.
  if (!index_ && size_ < kIndexThreshold) return;
  // Rebuilt at half load, so probe runs stay short.
  if (!index_ || size_ * 2 > indexMask_ + 1) {
    buildIndex();
  } else {
    indexEntry(size_ - 1);
  }
}

bool Dictionary::erase(StringView key) {
  if (borrowed_) grow(size_);
  const std::size_t i = indexOf(key);
  if (i >= size_) return false;
  entries_[i].~Entry();
  relocate(entries_ + i, entries_ + i + 1, size_ - i - 1);
  --size_;
  if (size_ >= kIndexThreshold) {
    buildIndex();
  } else {
    ::operator delete(index_);
    index_ = nullptr;
  }
  return true;
}

void Dictionary::clear() noexcept { destroy(); }

void Dictionary::addEntries(const Dictionary& other) {
  for (const auto& [k, v] : other) set(k, v);
}

std::vector<String> Dictionary::keys() const {
  std::vector<String> out;
  out.reserve(size_);
  for (const Entry& e : *this) out.push_back(e.first.str());
  return out;
}

bool operator==(const Dictionary& a, const Dictionary& b) {
  if (a.size() != b.size()) return false;
  for (const auto& [k, v] : a) {
    const Value* other = b.find(k);
    if (!other || !(*other == v)) return false;
  }
  return true;
}

}  // namespace lx
