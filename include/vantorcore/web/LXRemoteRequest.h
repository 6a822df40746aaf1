// `LXRemoteRequest`: a one-shot HTTP request on the shared URL session that
// starts as it is made and reports to a delegate (on the main thread) or to
// a closure. Destroying it cancels the request. The HTTP status is never
// examined: a 404 with a body is a success with that body.
//
// Requests are made through the `initWith…` factories, so that one may
// report to its delegate from inside its own creation (an unusable URL).
#pragma once

#include "vantorcore/Export.h"

#include <functional>
#include <memory>
#include <mutex>
#include <optional>

#include "vantorcore/platform/Data.h"
#include "vantorcore/platform/DispatchQueue.h"
#include "vantorcore/platform/Error.h"
#include "vantorcore/platform/HTTPURLResponse.h"
#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/URL.h"
#include "vantorcore/platform/URLSessionTask.h"
#include "vantorcore/platform/Value.h"

namespace LX_API lx {

class LXRemoteRequest;

/// Told when a remote request made with a delegate has finished.
class LXRemoteRequestDelegate {
 public:
  virtual ~LXRemoteRequestDelegate() = default;
  /// On the main thread; `error` is the transport's error (null on
  /// success), `NSURLErrorBadURL` when no request could be made.
  virtual void remoteRequestDidFinishWithError(LXRemoteRequest& request, ErrorPtr error) = 0;
};

class LXRemoteRequest : public Object {
  LX_DECLARE_CLASS(LXRemoteRequest)
 public:
  /// The closure form's handler: the body, the response and the error. It
  /// runs on `handlerQueue` when one is set by then, else on the shared
  /// session's queue.
  using CompletionHandler = std::function<void(
      std::optional<Data> body, std::shared_ptr<HTTPURLResponse> response, ErrorPtr error)>;

  /// A "GET" of the URL made from `string`.
  static std::shared_ptr<LXRemoteRequest> initWithURLString(
      StringView string, std::weak_ptr<LXRemoteRequestDelegate> delegate);
  /// A request of `urlString`; null when it does not parse.
  static std::shared_ptr<LXRemoteRequest> initWithURLString(
      StringView string, StringView HTTPMethod, std::optional<Data> body,
      std::weak_ptr<LXRemoteRequestDelegate> delegate);
  /// A "GET" of `url` with no body.
  static std::shared_ptr<LXRemoteRequest> initWithURL(
      const std::optional<URL>& url, std::weak_ptr<LXRemoteRequestDelegate> delegate);
  /// A request of `url`.
  static std::shared_ptr<LXRemoteRequest> initWithURL(
      const std::optional<URL>& url, StringView HTTPMethod, std::optional<Data> body,
      std::weak_ptr<LXRemoteRequestDelegate> delegate);
  /// The delegate form: the body lands in `responseData`, then the delegate
  /// (held weakly) hears of the end on the main thread. When no URL is
  /// given, the delegate hears `NSURLErrorBadURL` before this returns.
  static std::shared_ptr<LXRemoteRequest> initWithURL(
      const std::optional<URL>& url, StringView HTTPMethod, std::optional<Data> body,
      const Dictionary& headers, std::weak_ptr<LXRemoteRequestDelegate> delegate);
  /// The closure form: the request (ignoring local cache data, an idle
  /// time-out of 60 s, `headers`' string values as header fields) runs
  /// before this returns. Without a URL, "CONDITION FAILED: Requset is nil"
  /// is logged and nothing runs; the handler is never called.
  static std::shared_ptr<LXRemoteRequest> initWithURL(const std::optional<URL>& url,
                                                      StringView HTTPMethod,
                                                      std::optional<Data> body,
                                                      const Dictionary& headers,
                                                      CompletionHandler completionHandler);

  LXRemoteRequest() = default;
  /// Cancels the request when it still runs.
  ~LXRemoteRequest() override;

  /// Stops the request unless it has finished or was cancelled already.
  void cancel();
  /// Whether the task has completed.
  [[nodiscard]] bool isFinished() const;
  /// Whether `cancel` was called.
  [[nodiscard]] bool isCancelled() const noexcept { return cancelled_.load(); }
  /// The body the delegate form received; empty before.
  [[nodiscard]] Data responseData() const;
  /// `responseData` read as JSON (no options); absent when it is empty or
  /// not JSON.
  [[nodiscard]] std::optional<Value> jsonResponse() const;
  /// The running task; null when none could be made.
  [[nodiscard]] std::shared_ptr<URLSessionTask> sessionTask() const { return sessionTask_; }
  /// The queue handlers run on; null for the main queue.
  ///@{
  [[nodiscard]] std::shared_ptr<DispatchQueue> handlerQueue() const;
  void setHandlerQueue(std::shared_ptr<DispatchQueue> queue);
  ///@}
  /// The delegate, held weakly.
  [[nodiscard]] std::weak_ptr<LXRemoteRequestDelegate> delegate() const { return delegate_; }

 private:
  void start(const std::optional<URL>& url, StringView HTTPMethod, std::optional<Data> body,
             const Dictionary& headers, CompletionHandler completionHandler);
  void callbackWithError(ErrorPtr error);

  std::weak_ptr<LXRemoteRequestDelegate> delegate_;
  std::shared_ptr<URLSessionTask> sessionTask_;
  std::atomic<bool> cancelled_{false};
  mutable std::mutex mutex_;
  Data responseData_;
  std::shared_ptr<DispatchQueue> handlerQueue_;
};

}  // namespace lx
