#include "vantorcore/platform/URLError.h"

#include "vantorcore/platform/URLObject.h"

namespace lx {

String localizedDescriptionForURLErrorCode(std::int64_t code) {
  switch (code) {
    case NSURLErrorCancelled:
      return u"cancelled";
    case NSURLErrorBadURL:
      return u"bad URL";
    case NSURLErrorTimedOut:
      return u"The request timed out.";
    case NSURLErrorUnsupportedURL:
      return u"unsupported URL";
    case NSURLErrorCannotFindHost:
      return u"A server with the specified hostname could not be found.";
    case NSURLErrorCannotConnectToHost:
      return u"Could not connect to the server.";
    case NSURLErrorNetworkConnectionLost:
      return u"The network connection was lost.";
    case NSURLErrorHTTPTooManyRedirects:
      return u"too many HTTP redirects";
    case NSURLErrorBadServerResponse:
      return u"bad server response";
    case NSURLErrorCannotDecodeContentData:
      return u"cannot decode content data";
    case NSURLErrorSecureConnectionFailed:
      return u"An SSL error has occurred and a secure connection to the server cannot be made.";
    case NSURLErrorServerCertificateHasBadDate:
      return u"The certificate for this server has expired.";
    case NSURLErrorServerCertificateUntrusted:
      return u"The certificate for this server is invalid.";
    case NSURLErrorServerCertificateHasUnknownRoot:
      return u"The certificate for this server was signed by an unknown certifying authority.";
    case NSURLErrorServerCertificateNotYetValid:
      return u"The certificate for this server is not yet valid.";
    case NSURLErrorCannotCreateFile:
      return u"cannot create file";
    case NSURLErrorCannotWriteToFile:
      return u"cannot write to file";
    default:
      return u"An unknown error occurred.";
  }
}

ErrorPtr URLErrorWithCode(std::int64_t code, const std::optional<URL>& failingURL,
                          const std::optional<String>& debugDescription) {
  Dictionary info;
  info.set(SharedString(NSLocalizedDescriptionKey), localizedDescriptionForURLErrorCode(code));
  if (failingURL) {
    info.set(SharedString(NSURLErrorFailingURLErrorKey), URLObject::make(*failingURL));
    info.set(SharedString(NSURLErrorFailingURLStringErrorKey), failingURL->absoluteString());
  }
  if (debugDescription && !debugDescription->empty()) {
    info.set(SharedString(NSDebugDescriptionErrorKey), *debugDescription);
  }
  return Error::make(String(NSURLErrorDomain), code, std::move(info));
}

}  // namespace lx
