// The platform reader's conversion of a parsed simdjson element, for library
// code that parses with simdjson itself and must build the same values.
#pragma once

#include <simdjson.h>

#include "vantorcore/platform/Value.h"

namespace lx::detail {

/// The `Value` that `JSONSerialization::JSONObjectWithData` builds for
/// `element`: integers apart from reals, object members in document order.
/// `textLength`, the length of the element's JSON text or a guess at it,
/// sizes the memory the values are made in.
Value valueFromJSONElement(simdjson::dom::element element, std::size_t textLength);

}  // namespace lx::detail
