#include "vantorcore/xml/LXXMLNode.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <thread>

#include "vantorcore/xml/LXXMLDocument.h"
#include "vantorcore/xml/LXXPathResult.h"
#include "xml/XMLTestSupport.h"

namespace lx {
namespace {

const LXXMLNamespaces kNamespaces{
    {u"h", u"http://www.w3.org/1999/xhtml"},
    {u"dc", u"http://purl.org/dc/elements/1.1/"},
    {u"content", u"http://purl.org/rss/1.0/modules/content/"},
    {u"svg", u"http://www.w3.org/2000/svg"},
    {u"xlink", u"http://www.w3.org/1999/xlink"},
};

struct XPathCase {
  const char* document;
  const char16_t* expression;
  LXXPathResult::Type type;
  const char* stringValue;  // XPath string() of the result
  double count;             // node count, or the number of a number result
};

constexpr auto kNodes = LXXPathResult::Type::NodeSet;
constexpr auto kString = LXXPathResult::Type::String;
constexpr auto kNumber = LXXPathResult::Type::Number;
constexpr auto kBoolean = LXXPathResult::Type::Boolean;

const XPathCase kXPathCases[] = {
    {"page.xhtml", u"count(//h:li)", kNumber, "5", 5},
    {"page.xhtml", u"//li", kNodes, "", 0},  // the default namespace needs a prefix
    {"page.xhtml", u"string(/h:html/h:head/h:title)", kString, "Field notes", 0},
    {"page.xhtml", u"//h:a/@href", kNodes, "/one", 5},
    {"page.xhtml", u"//h:li[last()]/h:a/text()", kNodes, "Five", 1},
    {"page.xhtml", u"boolean(//h:table)", kBoolean, "true", 0},
    {"page.xhtml", u"//h:a[@title]/@title", kNodes, "it's \"four\"", 1},
    {"page.xhtml", u"/h:html/@xml:lang", kNodes, "en", 1},
    {"page.xhtml", u"sum(//h:td)", kNumber, "21", 21},
    {"feed.rss", u"/rss/channel/title", kNodes, "Harbour news", 1},
    {"feed.rss", u"string(/rss/channel/description)", kString, "Ships in & out", 0},
    {"feed.rss", u"//item[dc:creator='K. Osei']/title", kNodes, "Dredging this week", 1},
    {"feed.rss", u"count(//item[category='arrivals'])", kNumber, "2", 2},
    {"feed.rss", u"string(//content:encoded)", kString, "<p>Berths 3&4 closed.</p>", 0},
    {"feed.rss", u"//item[not(dc:creator)]/link", kNodes, "https://harbour.example/ferry", 1},
    {"feed.rss", u"count(//nothing) = 0", kBoolean, "true", 0},
    {"feed.rss", u"1 div 0", kNumber, "Infinity", INFINITY},
    {"drawing.svg", u"//svg:use/@xlink:href", kNodes, "#scene", 1},
    {"drawing.svg", u"name(//svg:use/@*[1])", kString, "xlink:href", 0},
    {"drawing.svg", u"//svg:*[contains(@class,'shape')]", kNodes, "", 2},
    {"drawing.svg", u"/svg:svg/namespace::*", kNodes, "http://www.w3.org/XML/1998/namespace", 3},
    {"drawing.svg", u"number(/svg:svg/@width) * 2", kNumber, "240", 240},
};

TEST(XPathQueries, AnswerOnRealDocuments) {
  for (const XPathCase& row : kXPathCases) {
    SCOPED_TRACE(std::string(row.document) + " " + toUTF8(row.expression));
    const LXXMLDocument document = test::sampleDocument(row.document);
    ErrorPtr error;
    const auto result = document.evaluateXPath(row.expression, kNamespaces, &error);
    ASSERT_TRUE(result) << toUTF8(error->localizedDescription());
    EXPECT_EQ(result->type(), row.type);
    EXPECT_EQ(toUTF8(result->stringValue()), row.stringValue);
    if (row.type == kNodes) {
      EXPECT_EQ(result->nodes().size(), row.count);
    }
    if (row.type == kNumber) {
      EXPECT_EQ(result->numberValue(), row.count);
    }
  }
}

TEST(XPathQueries, RefuseBadExpressions) {
  const LXXMLDocument feed = test::sampleDocument("feed.rss");
  const struct {
    const char16_t* expression;
    const char* reason;
  } rows[] = {
      {u"", "Invalid expression"},
      {u"//[", "Invalid expression"},
      {u"count(", "Invalid number of arguments"},
      {u"//x:item", "Undefined namespace prefix"},
      {u"nosuch()", "Unregistered function"},
      {u"count(1)", "Invalid type"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(toUTF8(row.expression));
    ErrorPtr error;
    EXPECT_FALSE(feed.evaluateXPath(row.expression, {}, &error));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), LXXMLErrorInvalidXPath);
    const std::string description = toUTF8(error->localizedDescription());
    EXPECT_NE(description.find(row.reason), std::string::npos) << description;
  }
  ErrorPtr error;
  EXPECT_FALSE(feed.nodesForXPath(u"count(//item)", {}, &error));
  EXPECT_EQ(error->code(), LXXMLErrorInvalidXPath);
  EXPECT_FALSE(feed.evaluateXPath(u"//a:b", {{u"", u"urn:x"}}, &error));
}

TEST(XPathResults, ConvertByXPathRules) {
  const struct {
    LXXPathResult result;
    const char* string;
    double number;
    bool boolean;
  } rows[] = {
      {LXXPathResult(String(u" 12 ")), " 12 ", 12, true},
      {LXXPathResult(String()), "", NAN, false},
      {LXXPathResult(0.5), "0.5", 0.5, true},
      {LXXPathResult(0.0), "0", 0, false},
      {LXXPathResult(true), "true", 1, true},
      {LXXPathResult(std::vector<LXXMLNode>{}), "", NAN, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.string);
    EXPECT_EQ(toUTF8(row.result.stringValue()), row.string);
    if (std::isnan(row.number))
      EXPECT_TRUE(std::isnan(row.result.numberValue()));
    else
      EXPECT_EQ(row.result.numberValue(), row.number);
    EXPECT_EQ(row.result.booleanValue(), row.boolean);
  }
}

TEST(XMLNodes, DescribeThemselves) {
  const LXXMLDocument drawing = test::sampleDocument("drawing.svg");
  const auto use = drawing.nodesForXPath(u"//svg:use", kNamespaces);
  ASSERT_TRUE(use && use->size() == 1);
  const LXXMLElement element = *use->front().asElement();
  EXPECT_EQ(element.kind(), LXXMLNodeKind::Element);
  EXPECT_EQ(element.name(), u"use");
  EXPECT_EQ(element.namespaceURI(), u"http://www.w3.org/2000/svg");
  EXPECT_EQ(element.prefix(), std::nullopt);
  EXPECT_EQ(element.lineNumber(), 10);
  EXPECT_EQ(element.attributeNamed(u"xlink:href"), u"#scene");
  EXPECT_EQ(element.attributeNamed(u"href", u"http://www.w3.org/1999/xlink"), u"#scene");
  EXPECT_EQ(element.attributeNamed(u"href"), std::nullopt);
  const std::vector<LXXMLAttribute> expected{
      {u"xlink:href", u"href", u"http://www.w3.org/1999/xlink", u"#scene"},
      {u"x", u"x", std::nullopt, u"5"},
  };
  EXPECT_EQ(element.attributes(), expected);
  EXPECT_EQ(element.parent()->name(), u"g");
  EXPECT_EQ(element.XMLString(), u"<use xlink:href=\"#scene\" x=\"5\"/>");

  const auto href = drawing.nodesForXPath(u"//svg:use/@xlink:href", kNamespaces);
  EXPECT_EQ(href->front().kind(), LXXMLNodeKind::Attribute);
  EXPECT_EQ(href->front().prefix(), u"xlink");
  EXPECT_EQ(href->front().parent(), use->front());
  EXPECT_TRUE(href->front().children().empty());

  const auto root = drawing.rootElement();
  EXPECT_EQ(root->parent()->kind(), LXXMLNodeKind::Document);
  EXPECT_EQ(root->parent()->name(), u"#document");
  EXPECT_EQ(drawing.parent(), std::nullopt);
  EXPECT_EQ(root->elementChildren().size(), 2u);
  EXPECT_EQ(root->children().size(), 5u);  // white space between them counts

  const auto namespaces = drawing.nodesForXPath(u"/svg:svg/namespace::xlink", kNamespaces);
  ASSERT_EQ(namespaces->size(), 1u);
  EXPECT_EQ(namespaces->front().kind(), LXXMLNodeKind::Namespace);
  EXPECT_EQ(namespaces->front().name(), u"xlink");
  EXPECT_EQ(namespaces->front().stringValue(), u"http://www.w3.org/1999/xlink");
  EXPECT_EQ(namespaces->front().parent(), LXXMLNode(*root));
}

TEST(XMLNodes, TextKindsOfTheFeed) {
  const LXXMLDocument feed = test::sampleDocument("feed.rss");
  const struct {
    const char16_t* expression;
    LXXMLNodeKind kind;
    const char16_t* name;
  } rows[] = {
      {u"//title[1]/text()", LXXMLNodeKind::Text, u"#text"},
      {u"//content:encoded/node()", LXXMLNodeKind::CDATA, u"#cdata-section"},
      {u"//dc:creator", LXXMLNodeKind::Element, u"dc:creator"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(toUTF8(row.expression));
    const auto nodes = feed.nodesForXPath(row.expression, kNamespaces);
    ASSERT_TRUE(nodes && !nodes->empty());
    EXPECT_EQ(nodes->front().kind(), row.kind);
    EXPECT_EQ(nodes->front().name(), row.name);
  }
}

TEST(XMLNodes, KeepTheirDocumentAlive) {
  std::vector<LXXMLNode> titles;
  {
    const LXXMLDocument feed = test::sampleDocument("feed.rss");
    titles = *feed.nodesForXPath(u"//item/title");
  }
  ASSERT_EQ(titles.size(), 3u);
  EXPECT_EQ(titles[2].stringValue(), u"Ferry timetable");
  EXPECT_EQ(titles[2].document().rootElement()->name(), u"rss");
  EXPECT_EQ(titles[0].nodesForXPath(u"../link")->front().stringValue(),
            u"https://harbour.example/tall-ship");
}

// A fresh document builds its query indexes on the first query, whichever
// thread asks first; every thread must then see them whole.
TEST(XMLNodes, ThreadsQueryAFreshDocumentAtOnce) {
  for (const int threads : {1, 2, 8}) {
    SCOPED_TRACE(threads);
    const LXXMLDocument page = test::sampleDocument("page.xhtml");
    std::atomic<int> wrong{0};
    std::vector<std::thread> workers;
    for (int t = 0; t < threads; ++t) {
      workers.emplace_back([&page, &wrong, t] {
        for (int round = 0; round < 20; ++round) {
          const bool cssFirst = (t + round) % 2 == 0;
          for (int query = 0; query < 2; ++query) {
            const std::size_t found = (query == 0) == cssFirst
                                          ? page.elementsForCSSSelector(u"li.item a")->size()
                                          : page.nodesForXPath(u"//h:li/h:a", kNamespaces)->size();
            if (found != 5) ++wrong;
          }
          ErrorPtr error;
          if (page.nodesForXPath(u"//h:li[", kNamespaces, &error) || !error) ++wrong;
        }
      });
    }
    for (std::thread& worker : workers) worker.join();
    EXPECT_EQ(wrong.load(), 0);
  }
}

}  // namespace
}  // namespace lx
