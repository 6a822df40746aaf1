// Where and why a JSON text is malformed, for the reader's error messages:
// simdjson only says that a text is wrong, not where.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace lx::detail {

/// What is wrong with `json` as one JSON text (RFC 8259) and where: the first
/// fault found reading from the front, as "<reason> at byte <offset>" with a
/// 0-based byte offset. Absent when the text is valid. Arrays and objects
/// nesting deeper than `maximumDepth` are faults (the top container is depth 1).
/// A top-level scalar is accepted (the caller checks fragments itself).
std::optional<std::string> describeJSONSyntaxError(std::string_view json, std::size_t maximumDepth);

}  // namespace lx::detail
