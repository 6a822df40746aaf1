// Extra values hung on any object, released together with it.
#pragma once

#include "vantorcore/Export.h"

#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/Value.h"

namespace LX_API lx {

/// The one unnamed slot of `object`: set (null removes) and read (null when
/// never set). Thread-safe.
void setAssociatedObject(Object& object, const Value& value);
/// The value associated with `object` under the default key; null when there is none.
Value associatedObject(const Object& object);

/// Slots keyed by the address of `key`, never by its contents: two distinct
/// strings with the same text are two keys. Null removes / reads as absent.
/// Thread-safe.
void lx_setAssociatedObject(Object& object, const Value& value, const void* key);
/// The value associated with `object` under `key`; null when there is none.
Value lx_associatedObjectForKey(const Object& object, const void* key);

}  // namespace lx
