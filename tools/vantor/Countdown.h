// A count that threads bring down to zero while another waits for it, with
// a bound on the wait so that a peer that never answers cannot hang a
// command.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>

namespace vantor {

class Countdown {
 public:
  explicit Countdown(std::size_t count = 1) : count_(count) {}

  /// Adds `n` to the count.
  void add(std::size_t n = 1) {
    std::lock_guard lock(mutex_);
    count_ += n;
  }
  /// Takes one off; the waiter wakes at zero. Extra calls are ignored.
  void countDown() {
    std::lock_guard lock(mutex_);
    if (count_ == 0) return;
    if (--count_ == 0) zero_.notify_all();
  }
  /// Ends the wait at once, whatever the count (a peer that went away).
  void release() {
    std::lock_guard lock(mutex_);
    count_ = 0;
    zero_.notify_all();
  }
  /// True when the count reached zero within `seconds`.
  bool waitFor(double seconds) {
    std::unique_lock lock(mutex_);
    return zero_.wait_for(lock, std::chrono::duration<double>(seconds),
                          [this] { return count_ == 0; });
  }
  [[nodiscard]] std::size_t remaining() const {
    std::lock_guard lock(mutex_);
    return count_;
  }

 private:
  mutable std::mutex mutex_;
  std::condition_variable zero_;
  std::size_t count_;
};

}  // namespace vantor
