// The file work of transcripts: appending lines, session headers, session
// folders and reading the end of a log.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "vantorcore/platform/Date.h"
#include "vantorcore/platform/String.h"

namespace lx::transcript {

/// The file name of the shared log and of every session log.
inline constexpr StringView kLogFileName = u"Transcript.log";

/// Opens `path` for appending (made with mode 0644 when missing), writes
/// `bytes` whole and closes it. False when the file cannot be opened or a
/// write fails; a short write leaves what was written.
bool appendToFile(const String& path, std::string_view bytes);

/// "\n**********\n\nDate/Time: 2026-11-24 08:40:00 +0000\n\n" for `date`.
std::string sessionHeader(Date date);

/// Removes the folder holding `path` with everything in it; errors ignored.
void removeFolderOf(const String& path);

/// The end of the file at `path`: all of it when it is at most `limit`
/// bytes, else what follows the first newline at or after `size - limit`
/// (empty when there is none), with `truncated` set. A file that cannot be
/// read gives what was read before the failure.
std::string readLogTail(const String& path, std::uint64_t limit, bool* truncated);

}  // namespace lx::transcript
