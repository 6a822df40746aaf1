#include "vantorcore/transcript/LXTranscriptLogController.h"

#include <gtest/gtest.h>
#include <unicode/timezone.h>

#include <filesystem>
#include <map>
#include <set>

#include "transcript/TranscriptTestSupport.h"
#include "vantorcore/platform/Bundle.h"
#include "vantorcore/platform/Log.h"

namespace lx {
namespace {

namespace fs = std::filesystem;

constexpr double kDay = 86400;
/// 2026-11-24 00:00:00 UTC, the cut-off in these tests.
constexpr double kCutOff = 1795478400.0;

/// Pins ICU's default time zone for the life of the object.
class TimeZoneScope {
 public:
  explicit TimeZoneScope(const char* zone) : saved_(icu::TimeZone::createDefault()) {
    icu::TimeZone::adoptDefault(icu::TimeZone::createTimeZone(zone));
  }
  ~TimeZoneScope() { icu::TimeZone::adoptDefault(saved_); }

 private:
  icu::TimeZone* saved_;
};

class FixedKeepCount final : public LXTranscriptLogControllerDelegate {
 public:
  explicit FixedKeepCount(std::int64_t keep) : keep_(keep) {}
  std::int64_t transcriptLogExpiresAfterHowManyDaysForController(
      LXTranscriptLogController&) override {
    ++calls;
    return keep_;
  }
  int calls = 0;

 private:
  std::int64_t keep_;
};

/// The logs folder with files made afresh: name => creation date, which the
/// controller reads from this table; contents are the names themselves.
class LogsFolder {
 public:
  explicit LogsFolder(std::map<std::string, double> created) : created_(std::move(created)) {
    fs::remove_all(path());
    fs::create_directories(path());
    for (const auto& [name, date] : created_) test::writeFile(path() / name, name);
    auto controller = LXTranscriptLogController::sharedInstance();
    controller->setCreationDateSource([this](const String& file) -> std::optional<Date> {
      auto it = created_.find(fs::path(toUTF8(file)).filename().string());
      if (it == created_.end()) return std::nullopt;
      return Date(it->second);
    });
    rotations_ = NotificationCenter::defaultCenter().addObserver(
        String(LXTranscriptNotificationLogDidRotate), nullptr,
        [this](const Notification&) { ++posted; });
  }
  // Leaves an empty logs folder, as transcripts expect one.
  ~LogsFolder() {
    LXTranscriptLogController::sharedInstance()->setCreationDateSource(nullptr);
    fs::remove_all(path());
    fs::create_directories(path());
  }

  static fs::path path() { return fs::path(toUTF8(LXTranscript::logFilePath())).parent_path(); }

  /// File name => contents (the name the file was made with).
  std::map<std::string, std::string> contents() const {
    std::map<std::string, std::string> found;
    for (const auto& entry : fs::directory_iterator(path())) {
      found[entry.path().filename().string()] = test::readFile(entry.path());
    }
    return found;
  }

  int posted = 0;

