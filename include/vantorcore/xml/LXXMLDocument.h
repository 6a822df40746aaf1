// `LXXMLDocument`: a read-only XML or HTML document parsed with libxml2, and
// the node its queries start from.
//
// Parsing is safe by default, whatever the document asks for: no external
// entity, external DTD subset or XInclude is ever loaded and the network is
// never touched; internal entities are expanded only within libxml2's
// amplification limits; elements may nest at most 257 deep, libxml2's
// own limit (HTML: any depth). A document that declares an external entity is refused
// (`LXXMLErrorExternalEntity`), so its reader learns why instead of getting
// text with holes. Every failure is an absent result and an error in
// `LXXMLErrorDomain` whose description names the line and libxml2's reason.
//
// A document and its nodes are immutable; any thread may read or query them,
// concurrently too.
#pragma once

#include "vantorcore/Export.h"

#include <cstdint>
#include <optional>
#include <span>

#include "vantorcore/platform/Error.h"
#include "vantorcore/platform/String.h"
#include "vantorcore/xml/LXXMLNode.h"

namespace LX_API lx {

/// The domain of the errors of XML parsing and queries: "LXXMLErrorDomain".
inline constexpr StringView LXXMLErrorDomain = u"LXXMLErrorDomain";

/// Codes of `LXXMLErrorDomain`.
enum LXXMLErrorCode : std::int64_t {
  /// Not well-formed (or not UTF-8 where it claims to be), nested too deep,
  /// or an entity expanding beyond the limits.
  LXXMLErrorMalformedDocument = 1,
  /// The document declares an external entity; it is not read.
  LXXMLErrorExternalEntity = 2,
  /// The file could not be read.
  LXXMLErrorUnreadableFile = 3,
  /// An XPath expression that does not compile or evaluate, or (where a node
  /// set is wanted) gives another type.
  LXXMLErrorInvalidXPath = 4,
  /// A CSS selector that does not parse or uses what is not supported.
  LXXMLErrorInvalidCSSSelector = 5,
};

class LXXMLDocument : public LXXMLNode {
 public:
  /// Parses XML bytes; the encoding comes from the declaration or a byte
  /// order mark, UTF-8 by default. Absent with an error as described above.
  static std::optional<LXXMLDocument> documentWithData(std::span<const std::uint8_t> data,
                                                       ErrorPtr* error = nullptr);
  /// Parses XML text; an encoding named in its declaration is ignored.
  static std::optional<LXXMLDocument> documentWithString(StringView text,
                                                         ErrorPtr* error = nullptr);
  /// Parses an XML file, read a chunk at a time as the parser asks (libxml2
  /// opens no file itself).
  static std::optional<LXXMLDocument> documentWithContentsOfFile(StringView path,
                                                                 ErrorPtr* error = nullptr);

  /// The same three with libxml2's HTML parser, which accepts tag soup the way
  /// browsers do and lower-cases element names. Only a file that cannot be
  /// read fails; empty input is a document without a root element.
  static std::optional<LXXMLDocument> HTMLDocumentWithData(std::span<const std::uint8_t> data,
                                                           ErrorPtr* error = nullptr);
  /// Parses HTML text leniently, as browsers do.
  static std::optional<LXXMLDocument> HTMLDocumentWithString(StringView text,
                                                             ErrorPtr* error = nullptr);
  /// Parses an HTML file leniently, as browsers do.
  static std::optional<LXXMLDocument> HTMLDocumentWithContentsOfFile(StringView path,
                                                                     ErrorPtr* error = nullptr);

  /// The document element; absent only for an HTML document with no markup.
  [[nodiscard]] std::optional<LXXMLElement> rootElement() const;
  /// True for documents from the HTML parser.
  [[nodiscard]] bool isHTML() const noexcept;

 private:
  friend class LXXMLNode;
  friend struct detail::XMLDocumentStorage;
  explicit LXXMLDocument(std::shared_ptr<const detail::XMLDocumentStorage> storage) noexcept;
};

}  // namespace lx
