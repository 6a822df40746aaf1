// JSON reading into `Value` and writing from it, with the platform's
// serialiser's options and rules.
//
// Reading validates UTF-8 and the grammar (simdjson), keeps integers apart
// from floating numbers (`Value::Type::Integer` / `UnsignedInteger` versus
// `Real`) and keeps the members of each object in document order. Writing is
// our own: correct escaping, the shortest text that reads back to the same
// double, floats (`Real::isFloat`) with single precision, booleans as true and
// false.
//
//   parse  '{"b": 1, "a": [2.5, true, null]}'  => { b = 1; a = (2.5, 1, <null>); }
//   write  { b = 1; a = (2.5, true) }           => '{"b":1,"a":[2.5,true]}'
//   write  Real{0.1, isFloat=true}              => '0.1'   (not 0.10000000149011612)
//   write  u"a/b\n"                             => '"a\/b\n"'
#pragma once

#include "vantorcore/Export.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "vantorcore/platform/Data.h"
#include "vantorcore/platform/Error.h"
#include "vantorcore/platform/Value.h"

namespace LX_API lx {

/// Reading options, with the platform's bit values.
enum JSONReadingOptions : unsigned {
  JSONReadingMutableContainers = 1,  // accepted; every container is mutable
  JSONReadingMutableLeaves = 2,      // accepted; every string is mutable
  JSONReadingFragmentsAllowed = 4,   // a top-level string, number, bool or null
};

/// Writing options, with the platform's bit values.
enum JSONWritingOptions : unsigned {
  JSONWritingPrettyPrinted = 1,           // two-space indent, "key" : value
  JSONWritingSortedKeys = 2,              // object members by key (code-unit order)
  JSONWritingFragmentsAllowed = 4,        // a top-level value other than array/object
  JSONWritingWithoutEscapingSlashes = 8,  // write "/" rather than "\/"
};

/// Reading and writing JSON documents as `Value`s.
class JSONSerialization {
 public:
  /// Arrays and objects nest at most this deep, reading and writing; deeper
  /// documents are errors, never a stack overflow.
  static constexpr std::size_t kMaximumDepth = 1024;
  /// The error code of every reading and writing failure, in
  /// `NSCocoaErrorDomain`; the user info's "NSDebugDescription" says why.
  static constexpr std::int64_t kErrorCode = 3840;

  /// Parses UTF-8 JSON text. Absent on malformed text, invalid UTF-8, nesting
  /// deeper than `kMaximumDepth`, numbers outside the 64-bit integer and
  /// double ranges, or a top-level value that is not an array or object
  /// unless `JSONReadingFragmentsAllowed` is set; `error` then says why.
  /// Thread-safe: each thread reuses its own parser.
  ///@{
  static std::optional<Value> JSONObjectWithData(std::string_view json, unsigned options = 0,
                                                 ErrorPtr* error = nullptr);
  static std::optional<Value> JSONObjectWithData(DataView json, unsigned options = 0,
                                                 ErrorPtr* error = nullptr) {
    return JSONObjectWithData(asStringView(json), options, error);
  }
  ///@}

  /// The UTF-8 JSON text of `value`. Absent when it holds something JSON
  /// cannot express (data, dates, objects, NaN or infinite numbers), nests
  /// deeper than `kMaximumDepth`, or is not an array or dictionary at the top
  /// without `JSONWritingFragmentsAllowed`. Lone surrogates in strings are
  /// written as U+FFFD.
  static std::optional<std::string> stringWithJSONObject(const Value& value, unsigned options = 0,
                                                         ErrorPtr* error = nullptr);
  /// `stringWithJSONObject` as bytes.
  static std::optional<Data> dataWithJSONObject(const Value& value, unsigned options = 0,
                                                ErrorPtr* error = nullptr);

  /// True when `dataWithJSONObject(value)` succeeds: an array or dictionary
  /// of strings, finite numbers, booleans, nulls, arrays and dictionaries.
  /// With `fragmentsAllowed`, a bare string, number, boolean or null too.
  static bool isValidJSONObject(const Value& value, bool fragmentsAllowed = false);
};

}  // namespace lx