 private:
  std::map<std::string, double> created_;
  NotificationCenter::Token rotations_;
};

// The first n logs after a rotation, each one number on: file name => contents.
std::map<std::string, std::string> shifted(int n) {
  std::map<std::string, std::string> files;
  for (int i = 0; i < n; ++i) {
    files["Transcript " + std::to_string(i + 1) + ".log"] =
        i ? "Transcript " + std::to_string(i) + ".log" : "Transcript.log";
  }
  return files;
}

struct RotationCase {
  const char* name;
  std::map<std::string, double> created;
  std::optional<std::int64_t> keep;  // absent: no delegate
  std::map<std::string, std::string> after;
  bool posted;
};

TEST(LXTranscriptLogControllerTest, RotationRenumbersKeepsAndDeletes) {
  const double yesterday = kCutOff - kDay / 2, older = kCutOff - 2 * kDay;
  const auto dated = [&](int n) {  // n logs, newest first, a day apart
    std::map<std::string, double> files = {{"Transcript.log", yesterday}};
    for (int i = 1; i < n; ++i)
      files["Transcript " + std::to_string(i) + ".log"] = yesterday - i * kDay;
    return files;
  };
  const RotationCase cases[] = {
      {"yesterday's log with an archive and a stranger, keep 7",
       {{"Transcript.log", yesterday}, {"Transcript 1.log", older}, {".DS_Store", older}},
       7,
       {{"Transcript 1.log", "Transcript.log"},
        {"Transcript 2.log", "Transcript 1.log"},
        {".DS_Store", ".DS_Store"}},
       true},
      {"log begun after the cut-off stays",
       {{"Transcript.log", kCutOff + 1}, {"Transcript 1.log", older}},
       7,
       {{"Transcript.log", "Transcript.log"}, {"Transcript 1.log", "Transcript 1.log"}},
       false},
      {"log begun at the cut-off stays",
       {{"Transcript.log", kCutOff}},
       7,
       {{"Transcript.log", "Transcript.log"}},
       false},
      {"log begun just before the cut-off moves",
       {{"Transcript.log", kCutOff - 0.001}},
       7,
       {{"Transcript 1.log", "Transcript.log"}},
       true},
      {"keep 3 of five", dated(5), 3, shifted(2), true},
      {"keep 2 of five", dated(5), 2, shifted(1), true},
      {"keep 1 deletes all", dated(3), 1, {}, true},
      {"keep 0 deletes all", dated(3), 0, {}, true},
      {"-1 means 7: seven of eight", dated(8), -1, shifted(6), true},
      {"no delegate deletes every entry but .DS_Store, whatever its name",
       {{"Transcript.log", yesterday},
        {"Transcript 1.log", older},
        {"notes.txt", older},
        {"Transcript x.log", older},
        {".DS_Store", older}},
       std::nullopt,
       {{".DS_Store", ".DS_Store"}},
       true},
      {"a stranger is numbered by its date like any log",
       {{"Transcript.log", yesterday}, {"notes.txt", older}},
       7,
       {{"Transcript 1.log", "Transcript.log"}, {"Transcript 2.log", "notes.txt"}},
       true},
      {"order comes from dates, not names",
       {{"Transcript.log", older}, {"Transcript 1.log", yesterday}},
       7,
       {{"Transcript 1.log", "Transcript 1.log"}, {"Transcript 2.log", "Transcript.log"}},
       true},
      {"only .DS_Store: nothing to rotate, nothing posted",
       {{".DS_Store", older}},
       7,
       {{".DS_Store", ".DS_Store"}},
       false},
  };
  auto controller = LXTranscriptLogController::sharedInstance();
  controller->setRotationDate(Date(kCutOff));
  for (const RotationCase& c : cases) {
    SCOPED_TRACE(c.name);
    LogsFolder folder(c.created);
    auto delegate = c.keep ? std::make_shared<FixedKeepCount>(*c.keep) : nullptr;
    controller->setDelegate(delegate);
    controller->rotateLogsIfNeeded();
    EXPECT_EQ(folder.contents(), c.after);
    EXPECT_EQ(folder.posted, c.posted ? 1 : 0);
    // Asked whenever there are logs, even when nothing moves.
    if (delegate) {
      EXPECT_EQ(delegate->calls, c.created.count("Transcript.log") ? 1 : 0);
    }
  }
  controller->setDelegate({});
}

TEST(LXTranscriptLogControllerTest, MissingExecutableNameIsReportedAndRotationGoesOn) {
  auto controller = LXTranscriptLogController::sharedInstance();
  controller->setRotationDate(Date(kCutOff));
  Bundle& main = Bundle::main();
  const Dictionary saved = main.infoDictionary();
  Dictionary unnamed = saved;
  unnamed.set(u"CFBundleExecutable", u"");
  main.setInfoDictionary(unnamed);
  std::vector<String> logged;
  LogSink previous = setLogSink([&](const String& line) { logged.push_back(line); });
  LogsFolder folder({{"Transcript.log", kCutOff - 1}});
  controller->rotateLogsIfNeeded();
  setLogSink(previous);
  main.setInfoDictionary(saved);
  EXPECT_EQ(logged, std::vector<String>{u"CONDITION FAILED: No application name found"});
  EXPECT_EQ(folder.posted, 1);
}

TEST(LXTranscriptLogControllerTest, NextFireDateIsOneSecondIntoTheDayAfter) {
  const struct {
    const char* zone;
    double now;
    double expected;
  } cases[] = {
      {"UTC", kCutOff + kDay - 1, kCutOff + kDay + 1},  // 23:59:59
      {"UTC", kCutOff, kCutOff + kDay + 1},             // 00:00:00
      {"UTC", kCutOff + 1, kCutOff + kDay + 1},         // 00:00:01
      {"UTC", kCutOff + 0.5, kCutOff + kDay + 1},       // 00:00:00.5
      {"Europe/Berlin", kCutOff - 3600, kCutOff + kDay - 3600 + 1},
      // Noon of 2026-03-29 in Berlin, a 23-hour day.
      {"Europe/Berlin", 1774778400.0, 1774821601.0},
      // Noon of 2026-10-25 in Berlin, a 25-hour day.
      {"Europe/Berlin", 1792926000.0, 1792969201.0},
  };
  test::ManualClockScope time;
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.zone) + " " + std::to_string(c.now));
    TimeZoneScope zone(c.zone);
    time.clock().setCurrentDate(Date(c.now));
    EXPECT_EQ(LXTranscriptLogController::nextFireDate(), Date(c.expected));
  }
}

