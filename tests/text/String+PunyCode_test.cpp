#include <gtest/gtest.h>

#include "vantorcore/text/String+PunyCode.h"

namespace lx {
namespace {

TEST(PunyCodeString, ConvertsAfterTheSchemeAndWWW) {
  struct Case {
    const char16_t* in;
    const char16_t* out;
  } cases[] = {
      {u"münchen", u"xn--mnchen-3ya"},
      {u"http://www.münchen", u"http://www.xn--mnchen-3ya"},
      {u"HTTP://WWW.www.bücher", u"HTTP://WWW.www.xn--bcher-kva"},
      {u"https://bücher.de", u"https://xn--bcher-kva.de"},
      {u"xn--mnchen-3ya", u"xn--mnchen-3ya"},
      {u"a.b", u"a.b"},
      {u"", u""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.in));
    EXPECT_EQ(lx_punyCode(c.in), c.out);
  }
}

TEST(PunyCodeString, UnconvertibleTextComesBackUnchanged) {
  const String tooLong = String(70, u'ü');  // a label over 63 characters
  EXPECT_EQ(lx_punyCode(tooLong), tooLong);
  const String lone{u'a', char16_t(0xD800), u'b'};
  EXPECT_EQ(lx_punyCode(lone), lone);
}

TEST(PunyCodeURLString, KeepsSchemePortAndPath) {
  auto url = lx_URLWithString(StringView(u"http://bücher:8080/p?q=1"));
  ASSERT_TRUE(url);
  EXPECT_EQ(url->absoluteString(), u"http://xn--bcher-kva:8080/p?q=1");
  EXPECT_EQ(url->host(), u"xn--bcher-kva");
  EXPECT_EQ(url->port(), 8080);
  EXPECT_EQ(url->path(), u"/p");
}

TEST(PunyCodeURLString, UserPartLandsBeforeTheScheme) {
  // 'user@http://host/' is not a URL reference, so the usual case is absent.
  EXPECT_FALSE(lx_URLWithString(StringView(u"http://user@host/")));
  // A "scheme part" without a real scheme shows the order: user, scheme, host.
  auto url = lx_URLWithString(StringView(u"/a://u@bücher/p"));
  ASSERT_TRUE(url);
  EXPECT_EQ(url->relativeString(), u"u@/a://xn--bcher-kva/p");
  EXPECT_FALSE(lx_URLWithString(std::nullopt));
  EXPECT_FALSE(lx_URLWithString(StringView(u"http://a b/")));
}

TEST(PunyCodeURL, ReplacesTheHost) {
  auto url = URL::URLWithString(u"http://m%C3%BCnchen.de:81/x?y#z");
  ASSERT_TRUE(url);
  EXPECT_EQ(lx_punyCode(*url).absoluteString(), u"http://xn--mnchen-3ya.de:81/x?y#z");
  auto ascii = URL::URLWithString(u"http://example.com/");
  EXPECT_EQ(lx_punyCode(*ascii), *ascii);
}

TEST(PunyCodeURL, FileURLsAndRelativeURLs) {
  const URL file = URL::fileURLWithPath(u"/tmp/münchen");
  EXPECT_EQ(lx_punyCode(file), file);
  auto relative = URL::URLWithString(u"p", URL::URLWithString(u"http://b%C3%BCcher/a/"));
  ASSERT_TRUE(relative);
  EXPECT_EQ(lx_punyCode(*relative).absoluteString(), u"http://xn--bcher-kva/a/p");
}

TEST(IsVolume, OneNameBelowVolumes) {
  EXPECT_TRUE(lx_isVolume(URL::fileURLWithPath(u"/Volumes/Data")));
  EXPECT_FALSE(lx_isVolume(URL::fileURLWithPath(u"/Volumes/Data/x")));
  EXPECT_FALSE(lx_isVolume(URL::fileURLWithPath(u"/home")));
}

}  // namespace
}  // namespace lx
