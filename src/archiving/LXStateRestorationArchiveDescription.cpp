#include "vantorcore/archiving/LXStateRestorationArchiveDescription.h"

#include <unordered_set>

#include "vantorcore/archiving/LXStateRestorationItem.h"
#include "vantorcore/platform/BoxedValue.h"
#include "vantorcore/platform/Coder.h"
#include "vantorcore/platform/PropertyList.h"
#include "vantorcore/platform/StringFormat.h"
#include "vantorcore/text/Data+Base64.h"
#include "vantorcore/text/Date+Conversions.h"

namespace lx {

namespace {

class ArchiveDescriber {
 public:
  explicit ArchiveDescriber(const Dictionary& objects) : objects_(objects) {}

  // False when the graph nests deeper than a reader goes.
  bool describeKeys(const Dictionary& keys, std::size_t depth, Dictionary& out) {
    for (const auto& [key, identifier] : keys) {
      if (!identifier.isString()) continue;
      std::optional<Value> node = describe(identifier.asString()->str(), depth);
      if (!node) return false;
      out.set(key, std::move(*node));
    }
    return true;
  }

  [[nodiscard]] std::size_t unreferencedCount() const { return objects_.size() - reached_.size(); }

 private:
  std::optional<Value> describe(const String& identifier, std::size_t depth) {
    const Value* entry = objects_.find(identifier);
    if (!entry) return Value(Dictionary{{u"missing", Value(identifier)}});
    if (!reached_.insert(identifier).second) {
      return Value(Dictionary{{u"ref", Value(identifier)}});
    }
    if (entry->isString() || entry->isNumber()) return *entry;
    if (const Date* date = entry->asDate()) {
      return Value(Dictionary{{u"date", Value(lx_rfc1123String(*date))}});
    }
    if (const Data* data = entry->asData()) {
      return Value(Dictionary{{u"data", Value(lx_base64String(*data))}});
    }
    const Dictionary* record = entry->asDictionary();
    const Value type = record ? (*record)[u"t"] : Value();
    if (type == Value(u"v")) return describeScalar(identifier, *record);
    if (type != Value(u"r") && type != Value(u"c")) {
      return Value(Dictionary{{u"invalid", Value(identifier)}});
    }
    if (depth >= LXStateRestorationMaximumDepth) return std::nullopt;
    return describeItem(identifier, LXStateRestorationItem(*record), depth + 1);
  }

  static Value describeScalar(const String& identifier, const Dictionary& record) {
    const Value& encoding = record[u"e"];
    const Value& bytes = record[u"v"];
    std::shared_ptr<BoxedValue> box;
    if (encoding.isString() && bytes.isData()) {
      box = BoxedValue::valueWithBytes(toUTF8(*encoding.asString()), *bytes.asData());
    }
    if (!box) return Value(Dictionary{{u"invalid", Value(identifier)}});
    return Value(Dictionary{{u"scalar", encoding}, {u"value", box->numberValue()}});
  }

  std::optional<Value> describeItem(const String& identifier, const LXStateRestorationItem& item,
                                    std::size_t depth) {
    Dictionary node{
        {u"identifier", Value(identifier)},
        {u"kind", Value(item.type() == LXStateRestorationItem::Type::Restorable ? u"restorable"
                                                                                : u"coded")}};
    if (const auto& name = item.objectClassName()) node.set(u"class", Value(*name));
    if (!item.originalClasses().empty()) {
      Array chain;
      for (const String& name : item.originalClasses()) chain.emplace_back(name);
      node.set(u"classes", Value(std::move(chain)));
    }
    if (const auto& rid = item.restorationIdentifier()) {
      node.set(u"restorationIdentifier", Value(*rid));
    }
    if (const auto& rc = item.restorationClassName()) node.set(u"restorationClass", Value(*rc));
    Dictionary keys;
    if (!describeKeys(item.objectIdentifiers(), depth, keys)) return std::nullopt;
    node.set(u"keys", Value(std::move(keys)));
    return Value(std::move(node));
  }

  const Dictionary& objects_;
  std::unordered_set<String> reached_;
};

}  // namespace

std::optional<Value> LXStateRestorationArchiveDescription(DataView data, ErrorPtr* error) {
  ErrorPtr readError;
  const std::optional<Value> archive = PropertyList::read(data, &readError);
  const Dictionary* top = archive ? archive->asDictionary() : nullptr;
  if (!top) {
    setError(error, readError
                        ? readError
                        : Error::make(String(NSCocoaErrorDomain), NSPropertyListReadCorruptError,
                                      Dictionary{{String(NSLocalizedDescriptionKey),
                                                  Value(u"archive is not a dictionary")}}));
    return std::nullopt;
  }
  const Value& objects = (*top)[u"o"];
  const Dictionary noObjects;
  ArchiveDescriber describer(objects.isDictionary() ? *objects.asDictionary() : noObjects);
  const LXStateRestorationItem root((*top)[u"r"].isDictionary() ? *(*top)[u"r"].asDictionary()
                                                                : Dictionary());
  Dictionary rootKeys;
  if (!describer.describeKeys(root.objectIdentifiers(), 0, rootKeys)) {
    setError(error,
             Error::make(
                 String(NSCocoaErrorDomain), NSCoderReadCorruptError,
                 Dictionary{{String(NSLocalizedDescriptionKey),
                             Value(stringWithFormat(
                                 u"archive nests objects deeper than %lu levels",
                                 static_cast<unsigned long>(LXStateRestorationMaximumDepth)))}}));
    return std::nullopt;
  }
  return Value(Dictionary{{u"root", Value(std::move(rootKeys))},
                          {u"unreferenced", Value(describer.unreferencedCount())}});
}

}  // namespace lx