TEST(LXTranscriptLogControllerTest, DailyTickRotatesAcrossMidnightAndSurvivesAClockSetBack) {
  TimeZoneScope zone("UTC");
  test::ManualClockScope time;
  time.clock().setCurrentDate(Date(kCutOff + kDay - 2));  // 23:59:58 on the cut-off day
  auto controller = LXTranscriptLogController::sharedInstance();
  controller->setRotationDate(Date(kCutOff));
  auto keep = std::make_shared<FixedKeepCount>(-1);
  controller->setDelegate(keep);
  controller->rescheduleRotationTimer();
  EXPECT_EQ(controller->rotationTimer()->fireDate(), Date(kCutOff + kDay + 1));

  LogsFolder folder({{"Transcript.log", kCutOff - 10}, {"Transcript 1.log", kCutOff - kDay}});
  time.advance(2);  // midnight: not yet
  ASSERT_TRUE(LXTranscript::waitUntilWritten());
  EXPECT_EQ(folder.posted, 0);
  time.advance(1);  // 00:00:01
  ASSERT_TRUE(test::spinUntil([&] { return folder.posted == 1; }));
  EXPECT_EQ(folder.contents(), shifted(2));
  EXPECT_EQ(controller->rotationTimer()->fireDate(), Date(kCutOff + 2 * kDay + 1));

  // The clock is set back across midnight: the next tick is aimed at the
  // coming 00:00:01 again, and the log begun after the cut-off stays put.
  LogsFolder fresh({{"Transcript.log", kCutOff + kDay + 2}});
  time.clock().setCurrentDate(Date(kCutOff + kDay - 30));
  controller->rotateTimerFired();
  EXPECT_EQ(controller->rotationTimer()->fireDate(), Date(kCutOff + kDay + 1));
  EXPECT_EQ(fresh.posted, 0);
  EXPECT_EQ(fresh.contents(),
            (std::map<std::string, std::string>{{"Transcript.log", "Transcript.log"}}));
  controller->setDelegate({});
}

// Without a creation date source the files' birth times order them; a file
// where the folder belongs is left alone.
TEST(LXTranscriptLogControllerTest, BirthTimesOrderRealFilesAndAFileForTheFolderIsLeftAlone) {
  auto controller = LXTranscriptLogController::sharedInstance();
  const fs::path logs = LogsFolder::path();
  fs::remove_all(logs);
  test::writeFile(logs / "Transcript 1.log", "older");
  test::writeFile(logs / "Transcript.log", "newer");
  controller->setRotationDate(Date::now().addingTimeInterval(kDay));
  auto keep = std::make_shared<FixedKeepCount>(7);
  controller->setDelegate(keep);
  controller->rotateLogsIfNeeded();
  EXPECT_EQ(test::readFile(logs / "Transcript 1.log"), "newer");
  EXPECT_EQ(test::readFile(logs / "Transcript 2.log"), "older");

  fs::remove_all(logs);
  test::writeFile(logs, "a file where the folder belongs");
  controller->rotateLogsIfNeeded();
  controller->setDelegate({});
  EXPECT_EQ(test::readFile(logs), "a file where the folder belongs");
  fs::remove(logs);
  fs::create_directories(logs);
}

}  // namespace
}  // namespace lx
