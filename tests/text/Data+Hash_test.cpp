#include <gtest/gtest.h>

#include "vantorcore/text/Data+Hash.h"
#include "vantorcore/text/String+Hash.h"

namespace lx {
namespace {

TEST(Digests, KnownValues) {
  EXPECT_EQ(lx_MD5Checksum({}), u"d41d8cd98f00b204e9800998ecf8427e");
  EXPECT_EQ(lx_hexString(lx_MD5Data(dataFromBytes("abc"))), u"900150983cd24fb0d6963f7d28e17f72");
  EXPECT_EQ(lx_hexString(lx_SHA1Hash(dataFromBytes("abc"))),
            u"a9993e364706816aba3e25717850c26c9cd0d89d");
  EXPECT_EQ(lx_hexString(*lx_SHA256Hash(dataFromBytes("abc"))),
            u"ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST(Digests, HMACWithRFC2202AndRFC4231Vectors) {
  const Data key(20, 0x0b);
  EXPECT_EQ(lx_hexString(lx_HMACSHA1WithKey(dataFromBytes("Hi There"), key)),
            u"b617318655057264e28bc0b6fb378c8ef146be00");
  EXPECT_EQ(lx_hexString(lx_HMACSHA256WithKey(dataFromBytes("Hi There"), key)),
            u"b0344c61d8db38535ca8afceaf0bf12b881dc200c9833da726e9376c2e32cff7");
  EXPECT_EQ(lx_HMACSHA256WithKey(dataFromBytes("x"), {}).size(), 32u);
}

TEST(Digests, StreamingMatchesOneShot) {
  const Data data = dataFromBytes("The quick brown fox jumps over the lazy dog");
  DigestContext plain(DigestContext::Algorithm::SHA256);
  DigestContext keyed(DigestContext::Algorithm::SHA1, DataView(dataFromBytes("key")));
  for (std::size_t at = 0; at < data.size(); at += 5) {
    const DataView piece = DataView(data).subspan(at, std::min<std::size_t>(5, data.size() - at));
    plain.update(piece);
    keyed.update(piece);
  }
  EXPECT_EQ(plain.finish(), *lx_SHA256Hash(data));
  EXPECT_EQ(keyed.finish(), lx_HMACSHA1WithKey(data, dataFromBytes("key")));
}

TEST(HexStrings, SeparatorIsLowerCasedToo) {
  const Data d{0x0A, 0xFF};
  EXPECT_EQ(lx_hexStringWithSeparator(d, u":"), u"0a:ff");
  EXPECT_EQ(lx_hexStringWithSeparator(d, u"X"), u"0axff");
  EXPECT_EQ(lx_hexStringWithSeparator({}, u":"), u"");
  EXPECT_EQ(lx_hexString(d), u"0aff");
}

TEST(HexStrings, MD5StringNeedsSixteenBytes) {
  EXPECT_EQ(lx_MD5String(DataView(Data(15))), std::nullopt);
  EXPECT_EQ(lx_MD5String(DataView(Data(16, 0xAB))), u"abababababababababababababababab");
}

TEST(StringDigests, StopAtTheFirstNUL) {
  const String withNUL(u"abc\0def", 7);
  EXPECT_EQ(lx_MD5String(StringView(withNUL)), u"900150983cd24fb0d6963f7d28e17f72");
  EXPECT_EQ(lx_SHA1String(StringView(withNUL)), u"a9993e364706816aba3e25717850c26c9cd0d89d");
  EXPECT_EQ(lx_MD5Data(StringView(u"abc")), lx_MD5Data(DataView(dataFromBytes("abc"))));
  EXPECT_EQ(lx_SHA1Data(StringView(u"é")), lx_SHA1Hash(dataFromBytes("\xC3\xA9")));
}

TEST(StringDigests, HashWithAlgorithmDigestsTheWholeString) {
  EXPECT_EQ(lx_hashWithAlgorithm(u"", 2),
            u"e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  EXPECT_EQ(lx_hashWithAlgorithm(u"abc", 0), u"900150983cd24fb0d6963f7d28e17f72");
  EXPECT_NE(lx_hashWithAlgorithm(String(u"abc\0d", 5), 1), lx_hashWithAlgorithm(u"abc", 1));
  EXPECT_EQ(lx_hashWithAlgorithm(u"abc", 3), std::nullopt);
  EXPECT_EQ(lx_hashWithAlgorithm(u"abc", -1), std::nullopt);
}

}  // namespace
}  // namespace lx
