// `Thread`: the library's record of an operating-system thread, made on first
// use for every thread that asks (`Thread::current()`).
#pragma once

#include <atomic>
#include <memory>

#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/Value.h"

namespace lx {

class Thread : public Object {
  LX_DECLARE_CLASS(Thread)

 public:
  Thread();
  ~Thread() override;

  /// The calling thread's record; made on first use, kept while the thread
  /// runs (and while anyone holds it).
  static std::shared_ptr<Thread> current();
  /// The process's initial thread. Its record exists from the first call on
  /// any thread.
  static std::shared_ptr<Thread> main();
  /// True on the process's initial thread.
  static bool isMainThread() noexcept;

  [[nodiscard]] bool isMain() const noexcept { return isMain_; }

  /// Per-thread storage. Only the thread itself may touch its dictionary.
  [[nodiscard]] Dictionary& threadDictionary() noexcept { return dictionary_; }

  /// The cancel flag: set by `cancel`, read by the thread's own loop.
  void cancel() noexcept { cancelled_.store(true, std::memory_order_release); }
  [[nodiscard]] bool isCancelled() const noexcept {
    return cancelled_.load(std::memory_order_acquire);
  }

 private:
  bool isMain_ = false;
  std::atomic<bool> cancelled_{false};
  Dictionary dictionary_;
};

}  // namespace lx
