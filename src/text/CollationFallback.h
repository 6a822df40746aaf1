// The fallback path of `lx_localizedStandardCompare` (a root-locale
// collator, logging its status per call), for tests on machines where the
// platform collator can be opened.
#pragma once

#include "vantorcore/platform/String.h"

namespace lx::detail {
ComparisonResult localizedStandardCompareWithoutPlatformCollator(StringView a, StringView b);
}  // namespace lx::detail
