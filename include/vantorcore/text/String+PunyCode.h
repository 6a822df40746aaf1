// Internationalised host names: the ASCII-compatible ("xn--") form of
// strings and URLs typed by users, through ICU's IDNA ToASCII with
// unassigned code points allowed. Conversion failures are never reported:
// the input comes back unchanged. Any thread.
#pragma once

#include "vantorcore/Export.h"

#include <optional>

#include "vantorcore/platform/String.h"
#include "vantorcore/platform/URL.h"

namespace LX_API lx {

/// The ASCII-compatible form of a host name. A leading "scheme://" and any
/// "www." groups right after it (matched case-insensitively) are kept as
/// they are and only the rest is converted; a string that is all ASCII, or
/// that ICU cannot convert, is returned unchanged. Text after the host (a
/// path, a port) is handed to ICU too, so pass host names.
///   'münchen'                    => 'xn--mnchen-3ya'
///   'http://www.münchen'         => 'http://www.xn--mnchen-3ya'
///   'HTTP://WWW.www.bücher'      => 'HTTP://WWW.www.xn--bcher-kva'
///   'xn--mnchen-3ya', 'a.b'      => unchanged
String lx_punyCode(StringView receiver);

/// A URL from user-typed text with only its host converted. The text is cut
/// by plain search, never by a URL parser: the scheme part up to the first
/// "://", then the user part up to the first "@" (anywhere in the rest),
/// then the path from the first "/", then the port from the first ":"; what
/// remains is the host. The pieces are joined as user part, scheme part,
/// host, port, path — the user part lands in front of the scheme, which
/// usually makes the text unparsable; that order is kept on purpose.
/// Absent for an absent string or when the joined text is not a URL.
///   'http://bücher:8080/p?q=1' => 'http://xn--bcher-kva:8080/p?q=1'
///   'http://user@host/'        => text 'user@http://host/', not a URL: absent
///   '/a://u@bücher/p'          => 'u@/a://xn--bcher-kva/p' (a relative URL)
std::optional<URL> lx_URLWithString(std::optional<StringView> string);

/// The URL with its host in ASCII-compatible form, rebuilt through
/// `URLComponents` (taken apart resolved against the base, or else without
/// it, and accepted only when host, scheme and path are each empty in the
/// components exactly when they are empty in the URL). A file URL, a URL
/// that cannot be taken apart faithfully, or one that cannot be rebuilt
/// comes back unchanged.
///   'http://münchen.de/x' is not parsable; 'http://m%C3%BCnchen.de/x' =>
///   'http://xn--mnchen-3ya.de/x'
URL lx_punyCode(const URL& receiver);

/// True when the URL's normalised path is "/Volumes/" and one name.
///   file '/Volumes/Data' => true      file '/Volumes/Data/x' => false
bool lx_isVolume(const URL& receiver);

}  // namespace lx
