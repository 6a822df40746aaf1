// Errors of the URL-loading layer: "NSURLErrorDomain" with the platform's
// codes, each carrying the failing URL in its user info.
#pragma once

#include "vantorcore/Export.h"

#include <cstdint>
#include <optional>

#include "vantorcore/platform/Error.h"
#include "vantorcore/platform/URL.h"

namespace LX_API lx {

/// Codes in `NSURLErrorDomain`, with the platform's values.
///@{
inline constexpr std::int64_t NSURLErrorUnknown = -1;
inline constexpr std::int64_t NSURLErrorCancelled = -999;
inline constexpr std::int64_t NSURLErrorBadURL = -1000;
inline constexpr std::int64_t NSURLErrorTimedOut = -1001;
inline constexpr std::int64_t NSURLErrorUnsupportedURL = -1002;
inline constexpr std::int64_t NSURLErrorCannotFindHost = -1003;
inline constexpr std::int64_t NSURLErrorCannotConnectToHost = -1004;
inline constexpr std::int64_t NSURLErrorNetworkConnectionLost = -1005;
inline constexpr std::int64_t NSURLErrorHTTPTooManyRedirects = -1007;
inline constexpr std::int64_t NSURLErrorBadServerResponse = -1011;
inline constexpr std::int64_t NSURLErrorCannotDecodeContentData = -1016;
inline constexpr std::int64_t NSURLErrorSecureConnectionFailed = -1200;
inline constexpr std::int64_t NSURLErrorServerCertificateHasBadDate = -1201;
inline constexpr std::int64_t NSURLErrorServerCertificateUntrusted = -1202;
inline constexpr std::int64_t NSURLErrorServerCertificateHasUnknownRoot = -1203;
inline constexpr std::int64_t NSURLErrorServerCertificateNotYetValid = -1204;
inline constexpr std::int64_t NSURLErrorCannotCreateFile = -3000;
inline constexpr std::int64_t NSURLErrorCannotWriteToFile = -3003;
///@}

/// The user-info key of the transport's own explanation, for logs.
inline constexpr StringView NSDebugDescriptionErrorKey = u"NSDebugDescription";

/// An error in `NSURLErrorDomain` with `code`, the platform's description
/// of the code, and, when given, the failing URL (as a `URLObject` under
/// `NSURLErrorFailingURLErrorKey` and as text under
/// `NSURLErrorFailingURLStringErrorKey`) and `debugDescription`.
ErrorPtr URLErrorWithCode(std::int64_t code, const std::optional<URL>& failingURL,
                          const std::optional<String>& debugDescription = std::nullopt);

/// The platform's description of a code ("The request timed out.");
/// codes it does not know read "An unknown error occurred.".
String localizedDescriptionForURLErrorCode(std::int64_t code);

}  // namespace lx
