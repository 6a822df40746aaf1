#include "vantorcore/drawing/ICOFile.h"

#include <gtest/gtest.h>

#include "drawing/IconTestSupport.h"
#include "vantorcore/drawing/DrawingError.h"
#include "vantorcore/drawing/IconDecoder.h"

namespace lx {
namespace {

using test::bitmapEntry;
using test::bytes;
using test::ICOImage;
using test::icoOf;
using test::pngOf;
using test::solidBitmap;

std::int64_t codeOf(const ErrorPtr& error) { return error ? error->code() : 0; }
constexpr auto kMalformed = static_cast<std::int64_t>(DrawingErrorCode::MalformedImage);
constexpr auto kUnsupported = static_cast<std::int64_t>(DrawingErrorCode::UnsupportedImage);
constexpr auto kTooLarge = static_cast<std::int64_t>(DrawingErrorCode::ImageTooLarge);

TEST(ICOFile, ReadsOnlyEntriesInsideTheFile) {
  const std::string png = pngOf(4, 4, 0xFF0000);
  const auto pngSize = static_cast<std::uint32_t>(png.size());
  const std::uint32_t firstPayload = 6 + 16;
  const struct {
    const char* name;
    std::string file;
    std::size_t entries;  // 0: the file is refused
  } rows[] = {
      {"no entries", icoOf({}), 0},
      {"one entry", icoOf({{png}}), 1},
      {"a cursor", icoOf({{png}}, 2), 1},
      {"another resource type", icoOf({{png}}, 3), 0},
      {"header cut short", icoOf({}).substr(0, 5), 0},
      {"directory longer than the file", icoOf({{png}}).substr(0, 21), 0},
      {"ends exactly at the file end", icoOf({{png, 16, 32, firstPayload, pngSize}}), 1},
      {"one byte past the file end", icoOf({{png, 16, 32, firstPayload, pngSize + 1}}), 0},
      {"offset one past", icoOf({{png, 16, 32, firstPayload + 1, pngSize}}), 0},
      {"offset wrapping around", icoOf({{png, 16, 32, 0xFFFFFFF0u, 0x20}}), 0},
      {"empty payload", icoOf({{png, 16, 32, firstPayload, 0}}), 0},
      {"one good, one lying", icoOf({{png}, {png, 16, 32, 0x7FFFFFFF, 16}}), 1},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    ErrorPtr error;
    const auto file = ICOFile::read(bytes(row.file), &error);
    if (row.entries == 0) {
      EXPECT_FALSE(file);
      EXPECT_EQ(codeOf(error), kMalformed);
    } else {
      ASSERT_TRUE(file);
      EXPECT_EQ(file->entries().size(), row.entries);
      EXPECT_TRUE(file->entries().front().isPNG);
    }
  }
}

TEST(ICOFile, DirectorySizesAndTheBestEntry) {
  const auto file = ICOFile::read(bytes(icoOf({{solidBitmap(1, 0), 16, 32},
                                               {solidBitmap(1, 0), 48, 32},
                                               {solidBitmap(1, 0), 32, 8},
                                               {solidBitmap(1, 0), 32, 32},
                                               {solidBitmap(1, 0), 256, 32}})));
  ASSERT_TRUE(file);
  EXPECT_EQ(file->entries()[4].width, 256);  // stored as 0
  EXPECT_EQ(file->entries()[4].height, 256);
  const struct {
    int side;
    std::size_t best;
  } rows[] = {{1, 0}, {16, 0}, {17, 3}, {32, 3}, {33, 1}, {256, 4}, {257, 4}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.side);
    EXPECT_EQ(file->bestEntryIndex(row.side), row.best);
  }
}

// A 2 × 2 entry of `bits` per pixel whose bottom-left pixel uses palette
// entry 1 (blue) and the rest entry 0 (red); the mask hides the top-right.
std::string palettedBitmap(int bits) {
  const std::vector<std::uint32_t> palette = {0x00FF0000, 0x000000FF};
  const std::string bottom = bits == 1   ? std::string("\x80\0\0\0", 4)
                             : bits == 4 ? std::string("\x10\0\0\0", 4)
                                         : std::string("\x01\0\0\0", 4);
  const std::string top(4, '\0');
  const std::string mask = std::string(4, '\0') + std::string("\x40\0\0\0", 4);
  return bitmapEntry(2, 2, bits, 0, palette, bottom + top, mask);
}

TEST(ICOFile, DecodesBitmapEntries) {
  std::string rows24;
  for (int y = 0; y < 2; ++y) rows24 += std::string("\x00\xFF\x00\x00\xFF\x00\x00\x00", 8);
  const struct {
    const char* name;
    std::string payload;
    std::uint32_t bottomLeft, topRight;  // premultiplied ARGB; 0 transparent
    std::int64_t error;
  } rows[] = {
      {"1 bit", palettedBitmap(1), 0xFF0000FF, 0, 0},
      {"4 bits", palettedBitmap(4), 0xFF0000FF, 0, 0},
      {"8 bits", palettedBitmap(8), 0xFF0000FF, 0, 0},
      {"24 bits", bitmapEntry(2, 2, 24, 0, {}, rows24, std::string(8, '\0')), 0xFF00FF00,
       0xFF00FF00, 0},
      {"32 bits with alpha", solidBitmap(2, 0x80FF0000), 0x80800000, 0x80800000, 0},
      {"32 bits, no alpha", solidBitmap(2, 0x00FF0000), 0xFFFF0000, 0xFFFF0000, 0},
      {"32 bits without a mask", solidBitmap(2, 0xFF00FF00).substr(0, 40 + 16), 0xFF00FF00,
       0xFF00FF00, 0},
      {"one byte short of its rows", solidBitmap(2, 0xFF00FF00).substr(0, 40 + 15), 0, 0,
       kMalformed},
      {"header cut short", solidBitmap(2, 0).substr(0, 39), 0, 0, kMalformed},
      {"run-length compressed", bitmapEntry(2, 2, 8, 1, {}, "", ""), 0, 0, kUnsupported},
      {"16 bits", bitmapEntry(2, 2, 16, 0, {}, std::string(16, '\0'), ""), 0, 0, kUnsupported},
      {"odd doubled height", bitmapEntry(2, 2, 32, 0, {}, "", "").replace(8, 1, "\x03"), 0, 0,
       kMalformed},
      {"largest side", bitmapEntry(kMaximumIconSide, 1, 32, 0, {}, "", ""), 0, 0, kMalformed},
      {"one past the largest side", bitmapEntry(kMaximumIconSide + 1, 1, 32, 0, {}, "", ""), 0, 0,
       kTooLarge},
      {"PNG entry", pngOf(2, 2, 0x0000FF), 0xFF0000FF, 0xFF0000FF, 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const auto file = ICOFile::read(bytes(icoOf({{row.payload}})));
    ASSERT_TRUE(file);
    ErrorPtr error;
    const auto image = file->decodeEntry(0, &error);
    EXPECT_EQ(codeOf(error), row.error);
    if (row.error != 0) continue;
    ASSERT_TRUE(image);
    EXPECT_EQ(image->pixel(0, 1), row.bottomLeft);
    EXPECT_EQ(image->pixel(1, 0), row.topRight);
  }
}

}  // namespace
}  // namespace lx
