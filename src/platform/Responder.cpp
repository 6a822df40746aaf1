#include "vantorcore/platform/Responder.h"

namespace lx {

LX_DEFINE_CLASS(Responder, Object)

}  // namespace lx
