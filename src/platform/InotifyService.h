// The process's one inotify instance and the thread that reads it.
//
// A watch belongs to the kernel per inode, so two subscribers watching the
// same folder share one watch descriptor; the service counts them and
// removes the watch when the last one lets go. Events are read on the
// service's own thread, so the kernel queue drains however busy the main
// thread is, and handed to each subscriber of the watch on that thread.
// A queue overflow goes to every subscriber.
//
// The watch limit can be lowered for tests, so that running out of watches
// (ENOSPC, fs.inotify.max_user_watches) can be tried without touching the
// system's setting. Thread-safe.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_map>
#include <vector>

namespace lx::detail {

class InotifySubscriber {
 public:
  virtual ~InotifySubscriber() = default;
  /// One event of a watch the subscriber holds, on the reader thread.
  virtual void inotifyEvent(int wd, std::uint32_t mask, std::string_view name) = 0;
  /// The kernel dropped events (IN_Q_OVERFLOW), on the reader thread.
  virtual void inotifyOverflow() = 0;
};

class InotifyService {
 public:
  static InotifyService& shared();

  /// Adds a watch with `mask` on the folder at `path` for `subscriber`; the
  /// watch descriptor, or -errno (-ENOSPC when the watch limit is reached).
  int addWatch(const std::string& path, std::uint32_t mask,
               const std::weak_ptr<InotifySubscriber>& subscriber);
  /// Lets go of a watch added by `subscriber`.
  void removeWatch(int wd, const InotifySubscriber* subscriber);

  /// Lowers the number of watches the service adds (absent: the kernel's).
  void setWatchLimit(std::optional<std::size_t> limit);
  /// Hands every subscriber an overflow, as a full kernel queue would.
  void simulateOverflow();

 private:
  InotifyService();
  void readLoop();
  std::vector<std::shared_ptr<InotifySubscriber>> subscribersOf(int wd);
  std::vector<std::shared_ptr<InotifySubscriber>> allSubscribers();

  int fd_ = -1;
  std::mutex mutex_;
  // Subscribers per watch descriptor, one entry per addWatch.
  std::unordered_map<int, std::vector<std::weak_ptr<InotifySubscriber>>> watches_;
  std::optional<std::size_t> limit_;
  std::thread reader_;
};

}  // namespace lx::detail
