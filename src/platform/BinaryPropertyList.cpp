#include "platform/BinaryPropertyList.h"

#include "platform/ValueDocument.h"

#include "vantorcore/platform/Object.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <unordered_map>
#include <vector>

namespace lx::detail {

namespace {

constexpr std::size_t kHeaderSize = 8;
constexpr std::size_t kTrailerSize = 32;
constexpr StringView kUIDKey = u"CF$UID";

// Object markers: the high nibble names the kind, the low one a size or count.
enum Marker : std::uint8_t {
  kFalse = 0x08,
  kTrue = 0x09,
  kInteger = 0x10,
  kReal = 0x20,
  kDate = 0x33,
  kData = 0x40,
  kASCIIString = 0x50,
  kUTF16String = 0x60,
  kUID = 0x80,
  kArray = 0xA0,
  kSet = 0xC0,
  kDictionary = 0xD0,
};

std::uint64_t readBigEndian(const std::uint8_t* p, std::size_t size) {
  std::uint64_t v = 0;
  for (std::size_t i = 0; i < size; ++i) v = (v << 8) | p[i];
  return v;
}

// Reads the document into one arena (see ValueDocument.h): an object the
// document shares is built once and every further reference points at it.
class Reader {
 public:
  Reader(DataView d, std::size_t maximumDepth, std::size_t extraObjects)
      : d_(d), maximumDepth_(maximumDepth), extraObjects_(extraObjects), builder_(d.size()) {}

  std::optional<Value> read(String* failure) {
    if (readTrailer()) {
      // Inside the arena, so that a failure leaves nothing to release.
      Value* root = builder_.newSlot();
      if (object(top_, 0, root)) return builder_.finish(*root);
    }
    if (failure) *failure = failure_;
    return std::nullopt;
  }

 private:
  struct Span {
    std::uint64_t at = 0, count = 0;
  };

  bool fail(const char16_t* reason) {
    if (failure_.empty()) failure_ = reason;
    return false;
  }

  bool readTrailer() {
    if (d_.size() < kHeaderSize + kTrailerSize || std::memcmp(d_.data(), "bplist00", 8) != 0) {
      return fail(u"The binary property list is too short.");
    }
    const std::uint8_t* t = d_.data() + d_.size() - kTrailerSize;
    offsetSize_ = t[6];
    refSize_ = t[7];
    count_ = readBigEndian(t + 8, 8);
    top_ = readBigEndian(t + 16, 8);
    table_ = readBigEndian(t + 24, 8);
    const std::uint64_t end = d_.size() - kTrailerSize;
    if (offsetSize_ < 1 || offsetSize_ > 8 || refSize_ < 1 || refSize_ > 8 || count_ == 0 ||
        top_ >= count_ || table_ < kHeaderSize || table_ > end ||
        count_ > (end - table_) / offsetSize_) {
      return fail(u"The binary property list's trailer is malformed.");
    }
    built_.assign(count_, nullptr);
    state_.assign(count_, kUnread);
    expanded_.assign(count_, 0);
    // Every reference takes at least one byte of the object area, so a
    // document whose only sharing is of scalars (the UIDs and class names of
    // a keyed archive) stays under this; only shared containers go beyond.
    sizeLimit_ = count_ + (table_ - kHeaderSize) + extraObjects_;
    return true;
  }

  // Whether `n` bytes from `at` lie inside the object area.
  [[nodiscard]] bool fits(std::uint64_t at, std::uint64_t n) const {
    return at <= table_ && n <= table_ - at;
  }

  // The count in a marker's low nibble, or in the integer object after it
  // when the nibble is 0xF; `at` moves to the object's contents.
  bool count(std::uint64_t* at, std::uint64_t* n) {
    *n = d_[*at] & 0xF;
    ++*at;
    if (*n != 0xF) return true;
    if (!fits(*at, 1) || (d_[*at] >> 4) != 1 || (d_[*at] & 0xF) > 3) return false;
    const std::size_t size = std::size_t{1} << (d_[*at] & 0xF);
    if (!fits(*at + 1, size)) return false;
    *n = readBigEndian(d_.data() + *at + 1, size);
    *at += 1 + size;
    return true;
  }

