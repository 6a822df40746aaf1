// The library's standard timer tolerance, and run-loop timers made with it.
#pragma once

#include "vantorcore/Export.h"

#include <memory>
#include <string>

#include "vantorcore/platform/Timer.h"

namespace LX_API lx {

/// The tolerance the library gives a timer of `interval` seconds: a tenth of
/// it, a fifth above 180 s, a quarter above 300 s, three tenths above 600 s
/// (bounds exclusive):
///   0.33 => 0.033    180 => 18    181 => 36.2    301 => 75.25    601 => 180.3
double lx_toleranceForTimeInterval(double interval) noexcept;

/// Sets `timer`'s tolerance to `lx_toleranceForTimeInterval` of its interval.
void lx_setDefaultTolerance(Timer& timer);

/// Unscheduled timers with the default tolerance. The target/selector form
/// calls the method named `selector` with the timer; it is null when the
/// target has no such method.
std::shared_ptr<Timer> lx_tolerantTimerWithTimeInterval(double interval,
                                                        std::shared_ptr<Object> target,
                                                        std::string selector, Value userInfo,
                                                        bool repeats);
/// A timer not yet scheduled whose tolerance is the default share of `interval`.
std::shared_ptr<Timer> lx_tolerantTimerWithTimeInterval(double interval, bool repeats,
                                                        Timer::Callback block);

/// The same, added to the current run loop in the default mode.
std::shared_ptr<Timer> lx_scheduledTolerantTimerWithTimeInterval(double interval,
                                                                 std::shared_ptr<Object> target,
                                                                 std::string selector,
                                                                 Value userInfo, bool repeats);
/// The same, scheduled on the current run loop in the default mode.
std::shared_ptr<Timer> lx_scheduledTolerantTimerWithTimeInterval(double interval, bool repeats,
                                                                 Timer::Callback block);

/// An unscheduled timer first firing at `fireDate`, then every `interval`
/// seconds when `repeats`, with the default tolerance; null when the target
/// has no method named `selector`.
std::shared_ptr<Timer> initTolerantWithFireDate(Date fireDate, double interval,
                                                std::shared_ptr<Object> target,
                                                std::string selector, Value userInfo, bool repeats);

}  // namespace lx
