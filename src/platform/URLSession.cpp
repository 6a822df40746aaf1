#include "vantorcore/platform/URLSession.h"

#include <algorithm>

namespace lx {

namespace {

constexpr std::size_t kFirstPrune = 64;

}  // namespace

std::shared_ptr<URLSession> URLSession::sharedSession() {
  static const auto shared = std::make_shared<URLSession>(
      URLSessionConfiguration::defaultSessionConfiguration(), nullptr,
      DispatchQueue::makeSerial(u"com.vantor.URLSession.shared"), true);
  return shared;
}

std::shared_ptr<URLSession> URLSession::sessionWithConfiguration(
    URLSessionConfiguration configuration, std::shared_ptr<DispatchQueue> delegateQueue) {
  return sessionWithConfiguration(std::move(configuration), nullptr, std::move(delegateQueue));
}

std::shared_ptr<URLSession> URLSession::sessionWithConfiguration(
    URLSessionConfiguration configuration, std::shared_ptr<URLSessionDelegate> delegate,
    std::shared_ptr<DispatchQueue> delegateQueue) {
  if (!delegateQueue) delegateQueue = DispatchQueue::makeSerial(u"com.vantor.URLSession.delegate");
  return std::make_shared<URLSession>(std::move(configuration), std::move(delegate),
                                      std::move(delegateQueue), false);
}

URLSession::URLSession(URLSessionConfiguration configuration,
                       std::shared_ptr<URLSessionDelegate> delegate,
                       std::shared_ptr<DispatchQueue> delegateQueue, bool isShared)
    : configuration_(std::move(configuration)),
      delegate_(std::move(delegate)),
      delegateQueue_(std::move(delegateQueue)),
      isShared_(isShared) {}

URLSession::~URLSession() = default;

std::shared_ptr<URLSessionTask> URLSession::track(std::shared_ptr<URLSessionTask> task) {
  std::lock_guard lock(mutex_);
  // Pruned only when the list has doubled since the last pass: a pass on
  // every new task made starting thousands of tasks quadratic.
  if (tasks_.size() >= pruneAt_) {
    std::erase_if(tasks_, [](const auto& weak) { return weak.expired(); });
    pruneAt_ = std::max(kFirstPrune, 2 * tasks_.size());
  }
  tasks_.push_back(task);
  return task;
}

std::shared_ptr<URLSessionTask> URLSession::dataTaskWithRequest(
    URLRequest request, URLSessionTask::DataCompletion completion) {
  return track(std::make_shared<URLSessionTask>(shared_from_this(), std::move(request),
                                                nextIdentifier_++, std::move(completion), nullptr));
}

std::shared_ptr<URLSessionTask> URLSession::dataTaskWithURL(
    const URL& url, URLSessionTask::DataCompletion completion) {
  return dataTaskWithRequest(URLRequest(url, URLRequestCachePolicy::UseProtocolCachePolicy,
                                        configuration_.timeoutIntervalForRequest),
                             std::move(completion));
}

std::shared_ptr<URLSessionTask> URLSession::downloadTaskWithRequest(
    URLRequest request, URLSessionTask::DownloadCompletion completion) {
  if (!completion) completion = [](auto&&...) {};  // a download task is told apart by its handler
  return track(std::make_shared<URLSessionTask>(shared_from_this(), std::move(request),
                                                nextIdentifier_++, nullptr, std::move(completion)));
}

std::shared_ptr<URLSessionTask> URLSession::downloadTaskWithURL(
    const URL& url, URLSessionTask::DownloadCompletion completion) {
  return downloadTaskWithRequest(URLRequest(url, URLRequestCachePolicy::UseProtocolCachePolicy,
                                            configuration_.timeoutIntervalForRequest),
                                 std::move(completion));
}

void URLSession::invalidateAndCancel() {
  if (isShared_) return;
  invalidated_.store(true);
  std::vector<std::shared_ptr<URLSessionTask>> running;
  {
    std::lock_guard lock(mutex_);
    for (const auto& weak : tasks_) {
      if (auto task = weak.lock()) running.push_back(std::move(task));
    }
    tasks_.clear();
  }
  for (const auto& task : running) task->cancel();
}

}  // namespace lx
