#include <gtest/gtest.h>

#include <random>

#include "vantorcore/text/Data+Base64.h"

namespace lx {
namespace {

Data bytes(std::string_view s) { return dataFromBytes(s); }

// RFC 4648 section 10.
struct Vector {
  const char* plain;
  const char16_t* base64;
  const char16_t* base32;
  const char16_t* base16;
};
constexpr Vector kRFC4648[] = {
    {"", u"", u"", u""},
    {"f", u"Zg==", u"MY======", u"66"},
    {"fo", u"Zm8=", u"MZXQ====", u"666f"},
    {"foo", u"Zm9v", u"MZXW6===", u"666f6f"},
    {"foob", u"Zm9vYg==", u"MZXW6YQ=", u"666f6f62"},
    {"fooba", u"Zm9vYmE=", u"MZXW6YTB", u"666f6f6261"},
    {"foobar", u"Zm9vYmFy", u"MZXW6YTBOI======", u"666f6f626172"},
};

TEST(RFC4648, EncodesAndDecodesTheVectors) {
  for (const auto& v : kRFC4648) {
    SCOPED_TRACE(v.plain);
    EXPECT_EQ(lx_base64String(bytes(v.plain)), v.base64);
    EXPECT_EQ(lx_base32String(bytes(v.plain)), v.base32);
    EXPECT_EQ(lx_base16String(bytes(v.plain)), v.base16);
    EXPECT_EQ(lx_dataWithBase64String(v.base64), bytes(v.plain));
    EXPECT_EQ(lx_dataWithBase32String(v.base32), bytes(v.plain));
    EXPECT_EQ(lx_dataWithBase16String(v.base16), bytes(v.plain));
  }
}

TEST(Base64Decoding, SkipsStrangersAndChecksGroups) {
  struct Case {
    const char16_t* text;
    std::optional<std::string> plain;
  } cases[] = {
      {u"Zm 9v\r\n", "foo"},
      {u"Zm9v\nYmFy", "foobar"},
      {u"Zg=\n=", "f"},
      {u"Zg==\n", "f"},
      {u"Zé9v", std::nullopt},
      {u"Zm9vü", "foo"},
      {u"Zg", std::nullopt},
      {u"Z", std::nullopt},
      {u"Z===", std::nullopt},
      {u"Zg=", std::nullopt},
      {u"Zg==Zg==", std::nullopt},
      {u"Zg===", std::nullopt},
      {u"=Zg=", std::nullopt},
      {u"!!", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.text));
    const auto decoded = lx_dataWithBase64String(c.text);
    ASSERT_EQ(decoded.has_value(), c.plain.has_value());
    if (decoded) {
      EXPECT_EQ(*decoded, bytes(*c.plain));
    }
  }
}

TEST(Base32Decoding, RejectsEveryMalformedForm) {
  const char16_t* cases[] = {
      u"mzxw6===",          // lower case
      u"MZXW6YQ",           // length not a multiple of 8
      u"MZXW6Y==",          // two "="
      u"M=======",          // seven "="
      u"MZ=W6===",          // "=" before the closing run
      u"MY======MY======",  // padding inside
      u"MZXW6YT1",          // '1' is not in the alphabet
      u"MZXW 6YT",          // nor is a space
  };
  for (const char16_t* text : cases) {
    SCOPED_TRACE(toUTF8(text));
    EXPECT_EQ(lx_dataWithBase32String(text), std::nullopt);
  }
  EXPECT_EQ(lx_dataWithBase32String(u"MZXQ===="), bytes("fo"));
}

TEST(Base16Decoding, EitherCaseNothingElse) {
  EXPECT_EQ(lx_dataWithBase16String(u"0aFF"), (Data{0x0A, 0xFF}));
  EXPECT_EQ(lx_dataWithBase16String(u"abc"), std::nullopt);
  EXPECT_EQ(lx_dataWithBase16String(u"0g"), std::nullopt);
  EXPECT_EQ(lx_dataWithBase16String(u"0a ff"), std::nullopt);
}

TEST(BinaryText, RoundTripsEveryLengthAndChunking) {
  std::mt19937 random(7);
  for (std::size_t n = 0; n < 70; ++n) {
    Data data(n);
    for (auto& b : data) b = static_cast<std::uint8_t>(random());
    for (auto encoding :
         {BinaryTextEncoding::Base64, BinaryTextEncoding::Base32, BinaryTextEncoding::Base16}) {
      SCOPED_TRACE(testing::Message() << n << " bytes, encoding " << static_cast<int>(encoding));
      std::string text(encodedBinaryTextLength(encoding, n), '\0');
      encodeBinaryText(encoding, data, text.data());
      for (std::size_t chunk : {std::size_t{1}, std::size_t{3}, std::size_t{7}, text.size() + 1}) {
        BinaryTextDecoder decoder(encoding);
        Data out;
        for (std::size_t at = 0; at < text.size(); at += chunk) {
          ASSERT_TRUE(decoder.update(std::string_view(text).substr(at, chunk), out));
        }
        ASSERT_TRUE(decoder.finish(out));
        EXPECT_EQ(out, data);
      }
    }
  }
}

}  // namespace
}  // namespace lx
