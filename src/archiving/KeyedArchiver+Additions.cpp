#include "vantorcore/archiving/KeyedArchiver+Additions.h"

#include "vantorcore/platform/Log.h"
#include "vantorcore/platform/ValueClasses.h"

namespace lx {

std::optional<Data> lx_archivedDataWithRootObject(const Value& root, bool requiringSecureCoding,
                                                  ErrorPtr* error) {
  ErrorPtr local;
  std::optional<Data> data =
      KeyedArchiver::archivedDataWithRootObject(root, requiringSecureCoding, &local);
  if (local) LXConditionFailed(local->localizedDescription());
  if (error) *error = local;
  return data;
}

Value lx_unarchivedObjectOfClass(const Class& cls, DataView data, bool requiringSecureCoding,
                                 ErrorPtr* error) {
  auto unarchiver = KeyedUnarchiver::initForReadingFromData(data, error);
  if (!unarchiver) return Value();
  unarchiver->setRequiresSecureCoding(requiringSecureCoding);
  const Value object = unarchiver->decodeObjectOfClass(cls, NSKeyedArchiveRootObjectKey);
  unarchiver->finishDecoding();
  if (error && unarchiver->error()) *error = unarchiver->error();
  return ValueClasses::isKindOf(object, cls) ? object : Value();
}

Value lx_unarchivedObjectOfClass(const Class& cls, DataView data, ErrorPtr* error) {
  Value object = lx_unarchivedObjectOfClass(cls, data, false, error);
  if (error && object.isNull()) {
    ErrorPtr local;
    object = lx_unarchivedObjectOfClass(cls, data, true, &local);
    if (local) LXConditionFailed(local->localizedDescription());
    *error = local;
  }
  return object;
}

}  // namespace lx
