#include "vantorcore/drawing/IconDecoder.h"

#include <gtest/gtest.h>

#include "drawing/IconTestSupport.h"
#include "vantorcore/drawing/DrawingError.h"

namespace lx {
namespace {

using test::bytes;
using test::icoOf;
using test::pngHeaderClaiming;
using test::pngOf;
using test::solidBitmap;
using test::svgOf;

constexpr std::uint32_t kOpaqueRed = 0xFFFF0000, kOpaqueBlue = 0xFF0000FF;

TEST(IconDecoder, RecognisesFormats) {
  const struct {
    const char* name;
    std::string data;
    IconFormat format;
  } rows[] = {
      {"PNG", pngOf(1, 1, 0), IconFormat::PNG},
      {"PNG signature cut short", pngOf(1, 1, 0).substr(0, 7), IconFormat::Unknown},
      {"ICO", icoOf({{solidBitmap(1, 0)}}), IconFormat::ICO},
      {"cursor", icoOf({{solidBitmap(1, 0)}}, 2), IconFormat::ICO},
      {"SVG", svgOf("#ff0000"), IconFormat::SVG},
      {"SVG after a long comment", "<!--" + std::string(4000, ' ') + "--><svg/>", IconFormat::SVG},
      {"SVG element beyond the first 4 KiB", "<!--" + std::string(4100, ' ') + "--><svg/>",
       IconFormat::Unknown},
      {"HTML", "<html><body>not found</body></html>", IconFormat::Unknown},
      {"empty", "", IconFormat::Unknown},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(lx_iconFormat(bytes(row.data)), row.format);
  }
}

TEST(IconDecoder, DecodesAndScalesToTheRequestedSide) {
  const struct {
    const char* name;
    std::string data;
    int side;
    std::uint32_t centre;  // premultiplied ARGB at the centre
    DrawingErrorCode error;
  } rows[] = {
      {"PNG scaled up", pngOf(4, 4, 0xFF0000), 32, kOpaqueRed, {}},
      {"PNG scaled down", pngOf(64, 64, 0x0000FF), 16, kOpaqueBlue, {}},
      {"wide PNG keeps its aspect", pngOf(8, 2, 0xFF0000), 8, kOpaqueRed, {}},
      {"ICO picks a bitmap", icoOf({{solidBitmap(2, 0xFFFF0000)}}), 24, kOpaqueRed, {}},
      {"SVG rendered at the size", svgOf("#0000ff"), 48, kOpaqueBlue, {}},
      {"side 1", pngOf(4, 4, 0xFF0000), 1, kOpaqueRed, {}},
      {"largest side", pngOf(1, 1, 0xFF0000), kMaximumIconSide, kOpaqueRed, {}},
      {"side 0", pngOf(1, 1, 0), 0, 0, DrawingErrorCode::InvalidSize},
      {"one past the largest side", pngOf(1, 1, 0), kMaximumIconSide + 1, 0,
       DrawingErrorCode::InvalidSize},
      {"PNG claiming the largest side", pngHeaderClaiming(kMaximumIconSide, 1), 16, 0,
       DrawingErrorCode::MalformedImage},
      {"PNG claiming one past", pngHeaderClaiming(kMaximumIconSide + 1, 1), 16, 0,
       DrawingErrorCode::ImageTooLarge},
      {"PNG claiming 4 billion rows", pngHeaderClaiming(1, 0xFFFFFFFF), 16, 0,
       DrawingErrorCode::ImageTooLarge},
      {"truncated PNG", pngOf(4, 4, 0).substr(0, 40), 16, 0, DrawingErrorCode::MalformedImage},
      {"broken SVG", "<svg><rect", 16, 0, DrawingErrorCode::MalformedImage},
      {"HTML", "<html></html>", 16, 0, DrawingErrorCode::UnsupportedImage},
      {"ICO with no entries", icoOf({}), 16, 0, DrawingErrorCode::MalformedImage},
      {"exactly the byte limit",
       [] {
         std::string png = pngOf(1, 1, 0xFF0000);
         png.resize(kMaximumIconBytes, '\0');  // libpng stops at the IEND chunk
         return png;
       }(),
       16,
       kOpaqueRed,
       {}},
      {"one byte past the byte limit", pngOf(1, 1, 0) + std::string(kMaximumIconBytes, '\0'), 16, 0,
       DrawingErrorCode::ImageTooLarge},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    ErrorPtr error;
    const auto image = lx_decodeIcon(bytes(row.data), row.side, &error);
    if (row.error != DrawingErrorCode{}) {
      EXPECT_FALSE(image);
      ASSERT_TRUE(error);
      EXPECT_EQ(error->code(), static_cast<std::int64_t>(row.error));
      continue;
    }
    ASSERT_TRUE(image) << (error ? toUTF8(error->description()) : "");
    EXPECT_EQ(image->width(), row.side);
    EXPECT_EQ(image->height(), row.side);
    EXPECT_EQ(image->pixel(row.side / 2, row.side / 2), row.centre);
  }
}

TEST(IconDecoder, WideImagesAreCentredOnTransparency) {
  const auto image = lx_decodeIcon(bytes(pngOf(8, 2, 0xFF0000)), 8);
  ASSERT_TRUE(image);
  EXPECT_EQ(image->pixel(4, 0), 0u);
  EXPECT_EQ(image->pixel(4, 4), kOpaqueRed);
  EXPECT_EQ(image->pixel(4, 7), 0u);
}

}  // namespace
}  // namespace lx
