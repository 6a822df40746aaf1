#include "vantorcore/archiving/LXStateRestorationArchiver.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "platform/BinaryPropertyList.h"
#include "vantorcore/platform/BoxedValue.h"
#include "vantorcore/platform/Exception.h"
#include "vantorcore/platform/KeylessCoding.h"
#include "vantorcore/platform/Log.h"
#include "vantorcore/platform/StringFormat.h"
#include "vantorcore/platform/ValueClasses.h"

namespace lx {

namespace {

struct SharedClassNames {
  std::mutex mutex;
  std::map<const Class*, String> names;
};

SharedClassNames& sharedClassNames() {
  static SharedClassNames shared;
  return shared;
}

void setName(std::map<const Class*, String>& map, std::optional<String> name, const Class* cls) {
  if (!cls) return;
  if (name) {
    map[cls] = std::move(*name);
  } else {
    map.erase(cls);
  }
}

bool isPlainValue(const Value& value) {
  return value.isString() || value.isNumber() || value.isDate() || value.isData();
}

using Ref = detail::BinaryPropertyListWriter::Ref;

// The archive is written object by object rather than through a `Value` tree
// of it: building, flattening and freeing that tree was most of the time
// spent archiving a large graph.
class ArchiveWriter {
 public:
  // Whether `stored` has an "o" entry.
  static bool hasEntry(const Value& stored) {
    return isPlainValue(stored) || stored.objectAs<LXStateRestorationItem>() ||
           stored.objectAs<BoxedValue>();
  }

  // The "o" entry of a stored value or item (one `hasEntry` accepts).
  Ref addEntry(const Value& stored) {
    if (isPlainValue(stored)) return plain(stored);
    if (const auto item = stored.objectAs<LXStateRestorationItem>()) return addItem(*item);
    return addBox(*stored.objectAs<BoxedValue>());
  }

  // Key => identifier.
  Ref addIdentifiers(const Dictionary& identifiers) {
    const Ref dict = writer_.addDictionary(identifiers.size());
    std::size_t i = 0;
    for (const auto& [key, identifier] : identifiers) {
      const Ref keyRef = writer_.addString(key);
      writer_.setEntry(dict, i++, keyRef, plain(identifier));
    }
    return dict;
  }

  // Entries in the order and under the keys of
  // `LXStateRestorationItem::dictionaryRepresentation`.
  Ref addItem(const LXStateRestorationItem& item) {
    std::vector<std::pair<Ref, Ref>> fields;
    fields.reserve(7);
    const auto field = [&](StringView key, auto&& add) {
      const Ref keyRef = writer_.addString(key);
      fields.emplace_back(keyRef, add());
    };
    const Ref dict = writer_.addDictionary(fieldCount(item));
    field(u"i", [&] { return writer_.addString(item.identifier()); });
    field(u"t", [&] {
      return writer_.addString(item.type() == LXStateRestorationItem::Type::Restorable ? u"r"
                                                                                       : u"c");
    });
    if (item.objectClassName())
      field(u"c", [&] { return writer_.addString(*item.objectClassName()); });
    if (!item.originalClasses().empty()) {
      field(u"oc", [&] {
        const auto& chain = item.originalClasses();
        const Ref array = writer_.addArray(chain.size());
        for (std::size_t i = 0; i < chain.size(); ++i) {
          writer_.setMember(array, i, writer_.addString(chain[i]));
        }
        return array;
      });
    }
    if (item.restorationIdentifier()) {
      field(u"ri", [&] { return writer_.addString(*item.restorationIdentifier()); });
    }
    if (item.restorationClassName()) {
      field(u"rc", [&] { return writer_.addString(*item.restorationClassName()); });
    }
    if (!item.objectIdentifiers().empty()) {
      field(u"v", [&] { return addIdentifiers(item.objectIdentifiers()); });
    }
    for (std::size_t i = 0; i < fields.size(); ++i) {
      writer_.setEntry(dict, i, fields[i].first, fields[i].second);
    }
    return dict;
  }

  // {"t": "v", "e": type, "v": bytes}.
  Ref addBox(const BoxedValue& box) {
    const Ref dict = writer_.addDictionary(3);
    const Ref t = writer_.addString(u"t");
    writer_.setEntry(dict, 0, t, writer_.addString(u"v"));
    const Ref e = writer_.addString(u"e");
    writer_.setEntry(dict, 1, e, writer_.addString(typeName(box.objCType())));
    const Ref v = writer_.addString(u"v");
    writer_.setEntry(dict, 2, v, writer_.addData(box.bytes()));
    return dict;
  }

