// The one thread that runs every URL session's transfers: a curl multi
// handle polled by `curl_multi_poll` and woken by `curl_multi_wakeup` when
// tasks start or are cancelled. One multi handle means one connection cache,
// so kept-alive connections serve every session.
#pragma once

#include <curl/curl.h>

#include <memory>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <vector>

#include "URLTransfer.h"
#include "vantorcore/platform/URLSessionTask.h"

namespace lx::detail {

class URLLoadingEngine {
 public:
  /// The process's engine, started on first use and never stopped (its
  /// thread waits in `curl_multi_poll` when idle, costing nothing).
  static URLLoadingEngine& shared();

  /// Starts `task` on the loading thread. Any thread.
  void start(std::shared_ptr<URLSessionTask> task);
  /// Ends `task`'s transfer; the task then completes cancelled. Any thread.
  void cancel(std::shared_ptr<URLSessionTask> task);

 private:
  URLLoadingEngine();
  void run();
  void takeRequests();
  void finishDone();

  CURLM* multi_;
  std::mutex mutex_;
  std::vector<std::shared_ptr<URLSessionTask>> toStart_;
  std::vector<std::shared_ptr<URLSessionTask>> toCancel_;
  // The loading thread's own: the transfer of each running easy handle.
  std::unordered_map<CURL*, std::unique_ptr<URLTransfer>> transfers_;
  std::thread thread_;
};

}  // namespace lx::detail
