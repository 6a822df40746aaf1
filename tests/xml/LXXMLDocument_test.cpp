#include "vantorcore/xml/LXXMLDocument.h"

#include <gtest/gtest.h>

#include "support/TestSupport.h"
#include "vantorcore/xml/LXXPathResult.h"

namespace lx {
namespace {

std::span<const std::uint8_t> bytes(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

std::string nested(int depth, const char* open = "<a>", const char* close = "</a>") {
  std::string text;
  for (int i = 0; i < depth; ++i) text += open;
  for (int i = 0; i < depth; ++i) text += close;
  return text;
}

std::string billionLaughs() {
  std::string text = "<?xml version=\"1.0\"?><!DOCTYPE lolz [<!ENTITY lol0 \"lol\">";
  for (int i = 1; i < 10; ++i) {
    text += "<!ENTITY lol" + std::to_string(i) + " \"";
    for (int j = 0; j < 10; ++j) text += "&lol" + std::to_string(i - 1) + ";";
    text += "\">";
  }
  return text + "]><lolz>&lol9;</lolz>";
}

TEST(XMLParsing, RefusesWhatIsNotWellFormed) {
  const struct {
    std::string text;
    const char* reason;
  } rows[] = {
      {"", "empty"},
      {"<a>", "Premature end of data"},
      {"<a></b>", "mismatch"},
      {"<a x='1' x='2'/>", "redefined"},
      {"<a/><b/>", "Extra content"},
      {"<a>\xff\xfe</a>", "not proper UTF-8"},
      {"<a>\xc3</a>", "not proper UTF-8"},
      {"<a>&undeclared;</a>", "not defined"},
      {"<a>&#0;</a>", "invalid"},
      {billionLaughs(), "entity"},
      {nested(258), "Excessive depth"},
      {nested(100000), "Excessive depth"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text.substr(0, 40));
    ErrorPtr error;
    EXPECT_FALSE(LXXMLDocument::documentWithData(bytes(row.text), &error));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain(), LXXMLErrorDomain);
    EXPECT_EQ(error->code(), LXXMLErrorMalformedDocument);
    const std::string description = toUTF8(error->localizedDescription());
    EXPECT_NE(description.find(row.reason), std::string::npos) << description;
  }
}

TEST(XMLParsing, AcceptsTheLimitsAndInternalEntities) {
  const struct {
    std::string text;
    const char16_t* value;  // string value of the document
  } rows[] = {
      {nested(257, "<a>x", "</a>"), nullptr},
      {"<!DOCTYPE r [<!ENTITY n \"Ada\">]><r>&n; &amp; &#x42;</r>", u"Ada & B"},
      {"<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><r>\xe9</r>", u"\u00e9"},
      {"\xef\xbb\xbf<r>bom</r>", u"bom"},
      {"<r><![CDATA[<&>]]></r>", u"<&>"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text.substr(0, 40));
    ErrorPtr error;
    const auto document = LXXMLDocument::documentWithData(bytes(row.text), &error);
    ASSERT_TRUE(document) << toUTF8(error->localizedDescription());
    if (row.value) {
      EXPECT_EQ(document->stringValue(), row.value);
    }
  }
  const auto deepest = LXXMLDocument::documentWithData(bytes(nested(257, "<a>x", "</a>")));
  EXPECT_EQ(deepest->evaluateXPath(u"count(//a)")->numberValue(), 257);
}

TEST(XMLParsing, NeverReadsExternalEntities) {
  const auto folder = test::makeTemporaryFolder("xxe");
  const std::string secret = (folder / "secret.txt").string();
  test::writeFile(secret, "TOP-SECRET");
  const std::string url = "file://" + secret;
  const struct {
    std::string text;
    LXXMLErrorCode code;
  } rows[] = {
      {"<!DOCTYPE r [<!ENTITY x SYSTEM \"" + url + "\">]><r>&x;</r>", LXXMLErrorExternalEntity},
      {"<!DOCTYPE r [<!ENTITY x SYSTEM \"" + secret + "\">]><r a='&x;'/>",
       LXXMLErrorExternalEntity},
      {"<!DOCTYPE r [<!ENTITY % p SYSTEM \"" + url + "\"> %p;]><r/>", LXXMLErrorExternalEntity},
      {"<!DOCTYPE r [<!ENTITY x PUBLIC \"-//X\" \"http://127.0.0.1:9/x\">]><r>&x;</r>",
       LXXMLErrorExternalEntity},
      {"<!DOCTYPE r [<!ENTITY u SYSTEM \"" + url + "\" NDATA png>]><r/>", LXXMLErrorExternalEntity},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    ErrorPtr error;
    EXPECT_FALSE(LXXMLDocument::documentWithData(bytes(row.text), &error));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), row.code);
    EXPECT_EQ(toUTF8(error->localizedDescription()).find("TOP-SECRET"), std::string::npos);
  }
  // An external DTD subset is simply not loaded, so what it would declare
  // stays unknown (and empty).
  ErrorPtr error;
  const auto xhtml = LXXMLDocument::documentWithString(
      fromUTF8("<!DOCTYPE r SYSTEM \"" + url + "\"><r>kept&x;</r>"), &error);
  ASSERT_TRUE(xhtml);
  EXPECT_EQ(xhtml->stringValue(), u"kept");
  EXPECT_EQ(toUTF8(xhtml->XMLString()).find("TOP-SECRET"), std::string::npos);
}

TEST(XMLParsing, StringsAndFiles) {
  const auto text = LXXMLDocument::documentWithString(
      u"<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><r>\u00e9\u4e2d</r>");
  ASSERT_TRUE(text);
  EXPECT_EQ(text->stringValue(), u"\u00e9\u4e2d");
  ErrorPtr error;
  EXPECT_FALSE(LXXMLDocument::documentWithContentsOfFile(u"/nonexistent/x.xml", &error));
  EXPECT_EQ(error->code(), LXXMLErrorUnreadableFile);
  EXPECT_FALSE(LXXMLDocument::HTMLDocumentWithContentsOfFile(u"/", &error));
  EXPECT_EQ(error->code(), LXXMLErrorUnreadableFile);
}

TEST(HTMLParsing, AcceptsTagSoupAndDeepNesting) {
  const struct {
    std::string text;
    const char16_t* selector;
    std::size_t count;
  } rows[] = {
      {"<P CLASS=x>Hello<br>world<p>again", u"p.x", 1},
      {"<ul><li>a<li>b<li>c</ul>", u"li:nth-child(3)", 1},
      {"<div>\xff\xfe</div>", u"div", 1},
      {"<!DOCTYPE html><html><body>" + nested(100000, "<div>", "</div>"), u"div:empty", 1},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text.substr(0, 40));
    ErrorPtr error;
    const auto document = LXXMLDocument::HTMLDocumentWithData(bytes(row.text), &error);
    ASSERT_TRUE(document);
    EXPECT_TRUE(document->isHTML());
    EXPECT_EQ(document->elementsForCSSSelector(row.selector)->size(), row.count);
  }
  const auto empty = LXXMLDocument::HTMLDocumentWithData(bytes(""));
  ASSERT_TRUE(empty);
  EXPECT_EQ(empty->rootElement(), std::nullopt);
}

}  // namespace
}  // namespace lx
