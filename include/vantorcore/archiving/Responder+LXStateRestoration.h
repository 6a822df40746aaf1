// State-restoration settings of any `Responder`: the identifier it is
// restored under and the class that recreates it, kept as values attached to
// the responder (under "LXRestorationIdentifier" and
// "LXObjectRestorationClass"), so that interface classes need no fields of
// their own. A responder subclass that conforms to `StateRestoring` answers
// them from its `restorationIdentifier` and `objectRestorationClass`:
//
//   std::optional<String> restorationIdentifier() const override {
//     return lx::restorationIdentifier(*this);
//   }
//
// Same thread rules as `Responder`.
#pragma once

#include "vantorcore/Export.h"

#include <optional>

#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/Responder.h"
#include "vantorcore/platform/String.h"

namespace LX_API lx {

/// The identifier set by `setRestorationIdentifier`, or absent.
std::optional<String> restorationIdentifier(const Responder& responder);
/// Sets the identifier; absent removes it.
void setRestorationIdentifier(Responder& responder, std::optional<String> identifier);

/// The class set by `setObjectRestorationClass`, or null.
const Class* objectRestorationClass(const Responder& responder);
/// Sets the class; null removes it.
void setObjectRestorationClass(Responder& responder, const Class* cls);

/// Says that the responder's restorable state changed. A responder whose
/// class has the method "lx_invalidateRestorableState" (see
/// `Class::addMethod`) handles it there; any other passes it to its next
/// responder, so the call travels up to whoever saves state. Ends quietly at
/// the end of the chain.
void lx_invalidateRestorableState(Responder& responder);

}  // namespace lx