  detail::BinaryPropertyListWriter& writer() { return writer_; }

 private:
  static std::size_t fieldCount(const LXStateRestorationItem& item) {
    return 2 + item.objectClassName().has_value() + !item.originalClasses().empty() +
           item.restorationIdentifier().has_value() + item.restorationClassName().has_value() +
           !item.objectIdentifiers().empty();
  }

  // Strings, numbers, dates and data always have a binary form.
  Ref plain(const Value& value) { return *writer_.add(value); }

  // The text of an encoding type, converted once per archive and kept alive
  // for the writer, which refers to it.
  StringView typeName(const std::string& type) {
    auto [it, added] = typeNames_.try_emplace(type);
    if (added) it->second = fromUTF8(type);
    return it->second;
  }

  detail::BinaryPropertyListWriter writer_{2 * LXStateRestorationMaximumDepth};
  std::map<std::string, String, std::less<>> typeNames_;
};

}  // namespace

// Keeps `item` on top of the stack while an object writes its keys, also
// when that writing throws.
class LXStateRestorationArchiver::ItemScope {
 public:
  ItemScope(LXStateRestorationArchiver& archiver, std::shared_ptr<LXStateRestorationItem> item)
      : archiver_(archiver) {
    archiver_.itemStack_.push_back(std::move(item));
  }
  ~ItemScope() { archiver_.itemStack_.pop_back(); }
  ItemScope(const ItemScope&) = delete;
  ItemScope& operator=(const ItemScope&) = delete;

