#include <gtest/gtest.h>

#include <random>

#include "vantorcore/platform/Log.h"
#include "vantorcore/text/Data+BOM.h"
#include "vantorcore/text/Data+Compare.h"
#include "vantorcore/text/Data+Compression.h"

namespace lx {
namespace {

Data randomish(std::size_t n, unsigned seed) {
  std::mt19937 random(seed);
  Data data(n);
  // Mostly repetitive with some noise, so it compresses but not to nothing.
  for (std::size_t i = 0; i < n; ++i) data[i] = (random() % 8 == 0) ? random() : 'a' + i % 7;
  return data;
}

TEST(Compression, RoundTripsAcrossChunkBoundaries) {
  for (std::size_t n : {0u, 1u, 1000u, 131072u, 131073u, 600000u}) {
    SCOPED_TRACE(n);
    const Data data = randomish(n, static_cast<unsigned>(n));
    const auto compressed = lx_compressedData(data);
    ASSERT_TRUE(compressed);
    EXPECT_EQ(compressed->at(0), 0x78);  // a zlib header, not gzip
    EXPECT_EQ(lx_decompressedData(*compressed), data);
  }
}

// What is not zlib, empty or corrupt is absent with one log line; a
// truncated stream yields what inflated, quietly.
TEST(Decompression, BadInputs) {
  const Data data = randomish(50000, 3);
  const Data compressed = *lx_compressedData(data);
  Data corrupt = compressed;
  for (std::size_t i = 10; i < 40; ++i) corrupt[i] ^= 0x5A;
  const struct {
    const char* name;
    Data input;
    const char16_t* line;  // a prefix when it ends in "-"; null: no line, a prefix of `data`
  } cases[] = {
      {"not zlib", dataFromBytes("hello, world"), u"inflate: ret != Z_OK -3"},
      {"empty", Data{}, u"inflate: ret != Z_OK -5"},
      {"corrupt", corrupt, u"inflate: ret != Z_OK -"},
      {"truncated", Data(compressed.begin(), compressed.begin() + compressed.size() / 2), nullptr}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ScopedLogCapture capture;
    const auto partial = lx_decompressedData(c.input);
    if (c.line) {
      EXPECT_EQ(partial, std::nullopt);
      ASSERT_EQ(capture.lines().size(), 1u);
      const String line = capture.lines()[0];
      EXPECT_TRUE(String(c.line).ends_with(u"-") ? line.starts_with(c.line) : line == c.line)
          << toUTF8(line);
      continue;
    }
    ASSERT_TRUE(partial);
    EXPECT_FALSE(partial->empty());
    EXPECT_LT(partial->size(), data.size());
    EXPECT_TRUE(std::equal(partial->begin(), partial->end(), data.begin()));
    EXPECT_TRUE(capture.lines().empty());
  }
}

TEST(Decompression, StreamingInPieces) {
  const Data data = randomish(400000, 5);
  const Data compressed = *lx_compressedData(data);
  ZlibInflater inflater;
  Data out;
  for (std::size_t at = 0; at < compressed.size(); at += 777) {
    ASSERT_TRUE(inflater.update(
        DataView(compressed).subspan(at, std::min<std::size_t>(777, compressed.size() - at)), out));
  }
  EXPECT_TRUE(inflater.finished());
  EXPECT_EQ(out, data);
}

TEST(ByteOrderMark, AddedOnce) {
  const Data text = dataFromBytes("abc");
  const Data once = lx_dataWithUTF8BOM(text);
  EXPECT_EQ(once, dataFromBytes("\xEF\xBB\xBF"
                                "abc"));
  EXPECT_EQ(lx_dataWithUTF8BOM(once), once);
  EXPECT_TRUE(lx_hasUTF8BOM(once));
  EXPECT_FALSE(lx_hasUTF8BOM(dataFromBytes("\xEF\xBB")));
}

TEST(ByteAffixes, AnchoredSearches) {
  const Data d = dataFromBytes("abcdef");
  EXPECT_TRUE(lx_hasPrefix(d, dataFromBytes("abc")));
  EXPECT_FALSE(lx_hasPrefix(d, dataFromBytes("bcd")));
  EXPECT_TRUE(lx_hasSuffix(d, dataFromBytes("ef")));
  EXPECT_FALSE(lx_hasSuffix(d, dataFromBytes("abcdefg")));
  EXPECT_FALSE(lx_hasPrefix(d, {}));
  EXPECT_FALSE(lx_hasSuffix(d, {}));
}

}  // namespace
}  // namespace lx
