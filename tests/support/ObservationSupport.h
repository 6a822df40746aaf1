// Models, inboxes and fixed addresses shared by the observation tests.
#pragma once

#include <sys/mman.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <thread>
#include <vector>

#include "vantorcore/platform/Observable.h"
#include "vantorcore/platform/String+Paths.h"
#include "vantorcore/platform/UserDefaults.h"

namespace lx::test {

/// An observable bag of values; `set` announces the change.
class Model : public Observable {
 public:
  void set(StringView key, Value value) {
    willChangeValueForKey(key);
    {
      std::lock_guard lock(mutex_);
      values_[String(key)] = std::move(value);
    }
    didChangeValueForKey(key);
  }
  std::optional<Value> valueForKey(StringView key) const override {
    std::lock_guard lock(mutex_);
    auto it = values_.find(String(key));
    return it == values_.end() ? std::nullopt : std::optional<Value>(it->second);
  }

 private:
  mutable std::mutex mutex_;
  std::map<String, Value> values_;
};

/// A defaults suite of its own, empty on disk, for each call.
inline std::shared_ptr<UserDefaults> freshSuite() {
  static std::atomic<int> counter{0};
  auto suite = UserDefaults::suiteNamed(fromUTF8("fresh" + std::to_string(counter++)));
  std::error_code ec;
  std::filesystem::remove(fileSystemRepresentation(suite->path()), ec);
  return suite;
}

/// Collects values from any thread and lets a test wait for them. The wait
/// is bounded so that a lost delivery fails the test instead of hanging it.
/// A cheap handle: capture it by value in callbacks, so that a delivery
/// still running on another thread when the test ends has somewhere to go.
template <class T>
class Inbox {
 public:
  void push(T value) const {
    std::lock_guard lock(state_->mutex);
    state_->items.push_back(std::move(value));
    state_->changed.notify_all();
  }
  /// Waits until `done(items)` holds; false if it never does.
  bool waitUntil(const std::function<bool(const std::vector<T>&)>& done) const {
    std::unique_lock lock(state_->mutex);
    return state_->changed.wait_for(lock, std::chrono::seconds(20),
                                    [&] { return done(state_->items); });
  }
  std::vector<T> items() const {
    std::lock_guard lock(state_->mutex);
    return state_->items;
  }

 private:
  struct State {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<T> items;
  };
  std::shared_ptr<State> state_ = std::make_shared<State>();
};

/// Polls `condition` until it holds, for what cannot signal (log lines);
/// false if it never does within a generous bound.
inline bool eventually(const std::function<bool()>& condition) {
  const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > giveUp) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

/// Memory at a fixed address, so that tests can place objects where they
/// choose: a new object where a dead one lived, or two objects whose
/// addresses print with a common prefix. Null when the address is taken.
/// Keep to low addresses (below 512 GiB): the thread sanitizer aborts on
/// fixed mappings outside its application ranges.
class FixedAddress {
 public:
  explicit FixedAddress(std::uintptr_t address, std::size_t size = 4096) : size_(size) {
    void* p = ::mmap(reinterpret_cast<void*>(address), size, PROT_READ | PROT_WRITE,
                     MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0);
    memory_ = (p == MAP_FAILED || p != reinterpret_cast<void*>(address)) ? nullptr : p;
  }
  ~FixedAddress() {
    if (memory_) ::munmap(memory_, size_);
  }
  FixedAddress(const FixedAddress&) = delete;
  FixedAddress& operator=(const FixedAddress&) = delete;
  [[nodiscard]] void* get() const { return memory_; }

  /// A `T` made at this address, destroyed (not freed) with its last owner.
  template <class T>
  std::shared_ptr<T> make() {
    return std::shared_ptr<T>(new (memory_) T, [](T* p) { p->~T(); });
  }

 private:
  std::size_t size_;
  void* memory_;
};

}  // namespace lx::test
