// The base address (scheme and host, no trailing slash) of the maker's web
// server, which the announcement and mailing-list requests go to.
//
// The library ships no server of its own: the default,
// "https://www.vantor.example", is a reserved name that never resolves, so
// a host application names its maker's server, either through
// `LXSetWebServerBaseAddress` or with the string preference
// "LXWebServerBaseAddress" in its standard user defaults. The address set
// through the API wins over the preference, which wins over the default.
#pragma once

#include "vantorcore/Export.h"

#include <optional>

#include "vantorcore/platform/String.h"

namespace LX_API lx {

/// The preference key a host (or its user) may set.
inline constexpr StringView LXWebServerBaseAddressPrefKey = u"LXWebServerBaseAddress";
/// The address used when neither the API nor the preference names one.
inline constexpr StringView LXWebServerDefaultBaseAddress = u"https://www.vantor.example";

/// The base address in effect, without a trailing slash:
///   set 'http://127.0.0.1:8080/' => 'http://127.0.0.1:8080'
/// Any thread; the preference is read on each call.
String LXWebServerBaseAddress();
/// Sets the address for this process (a trailing slash is dropped); absent
/// goes back to the preference or the default. Any thread.
void LXSetWebServerBaseAddress(const std::optional<String>& address);

}  // namespace lx
