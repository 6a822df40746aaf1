// zlib compression of byte buffers: the zlib stream format (RFC 1950
// header and Adler-32 checksum), not gzip. Reentrant; any thread.
#pragma once

#include "vantorcore/Export.h"

#include <memory>
#include <optional>

#include "vantorcore/platform/Data.h"

namespace LX_API lx {

/// `data` compressed at zlib's default level into one zlib stream; absent
/// when zlib fails.
std::optional<Data> lx_compressedData(DataView data);

/// Inflates a zlib stream in 128 KiB chunks. Absent, with the log line
/// "ret != Z_OK" when zlib cannot start, or "inflate: ret != Z_OK <code>"
/// when inflating reports a dictionary need (2) or an error (a negative
/// zlib code: -3 for bytes that are not a zlib stream, -5 when no progress
/// is possible, as for empty input). The loop stops after the first call
/// that does not fill a whole chunk, without waiting for the stream's end:
/// a truncated stream yields what could be inflated, and bytes after a
/// stream's end are ignored. Outputs of 4 GiB or more are not supported
/// (absent).
///   compressed 'abc' => 'abc'     its first half => the bytes inflated so far
///   'hello' => absent, "inflate: ret != Z_OK -3"     '' => absent (-5)
std::optional<Data> lx_decompressedData(DataView data);

/// The same loop fed piece by piece, for streams: `update` appends what the
/// input inflates to (chunks of 128 KiB) and returns false after a failure,
/// logged as above. Not for concurrent use.
class ZlibInflater {
 public:
  ZlibInflater();
  ~ZlibInflater();
  ZlibInflater(const ZlibInflater&) = delete;
  ZlibInflater& operator=(const ZlibInflater&) = delete;

  /// Feeds `input`, appending what it decodes to `out`; false on corrupt input.
  bool update(DataView input, Data& out);
  /// True once the stream's end has been inflated.
  [[nodiscard]] bool finished() const noexcept { return finished_; }

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
  bool finished_ = false;
};

}  // namespace lx
