#include "vantorcore/archiving/KeyedArchiver.h"

#include <string>

#include "archiving/KeyedArchiveFormat.h"
#include "vantorcore/platform/BoxedValue.h"
#include "vantorcore/platform/KeylessCoding.h"
#include "vantorcore/platform/StringFormat.h"
#include "vantorcore/platform/URLObject.h"
#include "vantorcore/platform/ValueClasses.h"
#include "vantorcore/text/LXUUID.h"

namespace lx {

namespace ka = keyedarchive;

KeyedArchiver::KeyedArchiver(bool requiringSecureCoding)
    : requiresSecureCoding_(requiringSecureCoding) {
  objects_.push_back(Value(ka::kNull));
  frames_.push_back(Frame{0, {}});
}

KeyedArchiver::~KeyedArchiver() = default;

std::optional<Data> KeyedArchiver::archivedDataWithRootObject(const Value& root,
                                                              bool requiringSecureCoding,
                                                              ErrorPtr* error) {
  KeyedArchiver archiver(requiringSecureCoding);
  archiver.encodeObject(root);
  archiver.finishEncoding();
  if (!archiver.data_) setError(error, archiver.encodingError());
  return std::move(archiver.data_);
}

void KeyedArchiver::fail(String description) {
  if (!encodingError_)
    encodingError_ = ka::coderError(NSCoderInvalidValueError, std::move(description));
}

std::uint64_t KeyedArchiver::append(Value value) {
  objects_.push_back(std::move(value));
  return objects_.size() - 1;
}

const Value& KeyedArchiver::uid(std::uint64_t index) {
  if (index >= uids_.size()) uids_.resize(index + 1);
  if (uids_[index].isNull()) uids_[index] = ka::uid(index);
  return uids_[index];
}

const SharedString& KeyedArchiver::internedKey(StringView key) {
  if (const auto found = keys_.find(key); found != keys_.end()) return found->second;
  SharedString text(key);
  const StringView stable = text.view();
  return keys_.emplace(stable, std::move(text)).first->second;
}

void KeyedArchiver::set(StringView key, Value value) {
  if (!finished_) frames_.back().keys.set(internedKey(key), std::move(value));
}

// ---------------------------------------------------------------------------
// Keyed operations

void KeyedArchiver::encodeObject(const Value& value, StringView key) {
  if (finished_) return;
  const std::uint64_t index = encodeValue(value);
  set(key, uid(index));
}

void KeyedArchiver::encodeObject(const Value& root) {
  encodeObject(root, NSKeyedArchiveRootObjectKey);
}

void KeyedArchiver::encodeConditionalObject(const Value& value, StringView key) {
  const ObjectPtr object = value.asObject();
  if (!object) return encodeObject(value, key);
  if (finished_) return;
  const auto found = objectIndexes_.find(object.get());
  set(key, uid(found == objectIndexes_.end() ? 0 : found->second));
  if (found == objectIndexes_.end()) {
    conditionals_.push_back(Conditional{frames_.back().index, String(key), object});
  }
}

void KeyedArchiver::encodeBool(bool value, StringView key) { set(key, Value(value)); }
void KeyedArchiver::encodeInt32(std::int32_t value, StringView key) { set(key, Value(value)); }
void KeyedArchiver::encodeInt64(std::int64_t value, StringView key) { set(key, Value(value)); }
void KeyedArchiver::encodeDouble(double value, StringView key) { set(key, Value(value)); }
void KeyedArchiver::encodeFloat(float value, StringView key) { set(key, Value(value)); }
void KeyedArchiver::encodeBytes(DataView bytes, StringView key) {
  set(key, Value(Data(bytes.begin(), bytes.end())));
}

void KeyedArchiver::encodeValueOfObjCType(const char* type, const void* address) {
  if (finished_) return;
  const String key = u"$" + fromUTF8(std::to_string(frames_.back().keylessCount++));
  const std::string_view t = type ? type : "";
  if (t == "#") {
    const Class* cls = *static_cast<const Class* const*>(address);
    return set(key, uid(cls ? classRecord(*cls) : 0));
  }
  const std::optional<Value> value = KeylessCoding::valueForObjCType(type, address);
  if (!value) {
    return fail(stringWithFormat(u"The type encoding '%@' cannot be archived.", fromUTF8(t)));
  }
  if (const auto box = value->objectAs<BoxedValue>()) return set(key, box->numberValue());
  encodeObject(*value, key);
}

// ---------------------------------------------------------------------------
// Values and objects

std::uint64_t KeyedArchiver::encodeValue(const Value& value) {
  switch (value.type()) {
    case Value::Type::Null:
      return 0;
    case Value::Type::Bool:
    case Value::Type::Integer:
    case Value::Type::UnsignedInteger:
    case Value::Type::Real:
    case Value::Type::Data:
      return append(value);
    case Value::Type::String:
      return encodeString(*value.asString());
    case Value::Type::Date:
      return encodePlatformObject(
          Dictionary{{u"NS.time", Value(value.asDate()->timeIntervalSinceReferenceDate())}},
          ValueClasses::date());
    case Value::Type::Object:
      return encodeObjectReference(value.asObject());
    case Value::Type::Array:
    case Value::Type::Dictionary:
      break;
  }
  const ka::DepthGuard guard(depth_);
  if (depth_ > kMaximumDepth) {
    fail(u"The object graph nests too deeply to be archived.");
    return 0;
  }
  // The container takes its place before its members, as the platform's
  // archives have it.
  const std::uint64_t index = append(Value());
  Dictionary keys;
  if (const Array* items = value.asArray()) {
    Array refs;
    refs.reserve(items->size());
    for (const Value& item : *items) refs.push_back(uid(encodeValue(item)));
    keys.set(internedKey(u"NS.objects"), Value(std::move(refs)));
    keys.set(internedKey(ka::kClassKey), uid(classRecord(ValueClasses::array())));
  } else {
    Array keyRefs, valueRefs;
    keyRefs.reserve(value.asDictionary()->size());
    valueRefs.reserve(value.asDictionary()->size());
    for (const auto& [key, item] : *value.asDictionary()) {
      keyRefs.push_back(uid(encodeString(key)));
      valueRefs.push_back(uid(encodeValue(item)));
    }
    keys.set(internedKey(u"NS.keys"), Value(std::move(keyRefs)));
    keys.set(internedKey(u"NS.objects"), Value(std::move(valueRefs)));
    keys.set(internedKey(ka::kClassKey), uid(classRecord(ValueClasses::dictionary())));
  }
  objects_[index] = Value(std::move(keys));
  return index;
}

std::uint64_t KeyedArchiver::encodeString(const SharedString& text) {
  const auto found = stringIndexes_.find(text.view());
  if (found != stringIndexes_.end()) return found->second;
  const std::uint64_t index = append(Value(text));
  strings_.push_back(text);
  stringIndexes_.emplace(strings_.back().view(), index);
  return index;
}

std::uint64_t KeyedArchiver::encodePlatformObject(Dictionary keys, const Class& cls) {
  // The object takes its place before its class record, as in the
  // platform's archives.
  const std::uint64_t index = append(Value());
  keys.set(internedKey(ka::kClassKey), uid(classRecord(cls)));
  objects_[index] = Value(std::move(keys));
  return index;
}

std::uint64_t KeyedArchiver::encodeObjectReference(const ObjectPtr& original) {
  const ObjectPtr object = original->replacementObjectForCoder(*this);
  if (!object) return 0;
  if (const auto found = objectIndexes_.find(object.get()); found != objectIndexes_.end()) {
    return found->second;
  }
  std::uint64_t index = 0;
  if (const auto box = std::dynamic_pointer_cast<BoxedValue>(object)) {
    index = append(box->numberValue());
  } else if (const auto uuid = std::dynamic_pointer_cast<LXUUID>(object)) {
    const Data bytes(uuid->bytes()->begin(), uuid->bytes()->end());
    index = encodePlatformObject(Dictionary{{u"NS.uuidbytes", Value(bytes)}}, ka::uuidClass());
  } else if (const auto url = std::dynamic_pointer_cast<URLObject>(object)) {
    const std::optional<URL> base = url->url().baseURL();
    const std::uint64_t baseIndex = base ? encodeObjectReference(URLObject::make(*base)) : 0;
    const std::uint64_t relative = encodeString(SharedString(url->url().relativeString()));
    index = encodePlatformObject(
        Dictionary{{u"NS.base", uid(baseIndex)}, {u"NS.relative", uid(relative)}}, ka::urlClass());
  } else {
    return encodeCodedObject(object);
  }
  objectIndexes_.emplace(object.get(), index);
  written_.push_back(object);
  return index;
}

std::uint64_t KeyedArchiver::encodeCodedObject(const ObjectPtr& object) {
  const Class& cls = object->classForCoder();
  const auto* coding = dynamic_cast<const Coding*>(object.get());
  if (!coding) {
    fail(stringWithFormat(u"Class '%@' cannot be archived: it does not adopt Coding.", cls.name()));
    return 0;
  }
  if (requiresSecureCoding_ && !cls.supportsSecureCoding()) {
    fail(
        stringWithFormat(u"This coder requires that archived classes adopt SecureCoding. "
                         u"Class '%@' does not adopt it.",
                         cls.name()));
    return 0;
  }
  const ka::DepthGuard guard(depth_);
  if (depth_ > kMaximumDepth) {
    fail(u"The object graph nests too deeply to be archived.");
    return 0;
  }
  // Registered before its keys are written, so that references back to it
  // (cycles) find it.
  const std::uint64_t index = append(Value());
  objectIndexes_.emplace(object.get(), index);
  written_.push_back(object);
  frames_.push_back(Frame{index, {}});
  coding->encodeWithCoder(*this);
  Dictionary keys = std::move(frames_.back().keys);
  frames_.pop_back();
  keys.set(internedKey(ka::kClassKey), uid(classRecord(cls)));
  objects_[index] = Value(std::move(keys));
  return index;
}

std::uint64_t KeyedArchiver::classRecord(const Class& cls) {
  if (const auto found = classIndexes_.find(&cls); found != classIndexes_.end()) {
    return found->second;
  }
  Array chain;
  for (const Class* c = &cls; c; c = c->superclass()) {
    chain.push_back(c == &Object::staticClass() ? Value(ka::kRootClassName) : Value(c->name()));
  }
  const std::uint64_t index = append(Value(Dictionary{
      {ka::kClassNameKey, chain.front()},
      {ka::kClassesKey, Value(std::move(chain))},
  }));
  classIndexes_.emplace(&cls, index);
  return index;
}

// ---------------------------------------------------------------------------

void KeyedArchiver::finishEncoding() {
  if (finished_) return;
  for (const Conditional& c : conditionals_) {
    const auto found = objectIndexes_.find(c.object.get());
    if (found == objectIndexes_.end()) continue;
    Dictionary* holder = c.holder == 0 ? &frames_.front().keys : objects_[c.holder].asDictionary();
    if (holder) holder->set(c.key, uid(found->second));
  }
  finished_ = true;
  if (encodingError_) return;
  const Value archive(Dictionary{
      {ka::kVersionKey, Value(ka::kVersion)},
      {ka::kArchiverKey, Value(ka::kArchiverName)},
      {ka::kTopKey, Value(std::move(frames_.front().keys))},
      {ka::kObjectsKey, Value(std::move(objects_))},
  });
  ErrorPtr error;
  data_ = PropertyList::write(archive, format_, &error);
  if (!data_)
    encodingError_ = ka::coderError(NSCoderInvalidValueError, error->localizedDescription());
  conditionals_.clear();
  objectIndexes_.clear();
  written_.clear();
}

const std::optional<Data>& KeyedArchiver::encodedData() {
  finishEncoding();
  return data_;
}

}  // namespace lx
