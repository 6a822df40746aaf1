#include "vantorcore/archiving/LXStateRestorationUnarchiver.h"

#include <algorithm>
#include <limits>
#include <mutex>

#include "vantorcore/platform/Exception.h"
#include "vantorcore/platform/Log.h"
#include "vantorcore/platform/PropertyList.h"
#include "vantorcore/platform/StringFormat.h"
#include "vantorcore/platform/ValueClasses.h"

namespace lx {

namespace {

struct SharedClasses {
  std::mutex mutex;
  std::map<String, const Class*, std::less<>> classes;
};

SharedClasses& sharedClasses() {
  static SharedClasses shared;
  return shared;
}

void setClassFor(std::map<String, const Class*, std::less<>>& map, const Class* cls,
                 StringView name) {
  if (cls) {
    map[String(name)] = cls;
  } else if (const auto it = map.find(name); it != map.end()) {
    map.erase(it);
  }
}

const Class* classIn(const std::map<String, const Class*, std::less<>>& map, StringView name) {
  const auto it = map.find(name);
  return it == map.end() ? nullptr : it->second;
}

bool isAllowed(const Class& cls, std::span<const Class* const> allowed) {
  return std::any_of(allowed.begin(), allowed.end(),
                     [&](const Class* a) { return a && cls.isSubclassOfClass(*a); });
}

ErrorPtr corruptArchive(const String& description) {
  return Error::make(String(NSCocoaErrorDomain), NSCoderReadCorruptError,
                     Dictionary{{String(NSLocalizedDescriptionKey), Value(description)}});
}

// Plain numbers of a property list read as the scalar a platform number of
// the same kind would hold.
std::shared_ptr<BoxedValue> boxNumber(const Value& value) {
  switch (value.type()) {
    case Value::Type::Bool:
      return BoxedValue::valueWithBool(value.boolValue());
    case Value::Type::Integer:
      return BoxedValue::valueWithInt64(value.int64Value());
    case Value::Type::UnsignedInteger:
      return BoxedValue::valueWithUInt64(value.uint64Value());
    case Value::Type::Real:
      return BoxedValue::valueWithDouble(value.doubleValue());
    default:
      return value.objectAs<BoxedValue>();
  }
}

// The members of an "NSArray" item: its keyless keys in position order.
std::vector<std::pair<std::int64_t, String>> positionalIdentifiers(
    const LXStateRestorationItem& item) {
  static constexpr StringView kPrefix = u"LX.coding.";
  std::vector<std::pair<std::int64_t, String>> members;
  for (const auto& [key, identifier] : item.objectIdentifiers()) {
    const StringView k = key.view();
    if (k.size() <= kPrefix.size() || k.size() > kPrefix.size() + 10 ||
        k.substr(0, kPrefix.size()) != kPrefix) {
      continue;
    }
    std::int64_t position = 0;
    bool digits = true;
    for (const char16_t c : k.substr(kPrefix.size())) {
      digits = digits && c >= u'0' && c <= u'9';
      position = position * 10 + (c - u'0');
    }
    if (digits) members.emplace_back(position, identifier.asString()->str());
  }
  std::sort(members.begin(), members.end());
  return members;
}

}  // namespace

// Keeps an item on top of the stack, and its identifier marked as being
// decoded, for as long as its object reads keys, also when that throws.
class LXStateRestorationUnarchiver::ItemScope {
 public:
  ItemScope(LXStateRestorationUnarchiver& unarchiver, std::shared_ptr<LXStateRestorationItem> item,
            const String& identifier)
      : unarchiver_(unarchiver), identifier_(identifier) {
    unarchiver_.itemStack_.push_back(std::move(item));
    unarchiver_.decoding_.insert(identifier_);
  }
  ~ItemScope() {
    unarchiver_.decoding_.erase(identifier_);
    unarchiver_.itemStack_.pop_back();
  }
  ItemScope(const ItemScope&) = delete;
  ItemScope& operator=(const ItemScope&) = delete;

