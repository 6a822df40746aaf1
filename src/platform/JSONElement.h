// The platform reader's simdjson parser and its conversion of a parsed
// element, for library code that parses with simdjson itself and must build
// the same values.
#pragma once

#include <simdjson.h>

#include <cstddef>
#include <string_view>

#include "vantorcore/platform/Value.h"

namespace lx::detail {

/// The calling thread's parser and padded input buffer, for the life of one
/// parse. Each thread keeps them between documents; after a very large one
/// they are given back rather than kept for the thread's life. One may be
/// made while another is alive on the thread (an error path reading again):
/// the outer one must then not use what it parsed before.
class ThreadJSONParser {
 public:
  ThreadJSONParser();
  ThreadJSONParser(const ThreadJSONParser&) = delete;
  ThreadJSONParser& operator=(const ThreadJSONParser&) = delete;
  ~ThreadJSONParser();

  simdjson::dom::parser* operator->() noexcept;
  /// Grows the parser for `length` bytes, its large buffers advised as huge
  /// pages before anything touches them. Depth limit 1024.
  simdjson::error_code reserve(std::size_t length);
  /// `text` followed by the zeroed bytes simdjson may read past its end, in
  /// the thread's buffer: valid until the next call on this thread.
  const char* padded(std::string_view text);

 private:
  struct State;
  State& state_;
};

/// The `Value` that `JSONSerialization::JSONObjectWithData` builds for
/// `element`: integers apart from reals, object members in document order.
/// `textLength`, the length of the element's JSON text or a guess at it,
/// sizes the memory the values are made in.
Value valueFromJSONElement(simdjson::dom::element element, std::size_t textLength);

}  // namespace lx::detail
