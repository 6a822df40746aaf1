#include <gtest/gtest.h>

#include "vantorcore/text/String+URLEncode.h"
#include "vantorcore/text/URLComponents+URLEncode.h"

namespace lx {
namespace {

TEST(PercentEncodingVariants, ExactAllowedSets) {
  struct Case {
    const char* name;
    String (*encode)(StringView);
    const char16_t* in;
    const char16_t* out;
  } cases[] = {
      {"legacy", lx_stringByEncodingURL, u"a b?c=d&e+f", u"a%20b%3Fc%3Dd%26e%2Bf"},
      {"legacy keeps URL punctuation", lx_stringByEncodingURL, u"http://h/p;x@y#z!$'()*,~",
       u"http://h/p;x@y#z!$'()*,~"},
      {"legacy escapes the unsafe", lx_stringByEncodingURL, u"%\"<>[\\]^`{|}\x7f",
       u"%25%22%3C%3E%5B%5C%5D%5E%60%7B%7C%7D%7F"},
      {"legacy composes first", lx_stringByEncodingURL, u"e\u0301", u"%C3%A9"},
      {"path", lx_stringByEncodingPathURL, u"/a b/c;d?e&=+@:", u"/a%20b/c%3Bd%3Fe&=+@:"},
      {"decomposed", lx_decomposedStringByEncodingURL, u"a?b,é", u"%61?%62,%65%CC%81"},
      {"slashes", lx_stringByEncodingPathURLWithSlashes, u"a/b?&=+,-", u"%61/%62?&=+,%2D"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(c.encode(c.in), c.out);
  }
}

TEST(PercentEncodingVariants, GivenCharacters) {
  EXPECT_EQ(lx_stringByEncodingURLWithAllowedCharacters(u"a-b c", u"ab"), u"a%2Db%20%63");
  EXPECT_EQ(lx_stringByEncodingURLWithAllowedCharacters(u"ü!😀", u"ü😀"), u"ü%21😀");
  EXPECT_EQ(lx_stringByEncodingURLWithAllowedCharacters(String{u'a', char16_t(0xD800)},
                                                        String{u'a', char16_t(0xD800)}),
            u"a%EF%BF%BD");
}

TEST(PercentDecoding, InvalidEscapesAreAbsent) {
  EXPECT_EQ(lx_stringByDecodingURL(u"a%20b+c"), u"a b+c");
  EXPECT_EQ(lx_stringByDecodingURL(u"%"), std::nullopt);
  EXPECT_EQ(lx_stringByDecodingURL(u"%4"), std::nullopt);
  EXPECT_EQ(lx_stringByDecodingURL(u"%E2%82"), std::nullopt);
  EXPECT_EQ(lx_stringByDecodingURL(u"%e2%82%ac"), u"€");
}

TEST(XMLEscaping, FiveEntitiesNothingElse) {
  EXPECT_EQ(lx_stringByEscapingXMLEntities(u"a<b & \"c\""), u"a&lt;b &amp; &quot;c&quot;");
  EXPECT_EQ(lx_stringByEscapingXMLEntities(u"'>\x01"), u"&apos;&gt;\x01");
}

TEST(AuthorityPath, FitsThePathToTheAuthority) {
  struct Case {
    const char* name;
    bool withUser;
    std::optional<int> port;
    const char16_t* path;
    const char16_t* result;
  } cases[] = {
      {"plain relative", false, std::nullopt, u"a/b", u"/a/b"},
      {"plain empty", false, std::nullopt, u"", u""},
      {"plain absolute", false, std::nullopt, u"/a", u"/a"},
      {"port zero counts as none", false, 0, u"a", u"/a"},
      {"user, double slash", true, std::nullopt, u"//a", u"a"},
      {"user, relative", true, std::nullopt, u"a", u"a"},
      {"port, double slash", false, 8080, u"//a/b", u"a/b"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    URLComponents components;
    if (c.withUser) components.setUser(u"u");
    components.setPort(c.port);
    lx_setAuthorityPath(components, c.path);
    EXPECT_EQ(components.path(), c.result);
  }
}

}  // namespace
}  // namespace lx
