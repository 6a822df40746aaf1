#include "vantorcore/transcript/LXTranscript.h"

#include <unicode/regex.h>
#include <unicode/uchar.h>

#include <chrono>
#include <filesystem>
#include <limits>
#include <thread>
#include <unordered_map>

#include "transcript/TranscriptFiles.h"
#include "transcript/TranscriptWork.h"
#include "vantorcore/files/FileManager+Folders.h"
#include "vantorcore/platform/RunLoop.h"
#include "vantorcore/platform/StringFormat.h"
#include "vantorcore/platform/Thread.h"
#include "vantorcore/platform/URL.h"
#include "vantorcore/text/VantorCoreLocale.h"

namespace lx {

LX_DEFINE_CLASS(LXTranscript, Object)

namespace {

struct Registry {
  std::mutex mutex;
  std::unordered_map<String, std::shared_ptr<LXTranscript>> transcripts;
};

Registry& registry() {
  static auto* r = new Registry;  // transcripts may outlive static destruction
  return *r;
}

LXTranscript::Styles makeDefaultStyles() {
  const std::optional<Font> fixed = Font::userFixedPitchFontOfSize(0);
  const Font regular = fixed.value_or(Font::systemFontOfSize(11));
  Font bold = regular.boldVariant();
  if (bold == regular) bold = Font::boldSystemFontOfSize(regular.pointSize());
  return {TextAttributes{regular, Color::secondaryLabelColor(), {}, {}},
          TextAttributes{bold, Color::controlTextColor(), {}, {}},
          TextAttributes{regular, Color::controlTextColor(), {}, {}}};
}

// Splits at every line terminator the platform knows: LF, CR, CR LF, NEL,
// LINE SEPARATOR and PARAGRAPH SEPARATOR. A terminator at the very end ends
// the last line rather than starting an empty one.
std::vector<StringView> linesOf(StringView text) {
  std::vector<StringView> lines;
  std::size_t start = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char16_t c = text[i];
    if (c != u'\n' && c != u'\r' && c != u'\u0085' && c != u'\u2028' && c != u'\u2029') continue;
    lines.push_back(text.substr(start, i - start));
    if (c == u'\r' && i + 1 < text.size() && text[i + 1] == u'\n') ++i;
    start = i + 1;
  }
  if (start < text.size()) lines.push_back(text.substr(start));
  return lines;
}

// "<anything> [<digits>]: <text>", sent when the text begins "-> ".
constexpr char16_t kLogLinePattern[] = u".*? \\[(\\d+)\\]: (-> )?(.*)";

// A run of decimal digits (of any script, as \d matches them) as a number,
// saturating rather than wrapping.
std::uint64_t decimalValue(const icu::UnicodeString& digits) {
  std::uint64_t value = 0;
  for (int32_t i = 0; i < digits.length(); i = digits.moveIndex32(i, 1)) {
    const auto digit = static_cast<std::uint64_t>(u_charDigitValue(digits.char32At(i)));
    if (value > (std::numeric_limits<std::uint64_t>::max() - digit) / 10) {
      return std::numeric_limits<std::uint64_t>::max();
    }
    value = value * 10 + digit;
  }
  return value;
}

String fromICU(const icu::UnicodeString& text) {
  return String(reinterpret_cast<const char16_t*>(text.getBuffer()),
                static_cast<std::size_t>(text.length()));
}

AttributedString truncationNotice(const String& logPath, const LXTranscript::Styles& styles) {
  TextAttributes notice = styles.outgoing;
  notice.backgroundColor = Color::fromRGBA(0, 0, 1, 0.2);
  const String folder = fromUTF8(std::filesystem::path(toUTF8(logPath)).parent_path().string());
  notice.link = URL::fileURLWithPath(folder, true).absoluteString();
  AttributedString text(LXLocal(u"Truncated Log File (View Complete)"), notice);
  text.append(u"\n", styles.incoming);
  return text;
}

String timestampLine(const DateFormatter& formatter, Date date) {
  return u"[" + formatter.stringFromDate(date) + u"]\n";
}

}  // namespace

constexpr double kTimerSlack = 0.001;

struct LXTranscript::PendingMessage {
  std::shared_ptr<LXUUID> uuid;
  String text;
  bool isOutgoing;
  bool coalesce;
  Date date;
};

// --- Class-wide state --------------------------------------------------------

String LXTranscript::logFilePath() {
  static const String path = [] {
    FileManager manager;
    const std::optional<String> folder = lx_applicationSupportSubFolder(manager, u"Logs");
    return folder ? *folder + u"/" + String(transcript::kLogFileName) : String();
  }();
  return path;
}

