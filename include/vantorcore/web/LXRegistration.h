// Mailing-list sign-up on the maker's web server (see LXWebServer.h).
#pragma once

#include "vantorcore/Export.h"

#include <functional>

#include "vantorcore/platform/Error.h"
#include "vantorcore/platform/String.h"

namespace LX_API lx {

/// Receives whether the server added the address, and the transport's
/// error (null when the request went through).
using LXRegistrationCompletion = std::function<void(bool success, ErrorPtr error)>;

/// POSTs "<server>/bin/elist.cgi?app=<name> <short version>&mas=yes&add=<email>"
/// (query encoded by `URLComponents`, no body, 30 s idle time-out) on the
/// shared URL session and returns at once. The completion (may be empty)
/// runs on the session's queue, not the main thread. Success means a body
/// arrived that matches "Added\n" as far as the body goes, stopping at a
/// zero byte where "Added\n" has ended (as `strncmp` over the body's length):
///   'Added\n' => true   '' => true   'Add' => true   'Added\n\0x' => true
///   'Added\nx' => false   'Add\0x' => false   'Error' => false
///   transport error => false
/// When the server's address makes no URL, nothing is sent and the
/// completion is never called. An absent bundle name or version reads
/// "(null)".
void LXRegistrationSignUpForElist(StringView email, LXRegistrationCompletion completion);

/// The success rule above, on a response body.
bool LXRegistrationResponseSaysAdded(DataView body);

}  // namespace lx
