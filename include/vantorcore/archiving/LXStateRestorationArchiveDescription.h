// A readable rendering of a state-restoration archive (see
// LXStateRestorationArchiver.h), for tools such as `vantor archive dump`: the
// object graph from the root keys down, with class names, identifiers and
// values, each object spelled out once and referred to after.
//
//   { "root" : {
//       "window" : { "identifier" : "6F1C…", "kind" : "restorable",
//                    "class" : "Window", "classes" : [ "Window", "Object" ],
//                    "restorationIdentifier" : "main",
//                    "restorationClass" : "WindowRestorer",
//                    "keys" : { "title" : "Notes",
//                               "width" : { "scalar" : "d", "value" : 640 },
//                               "icon" : { "data" : "iVBORw0K…" },
//                               "saved" : { "date" : "Thu, 01 Jan 1970 00:00:00 GMT" },
//                               "owner" : { "ref" : "6F1C…" } } } },
//     "unreferenced" : 0 }
//
// Nodes: strings and numbers as themselves; items ("kind" "restorable" or
// "coded") the first time they are reached and { "ref" : id } after;
// { "missing" : id } for an identifier without an entry; { "invalid" : id }
// for an entry no reader can decode (a scalar with the wrong byte count, an
// unknown "t", an array). "unreferenced" counts entries no key reaches.
#pragma once

#include "vantorcore/Export.h"

#include <optional>

#include "vantorcore/platform/Data.h"
#include "vantorcore/platform/Error.h"
#include "vantorcore/platform/Value.h"

namespace LX_API lx {

/// The rendering above, as a value JSON can write. Absent, with
/// `NSPropertyListReadCorruptError` or `NSCoderReadCorruptError`, when the
/// data is not a property-list dictionary or nests items deeper than
/// `LXStateRestorationMaximumDepth`. Thread-safe.
std::optional<Value> LXStateRestorationArchiveDescription(DataView data, ErrorPtr* error = nullptr);

}  // namespace lx
