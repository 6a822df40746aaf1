// The attribute questions a file-browser node answers, asked of a path
// string: display name, modification date, kind, size and normalised path.
//
// They live in `lx::PathNode` because their names ("size", "path") are too
// general for the library's namespace. They read through
// `FileManager::defaultManager()`; any thread.
#pragma once

#include "vantorcore/Export.h"

#include <cstdint>
#include <optional>

#include "vantorcore/platform/Date.h"
#include "vantorcore/platform/String.h"

namespace LX_API lx {
namespace PathNode {

/// The file manager's display name of the item; the last path component
/// when it has none.
///   '/missing/report.txt' => 'report.txt'
String displayName(StringView path);

/// The item's modification date; absent when it cannot be examined.
std::optional<Date> modificationDate(StringView path);

/// A description of the item's type, localised with `LXLocal`: "Folder" for
/// a folder, else by the file-name extension (case-insensitive) from a small
/// built-in table ("PDF document", "PNG image", "Plain text document", ...),
/// "Document" for other files; absent when the item cannot be examined.
std::optional<String> kind(StringView path);

/// The file's size in bytes; absent for a folder or an item that cannot be
/// examined.
std::optional<std::uint64_t> size(StringView path);

/// `lx_stringByNormalizingPath(path)`.
String path(StringView path);

}  // namespace PathNode
}  // namespace lx
