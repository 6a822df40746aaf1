// `LXGCDTimer`: a dispatch timer that calls a closure on a dispatch queue.
// The message queue paces itself with it.
#pragma once

#include "vantorcore/Export.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>

#include "vantorcore/platform/DispatchQueue.h"
#include "vantorcore/platform/Object.h"

namespace LX_API lx {

class LXGCDTimer : public Object {
  LX_DECLARE_CLASS(LXGCDTimer)
  struct Key {};

 public:
  /// The timer's handler, called on its queue with the timer itself (so it can cancel).
  using Block = std::function<void(LXGCDTimer& timer)>;

  /// A suspended timer: nothing fires until `start`. It then fires
  /// `interval` seconds after being armed and, when `repeats`, every
  /// `interval` after that; each call of `block` runs on `queue` (the
  /// default global queue when null) and may be late by up to `tolorance`
  /// seconds (the name's spelling is the library's). Seconds become whole
  /// nanoseconds, truncated; negative values count as 0.
  static std::shared_ptr<LXGCDTimer> initWithTimeInterval(double interval, double tolorance,
                                                          std::shared_ptr<DispatchQueue> queue,
                                                          bool repeats, Block block);
  /// On the default global queue with no tolerance; suspended.
  static std::shared_ptr<LXGCDTimer> initWithTimeInterval(double interval, bool repeats,
                                                          Block block);
  /// On the default global queue with `lx_toleranceForTimeInterval(interval)`,
  /// already started.
  static std::shared_ptr<LXGCDTimer> scheduledTolerantTimerWithTimeInterval(double interval,
                                                                            bool repeats,
                                                                            Block block);

  /// Made by the factory functions above; the key keeps the constructor private to them.
  LXGCDTimer(Key, double interval, double tolerance, std::shared_ptr<DispatchQueue> queue,
             bool repeats, Block block);
  ~LXGCDTimer() override;

  /// Re-arms: next event `interval` from now, then every `interval` when
  /// repeating (never again otherwise).
  void resetInterval();
  /// Lets the timer run; from then on it keeps itself alive until
  /// invalidated. Meant to be called once; later calls do nothing.
  void start();
  /// Calls the closure now on the calling thread (if the timer is valid),
  /// then re-arms a repeating timer from now, or invalidates a one-shot one.
  void fire();
  /// Stops the timer for good. Any thread, also from inside its closure.
  void invalidate();
  /// Whether the timer has not been invalidated (a one-shot timer is
  /// invalid once its call has been made).
  [[nodiscard]] bool isValid() const;

  /// The schedule as set up: interval and leeway in nanoseconds, and whether it fires more than
  /// once.
  ///@{
  [[nodiscard]] std::uint64_t intervalNanoseconds() const noexcept { return interval_; }
  [[nodiscard]] std::uint64_t leewayNanoseconds() const noexcept { return leeway_; }
  [[nodiscard]] bool repeats() const noexcept { return repeats_; }
  ///@}

 private:
  void onEvent();

  // Serialises fire and invalidate, re-entrantly: the closure that `fire`
  // runs may invalidate.
  mutable std::recursive_mutex lock_;
  std::shared_ptr<DispatchTimerSource> timer_;
  const std::uint64_t interval_;
  const std::uint64_t leeway_;
  const bool repeats_;
  const Block block_;
  std::shared_ptr<LXGCDTimer> selfWhileRunning_;
};

}  // namespace lx
