#include "archiving/KeyedArchiveFormat.h"

namespace lx::keyedarchive {

namespace {
constexpr StringView kUIDKey = u"CF$UID";
}  // namespace

const Class& uuidClass() {
  static const Class& cls = ClassRegistry::registerClass(u"NSUUID", &Object::staticClass());
  return cls;
}

const Class& urlClass() {
  static const Class& cls = ClassRegistry::registerClass(u"NSURL", &Object::staticClass());
  return cls;
}

Value uid(std::uint64_t index) {
  // One shared key text for the many UIDs of an archive.
  static const SharedString key(kUIDKey);
  return Value(Dictionary{{key, Value(index)}});
}

std::optional<std::uint64_t> uidIndex(const Value& value) {
  const Dictionary* d = value.asDictionary();
  if (!d || d->size() != 1 || d->begin()->first != kUIDKey) return std::nullopt;
  const Value& n = d->begin()->second;
  if (n.type() == Value::Type::UnsignedInteger) return n.uint64Value();
  if (n.type() == Value::Type::Integer && n.int64Value() >= 0) return n.uint64Value();
  return std::nullopt;
}

bool isKeyedArchive(const Dictionary& top) {
  const Value& version = top[kVersionKey];
  return top[kArchiverKey] == Value(kArchiverName) && version.isInteger() &&
         version.int64Value() == kVersion && top[kTopKey].isDictionary() &&
         top[kObjectsKey].isArray();
}

ErrorPtr coderError(std::int64_t code, String description) {
  return Error::make(String(NSCocoaErrorDomain), code,
                     Dictionary{{NSLocalizedDescriptionKey, Value(std::move(description))}});
}

}  // namespace lx::keyedarchive
