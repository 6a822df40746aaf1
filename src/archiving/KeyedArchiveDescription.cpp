#include "vantorcore/archiving/KeyedArchiveDescription.h"

#include <vector>

#include "archiving/KeyedArchiveFormat.h"
#include "vantorcore/platform/Coder.h"
#include "vantorcore/text/Data+Base64.h"

namespace lx {

namespace ka = keyedarchive;

namespace {

class Describer {
 public:
  explicit Describer(const Array& objects) : objects_(objects), shown_(objects.size(), false) {}

  Value value(const Value& v, std::size_t depth) {
    if (const std::optional<std::uint64_t> index = ka::uidIndex(v)) return object(*index, depth);
    if (const Data* data = v.asData()) return Value(Dictionary{{u"$data", lx_base64String(*data)}});
    if (const Date* date = v.asDate()) {
      return Value(Dictionary{{u"$date", Value(date->timeIntervalSince1970())}});
    }
    // Containers count as levels too: an array in "$objects" may hold its
    // own UID.
    if ((v.isArray() || v.isDictionary()) && depth >= KeyedArchiveDescription::kMaximumDepth) {
      return Value(Dictionary{{u"$deeper", Value(true)}});
    }
    if (const Array* items = v.asArray()) {
      Array out;
      out.reserve(items->size());
      for (const Value& item : *items) out.push_back(value(item, depth + 1));
      return Value(std::move(out));
    }
    if (const Dictionary* dict = v.asDictionary()) return keys(*dict, depth + 1);
    return v;
  }

  Value keys(const Dictionary& dict, std::size_t depth) {
    Dictionary out;
    for (const auto& [key, item] : dict) {
      if (key != ka::kClassKey) out.set(key, value(item, depth));
    }
    return Value(std::move(out));
  }

 private:
  Value object(std::uint64_t index, std::size_t depth) {
    if (index == 0) return Value();
    if (index >= objects_.size()) {
      return Value(Dictionary{{u"$ref", Value(index)}, {u"$missing", Value(true)}});
    }
    const Value& stored = objects_[index];
    const Dictionary* dict = stored.asDictionary();
    if (!dict && !stored.isArray()) return value(stored, depth + 1);
    // Containers are shown once, whatever refers to them: an archive whose
    // arrays refer to each other twice over would otherwise unfold
    // exponentially.
    if (shown_[index]) return Value(Dictionary{{u"$ref", Value(index)}});
    if (depth >= KeyedArchiveDescription::kMaximumDepth) {
      return Value(Dictionary{{u"$ref", Value(index)}, {u"$deeper", Value(true)}});
    }
    shown_[index] = true;
    if (!dict) {
      return Value(Dictionary{{u"$uid", Value(index)}, {u"$array", value(stored, depth + 1)}});
    }
    Dictionary out{{u"$uid", Value(index)}};
    out.set(u"$class", className(*dict));
    const Value rest = keys(*dict, depth + 1);
    out.addEntries(*rest.asDictionary());
    return Value(std::move(out));
  }

  Value className(const Dictionary& dict) const {
    const std::optional<std::uint64_t> index = ka::uidIndex(dict[ka::kClassKey]);
    if (!index || *index >= objects_.size()) return Value();
    const Dictionary* record = objects_[*index].asDictionary();
    return record ? (*record)[ka::kClassNameKey] : Value();
  }

  const Array& objects_;
  std::vector<bool> shown_;
};

}  // namespace

bool KeyedArchiveDescription::isKeyedArchive(const Value& propertyList) {
  const Dictionary* top = propertyList.asDictionary();
  return top && ka::isKeyedArchive(*top);
}

std::optional<Value> KeyedArchiveDescription::describe(const Value& propertyList, ErrorPtr* error) {
  if (!isKeyedArchive(propertyList)) {
    setError(error,
             ka::coderError(NSCoderReadCorruptError, u"The property list is not a keyed archive."));
    return std::nullopt;
  }
  const Dictionary& top = *propertyList.asDictionary();
  const Array& objects = *top[ka::kObjectsKey].asArray();
  Describer describer(objects);
  return Value(Dictionary{
      {u"archiver", top[ka::kArchiverKey]},
      {u"version", top[ka::kVersionKey]},
      {u"objects", Value(objects.size())},
      {u"top", describer.keys(*top[ka::kTopKey].asDictionary(), 0)},
  });
}

}  // namespace lx
