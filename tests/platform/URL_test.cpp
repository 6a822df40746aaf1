#include "vantorcore/platform/URL.h"

#include <gtest/gtest.h>

#include "vantorcore/platform/PercentEncoding.h"
#include "vantorcore/platform/URLComponents.h"

namespace lx {
namespace {

TEST(URLParsing, SplitsEveryPart) {
  auto url = URL::URLWithString(u"HTTP://u%20x:p@Host:8/a/b%2Fc/?q=1#f");
  ASSERT_TRUE(url);
  EXPECT_EQ(url->scheme(), u"HTTP");
  EXPECT_EQ(url->user(), u"u x");
  EXPECT_EQ(url->password(), u"p");
  EXPECT_EQ(url->host(), u"Host");
  EXPECT_EQ(url->port(), 8);
  EXPECT_EQ(url->path(), u"/a/b/c");
  EXPECT_EQ(url->percentEncodedPath(), u"/a/b%2Fc/");
  EXPECT_TRUE(url->hasDirectoryPath());
  EXPECT_EQ(url->query(), u"q=1");
  EXPECT_EQ(url->fragment(), u"f");
  EXPECT_FALSE(url->isFileURL());
  EXPECT_EQ(URL::URLWithString(u"http://[::1]:80/")->host(), u"::1");
}

TEST(URLParsing, AbsentPartsAreAbsent) {
  auto url = URL::URLWithString(u"mailto:a@b");
  ASSERT_TRUE(url);
  EXPECT_EQ(url->scheme(), u"mailto");
  EXPECT_EQ(url->host(), std::nullopt);
  EXPECT_EQ(url->user(), std::nullopt);
  EXPECT_EQ(url->port(), std::nullopt);
  EXPECT_EQ(url->query(), std::nullopt);
  EXPECT_EQ(url->path(), u"a@b");
}

TEST(URLParsing, RejectsText) {
  const char16_t* cases[] = {u"a b", u"http://h/%zz", u"http://bücher.de/", u"http://[::1/",
                             u"http://h/a b"};
  for (const char16_t* text : cases) {
    SCOPED_TRACE(toUTF8(text));
    EXPECT_FALSE(URL::URLWithString(text));
  }
  EXPECT_FALSE(URL::URLWithString(String(1, char16_t(0xD800))));
}

TEST(URLResolving, RelativeToBase) {
  auto base = URL::URLWithString(u"http://h/a/b?x");
  struct Case {
    const char16_t* ref;
    const char16_t* absolute;
  } cases[] = {
      {u"c/d", u"http://h/a/c/d"},       {u"../c", u"http://h/c"},     {u"?y", u"http://h/a/b?y"},
      {u"//other/p", u"http://other/p"}, {u"ftp://x/y", u"ftp://x/y"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.ref));
    auto url = URL::URLWithString(c.ref, base);
    ASSERT_TRUE(url);
    EXPECT_EQ(url->absoluteString(), c.absolute);
    EXPECT_EQ(url->relativeString(), c.ref);
    EXPECT_EQ(url->baseURL(), base);
  }
}

TEST(URLFiles, FileURLWithPath) {
  auto url = URL::fileURLWithPath(u"/tmp/a b/ü");
  EXPECT_EQ(url.absoluteString(), u"file:///tmp/a%20b/%C3%BC");
  EXPECT_TRUE(url.isFileURL());
  EXPECT_EQ(url.path(), u"/tmp/a b/ü");
  EXPECT_EQ(url.lastPathComponent(), u"ü");
  EXPECT_EQ(URL::fileURLWithPath(u"/tmp", true).absoluteString(), u"file:///tmp/");
  EXPECT_EQ(URL::fileURLWithPath(u"/tmp", true).path(), u"/tmp");
  EXPECT_TRUE(URL::URLWithString(u"FILE:///x")->isFileURL());
  EXPECT_TRUE(URL::fileURLWithPath(u"relative").path().starts_with(u"/"));
  EXPECT_EQ(
      URL::fileURLWithPath(u"/tmp").URLByAppendingPathComponent(u"a?b", true).absoluteString(),
      u"file:///tmp/a%3Fb/");
}

TEST(URLComponentsTest, RoundTripsAndEditsParts) {
  auto c = URLComponents::componentsWithString(u"http://u:p@h:81/p%20q?a=1&b&c=x%20y#f");
  ASSERT_TRUE(c);
  EXPECT_EQ(c->path(), u"/p q");
  EXPECT_EQ(c->percentEncodedPath(), u"/p%20q");
  EXPECT_EQ(c->string(), u"http://u:p@h:81/p%20q?a=1&b&c=x%20y#f");
  auto items = c->queryItems();
  ASSERT_TRUE(items);
  const std::vector<URLQueryItem> expected = {{u"a", u"1"}, {u"b", std::nullopt}, {u"c", u"x y"}};
  EXPECT_EQ(*items, expected);
  c->setHost(u"bü cher");
  EXPECT_EQ(c->percentEncodedHost(), u"b%C3%BC%20cher");
  c->setQueryItems(std::vector<URLQueryItem>{{u"k", u"a&b=c d"}});
  EXPECT_EQ(c->percentEncodedQuery(), u"k=a%26b%3Dc%20d");
  c->setFragment(std::nullopt);
  c->setPort(std::nullopt);
  EXPECT_EQ(c->string(), u"http://u:p@b%C3%BC%20cher/p%20q?k=a%26b%3Dc%20d");
}

TEST(URLComponentsTest, PathMustFitTheAuthority) {
  URLComponents c;
  c.setScheme(u"http");
  c.setHost(u"h");
  c.setPath(u"a");
  EXPECT_FALSE(c.string());
  EXPECT_FALSE(c.URL());
  c.setPath(u"/a");
  EXPECT_EQ(c.URL()->absoluteString(), u"http://h/a");
  URLComponents noAuthority;
  noAuthority.setPath(u"//a");
  EXPECT_FALSE(noAuthority.string());
}

TEST(URLComponentsTest, ResolvingAgainstBase) {
  auto url = URL::URLWithString(u"d", URL::URLWithString(u"http://h/a/"));
  EXPECT_EQ(URLComponents::componentsWithURL(*url, true)->host(), u"h");
  EXPECT_EQ(URLComponents::componentsWithURL(*url, false)->host(), std::nullopt);
  EXPECT_EQ(URLComponents::componentsWithURL(*url, false)->path(), u"d");
}

TEST(PercentEncodingTest, EncodesOutsideTheSet) {
  struct Case {
    const char16_t* text;
    const URLAllowedSet* set;
    const char16_t* encoded;
  } cases[] = {
      {u"a b/ü;?", &kURLPathAllowedCharacterSet, u"a%20b/%C3%BC%3B%3F"},
      {u"a b/ü;?", &kURLQueryAllowedCharacterSet, u"a%20b/%C3%BC;?"},
      {u"u:@", &kURLUserAllowedCharacterSet, u"u%3A%40"},
      {u"[::1]", &kURLHostAllowedCharacterSet, u"[::1]"},
      {u"%", &kURLFragmentAllowedCharacterSet, u"%25"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.text));
    EXPECT_EQ(stringByAddingPercentEncoding(c.text, *c.set), c.encoded);
  }
  EXPECT_FALSE(
      stringByAddingPercentEncoding(String(1, char16_t(0xDC00)), kURLPathAllowedCharacterSet));
}

TEST(PercentEncodingTest, Decoding) {
  struct Case {
    const char16_t* text;
    std::optional<String> decoded;
  } cases[] = {
      {u"a%20b", u"a b"},     {u"%C3%bc", u"ü"},       {u"", u""},
      {u"%", std::nullopt},   {u"%2", std::nullopt},   {u"%zz", std::nullopt},
      {u"%C3", std::nullopt}, {u"100%", std::nullopt},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.text));
    EXPECT_EQ(stringByRemovingPercentEncoding(c.text), c.decoded);
  }
}

}  // namespace
}  // namespace lx
