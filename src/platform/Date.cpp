#include "vantorcore/platform/Date.h"

#include "vantorcore/platform/Clock.h"

namespace lx {

// Through the replaceable clock, so code that stamps or compares dates runs
// on a test's manual time just as its timers do.
Date Date::now() noexcept { return Clock::current()->currentDate(); }

double Date::timeIntervalSinceNow() const noexcept { return seconds_ - now().seconds_; }

}  // namespace lx
