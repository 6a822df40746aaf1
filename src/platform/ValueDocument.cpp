#include "platform/ValueDocument.h"

#include <sys/mman.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

namespace lx::detail {

namespace {

constexpr std::size_t kHugePage = 2u << 20;
constexpr std::size_t kLargeBlock = 2 * kHugePage;
constexpr std::size_t kMinimumBlock = 1024;
// Past this, blocks stop doubling: a document larger still adds blocks of
// this size.
constexpr std::size_t kMaximumGrowth = 256u << 20;

constexpr std::size_t roundUp(std::size_t n, std::size_t to) { return (n + to - 1) / to * to; }

// A mapping of `size` bytes (a multiple of 2 MiB) on a 2 MiB boundary,
// advised as huge pages; null when the system has no memory to give.
void* mapHugeBlock(std::size_t size) {
  void* raw =
      mmap(nullptr, size + kHugePage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (raw == MAP_FAILED) return nullptr;
  auto* start = static_cast<char*>(raw);
  auto* aligned =
      reinterpret_cast<char*>(roundUp(reinterpret_cast<std::uintptr_t>(start), kHugePage));
  if (aligned > start) munmap(start, static_cast<std::size_t>(aligned - start));
  const std::size_t tail = static_cast<std::size_t>(start + size + kHugePage - (aligned + size));
  if (tail) munmap(aligned + size, tail);
  // Advice only: without transparent huge pages the block still works.
  madvise(aligned, size, MADV_HUGEPAGE);
  return aligned;
}

// The length of the run of ASCII bytes `p` starts with, eight at a time.
std::size_t asciiPrefixLength(const unsigned char* p, std::size_t n) {
  std::size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    std::uint64_t word;
    std::memcpy(&word, p + i, 8);
    if (word & 0x8080808080808080ULL) break;
  }
  while (i < n && p[i] < 0x80) ++i;
  return i;
}

// Decodes UTF-8 that is known to be valid; returns the number of units
// written to `out`, which has room for `in.size()` units.
std::size_t decodeValidUTF8(std::string_view in, char16_t* out) {
  const auto* p = reinterpret_cast<const unsigned char*>(in.data());
  const auto* const end = p + in.size();
  const std::size_t ascii = asciiPrefixLength(p, in.size());
  std::copy(p, p + ascii, out);
  char16_t* dst = out + ascii;
  p += ascii;
  while (p < end) {
    const unsigned c = *p;
    if (c < 0x80) {
      *dst++ = static_cast<char16_t>(c);
      p += 1;
    } else if (c < 0xE0) {
      *dst++ = static_cast<char16_t>(((c & 0x1F) << 6) | (p[1] & 0x3F));
      p += 2;
    } else if (c < 0xF0) {
      *dst++ = static_cast<char16_t>(((c & 0x0F) << 12) | ((p[1] & 0x3F) << 6) | (p[2] & 0x3F));
      p += 3;
    } else {
      const char32_t cp =
          ((c & 0x07) << 18) | ((p[1] & 0x3F) << 12) | ((p[2] & 0x3F) << 6) | (p[3] & 0x3F);
      *dst++ = static_cast<char16_t>(0xD800 + ((cp - 0x10000) >> 10));
      *dst++ = static_cast<char16_t>(0xDC00 + ((cp - 0x10000) & 0x3FF));
      p += 4;
    }
  }
  return static_cast<std::size_t>(dst - out);
}

// Enough to spread the short strings of one document over the slots: the
// first and last eight bytes and the length, mixed.
std::size_t shortHash(std::string_view text) noexcept {
  std::uint64_t head = 0;
  std::uint64_t tail = 0;
  const auto* p = reinterpret_cast<const unsigned char*>(text.data());
  const std::size_t n = text.size();
  // Fixed-size loads only: a copy of a variable length into a word stalls
  // the load that reads it back.
  if (n >= 8) {
    std::memcpy(&head, p, 8);
    std::memcpy(&tail, p + n - 8, 8);
  } else if (n >= 4) {
    std::uint32_t first = 0;
    std::uint32_t last = 0;
    std::memcpy(&first, p, 4);
    std::memcpy(&last, p + n - 4, 4);
    head = (std::uint64_t{first} << 32) | last;
  } else if (n > 0) {
    head = (std::uint64_t{p[0]} << 16) | (std::uint64_t{p[n / 2]} << 8) | p[n - 1];
  }
  const std::uint64_t h =
      (head ^ (tail * 0x9E3779B97F4A7C15ULL) ^ text.size()) * 0xFF51AFD7ED558CCDULL;
  return static_cast<std::size_t>(h ^ (h >> 29));
}

}  // namespace

void LargeBuffer::reserve(std::size_t bytes, std::size_t kept) {
  if (bytes <= capacity_) return;
  char* data =
      bytes >= kLargeBlock ? static_cast<char*>(mapHugeBlock(roundUp(bytes, kHugePage))) : nullptr;
  if (!data) data = static_cast<char*>(std::malloc(bytes));
  if (!data) throw std::bad_alloc();
  if (kept) std::memcpy(data, data_, kept);
  reset();
  data_ = data;
  capacity_ = bytes;
}

void LargeBuffer::reset() noexcept {
  if (!data_) return;
  if (capacity_ >= kLargeBlock) {
    munmap(data_, roundUp(capacity_, kHugePage));
  } else {
    std::free(data_);
  }
  data_ = nullptr;
  capacity_ = 0;
}

void adviseHugePages(void* buffer, std::size_t bytes) noexcept {
  if (!buffer || bytes < kLargeBlock) return;
  const auto start = roundUp(reinterpret_cast<std::uintptr_t>(buffer), kHugePage);
  const auto end = (reinterpret_cast<std::uintptr_t>(buffer) + bytes) / kHugePage * kHugePage;
  if (end > start) madvise(reinterpret_cast<void*>(start), end - start, MADV_HUGEPAGE);
}

struct DocumentArena::Block {
  Block* next;
  std::size_t size;
  bool mapped;
};

namespace {

// Small documents come and go by the thousand (a message's parameters), and
// fresh memory costs a page fault per 4 KiB: the blocks of freed documents
// wait here for the next ones. One cache for the process, because documents
// are often made on one thread and freed on another. Sizes are powers of two
// from 4 KiB to 1 MiB, at most 8 MiB in all.
class BlockCache {
 public:
  static constexpr std::size_t kSmallest = 4096;
  static constexpr std::size_t kLargest = 1u << 20;

