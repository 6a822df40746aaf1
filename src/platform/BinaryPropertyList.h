// The binary property-list format ("bplist00"), read and written directly:
// the backing library's binary codec measures strings with strlen and so
// cuts them at U+0000, and copies every shared object.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

#include "vantorcore/platform/Data.h"
#include "vantorcore/platform/String.h"
#include "vantorcore/platform/Value.h"

namespace lx::detail {

/// The value of a binary document, or absent with `failure` set to a short
/// reason. Refuses nesting deeper than `maximumDepth`, cycles, references
/// outside the document, and shared objects that would expand into more
/// than `extraObjects` objects beyond those the document holds and the
/// bytes of its object area (a bound on its references). Shared
/// objects are read once and share their storage in the result.
std::optional<Value> readBinaryPropertyList(DataView data, std::size_t maximumDepth,
                                            std::size_t extraObjects, String* failure);

/// The binary document of `value`, or absent with `failure` set to the
/// reason (null, objects, nesting beyond `maximumDepth`). Equal strings and
/// integers are written once. A one-entry dictionary {"CF$UID": n} with a
/// non-negative integer n becomes a UID.
std::optional<Data> writeBinaryPropertyList(const Value& value, std::size_t maximumDepth,
                                            String* failure);

/// Builds a binary document object by object, so that callers holding their
/// data in other shapes need not first build a `Value` tree of it. Objects
/// are numbered in the order they are added; containers are added with their
/// size and their members set afterwards. Strings, data and values are
/// referred to, not copied: they must outlive `finish`. Equal strings,
/// integers and UIDs are written once.
class BinaryPropertyListWriter {
 public:
  /// The number of an added object.
  using Ref = std::uint64_t;

  explicit BinaryPropertyListWriter(std::size_t maximumDepth);
  ~BinaryPropertyListWriter();
  BinaryPropertyListWriter(const BinaryPropertyListWriter&) = delete;
  BinaryPropertyListWriter& operator=(const BinaryPropertyListWriter&) = delete;

  /// `value` with everything in it (a one-entry dictionary {"CF$UID": n}
  /// with a non-negative integer n as a UID), or absent with `failure()`
  /// set: null, objects, nesting beyond the maximum depth.
  std::optional<Ref> add(const Value& value);
  Ref addString(StringView s);
  Ref addData(DataView bytes);
  Ref addUID(std::uint64_t uid);
  /// An array of `count` members, each given by `setMember` before `finish`.
  Ref addArray(std::size_t count);
  void setMember(Ref array, std::size_t index, Ref member);
  /// A dictionary of `count` entries, each given by `setEntry` before
  /// `finish`.
  Ref addDictionary(std::size_t count);
  void setEntry(Ref dictionary, std::size_t index, Ref key, Ref value);

  /// The document of every object added, `top` its top object.
  Data finish(Ref top);
  /// Why `add` failed.
  [[nodiscard]] const String& failure() const noexcept { return failure_; }

 private:
  enum class Kind : std::uint8_t { Scalar, String, Data, UID, Array, Dictionary };
  // Kept small: a large graph makes millions of them.
  struct Entry {
    Kind kind;
    // Scalar: its value; String: its characters; Data: its bytes.
    const void* pointer = nullptr;
    // String and data: their length; UID: its number; containers: their
    // references (keys before values), from `firstRef`.
    std::uint64_t count = 0;
    std::size_t firstRef = 0;

    [[nodiscard]] const Value& value() const { return *static_cast<const Value*>(pointer); }
    [[nodiscard]] StringView text() const { return {static_cast<const char16_t*>(pointer), count}; }
    [[nodiscard]] DataView bytes() const {
      return {static_cast<const std::uint8_t*>(pointer), count};
    }
  };
  struct PairHash {
    std::size_t operator()(const std::pair<std::uint64_t, bool>& p) const noexcept {
      return std::hash<std::uint64_t>{}(p.first) ^ p.second;
    }
  };

  bool fail(String reason);
  Ref newEntry(Entry entry);
  Ref addContainer(Kind kind, std::size_t refCount);
  void growStringSlots();
  std::optional<Ref> addValue(const Value& v, std::size_t depth);
  std::optional<Ref> addContainerValue(const Value& v, std::size_t depth);
  void putBigEndian(std::uint64_t v, std::size_t size);
  void putMarker(std::uint8_t marker, std::uint64_t n);
  void putString(StringView s);
  void putInteger(const Value& v);
  void putScalar(const Value& v);
  void putEntry(const Entry& e);
  void putReferences(const Entry& e);

  std::size_t maximumDepth_;
  std::vector<Entry> entries_;
  std::vector<Ref> refs_;
  // Strings written so far, by hash: open addressing, at most half full.
  // A large archive writes millions of distinct strings, and a node per
  // string in a standard map cost more than writing them.
  struct StringSlot {
    std::size_t hash = 0;
    Ref refPlusOne = 0;  // 0: free
  };
  std::vector<StringSlot> stringSlots_;
  std::size_t stringCount_ = 0;
  std::unordered_map<std::pair<std::uint64_t, bool>, Ref, PairHash> integers_;
  std::unordered_map<std::uint64_t, Ref> uids_;
  std::size_t refSize_ = 1;
  Data out_;
  String failure_;
};

}  // namespace lx::detail
