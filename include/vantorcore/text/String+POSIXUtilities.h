// Small bridges to POSIX: configuration strings, error messages and parsing
// of numeric IP addresses. All may be called from any thread.
#pragma once

#include "vantorcore/Export.h"

#include <optional>

#include "vantorcore/platform/Error.h"
#include "vantorcore/platform/String.h"

namespace LX_API lx {

/// The `confstr` value of `name` (for example `_CS_PATH`), read into a 1,024
/// byte buffer, so longer values are cut; absent when `confstr` returns 0 (an
/// unknown name, or no value).
std::optional<String> lx_confstr(int name);

/// The system's message for the error number (at most 255 bytes), or absent
/// when there is none. Numbers the system does not know give its
/// "Unknown error <n>" text.
///   ENOENT => 'No such file or directory'
std::optional<String> lx_strerror(int errorNumber);

/// Parses the string as a numeric address of `family` (`AF_INET`, `AF_INET6`)
/// into `address` (an `in_addr` or `in6_addr`, which the caller sizes for the
/// family; null parses into a private buffer, to test validity only).
/// True for a valid address. False without an error for text that is not an
/// address of that family (text holding NUL included); false with an
/// `NSPOSIXErrorDomain` error (code `errno`, EAFNOSUPPORT) for an unsupported
/// family.
bool lx_getIPAddress(StringView string, void* address, int family, ErrorPtr* error = nullptr);

/// `lx_getIPAddress` with `AF_INET`.
///   '1.2.3.4' => true,  '1.2.3' => false (no error)
bool lx_getIPv4Address(StringView string, void* address, ErrorPtr* error = nullptr);

/// `lx_getIPAddress` with `AF_INET6`, after trimming "[" and "]" from both
/// ends so bracketed URL hosts parse.
///   '::1' => true,  '[fe80::1]' => true,  '1.2.3.4' => false
bool lx_getIPv6Address(StringView string, void* address, ErrorPtr* error = nullptr);

}  // namespace lx