  // The references of a container: `n` of them starting at `at`.
  bool references(std::uint64_t at, std::uint64_t n, Span* refs) {
    if (n > table_ / refSize_ || !fits(at, n * refSize_)) return false;
    *refs = {at, n};
    return true;
  }

  [[nodiscard]] std::uint64_t reference(const Span& refs, std::uint64_t i) const {
    return readBigEndian(d_.data() + refs.at + i * refSize_, refSize_);
  }

  // Builds object `index` into `*slot`, which is null.
  bool object(std::uint64_t index, std::size_t depth, Value* slot) {
    if (index >= count_) return fail(u"A reference points outside the property list.");
    if (depth > maximumDepth_) return fail(u"The property list nests too deeply.");
    if (state_[index] == kRead) {
      builder_.share(slot, *built_[index]);
      return true;
    }
    if (state_[index] == kReading) return fail(u"The property list contains itself.");
    const std::uint64_t offset =
        readBigEndian(d_.data() + table_ + index * offsetSize_, offsetSize_);
    if (offset < kHeaderSize || offset >= table_) {
      return fail(u"An object lies outside the property list.");
    }
    state_[index] = kReading;
    std::uint64_t expanded = 1;
    if (!parse(offset, depth, &expanded, slot)) return false;
    state_[index] = kRead;
    built_[index] = slot;
    expanded_[index] = expanded;
    return true;
  }

  // Object `index` for a place no container holds (a key).
  const Value* standalone(std::uint64_t index, std::size_t depth) {
    if (index < count_ && state_[index] == kRead) return built_[index];
    Value* slot = builder_.newSlot();
    return object(index, depth, slot) ? slot : nullptr;
  }

  // Counts a child's expanded size into its parent's, refusing documents
  // whose shared objects would multiply beyond the limit.
  bool addExpanded(std::uint64_t* total, std::uint64_t child) {
    *total += expanded_[child];
    return *total <= sizeLimit_ || fail(u"Shared objects in the property list expand too far.");
  }

  bool parse(std::uint64_t offset, std::size_t depth, std::uint64_t* expanded, Value* slot) {
    const std::uint8_t marker = d_[offset];
    const std::uint8_t low = marker & 0xF;
    std::uint64_t at = offset + 1;
    switch (marker >> 4) {
      case 0x0:
        if (marker != kFalse && marker != kTrue) break;
        *slot = Value(marker == kTrue);
        return true;
      case 0x1:
        return integer(at, low, slot);
      case 0x2: {
        if ((low != 2 && low != 3) || !fits(at, std::size_t{1} << low)) break;
        const std::uint64_t bits = readBigEndian(d_.data() + at, std::size_t{1} << low);
        *slot = low == 2 ? Value(std::bit_cast<float>(static_cast<std::uint32_t>(bits)))
                         : Value(std::bit_cast<double>(bits));
        return true;
      }
      case 0x3:
        if (marker != kDate || !fits(at, 8)) break;
        *slot = Value(Date::withTimeIntervalSinceReferenceDate(
            std::bit_cast<double>(readBigEndian(d_.data() + at, 8))));
        return true;
      case 0x4:
      case 0x5:
      case 0x6:
        return bytes(offset, slot);
      case 0x8: {
        if (low > 7 || !fits(at, low + 1u)) break;
        Dictionary::Entry* entry = builder_.setDictionary(slot, 1);
        builder_.setKey(entry, std::string_view("CF$UID"));
        entry->second = Value(readBigEndian(d_.data() + at, low + 1u));
        builder_.finishDictionary(slot);
        return true;
      }
      case 0xA:
      case 0xC:
        return array(offset, depth, expanded, slot);
      case 0xD:
        return dictionary(offset, depth, expanded, slot);
      default:
        break;
    }
    return fail(u"The property list holds an object of unknown kind.");
  }

