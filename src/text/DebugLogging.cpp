#include "vantorcore/text/DebugLogging.h"

#include "vantorcore/platform/Log.h"
#include "vantorcore/platform/UserDefaults.h"

namespace lx::detail {

bool readDebugLoggingDefault() {
  const bool enabled = UserDefaults::standardUserDefaults()->boolForKey(u"DebugLogging");
  if (enabled) logLine(u"DEBUG LOGGING IS ON");
  return enabled;
}

}  // namespace lx::detail
