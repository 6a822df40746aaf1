#include "vantorcore/xml/LXXMLDocument.h"

#include <libxml/HTMLparser.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/xpath.h>

#include <mutex>

#include "vantorcore/platform/FileIO.h"
#include "xml/XMLDocumentStorage.h"

namespace lx {

namespace detail {

ErrorPtr makeXMLError(LXXMLErrorCode code, std::string_view description) {
  return Error::make(String(LXXMLErrorDomain), code,
                     Dictionary{{String(NSLocalizedDescriptionKey), fromUTF8(description)}});
}

LXXMLDocument XMLDocumentStorage::adopt(xmlDocPtr doc, bool html) {
  xmlXPathOrderDocElems(doc);
  return LXXMLDocument(std::make_shared<const XMLDocumentStorage>(doc, html));
}

String stringFromXML(const xmlChar* text) {
  return text ? fromUTF8(reinterpret_cast<const char*>(text)) : String();
}

}  // namespace detail

namespace {

constexpr int kXMLOptions = XML_PARSE_NOENT | XML_PARSE_NONET | XML_PARSE_NOERROR |
                            XML_PARSE_NOWARNING | XML_PARSE_BIG_LINES;
constexpr int kHTMLOptions =
    HTML_PARSE_NONET | HTML_PARSE_NOERROR | HTML_PARSE_NOWARNING | HTML_PARSE_RECOVER;

void initialiseLibxml() {
  static std::once_flag once;
  std::call_once(once, [] { xmlInitParser(); });
}

// What the entity-declaration hook found, reached through the parser
// context's private pointer.
struct EntityGuard {
  std::string refusedName;
  std::string refusedSystemID;
};

// Internal entities are expanded (within libxml2's amplification limits);
// the first external one stops the parse before anything could load it.
void declareEntity(void* context, const xmlChar* name, int type, const xmlChar* publicID,
                   const xmlChar* systemID, xmlChar* content) {
  auto* parser = static_cast<xmlParserCtxtPtr>(context);
  if (type == XML_EXTERNAL_GENERAL_PARSED_ENTITY || type == XML_EXTERNAL_GENERAL_UNPARSED_ENTITY ||
      type == XML_EXTERNAL_PARAMETER_ENTITY) {
    auto* guard = static_cast<EntityGuard*>(parser->_private);
    guard->refusedName = name ? reinterpret_cast<const char*>(name) : "";
    guard->refusedSystemID = systemID ? reinterpret_cast<const char*>(systemID) : "";
    xmlStopParser(parser);
    return;
  }
  xmlSAX2EntityDecl(context, name, type, publicID, systemID, content);
}

void declareUnparsedEntity(void* context, const xmlChar* name, const xmlChar* publicID,
                           const xmlChar* systemID, const xmlChar*) {
  declareEntity(context, name, XML_EXTERNAL_GENERAL_UNPARSED_ENTITY, publicID, systemID, nullptr);
}

// Nothing outside the document is ever resolved, whoever asks.
xmlParserInputPtr refuseResolution(void*, const xmlChar*, const xmlChar*) { return nullptr; }

std::string lastErrorText(xmlParserCtxtPtr parser) {
  const xmlError* last = xmlCtxtGetLastError(parser);
  if (!last || !last->message) return "The document is empty.";
  std::string message = last->message;
  while (!message.empty() && (message.back() == '\n' || message.back() == ' ')) message.pop_back();
  return "Line " + std::to_string(last->line) + ": " + message;
}

std::optional<LXXMLDocument> parseXML(std::span<const std::uint8_t> data, const char* encoding,
                                      ErrorPtr* error) {
  initialiseLibxml();
  xmlParserCtxtPtr parser = xmlNewParserCtxt();
  if (!parser) {
    setError(error, detail::makeXMLError(LXXMLErrorMalformedDocument, "Out of memory."));
    return std::nullopt;
  }
  EntityGuard guard;
  parser->_private = &guard;
  parser->sax->entityDecl = declareEntity;
  parser->sax->unparsedEntityDecl = declareUnparsedEntity;
  parser->sax->resolveEntity = refuseResolution;
  const int options = kXMLOptions | (encoding ? XML_PARSE_IGNORE_ENC : 0);
  xmlDocPtr doc = xmlCtxtReadMemory(parser, reinterpret_cast<const char*>(data.data()),
                                    static_cast<int>(data.size()), nullptr, encoding, options);
  // A stopped parse may still hand back the part it built.
  if (doc && !guard.refusedName.empty()) {
    xmlFreeDoc(doc);
    doc = nullptr;
  }
  if (!doc) {
    if (!guard.refusedName.empty()) {
      setError(error, detail::makeXMLError(LXXMLErrorExternalEntity,
                                           "The document declares the external entity “" +
                                               guard.refusedName + "” (“" + guard.refusedSystemID +
                                               "”); external entities are never loaded."));
    } else {
      setError(error, detail::makeXMLError(LXXMLErrorMalformedDocument, lastErrorText(parser)));
    }
  }
  xmlFreeParserCtxt(parser);
  if (!doc) return std::nullopt;
  return detail::XMLDocumentStorage::adopt(doc, false);
}

std::optional<LXXMLDocument> parseHTML(std::span<const std::uint8_t> data, const char* encoding,
                                       ErrorPtr* error) {
  initialiseLibxml();
  htmlParserCtxtPtr parser = htmlNewParserCtxt();
  if (!parser) {
    setError(error, detail::makeXMLError(LXXMLErrorMalformedDocument, "Out of memory."));
    return std::nullopt;
  }
  parser->sax->resolveEntity = refuseResolution;
  htmlDocPtr doc =
      htmlCtxtReadMemory(parser, reinterpret_cast<const char*>(data.data()),
                         static_cast<int>(data.size()), nullptr, encoding, kHTMLOptions);
  if (!doc)
    setError(error, detail::makeXMLError(LXXMLErrorMalformedDocument, lastErrorText(parser)));
  htmlFreeParserCtxt(parser);
  if (!doc) return std::nullopt;
  return detail::XMLDocumentStorage::adopt(doc, true);
}

using Parser = std::optional<LXXMLDocument> (*)(std::span<const std::uint8_t>, const char*,
                                                ErrorPtr*);

// libxml2 counts sizes in int; larger input is refused rather than cut.
std::optional<LXXMLDocument> parseBytes(Parser parser, std::span<const std::uint8_t> data,
                                        const char* encoding, ErrorPtr* error) {
  if (data.size() > static_cast<std::size_t>(INT32_MAX)) {
    setError(error, detail::makeXMLError(LXXMLErrorMalformedDocument,
                                         "The document is larger than 2 GB."));
    return std::nullopt;
  }
  return parser(data, encoding, error);
}

std::optional<LXXMLDocument> parseString(Parser parser, StringView text, ErrorPtr* error) {
  const std::string utf8 = toUTF8(text);
  return parseBytes(parser, {reinterpret_cast<const std::uint8_t*>(utf8.data()), utf8.size()},
                    "UTF-8", error);
}

std::optional<LXXMLDocument> parseFile(Parser parser, StringView path, ErrorPtr* error) {
  ErrorPtr readError;
  const std::optional<Data> data = readFileContents(path, &readError);
  if (!data) {
    setError(error, detail::makeXMLError(LXXMLErrorUnreadableFile,
                                         toUTF8(readError->localizedDescription())));
    return std::nullopt;
  }
  return parseBytes(parser, *data, nullptr, error);
}

}  // namespace

LXXMLDocument::LXXMLDocument(std::shared_ptr<const detail::XMLDocumentStorage> storage) noexcept
    : LXXMLNode(storage, reinterpret_cast<xmlNodePtr>(storage->doc)) {}

std::optional<LXXMLDocument> LXXMLDocument::documentWithData(std::span<const std::uint8_t> data,
                                                             ErrorPtr* error) {
  return parseBytes(parseXML, data, nullptr, error);
}

std::optional<LXXMLDocument> LXXMLDocument::documentWithString(StringView text, ErrorPtr* error) {
  return parseString(parseXML, text, error);
}

std::optional<LXXMLDocument> LXXMLDocument::documentWithContentsOfFile(StringView path,
                                                                       ErrorPtr* error) {
  return parseFile(parseXML, path, error);
}

std::optional<LXXMLDocument> LXXMLDocument::HTMLDocumentWithData(std::span<const std::uint8_t> data,
                                                                 ErrorPtr* error) {
  return parseBytes(parseHTML, data, nullptr, error);
}

std::optional<LXXMLDocument> LXXMLDocument::HTMLDocumentWithString(StringView text,
                                                                   ErrorPtr* error) {
  return parseString(parseHTML, text, error);
}

std::optional<LXXMLDocument> LXXMLDocument::HTMLDocumentWithContentsOfFile(StringView path,
                                                                           ErrorPtr* error) {
  return parseFile(parseHTML, path, error);
}

std::optional<LXXMLElement> LXXMLDocument::rootElement() const {
  xmlNodePtr root = xmlDocGetRootElement(storage()->doc);
  if (!root) return std::nullopt;
  return LXXMLNode(storage(), root).asElement();
}

bool LXXMLDocument::isHTML() const noexcept { return storage()->isHTML; }

}  // namespace lx
