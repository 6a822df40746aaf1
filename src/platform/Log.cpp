#include "vantorcore/platform/Log.h"

#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <ctime>
#include <mutex>
#include <vector>

#include "vantorcore/platform/ProcessInfo.h"

namespace lx {
namespace {

std::mutex& sinkMutex() {
  static std::mutex m;
  return m;
}

LogSink& currentSink() {
  static LogSink sink;
  return sink;
}

void writeToStandardError(const String& line) {
  timeval tv{};
  gettimeofday(&tv, nullptr);
  std::tm tm{};
  localtime_r(&tv.tv_sec, &tm);
  char stamp[32];
  std::strftime(stamp, sizeof stamp, "%Y-%m-%d %H:%M:%S", &tm);
  const std::string text = toUTF8(line);
  std::fprintf(stderr, "%s.%03ld %s[%d] %s\n", stamp, static_cast<long>(tv.tv_usec / 1000),
               toUTF8(ProcessInfo::processName()).c_str(), static_cast<int>(getpid()),
               text.c_str());
}

}  // namespace

// Lets logging return without the lock while lines are discarded.
std::atomic<bool> detail::discardingLogLines{false};

LogSink setLogSink(LogSink sink) {
  std::lock_guard lock(sinkMutex());
  LogSink previous = std::move(currentSink());
  currentSink() = std::move(sink);
  detail::discardingLogLines.store(currentSink().target<DiscardLogLines>() != nullptr,
                                   std::memory_order_relaxed);
  return previous;
}

LogSink discardLogLines() { return setLogSink(DiscardLogLines{}); }

void logLine(const String& line) {
  if (logLinesDiscarded()) return;
  std::lock_guard lock(sinkMutex());
  if (currentSink()) {
    currentSink()(line);
  } else {
    writeToStandardError(line);
  }
}

void logLine(StringView line) {
  if (logLinesDiscarded()) return;
  logLine(String(line));
}

void logLine(const char16_t* line) { logLine(StringView(line)); }

void LXConditionFailed(StringView text) { logLine(u"CONDITION FAILED: " + String(text)); }

struct ScopedLogCapture::State {
  mutable std::mutex mutex;
  std::vector<String> lines;
};

ScopedLogCapture::ScopedLogCapture() : state_(std::make_shared<State>()) {
  previous_ = setLogSink([state = state_](const String& line) {
    std::lock_guard lock(state->mutex);
    state->lines.push_back(line);
  });
}

ScopedLogCapture::~ScopedLogCapture() { setLogSink(std::move(previous_)); }

std::vector<String> ScopedLogCapture::lines() const {
  std::lock_guard lock(state_->mutex);
  return state_->lines;
}

bool ScopedLogCapture::contains(StringView line) const {
  std::lock_guard lock(state_->mutex);
  return std::find(state_->lines.begin(), state_->lines.end(), line) != state_->lines.end();
}

}  // namespace lx
