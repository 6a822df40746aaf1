#include "vantorcore/platform/MutableAttributedString.h"

namespace lx {

LX_DEFINE_CLASS(MutableAttributedString, Object)

}  // namespace lx