 private:
  LXStateRestorationArchiver& archiver_;
};

LXStateRestorationArchiver::LXStateRestorationArchiver(Data& data) : data_(data) {
  itemStack_.push_back(std::make_shared<LXStateRestorationItem>());
}

LXStateRestorationArchiver::~LXStateRestorationArchiver() = default;

// -- Class names --------------------------------------------------------------

std::optional<String> LXStateRestorationArchiver::classNameForClass(const Class* cls) const {
  if (!cls) return std::nullopt;
  if (const auto it = classMap_.find(cls); it != classMap_.end()) return it->second;
  return sharedClassNameForClass(cls);
}

void LXStateRestorationArchiver::setClassName(std::optional<String> name, const Class* cls) {
  setName(classMap_, std::move(name), cls);
}

std::optional<String> LXStateRestorationArchiver::sharedClassNameForClass(const Class* cls) {
  if (!cls) return std::nullopt;
  SharedClassNames& shared = sharedClassNames();
  const std::lock_guard lock(shared.mutex);
  if (const auto it = shared.names.find(cls); it != shared.names.end()) return it->second;
  return std::nullopt;
}

void LXStateRestorationArchiver::setSharedClassName(std::optional<String> name, const Class* cls) {
  SharedClassNames& shared = sharedClassNames();
  const std::lock_guard lock(shared.mutex);
  setName(shared.names, std::move(name), cls);
}

String LXStateRestorationArchiver::classNameToEncodeForClass(const Class& cls) const {
  if (auto name = classNameForClass(&cls)) return std::move(*name);
  return cls.name();
}

std::vector<String> LXStateRestorationArchiver::originalClassesForClass(const Class* cls) const {
  std::vector<String> names;
  for (; cls; cls = cls->superclass()) names.push_back(classNameToEncodeForClass(*cls));
  return names;
}

// -- Keyed writing ------------------------------------------------------------

void LXStateRestorationArchiver::mapKey(const std::optional<SharedString>& identifier,
                                        StringView key) {
  if (identifier) currentItem().setObjectIdentifier(*identifier, sharedKey(key));
}

SharedString LXStateRestorationArchiver::sharedKey(StringView key) {
  if (const auto it = keys_.find(key); it != keys_.end()) return it->second;
  SharedString shared(key);
  keys_.emplace(StringView(shared), shared);
  return shared;
}

void LXStateRestorationArchiver::encodeObject(const Value& object, StringView key) {
  mapKey(encodeObjectReturningIdentifier(object), key);
}

void LXStateRestorationArchiver::encodeBool(bool value, StringView key) {
  mapKey(storeValue(Value(BoxedValue::valueWithBool(value))), key);
}

void LXStateRestorationArchiver::encodeInt32(std::int32_t value, StringView key) {
  mapKey(storeValue(Value(BoxedValue::valueWithInt32(value))), key);
}

void LXStateRestorationArchiver::encodeInt64(std::int64_t value, StringView key) {
  mapKey(storeValue(Value(BoxedValue::valueWithInt64(value))), key);
}

void LXStateRestorationArchiver::encodeFloat(float value, StringView key) {
  mapKey(storeValue(Value(BoxedValue::valueWithFloat(value))), key);
}

void LXStateRestorationArchiver::encodeDouble(double value, StringView key) {
  mapKey(storeValue(Value(BoxedValue::valueWithDouble(value))), key);
}

void LXStateRestorationArchiver::encodeBytes(DataView bytes, StringView key) {
  mapKey(storeValue(Value(Data(bytes.begin(), bytes.end()))), key);
}

void LXStateRestorationArchiver::encodeValueOfObjCType(const char* type, const void* address) {
  const String key = currentItem().takePositionalKey();
  if (const std::optional<Value> value = KeylessCoding::valueForObjCType(type, address)) {
    mapKey(encodeObjectReturningIdentifier(*value), key);
  }
}

void LXStateRestorationArchiver::encodeObject(const Value& object) {
  encodeValueOfObjCType("@", &object);
}

// -- Storing objects ----------------------------------------------------------

SharedString LXStateRestorationArchiver::storeValue(Value value) {
  SharedString identifier(LXStateRestorationItem::makeIdentifier());
  objects_.emplace_back(identifier, std::move(value));
  return identifier;
}

std::optional<SharedString> LXStateRestorationArchiver::encodeObjectReturningIdentifier(
    const Value& object) {
  if (object.isNull()) return std::nullopt;
  if (isPlainValue(object)) return storeValue(object);
  if (object.isArray() || object.isDictionary()) return encodeCollection(object);
  const ObjectPtr x = object.asObject();
  if (dynamic_cast<const StateRestoring*>(x.get())) return encodeRestorable(x);
  if (dynamic_cast<const BoxedValue*>(x.get())) return storeValue(object);
  if (dynamic_cast<const Coding*>(x.get())) return encodeCoded(x);
  throw InvalidArgumentException(stringWithFormat(
      u"Object does not conform to either the LXStateRestoring or NSCoding protocols: %@",
      x->description()));
}

std::shared_ptr<LXStateRestorationItem> LXStateRestorationArchiver::makeItem(
    LXStateRestorationItem::Type type, const Class& cls, const Value& what) {
  // The root item is on the stack too, so a full stack holds one more.
  if (itemStack_.size() > LXStateRestorationMaximumDepth) {
    LXConditionFailed(stringWithFormat(u"object graph nests deeper than %lu objects: %@",
                                       static_cast<unsigned long>(LXStateRestorationMaximumDepth),
                                       what.description()));
    return nullptr;
  }
  auto item = std::make_shared<LXStateRestorationItem>();
  item->setType(type);
  std::vector<String> chain = originalClassesForClass(&cls);
  item->setObjectClassName(chain.front());
  item->setOriginalClasses(std::move(chain));
  return item;
}

SharedString LXStateRestorationArchiver::registerItem(
    const ObjectPtr& object, const std::shared_ptr<LXStateRestorationItem>& item) {
  SharedString identifier(item->identifier());
  objectsToItems_.emplace(object.get(), Stored{object, item, identifier});
  objects_.emplace_back(identifier, Value(item));
  return identifier;
}

std::optional<SharedString> LXStateRestorationArchiver::encodeRestorable(ObjectPtr object) {
  if (const auto delegate = delegate_.lock()) {
    object = delegate->willEncodeObject(*this, object);
    if (!object) return std::nullopt;
    if (!dynamic_cast<const StateRestoring*>(object.get())) {
      throw InvalidArgumentException(stringWithFormat(
          u"Object returned from delegate does not conform to the LXStateRestoring protocol: %@",
          object->description()));
    }
  }
  if (const auto it = objectsToItems_.find(object.get()); it != objectsToItems_.end()) {
    return it->second.identifier;
  }
  const auto& restorable = dynamic_cast<const StateRestoring&>(*object);
  auto item =
      makeItem(LXStateRestorationItem::Type::Restorable, object->objectClass(), Value(object));
  if (!item) return std::nullopt;
  std::optional<String> restorationIdentifier = restorable.restorationIdentifier();
  item->setRestorationIdentifier(restorationIdentifier
                                     ? std::move(restorationIdentifier)
                                     : std::optional(LXStateRestorationItem::makeIdentifier()));
  const Class* restorationClass = restorable.objectRestorationClass();
  if (!restorationClass) restorationClass = &object->objectClass();
  if (!restorationClass->conformsToProtocol(kObjectRestorationProtocol)) {
    // The key keeps naming the identifier, which then has no entry: the
    // reader finds nothing there and decodes null.
    logFormat(
        u"Object restoration class does not conform to LXObjectRestoration, skipping: "
        u"object=%@, class=%@",
        object->description(), restorationClass->name());
    return SharedString(item->identifier());
  }
  item->setRestorationClassName(classNameToEncodeForClass(*restorationClass));
  SharedString identifier = registerItem(object, item);
  const ItemScope scope(*this, item);
  restorable.encodeRestorableStateWithCoder(*this);
  return identifier;
}

std::optional<SharedString> LXStateRestorationArchiver::encodeCoded(const ObjectPtr& object) {
  const ObjectPtr replacement = object->replacementObjectForCoder(*this);
  if (!replacement) return std::nullopt;
  if (const auto it = objectsToItems_.find(replacement.get()); it != objectsToItems_.end()) {
    return it->second.identifier;
  }
  // A replacement that cannot code itself (a value, a restorable object, an
  // object of neither kind) is stored as what it is.
  const auto* coding = dynamic_cast<const Coding*>(replacement.get());
  if (!coding) return encodeObjectReturningIdentifier(Value(replacement));
  auto item = makeItem(LXStateRestorationItem::Type::Coded, replacement->classForCoder(),
                       Value(replacement));
  if (!item) return std::nullopt;
  SharedString identifier = registerItem(replacement, item);
  const ItemScope scope(*this, item);
  coding->encodeWithCoder(*this);
  return identifier;
}

std::optional<SharedString> LXStateRestorationArchiver::encodeCollection(const Value& collection) {
  const Class& cls = collection.isArray() ? ValueClasses::array() : ValueClasses::dictionary();
  auto item = makeItem(LXStateRestorationItem::Type::Coded, cls, collection);
  if (!item) return std::nullopt;
  // Collections are values: each one stored is a new item, never shared.
  SharedString identifier(item->identifier());
  objects_.emplace_back(identifier, Value(item));
  const ItemScope scope(*this, item);
  if (const Array* members = collection.asArray()) {
    for (const Value& member : *members) encodeObject(member);
  } else {
    for (const auto& [key, member] : *collection.asDictionary()) encodeObject(member, key);
  }
  return identifier;
}

// -- Finishing ----------------------------------------------------------------

void LXStateRestorationArchiver::finishEncoding() {
  ArchiveWriter archive;
  detail::BinaryPropertyListWriter& writer = archive.writer();
  // {"r": {"v": root identifiers}, "o": {identifier: entry}}
  const Ref top = writer.addDictionary(2);
  const Ref rKey = writer.addString(u"r");
  const Ref root = writer.addDictionary(1);
  writer.setEntry(top, 0, rKey, root);
  const Ref vKey = writer.addString(u"v");
  writer.setEntry(root, 0, vKey, archive.addIdentifiers(itemStack_.front()->objectIdentifiers()));
  const Ref oKey = writer.addString(u"o");
  const auto count = static_cast<std::size_t>(
      std::count_if(objects_.begin(), objects_.end(),
                    [](const auto& entry) { return ArchiveWriter::hasEntry(entry.second); }));
  const Ref entries = writer.addDictionary(count);
  writer.setEntry(top, 1, oKey, entries);
  std::size_t i = 0;
  for (const auto& [identifier, stored] : objects_) {
    if (!ArchiveWriter::hasEntry(stored)) continue;
    const Ref key = writer.addString(identifier);
    writer.setEntry(entries, i++, key, archive.addEntry(stored));
  }
  data_ = writer.finish(top);
  objects_.clear();
  objectsToItems_.clear();
  keys_.clear();
}

}  // namespace lx
