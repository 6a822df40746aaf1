// `KeyedArchiveDescription`: a keyed archive's object graph as a plain
// value that JSON can print, for people reading archives (`vantor archive
// dump`). It reads the archive's structure only: no class is looked up or
// instantiated, so any archive can be shown.
//
//   { "archiver": "NSKeyedArchiver", "version": 100000, "objects": 5,
//     "top": { "root": { "$uid": 1, "$class": "Note",
//                        "title": "Hi",
//                        "next": { "$uid": 3, "$class": "Note", "back": { "$ref": 1 } } } } }
//
// Each object shown the first time as { "$uid": n, "$class": name, keys... }
// and afterwards as { "$ref": n }; "$null" as null; strings and numbers as
// themselves; data as { "$data": "<base64>" }; dates as { "$date": seconds
// since 1970 }; arrays of UIDs ("NS.objects", "NS.keys") as arrays; a plain
// array among the archive's objects as { "$uid": n, "$array": [...] }. Objects
// nested deeper than `kMaximumDepth` are shown as { "$ref": n, "$deeper":
// true } so that the result stays printable.
//
// Thread-safe.
#pragma once

#include "vantorcore/Export.h"

#include <optional>

#include "vantorcore/platform/Error.h"
#include "vantorcore/platform/Value.h"

namespace LX_API lx {

class KeyedArchiveDescription {
 public:
  /// How deep objects may nest before a description stops with an error, so a hostile archive
  /// cannot exhaust the stack.
  static constexpr std::size_t kMaximumDepth = 200;

  /// Whether the property list's top-level dictionary is a keyed archive's.
  static bool isKeyedArchive(const Value& propertyList);

  /// The description of a keyed archive's property list; absent with error
  /// 4864 when it is not one.
  static std::optional<Value> describe(const Value& propertyList, ErrorPtr* error = nullptr);
};

}  // namespace lx
