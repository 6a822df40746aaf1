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

TEST(Decompression, NotZlibOrEmptyIsAbsentWithALogLine) {
  const struct {
    const char* name;
    Data input;
    const char16_t* line;
  } cases[] = {{"not zlib", dataFromBytes("hello, world"), u"inflate: ret != Z_OK -3"},
               {"empty", Data{}, u"inflate: ret != Z_OK -5"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ScopedLogCapture capture;
    EXPECT_EQ(lx_decompressedData(c.input), std::nullopt);
    EXPECT_EQ(capture.lines(), std::vector<String>{c.line});
  }
}

TEST(Decompression, TruncatedStreamYieldsWhatInflated) {
  const Data data = randomish(50000, 3);
  const Data compressed = *lx_compressedData(data);
  ScopedLogCapture capture;
  const auto partial = lx_decompressedData(DataView(compressed).first(compressed.size() / 2));
  ASSERT_TRUE(partial);
  EXPECT_FALSE(partial->empty());
  EXPECT_LT(partial->size(), data.size());
  EXPECT_TRUE(std::equal(partial->begin(), partial->end(), data.begin()));
  EXPECT_TRUE(capture.lines().empty());
}

TEST(Decompression, CorruptBodyIsAbsent) {
  Data compressed = *lx_compressedData(randomish(5000, 4));
  for (std::size_t i = 10; i < 40; ++i) compressed[i] ^= 0x5A;
  ScopedLogCapture capture;
  EXPECT_EQ(lx_decompressedData(compressed), std::nullopt);
  ASSERT_EQ(capture.lines().size(), 1u);
  EXPECT_TRUE(capture.lines()[0].starts_with(u"inflate: ret != Z_OK -"));
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
