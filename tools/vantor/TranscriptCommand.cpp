// `vantor transcript`: the transcript logs this tool writes (the demo logs
// its JSON-RPC conversation), shown styled and rotated by hand.
#include <unistd.h>

#include <charconv>
#include <filesystem>
#include <iostream>
#include <set>

#include "Command.h"
#include "vantorcore/platform/AttributedString+ANSI.h"
#include "vantorcore/platform/NotificationCenter.h"
#include "vantorcore/platform/String+Paths.h"
#include "vantorcore/transcript/LXTranscript.h"
#include "vantorcore/transcript/LXTranscriptLogController.h"

namespace vantor {
namespace {

using lx::String;

constexpr const char* kUsage =
    "usage: vantor transcript show [--session PATH]\n"
    "       vantor transcript rotate [--keep N]\n"
    "\n"
    "show    the shared log (or the session log at PATH) as a transcript window\n"
    "        shows it: connection captions, sent lines in bold green, received\n"
    "        lines in cyan; plain text when standard output is not a terminal.\n"
    "        Of a log over 4 MiB only the end is shown, after a notice.\n"
    "rotate  rotates the shared log as the daily tick after midnight does: a log\n"
    "        begun before today becomes Transcript 1.log, older ones move up, and\n"
    "        logs beyond N (default 7; a negative N means 7) are deleted.";

const Command& self();

// Terminal colours rather than the window's: a terminal theme decides the
// text colour, so direction is told by hue.
lx::LXTranscript::Styles terminalStyles() {
  const lx::LXTranscript::Styles& window = lx::LXTranscript::defaultStyles();
  return {lx::TextAttributes{{}, lx::Color::secondaryLabelColor(), {}, {}},
          lx::TextAttributes{window.outgoing.font, lx::Color::fromRGBA(0.2, 0.8, 0.2), {}, {}},
          lx::TextAttributes{{}, lx::Color::fromRGBA(0.2, 0.7, 0.9), {}, {}}};
}

int show(Arguments args) {
  String path = lx::LXTranscript::logFilePath();
  if (args.size() == 2 && args[0] == "--session") {
    path = lx::stringWithFileSystemRepresentation(args[1]);
  } else if (!args.empty()) {
    return usageError(self(), "show takes only --session PATH");
  }
  std::error_code ec;
  if (!std::filesystem::is_regular_file(lx::fileSystemRepresentation(path), ec)) {
    std::cerr << "vantor transcript: no log at '" << lx::fileSystemRepresentation(path) << "'\n";
    return 1;
  }
  const lx::AttributedString text =
      lx::LXTranscript::displayTranscriptLogAtPath(path, terminalStyles());
  std::cout << (::isatty(STDOUT_FILENO) ? lx::lx_ANSITerminalString(text)
                                        : lx::toUTF8(text.string()));
  return 0;
}

class KeepCount final : public lx::LXTranscriptLogControllerDelegate {
 public:
  explicit KeepCount(std::int64_t keep) : keep_(keep) {}
  std::int64_t transcriptLogExpiresAfterHowManyDaysForController(
      lx::LXTranscriptLogController&) override {
    return keep_;
  }

 private:
  std::int64_t keep_;
};

std::set<std::string> folderContents(const std::filesystem::path& folder) {
  std::set<std::string> names;
  std::error_code ec;
  for (const auto& entry : std::filesystem::directory_iterator(folder, ec)) {
    names.insert(entry.path().filename().string());
  }
  return names;
}

int rotate(Arguments args) {
  std::int64_t keep = lx::LXTranscriptLogController::kDefaultKeepCount;
  if (args.size() == 2 && args[0] == "--keep") {
    const std::string& text = args[1];
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), keep);
    if (error != std::errc() || end != text.data() + text.size()) {
      return usageError(self(), "--keep needs a whole number, not '" + text + "'");
    }
  } else if (!args.empty()) {
    return usageError(self(), "rotate takes only --keep N");
  }
  const std::filesystem::path folder =
      std::filesystem::path(lx::fileSystemRepresentation(lx::LXTranscript::logFilePath()))
          .parent_path();
  bool rotated = false;
  const auto observer = lx::NotificationCenter::defaultCenter().addObserver(
      String(lx::LXTranscriptNotificationLogDidRotate), nullptr,
      [&](const lx::Notification&) { rotated = true; });
  auto delegate = std::make_shared<KeepCount>(keep);
  auto controller = lx::LXTranscriptLogController::sharedInstance();
  controller->setDelegate(delegate);
  controller->rotateLogsIfNeeded();
  std::cout << (rotated ? "rotated" : "nothing to rotate: no log begun before today") << " in "
            << folder.string() << "\n";
  for (const std::string& name : folderContents(folder)) std::cout << "  " << name << "\n";
  return 0;
}

int run(Arguments args) {
  if (args.empty()) return usageError(self(), "missing operation");
  if (args[0] == "show") return show(args.subspan(1));
  if (args[0] == "rotate") return rotate(args.subspan(1));
  return usageError(self(), "unknown operation '" + args[0] + "'");
}

const Command& self() {
  static const Command command{"transcript", "show or rotate the transcript logs", kUsage, run};
  return command;
}

}  // namespace

VANTOR_COMMAND(self());

}  // namespace vantor
