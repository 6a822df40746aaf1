// `LXRostrel`: asks the maker's announcement service (see LXWebServer.h)
// whether there is a message for this application's user, remembers which
// announcement was last returned, and hands the caller its link,
// identifier, action and button.
//
// Which class a start call is made for decides the query URL: a subclass
// that declares its own static `applicationRostrelURL()` is asked instead of
// `LXRostrel`, as a class method override would be:
//
//   struct BetaRostrel : lx::LXRostrel {
//     static std::optional<lx::URL> applicationRostrelURL();
//   };
//   auto r = lx::LXRostrel::startRostrelRequestWithParameters<BetaRostrel>(params, handler);
//
// The returned object must be kept until its handler has run; releasing it
// earlier cancels the request (and the handler is never called).
#pragma once

#include "vantorcore/Export.h"

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <type_traits>

#include "vantorcore/platform/Error.h"
#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/URL.h"
#include "vantorcore/platform/Value.h"
#include "vantorcore/web/LXRemoteRequest.h"

namespace LX_API lx {

/// The library's general error domain.
inline constexpr StringView LXErrorDomain = u"LXErrorDomain";
/// `LXErrorDomain` codes of the announcement request; neither is a fault,
/// both mean "show nothing".
///@{
inline constexpr std::int64_t LXRostrelErrorAlreadyShown = 100;
inline constexpr std::int64_t LXRostrelErrorNothingToShow = 101;
///@}
/// The user default holding the identifier of the last announcement returned.
inline constexpr StringView LXRostrelDisplayedIDKey = u"rostrel.displayedID";

class LXRostrel : public Object, public LXRemoteRequestDelegate {
  LX_DECLARE_CLASS(LXRostrel)
 public:
  /// Receives the object and the error (null: there is an announcement).
  using CompletionHandler = std::function<void(std::shared_ptr<LXRostrel> rostrel, ErrorPtr error)>;

  /// The query URL of this application:
  /// "<server>/updates/rostrel.php?app=<CFBundleName>&appver=<short version>
  ///  &appbuild=<CFBundleVersion>&os=<major.minor.patch>&model=<model>&mas=1",
  /// each value percent-encoded with the query set. The system version comes
  /// from `ProcessInfo::operatingSystemVersion()` (0.0.0 when unknown); the
  /// model from /sys/class/dmi/id/product_name, else the device tree's
  /// model. An absent value reads "(null)".
  static std::optional<URL> applicationRostrelURL();

  /// Starts a request for `T` (LXRostrel or a subclass, see above): the
  /// query URL of `T`, then "&key=value" per parameter in the dictionary's
  /// order, both percent-encoded with the URL-query set. That set keeps "&"
  /// and "=", so a value holding them splits into further parameters on the
  /// server; pass such values encoded. A value that is not a string logs
  /// "CONDITION FAILED: param must be a string" and goes in as its
  /// description. Returns the running request's object.
  template <class T = LXRostrel>
  static std::shared_ptr<T> startRostrelRequestWithParameters(
      const std::optional<Dictionary>& parameters, CompletionHandler completionHandler) {
    static_assert(std::is_base_of_v<LXRostrel, T>, "a rostrel class derives from LXRostrel");
    const auto url = appendingParameters(T::applicationRostrelURL(), parameters);
    auto rostrel = initWithURL<T>(url);
    rostrel->setCompletionHandler(std::move(completionHandler));
    return rostrel;
  }
  /// The same with no parameters, always for `LXRostrel` itself.
  static std::shared_ptr<LXRostrel> startRostrelRequestWithCompletionHandler(
      CompletionHandler completionHandler);

  /// A `T` whose remote request for `url` ("GET", no body) is already
  /// running, with the object as its delegate.
  template <class T = LXRostrel>
  static std::shared_ptr<T> initWithURL(const std::optional<URL>& url) {
    auto rostrel = std::make_shared<T>();
    rostrel->startRequest(url);
    return rostrel;
  }

  /// The running request; null once it has finished.
  [[nodiscard]] std::shared_ptr<LXRemoteRequest> request() const;
  /// Called once with the outcome, on the main queue.
  ///@{
  [[nodiscard]] CompletionHandler completionHandler() const;
  void setCompletionHandler(CompletionHandler handler);
  ///@}
  /// The decoded response when it was a dictionary.
  [[nodiscard]] std::optional<Dictionary> jsonResponse() const;

  /// The response's fields ("URL", "ID", "action", "buttonCaption",
  /// "buttonURL"); absent before a response, when missing, or when not a
  /// string (or, for the URLs, not a URL).
  ///@{
  [[nodiscard]] std::optional<URL> responseURL() const;
  [[nodiscard]] std::optional<String> responseID() const;
  [[nodiscard]] std::optional<String> responseAction() const;
  [[nodiscard]] std::optional<String> buttonCaption() const;
  [[nodiscard]] std::optional<URL> buttonURL() const;
  ///@}

  /// On the main thread: keeps the response, stores and compares its
  /// identifier ("rostrel.displayedID", rewritten even when unchanged),
  /// and calls the handler with a transport error as it came, code 100
  /// for an announcement already returned, 101 when there is no "URL";
  /// then drops the request and the handler.
  void remoteRequestDidFinishWithError(LXRemoteRequest& request, ErrorPtr error) override;

 private:
  static std::optional<URL> appendingParameters(const std::optional<URL>& url,
                                                const std::optional<Dictionary>& parameters);
  void startRequest(const std::optional<URL>& url);
  [[nodiscard]] std::optional<String> stringField(StringView key) const;

  mutable std::mutex mutex_;
  std::shared_ptr<LXRemoteRequest> request_;
  CompletionHandler completionHandler_;
  std::optional<Dictionary> jsonResponse_;
};

}  // namespace lx
