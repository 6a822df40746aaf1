// The ICO reader on arbitrary bytes: never a read outside the input (ASan
// watches), every entry it keeps lies inside the bytes, and every entry
// decodes to an image of the bitmap's size or fails with an error.
#include <cstdint>
#include <cstdlib>
#include <span>

#include "vantorcore/drawing/ICOFile.h"
#include "vantorcore/drawing/IconDecoder.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  lx::ErrorPtr error;
  const auto file = lx::ICOFile::read(std::span(data, size), &error);
  if (!file) {
    if (!error) std::abort();
    return 0;
  }
  if (file->entries().empty()) std::abort();
  for (std::size_t i = 0; i < file->entries().size(); ++i) {
    const lx::ICOEntry& entry = file->entries()[i];
    if (std::uint64_t{entry.offset} + entry.size > size || entry.size == 0) std::abort();
    lx::ErrorPtr decodeError;
    const auto image = file->decodeEntry(i, &decodeError);
    if (!image && !decodeError) std::abort();
    if (image &&
        (image->width() > lx::kMaximumIconSide || image->height() > lx::kMaximumIconSide)) {
      std::abort();
    }
  }
  return 0;
}
