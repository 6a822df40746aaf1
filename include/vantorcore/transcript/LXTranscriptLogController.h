// `LXTranscriptLogController`: rotates the application's shared transcript
// log once a day, just after local midnight.
//
// In the logs folder (the application-support subfolder "Logs") the
// current log "Transcript.log" becomes "Transcript 1.log", older archives
// "Transcript <n>.log" move up by one, and what lies beyond the keep count
// is deleted; then `LXTranscriptNotificationLogDidRotate` is posted and every
// living transcript continues the new log with a "(continued)" line. Every
// entry of the folder except ".DS_Store" takes part, whatever its name: the
// folder is the logs' own, so anything else found there is an old log too.
//
// Creation dates are the files' birth times (statx). On a file system that
// records none (some network and FUSE file systems, kernels before 4.11) the
// modification date stands in: a shared log that was written to on or after
// the cut-off then stays in place until a day on which nothing was logged
// after midnight.
//
// All work happens on the main thread (the timer runs in the main run
// loop's default mode; call the operations there). Every date comes from
// `Clock::current()`, so tests move across midnight by hand.
#pragma once

#include "vantorcore/Export.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

#include "vantorcore/concurrency/LXSharedInstance.h"
#include "vantorcore/platform/Date.h"
#include "vantorcore/platform/Timer.h"

namespace LX_API lx {

class LXTranscriptLogController;

/// The host's say in how many logs are kept.
class LXTranscriptLogControllerDelegate {
 public:
  virtual ~LXTranscriptLogControllerDelegate() = default;
  /// How many log files to keep, the current one included; a negative
  /// answer means `LXTranscriptLogController::kDefaultKeepCount`.
  virtual std::int64_t transcriptLogExpiresAfterHowManyDaysForController(
      LXTranscriptLogController& controller) = 0;
};

class LXTranscriptLogController : public LXSharedInstance<LXTranscriptLogController> {
  friend class LXSharedInstance<LXTranscriptLogController>;

 public:
  /// The keep count of a delegate that answers a negative number.
  static constexpr std::int64_t kDefaultKeepCount = 7;
  /// Seconds between daily ticks.
  static constexpr double kRotationInterval = 86400;

  /// Where a file's creation date comes from; absent when it has none.
  using CreationDateSource = std::function<std::optional<Date>(const String& path)>;

  /// 00:00:01 local time of the day after today:
  ///   at 2026-11-24 23:59:59 => 2026-11-25 00:00:01
  ///   at 2026-11-25 00:00:00 => 2026-11-26 00:00:01
  /// Calendar arithmetic in the default time zone, so days of 23 or 25
  /// hours land on 00:00:01 too.
  static Date nextFireDate();
  /// 00:00:00 local time of the day holding `date`.
  static Date startOfDay(Date date);

  /// The cut-off: the current log is rotated only when it was created
  /// before it. Set to the start of the day the controller was made and
  /// changed only by `setRotationDate`. Any thread.
  [[nodiscard]] Date rotationDate() const;
  /// When the shared log is next rotated.
  void setRotationDate(Date date);

  /// The delegate, held weakly; none (or a dead one) keeps 0 files, so a
  /// rotation deletes every log.
  void setDelegate(std::weak_ptr<LXTranscriptLogControllerDelegate> delegate);
  /// The delegate, held weakly; null when none was set or it is gone.
  [[nodiscard]] std::shared_ptr<LXTranscriptLogControllerDelegate> delegate() const;

  /// Replaces how creation dates are read (null restores the file system's:
  /// birth time, else modification date).
  void setCreationDateSource(CreationDateSource source);

  /// The daily timer: first at `nextFireDate()` when the controller was
  /// made, then every day.
  [[nodiscard]] const std::shared_ptr<Timer>& rotationTimer() const noexcept { return timer_; }
  /// Aims the timer at `nextFireDate()` again, as each tick does, for a host
  /// that learns the clock or the time zone changed.
  void rescheduleRotationTimer();

  /// The rotation. Does nothing when the logs folder does not exist, holds
  /// no log, or its newest log was created on or after `rotationDate()`
  /// (ties do not rotate). Otherwise, newest first, log k (from 1) becomes
  /// "Transcript k.log" while the keep count is greater than k and is
  /// deleted otherwise, oldest first so each name is free when needed:
  ///   keep 7, three logs => Transcript 1.log, 2.log, 3.log
  ///   keep 3, five logs  => Transcript 1.log, 2.log; the other three deleted
  ///   keep 0 or 1        => every log deleted
  /// A failed move or deletion is skipped. Posts
  /// `LXTranscriptNotificationLogDidRotate` (no object) afterwards. Without
  /// an executable name in the main bundle it first logs "CONDITION FAILED:
  /// No application name found". Main thread.
  void rotateLogsIfNeeded();
  /// The daily tick: rotates, then `rescheduleRotationTimer`.
  void rotateTimerFired();

 private:
  LXTranscriptLogController() = default;
  void sharedInstanceInitialize() override;
  [[nodiscard]] std::optional<Date> creationDateOfFile(const String& path) const;

  mutable std::mutex mutex_;  // guards the three fields below
  Date rotationDate_;
  std::weak_ptr<LXTranscriptLogControllerDelegate> delegate_;
  CreationDateSource creationDateSource_;
  std::shared_ptr<Timer> timer_;
};

}  // namespace lx
