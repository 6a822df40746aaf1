// One-call archiving and unarchiving with the keyed archiver and
// unarchiver, logging failures as "CONDITION FAILED: <description>".
//
// Unarchiving gives the archive a lenient first read (no secure coding);
// only when that read yields nothing and the caller asked for an error is a
// second, secure read made, to obtain the reason. A caller that passes no
// error pointer gets the single lenient read and no log line.
//
// All functions are thread-safe (each call has its own coder).
#pragma once

#include "vantorcore/Export.h"

#include <optional>

#include "vantorcore/archiving/KeyedArchiver.h"
#include "vantorcore/archiving/KeyedUnarchiver.h"

namespace LX_API lx {

/// `KeyedArchiver::archivedDataWithRootObject`; on failure logs the
/// error's description and returns absent. `error` receives the error, or
/// null on success.
std::optional<Data> lx_archivedDataWithRootObject(const Value& root, bool requiringSecureCoding,
                                                  ErrorPtr* error = nullptr);

/// The root object of `data` when it is of class `cls` (or a subclass),
/// read with `requiringSecureCoding` (and `cls` as the allowed class when
/// it is on). Null for data that is no keyed archive (with the error) and,
/// without an error, for a root of another class.
Value lx_unarchivedObjectOfClass(const Class& cls, DataView data, bool requiringSecureCoding,
                                 ErrorPtr* error);

/// The lenient read above; when it gives null and `error` is given, a
/// secure read whose error, if any, is logged and stored in `error`, and
/// whose result is returned.
Value lx_unarchivedObjectOfClass(const Class& cls, DataView data, ErrorPtr* error = nullptr);

}  // namespace lx
