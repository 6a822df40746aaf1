// `vantor demo`: the library at work. First a real JSON-RPC conversation with
// a child process (this tool's own `jsonrpc serve --stdio`), checked message
// by message and timed; then a short tour of operations and their results.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <memory>
#include <mutex>
#include <thread>
#include <unordered_set>
#include <vector>

#include "ChildProcess.h"
#include "Command.h"
#include "Countdown.h"
#include "vantorcore/concurrency/Timer+Tolerance.h"
#include "vantorcore/jsonrpc/LXJSONRPCFileHandleListener.h"
#include "vantorcore/platform/JSON.h"
#include "vantorcore/platform/String+Paths.h"
#include "vantorcore/text/Data+Base64.h"
#include "vantorcore/text/Data+Hash.h"
#include "vantorcore/text/Date+Conversions.h"
#include "vantorcore/text/LXUUID.h"
#include "vantorcore/text/String+Collation.h"
#include "vantorcore/text/String+PathAdditions.h"
#include "vantorcore/text/String+PunyCode.h"
#include "vantorcore/transcript/LXTranscript.h"

namespace vantor {
namespace {

using lx::String;

void show(std::string_view call, const String& result) {
  // Pad by characters, not bytes, so lines with non-ASCII text line up too.
  const auto width = static_cast<std::size_t>(
      std::count_if(call.begin(), call.end(), [](char c) { return (c & 0xC0) != 0x80; }));
  std::cout << "  " << call << std::string(width < 62 ? 62 - width : 1, ' ') << "=> '"
            << lx::fileSystemRepresentation(result) << "'\n";
}

void pathSection() {
  std::cout << "Paths and file names\n";
  show("lx_pathExtension('archive.tar.gz')", lx::lx_pathExtension(u"archive.tar.gz"));
  show("lx_allPathExtensions('archive.tar.gz')", lx::lx_allPathExtensions(u"archive.tar.gz"));
  show("lx_pathExtension('.profile')", lx::lx_pathExtension(u".profile"));
  show("lx_stringByStandardizingUnixPath('/a/./b/../c/')",
       lx::lx_stringByStandardizingUnixPath(u"/a/./b/../c/"));
  show("lx_stringByRebasingPathFromRoot('/ab/c', '/a', '/x')",
       lx::lx_stringByRebasingPathFromRoot(u"/ab/c", String(u"/a"), u"/x").value_or(u"(absent)"));
  show("lx_commonPathPrefix('/Users/a/x', '/users/A/y')",
       lx::lx_commonPathPrefix(u"/Users/a/x", u"/users/A/y"));
  const std::unordered_set<String> taken = {u"Report", u"Report 2"};
  show("lx_stringUniqueToSet('Report', {Report, Report 2})",
       lx::lx_stringUniqueToSet(String(u"Report"), taken));
  const std::vector<String> files = {u"Notes.txt", u"Notes copy.txt"};
  show("lx_filenameUniqueToArray('Notes copy.txt', …, 'copy')",
       lx::lx_filenameUniqueToArray(u"Notes copy.txt", files, String(u"copy")));
  show("lx_stringByAbbreviatingWithUserHomeTildeInPath(home + '/x')",
       lx::lx_stringByAbbreviatingWithUserHomeTildeInPath(lx::LXUserHomeDirectory() + u"/x"));
}

const char* orderName(lx::ComparisonResult r) {
  switch (r) {
    case lx::ComparisonResult::Ascending:
      return "ascending";
    case lx::ComparisonResult::Same:
      return "same";
    case lx::ComparisonResult::Descending:
      return "descending";
  }
  return "?";
}

void textSection() {
  std::cout << "\nText and data\n";
  const lx::Data hello = lx::dataFromBytes("hello");
  show("lx_base64String('hello')", lx::lx_base64String(hello));
  show("lx_base32String('hello')", lx::lx_base32String(hello));
  show("lx_hexString(lx_SHA256Hash('abc'))",
       lx::lx_hexString(lx::lx_SHA256Hash(lx::dataFromBytes("abc")).value_or(lx::Data{})));
  show("lx_punyCode('münchen.de')", lx::lx_punyCode(u"münchen.de"));
  show("lx_versionCompare('1.0b3', '1.0')",
       lx::fromUTF8(orderName(lx::lx_versionCompare(u"1.0b3", u"1.0"))));
  show("lx_localizedStandardCompare('file9', 'file10')",
       lx::fromUTF8(orderName(lx::lx_localizedStandardCompare(u"file9", u"file10"))));
  show("lx_rfc1123String(784111777)", lx::lx_rfc1123String(lx::Date(784111777)));
}

void objectSection() {
  std::cout << "\nObjects and JSON\n";
  show("LXUUID::UUID()->stringValue()", lx::LXUUID::UUID()->stringValue());
  const lx::Value document(lx::Dictionary{{u"name", u"Grüße"}, {u"sizes", lx::Array{1, 2.5}}});
  show("stringWithJSONObject({name, sizes})",
       lx::fromUTF8(lx::JSONSerialization::stringWithJSONObject(document).value_or("(failed)")));
  show("lx_toleranceForTimeInterval(400)",
       lx::stringWithFormat(u"%g", lx::lx_toleranceForTimeInterval(400)));
}

// ---------------------------------------------------------------------------
// The typical flow: a host talking JSON-RPC to a child over its standard
// input and output.

using Clock = std::chrono::steady_clock;

constexpr std::size_t kRequests = 2000;
constexpr std::size_t kLogEvery = 20;     // a "log" notification after every 20th request
constexpr std::size_t kNotifyEvery = 10;  // a "notify-me" after every 10th
constexpr std::size_t kCancelledRequests = 3;
constexpr std::size_t kPings = 200;
constexpr double kWaitSeconds = 10;

// One request of the burst and the result it must come back with.
struct Exchange {
  std::shared_ptr<lx::LXJSONRPCMessage> request;
  lx::Value expected;
};

// Five kinds in turn: echoes of text (with non-ASCII), of numbers and of a
// nested object, and sums of integers and of reals.
Exchange makeExchange(std::size_t i) {
  using lx::Array;
  using lx::Dictionary;
  using lx::Value;
  const auto n = static_cast<std::int64_t>(i);
  Value params;
  Value expected;
  String method = u"echo";
  switch (i % 5) {
    case 0:
      params = Array{
          lx::stringWithFormat(u"message %lu: Grüße, 日本語, ✓", static_cast<unsigned long>(i))};
      expected = params;
      break;
    case 1:
      params = Array{n, -n, static_cast<double>(n) + 0.25, true, nullptr};
      expected = params;
      break;
    case 2:
      params = Dictionary{{u"seq", n},
                          {u"tags", Array{u"a", u"β"}},
                          {u"nested", Dictionary{{u"ok", true}, {u"none", nullptr}}}};
      expected = params;
      break;
    case 3: {
      method = u"sum";
      Array terms;
      const std::int64_t k = n % 50;
      for (std::int64_t t = 1; t <= k; ++t) terms.emplace_back(t);
      params = std::move(terms);
      expected = k * (k + 1) / 2;
      break;
    }
    default:
      method = u"sum";
      params = Array{0.5, 0.25, n};
      expected = static_cast<double>(n) + 0.75;
      break;
  }
  return {lx::LXJSONRPCMessage::requestWithMessageID(Value(n + 1), std::move(method), std::nullopt,
                                                     std::move(params)),
          std::move(expected)};
}

// The child as the transcript sees it: one connection with its own UUID.
class ChildConnection final : public lx::LXTranscriptConnection {
 public:
  std::shared_ptr<lx::LXUUID> uuid() const override { return uuid_; }