  // Never destroyed: documents may be freed during static destruction.
  static BlockCache& shared() {
    static auto* cache = new BlockCache();
    return *cache;
  }
  static bool cacheable(std::size_t size) noexcept {
    return size >= kSmallest && size <= kLargest && std::has_single_bit(size);
  }
  void* take(std::size_t size) noexcept {
    std::lock_guard lock(mutex_);
    auto& blocks = free_[classOf(size)];
    if (blocks.empty()) return nullptr;
    void* block = blocks.back();
    blocks.pop_back();
    bytes_ -= size;
    return block;
  }
  bool give(void* block, std::size_t size) {
    std::lock_guard lock(mutex_);
    if (bytes_ + size > kCapacity) return false;
    free_[classOf(size)].push_back(block);
    bytes_ += size;
    return true;
  }

 private:
  static constexpr std::size_t kCapacity = 8u << 20;
  static std::size_t classOf(std::size_t size) noexcept {
    return static_cast<std::size_t>(std::countr_zero(size) - std::countr_zero(kSmallest));
  }
  std::mutex mutex_;
  std::vector<void*> free_[9];
  std::size_t bytes_ = 0;
};

}  // namespace

DocumentArena* DocumentArena::create(std::size_t expectedBytes) {
  auto* arena = new DocumentArena();
  arena->nextBlockSize_ = std::max(expectedBytes, kMinimumBlock);
  return arena;
}

void DocumentArena::addBlock(std::size_t minimum) {
  std::size_t size = std::max(minimum + sizeof(Block), nextBlockSize_);
  void* memory = nullptr;
  bool mapped = false;
  if (size >= kHugePage) {
    size = roundUp(size, kHugePage);
    memory = mapHugeBlock(size);
    mapped = memory != nullptr;
  } else if (size <= BlockCache::kLargest) {
    size = std::bit_ceil(std::max(size, BlockCache::kSmallest));
    memory = BlockCache::shared().take(size);
  }
  if (!memory) memory = std::malloc(size);
  if (!memory) throw std::bad_alloc();
  blocks_ = new (memory) Block{blocks_, size, mapped};
  cursor_ = reinterpret_cast<char*>(blocks_ + 1);
  limit_ = static_cast<char*>(memory) + size;
  nextBlockSize_ = std::min(size * 2, kMaximumGrowth);
}

void* DocumentArena::allocate(std::size_t bytes) {
  bytes = roundUp(bytes, 8);
  if (static_cast<std::size_t>(limit_ - cursor_) < bytes) addBlock(bytes);
  void* p = cursor_;
  cursor_ += bytes;
  return p;
}

void DocumentArena::shrinkLast(void* p, std::size_t bytes) noexcept {
  cursor_ = static_cast<char*>(p) + roundUp(bytes, 8);
}

void DocumentArena::adopt(Node* node) {
  adopted_ = new (allocate(sizeof(Adopted))) Adopted{node, adopted_};
}

void DocumentArena::release() noexcept {
  if (refs_.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
  for (Adopted* a = adopted_; a; a = a->next) detail::release(a->node);
  for (Block* block = blocks_; block;) {
    Block* next = block->next;
    if (block->mapped) {
      munmap(block, block->size);
    } else if (!BlockCache::cacheable(block->size) ||
               !BlockCache::shared().give(block, block->size)) {
      std::free(block);
    }
    block = next;
  }
  delete this;
}

void retainDocument(DocumentArena* document) noexcept { document->retain(); }
void releaseDocument(DocumentArena* document) noexcept { document->release(); }

// ---------------------------------------------------------------------------

DocumentBuilder::DocumentBuilder(std::size_t expectedBytes)
    : expectedBytes_(expectedBytes),
      // About one short string per 32 bytes of text; clearing the whole
      // table would cost a small document more than building it.
      internMask_(std::bit_ceil(std::clamp<std::size_t>(expectedBytes / 32, 16, kInternSlots)) -
                  1) {
  std::fill_n(interned_, internMask_ + 1, InternedString());
}

DocumentBuilder::~DocumentBuilder() {
  if (arena_) arena_->release();
}

// Made on first use: a document of one number or id needs none.
DocumentArena& DocumentBuilder::arena() {
  if (!arena_) arena_ = DocumentArena::create(expectedBytes_);
  return *arena_;
}

StringNode* DocumentBuilder::makeString(std::string_view utf8) {
  InternedString* interned = nullptr;
  if (utf8.size() <= kInternMaximumLength) {
    const std::size_t hash = shortHash(utf8);
    interned = &interned_[hash & internMask_];
    if (interned->node && interned->length == utf8.size() &&
        std::memcmp(interned->utf8, utf8.data(), utf8.size()) == 0)
      return interned->node;
  }
  void* memory = arena().allocate(sizeof(StringNode) + utf8.size() * sizeof(char16_t));
  auto* node = new (memory) StringNode(arena_);
  node->length = decodeValidUTF8(utf8, node->chars());
  arena_->shrinkLast(memory, sizeof(StringNode) + node->length * sizeof(char16_t));
  if (interned) *interned = {utf8.data(), utf8.size(), node};
  return node;
}

void DocumentBuilder::setString(Value* slot, std::string_view utf8) {
  slot->~Value();
  new (slot) Value(SharedString(utf8.empty() ? nullptr : makeString(utf8)));
}

void DocumentBuilder::setKey(Dictionary::Entry* entry, std::string_view utf8) {
  entry->first.node_ = utf8.empty() ? nullptr : makeString(utf8);
}

void DocumentBuilder::setString(Value* slot, StringView text) {
  StringNode* node = nullptr;
  if (!text.empty()) {
    node = new (arena().allocate(sizeof(StringNode) + text.size() * sizeof(char16_t)))
        StringNode(arena_);
    node->length = text.size();
    std::memcpy(node->chars(), text.data(), text.size() * sizeof(char16_t));
  }
  slot->~Value();
  new (slot) Value(SharedString(node));
}

void DocumentBuilder::setData(Value* slot, DataView bytes) {
  // Bytes live on the heap, as every `Data` does; the arena holds them.
  Value data(Data(bytes.begin(), bytes.end()));
  arena().adopt(data.node_);
  slot->~Value();
  new (slot) Value(Value::Type::Data, std::exchange(data.node_, nullptr));
  data.type_ = Value::Type::Null;
}

void DocumentBuilder::share(Value* slot, const Value& built) {
  // Values inside the document count no references, so the copy takes none.
  slot->~Value();
  std::memcpy(static_cast<void*>(slot), static_cast<const void*>(&built), sizeof(Value));
}

Value* DocumentBuilder::newSlot() { return new (arena().allocate(sizeof(Value))) Value(); }

void DocumentBuilder::setKey(Dictionary::Entry* entry, const Value& built) {
  entry->first.node_ = built.string_.node_;
}

Value* DocumentBuilder::setArray(Value* slot, std::size_t count) {
  void* memory = arena().allocate(sizeof(ArrayNode) + count * sizeof(Value));
  auto* node = new (memory) ArrayNode(Array(), arena_);
  auto* elements = reinterpret_cast<Value*>(node + 1);
  for (std::size_t i = 0; i < count; ++i) new (elements + i) Value();
  Array& array = node->array;
  array.data_ = elements;
  array.size_ = array.capacity_ = count;
  array.borrowed_ = true;
  slot->~Value();
  new (slot) Value(Value::Type::Array, node);
  return elements;
}

Dictionary::Entry* DocumentBuilder::setDictionary(Value* slot, std::size_t count) {
  using Entry = Dictionary::Entry;
  void* memory = arena().allocate(sizeof(DictionaryNode) + count * sizeof(Entry));
  auto* node = new (memory) DictionaryNode(Dictionary(), arena_);
  auto* entries = reinterpret_cast<Entry*>(node + 1);
  for (std::size_t i = 0; i < count; ++i) new (entries + i) Entry();
  Dictionary& dictionary = node->dictionary;
  dictionary.entries_ = entries;
  dictionary.size_ = dictionary.capacity_ = count;
  dictionary.borrowed_ = true;
  slot->~Value();
  new (slot) Value(Value::Type::Dictionary, node);
  return entries;
}

void DocumentBuilder::finishDictionary(Value* slot) {
  Dictionary& d = static_cast<DictionaryNode*>(slot->node_)->dictionary;
  const std::size_t slots = Dictionary::indexSlots(d.size_);
  d.mergeRepeatedKeys(
      slots ? static_cast<std::uint32_t*>(arena().allocate(slots * sizeof(std::uint32_t)))
            : nullptr);
}

Value DocumentBuilder::finish(Value& root) {
  Value document = std::move(root);
  // The document's only counted reference is the builder's: it passes to a
  // root inside the arena. A root outside it (a number, data on the heap)
  // needs no arena, and its node a reference of its own.
  if (!document.holdsNode()) return document;
  if (document.node_->document) {
    arena_ = nullptr;
  } else {
    detail::retain(document.node_);
  }
  return document;
}

}  // namespace lx::detail
