#include "vantorcore/drawing/FaviconLinks.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "drawing/IconTestSupport.h"
#include "vantorcore/drawing/IconDecoder.h"

namespace lx {
namespace {

TEST(FaviconLinks, SizesAttribute) {
  const struct {
    const char16_t* sizes;
    int size;
  } rows[] = {
      {u"16x16", 16},
      {u"16x16 32x32", 32},
      {u"  48x48\t16x16\n", 48},
      {u"180X120", 180},
      {u"any", kFaviconAnySize},
      {u"16x16 ANY", kFaviconAnySize},
      {u"", 0},
      {u"big", 0},
      {u"0x0", 0},
      {u"x16", 0},
      {u"16x", 0},
      {u"-16x16", 0},
      {u"999999x1", 999999},
      {u"1000000x1", 0},  // seven digits: not a size
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(toUTF8(row.sizes));
    EXPECT_EQ(lx_faviconSizeFromSizes(row.sizes), row.size);
  }
}

struct Expected {
  const char* url;
  int size;
};

TEST(FaviconLinks, FindsResolvesAndOrdersLinks) {
  const std::string big = std::to_string(kMaximumIconSide + 1);
  const struct {
    const char* name;
    std::string html;
    const char* page;
    std::vector<Expected> links;
  } rows[] = {
      {"no links",
       "<html><head></head></html>",
       "http://a.test/x/page",
       {{"http://a.test/favicon.ico", 0}}},
      {"relative, absolute and protocol-relative",
       "<link rel=icon href=i.png><link rel=icon href='https://b.test/j.png'>"
       "<link rel=icon href='//c.test/k.png'>",
       "http://a.test/x/page",
       {{"http://a.test/x/i.png", 0},
        {"https://b.test/j.png", 0},
        {"http://c.test/k.png", 0},
        {"http://a.test/favicon.ico", 0}}},
      {"a base href",
       "<head><base href='/assets/'><link rel='shortcut icon' href='i.ico'></head>",
       "https://a.test/x/page",
       {{"https://a.test/assets/i.ico", 0}, {"https://a.test/favicon.ico", 0}}},
      {"largest suitable size first",
       "<link rel=icon href=a sizes=16x16><link rel=apple-touch-icon href=b sizes=180x180>"
       "<link rel=icon href=c><link rel=icon href=d sizes='16x16 64x64'>"
       "<link rel=icon href=e sizes=any><link rel=icon href=f sizes=" +
           big + "x" + big + "><link rel=icon href=g sizes=" + std::to_string(kMaximumIconSide) +
           "x1>",
       "http://a.test/",
       {{"http://a.test/e", kFaviconAnySize},
        {"http://a.test/g", kMaximumIconSide},
        {"http://a.test/b", 180},
        {"http://a.test/d", 64},
        {"http://a.test/a", 16},
        {"http://a.test/c", 0},
        {"http://a.test/f", kMaximumIconSide + 1},
        {"http://a.test/favicon.ico", 0}}},
      {"the default location linked already",
       "<link rel=icon href=/favicon.ico sizes=32x32>",
       "http://a.test/p",
       {{"http://a.test/favicon.ico", 32}}},
      {"rel in any case, other rels ignored",
       "<LINK REL='Shortcut ICON' HREF=a><link rel=stylesheet href=s.css>"
       "<link rel=mask-icon href=m.svg><link rel=apple-touch-icon-precomposed href=p>",
       "http://a.test/",
       {{"http://a.test/a", 0}, {"http://a.test/p", 0}, {"http://a.test/favicon.ico", 0}}},
      {"empty, blank and non-web hrefs; a data URL as it stands",
       "<link rel=icon href=''><link rel=icon href='  '>"
       "<link rel=icon href='data:image/png;base64,AA=='><link rel=icon href='ftp://f.test/i'>",
       "http://a.test/",
       {{"data:image/png;base64,AA==", 0}, {"http://a.test/favicon.ico", 0}}},
      {"href with spaces around it",
       "<link rel=icon href='  i.png '>",
       "http://a.test/",
       {{"http://a.test/i.png", 0}, {"http://a.test/favicon.ico", 0}}},
      {"not HTML",
       "{\"icon\": \"i.png\"}",
       "http://a.test:8080/api",
       {{"http://a.test:8080/favicon.ico", 0}}},
      {"empty page", "", "http://a.test/", {{"http://a.test/favicon.ico", 0}}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const auto links =
        lx_faviconLinks(test::bytes(row.html), *URL::URLWithString(fromUTF8(row.page)));
    ASSERT_EQ(links.size(), row.links.size());
    for (std::size_t i = 0; i < links.size(); ++i) {
      SCOPED_TRACE(i);
      EXPECT_EQ(toUTF8(links[i].url.absoluteString()), row.links[i].url);
      EXPECT_EQ(links[i].size, row.links[i].size);
    }
    EXPECT_EQ(links.back().kind == FaviconLinkKind::DefaultLocation, row.links.back().size == 0);
  }
}

}  // namespace
}  // namespace lx
