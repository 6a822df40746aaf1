#include "vantorcore/concurrency/LXSharedInstance.h"

#include "vantorcore/platform/Log.h"
#include "vantorcore/text/DebugLogging.h"

namespace lx::detail {

void logSharedInstanceInitCalledTwice(const Object& instance) {
  if (LXDebugLoggingIsEnabled()) {
    logFormat(u"-init called twice on %@ shared instance", instance.className());
  }
}

void logSharedInstanceDestroyed() {
  LXConditionFailed(u"LXSharedInstance - Tried to dealloc a sharedInstance.");
}

}  // namespace lx::detail
