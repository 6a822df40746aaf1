#include "vantorcore/archiving/LXStateRestorationItem.h"

#include <atomic>

#include "vantorcore/platform/StringFormat.h"
#include "vantorcore/text/LXUUID.h"

namespace lx {

LX_DEFINE_CLASS(LXStateRestorationItem, Object)

namespace {

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

void LXStateRestorationItem::setObjectIdentifier(const String& identifier, StringView key) {
  objectIdentifiers_.set(SharedString(key), Value(identifier));
}

String LXStateRestorationItem::makeIdentifier() {
  // Without a random source there is no fresh identifier to give; a fixed
  // text would merge unrelated entries, so fall back to a counter's.
  if (auto uuid = LXUUID::UUID()) return uuid->stringValue();
  static std::atomic<std::uint64_t> fallback{0};
  String text = u"00000000-0000-4000-8000-000000000000";
  for (std::uint64_t n = ++fallback, i = text.size(); n != 0 && i-- > 24; n >>= 4) {
    text[i] = u"0123456789ABCDEF"[n & 15];
  }
  return text;
}

String LXStateRestorationItem::positionalKey(std::int32_t index) {
  return stringWithFormat(u"LX.coding.%d", index);
}

String LXStateRestorationItem::takePositionalKey() {
  return positionalKey(positionalCodingIndex_++);
}

}  // namespace lx