 private:
  std::shared_ptr<lx::LXUUID> uuid_ = lx::LXUUID::UUID();
};

// Appends a message's JSON body (the framed data after its header) to the
// session's transcript, as a host that logs its conversation does.
void logMessage(lx::LXTranscript& transcript, const ChildConnection& child,
                const lx::LXJSONRPCMessage& message, bool isOutgoing) {
  const std::optional<lx::Data> data = message.messageData();
  if (!data) return;
  const std::string_view framed(reinterpret_cast<const char*>(data->data()), data->size());
  const std::size_t body = framed.find("\r\n\r\n");
  transcript.appendTranscript(
      child, lx::fromUTF8(body == std::string_view::npos ? framed : framed.substr(body + 4)),
      isOutgoing);
}

// What the reply closures and the delegate touch. They share it rather than
// point into the caller's frame: when the child goes away early, requests
// sent after that are answered only when the listener is destroyed, which
// may be after the caller has returned.
struct Conversation {
  explicit Conversation(std::size_t expected) : outstanding(expected) {}

  std::mutex mutex;
  std::vector<Exchange> exchanges;
  std::vector<Clock::time_point> sentAt;  // written before each request goes out
  std::vector<double> roundTripMs;
  std::vector<std::shared_ptr<lx::LXJSONRPCMessage>> responses;
  std::vector<std::shared_ptr<lx::LXJSONRPCMessage>> received;  // from the delegate
  std::size_t mismatches = 0;
  std::size_t notified = 0;
  std::size_t unexpected = 0;
  std::size_t cancelledRight = 0;
  bool terminated = false;
  bool pong = false;
  std::shared_ptr<lx::LXTranscript> transcript = lx::LXTranscript::transcriptWithDisplayName(
      lx::String(u"jsonrpc serve --stdio"), u"vantor.demo.jsonrpc");
  ChildConnection child;
  Countdown outstanding;  // burst replies and "notified"
  Countdown cancelled{kCancelledRequests};
};

// The host's side: counts what the child sends on its own.
class DemoHost : public lx::LXJSONRPCListenerDelegate {
 public:
  explicit DemoHost(std::shared_ptr<Conversation> state) : state_(std::move(state)) {}