  bool integer(std::uint64_t at, std::uint8_t low, Value* slot) {
    if (low > 4 || !fits(at, std::size_t{1} << low)) {
      return fail(u"The property list holds a malformed integer.");
    }
    if (low <= 3) {
      *slot = Value(static_cast<std::int64_t>(readBigEndian(d_.data() + at, 1u << low)));
      return true;
    }
    // 128-bit integers carry unsigned 64-bit values above INT64_MAX.
    const std::uint64_t high = readBigEndian(d_.data() + at, 8);
    const std::uint64_t v = readBigEndian(d_.data() + at + 8, 8);
    if (high == 0 && v > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
      *slot = Value(v);
    } else {
      *slot = Value(static_cast<std::int64_t>(v));
    }
    return true;
  }

  bool bytes(std::uint64_t offset, Value* slot) {
    const unsigned kind = d_[offset] >> 4;
    std::uint64_t at = offset, n = 0;
    const std::uint64_t unit = kind == 0x6 ? 2 : 1;
    if (!count(&at, &n) || n > table_ / unit || !fits(at, n * unit)) {
      return fail(u"The property list holds a malformed string or data object.");
    }
    const std::uint8_t* p = d_.data() + at;
    if (kind == 0x4) {
      builder_.setData(slot, DataView(p, n));
      return true;
    }
    if (kind == 0x5 && std::all_of(p, p + n, [](std::uint8_t c) { return c < 0x80; })) {
      builder_.setString(slot, std::string_view(reinterpret_cast<const char*>(p), n));
      return true;
    }
    text_.resize(n);
    for (std::uint64_t i = 0; i < n; ++i) {
      // ASCII strings with bytes above 0x7F are read as Latin-1.
      text_[i] = kind == 0x5 ? p[i] : static_cast<char16_t>((p[2 * i] << 8) | p[2 * i + 1]);
    }
    builder_.setString(slot, StringView(text_));
    return true;
  }

  bool array(std::uint64_t offset, std::size_t depth, std::uint64_t* total, Value* slot) {
    std::uint64_t at = offset, n = 0;
    Span refs;
    if (!count(&at, &n) || !references(at, n, &refs)) {
      return fail(u"The property list holds a malformed array.");
    }
    Value* items = builder_.setArray(slot, n);
    for (std::uint64_t i = 0; i < n; ++i) {
      const std::uint64_t child = reference(refs, i);
      if (!object(child, depth + 1, &items[i]) || !addExpanded(total, child)) return false;
    }
    return true;
  }

  bool dictionary(std::uint64_t offset, std::size_t depth, std::uint64_t* total, Value* slot) {
    std::uint64_t at = offset, n = 0;
    Span refs;
    if (!count(&at, &n) || n > std::numeric_limits<std::uint64_t>::max() / 2 ||
        !references(at, 2 * n, &refs)) {
      return fail(u"The property list holds a malformed dictionary.");
    }
    Dictionary::Entry* entries = builder_.setDictionary(slot, n);
    for (std::uint64_t i = 0; i < n; ++i) {
      const std::uint64_t keyIndex = reference(refs, i), valueIndex = reference(refs, n + i);
      const Value* key = standalone(keyIndex, depth + 1);
      if (!key) return false;
      if (!key->isString()) return fail(u"A dictionary key in the property list is not a string.");
      builder_.setKey(&entries[i], *key);
      if (!object(valueIndex, depth + 1, &entries[i].second) || !addExpanded(total, valueIndex))
        return false;
    }
    // A repeated key keeps its first place and its last value.
    builder_.finishDictionary(slot);
    return true;
  }

  enum State : std::uint8_t { kUnread, kReading, kRead };

