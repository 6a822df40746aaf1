// A transcript: the record of one session's conversation, written to a
// session log and to the shared "Transcript.log" on the transcript queue,
// and handed to the display (a notification on the main thread) in batches.
//
// Every folder the transcript touches (application support, caches,
// temporary items) is pointed at a fresh temporary folder before the first
// library call, so the example leaves nothing behind.
#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "vantorcore/platform/FileIO.h"
#include "vantorcore/platform/MutableAttributedString.h"
#include "vantorcore/platform/NotificationCenter.h"
#include "vantorcore/text/LXUUID.h"
#include "vantorcore/transcript/LXTranscript.h"
#include "vantorcore/transcript/LXTranscriptConnection.h"

// A connection is anything with a UUID; its lines carry its index.
class ServerConnection : public lx::LXTranscriptConnection {
 public:
  std::shared_ptr<lx::LXUUID> uuid() const override { return uuid_; }

 private:
  std::shared_ptr<lx::LXUUID> uuid_ = lx::LXUUID::UUID();
};

std::string fileText(const lx::String& path) {
  auto data = lx::readFileContents(path);
  return data ? std::string(data->begin(), data->end()) : std::string("(unreadable)");
}

int main() {
  char folder[] = "/tmp/vantor-example-XXXXXX";
  if (!mkdtemp(folder)) return 1;
  for (const char* variable : {"HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME", "TMPDIR"}) {
    setenv(variable, folder, 1);
  }

  // The display side: text arrives on the main thread while its run loop runs.
  std::string displayed;
  auto token = lx::NotificationCenter::defaultCenter().addObserver(
      lx::String(lx::LXTranscriptNotificationContentsDidChange), nullptr,
      [&displayed](const lx::Notification& note) {
        auto content = note.userInfo()[lx::LXTranscriptNotificationContent]
                           .objectAs<lx::MutableAttributedString>();
        if (content) displayed += lx::toUTF8(content->attributedString().string());
      });

  auto transcript = lx::LXTranscript::transcriptWithDisplayName(u"example.org", u"session-1");
  ServerConnection connection;
  transcript->appendTranscript(connection, u"GET /status", true);
  transcript->appendTranscript(connection, u"200 OK\n{\"state\":\"ready\"}", false);
  transcript->flush();  // show it now rather than after the 1.2 s pause

  // The main thread must keep its run loop going while the queue hands over.
  if (!lx::LXTranscript::waitUntilWritten(5)) return 1;

  const std::string session = fileText(transcript->localLogFilePath());
  const std::string shared = fileText(lx::LXTranscript::logFilePath());
  std::printf("-- display --\n%s\n-- session log %s --\n%s-- shared log %s --\n%s",
              displayed.c_str(), lx::toUTF8(transcript->localLogFilePath()).c_str(),
              session.c_str(), lx::toUTF8(lx::LXTranscript::logFilePath()).c_str(), shared.c_str());

  const bool ok = session.find("example.org [1]: -> GET /status") != std::string::npos &&
                  shared.find("example.org [1]: 200 OK") != std::string::npos &&
                  displayed.find("GET /status") != std::string::npos;
  lx::LXTranscript::deleteTranscriptForSessionKey(u"session-1");
  transcript.reset();
  std::filesystem::remove_all(folder);
  return ok ? 0 : 1;
}
