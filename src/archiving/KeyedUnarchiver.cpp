#include "vantorcore/archiving/KeyedUnarchiver.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

#include "archiving/KeyedArchiveFormat.h"
#include "vantorcore/platform/Log.h"
#include "vantorcore/platform/PropertyList.h"
#include "vantorcore/platform/StringFormat.h"
#include "vantorcore/platform/URLObject.h"
#include "vantorcore/platform/ValueClasses.h"
#include "vantorcore/text/LXUUID.h"

namespace lx {

namespace ka = keyedarchive;

namespace {

// The platform classes whose archived form maps onto a value kind or a
// library type, by archived class name; `cls` is what allowed-class lists
// are checked against.
enum class Kind { String, Data, Date, Array, Dictionary, UUID, URL, Null };
struct PlatformClass {
  StringView name;
  Kind kind;
  const Class& (*cls)();
};
const PlatformClass kPlatformClasses[] = {
    {u"NSString", Kind::String, &ValueClasses::string},
    {u"NSMutableString", Kind::String, &ValueClasses::mutableString},
    {u"NSData", Kind::Data, &ValueClasses::data},
    {u"NSMutableData", Kind::Data, &ValueClasses::mutableData},
    {u"NSDate", Kind::Date, &ValueClasses::date},
    {u"NSArray", Kind::Array, &ValueClasses::array},
    {u"NSMutableArray", Kind::Array, &ValueClasses::mutableArray},
    {u"NSOrderedSet", Kind::Array, &ValueClasses::array},
    {u"NSMutableOrderedSet", Kind::Array, &ValueClasses::mutableArray},
    {u"NSSet", Kind::Array, &ValueClasses::set},
    {u"NSMutableSet", Kind::Array, &ValueClasses::mutableSet},
    {u"NSDictionary", Kind::Dictionary, &ValueClasses::dictionary},
    {u"NSMutableDictionary", Kind::Dictionary, &ValueClasses::mutableDictionary},
    {u"NSUUID", Kind::UUID, &LXUUID::staticClass},
    {u"NSURL", Kind::URL, &URLObject::staticClass},
    {u"NSNull", Kind::Null, &ValueClasses::null},
};

const PlatformClass* platformClassNamed(StringView name) {
  for (const PlatformClass& c : kPlatformClasses) {
    if (c.name == name) return &c;
  }
  return nullptr;
}

// Property-list kinds: what `decodeObjectForKey` accepts under secure coding.
bool isPropertyListClass(const Class& cls) {
  for (const Class* c : {&ValueClasses::string(), &ValueClasses::number(), &ValueClasses::data(),
                         &ValueClasses::date(), &ValueClasses::array(), &ValueClasses::set(),
                         &ValueClasses::dictionary(), &ValueClasses::null()}) {
    if (cls.isSubclassOfClass(*c)) return true;
  }
  return false;
}

String classList(std::span<const Class* const> classes) {
  String list;
  for (const Class* cls : classes) {
    if (!cls) continue;
    if (!list.empty()) list += u", ";
    list += cls->name();
  }
  return list;
}

}  // namespace

KeyedUnarchiver::KeyedUnarchiver(Dictionary top)
    : top_(std::move(top)),
      objects_(*top_[ka::kObjectsKey].asArray()),
      decoded_(objects_.size()),
      states_(objects_.size(), State::Undecoded) {
  frames_.push_back(Frame{top_[ka::kTopKey].asDictionary()});
}

KeyedUnarchiver::~KeyedUnarchiver() = default;

std::unique_ptr<KeyedUnarchiver> KeyedUnarchiver::initForReadingFromData(DataView data,
                                                                         ErrorPtr* error) {
  ErrorPtr plistError;
  std::optional<Value> plist = PropertyList::read(data, &plistError);
  const Dictionary* top = plist ? plist->asDictionary() : nullptr;
  if (!top || !ka::isKeyedArchive(*top)) {
    Dictionary info{{NSLocalizedDescriptionKey,
                     Value(u"The data couldn\u2019t be read because it isn\u2019t in the correct "
                           u"format.")}};
    if (plistError) info.set(NSUnderlyingErrorKey, Value(plistError));
    setError(error, Error::make(String(NSCocoaErrorDomain), NSCoderReadCorruptError, info));
    return nullptr;
  }
  return std::make_unique<KeyedUnarchiver>(std::move(*plist->asDictionary()));
}

Value KeyedUnarchiver::unarchivedObjectOfClasses(std::span<const Class* const> classes,
                                                 DataView data, ErrorPtr* error) {
  auto unarchiver = initForReadingFromData(data, error);
  if (!unarchiver) return Value();
  Value root = unarchiver->decodeObjectOfClasses(classes, NSKeyedArchiveRootObjectKey);
  if (root.isNull() && !unarchiver->error() &&
      !unarchiver->containsValueForKey(NSKeyedArchiveRootObjectKey)) {
    unarchiver->failWithError(
        ka::coderError(NSCoderValueNotFoundError, u"The archive holds no root object."));
  }
  unarchiver->finishDecoding();
  setError(error, unarchiver->error());
  return root;
}

Value KeyedUnarchiver::unarchivedObjectOfClass(const Class& cls, DataView data, ErrorPtr* error) {
  const Class* classes[] = {&cls};
  return unarchivedObjectOfClasses(classes, data, error);
}

Value KeyedUnarchiver::corrupt(String description) {
  failWithError(ka::coderError(NSCoderReadCorruptError, std::move(description)));
  return Value();
}

// ---------------------------------------------------------------------------
// Keyed operations

const Value* KeyedUnarchiver::entry(StringView key) const {
  const Dictionary* keys = frames_.back().keys;
  return keys ? keys->find(key) : nullptr;
}

bool KeyedUnarchiver::containsValueForKey(StringView key) { return entry(key) != nullptr; }

Value KeyedUnarchiver::decodeObjectForKey(StringView key) {
  const Value* e = entry(key);
  return e ? decodeEntry(*e, propertyListKinds(key)) : Value();
}

Value KeyedUnarchiver::decodeObject() { return decodeObjectForKey(NSKeyedArchiveRootObjectKey); }

Value KeyedUnarchiver::decodeObjectOfClasses(std::span<const Class* const> classes,
                                             StringView key) {
  const Value* e = entry(key);
  if (!e) return Value();
  return decodeEntry(*e, Allowed{classes, true, key});
}

std::optional<std::int64_t> KeyedUnarchiver::integerFor(StringView key, std::int64_t min,
                                                        std::int64_t max) {
  const Value* e = entry(key);
  if (error() || !e || !e->isNumber()) return std::nullopt;
  const bool tooLarge = e->type() == Value::Type::UnsignedInteger
                            ? e->uint64Value() > static_cast<std::uint64_t>(max)
                            : e->int64Value() > max;
  if (tooLarge || e->int64Value() < min) {
    corrupt(stringWithFormat(u"value (%@) for key (%@) does not fit in the type decoded",
                             e->description(), String(key)));
    return std::nullopt;
  }
  return e->int64Value();
}

bool KeyedUnarchiver::decodeBoolForKey(StringView key) {
  const Value* e = entry(key);
  return !error() && e && e->isNumber() && e->boolValue();
}

std::int32_t KeyedUnarchiver::decodeInt32ForKey(StringView key) {
  return static_cast<std::int32_t>(integerFor(key, std::numeric_limits<std::int32_t>::min(),
                                              std::numeric_limits<std::int32_t>::max())
                                       .value_or(0));
}

std::int64_t KeyedUnarchiver::decodeInt64ForKey(StringView key) {
  return integerFor(key, std::numeric_limits<std::int64_t>::min(),
                    std::numeric_limits<std::int64_t>::max())
      .value_or(0);
}

double KeyedUnarchiver::decodeDoubleForKey(StringView key) {
  const Value* e = entry(key);
  return !error() && e && e->isNumber() ? e->doubleValue() : 0;
}

float KeyedUnarchiver::decodeFloatForKey(StringView key) {
  return static_cast<float>(decodeDoubleForKey(key));
}

std::optional<Data> KeyedUnarchiver::decodeBytesForKey(StringView key) {
  const Value* e = entry(key);
  if (error() || !e || !e->isData()) return std::nullopt;
  return *e->asData();
}

bool KeyedUnarchiver::decodeValueOfObjCType(const char* type, void* address, std::size_t size) {
  const String key = u"$" + fromUTF8(std::to_string(frames_.back().keylessCount++));
  const Value* e = entry(key);
  if (!e || error()) return false;
  const std::string_view t = type ? type : "";
  Value value;
  if (t == "#") {
    // A class travels as a class record.
    const std::optional<std::uint64_t> index = ka::uidIndex(*e);
    const Dictionary* record =
        index && *index < objects_.size() ? objects_[*index].asDictionary() : nullptr;
    if (index && *index != 0) {
      if (!record) return false;
      value = Value(stringOr(record->find(ka::kClassNameKey)));
    }
  } else if (t == "@" || t == "*") {
    value = decodeObjectForKey(key);
  } else {
    value = *e;
  }
  return keyless_.read(value, type, address, size);
}

void KeyedUnarchiver::finishDecoding() {
  std::fill(decoded_.begin(), decoded_.end(), Value());
  std::fill(states_.begin(), states_.end(), State::Undecoded);
}

// ---------------------------------------------------------------------------
// Objects

Value KeyedUnarchiver::decodeEntry(const Value& e, const Allowed& allowed) {
  if (error()) return Value();
  if (const std::optional<std::uint64_t> index = ka::uidIndex(e)) {
    return decodeIndex(*index, allowed);
  }
  // Archives refer to objects by UID; a value in place is taken as it is.
  if (!isAllowed(ValueClasses::classOf(e), allowed)) return Value();
  return e;
}

bool KeyedUnarchiver::isAllowed(const Class& cls, const Allowed& allowed) {
  if (!requiresSecureCoding_) return true;
  const bool listed =
      allowed.explicitly
          ? std::any_of(allowed.classes.begin(), allowed.classes.end(),
                        [&](const Class* c) { return c && cls.isSubclassOfClass(*c); })
          : isPropertyListClass(cls);
  if (!listed) {
    failWithError(ka::coderError(
        NSCoderReadCorruptError,
        stringWithFormat(u"value for key '%@' was of unexpected class '%@'. "
                         u"Allowed classes are '{(%@)}'.",
                         String(allowed.key), cls.name(),
                         allowed.explicitly ? classList(allowed.classes) : String())));
  }
  return listed;
}

Value KeyedUnarchiver::decodeIndex(std::uint64_t index, const Allowed& allowed) {
  if (index == 0) return Value();
  if (index >= objects_.size()) {
    return corrupt(stringWithFormat(u"The archive refers to object %llu of %lu.",
                                    static_cast<unsigned long long>(index),
                                    static_cast<unsigned long>(objects_.size())));
  }
  if (states_[index] == State::Decoded) {
    const Value& value = decoded_[index];
    return isAllowed(ValueClasses::classOf(value), allowed) ? value : Value();
  }
  if (states_[index] == State::Decoding) {
    LXConditionFailed(stringWithFormat(
        u"object %llu of the keyed archive refers back to itself while it is decoded",
        static_cast<unsigned long long>(index)));
    return Value();
  }
  const ka::DepthGuard guard(depth_);
  if (depth_ > kMaximumDepth) return corrupt(u"The archive nests objects too deeply.");

  const Value& stored = objects_[index];
  Value value;
  if (const Dictionary* object = stored.asDictionary()) {
    states_[index] = State::Decoding;
    value = decodeObjectEntry(index, *object, allowed);
    states_[index] = State::Undecoded;
  } else if (stored.isString() || stored.isNumber() || stored.isData() || stored.isDate()) {
    if (!isAllowed(ValueClasses::classOf(stored), allowed)) return Value();
    value = stored;
  } else {
    return corrupt(stringWithFormat(u"Object %llu of the archive is of no archived kind.",
                                    static_cast<unsigned long long>(index)));
  }
  if (error()) return Value();
  decoded_[index] = value;
  states_[index] = State::Decoded;
  return value;
}

std::optional<std::vector<String>> KeyedUnarchiver::classNames(const Dictionary& object) {
  const std::optional<std::uint64_t> index = ka::uidIndex(object[ka::kClassKey]);
  if (!index || *index == 0 || *index >= objects_.size()) return std::nullopt;
  const Dictionary* record = objects_[*index].asDictionary();
  const Value* name = record ? record->find(ka::kClassNameKey) : nullptr;
  if (!name || !name->isString()) return std::nullopt;
  std::vector<String> names{name->asString()->str()};
  if (const Array* chain = (*record)[ka::kClassesKey].asArray()) {
    for (const Value& c : *chain) {
      if (c.isString()) names.push_back(c.asString()->str());
    }
  }
  return names;
}

Value KeyedUnarchiver::decodeObjectEntry(std::uint64_t index, const Dictionary& object,
                                         const Allowed& allowed) {
  const std::optional<std::vector<String>> names = classNames(object);
  if (!names) {
    return corrupt(stringWithFormat(u"Object %llu of the archive has no usable class record.",
                                    static_cast<unsigned long long>(index)));
  }
  if (platformClassNamed(names->front())) {
    return decodePlatformObject(index, names->front(), object, allowed);
  }
  const Class* cls = nullptr;
  for (const String& name : *names) {
    if ((cls = ClassRegistry::classNamed(name)) && cls->coderFactory()) break;
    cls = nullptr;
  }
  if (!cls) {
    return corrupt(stringWithFormat(
        u"cannot decode object of class (%@) for key (%@); the class may be defined in source "
        u"code or a library that is not linked",
        names->front(), String(allowed.key)));
  }
  if (!isAllowed(*cls, allowed)) return Value();
  if (requiresSecureCoding_ && !cls->supportsSecureCoding()) {
    return corrupt(
        stringWithFormat(u"This decoder will only decode classes that adopt "
                         u"SecureCoding. Class '%@' does not adopt it.",
                         cls->name()));
  }
  return decodeCodedObject(*cls, object);
}

Value KeyedUnarchiver::decodeCodedObject(const Class& cls, const Dictionary& object) {
  struct FrameGuard {
    std::vector<Frame>& frames;
    ~FrameGuard() { frames.pop_back(); }
  };
  ObjectPtr made;
  {
    frames_.push_back(Frame{&object});
    const FrameGuard guard{frames_};
    made = cls.instantiateWithCoder(*this);
  }
  if (!made || error()) return Value();
  ObjectPtr awake = made->awakeAfterUsingCoder(*this);
  return awake ? Value(std::move(awake)) : Value();
}

Value KeyedUnarchiver::decodeMembers(std::uint64_t index, const Value& refs,
                                     const Allowed& allowed) {
  const Array* items = refs.asArray();
  if (!items) {
    return corrupt(stringWithFormat(u"Collection %llu of the archive has no member list.",
                                    static_cast<unsigned long long>(index)));
  }
  Array members;
  members.reserve(items->size());
  for (const Value& item : *items) {
    members.push_back(decodeEntry(item, allowed));
    if (error()) return Value();
  }
  return Value(std::move(members));
}

Value KeyedUnarchiver::decodePlatformObject(std::uint64_t index, StringView className,
                                            const Dictionary& object, const Allowed& allowed) {
  const PlatformClass& platform = *platformClassNamed(className);
  if (!isAllowed(platform.cls(), allowed)) return Value();
  const auto malformed = [&] {
    return corrupt(stringWithFormat(u"The archive's %@ object %llu is malformed.",
                                    String(className), static_cast<unsigned long long>(index)));
  };
  switch (platform.kind) {
    case Kind::Null:
      return Value();
    case Kind::String: {
      const Value& text = object[u"NS.string"];
      if (text.isString()) return text;
      if (const Data* utf8 = object[u"NS.bytes"].asData())
        return Value(fromUTF8(asStringView(*utf8)));
      return malformed();
    }
    case Kind::Data: {
      const Value& bytes = object[u"NS.data"];
      if (bytes.isData()) return bytes;
      if (const auto inner = ka::uidIndex(bytes)) {
        const Value data = decodeIndex(*inner, propertyListKinds(allowed.key));
        if (data.isData()) return data;
      }
      return malformed();
    }
    case Kind::Date: {
      const Value& time = object[u"NS.time"];
      if (!time.isNumber() || !std::isfinite(time.doubleValue())) return malformed();
      return Value(Date::withTimeIntervalSinceReferenceDate(time.doubleValue()));
    }
    case Kind::Array:
      return decodeMembers(index, object[u"NS.objects"], allowed);
    case Kind::Dictionary: {
      const Array* keys = object[u"NS.keys"].asArray();
      const Array* values = object[u"NS.objects"].asArray();
      if (!keys || !values || keys->size() != values->size()) return malformed();
      Dictionary entries;
      entries.reserve(keys->size());
      for (std::size_t i = 0; i < keys->size(); ++i) {
        const Value key = decodeEntry((*keys)[i], allowed);
        Value value = decodeEntry((*values)[i], allowed);
        if (error()) return Value();
        if (!key.isString()) {
          return corrupt(
              stringWithFormat(u"Dictionary %llu of the archive has a key that is not "
                               u"a string.",
                               static_cast<unsigned long long>(index)));
        }
        entries.set(*key.asString(), std::move(value));
      }
      return Value(std::move(entries));
    }
    case Kind::UUID: {
      const Data* bytes = object[u"NS.uuidbytes"].asData();
      if (!bytes || bytes->size() != 16) return malformed();
      auto value = std::make_shared<LXUUID::Bytes>();
      std::copy(bytes->begin(), bytes->end(), value->begin());
      return Value(LXUUID::UUIDWithBytes(std::move(value)));
    }
    case Kind::URL: {
      const Value relative = decodeEntry(object[u"NS.relative"], propertyListKinds(allowed.key));
      if (error()) return Value();
      static const Class* const kURLClasses[] = {&URLObject::staticClass()};
      const Value base = decodeEntry(object[u"NS.base"], Allowed{kURLClasses, true, allowed.key});
      const auto baseURL = base.objectAs<URLObject>();
      if (!relative.isString() || (!base.isNull() && !baseURL)) return malformed();
      std::optional<URL> url = URL::URLWithString(
          *relative.asString(), baseURL ? std::optional<URL>(baseURL->url()) : std::nullopt);
      if (!url) return malformed();
      return Value(URLObject::make(std::move(*url)));
    }
  }
  return malformed();
}

}  // namespace lx
