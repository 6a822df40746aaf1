// A second source file with its own copy of the debug switch, so that
// DebugLogging_test.cpp can show that each file checks on its own.
#include "vantorcore/text/DebugLogging.h"

namespace lx::test {

bool debugLoggingInSecondUnit() { return LXDebugLoggingIsEnabled(); }

}  // namespace lx::test
