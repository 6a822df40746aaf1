// The tree matcher behind elementsForCSSSelector must select exactly what the
// selector's XPath translation selects, from every node a query may start at.
#include "xml/CSSSelectorMatcher.h"

#include <gtest/gtest.h>

#include "vantorcore/xml/LXCSSSelector.h"
#include "vantorcore/xml/LXXMLDocument.h"
#include "xml/XMLTestSupport.h"

namespace lx {
namespace {

// Markup with what the matcher reads around: namespaced and prefixed
// attributes, white space of every kind in classes, comments, CDATA and
// processing instructions among siblings, and entities in values.
constexpr char16_t kTricky[] =
    u"<?xml version='1.0'?><!DOCTYPE r [<!ENTITY e 'x&#38;#38;y'>]>"
    u"<r xmlns='urn:x' xmlns:p='urn:p'>"
    u"<a id='i' class=' c&#9;d  ' p:k='v' k='w' title='&e;' lang='en-GB'>"
    u"<?pi?><b/><!--c--><b>t</b><b><![CDATA[x]]></b><b><!-- only --></b></a>"
    u"<p:a class='a b' k=''/><a class='a  b' lang='en'/><a class='a&#10;b' lang='-'/>"
    u"<s><t/></s><s/></r>";

constexpr char16_t kTagSoup[] =
    u"<DIV class=x id=top><P>one<P class='x y'>two<svg:rect/><UL><LI>a<LI>b<LI class=x>c</UL>"
    u"<TABLE><TR><TD>1<TD>2</TABLE></DIV><p id=last></p>";

const char16_t* const kSelectors[] = {
    u"*", u"a", u"b", u"s", u"t", u"p", u"li", u"td", u"div", u"DIV", u"rect", u"svg\\:rect",
    u"title", u"rect", u"a > b", u"a b", u"r a b", u"r > a > b", u"r > b", u"s t", u"s > t",
    u"b + b", u"a + a", u"b ~ b", u"a ~ s", u"s ~ a", u"p + ul", u"li + li + li",
    u"li + li + li + li",
    // Structural pseudo-classes, with the rows at the sibling count and past it.
    u"b:empty", u":empty", u"b:first-child", u":last-child", u":only-child", u"b:nth-child(2)",
    u":nth-child(2n+1)", u":nth-child(even)", u":nth-last-child(-n+2)", u"b:nth-child(4)",
    u"b:nth-child(5)", u"b:nth-last-child(4)", u"b:nth-last-child(5)", u":nth-child(0n+1)",
    u":nth-child(-2n+3)", u":nth-child(99999999)", u"li:nth-child(3n)",
    // Attributes: plain, prefixed, empty, entity-built, and every operator.
    u"[k]", u"[k=w]", u"[k='']", u"[p\\:k]", u"[p\\:k=v]", u"[id]", u"#i", u"#top", u"#last", u".c",
    u".d", u".x", u".a", u".a\\ b", u".a\\ \\ b", u"[class~=c]", u"[class~='c d']", u"[class~=y]",
    u"[lang|=en]", u"[lang|='']", u"[lang|=en-GB]", u"[title^=x]", u"[title$='&y']",
    u"[title*='&']", u"[title$=y]", u"[title='x&y']", u"[lang^='']", u"[lang$=GB]", u"[lang$=B]",
    u"[lang*=n-]", u"[LANG]",
    // Negation and lists.
    u"a:not(.c)", u":not(*)", u":not(a)", u"b:not(:empty)", u"li:not(.x):not(:first-child)",
    u"#i b:nth-child(3)", u"r > a:first-child + a", u"a, b, a > b", u"s, s t, t", u"div p, p.x",
    u"div > *", u"table td:last-child"};

std::vector<LXXMLNode> asNodes(const std::vector<LXXMLElement>& elements) {
  return {elements.begin(), elements.end()};
}

// Every selector from `scope`, by the tree walk and by its XPath.
void expectSameAsXPath(const LXXMLNode& scope, bool html) {
  for (const char16_t* selector : kSelectors) {
    SCOPED_TRACE(toUTF8(selector));
    const std::optional<std::string> xpath = LXXPathForCSSSelector(selector, html);
    ASSERT_TRUE(xpath);
    const auto expected = scope.nodesForXPath(fromUTF8(*xpath));
    const auto walked = scope.elementsForCSSSelector(selector);
    ASSERT_TRUE(expected && walked);
    EXPECT_EQ(asNodes(*walked), *expected);
  }
}

TEST(CSSSelectorMatcher, SelectsWhatTheXPathSelectsFromEveryElement) {
  const struct {
    const char* name;
    std::optional<LXXMLDocument> document;
  } documents[] = {
      {"tricky markup", LXXMLDocument::documentWithString(kTricky)},
      {"tag soup", LXXMLDocument::HTMLDocumentWithString(kTagSoup)},
      {"XHTML page", test::sampleDocument("page.xhtml")},
      {"XHTML page as HTML", test::sampleDocument("page.xhtml", /*html=*/true)},
      {"SVG drawing", test::sampleDocument("drawing.svg")},
  };
  for (const auto& row : documents) {
    SCOPED_TRACE(row.name);
    ASSERT_TRUE(row.document);
    expectSameAsXPath(*row.document, row.document->isHTML());
    const auto elements = row.document->nodesForXPath(u"//*");
    for (const LXXMLNode& element : *elements) expectSameAsXPath(element, row.document->isHTML());
  }
}

TEST(CSSSelectorMatcher, NodesWithoutChildElementsMatchNothingOrAsXPathDoes) {
  const auto document = LXXMLDocument::documentWithString(kTricky);
  ASSERT_TRUE(document);
  const struct {
    const char16_t* xpath;
    std::size_t matches;  // of "*" from there
  } rows[] = {
      {u"//*[local-name()='a']/@k", 0},   {u"//text()", 0},         {u"//comment()", 0},
      {u"//processing-instruction()", 0}, {u"/*/namespace::p", 11},  // a namespace node queries
                                                                     // from its element
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(toUTF8(row.xpath));
    const auto scopes = document->nodesForXPath(row.xpath);
    ASSERT_TRUE(scopes && !scopes->empty());
    EXPECT_EQ(scopes->front().elementsForCSSSelector(u"*")->size(), row.matches);
    expectSameAsXPath(scopes->front(), false);
  }
}

TEST(CSSSelectorMatcher, CacheServesPastItsCapacity) {
  const auto document = LXXMLDocument::documentWithString(kTricky);
  ASSERT_TRUE(document);
  for (const int count : {1024, 1025}) {
    SCOPED_TRACE(count);
    for (int i = 1; i <= count; ++i) {
      const String selector = u"b:nth-child(" + fromUTF8(std::to_string(i)) + u")";
      const auto fresh = LXXPathForCSSSelector(selector, false);
      ASSERT_EQ(LXCachedXPathForCSSSelector(selector, false), fresh);
      ASSERT_EQ(document->elementsForCSSSelector(selector)->size(), i <= 4 ? 1U : 0U);
    }
  }
}

}  // namespace
}  // namespace lx
