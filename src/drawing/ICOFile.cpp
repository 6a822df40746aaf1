#include "vantorcore/drawing/ICOFile.h"

#include <algorithm>
#include <string>

#include "drawing/CairoLibrary.h"
#include "drawing/DrawingFailure.h"
#include "vantorcore/drawing/DrawingError.h"
#include "vantorcore/drawing/IconDecoder.h"

namespace lx {
namespace {

constexpr std::size_t kHeaderBytes = 6;
constexpr std::size_t kEntryBytes = 16;
constexpr std::size_t kBitmapHeaderBytes = 40;
constexpr std::uint32_t kUncompressed = 0;
constexpr std::uint32_t kBitFields = 3;  // with 32 bits: the usual BGRA masks

std::uint16_t read16(DataView d, std::size_t at) {
  return static_cast<std::uint16_t>(d[at] | d[at + 1] << 8);
}

std::uint32_t read32(DataView d, std::size_t at) {
  return static_cast<std::uint32_t>(d[at]) | static_cast<std::uint32_t>(d[at + 1]) << 8 |
         static_cast<std::uint32_t>(d[at + 2]) << 16 | static_cast<std::uint32_t>(d[at + 3]) << 24;
}

bool startsWithPNGSignature(DataView d) {
  static constexpr std::uint8_t kSignature[] = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A};
  return d.size() >= sizeof kSignature && std::equal(kSignature, kSignature + 8, d.begin());
}

using detail::cairo;
using drawing::fail;

// A bitmap entry's pixels: bottom-up rows of colour, then the AND mask.
class BitmapEntry {
 public:
  explicit BitmapEntry(DataView payload) : payload_(payload) {}

  std::optional<ImageSurface> decode(ErrorPtr* error) const {
    if (payload_.size() < kBitmapHeaderBytes || read32(payload_, 0) < kBitmapHeaderBytes ||
        read32(payload_, 0) > payload_.size()) {
      return fail<ImageSurface>(error, DrawingErrorCode::MalformedImage,
                                "The icon's bitmap header is cut short");
    }
    const auto width = static_cast<std::int32_t>(read32(payload_, 4));
    const auto doubledHeight = static_cast<std::int32_t>(read32(payload_, 8));
    const int bits = read16(payload_, 14);
    const std::uint32_t compression = read32(payload_, 16);
    // The height counts the colour rows and the mask rows.
    if (width <= 0 || doubledHeight <= 0 || doubledHeight % 2 != 0) {
      return fail<ImageSurface>(error, DrawingErrorCode::MalformedImage,
                                "The icon's bitmap has a size of " + std::to_string(width) + " x " +
                                    std::to_string(doubledHeight));
    }
    const int height = doubledHeight / 2;
    if (width > kMaximumIconSide || height > kMaximumIconSide) {
      return fail<ImageSurface>(error, DrawingErrorCode::ImageTooLarge,
                                "The icon's bitmap is " + std::to_string(width) + " x " +
                                    std::to_string(height) + " pixels, more than " +
                                    std::to_string(kMaximumIconSide));
    }
    const bool supportedDepth = bits == 1 || bits == 4 || bits == 8 || bits == 24 || bits == 32;
    if (!supportedDepth ||
        !(compression == kUncompressed || (compression == kBitFields && bits == 32))) {
      return fail<ImageSurface>(error, DrawingErrorCode::UnsupportedImage,
                                "The icon's bitmap uses " + std::to_string(bits) +
                                    " bits per pixel with compression " +
                                    std::to_string(compression));
    }
    const std::uint32_t headerBytes = read32(payload_, 0);
    // Only the oldest header leaves the three colour masks outside itself.
    std::size_t at =
        headerBytes + (compression == kBitFields && headerBytes == kBitmapHeaderBytes ? 12 : 0);
    std::size_t paletteCount = 0;
    if (bits <= 8) {
      const std::uint32_t used = read32(payload_, 32);
      paletteCount = used == 0 || used > (1u << bits) ? (1u << bits) : used;
    }
    const std::size_t palette = at;
    at += paletteCount * 4;
    const std::size_t colourStride = ((static_cast<std::size_t>(width) * bits + 31) / 32) * 4;
    const std::size_t maskStride = ((static_cast<std::size_t>(width) + 31) / 32) * 4;
    const std::size_t colourEnd = at + colourStride * height;
    if (colourEnd > payload_.size()) {
      return fail<ImageSurface>(error, DrawingErrorCode::MalformedImage,
                                "The icon's bitmap holds " + std::to_string(payload_.size()) +
                                    " bytes, too few for its " + std::to_string(height) + " rows");
    }
    // Some writers leave the mask out of 32-bit entries, which carry alpha.
    const bool hasMask = colourEnd + maskStride * height <= payload_.size();
    if (!cairo().library.isLoaded()) {
      return fail<ImageSurface>(error, DrawingErrorCode::UnsupportedImage,
                                "Icon bitmaps cannot be read here: " + cairo().library.error());
    }
    auto image = ImageSurface::make(width, height);
    if (!image) {
      return fail<ImageSurface>(error, DrawingErrorCode::ImageTooLarge,
                                "No memory for the icon's pixels");
    }
    bool anyAlpha = false;
    for (int y = 0; y < height && bits == 32; ++y) {
      for (int x = 0; x < width; ++x) anyAlpha |= payload_[at + y * colourStride + x * 4 + 3] != 0;
    }
    for (int row = 0; row < height; ++row) {
      const std::size_t colourRow = at + row * colourStride;
      const std::size_t maskRow = colourEnd + row * maskStride;
      const int y = height - 1 - row;  // rows are stored bottom-up
      for (int x = 0; x < width; ++x) {
        std::uint8_t bgra[4] = {0, 0, 0, 255};
        if (bits == 32) {
          std::copy_n(payload_.begin() + static_cast<std::ptrdiff_t>(colourRow + x * 4), 4, bgra);
          if (!anyAlpha) bgra[3] = 255;
        } else if (bits == 24) {
          std::copy_n(payload_.begin() + static_cast<std::ptrdiff_t>(colourRow + x * 3), 3, bgra);
        } else {
          const std::size_t index = paletteIndex(colourRow, x, bits);
          if (index < paletteCount) {
            std::copy_n(payload_.begin() + static_cast<std::ptrdiff_t>(palette + index * 4), 3,
                        bgra);
          }
        }
        const bool masked = hasMask && (bits != 32 || !anyAlpha) &&
                            (payload_[maskRow + x / 8] >> (7 - x % 8) & 1) != 0;
        image->setPixel(x, y, bgra[2], bgra[1], bgra[0], masked ? 0 : bgra[3]);
      }
    }
    return image;
  }

