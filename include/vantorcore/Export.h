// The library is built with its symbols hidden, so the shared library exports
// only what the public headers declare. Each public header opens `namespace lx`
// as `namespace LX_API lx`; everything declared there, nested namespaces
// included, is exported and seen as such by hosts. Private headers under src/
// leave the mark off and stay internal. `scripts/mark-public-api.sh` adds the
// mark to every public header and, with --check, finds any that lacks it.
#pragma once

/// Exports what a namespace opening declares from the shared library.
#define LX_API [[gnu::visibility("default")]]
