#include "platform/InotifyService.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>

namespace lx::detail {

InotifyService& InotifyService::shared() {
  // Never destroyed: the reader thread runs for the life of the process.
  static auto* service = new InotifyService();
  return *service;
}

InotifyService::InotifyService() : fd_(inotify_init1(IN_CLOEXEC)) {
  if (fd_ >= 0) {
    reader_ = std::thread([this] { readLoop(); });
    reader_.detach();
  }
}

int InotifyService::addWatch(const std::string& path, std::uint32_t mask,
                             const std::weak_ptr<InotifySubscriber>& subscriber) {
  if (fd_ < 0) return -EMFILE;
  const std::lock_guard lock(mutex_);
  if (limit_ && watches_.size() >= *limit_) return -ENOSPC;
  // IN_MASK_ADD: a folder two subscribers watch gets both their masks.
  const int wd = inotify_add_watch(fd_, path.c_str(), mask | IN_MASK_ADD);
  if (wd < 0) return -errno;
  watches_[wd].push_back(subscriber);
  return wd;
}

void InotifyService::removeWatch(int wd, const InotifySubscriber* subscriber) {
  const std::lock_guard lock(mutex_);
  const auto found = watches_.find(wd);
  if (found == watches_.end()) return;
  auto& subscribers = found->second;
  const auto mine = std::find_if(subscribers.begin(), subscribers.end(), [&](const auto& weak) {
    const auto strong = weak.lock();
    return !strong || strong.get() == subscriber;
  });
  if (mine != subscribers.end()) subscribers.erase(mine);
  if (subscribers.empty()) {
    inotify_rm_watch(fd_, wd);
    watches_.erase(found);
  }
}

void InotifyService::setWatchLimit(std::optional<std::size_t> limit) {
  const std::lock_guard lock(mutex_);
  limit_ = limit;
}

void InotifyService::simulateOverflow() {
  for (const auto& subscriber : allSubscribers()) subscriber->inotifyOverflow();
}

std::vector<std::shared_ptr<InotifySubscriber>> InotifyService::subscribersOf(int wd) {
  std::vector<std::shared_ptr<InotifySubscriber>> result;
  const std::lock_guard lock(mutex_);
  const auto found = watches_.find(wd);
  if (found == watches_.end()) return result;
  for (const auto& weak : found->second) {
    auto strong = weak.lock();
    if (strong && std::find(result.begin(), result.end(), strong) == result.end()) {
      result.push_back(std::move(strong));
    }
  }
  return result;
}

std::vector<std::shared_ptr<InotifySubscriber>> InotifyService::allSubscribers() {
  std::vector<std::shared_ptr<InotifySubscriber>> result;
  const std::lock_guard lock(mutex_);
  for (const auto& [wd, subscribers] : watches_) {
    for (const auto& weak : subscribers) {
      auto strong = weak.lock();
      if (strong && std::find(result.begin(), result.end(), strong) == result.end()) {
        result.push_back(std::move(strong));
      }
    }
  }
  return result;
}

void InotifyService::readLoop() {
  alignas(struct inotify_event) char buffer[64 * 1024];
  for (;;) {
    const ssize_t got = ::read(fd_, buffer, sizeof buffer);
    if (got <= 0) {
      if (got < 0 && errno == EINTR) continue;
      return;
    }
    for (ssize_t offset = 0; offset < got;) {
      const auto* event = reinterpret_cast<const struct inotify_event*>(buffer + offset);
      offset += static_cast<ssize_t>(sizeof(struct inotify_event) + event->len);
      if (event->mask & IN_Q_OVERFLOW) {
        simulateOverflow();
        continue;
      }
      const std::string_view name = event->len ? std::string_view(event->name) : std::string_view();
      for (const auto& subscriber : subscribersOf(event->wd)) {
        subscriber->inotifyEvent(event->wd, event->mask, name);
      }
      if (event->mask & IN_IGNORED) {
        // The kernel dropped the watch (its folder is gone).
        const std::lock_guard lock(mutex_);
        watches_.erase(event->wd);
      }
    }
  }
}

}  // namespace lx::detail
