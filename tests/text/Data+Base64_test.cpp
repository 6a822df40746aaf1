#include <gtest/gtest.h>

#include <random>

#include "vantorcore/text/Data+Base64.h"

namespace lx {
namespace {

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
    EXPECT_EQ(lx_base64String(dataFromBytes(v.plain)), v.base64);
    EXPECT_EQ(lx_base32String(dataFromBytes(v.plain)), v.base32);
    EXPECT_EQ(lx_base16String(dataFromBytes(v.plain)), v.base16);
    EXPECT_EQ(lx_dataWithBase64String(v.base64), dataFromBytes(v.plain));
    EXPECT_EQ(lx_dataWithBase32String(v.base32), dataFromBytes(v.plain));
    EXPECT_EQ(lx_dataWithBase16String(v.base16), dataFromBytes(v.plain));
  }
}

// Base 64 skips strangers but checks its groups; base 32 and base 16 take
// nothing outside their alphabet (base 16 in either case).
TEST(BinaryTextDecoding, MalformedFormsAreRefused) {
  const auto b64 = lx_dataWithBase64String, b32 = lx_dataWithBase32String,
             b16 = lx_dataWithBase16String;
  struct Case {
    std::optional<Data> (*decode)(StringView);
    const char16_t* text;
    std::optional<std::string> plain;
  } cases[] = {
      {b64, u"Zm 9v\r\n", "foo"},
      {b64, u"Zm9v\nYmFy", "foobar"},
      {b64, u"Zg=\n=", "f"},
      {b64, u"Zg==\n", "f"},
      {b64, u"Zé9v", std::nullopt},
      {b64, u"Zm9vü", "foo"},
      {b64, u"Zg", std::nullopt},
      {b64, u"Z", std::nullopt},
      {b64, u"Z===", std::nullopt},
      {b64, u"Zg=", std::nullopt},
      {b64, u"Zg==Zg==", std::nullopt},
      {b64, u"Zg===", std::nullopt},
      {b64, u"=Zg=", std::nullopt},
      {b64, u"!!", ""},
      {b32, u"MZXQ====", "fo"},
      {b32, u"mzxw6===", std::nullopt},          // lower case
      {b32, u"MZXW6YQ", std::nullopt},           // length not a multiple of 8
      {b32, u"MZXW6Y==", std::nullopt},          // two "="
      {b32, u"M=======", std::nullopt},          // seven "="
      {b32, u"MZ=W6===", std::nullopt},          // "=" before the closing run
      {b32, u"MY======MY======", std::nullopt},  // padding inside
      {b32, u"MZXW6YT1", std::nullopt},          // '1' is not in the alphabet
      {b32, u"MZXW 6YT", std::nullopt},          // nor is a space
      {b16, u"0aFF", "\x0A\xFF"},
      {b16, u"abc", std::nullopt},
      {b16, u"0g", std::nullopt},
      {b16, u"0a ff", std::nullopt},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.text));
    const auto decoded = c.decode(c.text);
    ASSERT_EQ(decoded.has_value(), c.plain.has_value());
    if (decoded) {
      EXPECT_EQ(*decoded, dataFromBytes(*c.plain));
    }
  }
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
