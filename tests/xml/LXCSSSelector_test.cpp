#include "vantorcore/xml/LXCSSSelector.h"

#include <gtest/gtest.h>

#include "vantorcore/xml/LXXMLDocument.h"
#include "xml/XMLTestSupport.h"

namespace lx {
namespace {

using Values = std::vector<std::string>;

struct SelectorCase {
  const char16_t* selector;
  Values matches;  // collapsed string values, in document order
};

// One table over the XHTML page, whose elements all sit in a default
// namespace: every selector must match by local name.
const SelectorCase kPageCases[] = {
    {u"title", {"Field notes"}},
    {u"li", {"One", "Two", "Three", "Four", "Five"}},
    {u"*#top > h1", {"Field notes"}},
    {u"#menu > li:first-child", {"One"}},
    {u"li:last-child a", {"Five"}},
    {u"li:only-child", {}},
    {u"p:empty", {""}},
    {u"li.item.selected", {"Three"}},
    {u".page.wide > p.note", {"Loose paragraph."}},
    {u"div.note p", {"First note.", "Second note."}},
    {u"div.note>p:not(.aside)", {"First note."}},
    {u"li:not(.item)", {}},
    {u"li:not(.first):not(.last)", {"Two", "Three", "Four"}},
    {u"li:not(*)", {}},
    {u"h1 + ul > li.first", {"One"}},
    {u"h1 + p", {}},
    {u"h1 ~ p", {"Loose paragraph.", ""}},
    {u"li + li + li + li + li", {"Five"}},
    // an+b, with the rows at the list's length and one past it.
    {u"li:nth-child(2n+1)", {"One", "Three", "Five"}},
    {u"li:nth-child(odd)", {"One", "Three", "Five"}},
    {u"li:nth-child(EVEN)", {"Two", "Four"}},
    {u"li:nth-child(-n+2)", {"One", "Two"}},
    {u"li:nth-child( 3n - 1 )", {"Two", "Five"}},
    {u"li:nth-child(n)", {"One", "Two", "Three", "Four", "Five"}},
    {u"li:nth-child(5)", {"Five"}},
    {u"li:nth-child(6)", {}},
    {u"li:nth-child(0)", {}},
    {u"li:nth-child(-1)", {}},
    {u"li:nth-child(5n+5)", {"Five"}},
    {u"li:nth-child(6n+6)", {}},
    {u"li:nth-last-child(1)", {"Five"}},
    {u"li:nth-last-child(-n+2)", {"Four", "Five"}},
    {u"table tr:nth-child(2) td:nth-child(3)", {"6"}},
    {u"td:first-child, td:last-child", {"1", "3", "4", "6"}},
    {u"ul#menu li.item:nth-child(2n+2) a", {"Two", "Four"}},
    // Attribute operators.
    {u"a[title]", {"Four"}},
    {u"a[href='/one']", {"One"}},
    {u"a[href=\"/one\"]", {"One"}},
    {u"a[ href = '/one' ]", {"One"}},
    {u"a[href^='https:']", {"Two"}},
    {u"a[href$='.pdf']", {"Three"}},
    {u"a[href$=e]", {"One", "Five"}},
    {u"a[href*=hree]", {"Three"}},
    {u"a[rel~=nofollow]", {"Two"}},
    {u"a[rel~='external nofollow']", {}},
    {u"a[lang|=en]", {"One"}},
    {u"a[lang|=en-GB]", {"One"}},
    {u"a[lang|=e]", {}},
    {u"a[href^='']", {}},
    {u"a[href$='']", {}},
    {u"a[href*='']", {}},
    {u"a[title='it\\'s \"four\"']", {"Four"}},
    {u"a[title=\"it's \\\"four\\\"\"]", {"Four"}},
    // Escapes: "\6d " is "m".
    {u"#\\6d enu > li:first-child", {"One"}},
    {u"BODY > H1", {}},
};

TEST(CSSSelectorQueries, MatchTheXHTMLPageByLocalName) {
  const LXXMLDocument page = test::sampleDocument("page.xhtml");
  for (const SelectorCase& row : kPageCases) {
    SCOPED_TRACE(toUTF8(row.selector));
    ErrorPtr error;
    const auto elements = page.elementsForCSSSelector(row.selector, &error);
    ASSERT_TRUE(elements) << toUTF8(error->localizedDescription());
    EXPECT_EQ(test::collapsedValues(*elements), row.matches);
  }
}

TEST(CSSSelectorQueries, HTMLTypeNamesIgnoreCase) {
  const LXXMLDocument page = test::sampleDocument("page.xhtml", /*html=*/true);
  const SelectorCase rows[] = {
      {u"BODY > H1", {"Field notes"}},
      {u"Li.SELECTED", {}},  // classes stay case-sensitive
      {u"LI.selected", {"Three"}},
  };
  for (const SelectorCase& row : rows) {
    SCOPED_TRACE(toUTF8(row.selector));
    const auto elements = page.elementsForCSSSelector(row.selector);
    ASSERT_TRUE(elements);
    EXPECT_EQ(test::collapsedValues(*elements), row.matches);
  }
}

TEST(CSSSelectorQueries, MatchTheSVGDrawing) {
  const LXXMLDocument drawing = test::sampleDocument("drawing.svg");
  const struct {
    const char16_t* selector;
    std::vector<std::string> localNames;
  } rows[] = {
      {u"rect", {"rect", "rect"}},
      {u"g > .shape", {"circle", "rect"}},
      {u"#scene > :nth-child(2)", {"circle"}},
      {u"[xlink\\:href='#scene']", {"use"}},
      {u"linearGradient stop:last-child", {"stop"}},
      {u"svg > g text", {"text"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(toUTF8(row.selector));
    const auto elements = drawing.elementsForCSSSelector(row.selector);
    ASSERT_TRUE(elements);
    std::vector<std::string> names;
    for (const LXXMLElement& element : *elements) names.push_back(toUTF8(element.localName()));
    EXPECT_EQ(names, row.localNames);
  }
}

TEST(CSSSelectorQueries, QueryBelowAnElementOnly) {
  const LXXMLDocument page = test::sampleDocument("page.xhtml");
  const auto menu = page.elementsForCSSSelector(u"#menu");
  ASSERT_TRUE(menu && menu->size() == 1);
  EXPECT_EQ(test::collapsedValues(*menu->front().elementsForCSSSelector(u"li:nth-child(2) a")),
            Values{"Two"});
  EXPECT_TRUE(menu->front().elementsForCSSSelector(u"ul")->empty());
}

TEST(CSSSelectorQueries, CharactersXMLCannotHoldMatchNothing) {
  const LXXMLDocument page = test::sampleDocument("page.xhtml");
  for (const char16_t* selector :
       {u"#\\3 x", u"#\\0", u"a[title='\u0001']", u"a[title=\"\uFFFE\"]", u"[\\d800]"}) {
    SCOPED_TRACE(toUTF8(selector));
    ErrorPtr error;
    const auto elements = page.elementsForCSSSelector(selector, &error);
    ASSERT_TRUE(elements) << toUTF8(error->localizedDescription());
    EXPECT_TRUE(elements->empty());
  }
}

TEST(CSSSelectorCompiler, RefusesMalformedSelectors) {
  const struct {
    const char16_t* selector;
    const char* reason;
  } rows[] = {
      {u"", "Expected a selector"},
      {u"   ", "Expected a selector"},
      {u"li,", "Expected a selector"},
      {u",li", "Expected a selector"},
      {u"li >", "Expected a selector"},
      {u"li > > a", "Expected a selector"},
      {u"svg|rect", "Namespace prefixes are not supported"},
      {u"[xlink|href]", "Namespace prefixes are not supported"},
      {u"a::before", "Pseudo-elements are not supported"},
      {u"a:hover", "Unsupported pseudo-class “:hover”"},
      {u"li:nth-child(", "Expected an+b"},
      {u"li:nth-child(2n+)", "Expected a number"},
      {u"li:nth-child(2n", "Expected “)”"},
      {u"li:nth-child(first)", "Expected an+b, “odd” or “even”"},
      {u"li:nth-child(1000000000)", "Number too large"},
      {u"li:not(", "Expected a selector"},
      {u"li:not(a b)", "Expected “)” after the :not() argument"},
      {u"a[href", "Expected “]” or an attribute operator"},
      {u"a[href=", "Expected a name"},
      {u"a[href='x]", "Unterminated string"},
      {u"a[href==x]", "Expected a name"},
      {u"a[href=x y]", "Expected “]”"},
      {u"#", "Expected a name"},
      {u".1a", "Expected a name"},
      {u"a\\", "Incomplete escape"},
      {u"a$", "Unexpected “$”"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(toUTF8(row.selector));
    ErrorPtr error;
    EXPECT_FALSE(LXXPathForCSSSelector(row.selector, false, &error));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain(), LXXMLErrorDomain);
    EXPECT_EQ(error->code(), LXXMLErrorInvalidCSSSelector);
    const std::string description = toUTF8(error->localizedDescription());
    EXPECT_NE(description.find(row.reason), std::string::npos) << description;
  }
}

String repeated(std::u16string_view piece, int count, std::u16string_view separator = u"") {
  String text;
  for (int i = 0; i < count; ++i) text += String(i ? separator : u"") + String(piece);
  return text;
}

TEST(CSSSelectorCompiler, BoundsChainsAndNegations) {
  const LXXMLDocument page = test::sampleDocument("page.xhtml");
  const struct {
    String selector;
    const char* reason;  // null: accepted, and it matches nothing
  } rows[] = {
      {repeated(u"li", 256, u" > "), nullptr},
      {repeated(u"li", 257, u" > "), "More than 256 compound selectors in a row"},
      {repeated(u"*", 256, u" "), nullptr},
      {repeated(u"*", 257, u" "), "More than 256 compound selectors in a row"},
      {u"li" + repeated(u":not(", 32) + u"a" + repeated(u")", 32), nullptr},
      {u"li" + repeated(u":not(", 33) + u"a" + repeated(u")", 33),
       ":not() nested more than 32 deep"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.reason ? row.reason : "accepted");
    ErrorPtr error;
    const auto elements = page.elementsForCSSSelector(row.selector, &error);
    if (!row.reason) {
      ASSERT_TRUE(elements) << toUTF8(error->localizedDescription());
      EXPECT_TRUE(elements->empty());
      continue;
    }
    EXPECT_FALSE(elements);
    ASSERT_TRUE(error);
    EXPECT_NE(toUTF8(error->localizedDescription()).find(row.reason), std::string::npos);
  }
}

TEST(CSSSelectorCompiler, CachedAnswersMatchFreshOnesAndErrorsRepeat) {
  for (const char16_t* selector : {u"LI.item > A", u"P:nth-child(2n+1)"}) {
    const auto fresh = LXXPathForCSSSelector(selector, true);
    EXPECT_EQ(LXCachedXPathForCSSSelector(selector, true), fresh);
    EXPECT_EQ(LXCachedXPathForCSSSelector(selector, true), fresh);
    EXPECT_NE(LXCachedXPathForCSSSelector(selector, false), fresh);  // type names keep their case
  }
  for (int i = 0; i < 2; ++i) {
    ErrorPtr error;
    EXPECT_FALSE(LXCachedXPathForCSSSelector(u"li:hover", false, &error));
    EXPECT_TRUE(error);
  }
}

}  // namespace
}  // namespace lx