 private:
  LXStateRestorationUnarchiver& unarchiver_;
  const String& identifier_;
};

LXStateRestorationUnarchiver::LXStateRestorationUnarchiver(DataView data)
    : restorationContext_(std::make_shared<LXStateRestorationContext>()) {
  ErrorPtr readError;
  const std::optional<Value> archive = PropertyList::read(data, &readError);
  const Dictionary* top = archive ? archive->asDictionary() : nullptr;
  Dictionary rootKeys;
  if (top) {
    if (const Value* objects = top->find(u"o"); objects && objects->isDictionary()) {
      undecodedObjects_ = *objects->asDictionary();
    }
    if (const Value* root = top->find(u"r"); root && root->isDictionary()) {
      rootKeys = *root->asDictionary();
    }
  } else {
    failWithError(readError ? readError : corruptArchive(u"archive is not a dictionary"));
  }
  itemStack_.push_back(std::make_shared<LXStateRestorationItem>(rootKeys));
}

LXStateRestorationUnarchiver::~LXStateRestorationUnarchiver() = default;

// -- Classes ------------------------------------------------------------------

const Class* LXStateRestorationUnarchiver::classForClassName(StringView name) const {
  if (const Class* cls = classIn(classMap_, name)) return cls;
  return sharedClassForClassName(name);
}

void LXStateRestorationUnarchiver::setClass(const Class* cls, StringView name) {
  setClassFor(classMap_, cls, name);
}

const Class* LXStateRestorationUnarchiver::sharedClassForClassName(StringView name) {
  SharedClasses& shared = sharedClasses();
  const std::lock_guard lock(shared.mutex);
  return classIn(shared.classes, name);
}

void LXStateRestorationUnarchiver::setSharedClass(const Class* cls, StringView name) {
  SharedClasses& shared = sharedClasses();
  const std::lock_guard lock(shared.mutex);
  setClassFor(shared.classes, cls, name);
}

const Class* LXStateRestorationUnarchiver::decodingClassForClassName(
    const std::optional<String>& name, const std::vector<String>& originalClasses,
    std::span<const Class* const> allowedClasses) {
  if (!name) return nullptr;
  const Class* cls = classForClassName(*name);
  if (!cls) cls = ClassRegistry::classNamed(*name);
  if (!cls) {
    if (const auto delegate = delegate_.lock()) {
      cls = delegate->cannotDecodeObjectOfClassName(*this, *name, originalClasses);
    }
  }
  if (cls && !allowedClasses.empty() && !isAllowed(*cls, allowedClasses)) return nullptr;
  return cls;
}

const Class* LXStateRestorationUnarchiver::objectRestorationClassForClassName(const String& name) {
  if (const Class* cls = classForClassName(name)) return cls;
  if (const Class* cls = ClassRegistry::classNamed(name)) return cls;
  if (const auto delegate = delegate_.lock()) {
    return delegate->objectRestorationClassForClassName(*this, name);
  }
  return nullptr;
}

// -- Decoding identifiers -----------------------------------------------------

Value LXStateRestorationUnarchiver::decodedValueForKey(
    StringView key, std::span<const Class* const> allowedClasses) {
  const std::optional<String> identifier = currentItem().objectIdentifierForKey(key);
  if (!identifier) return Value();
  return decodedValueForIdentifier(*identifier, allowedClasses);
}

Value LXStateRestorationUnarchiver::decodedValueForIdentifier(
    const String& identifier, std::span<const Class* const> allowedClasses) {
  Value value;
  if (const Value* cached = objects_.find(identifier)) {
    value = *cached;
  } else {
    value = decodeEntry(identifier, undecodedObjects_[identifier], allowedClasses);
    if (value.isNull()) return value;
    objects_.set(SharedString(identifier), value);
  }
  if (allowedClasses.empty() || isAllowed(ValueClasses::classOf(value), allowedClasses)) {
    return value;
  }
  failWithError(
      corruptArchive(stringWithFormat(u"value %@ is of class '%@', which is not allowed here",
                                      identifier, ValueClasses::classOf(value).name())));
  return Value();
}

Value LXStateRestorationUnarchiver::decodeEntry(const String& identifier, const Value& entry,
                                                std::span<const Class* const> allowedClasses) {
  if (entry.isString() || entry.isNumber() || entry.isData() || entry.isDate()) return entry;
  const Dictionary* record = entry.asDictionary();
  if (!record) return Value();
  const Value& type = (*record)[u"t"];
  if (type == Value(u"v")) {
    const Value& encoding = (*record)[u"e"];
    const Value& bytes = (*record)[u"v"];
    if (!encoding.isString() || !bytes.isData()) return Value();
    return Value(BoxedValue::valueWithBytes(toUTF8(*encoding.asString()), *bytes.asData()));
  }
  if (type != Value(u"c") && type != Value(u"r")) return Value();
  auto item = std::make_shared<LXStateRestorationItem>(*record);
  // The entry's own identifier wins over whatever its "i" says, so that the
  // cycle guard and the caches agree on one name.
  item->setIdentifier(identifier);
  if (!mayOpenItem(identifier)) return Value();
  if (item->type() == LXStateRestorationItem::Type::Coded) return decodeCoded(item, allowedClasses);
  return decodeRestorable(item);
}

bool LXStateRestorationUnarchiver::mayOpenItem(const String& identifier) {
  if (decoding_.contains(identifier)) {
    LXConditionFailed(
        stringWithFormat(u"object %@ refers to itself while being decoded", identifier));
    return false;
  }
  // The root item is on the stack too, so a full stack holds one more.
  if (itemStack_.size() > LXStateRestorationMaximumDepth) {
    const String text =
        stringWithFormat(u"archive nests objects deeper than %lu levels",
                         static_cast<unsigned long>(LXStateRestorationMaximumDepth));
    LXConditionFailed(text);
    failWithError(corruptArchive(text));
    return false;
  }
  return true;
}

Value LXStateRestorationUnarchiver::decodeCoded(const std::shared_ptr<LXStateRestorationItem>& item,
                                                std::span<const Class* const> allowedClasses) {
  const Class* cls =
      decodingClassForClassName(item->objectClassName(), item->originalClasses(), allowedClasses);
  if (!cls) {
    if (!allowedClasses.empty()) {
      failWithError(corruptArchive(stringWithFormat(u"no allowed class decodes %@ of class '%@'",
                                                    item->identifier(),
                                                    item->objectClassName().value_or(String()))));
    }
    return Value();
  }
  const ItemScope scope(*this, item, item->identifier());
  if (cls->isSubclassOfClass(ValueClasses::array()) ||
      cls->isSubclassOfClass(ValueClasses::dictionary())) {
    return decodeCollection(*cls, allowedClasses);
  }
  const ObjectPtr object = cls->instantiateWithCoder(*this);
  if (!object) return Value();
  return Value(object->awakeAfterUsingCoder(*this));
}

Value LXStateRestorationUnarchiver::decodeCollection(const Class& cls,
                                                     std::span<const Class* const> allowedClasses) {
  // Under secure coding the classes allowed for the collection are the ones
  // allowed for its members, as callers list them together.
  const auto members = requiresSecureCoding() ? allowedClasses : std::span<const Class* const>();
  const LXStateRestorationItem& item = currentItem();
  if (cls.isSubclassOfClass(ValueClasses::array())) {
    Array array;
    for (const auto& [position, identifier] : positionalIdentifiers(item)) {
      if (Value member = decodedValueForIdentifier(identifier, members); !member.isNull()) {
        array.push_back(std::move(member));
      }
    }
    return Value(std::move(array));
  }
  Dictionary dictionary;
  for (const auto& [key, identifier] : item.objectIdentifiers()) {
    if (Value member = decodedValueForIdentifier(identifier.asString()->str(), members);
        !member.isNull()) {
      dictionary.set(key, std::move(member));
    }
  }
  return Value(std::move(dictionary));
}

Value LXStateRestorationUnarchiver::decodeRestorable(
    const std::shared_ptr<LXStateRestorationItem>& item) {
  if (const Value* restored = restoredObjects_.find(item->identifier())) return *restored;
  ObjectPtr object;
  {
    const ItemScope scope(*this, item, item->identifier());
    object = restoreObject(*item);
  }
  restoredObjects_.set(SharedString(item->identifier()), object ? Value(object) : Value());
  return object ? Value(object) : Value();
}

ObjectPtr LXStateRestorationUnarchiver::restoreObject(const LXStateRestorationItem& item) {
  const Class* decodingClass =
      decodingClassForClassName(item.objectClassName(), item.originalClasses());
  const Class* restorationClass = nullptr;
  if (const auto& name = item.restorationClassName()) {
    restorationClass = objectRestorationClassForClassName(*name);
  }
  if (!restorationClass && decodingClass &&
      decodingClass->conformsToProtocol(kObjectRestorationProtocol)) {
    restorationClass = decodingClass;
  }
  const String restorationIdentifier = item.restorationIdentifier().value_or(String());
  const auto delegate = delegate_.lock();
  ObjectPtr object;
  if (delegate) {
    object = delegate->objectWithRestorationIdentifier(*this, restorationIdentifier, decodingClass,
                                                       item.originalClasses());
  }
  if (!object && restorationClass) {
    if (!restorationClass->conformsToProtocol(kObjectRestorationProtocol)) {
      logFormat(u"Restoration class does not conform to LXObjectRestoration, skipping: %@",
                restorationClass->name());
      return nullptr;
    }
    if (!restorationClass->restorationFactory()) return nullptr;
    object =
        restorationClass->restorationFactory()(restorationIdentifier, restorationContext_, *this);
  }
  if (!object) return nullptr;
  if (auto* restorable = dynamic_cast<StateRestoring*>(object.get())) {
    restorable->decodeRestorableStateWithCoder(*this);
  }
  if (delegate) {
    if (ObjectPtr replacement = delegate->didDecodeObject(*this, object)) {
      if (!dynamic_cast<StateRestoring*>(replacement.get())) {
        throw InvalidArgumentException(stringWithFormat(
            u"Object returned from delegate does not conform to the LXStateRestoring protocol: "
            u"%@",
            replacement->description()));
      }
      object = std::move(replacement);
    }
  }
  return object;
}

// -- Keyed reading ------------------------------------------------------------

Value LXStateRestorationUnarchiver::decodeObjectForKey(StringView key) {
  return decodedValueForKey(key, {});
}

Value LXStateRestorationUnarchiver::decodeObjectOfClasses(std::span<const Class* const> classes,
                                                          StringView key) {
  return decodedValueForKey(key,
                            requiresSecureCoding() ? classes : std::span<const Class* const>());
}

bool LXStateRestorationUnarchiver::containsValueForKey(StringView key) {
  return currentItem().objectIdentifiers().contains(key);
}

std::shared_ptr<BoxedValue> LXStateRestorationUnarchiver::scalarForKey(StringView key) {
  return boxNumber(decodedValueForKey(key, {}));
}

bool LXStateRestorationUnarchiver::decodeBoolForKey(StringView key) {
  const auto box = scalarForKey(key);
  return box && box->objCType() == "B" && box->bytes()[0] != 0;
}

std::int32_t LXStateRestorationUnarchiver::decodeInt32ForKey(StringView key) {
  const auto box = scalarForKey(key);
  if (!box) return 0;
  if (const auto value = box->int32Value()) return *value;
  if (const auto value = box->int64Value()) {
    // Only the upper bound is checked; values below the range are cut.
    if (*value > std::numeric_limits<std::int32_t>::max()) {
      throw RangeException(u"Value exceeds maximum for int32_t type");
    }
    return static_cast<std::int32_t>(*value);
  }
  return 0;
}

std::int64_t LXStateRestorationUnarchiver::decodeInt64ForKey(StringView key) {
  const auto box = scalarForKey(key);
  if (!box) return 0;
  if (const auto value = box->int32Value()) return *value;
  return box->int64Value().value_or(0);
}

float LXStateRestorationUnarchiver::decodeFloatForKey(StringView key) {
  const auto box = scalarForKey(key);
  if (!box) return 0;
  if (const auto value = box->floatValue()) return *value;
  if (const auto value = box->doubleValue()) {
    // Only the positive side is checked; -1e39 narrows to -infinity.
    if (*value > std::numeric_limits<float>::max()) {
      throw RangeException(u"Value exceeds maximum for float type");
    }
    return static_cast<float>(*value);
  }
  return 0;
}

double LXStateRestorationUnarchiver::decodeDoubleForKey(StringView key) {
  const auto box = scalarForKey(key);
  if (!box) return 0;
  if (const auto value = box->floatValue()) return *value;
  return box->doubleValue().value_or(0);
}

std::optional<Data> LXStateRestorationUnarchiver::decodeBytesForKey(StringView key) {
  const Value value = decodedValueForKey(key, {});
  if (const Data* data = value.asData()) return *data;
  return std::nullopt;
}

bool LXStateRestorationUnarchiver::decodeValueOfObjCType(const char* type, void* address,
                                                         std::size_t size) {
  const String key = currentItem().takePositionalKey();
  return keyless_.read(decodedValueForKey(key, {}), type, address, size);
}

Value LXStateRestorationUnarchiver::decodeObject() {
  Value value;
  decodeValueOfObjCType("@", &value, sizeof value);
  return value;
}

// -- Finishing ----------------------------------------------------------------

void LXStateRestorationUnarchiver::finishDecoding() {
  // A copy, so that an object that decodes more while it finishes cannot
  // change the table being walked.
  const Dictionary restored = restoredObjects_;
  for (const auto& [identifier, object] : restored) {
    if (auto* restorable = dynamic_cast<StateRestoring*>(object.asObject().get())) {
      restorable->finishedRestoringState();
    }
  }
  objects_.clear();
  restoredObjects_.clear();
}

}  // namespace lx
