// User-presentable errors: an error whose title is its localised description
// and whose message is its localised recovery suggestion, and the check box
// an alert may show with it.
//
// Builders never fail; the only diagnostics are "CONDITION FAILED: title is
// nil" and "CONDITION FAILED: error domain is nil". Errors are immutable
// except for the check-box values, which are attached to the error object
// itself (thread-safe) and so are not carried into errors derived from it.
#pragma once

#include "vantorcore/Export.h"

#include <cstdint>
#include <optional>

#include "vantorcore/platform/Error.h"
#include "vantorcore/platform/String.h"
#include "vantorcore/platform/URL.h"
#include "vantorcore/platform/Value.h"

namespace LX_API lx {

/// A new error in `domain` with `code` whose user info is `userInfo` (if any)
/// plus the title under `NSLocalizedDescriptionKey` and the message under
/// `NSLocalizedRecoverySuggestionErrorKey`; those two win over same-named
/// entries of `userInfo`. Every '%' of the message is doubled, so that an
/// alert using it as a format shows it literally; an absent message is "".
///   title 'Oops', message '50% done' => description 'Oops', suggestion '50%% done'
/// An absent title or domain is logged (see above) and the error is still
/// made, without a description or with the empty domain.
ErrorPtr lx_errorWithTitle(std::optional<StringView> title, std::optional<StringView> message,
                           std::optional<StringView> domain, std::int64_t code,
                           const std::optional<Dictionary>& userInfo = std::nullopt);

/// The error's localised description.
String lx_title(const Error& error);

/// The error's localised recovery suggestion, or absent.
std::optional<String> lx_message(const Error& error);

/// `error` itself when its message has at most 600 UTF-16 units; otherwise a
/// new error, built by `lx_errorWithTitle` with the same title, domain, code
/// and user info and the message cut to 600 units plus "…" (U+2026). As the
/// builder escapes again, each '%' in the kept text ends up doubled once more:
///   600 units          => the same error
///   601 units 'ab%…'   => 'ab%%…' (first 600 units, escaped) + '…'
ErrorPtr lx_errorByTruncatingMessage(const ErrorPtr& error);

/// A new error with the same domain and code whose user info is `error`'s
/// with `entries` added (`entries` win).
ErrorPtr lx_errorByAddingUserInfoEntriesFromDictionary(const Error& error,
                                                       const Dictionary& entries);

/// The URL the error is about: "NSErrorFailingURLKey", else the string under
/// `NSURLErrorFailingURLStringErrorKey`, parsed. User info holds URLs as
/// their absolute strings, so both are parsed; absent when neither key holds
/// a string that parses as a URL.
std::optional<URL> lx_failingURL(const Error& error);

/// The check-box state of an alert showing the error; false when never set.
void lx_setAuxillaryCheckboxState(Error& error, bool state);
/// Whether the error's check box starts ticked.
bool lx_auxillaryCheckboxState(const Error& error);

/// The check-box title; absent when never set. Setting absent removes it.
void lx_setAuxillaryCheckboxButtonTitle(Error& error, std::optional<StringView> title);
/// The title of the error's check box; absent when it has none.
std::optional<String> lx_auxillaryCheckboxButtonTitle(const Error& error);

}  // namespace lx
