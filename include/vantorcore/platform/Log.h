// The process-wide "system log": one sink for the library's diagnostic lines.
//
// By default each line goes to standard error with the time and the process
// name ("2026-11-21 06:20:43.123 vantor[4242] text"). Tests and hosts install
// their own sink to capture lines exactly as the library wrote them.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "vantorcore/platform/String.h"

namespace lx {

/// Receives each logged line, without time stamp, process name or newline.
/// Called on the logging thread; calls are serialised, never concurrent.
using LogSink = std::function<void(const String& line)>;

/// Installs `sink` for all later lines; an empty sink restores standard error.
/// Returns the sink it replaces (empty for the default).
LogSink setLogSink(LogSink sink);

/// Writes one line to the sink. Thread-safe.
void logLine(StringView line);

/// `logLine(stringWithFormat(format, args...))`.
template <class... Args>
void logFormat(StringView format, const Args&... args) {
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
