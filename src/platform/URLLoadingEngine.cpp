#include "URLLoadingEngine.h"

#include <algorithm>
#include <utility>

#include "CurlLibrary.h"
#include "vantorcore/platform/URLError.h"
#include "vantorcore/platform/URLSession.h"

namespace lx::detail {

namespace {

// The platform opens at most six connections to one host; more would only
// queue behind one another at the server.
constexpr int kConnectionsPerHost = 6;
constexpr long kCachedConnections = 64;
constexpr int kIdlePollMilliseconds = 1000;
// The platform gives up after this many redirects.
constexpr int kMaximumRedirects = 16;

}  // namespace

URLLoadingEngine& URLLoadingEngine::shared() {
  // Never destroyed: tasks may still be finishing while the process exits.
  static URLLoadingEngine* const engine = new URLLoadingEngine();
  return *engine;
}

URLLoadingEngine::URLLoadingEngine() {
  multi_ = curl().multi_init();
  curl().multi_setopt(multi_, CURLMOPT_MAXCONNECTS, kCachedConnections);
  curl().multi_setopt(multi_, CURLMOPT_PIPELINING, CURLPIPE_MULTIPLEX);
  thread_ = std::thread([this] { run(); });
  thread_.detach();
}

void URLLoadingEngine::start(std::shared_ptr<URLSessionTask> task) {
  bool wake = false;
  {
    std::lock_guard lock(mutex_);
    toStart_.push_back(std::move(task));
    wake = std::exchange(awake_, false);
  }
  if (wake) curl().multi_wakeup(multi_);
}

void URLLoadingEngine::cancel(std::shared_ptr<URLSessionTask> task) {
  bool wake = false;
  {
    std::lock_guard lock(mutex_);
    toCancel_.push_back(std::move(task));
    wake = std::exchange(awake_, false);
  }
  if (wake) curl().multi_wakeup(multi_);
}

void URLLoadingEngine::admit(std::unique_ptr<URLTransfer> transfer) {
  int& running = runningPerHost_[transfer->hostKey()];
  if (running >= kConnectionsPerHost) {
    waiting_[transfer->hostKey()].push_back(std::move(transfer));
    return;
  }
  ++running;
  if (!launch(std::move(transfer))) --running;
}

bool URLLoadingEngine::launch(std::unique_ptr<URLTransfer> transfer) {
  if (!transfer->begin()) {
    transfer->finish(CURLE_OK);
    return false;
  }
  CURL* easy = transfer->handle();
  curl().multi_add_handle(multi_, easy);
  transfers_.emplace(easy, std::move(transfer));
  return true;
}

void URLLoadingEngine::decide(std::shared_ptr<URLSessionTask> task,
                              std::optional<URLRequest> request) {
  bool wake = false;
  {
    std::lock_guard lock(mutex_);
    decided_.emplace_back(std::move(task), std::move(request));
    wake = std::exchange(awake_, false);
  }
  if (wake) curl().multi_wakeup(multi_);
}

std::unique_ptr<URLTransfer> URLLoadingEngine::detach(CURL* easy) {
  const auto it = transfers_.find(easy);
  if (it == transfers_.end()) return nullptr;
  auto transfer = std::move(it->second);
  const std::string host = transfer->hostKey();
  curl().multi_remove_handle(multi_, easy);
  transfers_.erase(it);
  int& running = runningPerHost_[host];
  --running;
  const auto queue = waiting_.find(host);
  // A loop, not a chain of calls: a queue of downloads whose files cannot
  // be made fails one after another here.
  while (queue != waiting_.end() && !queue->second.empty() && running < kConnectionsPerHost) {
    auto next = std::move(queue->second.front());
    queue->second.pop_front();
    ++running;
    if (!launch(std::move(next))) --running;
  }
  if (queue != waiting_.end() && queue->second.empty()) waiting_.erase(queue);
  if (running == 0) runningPerHost_.erase(host);
  return transfer;
}

void URLLoadingEngine::redirect(std::unique_ptr<URLTransfer> transfer, URLRequest next) {
  if (transfer->redirects() >= kMaximumRedirects) {
    transfer->fail(NSURLErrorHTTPTooManyRedirects, transfer->request().URL());
    return;
  }
  const auto& task = transfer->task();
  const auto& delegate = task->session()->delegate();
  if (!delegate) {
    follow(*transfer, std::move(next));
    return;
  }
  // The delegate is asked only about a request that could go out.
  URLTransfer checked(task, next, transfer->redirects() + 1, handles_);
  if (checked.setupError()) {
    checked.finish(CURLE_OK);
    return;
  }
  auto response = transfer->response();
  task->session()->delegateQueue()->async(
      [task, delegate, response, next = std::move(next)]() mutable {
        delegate->willPerformHTTPRedirection(task->session(), task, *response, std::move(next),
                                             [task](std::optional<URLRequest> decided) {
                                               URLLoadingEngine::shared().decide(
                                                   task, std::move(decided));
                                             });
      });
  redirecting_.emplace(task.get(), std::move(transfer));
}

void URLLoadingEngine::follow(const URLTransfer& from, URLRequest next) {
  auto transfer =
      std::make_unique<URLTransfer>(from.task(), std::move(next), from.redirects() + 1, handles_);
  if (transfer->setupError()) {
    transfer->finish(CURLE_OK);
    return;
  }
  admit(std::move(transfer));
}

void URLLoadingEngine::takeDecision(const std::shared_ptr<URLSessionTask>& task,
                                    std::optional<URLRequest> request) {
  const auto it = redirecting_.find(task.get());
  if (it == redirecting_.end()) return;  // cancelled meanwhile, or a second answer
  const auto transfer = std::move(it->second);
  redirecting_.erase(it);
  if (request) {
    follow(*transfer, std::move(*request));
  } else {
    transfer->finish(CURLE_OK);  // the redirect itself is the answer
  }
}

bool URLLoadingEngine::cancelWaiting(const std::shared_ptr<URLSessionTask>& task) {
  for (auto queue = waiting_.begin(); queue != waiting_.end(); ++queue) {
    auto& transfers = queue->second;
    const auto it = std::find_if(transfers.begin(), transfers.end(),
                                 [&](const auto& transfer) { return transfer->task() == task; });
    if (it == transfers.end()) continue;
    (*it)->finishCancelled();
    transfers.erase(it);
    if (transfers.empty()) waiting_.erase(queue);
    return true;
  }
  return false;
}

void URLLoadingEngine::takeRequests() {
  std::vector<std::shared_ptr<URLSessionTask>> starting;
  std::vector<std::shared_ptr<URLSessionTask>> cancelling;
  std::vector<std::pair<std::shared_ptr<URLSessionTask>, std::optional<URLRequest>>> decided;
  {
    std::lock_guard lock(mutex_);
    starting.swap(toStart_);
    cancelling.swap(toCancel_);
    decided.swap(decided_);
    awake_ = true;
  }
  for (auto& [task, request] : decided) takeDecision(task, std::move(request));
  for (auto& task : starting) {
    if (task->state() == URLSessionTaskState::Completed) continue;  // cancelled before it started
    auto transfer = std::make_unique<URLTransfer>(task, task->originalRequest(), 0, handles_);
    if (transfer->setupError()) {
      transfer->finish(CURLE_OK);
      continue;
    }
    admit(std::move(transfer));
  }
  for (const auto& task : cancelling) {
    const auto it = std::find_if(transfers_.begin(), transfers_.end(),
                                 [&](const auto& entry) { return entry.second->task() == task; });
    const auto deciding = redirecting_.find(task.get());
    if (it != transfers_.end()) {
      it->second->finishCancelled();
      detach(it->first);
    } else if (deciding != redirecting_.end()) {
      deciding->second->finishCancelled();
      redirecting_.erase(deciding);
    } else if (!cancelWaiting(task)) {
      // Cancelled before its start reached us, or already finished: the
      // task ignores a second completion, so completing it here is safe.
      task->complete(std::nullopt, std::nullopt, nullptr,
                     URLErrorWithCode(NSURLErrorCancelled, task->originalRequest().URL()));
    }
  }
}

void URLLoadingEngine::finishDone() {
  int queued = 0;
  while (CURLMsg* message = curl().multi_info_read(multi_, &queued)) {
    if (message->msg != CURLMSG_DONE) continue;
    CURL* easy = message->easy_handle;
    const CURLcode result = message->data.result;
    const auto it = transfers_.find(easy);
    if (it == transfers_.end()) continue;
    auto next = result == CURLE_OK ? it->second->redirectedRequest() : std::nullopt;
    if (next) {
      redirect(detach(easy), std::move(*next));
    } else {
      it->second->finish(result);
      detach(easy);
    }
  }
}

void URLLoadingEngine::run() {
  for (;;) {
    takeRequests();
    int running = 0;
    curl().multi_perform(multi_, &running);
    finishDone();
    curl().multi_poll(multi_, nullptr, 0, kIdlePollMilliseconds, nullptr);
  }
}

}  // namespace lx::detail
