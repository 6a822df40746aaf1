// `LXTranscript`: the record of one session's conversation (a server
// connection, a child process's JSON-RPC stream), kept in three places at
// once: styled text handed to the display in batches, a session log in a
// fresh folder of the temporary-items folder, and the application's shared
// log "Transcript.log" in the application-support folder "Logs".
//
// Log lines, UTF-8:
//   "<name> [<index>]: -> <line>\n"  sent
//   "<name> [<index>]: <line>\n"     received
//   "[<short date, long time>]\n"    as the first line of a message that
//                                    comes more than 1.0 s after the last stamp
//   "<name> [<connectionIndex>] (continued)\n\n"
//                                    shared log, after a rotation
//   "\n**********\n\nDate/Time: 2026-11-24 08:40:00 +0000\n\n"
//                                    session header: in the shared log when a
//                                    transcript is made, at the top of each
//                                    session log
// Lines shorter than 2 UTF-16 units are skipped everywhere.
//
// Threads: appending, flushing, clearing and rotation run on one serial
// queue shared by every transcript (`transcriptQueue()`); callers on any
// thread return at once. Display text is handed over on the main thread,
// whose run loop must run (in a common mode): the queue waits for it during
// a hand-over, so the main thread must never wait for the queue
// (`waitUntilWritten` runs the run loop while it waits). The registry
// functions are for the main thread.
//
// Files are opened for each round of queued lines (one line when the
// queue keeps up, up to 1 MiB under load) and closed right after; a
// rotation notice is handled only after the lines queued before it are
// written, so when the log controller moves "Transcript.log" aside no
// handle keeps writing into the archive. A file that cannot be opened or
// written (a "Logs" folder that could not be made, a full disk) loses that
// round's lines in that file only; the next round tries again. Nothing is
// reported to callers.
#pragma once

#include "vantorcore/Export.h"

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>

#include "vantorcore/platform/AttributedString.h"
#include "vantorcore/platform/DateFormatter.h"
#include "vantorcore/platform/DispatchQueue.h"
#include "vantorcore/platform/MutableAttributedString.h"
#include "vantorcore/platform/NotificationCenter.h"
#include "vantorcore/platform/Timer.h"
#include "vantorcore/transcript/LXTranscriptConnection.h"
#include "vantorcore/transcript/LXTranscriptConnectionCache.h"

namespace LX_API lx {

namespace transcript {
class LineBatch;
class WorkList;
}  // namespace transcript

/// Posted on the main thread, object the transcript, before new text is
/// handed over.
inline constexpr StringView LXTranscriptNotificationContentsWillChange =
    u"LXTranscriptNotificationContentsWillChange";
/// Posted right after, with the text to append under
/// `LXTranscriptNotificationContent` (a `MutableAttributedString` that is
/// emptied once observers return: copy what you keep).
inline constexpr StringView LXTranscriptNotificationContentsDidChange =
    u"LXTranscriptNotificationContentsDidChange";
/// Posted by the log controller after it moved the shared log aside.
inline constexpr StringView LXTranscriptNotificationLogDidRotate =
    u"LXTranscriptNotificationLogDidRotate";
/// The user-info key of `LXTranscriptNotificationContentsDidChange`.
inline constexpr StringView LXTranscriptNotificationContent = u"LXTranscriptNotificationContent";

class LXTranscript : public Object {
  LX_DECLARE_CLASS(LXTranscript)
  struct Key {};

 public:
  /// Seconds a flush waits for the stream to go quiet.
  static constexpr double kFlushDelay = 1.2;
  /// Postponements after which the next message forces the flush: the 32nd
  /// message of a steady stream is shown with the 31 before it.
  static constexpr std::uint64_t kMaximumDeferrals = 30;
  /// A message more than this many seconds after the last stamp gets one.
  static constexpr double kTimestampInterval = 1.0;
  /// `displayTranscriptLog` shows at most this many bytes of the log's end.
  static constexpr std::uint64_t kDisplayedLogLimit = 4'194'304;

  /// The three styles a log is shown in.
  struct Styles {
    TextAttributes caption;   ///< "<index>: " before each line
    TextAttributes outgoing;  ///< sent lines
    TextAttributes incoming;  ///< received lines, and lines that are not log lines
  };

  /// The transcript registered under `sessionKey`, made and registered when
  /// there is none. A transcript that exists takes `displayName` unless it
  /// is absent. Main thread.
  static std::shared_ptr<LXTranscript> transcriptWithDisplayName(std::optional<String> displayName,
                                                                 StringView sessionKey);
  /// Drops the registry's reference to `sessionKey`'s transcript; it goes
  /// away (deleting its session log) when nobody else holds it. Main thread.
  static void deleteTranscriptForSessionKey(StringView sessionKey);
  /// A transcript outside the registry: writes the session header to the
  /// shared log, makes its session log and starts observing rotations. The
  /// session key only names it in the registry, so it is not kept here.
  static std::shared_ptr<LXTranscript> initWithDisplayName(std::optional<String> displayName,
                                                           StringView sessionKey);

  /// The shared log: "<application support>/Logs/Transcript.log", the
  /// folder made (if it can be) the first time this is asked.
  static String logFilePath();
  /// The serial queue all transcripts work on.
  static std::shared_ptr<DispatchQueue> transcriptQueue();
  /// The style of connection captions: the user's fixed-pitch font at its
  /// own size (else the 11-point system font), secondary label colour.
  static const TextAttributes& connectionLabelAttributes();
  /// The styles of `displayTranscriptLog`: captions as above, sent text in
  /// the bold variant of the fixed-pitch font, received text in the font
  /// itself, both in the control text colour.
  static const Styles& defaultStyles();