  DataView d_;
  std::size_t maximumDepth_, extraObjects_;
  std::size_t offsetSize_ = 0, refSize_ = 0;
  std::uint64_t count_ = 0, top_ = 0, table_ = 0, sizeLimit_ = 0;
  DocumentBuilder builder_;
  // Where each object read so far was built: slots inside the arena, which
  // never move.
  std::vector<const Value*> built_;
  std::vector<std::uint8_t> state_;
  std::vector<std::uint64_t> expanded_;
  String text_;  // a string's characters on their way into its value
  String failure_;
};

}  // namespace

std::optional<Value> readBinaryPropertyList(DataView data, std::size_t maximumDepth,
                                            std::size_t extraObjects, String* failure) {
  return Reader(data, maximumDepth, extraObjects).read(failure);
}

// -- Writing ------------------------------------------------------------------

namespace {

bool isUID(const Dictionary& dict) {
  if (dict.size() != 1 || dict.begin()->first != kUIDKey) return false;
  const Value& n = dict.begin()->second;
  return n.type() == Value::Type::UnsignedInteger ||
         (n.type() == Value::Type::Integer && n.int64Value() >= 0);
}

std::size_t bytesFor(std::uint64_t v) {
  if (v <= 0xFF) return 1;
  if (v <= 0xFFFF) return 2;
  if (v <= 0xFFFFFFFF) return 4;
  return 8;
}

}  // namespace

BinaryPropertyListWriter::BinaryPropertyListWriter(std::size_t maximumDepth)
    : maximumDepth_(maximumDepth) {}

BinaryPropertyListWriter::~BinaryPropertyListWriter() = default;

BinaryPropertyListWriter::Ref BinaryPropertyListWriter::newEntry(Entry entry) {
  entries_.push_back(entry);
  return entries_.size() - 1;
}

bool BinaryPropertyListWriter::fail(String reason) {
  failure_ = std::move(reason);
  return false;
}

std::optional<BinaryPropertyListWriter::Ref> BinaryPropertyListWriter::add(const Value& value) {
  return addValue(value, 0);
}

BinaryPropertyListWriter::Ref BinaryPropertyListWriter::addString(StringView s) {
  if (2 * (stringCount_ + 1) > stringSlots_.size()) growStringSlots();
  const std::size_t hash = std::hash<StringView>{}(s);
  const std::size_t mask = stringSlots_.size() - 1;
  std::size_t slot = hash & mask;
  for (; stringSlots_[slot].refPlusOne; slot = (slot + 1) & mask) {
    const StringSlot& taken = stringSlots_[slot];
    if (taken.hash == hash && entries_[taken.refPlusOne - 1].text() == s) {
      return taken.refPlusOne - 1;
    }
  }
  const Ref ref = newEntry({.kind = Kind::String, .pointer = s.data(), .count = s.size()});
  stringSlots_[slot] = {hash, ref + 1};
  ++stringCount_;
  return ref;
}

void BinaryPropertyListWriter::growStringSlots() {
  std::vector<StringSlot> slots(std::max<std::size_t>(64, 2 * stringSlots_.size()));
  const std::size_t mask = slots.size() - 1;
  for (const StringSlot& taken : stringSlots_) {
    if (!taken.refPlusOne) continue;
    std::size_t slot = taken.hash & mask;
    while (slots[slot].refPlusOne) slot = (slot + 1) & mask;
    slots[slot] = taken;
  }
  stringSlots_ = std::move(slots);
}

BinaryPropertyListWriter::Ref BinaryPropertyListWriter::addData(DataView bytes) {
  return newEntry({.kind = Kind::Data, .pointer = bytes.data(), .count = bytes.size()});
}

BinaryPropertyListWriter::Ref BinaryPropertyListWriter::addUID(std::uint64_t uid) {
  auto [it, added] = uids_.try_emplace(uid, entries_.size());
  if (added) newEntry({.kind = Kind::UID, .count = uid});
  return it->second;
}

BinaryPropertyListWriter::Ref BinaryPropertyListWriter::addContainer(Kind kind,
                                                                     std::size_t refCount) {
  const Ref index = newEntry({.kind = kind, .count = refCount, .firstRef = refs_.size()});
  refs_.resize(refs_.size() + refCount);
  return index;
}

BinaryPropertyListWriter::Ref BinaryPropertyListWriter::addArray(std::size_t count) {
  return addContainer(Kind::Array, count);
}

void BinaryPropertyListWriter::setMember(Ref array, std::size_t index, Ref member) {
  refs_[entries_[array].firstRef + index] = member;
}

BinaryPropertyListWriter::Ref BinaryPropertyListWriter::addDictionary(std::size_t count) {
  return addContainer(Kind::Dictionary, 2 * count);
}

void BinaryPropertyListWriter::setEntry(Ref dictionary, std::size_t index, Ref key, Ref value) {
  const Entry& e = entries_[dictionary];
  refs_[e.firstRef + index] = key;
  refs_[e.firstRef + e.count / 2 + index] = value;
}

std::optional<BinaryPropertyListWriter::Ref> BinaryPropertyListWriter::addValue(const Value& v,
                                                                                std::size_t depth) {
  switch (v.type()) {
    case Value::Type::Null:
      fail(u"null has no property-list form.");
      return std::nullopt;
    case Value::Type::Object:
      fail(u"objects of class " + v.asObject()->className() + u" have no property-list form.");
      return std::nullopt;
    case Value::Type::String:
      return addString(*v.asString());
    case Value::Type::Data:
      return addData(*v.asData());
    case Value::Type::Integer:
    case Value::Type::UnsignedInteger: {
      const bool isSigned = v.type() == Value::Type::Integer;
      const auto key = std::make_pair(
          isSigned ? static_cast<std::uint64_t>(v.int64Value()) : v.uint64Value(), isSigned);
      auto [it, added] = integers_.try_emplace(key, entries_.size());
      if (added) newEntry({.kind = Kind::Scalar, .pointer = &v});
      return it->second;
    }
    case Value::Type::Array:
    case Value::Type::Dictionary:
      return addContainerValue(v, depth);
    default:
      return newEntry({.kind = Kind::Scalar, .pointer = &v});
  }
}

std::optional<BinaryPropertyListWriter::Ref> BinaryPropertyListWriter::addContainerValue(
    const Value& v, std::size_t depth) {
  if (const Dictionary* dict = v.asDictionary(); dict && isUID(*dict)) {
    return addUID(dict->begin()->second.uint64Value());
  }
  if (depth >= maximumDepth_) {
    fail(u"the value nests too deeply.");
    return std::nullopt;
  }
  if (const Array* items = v.asArray()) {
    const Ref index = addArray(items->size());
    for (std::size_t i = 0; i < items->size(); ++i) {
      const auto child = addValue((*items)[i], depth + 1);
      if (!child) return std::nullopt;
      setMember(index, i, *child);
    }
    return index;
  }
  const Dictionary& dict = *v.asDictionary();
  const Ref index = addDictionary(dict.size());
  std::size_t i = 0;
  for (const auto& [key, item] : dict) {
    const Ref keyRef = addString(key);
    const auto child = addValue(item, depth + 1);
    if (!child) return std::nullopt;
    setEntry(index, i++, keyRef, *child);
  }
  return index;
}

void BinaryPropertyListWriter::putBigEndian(std::uint64_t v, std::size_t size) {
  const std::size_t at = out_.size();
  out_.resize(at + size);
  std::uint8_t* p = out_.data() + at;
  for (std::size_t i = size; i-- > 0; v >>= 8) p[i] = static_cast<std::uint8_t>(v);
}

// A marker with a count: in its low nibble, or in an integer after it.
void BinaryPropertyListWriter::putMarker(std::uint8_t marker, std::uint64_t n) {
  if (n < 0xF) {
    out_.push_back(static_cast<std::uint8_t>(marker | n));
    return;
  }
  out_.push_back(marker | 0xF);
  const std::size_t size = bytesFor(n);
  out_.push_back(static_cast<std::uint8_t>(kInteger | std::countr_zero(size)));
  putBigEndian(n, size);
}

void BinaryPropertyListWriter::putString(StringView s) {
  const bool ascii = std::all_of(s.begin(), s.end(), [](char16_t c) { return c < 0x80; });
  putMarker(ascii ? kASCIIString : kUTF16String, s.size());
  const std::size_t at = out_.size();
  out_.resize(at + (ascii ? 1 : 2) * s.size());
  std::uint8_t* p = out_.data() + at;
  for (char16_t c : s) {
    if (!ascii) *p++ = static_cast<std::uint8_t>(c >> 8);
    *p++ = static_cast<std::uint8_t>(c);
  }
}

void BinaryPropertyListWriter::putInteger(const Value& v) {
  const std::uint64_t u = v.uint64Value();
  if (v.type() == Value::Type::UnsignedInteger &&
      u > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
    out_.push_back(kInteger | 4);
    putBigEndian(0, 8);
    putBigEndian(u, 8);
  } else if (v.int64Value() < 0) {
    out_.push_back(kInteger | 3);
    putBigEndian(static_cast<std::uint64_t>(v.int64Value()), 8);
  } else {
    const std::size_t size = bytesFor(u);
    out_.push_back(static_cast<std::uint8_t>(kInteger | std::countr_zero(size)));
    putBigEndian(u, size);
  }
}

void BinaryPropertyListWriter::putScalar(const Value& v) {
  switch (v.type()) {
    case Value::Type::Bool:
      out_.push_back(v.boolValue() ? kTrue : kFalse);
      break;
    case Value::Type::Integer:
    case Value::Type::UnsignedInteger:
      putInteger(v);
      break;
    case Value::Type::Real:
      if (v.asReal()->isFloat) {
        out_.push_back(kReal | 2);
        putBigEndian(std::bit_cast<std::uint32_t>(static_cast<float>(v.asReal()->value)), 4);
      } else {
        out_.push_back(kReal | 3);
        putBigEndian(std::bit_cast<std::uint64_t>(v.asReal()->value), 8);
      }
      break;
    case Value::Type::Date:
      out_.push_back(kDate);
      putBigEndian(std::bit_cast<std::uint64_t>(v.asDate()->timeIntervalSinceReferenceDate()), 8);
      break;
    default:
      break;  // strings, data and containers have entries of their own kind
  }
}

void BinaryPropertyListWriter::putEntry(const Entry& e) {
  switch (e.kind) {
    case Kind::Scalar:
      return putScalar(e.value());
    case Kind::String:
      return putString(e.text());
    case Kind::Data:
      putMarker(kData, e.count);
      out_.insert(out_.end(), e.bytes().begin(), e.bytes().end());
      return;
    case Kind::UID: {
      const std::size_t size = bytesFor(e.count);
      out_.push_back(static_cast<std::uint8_t>(kUID | (size - 1)));
      return putBigEndian(e.count, size);
    }
    case Kind::Array:
      putMarker(kArray, e.count);
      return putReferences(e);
    case Kind::Dictionary:
      putMarker(kDictionary, e.count / 2);
      return putReferences(e);
  }
}

void BinaryPropertyListWriter::putReferences(const Entry& e) {
  for (std::size_t i = 0; i < e.count; ++i) putBigEndian(refs_[e.firstRef + i], refSize_);
}

Data BinaryPropertyListWriter::finish(Ref top) {
  refSize_ = bytesFor(entries_.size() - 1);
  out_ = dataFromBytes("bplist00");
  // Room for the largest document these objects can make, so that a large
  // one is not copied at every doubling; pages never written cost nothing.
  std::size_t bound = out_.size() + kTrailerSize + refs_.size() * refSize_;
  for (const Entry& e : entries_) {
    const bool sized = e.kind == Kind::String || e.kind == Kind::Data;
    bound += 2 * 9 + 8 + (sized ? 2 * e.count : 0);  // markers, counts, offset, bytes
  }
  out_.reserve(bound);
  std::vector<std::uint64_t> offsets;
  offsets.reserve(entries_.size());
  for (const Entry& e : entries_) {
    offsets.push_back(out_.size());
    putEntry(e);
  }
  const std::uint64_t table = out_.size();
  const std::size_t offsetSize = bytesFor(table);
  for (std::uint64_t offset : offsets) putBigEndian(offset, offsetSize);
  out_.insert(out_.end(), 6, 0);
  out_.push_back(static_cast<std::uint8_t>(offsetSize));
  out_.push_back(static_cast<std::uint8_t>(refSize_));
  putBigEndian(entries_.size(), 8);
  putBigEndian(top, 8);
  putBigEndian(table, 8);
  return std::move(out_);
}

std::optional<Data> writeBinaryPropertyList(const Value& value, std::size_t maximumDepth,
                                            String* failure) {
  BinaryPropertyListWriter writer(maximumDepth);
  const std::optional<BinaryPropertyListWriter::Ref> top = writer.add(value);
  if (!top) {
    if (failure) *failure = writer.failure();
    return std::nullopt;
  }
  return writer.finish(*top);
}

}  // namespace lx::detail
