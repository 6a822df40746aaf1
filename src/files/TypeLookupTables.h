// A view into the override table and the lookup cache behind
// ContentType+Overrides.h, so that tests can check how each is keyed.
#pragma once

#include <utility>
#include <vector>

#include "vantorcore/platform/String.h"

namespace lx::detail {

/// Outer keys with their inner keys, each sorted.
using KeyTree = std::vector<std::pair<String, std::vector<String>>>;

/// The override table: tag classes, each with its tags.
KeyTree typeOverrideKeys();
/// The lookup cache: tags, each with its tag classes.
KeyTree typeLookupCacheKeys();

}  // namespace lx::detail
