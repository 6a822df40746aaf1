// Where a web page says its icon lives: the `<link>` elements of its HTML,
// in the order a loader should try them, then the site's /favicon.ico.
//
// Links count when one of their `rel` tokens (any case) is "icon" (which
// covers "shortcut icon") or "apple-touch-icon" (or its "-precomposed"
// form). `href`s resolve against the document's first `<base href>`, itself
// resolved against the page's URL; links that resolve to no http, https or
// data URL are left out (a data URL must be a valid URL: percent-encoded or
// base64, as `URL::URLWithString` takes it). A `sizes` attribute gives the link its largest side:
//   'sizes="16x16 32x32"'  => 32
//   'sizes="180X120"'       => 180
//   'sizes="any"'           => kFaviconAnySize (scalable, largest of all)
//   'sizes="big"', none     => 0 (unknown)
// Order: links of a suitable known size (any, or at most `kMaximumIconSide`)
// largest first, then links of unknown size, then those too large to
// decode; ties keep document order.
#pragma once

#include "vantorcore/Export.h"

#include <climits>
#include <vector>

#include "vantorcore/platform/Data.h"
#include "vantorcore/platform/URL.h"

namespace LX_API lx {

/// The side of a link whose `sizes` says "any".
inline constexpr int kFaviconAnySize = INT_MAX;

/// Where a candidate came from: a `rel` token, or the site's /favicon.ico.
enum class FaviconLinkKind { Icon, ShortcutIcon, AppleTouchIcon, DefaultLocation };

/// One place to try for a site's icon.
struct FaviconLink {
  URL url;                                       ///< absolute http, https or data URL of the icon
  int size = 0;                                  ///< largest side from `sizes`; 0 unknown
  FaviconLinkKind kind = FaviconLinkKind::Icon;  ///< which `rel` named it
};

/// The largest side a `sizes` attribute names (see above).
[[nodiscard]] int lx_faviconSizeFromSizes(StringView sizes) noexcept;

/// The icon links of the HTML page `html` fetched from `pageURL` in the
/// order above, followed by `pageURL`'s origin with "/favicon.ico"
/// (`DefaultLocation`) unless a link already names that URL. Bytes that
/// are not HTML give the default location alone.
[[nodiscard]] std::vector<FaviconLink> lx_faviconLinks(DataView html, const URL& pageURL);

}  // namespace lx
