// `URLSessionDelegate`: what a session asks its owner while tasks run.
#pragma once

#include "vantorcore/Export.h"

#include <functional>
#include <memory>
#include <optional>

#include "vantorcore/platform/HTTPURLResponse.h"
#include "vantorcore/platform/URLRequest.h"

namespace LX_API lx {

class URLSession;
class URLSessionTask;

/// The owner of a session, asked about its tasks on the session's delegate
/// queue; the session holds it. Every operation has a default body, so a
/// subclass overrides only what it decides.
class URLSessionDelegate {
 public:
  /// The answer to a redirect: the request to send next, or absent to stop.
  using RedirectionHandler = std::function<void(std::optional<URLRequest> request)>;

  /// Subclasses are destroyed through this base.
  virtual ~URLSessionDelegate() = default;

  /// `task`'s server answered `response` (a 301, 302, 303, 307 or 308 with
  /// a "Location") and the session would go on with `request`: the new URL,
  /// with "GET" and no body after a 303 or after a 301/302 to a "POST", and
  /// without "Authorization" and "Cookie" when the origin changes. Called
  /// on the session's delegate queue, only for redirects the session would
  /// follow (to http or https, within the limit of 16). Call `handler` once,
  /// from any thread, with `request`, with a changed request, or with absent
  /// to refuse: the task then completes with `response` and its body as its
  /// result. A changed request to a scheme other than http or https ends
  /// the task in `NSURLErrorUnsupportedURL`. The default follows.
  virtual void willPerformHTTPRedirection(const std::shared_ptr<URLSession>& session,
                                          const std::shared_ptr<URLSessionTask>& task,
                                          const HTTPURLResponse& response, URLRequest request,
                                          RedirectionHandler handler);
};

}  // namespace lx
