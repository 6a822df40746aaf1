// Percent-encoding variants for URLs and query strings, percent decoding,
// and XML entity escaping. Every encoder works on UTF-8 and writes "%XX"
// with upper-case hex; a lone surrogate is encoded as U+FFFD. Any thread.
#pragma once

#include "vantorcore/Export.h"

#include <optional>

#include "vantorcore/platform/String.h"

namespace LX_API lx {

/// Canonical composition (NFC), then the legacy URL escaping: every
/// character that is not legal in a URL is escaped, and so are "?", "+",
/// "&" and "=". Legal here means the letters and digits of ASCII and
/// "!$'()*,-./:;@_~#" (RFC 2396's URI characters plus "#"); so space,
/// '"%<>[\]^`{|}', control characters and all non-ASCII are escaped.
///   'a b?c=d&e+f' => 'a%20b%3Fc%3Dd%26e%2Bf'    'e' U+0301 => '%C3%A9'
///   'http://h/p#x' => 'http://h/p#x'               '100%' => '100%25'
String lx_stringByEncodingURL(StringView string);

/// Percent-encodes everything outside the URL path set: the letters, digits
/// and "-._~!$&'()*+,/:=@" stay.
///   '/a b/c;d?e' => '/a%20b/c%3Bd%3Fe'
String lx_stringByEncodingPathURL(StringView string);

/// Percent-encodes every character that is not one of `allowedCharacters`
/// (any characters, non-ASCII included).
///   ('a-b c', 'ab') => 'a%2Db%20%63'    ('ü!', 'ü') => 'ü%21'
String lx_stringByEncodingURLWithAllowedCharacters(StringView string, StringView allowedCharacters);

/// Canonical decomposition (NFD), then percent-encodes every character
/// except the five of "?+&=," — letters and digits are encoded too.
///   'a?b,' => '%61?%62,'    'é' => '%65%CC%81'
String lx_decomposedStringByEncodingURL(StringView string);

/// Percent-encodes every character except the six of "?+&=,/" — letters and
/// digits are encoded too.
///   'a/b?' => '%61/%62?'
String lx_stringByEncodingPathURLWithSlashes(StringView string);

/// Removes percent encoding; absent when an escape is not "%" and two hex
/// digits or the bytes are not UTF-8.
///   'a%20b' => 'a b'    '%' => absent    '%E2%82' => absent    '+' => '+'
std::optional<String> lx_stringByDecodingURL(StringView string);

/// Replaces "&", "<", ">", "'" and '"' by their XML entities; everything
/// else, control characters included, is copied.
///   'a<b & "c"' => 'a&lt;b &amp; &quot;c&quot;'    "'" => '&apos;'
String lx_stringByEscapingXMLEntities(StringView string);

}  // namespace lx
