#include "vantorcore/xml/LXXMLDocument.h"

#include <libxml/HTMLparser.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/xpath.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <mutex>

#include "vantorcore/platform/FileIO.h"
#include "xml/CSSSelectorMatcher.h"
#include "xml/XMLDocumentStorage.h"

namespace lx {

namespace detail {

ErrorPtr makeXMLError(LXXMLErrorCode code, std::string_view description) {
  return Error::make(String(LXXMLErrorDomain), code,
                     Dictionary{{String(NSLocalizedDescriptionKey), fromUTF8(description)}});
}

void initialiseLibxml() {
  static std::once_flag once;
  std::call_once(once, [] { xmlInitParser(); });
}

LXXMLDocument XMLDocumentStorage::adopt(xmlDocPtr doc, bool html) {
  return LXXMLDocument(std::make_shared<const XMLDocumentStorage>(doc, html));
}

void XMLDocumentStorage::orderElementsForXPath() const {
  std::call_once(elementsOrdered_, [this] { xmlXPathOrderDocElems(doc); });
}

const CSSElementIndex& XMLDocumentStorage::cssIndex() const {
  std::call_once(elementsIndexed_,
                 [this] { cssIndex_ = indexElements(reinterpret_cast<xmlNodePtr>(doc)); });
  return *cssIndex_;
}

String stringFromXML(const xmlChar* text) {
  return text ? fromUTF8(reinterpret_cast<const char*>(text)) : String();
}

void freeXMLString(xmlChar* text) {
  // `xmlFree` is a variable of libxml2's, which a stub bound on first call
  // cannot stand in for (FirstCallBinding.cpp); xmlMemGet reads it through
  // a function.
  static const xmlFreeFunc free = [] {
    xmlFreeFunc function = nullptr;
    xmlMemGet(&function, nullptr, nullptr, nullptr);
    return function;
  }();
  free(text);
}

String adoptXMLString(xmlChar* text) {
  String result = stringFromXML(text);
  freeXMLString(text);
  return result;
}

}  // namespace detail

namespace {

// Documents are never changed after parsing, so short texts may live inside
// their nodes (XML_PARSE_COMPACT), saving an allocation per text node.
constexpr int kXMLOptions = XML_PARSE_NOENT | XML_PARSE_NONET | XML_PARSE_NOERROR |
                            XML_PARSE_NOWARNING | XML_PARSE_BIG_LINES | XML_PARSE_COMPACT;
constexpr int kHTMLOptions = HTML_PARSE_NONET | HTML_PARSE_NOERROR | HTML_PARSE_NOWARNING |
                             HTML_PARSE_RECOVER | HTML_PARSE_COMPACT;

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

// Where a parser pulls its bytes from, a chunk at a time: libxml2 would copy
// a whole in-memory document into a buffer of its own first, and a file need
// never be held whole.
struct ByteSource {
  xmlInputReadCallback read;
  void* context;
};

struct MemoryCursor {
  const std::uint8_t* next;
  std::size_t left;
};

int readMemory(void* context, char* buffer, int length) {
  auto* cursor = static_cast<MemoryCursor*>(context);
  const std::size_t count = std::min(cursor->left, static_cast<std::size_t>(length));
  if (count == 0) return 0;  // an empty document may have no bytes at all
  std::memcpy(buffer, cursor->next, count);
  cursor->next += count;
  cursor->left -= count;
  return static_cast<int>(count);
}

int readDescriptor(void* context, char* buffer, int length) {
  const int fd = *static_cast<int*>(context);
  for (;;) {
    const ssize_t count = ::read(fd, buffer, static_cast<std::size_t>(length));
    if (count >= 0 || errno != EINTR) return static_cast<int>(count);
  }
}

std::optional<LXXMLDocument> parseXML(ByteSource source, const char* encoding, ErrorPtr* error) {
  detail::initialiseLibxml();
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
  xmlDocPtr doc =
      xmlCtxtReadIO(parser, source.read, nullptr, source.context, nullptr, encoding, options);
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

std::optional<LXXMLDocument> parseHTML(ByteSource source, const char* encoding, ErrorPtr* error) {
  detail::initialiseLibxml();
  htmlParserCtxtPtr parser = htmlNewParserCtxt();
  if (!parser) {
    setError(error, detail::makeXMLError(LXXMLErrorMalformedDocument, "Out of memory."));
    return std::nullopt;
  }
  parser->sax->resolveEntity = refuseResolution;
  htmlDocPtr doc =
      htmlCtxtReadIO(parser, source.read, nullptr, source.context, nullptr, encoding, kHTMLOptions);
  if (!doc)
    setError(error, detail::makeXMLError(LXXMLErrorMalformedDocument, lastErrorText(parser)));
  htmlFreeParserCtxt(parser);
  if (!doc) return std::nullopt;
  return detail::XMLDocumentStorage::adopt(doc, true);
}

using DocumentParser = std::optional<LXXMLDocument> (*)(ByteSource, const char*, ErrorPtr*);

std::optional<LXXMLDocument> parseBytes(DocumentParser parser, std::span<const std::uint8_t> data,
                                        const char* encoding, ErrorPtr* error) {
  MemoryCursor cursor{data.data(), data.size()};
  return parser({readMemory, &cursor}, encoding, error);
}

std::optional<LXXMLDocument> parseString(DocumentParser parser, StringView text, ErrorPtr* error) {
  const std::string utf8 = toUTF8(text);
  return parseBytes(parser, {reinterpret_cast<const std::uint8_t*>(utf8.data()), utf8.size()},
                    "UTF-8", error);
}

std::optional<LXXMLDocument> parseFile(DocumentParser parser, StringView path, ErrorPtr* error) {
  int fd = ::open(toUTF8(path).c_str(), O_RDONLY | O_CLOEXEC);
  struct stat status {};
  if (fd >= 0 && ::fstat(fd, &status) == 0 && S_ISDIR(status.st_mode)) {
    ::close(fd);
    fd = -1;
    errno = EISDIR;
  }
  if (fd < 0) {
    setError(error,
             detail::makeXMLError(LXXMLErrorUnreadableFile,
                                  toUTF8(fileError(errno, false, path)->localizedDescription())));
    return std::nullopt;
  }
  std::optional<LXXMLDocument> document = parser({readDescriptor, &fd}, nullptr, error);
  ::close(fd);
  return document;
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
