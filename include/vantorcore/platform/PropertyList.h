// Property lists: the platform's XML and binary ("bplist00") documents,
// read into and written from `Value`.
//
// Type mapping, both ways: dict <=> Dictionary (document order kept), array <=>
// Array, string <=> String, integer <=> Integer (signed 64) or, above
// INT64_MAX, UnsignedInteger, real <=> Real, true/false <=> Bool, date <=>
// Date, data <=> Data. A keyed-archiver UID reads as the dictionary
// {"CF$UID": n} (n unsigned), and such a one-entry dictionary is written back
// as a UID, so archives survive a round trip in either format.
//
// Limits, so that hostile documents get an error instead of exhausting the
// stack or memory: at most `kMaximumDepth` nested containers, at most 4 GiB of
// input, and in binary documents shared sub-objects may expand to at most
// about a million more objects than the document holds.
//
// Strings and keys holding U+0000 survive binary documents. XML 1.0 has no
// way to carry U+0000 (not even as a character reference), so the XML writer
// refuses such values with an error rather than write a document that other
// readers reject or read differently. Dates keep their full precision in
// binary documents and whole seconds in XML ones, where dates outside the
// years 0 to 9999 cannot be written.
//
// All functions are thread-safe.
#pragma once

#include "vantorcore/Export.h"

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <optional>

#include "vantorcore/platform/Data.h"
#include "vantorcore/platform/Error.h"
#include "vantorcore/platform/Value.h"

namespace LX_API lx {

/// Codes of `NSCocoaErrorDomain` for property lists, with the platform's values.
///@{
inline constexpr std::int64_t NSPropertyListReadCorruptError = 3840;
inline constexpr std::int64_t NSPropertyListWriteInvalidError = 3852;
///@}

class PropertyList {
 public:
  /// The serialised forms: XML text or the compact binary form.
  enum class Format { XML, Binary };

  /// The deepest nesting of arrays and dictionaries that is read or written.
  static constexpr std::size_t kMaximumDepth = 512;

  /// The value of an XML or binary property list (told apart by the
  /// "bplist00" signature; `format`, when given, receives which). Absent with
  /// `NSPropertyListReadCorruptError` for empty, malformed, too deep or too
  /// large input. The XML reader is lenient where the backing library is: an
  /// unreadable <integer> reads as 0 and a dictionary key without a value is
  /// dropped.
  static std::optional<Value> read(DataView data, ErrorPtr* error = nullptr,
                                   Format* format = nullptr);

  /// The document for `value` in `format`. Absent with
  /// `NSPropertyListWriteInvalidError` when the value, or anything inside it,
  /// has no property-list form: null, objects, nesting beyond
  /// `kMaximumDepth`, or (XML only) strings holding U+0000. The description
  /// names the culprit. Binary documents write equal strings and integers
  /// once and keep the dictionary order.
  static std::optional<Data> write(const Value& value, Format format, ErrorPtr* error = nullptr);

  /// `read` of the file at `path`; absent with a file error (see FileIO.h)
  /// when the file cannot be read, or with the read error above.
  static std::optional<Value> readFile(StringView path, ErrorPtr* error = nullptr,
                                       Format* format = nullptr);

  /// `write` and then `writeFileAtomically` (temporary file, fsync, rename)
  /// with `mode`. False with the error of whichever step failed; the file at
  /// `path` is then untouched.
  static bool writeFileAtomically(const Value& value, Format format, StringView path,
                                  mode_t mode = 0644, ErrorPtr* error = nullptr);
};

}  // namespace lx
