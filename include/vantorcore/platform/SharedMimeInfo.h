// Readers for the compiled text files of the freedesktop shared-mime-info
// database ("globs2", "subclasses", "aliases" in each `mime` folder), which
// seed the content-type registry.
//
// The readers are lenient: a line that does not have the documented shape is
// skipped and counted, never fatal, so a damaged file still yields its good
// lines. Comments ("#...") and empty lines are not counted as malformed.
//
// All functions are thread-safe.
#pragma once

#include "vantorcore/Export.h"

#include <cstddef>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "vantorcore/platform/String.h"

namespace LX_API lx {

class SharedMimeInfo {
 public:
  /// One line of "globs2": "weight:type:pattern[:flags...]".
  struct Glob {
    /// The pattern's priority, 0...100; higher wins.
    int weight = 50;
    String mimeType;             ///< lower-cased
    String pattern;              ///< as written
    bool caseSensitive = false;  ///< the "cs" flag
    /// Equal when all fields are.
    friend bool operator==(const Glob&, const Glob&) = default;
  };

  /// A "subclasses" line (child, parent) or an "aliases" line (alias,
  /// canonical type), both lower-cased.
  using Pair = std::pair<String, String>;

  /// What one `mime` folder holds.
  struct Folder {
    std::vector<Glob> globs;         ///< in file order
    std::vector<Pair> subclasses;    ///< (child, parent), in file order
    std::vector<Pair> aliases;       ///< (alias, canonical), in file order
    std::size_t malformedLines = 0;  ///< over all three files
  };

  /// The highest weight a glob may have; lines above it are malformed.
  static constexpr int kMaximumWeight = 100;

  /// The globs of a "globs2" text. A line is malformed unless it has a
  /// decimal weight in 0...`kMaximumWeight`, a type containing "/" and a
  /// non-empty pattern. "__NOGLOBS__" as pattern is kept: it tells the
  /// registry to drop the type's globs from folders of lower precedence.
  ///   '50:text/plain:*.txt'        => {50, 'text/plain', '*.txt', false}
  ///   '50:text/x-csrc:*.c:cs'      => {50, 'text/x-csrc', '*.c', true}
  ///   '101:a/b:*.x', 'a/b:*.x'     => malformed
  static std::vector<Glob> parseGlobs2(std::string_view text,
                                       std::size_t* malformedLines = nullptr);

  /// The pairs of a "subclasses" or "aliases" text: two MIME types (each
  /// containing "/") separated by one space. Anything else is malformed.
  static std::vector<Pair> parsePairs(std::string_view text, std::size_t* malformedLines = nullptr);

  /// The three files of the folder at `path`; a missing file contributes
  /// nothing. Absent when none of the three can be read.
  static std::optional<Folder> readFolder(StringView path);

  /// The `mime` folders of the XDG base directories, highest precedence
  /// first: $XDG_DATA_HOME/mime (default ~/.local/share/mime), then
  /// <dir>/mime for each absolute entry of $XDG_DATA_DIRS (default
  /// "/usr/local/share:/usr/share"). Folders are listed whether or not
  /// they exist.
  static std::vector<String> systemFolders();
};

}  // namespace lx
