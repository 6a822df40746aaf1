#include "vantorcore/web/LXNetworkReachability.h"

#include <netinet/in.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "vantorcore/platform/Log.h"
#include "vantorcore/platform/NotificationCenter.h"
#include "vantorcore/platform/RunLoop.h"
#include "vantorcore/text/DebugLogging.h"

namespace lx {

LX_DEFINE_CLASS(LXNetworkReachability, Object)

namespace {

constexpr auto kInitialAnswerTimeout = std::chrono::seconds(5);

// The condition lock the initial check hands its answer over with:
// condition 1 while the worker looks, 0 once it has answered.
struct InitialAnswer {
  std::mutex mutex;
  std::condition_variable changed;
  int condition = 1;
  bool isOnline = false;
};

}  // namespace

URL LXNetworkReachability::defaultTestURL() {
  return *URL::URLWithString(u"https://www.debian.org/");
}

bool LXNetworkReachability::isOnlineNow() { return init()->isOnline(); }

bool LXNetworkReachability::isURLReachable(const URL& url) {
  return initWithCallback(false, url)->isOnline();
}

std::shared_ptr<LXNetworkReachability> LXNetworkReachability::sharedInstance() {
  static const auto shared = initWithURL(defaultTestURL());
  return shared;
}

std::shared_ptr<LXNetworkReachability> LXNetworkReachability::init() {
  return initWithCallback(false, defaultTestURL());
}

std::shared_ptr<LXNetworkReachability> LXNetworkReachability::initWithURL(const URL& url) {
  return initWithCallback(true, url);
}

std::shared_ptr<LXNetworkReachability> LXNetworkReachability::initWithCallback(bool callback,
                                                                               const URL& url) {
  auto object = std::make_shared<LXNetworkReachability>(url);
  sockaddr_in zero{};
  zero.sin_family = AF_INET;  // the general route, not the URL's host
  object->reachability_ = NetworkReachability::withAddress(reinterpret_cast<sockaddr*>(&zero));
  if (callback) object->scheduleChanges(object->reachability_);
  object->findInitialAnswer();
  return object;
}

void LXNetworkReachability::scheduleChanges(
    const std::shared_ptr<NetworkReachability>& reachability) {
  std::weak_ptr<LXNetworkReachability> weak =
      std::static_pointer_cast<LXNetworkReachability>(shared_from_this());
  callbackInstalled_ = reachability->scheduleWithRunLoop(RunLoop::current(), DefaultRunLoopMode,
                                                         [weak](std::uint32_t flags) {
                                                           if (const auto self = weak.lock()) {
                                                             self->setOnline(flagsSayOnline(flags));
                                                             self->setReady(true);
                                                           }
                                                         });
}

void LXNetworkReachability::findInitialAnswer() {
  auto answer = std::make_shared<InitialAnswer>();
  std::thread([answer, reachability = reachability_] {
    const bool online = flagsSayOnline(reachability->flags());
    std::lock_guard lock(answer->mutex);
    answer->isOnline = online;
    answer->condition = 0;
    answer->changed.notify_all();
  }).detach();
  std::unique_lock lock(answer->mutex);
  if (answer->changed.wait_for(lock, kInitialAnswerTimeout,
                               [&] { return answer->condition == 0; })) {
    online_.store(answer->isOnline);  // the first answer is no change: nothing is posted
    ready_.store(true);
    return;
  }
  lock.unlock();
  if (LXDebugLoggingIsEnabled()) {
    logFormat(u"Reachability initial check timed out for %@... assuming isOnline = %d",
              url_.absoluteString(), static_cast<int>(online_.load()));
  }
  reachability_->unschedule();
  const auto host = url_.host();
  reachability_ = NetworkReachability::withName(host ? *host : url_.absoluteString());
  scheduleChanges(reachability_);
}

LXNetworkReachability::~LXNetworkReachability() {
  if (callbackInstalled_ && reachability_) reachability_->unschedule();
}

void LXNetworkReachability::setOnline(bool online) {
  if (online_.exchange(online) == online) return;
  Dictionary info;
  info.set(SharedString(LXNetworkStateIsOnline), Value(online));
  NotificationCenter::defaultCenter().post(LXNetworkStateChangedNotification, shared_from_this(),
                                           std::move(info));
}

}  // namespace lx
