#include "vantorcore/web/LXRegistration.h"

#include "vantorcore/platform/Bundle.h"
#include "vantorcore/platform/StringFormat.h"
#include "vantorcore/platform/URLComponents.h"
#include "vantorcore/platform/URLSession.h"
#include "vantorcore/web/LXWebServer.h"

namespace lx {

namespace {

constexpr double kSignUpTimeout = 30;
constexpr std::string_view kAdded = "Added\n";

// An Info.plist string as "%@" formats it: "(null)" when absent.
String formattedInfoString(StringView key) {
  const auto value = Bundle::main().objectForInfoDictionaryKey(key);
  return value && value->isString() ? value->asString()->str() : String(u"(null)");
}

}  // namespace

bool LXRegistrationResponseSaysAdded(DataView body) {
  // strncmp over the body's length: past "Added\n" the expected byte is 0.
  for (std::size_t i = 0; i < body.size(); ++i) {
    const auto expected = static_cast<std::uint8_t>(i < kAdded.size() ? kAdded[i] : '\0');
    if (body[i] != expected) return false;
    if (body[i] == 0) return true;
  }
  return true;
}

void LXRegistrationSignUpForElist(StringView email, LXRegistrationCompletion completion) {
  auto components =
      URLComponents::componentsWithString(LXWebServerBaseAddress() + u"/bin/elist.cgi");
  if (!components) return;
  components->setQueryItems(std::vector<URLQueryItem>{
      {u"app", stringWithFormat(u"%@ %@", formattedInfoString(u"CFBundleName"),
                                formattedInfoString(u"CFBundleShortVersionString"))},
      {u"mas", String(u"yes")},
      {u"add", String(email)},
  });
  const auto url = components->URL();
  if (!url) return;
  URLRequest request(*url, URLRequestCachePolicy::ReloadIgnoringLocalCacheData, kSignUpTimeout);
  request.setHTTPMethod(u"POST");
  URLSession::sharedSession()
      ->dataTaskWithRequest(
          std::move(request),
          [completion = std::move(completion)](std::optional<Data> body, auto, ErrorPtr error) {
            const bool success = body && LXRegistrationResponseSaysAdded(*body);
            if (completion) completion(success, std::move(error));
          })
      ->resume();
}

}  // namespace lx
