// `Responder`: an object in a chain of responders (interface objects, their
// containers, their owners), which messages such as "state changed" travel
// along to the next responder.
//
// The link to the next responder is weak. A chain runs from parts to what
// contains them, and containers own their parts; a strong link back up would
// make every part keep its container alive, a cycle that is never freed. So
// the chain ends where the next responder is gone, and whoever builds the
// chain keeps its members alive.
//
// Responders belong to the thread that builds the chain (in practice the
// main thread); they are not locked.
#pragma once

#include "vantorcore/Export.h"

#include <memory>

#include "vantorcore/platform/Object.h"

namespace LX_API lx {

class Responder : public Object {
  LX_DECLARE_CLASS(Responder)

 public:
  Responder() = default;

  /// The next responder of the chain, or null at its end or once the next
  /// responder is gone.
  [[nodiscard]] std::shared_ptr<Responder> nextResponder() const { return next_.lock(); }
  /// Links this responder to `next` (null ends the chain here), without
  /// keeping `next` alive.
  void setNextResponder(const std::shared_ptr<Responder>& next) { next_ = next; }

 private:
  std::weak_ptr<Responder> next_;
};

}  // namespace lx