std::shared_ptr<DispatchQueue> LXTranscript::transcriptQueue() {
  static const auto* queue =
      new std::shared_ptr<DispatchQueue>(DispatchQueue::makeSerial(u"com.vantor.transcript"));
  return *queue;
}

const LXTranscript::Styles& LXTranscript::defaultStyles() {
  static const auto* styles = new Styles(makeDefaultStyles());
  return *styles;
}

transcript::WorkList& LXTranscript::work() {
  static auto* list = new transcript::WorkList(transcriptQueue());
  return *list;
}

const TextAttributes& LXTranscript::connectionLabelAttributes() { return defaultStyles().caption; }

bool LXTranscript::waitUntilWritten(double timeoutSeconds) {
  auto done = std::make_shared<std::atomic<bool>>(false);
  const std::shared_ptr<RunLoop> loop = RunLoop::current();
  work().perform([done, loop] {
    done->store(true);
    loop->perform([] {});  // ends the pass the waiter is blocked in
  });
  const auto giveUp =
      std::chrono::steady_clock::now() + std::chrono::duration<double>(timeoutSeconds);
  while (!done->load()) {
    if (std::chrono::steady_clock::now() > giveUp) return false;
    // Blocks until a hand-over or the marker arrives; a loop with nothing
    // to wait on returns at once and is polled instead.
    if (!loop->runMode(DefaultRunLoopMode, Date::now().addingTimeInterval(0.05))) {
      std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
  }
  return true;
}

// --- Registry ----------------------------------------------------------------

std::shared_ptr<LXTranscript> LXTranscript::transcriptWithDisplayName(
    std::optional<String> displayName, StringView sessionKey) {
  Registry& r = registry();
  std::unique_lock lock(r.mutex);
  if (auto it = r.transcripts.find(String(sessionKey)); it != r.transcripts.end()) {
    std::shared_ptr<LXTranscript> existing = it->second;
    lock.unlock();
    if (displayName) existing->setDisplayName(std::move(displayName));
    return existing;
  }
  lock.unlock();
  std::shared_ptr<LXTranscript> made = initWithDisplayName(std::move(displayName), sessionKey);
  lock.lock();
  return r.transcripts.try_emplace(String(sessionKey), made).first->second;
}

void LXTranscript::deleteTranscriptForSessionKey(StringView sessionKey) {
  std::shared_ptr<LXTranscript> released;  // dies outside the lock
  Registry& r = registry();
  std::lock_guard lock(r.mutex);
  if (auto it = r.transcripts.find(String(sessionKey)); it != r.transcripts.end()) {
    released = std::move(it->second);
    r.transcripts.erase(it);
  }
}

// --- Life ----------------------------------------------------------------------

std::shared_ptr<LXTranscript> LXTranscript::initWithDisplayName(std::optional<String> displayName,
                                                                StringView) {
  auto transcript = std::make_shared<LXTranscript>(Key{}, std::move(displayName));
  transcript::appendToFile(logFilePath(), transcript::sessionHeader(Date::now()));
  transcript->resetLocalLogFile();
  std::weak_ptr<LXTranscript> weak = transcript;
  transcript->rotationObserver_ = NotificationCenter::defaultCenter().addObserver(
      String(LXTranscriptNotificationLogDidRotate), nullptr, [weak](const Notification&) {
        if (auto t = weak.lock()) t->logDidRotate();
      });
  return transcript;
}

LXTranscript::LXTranscript(Key, std::optional<String> displayName)
    : flushedContents_(std::make_shared<MutableAttributedString>()),
      dateFormatter_(std::make_shared<DateFormatter>()) {
  dateFormatter_->setDateStyle(DateFormatterStyle::Short);
  dateFormatter_->setTimeStyle(DateFormatterStyle::Long);
  setDisplayName(std::move(displayName));
}

LXTranscript::~LXTranscript() {
  rotationObserver_.remove();
  if (flushTimer_) flushTimer_->invalidate();
  if (!localLogFilePath_.empty()) transcript::removeFolderOf(localLogFilePath_);
}

std::shared_ptr<LXTranscript> LXTranscript::self() {
  return std::static_pointer_cast<LXTranscript>(shared_from_this());
}

// --- Properties --------------------------------------------------------------

String LXTranscript::displayName() const {
  std::lock_guard lock(mutex_);
  return displayName_;
}

void LXTranscript::setDisplayName(std::optional<String> name) {
  String shown = name && !name->empty() ? std::move(*name) : LXLocal(u"Not Connected");
  std::lock_guard lock(mutex_);
  displayName_ = std::move(shown);
}

String LXTranscript::localLogFilePath() const {
  std::lock_guard lock(mutex_);
  return localLogFilePath_;
}

const TextAttributes& LXTranscript::outgoingAttributes() const noexcept {
  return defaultStyles().outgoing;
}

const TextAttributes& LXTranscript::incomingAttributes() const noexcept {
  return defaultStyles().incoming;
}

// --- Appending -----------------------------------------------------------------

void LXTranscript::appendTranscript(const LXTranscriptConnection& connection, StringView text,
                                    bool isOutgoing, bool coalesce) {
  appendTranscript(connection.uuid(), text, isOutgoing, coalesce);
}

void LXTranscript::appendTranscript(std::shared_ptr<LXUUID> uuid, StringView text, bool isOutgoing,
                                    bool coalesce) {
  if (text.empty()) return;
  work().append([self = self(), message = PendingMessage{std::move(uuid), String(text), isOutgoing,
                                                         coalesce, Date::now()}](
                    transcript::LineBatch& lines) { self->appendOnQueue(message, lines); });
}

std::uint64_t LXTranscript::indexOfConnection(const std::shared_ptr<LXUUID>& uuid,
                                              const AttributedString** caption) {
  *caption = nullptr;
  if (!uuid || !uuid->bytes()) return 0;
  auto it = connections_.find(*uuid->bytes());
  if (it == connections_.end()) {
    it = connections_
             .emplace(*uuid->bytes(),
                      LXTranscriptConnectionCache::createWithUUID(uuid, connections_.size() + 1))
             .first;
  }
  *caption = &it->second->caption();
  return it->second->index();
}

void LXTranscript::appendOnQueue(const PendingMessage& message, transcript::LineBatch& lines) {
  paceFlush();
  const AttributedString* caption = nullptr;
  const std::uint64_t index = indexOfConnection(message.uuid, &caption);
  if (message.coalesce && lastMessage_ == message.text) return;
  lastMessage_ = message.text;

  String text = message.text;
  // A clock set back also stamps, so no stamp is ever later than the text
  // under it.
  if (!lastMessageDate_ ||
      message.date.timeIntervalSinceDate(*lastMessageDate_) > kTimestampInterval ||
      message.date < *lastMessageDate_) {
    lastMessageDate_ = message.date;
    text.insert(0, timestampLine(*dateFormatter_, message.date));
  }

  const std::string prefix = toUTF8(displayName()) + " [" + std::to_string(index) +
                             "]: " + (message.isOutgoing ? "-> " : "");
  const String sharedLog = logFilePath();
  const String sessionLog = localLogFilePath();
  const TextAttributes& style = message.isOutgoing ? outgoingAttributes() : incomingAttributes();
  AttributedString styled;
  std::string logLine;
  for (StringView line : linesOf(text)) {
    if (line.size() < 2) continue;
    if (caption) styled.append(*caption);
    styled.append(line, style);
    styled.append(u"\n", style);
    logLine.assign(prefix).append(toUTF8(line)).push_back('\n');
    lines.add(sharedLog, logLine);
    lines.add(sessionLog, logLine);
  }
  flushedContents_->append(styled);
}

// --- Flushing ------------------------------------------------------------------

// Postponing moves a deadline rather than the timer: re-aiming a run-loop
// timer wakes the main thread, which would cost a wake-up per message. The
// timer, when it fires before the deadline, is aimed at it then.
void LXTranscript::paceFlush() {
  if (flushTimer_) {
    if (deferrals_.load() >= kMaximumDeferrals) {
      handOverNow();
    } else {
      deferrals_.fetch_add(1);
      flushDeadline_ = Date::now().addingTimeInterval(kFlushDelay);
    }
    return;
  }
  deferrals_.store(0);
  flushDeadline_ = Date::now().addingTimeInterval(kFlushDelay);
  std::weak_ptr<LXTranscript> weak = self();
  // Repeating only so that it stays valid for re-aiming; it is invalidated
  // once it has handed over.
  flushTimer_ = Timer::make(flushDeadline_, kFlushDelay, true, [weak](Timer& timer) {
    if (auto t = weak.lock()) {
      work().perform([t, fired = &timer] { t->flushTimerDidFire(fired); });
    }
  });
  flushTimer_->setTolerance(kFlushDelay * 0.1);
  RunLoop::main()->addTimer(flushTimer_, RunLoopCommonModes);
}

void LXTranscript::flushTimerDidFire(const Timer* fired) {
  // A timer that fired while a forced flush replaced it has nothing left to do.
  if (flushTimer_.get() != fired) return;
  // Dates and the timer's monotonic deadline round differently; a
  // millisecond of slack keeps a timer that is due from re-aiming itself.
  if (flushDeadline_.timeIntervalSinceDate(Date::now()) > kTimerSlack) {
    flushTimer_->setFireDate(flushDeadline_);
    return;
  }
  handOverNow();
}

void LXTranscript::handOverNow() {
  flushTimer_->invalidate();
  flushTimer_.reset();
  flush();
}

void LXTranscript::flush() {
  work().perform([self = self()] { self->flushOnQueue(); });
}

void LXTranscript::connectionFlushTranscript(const LXTranscriptConnection&) { flush(); }

void LXTranscript::flushOnQueue() {
  Thread::perform(
      Thread::main(), [this] { appendFlushedContents(flushedContents_); }, true);
  flushedContents_->clear();
}

void LXTranscript::appendFlushedContents(const std::shared_ptr<MutableAttributedString>& contents) {
  NotificationCenter& center = NotificationCenter::defaultCenter();
  center.post(LXTranscriptNotificationContentsWillChange, self());
  Dictionary userInfo;
  userInfo.set(LXTranscriptNotificationContent, Value(contents));
  center.post(LXTranscriptNotificationContentsDidChange, self(), std::move(userInfo));
}

// --- Clearing, session logs and rotation ---------------------------------------

void LXTranscript::clearTranscript() {
  work().perform([self = self()] {
    self->flushedContents_->clear();
    self->connections_.clear();
  });
  resetLocalLogFile();
}

void LXTranscript::resetLocalLogFile() {
  FileManager manager;
  const String folder = lx_temporaryItemsFolder(manager, true).value_or(u"/tmp") + u"/" +
                        LXUUID::UUID()->stringValue();
  const String path = folder + u"/" + String(transcript::kLogFileName);
  String previous;
  {
    std::lock_guard lock(mutex_);
    previous = std::exchange(localLogFilePath_, path);
  }
  if (!previous.empty()) transcript::removeFolderOf(previous);
  manager.createDirectoryAtPath(folder, true);
  transcript::appendToFile(path, transcript::sessionHeader(Date::now()));
}

void LXTranscript::logDidRotate() {
  work().perform([self = self()] {
    transcript::appendToFile(
        logFilePath(),
        toUTF8(stringWithFormat(u"%@ [%lu] (continued)\n\n", self->displayName(),
                                static_cast<unsigned long>(self->connectionIndex()))));
  });
}

// --- Showing a log -------------------------------------------------------------

AttributedString LXTranscript::displayTranscriptLogAtPath(StringView path, const Styles& styles) {
  bool truncated = false;
  const String logPath(path);
  const String text = fromUTF8(transcript::readLogTail(logPath, kDisplayedLogLimit, &truncated));
  AttributedString shown = truncated ? truncationNotice(logPath, styles) : AttributedString();

  UErrorCode status = U_ZERO_ERROR;
  static const auto* pattern =
      icu::RegexPattern::compile(icu::UnicodeString(kLogLinePattern), 0, status);
  std::unique_ptr<icu::RegexMatcher> matcher(pattern ? pattern->matcher(status) : nullptr);
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t end = text.find(u'\n', start);
    if (end == String::npos) end = text.size();
    const StringView line = StringView(text).substr(start, end - start);
    start = end + 1;
    const icu::UnicodeString input(false, reinterpret_cast<const UChar*>(line.data()),
                                   static_cast<int32_t>(line.size()));
    status = U_ZERO_ERROR;
    if (!matcher || !matcher->reset(input).matches(status) || U_FAILURE(status)) {
      shown.append(String(line) + u"\n", styles.incoming);
      continue;
    }
    const std::uint64_t index = decimalValue(matcher->group(1, status));
    const bool sent = matcher->start(2, status) >= 0;
    shown.append(stringWithFormat(u"%llu: ", static_cast<unsigned long long>(index)),
                 styles.caption);
    shown.append(fromICU(matcher->group(3, status)) + u"\n",
                 sent ? styles.outgoing : styles.incoming);
  }
  return shown;
}

AttributedString LXTranscript::displayTranscriptLog() const {
  return displayTranscriptLogAtPath(localLogFilePath(), defaultStyles());
}

}  // namespace lx
