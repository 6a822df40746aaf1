// Whole-file reads, atomic whole-file writes and the platform's file error
// codes, shared by the file manager, property lists and preferences.
//
// Paths are `String`s in the file-system representation of
// platform/String+Paths.h, so names that are not UTF-8 survive a round trip.
#pragma once

#include "vantorcore/Export.h"

#include <sys/types.h>

#include <cstdint>
#include <optional>

#include "vantorcore/platform/Data.h"
#include "vantorcore/platform/Error.h"
#include "vantorcore/platform/String.h"

namespace LX_API lx {

/// Codes of `NSCocoaErrorDomain` for file operations, with the platform's values.
///@{
inline constexpr std::int64_t NSFileNoSuchFileError = 4;
inline constexpr std::int64_t NSFileReadUnknownError = 256;
inline constexpr std::int64_t NSFileReadNoPermissionError = 257;
inline constexpr std::int64_t NSFileReadInvalidFileNameError = 258;
inline constexpr std::int64_t NSFileReadNoSuchFileError = 260;
inline constexpr std::int64_t NSFileReadTooLargeError = 263;
inline constexpr std::int64_t NSFileWriteUnknownError = 512;
inline constexpr std::int64_t NSFileWriteNoPermissionError = 513;
inline constexpr std::int64_t NSFileWriteInvalidFileNameError = 514;
inline constexpr std::int64_t NSFileWriteFileExistsError = 516;
inline constexpr std::int64_t NSFileWriteOutOfSpaceError = 640;
inline constexpr std::int64_t NSFileWriteVolumeReadOnlyError = 642;
///@}

/// An error in `NSCocoaErrorDomain` for a failed file operation: the code is
/// the read or write code that matches `errnoValue` (ENOENT => 260 when
/// reading, 4 when writing; EACCES => 257 / 513; EEXIST => 516; ENOSPC => 640;
/// EROFS => 642; anything else 256 / 512). The user info holds the path
/// (`NSFilePath`), a description naming the file, and the POSIX error as
/// `NSUnderlyingError`.
ErrorPtr fileError(int errnoValue, bool writing, StringView path);

/// The whole contents of the regular file at `path`; absent (with a
/// `fileError`) when it cannot be opened or read. Thread-safe.
std::optional<Data> readFileContents(StringView path, ErrorPtr* error = nullptr);

/// Replaces the file at `path` with `data` atomically: the bytes go to a new
/// temporary file in the same folder, which is flushed to disk (fsync),
/// given `mode` (not filtered by the umask) and renamed over `path`. Readers
/// see either the old or the new contents, never a mix. On failure the
/// temporary file is removed, `path` is untouched, and the result is false
/// with a `fileError`. Thread-safe; concurrent writers of one path each
/// succeed and the last rename wins.
bool writeFileAtomically(DataView data, StringView path, mode_t mode = 0644,
                         ErrorPtr* error = nullptr);

}  // namespace lx
