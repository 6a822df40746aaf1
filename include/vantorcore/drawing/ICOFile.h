// `ICOFile`: the Windows icon container favicons often come in — a
// directory of images, each a PNG or a bottom-up device-independent bitmap
// with an AND mask.
//
// The reader trusts nothing in the file: an entry whose offset and size do
// not lie wholly inside the bytes, or whose bitmap is too short for the
// rows its header announces, is refused without reading past the end. The
// sizes in the directory are only hints; the image's own header decides.
#pragma once

#include "vantorcore/Export.h"

#include <cstdint>
#include <optional>
#include <vector>

#include "vantorcore/drawing/ImageSurface.h"
#include "vantorcore/platform/Data.h"
#include "vantorcore/platform/Error.h"

namespace LX_API lx {

/// One image of the directory as the file announces it.
struct ICOEntry {
  int width = 0;   ///< 1…256; a stored 0 means 256
  int height = 0;  ///< 1…256; a stored 0 means 256
  int bitCount = 0;          ///< bits per pixel as announced (0 when unstated)
  std::uint32_t offset = 0;  ///< where the payload starts, from the file's start
  std::uint32_t size = 0;    ///< payload bytes; offset + size lies within the file
  bool isPNG = false;  ///< the payload starts with the PNG signature
};

class ICOFile {
 public:
  /// Reads the directory of `data` (copied). Entries outside the bytes are
  /// left out. Absent with `MalformedImage` for a header that is not an
  /// icon or cursor, a directory longer than the file, or no entry inside
  /// the file (a count of 0 included).
  static std::optional<ICOFile> read(DataView data, ErrorPtr* error = nullptr);

  /// The usable entries in file order; never empty.
  [[nodiscard]] const std::vector<ICOEntry>& entries() const noexcept { return entries_; }
  /// The index of the entry to scale to `side` pixels: the smallest at
  /// least that large, else the largest; deeper colour breaks ties.
  [[nodiscard]] std::size_t bestEntryIndex(int side) const noexcept;
  /// Decodes entry `index` (which must be in range). Absent with
  /// `ImageTooLarge` beyond `kMaximumIconSide`, `UnsupportedImage` for
  /// compressed bitmaps or depths other than 1, 4, 8, 24 and 32 bits, and
  /// `MalformedImage` for a payload too short for its pixels.
  [[nodiscard]] std::optional<ImageSurface> decodeEntry(std::size_t index,
                                                        ErrorPtr* error = nullptr) const;

 private:
  ICOFile(Data data, std::vector<ICOEntry> entries)
      : data_(std::move(data)), entries_(std::move(entries)) {}

  Data data_;
  std::vector<ICOEntry> entries_;
};

}  // namespace lx
