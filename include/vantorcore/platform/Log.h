// The process-wide "system log": one sink for the library's diagnostic lines.
//
// By default each line goes to standard error with the time and the process
// name ("2026-11-21 06:20:43.123 vantor[4242] text"). Tests and hosts install
// their own sink to capture lines exactly as the library wrote them.
#pragma once

#include "vantorcore/Export.h"

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

#include "vantorcore/platform/String.h"

namespace LX_API lx {

/// Receives each logged line, without time stamp, process name or newline.
/// Called on the logging thread; calls are serialised, never concurrent.
using LogSink = std::function<void(const String& line)>;

/// The sink that drops every line. While it is installed (by `setLogSink`,
/// `discardLogLines`, or a copy of either's return value being reinstalled),
/// `logLine` and `logFormat` return before copying, formatting or locking,
/// so code that logs on every call (collation keys) costs next to nothing.
struct DiscardLogLines {
  /// Ignores the line (the sink of a log that is off).
  void operator()(const String&) const noexcept {}
};

/// Installs `sink` for all later lines; an empty sink restores standard error.
/// Returns the sink it replaces (empty for the default).
LogSink setLogSink(LogSink sink);

/// `setLogSink(DiscardLogLines{})`: returns the sink it replaces, which
/// `setLogSink` puts back.
LogSink discardLogLines();

namespace detail {
// Mirrors "the sink is a DiscardLogLines"; written under the sink lock.
extern std::atomic<bool> discardingLogLines;
}  // namespace detail

/// True while a `DiscardLogLines` sink is installed: callers that log on
/// every call may skip building their line. Any thread; a line logged while
/// another thread swaps the sink may go to either sink.
[[nodiscard]] inline bool logLinesDiscarded() noexcept {
  return detail::discardingLogLines.load(std::memory_order_relaxed);
}

/// Writes one line to the sink. Thread-safe. The `String` form hands the
/// line to the sink as it is; the others copy it first (unless discarded).
void logLine(const String& line);
/// Writes one line to the log's sink, with a newline.
///@{
void logLine(StringView line);
void logLine(const char16_t* line);
///@}

/// `logLine(stringWithFormat(format, args...))`; formats nothing while lines
/// are discarded.
template <class... Args>
void logFormat(StringView format, const Args&... args) {
  if (logLinesDiscarded()) return;
  logLine(stringWithFormat(format, args...));
}

/// Logs "CONDITION FAILED: <text>" and returns: a failed internal condition
/// is reported and execution goes on.
void LXConditionFailed(StringView text);

/// Installs a sink for the life of the object and restores the previous one
/// on destruction; the lines it collected are in `lines()`.
class ScopedLogCapture {
 public:
  ScopedLogCapture();
  ~ScopedLogCapture();
  ScopedLogCapture(const ScopedLogCapture&) = delete;
  ScopedLogCapture& operator=(const ScopedLogCapture&) = delete;

  /// A copy of the lines captured so far.
  [[nodiscard]] std::vector<String> lines() const;
  /// Whether some captured line equals `line`.
  [[nodiscard]] bool contains(StringView line) const;

 private:
  struct State;
  std::shared_ptr<State> state_;
  LogSink previous_;
};

}  // namespace lx
