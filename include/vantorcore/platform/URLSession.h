// `URLSession`: HTTP and HTTPS transfers on libcurl.
//
// Every session's transfers run on one process-wide loading thread (a curl
// multi handle woken by `curl_multi_wakeup`), which keeps connections open
// and reuses them across tasks and sessions (at most six at a time to one
// host). Completion handlers run on the session's delegate queue.
//
// What a task gets from the transport, whatever the session:
//   - only "http" and "https", for the URL and for every redirect; other
//     schemes end in `NSURLErrorUnsupportedURL`;
//   - redirects followed, at most 16, then `NSURLErrorHTTPTooManyRedirects`
//     (a delegate may change or refuse each one, see `URLSessionDelegate`);
//   - bodies in gzip, deflate, br or zstd decoded (the request says so in
//     "Accept-Encoding");
//   - the proxy named by the environment ("http_proxy", "https_proxy",
//     "all_proxy", "no_proxy" and their upper-case forms but "HTTP_PROXY");
//   - server certificates verified against the system's store of
//     certificate authorities (or the configuration's own file);
//   - the request's time-out as an idle time-out (see `URLRequest`).
//
// Neither kind of session keeps a response cache, cookies or credentials on
// disk; an ephemeral session differs from the shared one in being owned by
// its maker, who can invalidate it. Thread-safe.
#pragma once

#include "vantorcore/Export.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "vantorcore/platform/DispatchQueue.h"
#include "vantorcore/platform/String.h"
#include "vantorcore/platform/URLRequest.h"
#include "vantorcore/platform/URLSessionDelegate.h"
#include "vantorcore/platform/URLSessionTask.h"

namespace LX_API lx {

/// How a session makes its requests; copied into the session at creation.
struct URLSessionConfiguration {
  /// The time-out of requests the session makes from a bare URL, in seconds.
  double timeoutIntervalForRequest = URLRequest::kDefaultTimeoutInterval;
  /// A PEM file of certificate authorities to trust instead of the system
  /// store (a private server's own authority); absent: the system store.
  std::optional<String> certificateAuthorityFile;
  /// Whether the session is ephemeral (reported by `isEphemeral`).
  bool ephemeral = false;

  /// A shared-cache, non-ephemeral configuration.
  static URLSessionConfiguration defaultSessionConfiguration() { return {}; }
  /// A configuration that keeps nothing after the session ends.
  static URLSessionConfiguration ephemeralSessionConfiguration() {
    URLSessionConfiguration c;
    c.ephemeral = true;
    return c;
  }
};

class URLSession : public std::enable_shared_from_this<URLSession> {
 public:
  /// The process's shared session: default configuration, its own serial
  /// delegate queue; never invalidated.
  static std::shared_ptr<URLSession> sharedSession();
  /// A new session; handlers run on `delegateQueue`, or on a new serial
  /// queue when it is null.
  static std::shared_ptr<URLSession> sessionWithConfiguration(
      URLSessionConfiguration configuration,
      std::shared_ptr<DispatchQueue> delegateQueue = nullptr);
  /// The same with a delegate, which the session holds (with its tasks'
  /// completion handlers, its calls run on `delegateQueue`).
  static std::shared_ptr<URLSession> sessionWithConfiguration(
      URLSessionConfiguration configuration, std::shared_ptr<URLSessionDelegate> delegate,
      std::shared_ptr<DispatchQueue> delegateQueue = nullptr);

  /// Use `sharedSession` or `sessionWithConfiguration`, which set up its ownership.
  URLSession(URLSessionConfiguration configuration, std::shared_ptr<URLSessionDelegate> delegate,
             std::shared_ptr<DispatchQueue> delegateQueue, bool isShared);
  ~URLSession();

  /// The configuration the session was made with.
  [[nodiscard]] const URLSessionConfiguration& configuration() const noexcept {
    return configuration_;
  }
  /// The delegate, or null.
  [[nodiscard]] const std::shared_ptr<URLSessionDelegate>& delegate() const noexcept {
    return delegate_;
  }
  /// The queue completion handlers run on.
  [[nodiscard]] const std::shared_ptr<DispatchQueue>& delegateQueue() const noexcept {
    return delegateQueue_;
  }

  /// A suspended data task for `request`. After `invalidateAndCancel` the
  /// task completes with `NSURLErrorCancelled` as soon as it is resumed.
  std::shared_ptr<URLSessionTask> dataTaskWithRequest(URLRequest request,
                                                      URLSessionTask::DataCompletion completion);
  /// The same for a "GET" of `url` with the configuration's time-out.
  std::shared_ptr<URLSessionTask> dataTaskWithURL(const URL& url,
                                                  URLSessionTask::DataCompletion completion);
  /// A suspended download task: the body goes to a new file in the
  /// temporary folder ($TMPDIR, else /tmp) handed to the completion.
  std::shared_ptr<URLSessionTask> downloadTaskWithRequest(
      URLRequest request, URLSessionTask::DownloadCompletion completion);
  /// The same for a "GET" of `url`.
  std::shared_ptr<URLSessionTask> downloadTaskWithURL(
      const URL& url, URLSessionTask::DownloadCompletion completion);

  /// Cancels every task not yet completed and refuses new ones (they
  /// complete cancelled). Ignored for the shared session.
  void invalidateAndCancel();
  /// Whether `invalidateAndCancel` was called.
  [[nodiscard]] bool isInvalidated() const noexcept { return invalidated_.load(); }

 private:
  std::shared_ptr<URLSessionTask> track(std::shared_ptr<URLSessionTask> task);

  URLSessionConfiguration configuration_;
  std::shared_ptr<URLSessionDelegate> delegate_;
  std::shared_ptr<DispatchQueue> delegateQueue_;
  bool isShared_;
  std::atomic<bool> invalidated_{false};
  std::atomic<std::uint64_t> nextIdentifier_{1};
  std::mutex mutex_;
  std::vector<std::weak_ptr<URLSessionTask>> tasks_;
  std::size_t pruneAt_ = 0;
};

}  // namespace lx
