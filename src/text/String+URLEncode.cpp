#include <unicode/normalizer2.h>

#include "vantorcore/platform/CharacterSet.h"
#include "vantorcore/platform/PercentEncoding.h"
#include "vantorcore/text/String+URLEncode.h"

namespace lx {
namespace {

// Characters the legacy escaping leaves alone: RFC 2396's URI characters
// and "#", less the four it escapes on top ("?+&=").
constexpr URLAllowedSet kLegacyLegal{
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789!$'()*,-./:;@_~#"};
constexpr URLAllowedSet kQueryPunctuation{"?+&=,"};
constexpr URLAllowedSet kQueryPunctuationAndSlash{"?+&=,/"};

String normalized(StringView s, bool compose) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::Normalizer2* n =
      compose ? icu::Normalizer2::getNFCInstance(status) : icu::Normalizer2::getNFDInstance(status);
  if (U_FAILURE(status)) return String(s);
  const icu::UnicodeString in(false, reinterpret_cast<const UChar*>(s.data()),
                              static_cast<int32_t>(s.size()));
  icu::UnicodeString out;
  n->normalize(in, out, status);
  if (U_FAILURE(status)) return String(s);
  return String(reinterpret_cast<const char16_t*>(out.getBuffer()),
                static_cast<std::size_t>(out.length()));
}

String encode(StringView s, const URLAllowedSet& allowed) {
  return fromUTF8(percentEncodeUTF8(toUTF8(s), allowed));
}

}  // namespace

String lx_stringByEncodingURL(StringView string) {
  return encode(normalized(string, true), kLegacyLegal);
}

String lx_stringByEncodingPathURL(StringView string) {
  return encode(string, kURLPathAllowedCharacterSet);
}

String lx_stringByEncodingURLWithAllowedCharacters(StringView string,
                                                   StringView allowedCharacters) {
  const CharacterSet allowed = CharacterSet::characterSetWithCharactersInString(allowedCharacters);
  String out;
  out.reserve(string.size());
  std::size_t i = 0;
  while (i < string.size()) {
    std::size_t length = 1;
    const char32_t c = codePointAt(string, i, &length);
    const StringView character = string.substr(i, length);
    if (allowed.contains(c) && isValidUTF16(character)) {
      out.append(character);
    } else {
      out += encode(character, URLAllowedSet{});
    }
    i += length;
  }
  return out;
}

String lx_decomposedStringByEncodingURL(StringView string) {
  return encode(normalized(string, false), kQueryPunctuation);
}

String lx_stringByEncodingPathURLWithSlashes(StringView string) {
  return encode(string, kQueryPunctuationAndSlash);
}

std::optional<String> lx_stringByDecodingURL(StringView string) {
  return stringByRemovingPercentEncoding(string);
}

String lx_stringByEscapingXMLEntities(StringView string) {
  String out;
  out.reserve(string.size() + string.size() / 8);
  for (const char16_t c : string) {
    switch (c) {
      case u'&':
        out += u"&amp;";
        break;
      case u'<':
        out += u"&lt;";
        break;
      case u'>':
        out += u"&gt;";
        break;
      case u'\'':
        out += u"&apos;";
        break;
      case u'"':
        out += u"&quot;";
        break;
      default:
        out.push_back(c);
    }
  }
  return out;
}

}  // namespace lx
