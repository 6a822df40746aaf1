// One task's transfer: checked when it reaches the loading thread, given a
// curl easy handle only when it may start (thousands may wait), fed with the
// body as it arrives, and turned into a response and an `NSURLErrorDomain`
// error at the end. Lives on the loading thread only.
#pragma once

#include <curl/curl.h>

#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "vantorcore/platform/URLSessionTask.h"

namespace lx::detail {

/// Easy handles kept for the next transfer: a reset handle keeps its
/// allocations, so a stream of small requests stops paying for new ones.
/// Loading thread only.
class EasyHandlePool {
 public:
  EasyHandlePool() = default;
  ~EasyHandlePool();
  EasyHandlePool(const EasyHandlePool&) = delete;
  EasyHandlePool& operator=(const EasyHandlePool&) = delete;

  /// A handle with curl's defaults, reused or new.
  CURL* take();
  /// Resets `easy` and keeps it, or frees it when enough are kept.
  void give(CURL* easy);

 private:
  std::vector<CURL*> idle_;
};

class URLTransfer {
 public:
  /// Checks `request` (the task's, or where `redirects` redirects led).
  /// When it cannot go out (a scheme other than http/https, no host),
  /// `setupError()` says why and `begin` must not be called.
  URLTransfer(std::shared_ptr<URLSessionTask> task, URLRequest request, int redirects,
              EasyHandlePool& handles);
  ~URLTransfer();
  URLTransfer(const URLTransfer&) = delete;
  URLTransfer& operator=(const URLTransfer&) = delete;

  /// Takes a handle from the pool and sets it up; false (with
  /// `setupError()` saying why) when the download's file cannot be made.
  bool begin();
  /// The easy handle, once `begin` has succeeded.
  [[nodiscard]] CURL* handle() const noexcept { return easy_; }
  [[nodiscard]] const std::shared_ptr<URLSessionTask>& task() const noexcept { return task_; }
  /// The request this transfer sends.
  [[nodiscard]] const URLRequest& request() const noexcept { return request_; }
  /// How many redirects led to this transfer.
  [[nodiscard]] int redirects() const noexcept { return redirects_; }
  [[nodiscard]] const ErrorPtr& setupError() const noexcept { return setupError_; }
  /// "scheme://host:port" of the request, in lower case: transfers with one
  /// key share the per-host limit.
  [[nodiscard]] const std::string& hostKey() const noexcept { return hostKey_; }

  /// After a transfer that ended well: when the response redirects (301,
  /// 302, 303, 307 or 308 with a "Location"), the request that follows it.
  [[nodiscard]] std::optional<URLRequest> redirectedRequest() const;
  /// The response received, once curl has one; else null.
  const std::shared_ptr<HTTPURLResponse>& response();

  /// Completes the task from curl's result.
  void finish(CURLcode result);
  /// Completes the task with `code` for `failingURL`.
  void fail(std::int64_t code, const URL& failingURL);
  /// Completes the task cancelled.
  void finishCancelled();

 private:
  static std::size_t onBody(char* bytes, std::size_t size, std::size_t count, void* self);
  static std::size_t onHeader(char* bytes, std::size_t size, std::size_t count, void* self);
  static int onProgress(void* self, curl_off_t total, curl_off_t now, curl_off_t, curl_off_t);
  void configure();
  bool openDownloadFile();
  void reserveBody();
  ErrorPtr errorFor(CURLcode result);
  void discardDownloadFile();

  std::shared_ptr<URLSessionTask> task_;
  URLRequest request_;
  int redirects_;
  EasyHandlePool* handles_;
  CURL* easy_ = nullptr;
  curl_slist* headerList_ = nullptr;
  ErrorPtr setupError_;
  std::string url_;
  std::string hostKey_;
  std::string method_;
  Data requestBody_;
  Data body_;
  std::FILE* file_ = nullptr;
  std::string filePath_;
  bool writeFailed_ = false;
  long statusCode_ = 0;
  std::vector<std::pair<String, String>> headers_;
  std::shared_ptr<HTTPURLResponse> response_;
  char errorText_[CURL_ERROR_SIZE] = {};
};

}  // namespace lx::detail