 private:
  // The palette index of pixel `x` in a row of 1, 4 or 8 bits per pixel.
  std::size_t paletteIndex(std::size_t row, int x, int bits) const {
    const std::size_t bit = static_cast<std::size_t>(x) * bits;
    const std::uint8_t byte = payload_[row + bit / 8];
    return (byte >> (8 - bits - bit % 8)) & ((1u << bits) - 1);
  }

  DataView payload_;
};

}  // namespace

std::optional<ICOFile> ICOFile::read(DataView data, ErrorPtr* error) {
  const bool iconOrCursor = data.size() >= kHeaderBytes && read16(data, 0) == 0 &&
                            (read16(data, 2) == 1 || read16(data, 2) == 2);
  if (!iconOrCursor) {
    return fail<ICOFile>(error, DrawingErrorCode::MalformedImage, "Not an ICO file");
  }
  const std::size_t count = read16(data, 4);
  if (kHeaderBytes + count * kEntryBytes > data.size()) {
    return fail<ICOFile>(error, DrawingErrorCode::MalformedImage,
                         "The ICO file announces " + std::to_string(count) +
                             " images but is too short for their directory");
  }
  std::vector<ICOEntry> entries;
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t at = kHeaderBytes + i * kEntryBytes;
    ICOEntry entry;
    entry.width = data[at] == 0 ? 256 : data[at];
    entry.height = data[at + 1] == 0 ? 256 : data[at + 1];
    entry.bitCount = read16(data, at + 6);
    entry.size = read32(data, at + 8);
    entry.offset = read32(data, at + 12);
    // 64-bit sum: a lying offset near 4 GiB must not wrap around.
    if (entry.size == 0 || std::uint64_t{entry.offset} + entry.size > data.size()) continue;
    entry.isPNG = startsWithPNGSignature(data.subspan(entry.offset, entry.size));
    entries.push_back(entry);
  }
  if (entries.empty()) {
    return fail<ICOFile>(
        error, DrawingErrorCode::MalformedImage,
        "The ICO file holds no image inside its " + std::to_string(data.size()) + " bytes");
  }
  return ICOFile(Data(data.begin(), data.end()), std::move(entries));
}

std::size_t ICOFile::bestEntryIndex(int side) const noexcept {
  auto better = [side](const ICOEntry& a, const ICOEntry& b) {
    const int sa = std::max(a.width, a.height), sb = std::max(b.width, b.height);
    const bool aFits = sa >= side, bFits = sb >= side;
    if (aFits != bFits) return aFits;
    if (sa != sb) return aFits ? sa < sb : sa > sb;
    return a.bitCount > b.bitCount;
  };
  std::size_t best = 0;
  for (std::size_t i = 1; i < entries_.size(); ++i) {
    if (better(entries_[i], entries_[best])) best = i;
  }
  return best;
}

std::optional<ImageSurface> ICOFile::decodeEntry(std::size_t index, ErrorPtr* error) const {
  const ICOEntry& entry = entries_.at(index);
  const DataView payload = DataView(data_).subspan(entry.offset, entry.size);
  if (entry.isPNG) return lx_decodePNG(payload, error);
  return BitmapEntry(payload).decode(error);
}

}  // namespace lx
