// The library's additions to the file manager: the boot-disk path, the
// computer's name and a few predicates. The per-thread managers
// (`FileManager::threadSafeManager()`, `FileManager::releaseThreadSafeManager()`)
// are class members and so are declared in platform/FileManager.h.
//
// Every function may be called from any thread.
#pragma once

#include "vantorcore/Export.h"

#include <optional>

#include "vantorcore/platform/FileManager.h"
#include "vantorcore/platform/String.h"

namespace LX_API lx {

/// The boot volume's path, "/Volumes/" followed by the root file system's
/// name: its label (from /dev/disk/by-label) when it has one, else "Linux".
/// Linux has no "/Volumes"; the path only has to be a stable prefix that the
/// path operations can add to and cut from paths, and it names the volume as
/// the user's tools would. Computed once and cached until
/// `lx_resetBootDiskValues()`. Absent (with the line "lx_bootDiskPath:
/// Couldn't obtain read lock." or "... write lock.") only when the cache's
/// reader-writer lock cannot be taken.
std::optional<String> lx_bootDiskPath();

/// Forgets the cached boot-disk path, so the next `lx_bootDiskPath()` reads
/// it again. Logs "lx_resetBootDiskValues: Couldn't obtain write lock." when
/// the lock cannot be taken.
void lx_resetBootDiskValues();

/// The host's name (gethostname); "Macintosh HD" when there is none.
String lx_computerName();

/// True only when an item exists at `path` and it is a folder (following
/// symbolic links).
bool lx_directoryExistsAtPath(const FileManager& manager, StringView path);

/// True when both items are on the same file system (equal st_dev). A path
/// that cannot be examined counts as file system 0, so two missing items
/// compare equal.
bool lx_itemAtPath(const FileManager& manager, StringView path, StringView otherPath);

/// The preferred MIME type of the content type for the name's extension
/// (case-insensitive, see platform/ContentType.h), or absent when the
/// extension is unknown or there is none.
///   'a.png' => 'image/png', 'b.tar.GZ' => 'application/gzip',
///   'README' => absent, 'x.unknownext' => absent
std::optional<String> lx_MIMETypeForFilename(const FileManager& manager, StringView filename);

}  // namespace lx
