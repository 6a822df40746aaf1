// Helpers shared by the transcript tests.
#pragma once

#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "concurrency/ConcurrencyTestSupport.h"
#include "support/TestSupport.h"
#include "vantorcore/platform/NotificationCenter.h"
#include "vantorcore/transcript/LXTranscript.h"

namespace lx::test {

/// 2026-11-24 08:40:00 UTC.
inline constexpr double kMorning = 1795509600.0;

/// A connection with a fixed identifier (null for none).
class FakeConnection final : public LXTranscriptConnection {
 public:
  explicit FakeConnection(std::shared_ptr<LXUUID> uuid = LXUUID::UUID()) : uuid_(std::move(uuid)) {}
  std::shared_ptr<LXUUID> uuid() const override { return uuid_; }

 private:
  std::shared_ptr<LXUUID> uuid_;
};

/// The lines of a file, without their newlines.
inline std::vector<std::string> fileLines(const String& path) {
  std::vector<std::string> lines;
  std::istringstream text(readFile(toUTF8(path)));
  for (std::string line; std::getline(text, line);) lines.push_back(line);
  return lines;
}

/// A session log's lines after its header (the first five lines).
inline std::vector<std::string> sessionLines(const LXTranscript& transcript) {
  std::vector<std::string> lines = fileLines(transcript.localLogFilePath());
  lines.erase(lines.begin(), lines.begin() + std::min<std::size_t>(lines.size(), 5));
  return lines;
}

/// Records the display notifications of one transcript, in order.
class DisplayRecorder {
 public:
  explicit DisplayRecorder(const std::shared_ptr<LXTranscript>& transcript) {
    auto& center = NotificationCenter::defaultCenter();
    will_ = center.addObserver(String(LXTranscriptNotificationContentsWillChange), transcript,
                               [this](const Notification&) { events.push_back("will"); });
    did_ = center.addObserver(
        String(LXTranscriptNotificationContentsDidChange), transcript,
        [this](const Notification& n) {
          const Value* content = n.userInfo().find(LXTranscriptNotificationContent);
          auto text = content ? content->objectAs<MutableAttributedString>() : nullptr;
          events.push_back("did");
          shown.push_back(text ? text->attributedString() : AttributedString());
        });
  }

  std::vector<std::string> events;
  std::vector<AttributedString> shown;

 private:
  NotificationCenter::Token will_;
  NotificationCenter::Token did_;
};

/// A stamp as the transcript writes it with the formatter pinned to
/// "en_US" and UTC.
inline std::string stamp(const char* shortDate, const char* time) {
  return std::string("[") + shortDate + ", " + time + "\u202f" + "AM UTC]";
}

/// A transcript whose stamps are pinned to "en_US" in UTC.
inline std::shared_ptr<LXTranscript> pinnedTranscript(std::optional<String> name) {
  auto transcript = LXTranscript::initWithDisplayName(std::move(name), u"pinned");
  transcript->dateFormatter()->setLocale("en_US");
  transcript->dateFormatter()->setTimeZone(String(u"UTC"));
  return transcript;
}

}  // namespace lx::test
