// `Thread`: the library's record of an operating-system thread, made on first
// use for every thread that asks (`Thread::current()`), or made first and
// then started (`start`, `detachNewThread`). Each record owns the thread's
// run loop, name, cancel flag and dictionary.
#pragma once

#include "vantorcore/Export.h"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/RunLoop.h"
#include "vantorcore/platform/Value.h"

namespace LX_API lx {

class Thread : public Object {
  LX_DECLARE_CLASS(Thread)

 public:
  /// A thread record not yet started; `body` is what the default
  /// `threadMain` runs. Own it with `std::make_shared` before calling `start`.
  explicit Thread(std::function<void()> body = {});
  ~Thread() override;

  /// The calling thread's record; made on first use, kept while the thread
  /// runs (and while anyone holds it).
  static std::shared_ptr<Thread> current();
  /// The process's initial thread. Its record exists from the first call on
  /// any thread.
  static std::shared_ptr<Thread> main();
  /// True on the process's initial thread.
  static bool isMainThread() noexcept;

  /// Starts a new thread running `body` and returns its record at once.
  static std::shared_ptr<Thread> detachNewThread(std::function<void()> body);

  /// Runs `closure` on `thread` through its run loop, in a pass of one of
  /// `modes`. With `wait`, blocks until it has run; on the calling thread
  /// itself a waited call runs at once, without the run loop. A null thread,
  /// or one that has exited (or exits before running it), drops the closure
  /// and releases the waiter: the result is then false, never a hang. The
  /// one primitive behind every cross-thread call of the library.
  static bool perform(const std::shared_ptr<Thread>& thread, std::function<void()> closure,
                      bool wait, const RunLoopModes& modes = commonRunLoopModes());

  /// Whether this is the process's main thread.
  [[nodiscard]] bool isMain() const noexcept { return isMain_; }

  /// This thread's run loop, made on first use (from any thread).
  [[nodiscard]] std::shared_ptr<RunLoop> runLoop();

  /// Starts the thread, which runs `threadMain()` and then exits. Only once; a
  /// second call, or a call on an adopted record, does nothing. The record
  /// must be owned by a `shared_ptr`.
  void start();
  /// The thread body (the platform's "main", renamed beside the static
  /// `main()`); runs the closure given at construction.
  virtual void threadMain();
  /// Whether the thread is running its body, or has finished it.
  ///@{
  [[nodiscard]] bool isExecuting() const noexcept { return state_.load() == State::Executing; }
  [[nodiscard]] bool isFinished() const noexcept { return state_.load() == State::Finished; }
  ///@}

  /// The thread's name as the library records it: at most 63 UTF-8 bytes,
  /// cut before a partial character; empty until set. Any thread.
  [[nodiscard]] String name() const;
  /// Records `name` (cut as above). On the thread itself the kernel also
  /// gets its first 15 bytes; a thread started later gets them at start.
  virtual void setName(StringView name);
  /// Gives the calling thread's kernel record `name`, cut to the kernel's 15
  /// bytes before a partial character. Returns false if the kernel refused.
  static bool setCurrentKernelName(StringView name);
  /// The calling thread's kernel name (at most 15 bytes).
  static String currentKernelName();

  /// Per-thread storage. Only the thread itself may touch its dictionary.
  [[nodiscard]] Dictionary& threadDictionary() noexcept { return dictionary_; }

  /// The cancel flag: set by `cancel`, read by the thread's own loop.
  void cancel() noexcept { cancelled_.store(true, std::memory_order_release); }
  /// Whether `cancel` was called; the body is expected to look and return.
  [[nodiscard]] bool isCancelled() const noexcept {
    return cancelled_.load(std::memory_order_acquire);
  }

  /// Marks the record as gone: its run loop drops pending and later
  /// performs. Called when the thread ends.
  void markExited();

 private:
  enum class State { New, Executing, Finished };
  friend struct ThreadSlot;

  bool isMain_ = false;
  std::atomic<bool> cancelled_{false};
  std::atomic<State> state_{State::New};
  std::function<void()> body_;
  Dictionary dictionary_;
  mutable std::mutex mutex_;
  std::shared_ptr<RunLoop> runLoop_;
  String name_;
  bool exited_ = false;
};

/// `text` as UTF-8 cut to at most `maxBytes` bytes, never inside a character:
///   ("abc", 2) => "ab"      ("aé", 2) => "a"      ("", 5) => ""
std::string truncatedUTF8(StringView text, std::size_t maxBytes);

}  // namespace lx
