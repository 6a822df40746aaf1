// One task's curl easy handle: set up from the request and the session's
// configuration, fed with the body as it arrives, and turned into a
// response and an `NSURLErrorDomain` error at the end. Lives on the loading
// thread only.
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

class URLTransfer {
 public:
  /// Prepares the easy handle. When the request cannot go out (a scheme
  /// other than http/https, a file that cannot be made), `setupError()` says
  /// why and the handle must not be added.
  explicit URLTransfer(std::shared_ptr<URLSessionTask> task);
  ~URLTransfer();
  URLTransfer(const URLTransfer&) = delete;
  URLTransfer& operator=(const URLTransfer&) = delete;

  [[nodiscard]] CURL* handle() const noexcept { return easy_; }
  [[nodiscard]] const std::shared_ptr<URLSessionTask>& task() const noexcept { return task_; }
  [[nodiscard]] const ErrorPtr& setupError() const noexcept { return setupError_; }
  /// "scheme://host:port" of the request, in lower case: transfers with one
  /// key share the per-host limit.
  [[nodiscard]] const std::string& hostKey() const noexcept { return hostKey_; }

  /// Completes the task from curl's result.
  void finish(CURLcode result);
  /// Completes the task cancelled.
  void finishCancelled();

 private:
  static std::size_t onBody(char* bytes, std::size_t size, std::size_t count, void* self);
  static std::size_t onHeader(char* bytes, std::size_t size, std::size_t count, void* self);
  static int onProgress(void* self, curl_off_t total, curl_off_t now, curl_off_t, curl_off_t);
  void configure();
  bool openDownloadFile();
  std::shared_ptr<HTTPURLResponse> makeResponse();
  ErrorPtr errorFor(CURLcode result);
  void discardDownloadFile();

  std::shared_ptr<URLSessionTask> task_;
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
  char errorText_[CURL_ERROR_SIZE] = {};
};

}  // namespace lx::detail
