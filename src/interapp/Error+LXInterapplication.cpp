#include "vantorcore/interapp/Error+LXInterapplication.h"

#include "vantorcore/platform/StringFormat.h"
#include "vantorcore/text/VantorCoreLocale.h"

namespace lx {

ErrorPtr lx_interapplicationErrorWithInvalidArgumentName(StringView name,
                                                         std::optional<StringView> reason) {
  String description = stringWithFormat(LXLocal(u"Invalid Argument: “%@”"), String(name));
  if (reason) description += stringWithFormat(u" (%@)", String(*reason));
  return Error::make(String(LXInterapplicationErrorDomain), LXInterapplicationErrorInvalidArgument,
                     Dictionary{{String(NSLocalizedDescriptionKey), std::move(description)}});
}

}  // namespace lx
