// The memory a parsed document's values live in, and the builder that fills
// it. Reading a document then costs one bump allocation per string or
// container and freeing it a handful of block releases, whatever its size.
#pragma once

#include <atomic>
#include <cstddef>
#include <string_view>

#include "vantorcore/platform/Value.h"

namespace lx::detail {

struct ArrayNode : Node {
  Array array;
  explicit ArrayNode(Array a, DocumentArena* d = nullptr) noexcept
      : Node(Kind::Array, d), array(std::move(a)) {}
};

struct DictionaryNode : Node {
  Dictionary dictionary;
  explicit DictionaryNode(Dictionary dict, DocumentArena* d = nullptr) noexcept
      : Node(Kind::Dictionary, d), dictionary(std::move(dict)) {}
};

/// A growable byte buffer that is never filled before it is written: mapped
/// on a 2 MiB boundary and advised as huge pages from 4 MiB on, from malloc
/// below, so that filling a large one costs few page faults.
class LargeBuffer {
 public:
  LargeBuffer() = default;
  LargeBuffer(const LargeBuffer&) = delete;
  LargeBuffer& operator=(const LargeBuffer&) = delete;
  ~LargeBuffer() { reset(); }

  [[nodiscard]] char* data() noexcept { return data_; }
  [[nodiscard]] std::size_t capacity() const noexcept { return capacity_; }
  /// Room for at least `bytes`, keeping the first `kept` bytes.
  void reserve(std::size_t bytes, std::size_t kept);
  /// Gives the memory back.
  void reset() noexcept;

 private:
  char* data_ = nullptr;
  std::size_t capacity_ = 0;
};

/// Asks for huge pages in the 2 MiB-aligned part of a buffer of 4 MiB or more
/// that nothing has touched yet. Advice only: it may be ignored.
void adviseHugePages(void* buffer, std::size_t bytes) noexcept;

/// A block allocator owned by every value that points into it. Large blocks
/// are mapped on 2 MiB boundaries and advised as huge pages, so that a large
/// document costs one page fault per 2 MiB instead of one per 4 KiB.
class DocumentArena {
 public:
  /// An arena whose first block fits about `expectedBytes`, with one
  /// reference held by the caller.
  static DocumentArena* create(std::size_t expectedBytes);

  /// `bytes` bytes aligned to 8; never null (throws `std::bad_alloc`).
  void* allocate(std::size_t bytes);
  /// Gives back the end of the most recent allocation, which began at `p`
  /// and now needs only `bytes`.
  void shrinkLast(void* p, std::size_t bytes) noexcept;

  /// Keeps one reference to `node`, a node on the heap that a value inside
  /// the document points to, until the arena goes.
  void adopt(Node* node);

  void retain() noexcept { refs_.fetch_add(1, std::memory_order_relaxed); }
  void release() noexcept;

 private:
  struct Block;
  struct Adopted {
    Node* node;
    Adopted* next;
  };
  DocumentArena() = default;
  void addBlock(std::size_t minimum);

  std::atomic<std::size_t> refs_{1};
  char* cursor_ = nullptr;
  char* limit_ = nullptr;
  Block* blocks_ = nullptr;
  Adopted* adopted_ = nullptr;
  std::size_t nextBlockSize_ = 0;
};

/// Writes a document's values into a `DocumentArena`. Values made here point
/// into the arena without counting: only `finish` hands out a counted one.
class DocumentBuilder {
 public:
  explicit DocumentBuilder(std::size_t expectedBytes);
  ~DocumentBuilder();
  DocumentBuilder(const DocumentBuilder&) = delete;
  DocumentBuilder& operator=(const DocumentBuilder&) = delete;

  /// `*slot` becomes the string of `utf8`, which must be valid UTF-8. Short
  /// strings that repeat (keys, enumerations) share one copy.
  void setString(Value* slot, std::string_view utf8);
  void setKey(Dictionary::Entry* entry, std::string_view utf8);
  /// `*slot` becomes the string of the UTF-16 `text`, not shared.
  void setString(Value* slot, StringView text);
  /// `*slot` becomes a copy of `bytes`.
  void setData(Value* slot, DataView bytes);
  /// `*slot` becomes `built`, a value this builder made, without a copy:
  /// a document may hold one string or container in several places.
  void share(Value* slot, const Value& built);
  /// A null value inside the document, for a value that has no place in a
  /// container of it yet (a dictionary key, the root).
  Value* newSlot();
  /// The key of `entry` becomes `built`, a string this builder made.
  void setKey(Dictionary::Entry* entry, const Value& built);
  /// `*slot` becomes an array of `count` nulls; returns its elements.
  Value* setArray(Value* slot, std::size_t count);
  /// `*slot` becomes a dictionary of `count` entries with empty keys and null
  /// values; returns them. Call `finishDictionary` once they are filled.
  Dictionary::Entry* setDictionary(Value* slot, std::size_t count);
  /// Merges repeated keys (first place, last value) and builds the index.
  void finishDictionary(Value* slot);

  /// The document whose root is `root` (the slot the builder filled, which
  /// becomes null): the value that owns the arena.
  Value finish(Value& root);

 private:
  StringNode* makeString(std::string_view utf8);
  DocumentArena& arena();

  struct InternedString {
    const char* utf8;
    std::size_t length;
    StringNode* node;
  };
  static constexpr std::size_t kInternSlots = 1024;
  static constexpr std::size_t kInternMaximumLength = 32;

  std::size_t expectedBytes_;
  DocumentArena* arena_ = nullptr;
  std::size_t internMask_;
  // Only the first `internMask_ + 1` slots are in use (and initialised).
  InternedString interned_[kInternSlots];
};

}  // namespace lx::detail