  /// Runs the calling thread's run loop until everything queued on the
  /// transcript queue before the call has run (hand-overs included), for a
  /// host about to exit or a test about to look. Main thread; false after
  /// `timeoutSeconds` of real time.
  static bool waitUntilWritten(double timeoutSeconds = 10);

  /// Use the factory functions, which set up the transcript's ownership.
  LXTranscript(Key, std::optional<String> displayName);
  ~LXTranscript() override;

  /// `appendTranscript` with `connection.uuid()`.
  void appendTranscript(const LXTranscriptConnection& connection, StringView text, bool isOutgoing,
                        bool coalesce = false);
  /// Appends a message from the connection `uuid` (null: none, index 0):
  /// an empty text does nothing; with `coalesce`, a text equal to the last
  /// message (whatever its connection or direction) is dropped. Each line of
  /// 2 or more units is logged to both files and added to the display
  /// buffer after the connection's caption. The hand-over is paced: 1.2 s
  /// after the last message, postponed by each new one, forced by the
  /// 32nd. Any thread; returns at once; the time is taken here.
  void appendTranscript(std::shared_ptr<LXUUID> uuid, StringView text, bool isOutgoing,
                        bool coalesce = false);
  /// `flush`, for a connection that wants its text shown now.
  void connectionFlushTranscript(const LXTranscriptConnection& connection);
  /// Hands the buffer to the display (after the work already queued). Any
  /// thread.
  void flush();
  /// Empties the buffer and forgets the connections (indexes restart at 1)
  /// after the work already queued, and starts a new session log at once.
  void clearTranscript();

  /// The session log as styled text, through `displayTranscriptLogAtPath`
  /// with `defaultStyles()`.
  [[nodiscard]] AttributedString displayTranscriptLog() const;
  /// A transcript log as styled text. Lines "<anything> [<digits>]: <text>"
  /// (the first such bracket counts) become the caption "<digits>: " and
  /// the text, sent when it begins "-> " (which is dropped); other lines are
  /// shown as they are, received. Of a file longer than
  /// `kDisplayedLogLimit` bytes only the lines that begin within the last
  /// `kDisplayedLogLimit` bytes are shown, after "Truncated Log File (View
  /// Complete)" (localised) in the sent style on a translucent blue,
  /// linked to the log's folder. Invalid UTF-8 shows as U+FFFD; a missing
  /// or unreadable file gives what could be read, possibly nothing.
  static AttributedString displayTranscriptLogAtPath(StringView path, const Styles& styles);

  /// The name in log lines; an absent or empty name is the localised "Not
  /// Connected". Any thread.
  [[nodiscard]] String displayName() const;
  /// The name shown in the transcript's headings; absent for the default.
  void setDisplayName(std::optional<String> name);
  /// The index the host gives the session, shown in the rotation line.
  [[nodiscard]] std::uint64_t connectionIndex() const noexcept { return connectionIndex_.load(); }
  /// The number shown in captions, set by the connection cache.
  void setConnectionIndex(std::uint64_t index) noexcept { connectionIndex_.store(index); }
  /// The session log, "<temporary items>/<UUID>/Transcript.log".
  [[nodiscard]] String localLogFilePath() const;
  /// The styles of sent and received text in the display buffer.
  [[nodiscard]] const TextAttributes& outgoingAttributes() const noexcept;
  /// The style of received lines.
  [[nodiscard]] const TextAttributes& incomingAttributes() const noexcept;
  /// The stamp formatter (short date, long time, the user's locale and
  /// zone). Change it only before appending, or on the transcript queue.
  [[nodiscard]] const std::shared_ptr<DateFormatter>& dateFormatter() const noexcept {
    return dateFormatter_;
  }
  /// How often the pending hand-over has been postponed.
  [[nodiscard]] std::uint64_t deferrals() const noexcept { return deferrals_.load(); }

  /// Deletes the session log's folder and starts a new one with the session
  /// header. Caller's thread.
  void resetLocalLogFile();

 private:
  struct PendingMessage;
  static transcript::WorkList& work();
  std::shared_ptr<LXTranscript> self();
  void appendOnQueue(const PendingMessage& message, transcript::LineBatch& lines);
  void paceFlush();
  void flushTimerDidFire(const Timer* fired);
  void handOverNow();
  void flushOnQueue();
  void appendFlushedContents(const std::shared_ptr<MutableAttributedString>& contents);
  void logDidRotate();
  std::uint64_t indexOfConnection(const std::shared_ptr<LXUUID>& uuid,
                                  const AttributedString** caption);

  // Touched on the transcript queue only.
  std::map<LXUUID::Bytes, std::shared_ptr<LXTranscriptConnectionCache>> connections_;
  std::shared_ptr<Timer> flushTimer_;
  Date flushDeadline_;
  std::shared_ptr<MutableAttributedString> flushedContents_;
  std::optional<Date> lastMessageDate_;
  std::optional<String> lastMessage_;
  std::shared_ptr<DateFormatter> dateFormatter_;

  std::atomic<std::uint64_t> deferrals_{0};
  std::atomic<std::uint64_t> connectionIndex_{0};
  mutable std::mutex mutex_;  // guards the two strings below
  String displayName_;
  String localLogFilePath_;
  NotificationCenter::Token rotationObserver_;
};

}  // namespace lx