  void didReceiveMessage(lx::LXJSONRPCListener&,
                         const std::shared_ptr<lx::LXJSONRPCMessage>& message) override {
    logMessage(*state_->transcript, state_->child, *message, false);
    std::lock_guard lock(state_->mutex);
    state_->received.push_back(message);
    if (message->messageType() == lx::LXJSONRPCMessageType::Notification &&
        message->method() == String(u"notified")) {
      ++state_->notified;
      state_->outstanding.countDown();
    } else {
      ++state_->unexpected;
    }
  }
  void didTerminateWithError(lx::LXJSONRPCListener&, const lx::ErrorPtr&) override {
    std::lock_guard lock(state_->mutex);
    state_->terminated = true;
    state_->outstanding.release();
  }

 private:
  std::shared_ptr<Conversation> state_;
};

std::size_t framedSize(const lx::LXJSONRPCMessage& message) {
  const auto data = message.messageData();
  return data ? data->size() : 0;
}

double percentile(const std::vector<double>& sorted, double p) {
  if (sorted.empty()) return 0;
  const auto at = static_cast<std::size_t>(std::ceil(p * static_cast<double>(sorted.size()))) - 1;
  return sorted[std::min(at, sorted.size() - 1)];
}

void row(std::string_view label, const std::string& value) {
  std::cout << "  " << label << std::string(label.size() < 40 ? 40 - label.size() : 1, ' ') << value
            << "\n";
}

std::string format(const char16_t* text, auto... args) {
  return lx::toUTF8(lx::stringWithFormat(text, args...));
}

// The child's standard error, read to its end on a thread of its own: the
// count of "log: " lines it wrote for our "log" notifications.
std::thread countLogLines(int fd, std::size_t& lines) {
  return std::thread([fd, &lines] {
    std::string text;
    char chunk[4096];
    ssize_t n;
    while ((n = ::read(fd, chunk, sizeof chunk)) > 0 || (n < 0 && errno == EINTR)) {
      if (n > 0) text.append(chunk, static_cast<std::size_t>(n));
    }
    ::close(fd);
    for (std::size_t at = 0; (at = text.find("log: ", at)) != std::string::npos; ++at) {
      if (at == 0 || text[at - 1] == '\n') ++lines;
    }
  });
}

// Where the conversation was logged, and how its log reads back.
void transcriptSection(lx::LXTranscript& transcript) {
  std::cout << "Transcript of the conversation\n";
  // The hand-over to the display waits for this (the main) thread's run loop.
  const bool written = lx::LXTranscript::waitUntilWritten();
  const lx::AttributedString shown = transcript.displayTranscriptLog();
  const lx::String& text = shown.string();
  row("shared log", lx::toUTF8(lx::LXTranscript::logFilePath()));
  row("session log", lx::toUTF8(transcript.localLogFilePath()));
  row("lines in the session log", std::to_string(std::count(text.begin(), text.end(), u'\n')) +
                                      (written ? "" : " (still writing)"));
  std::size_t start = text.find(u"1: ");
  for (int shownLines = 0; shownLines < 3 && start != lx::String::npos; ++shownLines) {
    const std::size_t end = text.find(u'\n', start);
    lx::String line = text.substr(start, end - start);
    if (line.size() > 72) line = line.substr(0, 71) + u"…";
    std::cout << "    " << lx::toUTF8(line) << "\n";
    start = end == lx::String::npos ? end : text.find(u"1: ", end);
  }
  std::cout << "  (vantor transcript show --session <session log> shows it all)\n\n";
}

// Runs the conversation and prints its summary; false when anything did not
// match.
bool jsonrpcSection() {
  std::cout << "JSON-RPC with a child process (vantor jsonrpc serve --stdio)\n";
  // The resolved path rather than /proc/self/exe itself, which names the
  // loader when we run under a tool such as valgrind.
  std::error_code ec;
  const auto self = std::filesystem::read_symlink("/proc/self/exe", ec);
  std::string reason;
  auto child = spawnWithPipes(ec ? std::string("/proc/self/exe") : self.string(),
                              {"vantor", "jsonrpc", "serve", "--stdio"}, true, &reason);
  if (!child) {
    std::cout << "  cannot start the child: " << reason << "\n";
    return false;
  }
  std::size_t logLines = 0;
  std::thread stderrReader = countLogLines(child->stderrFd, logLines);

  const std::size_t notifications = kRequests / kNotifyEvery;
  const std::size_t logs = kRequests / kLogEvery;
  auto state = std::make_shared<Conversation>(kRequests + notifications);
  state->sentAt.resize(kRequests);
  state->roundTripMs.resize(kRequests);
  state->responses.resize(kRequests);
  for (std::size_t i = 0; i < kRequests; ++i) state->exchanges.push_back(makeExchange(i));

  auto listener = lx::LXJSONRPCFileHandleListener::initWithInputHandle(
      lx::FileHandle::make(child->stdoutFd, true), lx::FileHandle::make(child->stdinFd, true));
  auto host = std::make_shared<DemoHost>(state);
  const auto delegateQueue = lx::DispatchQueue::makeSerial(u"vantor.demo.jsonrpc");
  listener->setDelegateQueue(delegateQueue);
  listener->setDelegate(host);
  listener->start();

  std::size_t sentBytes = 0;
  std::size_t sentMessages = 0;
  const auto send = [&](std::shared_ptr<lx::LXJSONRPCMessage> message) {
    sentBytes += framedSize(*message);
    ++sentMessages;
    logMessage(*state->transcript, state->child, *message, true);
    listener->sendMessage(std::move(message));
  };
  const auto begin = Clock::now();
  // A child that went away ends the listener; there is no point going on.
  for (std::size_t i = 0; i < kRequests && listener->isRunning(); ++i) {
    const auto& request = state->exchanges[i].request;
    sentBytes += framedSize(*request);
    ++sentMessages;
    logMessage(*state->transcript, state->child, *request, true);
    {
      std::lock_guard lock(state->mutex);
      state->sentAt[i] = Clock::now();
    }
    listener->sendRequest(
        request, [state, i](std::shared_ptr<lx::LXJSONRPCMessage> response, lx::ErrorPtr) {
          if (response) logMessage(*state->transcript, state->child, *response, false);
          std::lock_guard lock(state->mutex);
          if (response) {
            state->roundTripMs[i] =
                std::chrono::duration<double, std::milli>(Clock::now() - state->sentAt[i]).count();
            state->responses[i] = response;
            if (response->error() || response->result() != state->exchanges[i].expected) {
              ++state->mismatches;
            }
          }
          state->outstanding.countDown();
        });
    const lx::Value seq(static_cast<std::int64_t>(i));
    if ((i + 1) % kNotifyEvery == 0) {
      send(lx::LXJSONRPCMessage::notificationWithMethod(u"notify-me", std::nullopt,
                                                        lx::Dictionary{{u"seq", seq}}));
    }
    if ((i + 1) % kLogEvery == 0) {
      send(lx::LXJSONRPCMessage::notificationWithMethod(
          u"log", std::nullopt,
          lx::Array{lx::stringWithFormat(u"request %lu sent", static_cast<unsigned long>(i + 1))}));
    }
  }
  const bool allArrived = state->outstanding.waitFor(kWaitSeconds);
  const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();

  // The burst's round trips include its queueing; pings sent one at a time
  // show the bare cost of a round trip through both listeners.
  std::vector<double> pingMs;
  for (std::size_t i = 0; i < kPings && allArrived && listener->isRunning(); ++i) {
    auto answered = std::make_shared<Countdown>(1);
    const auto sent = Clock::now();
    listener->sendRequest(
        lx::LXJSONRPCMessage::requestWithMessageID(
            lx::Value(u"ping-" + lx::fromUTF8(std::to_string(i))), u"ping"),
        [state, answered](std::shared_ptr<lx::LXJSONRPCMessage> response, lx::ErrorPtr) {
          {
            std::lock_guard lock(state->mutex);
            state->pong = response && response->result() == lx::Value(u"pong");
          }
          answered->countDown();
        });
    const bool arrived = answered->waitFor(kWaitSeconds);
    std::lock_guard lock(state->mutex);
    if (!arrived || !state->pong) {
      ++state->mismatches;
      break;
    }
    pingMs.push_back(std::chrono::duration<double, std::milli>(Clock::now() - sent).count());
  }
  std::sort(pingMs.begin(), pingMs.end());

  // Requests the child answers only after 250 ms, cut short by stop().
  for (std::size_t i = 0; i < kCancelledRequests; ++i) {
    listener->sendRequest(
        lx::LXJSONRPCMessage::requestWithMessageID(
            lx::Value(static_cast<std::int64_t>(kRequests + 1 + i)), u"sleep", std::nullopt,
            lx::Array{250}),
        [state](std::shared_ptr<lx::LXJSONRPCMessage> response, lx::ErrorPtr error) {
          {
            std::lock_guard lock(state->mutex);
            if (!response && error && error->domain() == lx::LXJSONRPCErrorDomain &&
                error->code() == lx::LXJSONRPCRequestCancelledError) {
              ++state->cancelledRight;
            }
          }
          state->cancelled.countDown();
        });
  }
  listener->stop();
  const bool cancelledArrived = state->cancelled.waitFor(kWaitSeconds);

  // End of its input ends the child; it still answers the sleeping requests
  // into the pipe, which we hold open until it is gone.
  listener->outputHandle()->closeFile();
  const int exitStatus = reapChild(child->pid, kWaitSeconds);
  stderrReader.join();

  std::lock_guard lock(state->mutex);
  std::vector<double> sorted;
  std::size_t receivedBytes = 0;
  std::size_t receivedMessages = 0;
  for (std::size_t i = 0; i < kRequests; ++i) {
    if (!state->responses[i]) continue;
    sorted.push_back(state->roundTripMs[i]);
    receivedBytes += framedSize(*state->responses[i]);
    ++receivedMessages;
  }
  for (const auto& message : state->received) {
    receivedBytes += framedSize(*message);
    ++receivedMessages;
  }
  std::sort(sorted.begin(), sorted.end());
  const std::size_t missing = kRequests - sorted.size();
  const std::size_t notifiedMissing = notifications - std::min(notifications, state->notified);
  const std::size_t totalMismatches = state->mismatches + missing + notifiedMissing +
                                      state->unexpected + (logLines == logs ? 0 : 1);

  const auto count = [](std::size_t n) { return std::to_string(n); };
  const auto percentiles = [](const std::vector<double>& v) {
    return format(u"p50 %.2f  p90 %.2f  p99 %.2f  max %.2f", percentile(v, 0.5), percentile(v, 0.9),
                  percentile(v, 0.99), v.empty() ? 0.0 : v.back());
  };
  row("messages sent",
      format(u"%lu (%lu requests, %lu notify-me, %lu log)",
             static_cast<unsigned long>(sentMessages), static_cast<unsigned long>(kRequests),
             static_cast<unsigned long>(notifications), static_cast<unsigned long>(logs)));
  row("messages received",
      format(u"%lu (%lu responses, %lu notified)", static_cast<unsigned long>(receivedMessages),
             static_cast<unsigned long>(sorted.size()),
             static_cast<unsigned long>(state->notified)));
  row("log lines the child wrote", count(logLines));
  row("mismatches", count(totalMismatches) + (allArrived ? "" : " (timed out waiting)"));
  row("round trip in the burst, ms", percentiles(sorted));
  row(format(u"round trip, %lu pings one by one, ms", static_cast<unsigned long>(kPings)),
      percentiles(pingMs));
  row("throughput",
      format(u"%.0f messages/s, %.2f MB/s (both ways, %.3f s)",
             static_cast<double>(sentMessages + receivedMessages) / seconds,
             static_cast<double>(sentBytes + receivedBytes) / 1e6 / seconds, seconds));
  row("stop() with requests pending",
      format(u"%lu of %lu ended with -32800 in LXJSONRPCErrorDomain",
             static_cast<unsigned long>(state->cancelledRight),
             static_cast<unsigned long>(kCancelledRequests)));
  row("child's exit status", count(static_cast<std::size_t>(exitStatus)));
  std::cout << "\n";
  transcriptSection(*state->transcript);
  return totalMismatches == 0 && cancelledArrived && state->cancelledRight == kCancelledRequests &&
         exitStatus == 0 && !state->terminated;
}

int run(Arguments) {
  std::cout << "VantorCore demo\n\n";
  const bool conversationOK = jsonrpcSection();
  pathSection();
  textSection();
  objectSection();
  return conversationOK ? 0 : 1;
}

}  // namespace

VANTOR_COMMAND(
    "demo", "a short tour of the library with live results",
    "usage: vantor demo\n\nRuns a JSON-RPC conversation with a child process (this tool's own\n"
    "`jsonrpc serve --stdio`), checks every reply and prints its figures, then a few\n"
    "library operations with their results. Exit status 1 when any reply did not\n"
    "match.",
    run);

}  // namespace vantor
