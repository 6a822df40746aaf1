// The one thread that runs every URL session's transfers: a curl multi
// handle polled by `curl_multi_poll` and woken by `curl_multi_wakeup` when
// tasks start or are cancelled. One multi handle means one connection cache,
// so kept-alive connections serve every session.
#pragma once

#include <curl/curl.h>

#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <unordered_map>
#include <utility>
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
  /// The delegate's answer to `task`'s redirect: the request to follow, or
  /// absent to end with the redirect. Any thread; only the first counts.
  void decide(std::shared_ptr<URLSessionTask> task, std::optional<URLRequest> request);

 private:
  URLLoadingEngine();
  void run();
  void takeRequests();
  void finishDone();
  // Hands `transfer` to curl, or queues it while its host has the most
  // transfers running: curl's own queue of waiting handles is rescanned on
  // every change, which thousands of queued requests make quadratic.
  void admit(std::unique_ptr<URLTransfer> transfer);
  // Gives `transfer` its handle and adds it to the multi handle; false
  // when it could not begin (it has then completed).
  bool launch(std::unique_ptr<URLTransfer> transfer);
  // Takes a running transfer out of curl and admits the next one waiting
  // for its host.
  std::unique_ptr<URLTransfer> detach(CURL* easy);
  // Follows the redirect `transfer` received, after asking the session's
  // delegate if it has one (`transfer` waits in `redirecting_` meanwhile).
  void redirect(std::unique_ptr<URLTransfer> transfer, URLRequest next);
  void follow(const URLTransfer& from, URLRequest next);
  void takeDecision(const std::shared_ptr<URLSessionTask>& task, std::optional<URLRequest> request);
  bool cancelWaiting(const std::shared_ptr<URLSessionTask>& task);

  CURLM* multi_;
  std::mutex mutex_;
  std::vector<std::shared_ptr<URLSessionTask>> toStart_;
  std::vector<std::shared_ptr<URLSessionTask>> toCancel_;
  std::vector<std::pair<std::shared_ptr<URLSessionTask>, std::optional<URLRequest>>> decided_;
  // Set by the loading thread before it takes the lists: a caller that
  // finds it clear knows a wake-up is already on its way and spares one.
  bool awake_ = true;
  // The loading thread's own: the transfer of each running easy handle.
  EasyHandlePool handles_;
  std::unordered_map<CURL*, std::unique_ptr<URLTransfer>> transfers_;
  std::unordered_map<std::string, int> runningPerHost_;
  std::unordered_map<std::string, std::deque<std::unique_ptr<URLTransfer>>> waiting_;
  std::unordered_map<URLSessionTask*, std::unique_ptr<URLTransfer>> redirecting_;
  std::thread thread_;
};

}  // namespace lx::detail
