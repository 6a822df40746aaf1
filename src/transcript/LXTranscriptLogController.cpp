#include "vantorcore/transcript/LXTranscriptLogController.h"

#include <unicode/calendar.h>

#include <algorithm>
#include <charconv>

#include "transcript/TranscriptFiles.h"
#include "vantorcore/files/FileManager+Additions.h"
#include "vantorcore/files/FileManager+Folders.h"
#include "vantorcore/platform/Bundle.h"
#include "vantorcore/platform/FileManager.h"
#include "vantorcore/platform/Log.h"
#include "vantorcore/platform/NotificationCenter.h"
#include "vantorcore/platform/RunLoop.h"
#include "vantorcore/platform/StringFormat.h"
#include "vantorcore/transcript/LXTranscript.h"

namespace lx {
namespace {

constexpr double kMillisecondsPerSecond = 1000.0;

// A calendar in the default time zone at `date`, or null when ICU cannot
// make one.
std::unique_ptr<icu::Calendar> calendarAt(Date date) {
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::Calendar> calendar(icu::Calendar::createInstance(status));
  if (U_FAILURE(status) || !calendar) return nullptr;
  calendar->setTime(date.timeIntervalSince1970() * kMillisecondsPerSecond, status);
  if (U_FAILURE(status)) return nullptr;
  // Midnight by era, year, month and day, as the day's first moment.
  const int32_t era = calendar->get(UCAL_ERA, status);
  const int32_t year = calendar->get(UCAL_YEAR, status);
  const int32_t month = calendar->get(UCAL_MONTH, status);
  const int32_t day = calendar->get(UCAL_DATE, status);
  calendar->clear();
  calendar->set(UCAL_ERA, era);
  calendar->set(year, month, day);
  return U_FAILURE(status) ? nullptr : std::move(calendar);
}

Date dateOf(icu::Calendar& calendar, Date fallback) {
  UErrorCode status = U_ZERO_ERROR;
  const UDate millis = calendar.getTime(status);
  return U_FAILURE(status) ? fallback : Date(millis / kMillisecondsPerSecond);
}

// The Finder-style folder metadata file is the one entry rotation never
// touches; every other entry of the folder is a log to rotate or delete.
constexpr StringView kFolderMetadataName = u".DS_Store";

std::optional<Date> fileSystemCreationDate(const String& path) {
  FileManager manager;
  const std::optional<Dictionary> attributes = manager.attributesOfItemAtPath(path);
  if (!attributes) return std::nullopt;
  for (StringView key : {NSFileCreationDate, NSFileModificationDate}) {
    if (const Value* date = attributes->find(key); date && date->isDate()) return *date->asDate();
  }
  return std::nullopt;
}

}  // namespace

Date LXTranscriptLogController::startOfDay(Date date) {
  std::unique_ptr<icu::Calendar> calendar = calendarAt(date);
  return calendar ? dateOf(*calendar, date) : date;
}

Date LXTranscriptLogController::nextFireDate() {
  const Date now = Date::now();
  std::unique_ptr<icu::Calendar> calendar = calendarAt(now);
  if (!calendar) return now.addingTimeInterval(kRotationInterval);
  UErrorCode status = U_ZERO_ERROR;
  calendar->add(UCAL_DATE, 1, status);
  calendar->add(UCAL_SECOND, 1, status);
  return U_FAILURE(status) ? now.addingTimeInterval(kRotationInterval) : dateOf(*calendar, now);
}

void LXTranscriptLogController::sharedInstanceInitialize() {
  setRotationDate(startOfDay(Date::now()));
  // The controller is never destroyed, so the timer may hold it plainly.
  timer_ =
      Timer::make(nextFireDate(), kRotationInterval, true, [this](Timer&) { rotateTimerFired(); });
  RunLoop::main()->addTimer(timer_, DefaultRunLoopMode);
}

Date LXTranscriptLogController::rotationDate() const {
  std::lock_guard lock(mutex_);
  return rotationDate_;
}

void LXTranscriptLogController::setRotationDate(Date date) {
  std::lock_guard lock(mutex_);
  rotationDate_ = date;
}

void LXTranscriptLogController::setDelegate(
    std::weak_ptr<LXTranscriptLogControllerDelegate> delegate) {
  std::lock_guard lock(mutex_);
  delegate_ = std::move(delegate);
}

std::shared_ptr<LXTranscriptLogControllerDelegate> LXTranscriptLogController::delegate() const {
  std::lock_guard lock(mutex_);
  return delegate_.lock();
}

void LXTranscriptLogController::setCreationDateSource(CreationDateSource source) {
  std::lock_guard lock(mutex_);
  creationDateSource_ = std::move(source);
}

std::optional<Date> LXTranscriptLogController::creationDateOfFile(const String& path) const {
  CreationDateSource source;
  {
    std::lock_guard lock(mutex_);
    source = creationDateSource_;
  }
  return source ? source(path) : fileSystemCreationDate(path);
}

void LXTranscriptLogController::rescheduleRotationTimer() { timer_->setFireDate(nextFireDate()); }

void LXTranscriptLogController::rotateTimerFired() {
  rotateLogsIfNeeded();
  rescheduleRotationTimer();
}

void LXTranscriptLogController::rotateLogsIfNeeded() {
  const std::optional<Value> executable =
      Bundle::main().objectForInfoDictionaryKey(u"CFBundleExecutable");
  if (!executable || !executable->isString() || executable->asString()->empty()) {
    LXConditionFailed(u"No application name found");
  }
  FileManager manager;
  const std::optional<String> folder = lx_applicationSupportSubFolder(manager, u"Logs");
  if (!folder || !lx_directoryExistsAtPath(manager, *folder)) return;
  const std::optional<std::vector<String>> names = manager.contentsOfDirectoryAtPath(*folder);
  if (!names) return;

  // Newest first; a file without a date counts as the oldest.
  std::vector<std::pair<String, Date>> logs;
  for (const String& name : *names) {
    if (name == kFolderMetadataName) continue;
    const String path = *folder + u"/" + name;
    logs.emplace_back(path, creationDateOfFile(path).value_or(Date::distantPast()));
  }
  if (logs.empty()) return;
  std::stable_sort(logs.begin(), logs.end(),
                   [](const auto& a, const auto& b) { return a.second > b.second; });

  const std::shared_ptr<LXTranscriptLogControllerDelegate> host = delegate();
  std::int64_t keep = host ? host->transcriptLogExpiresAfterHowManyDaysForController(*this) : 0;
  if (keep < 0) keep = kDefaultKeepCount;
  if (!(rotationDate() > logs.front().second)) return;

  for (auto k = static_cast<std::int64_t>(logs.size()); k >= 1; --k) {
    const String& path = logs[static_cast<std::size_t>(k - 1)].first;
    if (keep > k) {
      const String target = *folder + stringWithFormat(u"/Transcript %i.log", static_cast<int>(k));
      if (target != path) manager.moveItemAtPath(path, target);
    } else {
      manager.removeItemAtPath(path);
    }
  }
  NotificationCenter::defaultCenter().post(LXTranscriptNotificationLogDidRotate);
}

}  // namespace lx
