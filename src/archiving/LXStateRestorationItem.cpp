#include "vantorcore/archiving/LXStateRestorationItem.h"

#include <sys/random.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>

#include "vantorcore/platform/Log.h"
#include "vantorcore/platform/StringFormat.h"

namespace lx {

LX_DEFINE_CLASS(LXStateRestorationItem, Object)

namespace {

// Identifiers take their bytes from a per-thread pool of kernel random
// bytes, refilled 256 identifiers at a time: one system call per identifier
// was the largest cost of archiving big graphs.
bool takeRandomBytes(std::array<std::uint8_t, 16>& out) {
  thread_local std::array<std::uint8_t, 4096> pool;
  thread_local std::size_t used = pool.size();
  if (used == pool.size()) {
    for (std::size_t filled = 0; filled < pool.size();) {
      const ssize_t n = getrandom(pool.data() + filled, pool.size() - filled, 0);
      if (n < 0 && errno != EINTR) return false;
      if (n > 0) filled += static_cast<std::size_t>(n);
    }
    used = 0;
  }
  std::memcpy(out.data(), pool.data() + used, out.size());
  used += out.size();
  return true;
}

std::optional<String> stringEntry(const Dictionary& d, StringView key) {
  const Value* v = d.find(key);
  if (v && v->isString()) return v->asString()->str();
  return std::nullopt;
}

}  // namespace

LXStateRestorationItem::LXStateRestorationItem() : identifier_(makeIdentifier()) {}

LXStateRestorationItem::LXStateRestorationItem(const Dictionary& representation)
    : LXStateRestorationItem() {
  if (auto identifier = stringEntry(representation, u"i")) identifier_ = std::move(*identifier);
  if (auto type = stringEntry(representation, u"t")) {
    if (*type == u"r") type_ = Type::Restorable;
    if (*type == u"c") type_ = Type::Coded;
  }
  objectClassName_ = stringEntry(representation, u"c");
  if (const Value* chain = representation.find(u"oc"); chain && chain->isArray()) {
    for (const Value& name : *chain->asArray()) {
      if (name.isString()) originalClasses_.push_back(name.asString()->str());
    }
  }
  restorationIdentifier_ = stringEntry(representation, u"ri");
  restorationClassName_ = stringEntry(representation, u"rc");
  if (const Value* keys = representation.find(u"v"); keys && keys->isDictionary()) {
    for (const auto& [key, identifier] : *keys->asDictionary()) {
      if (identifier.isString()) objectIdentifiers_.set(key, identifier);
    }
  }
}

Dictionary LXStateRestorationItem::dictionaryRepresentation() const {
  Dictionary d;
  d.set(u"i", Value(identifier_));
  d.set(u"t", Value(type_ == Type::Restorable ? u"r" : u"c"));
  if (objectClassName_) d.set(u"c", Value(*objectClassName_));
  if (!originalClasses_.empty()) {
    Array chain;
    chain.reserve(originalClasses_.size());
    for (const String& name : originalClasses_) chain.emplace_back(name);
    d.set(u"oc", Value(std::move(chain)));
  }
  if (restorationIdentifier_) d.set(u"ri", Value(*restorationIdentifier_));
  if (restorationClassName_) d.set(u"rc", Value(*restorationClassName_));
  if (!objectIdentifiers_.empty()) d.set(u"v", Value(objectIdentifiers_));
  return d;
}

String LXStateRestorationItem::description() const {
  return Object::description() + u" " + Value(dictionaryRepresentation()).description();
}

std::optional<String> LXStateRestorationItem::objectIdentifierForKey(StringView key) const {
  return stringEntry(objectIdentifiers_, key);
}

void LXStateRestorationItem::setObjectIdentifier(SharedString identifier, SharedString key) {
  objectIdentifiers_.set(std::move(key), Value(std::move(identifier)));
}

String LXStateRestorationItem::makeIdentifier() {
  std::array<std::uint8_t, 16> bytes{};
  if (!takeRandomBytes(bytes)) {
    // Without a random source there is no fresh identifier to give; a fixed
    // text would merge unrelated entries, so a counter stands in.
    LXConditionFailed(u"no random source for identifiers");
    static std::atomic<std::uint64_t> fallback{0};
    const std::uint64_t n = ++fallback;
    for (std::size_t i = 0; i < 8; ++i) bytes[15 - i] = static_cast<std::uint8_t>(n >> (8 * i));
  }
  bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);  // version 4
  bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);  // RFC 4122 variant
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::array<char16_t, 36> text;
  std::size_t at = 0;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text[at++] = u'-';
    text[at++] = static_cast<char16_t>(kHex[bytes[i] >> 4]);
    text[at++] = static_cast<char16_t>(kHex[bytes[i] & 15]);
  }
  return String(text.data(), text.size());
}

String LXStateRestorationItem::positionalKey(std::int32_t index) {
  return stringWithFormat(u"LX.coding.%d", index);
}

String LXStateRestorationItem::takePositionalKey() {
  const std::int32_t index = positionalCodingIndex_;
  // The counter is a 32-bit int that wraps after its largest value rather
  // than overflowing.
  positionalCodingIndex_ = static_cast<std::int32_t>(static_cast<std::uint32_t>(index) + 1u);
  return positionalKey(index);
}

}  // namespace lx
