// The library's path and file-name operations on strings: home-directory
// tildes, extensions, standardising, rebasing, containment, unique names for
// copies and file-name validity.
//
// Most of these differ on purpose from the platform's own path operations
// (platform/String+Paths.h): extensions are found in the whole string, prefix
// tests are on text rather than components, and so on. Those quirks are relied
// on by callers and are kept exactly; each is spelled out in the tables below.
//
// Everything is pure string work unless a comment names the file system or the
// user database. Every function may be called from any thread; file-system
// queries go through `FileManager::threadSafeManager()`. Nothing here throws.
#pragma once

#include "vantorcore/Export.h"

#include <concepts>
#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "vantorcore/platform/String.h"

namespace LX_API lx {

// ---------------------------------------------------------------------------
// Home directories

/// The real user's home directory from the user database (getpwuid(getuid())),
/// so it ignores HOME. When the database has no entry: `LXHomeDirectory()`.
String LXUserHomeDirectory();

/// The process's home directory (HOME, see `homeDirectory()`), resolved by the
/// file system to its canonical path (realpath: symbolic links, "." and ".."
/// resolved). When it cannot be resolved, the unresolved value.
String LXHomeDirectory();

/// The user-database query behind `LXUserHomeDirectory()`: yields the real
/// user's home, or absent when there is no entry.
using UserHomeDirectoryLookup = std::function<std::optional<String>()>;

/// Replaces the user-database query (tests, and hosts that run on behalf of
/// another user, install their own); an empty function restores the getpwuid
/// query. Returns the lookup it replaces (empty for the default). Thread-safe.
UserHomeDirectoryLookup setUserHomeDirectoryLookup(UserHomeDirectoryLookup lookup);

// ---------------------------------------------------------------------------
// Tildes and volumes

/// A leading "~" replaced by `LXUserHomeDirectory()`, with everything after
/// the tilde appended as a path component (other users' homes are not looked
/// up). With the home '/home/al':
///   '~'      => '/home/al'
///   '~/x'    => '/home/al/x'
///   '~bob/x' => '/home/al/bob/x'
///   'x~'     => 'x~'
String lx_stringByExpandingTildeInPathToUserHomeDirectory(StringView path);

/// When the path starts with the text of `LXUserHomeDirectory()` (a plain text
/// test, not per component): "~" with the rest appended as a path component.
/// With the home '/Users/al':
///   '/Users/al/x' => '~/x'
///   '/Users/al'   => '~'
///   '/Users/alan' => '~/an'
///   '/tmp'        => '/tmp'
String lx_stringByAbbreviatingWithUserHomeTildeInPath(StringView path);

/// The path without the boot-disk path (`lx_bootDiskPath()`) when that is
/// non-empty, strictly shorter than the path and a text prefix of it.
/// With the boot disk '/Volumes/Disk':
///   '/Volumes/Disk/home' => '/home'
///   '/Volumes/Disk'      => '/Volumes/Disk'
///   '/Volumes/Other/x'   => '/Volumes/Other/x'
String lx_stringByTrimmingPathToUsersDirectory(StringView path);

/// The tilde expanded as in `lx_stringByExpandingTildeInPathToUserHomeDirectory`;
/// unless the result starts with "/Volumes/" (any case) or is "/volumes" when
/// lower-cased, it is appended as a path component to the boot-disk path, so
/// every normalised path names its volume. When the boot-disk path is unknown
/// the expanded path is returned. With the boot disk '/Volumes/Disk':
///   '/home/x'        => '/Volumes/Disk/home/x'
///   '/volumes/Other' => '/volumes/Other'
///   '/VOLUMES'       => '/VOLUMES'
///   '/Volumesx'      => '/Volumes/Disk/Volumesx'
String lx_stringByNormalizingPath(StringView path);

// ---------------------------------------------------------------------------
// Standardising, rebasing, containment

/// A purely textual standard form: "." components dropped, ".." removes the
/// previous component (never above "/", and excess ".." of a relative path
/// are dropped), duplicate and trailing slashes removed. No file-system access.
///   '/a/./b/../c/'  => '/a/c'
///   '/..'           => '/'
///   '/a/b/../../..' => '/'
///   'a/../../b'     => 'b'
///   'a/..'          => ''
///   '~/x'           => '~/x'
String lx_stringByStandardizingUnixPath(StringView path);

/// The path moved from under `fromRoot` to under `toRoot`. An absent
/// `fromRoot` yields the path unchanged. Otherwise `fromRoot` must be a
/// non-empty text prefix of the path (case-insensitive); if not, absent. The
/// result joins `toRoot`'s components with the components of the rest.
///   '/a/b/c' from '/a' to '/x'   => '/x/b/c'
///   '/ab/c'  from '/a' to '/x'   => '/x/b/c'   (a text prefix, not a component)
///   '/A/b'   from '/a' to 'y/'   => 'y/b'
///   '/a'     from '/a' to '/x'   => '/x'
///   '/b'     from '/a' to '/x'   => absent
///   '/b'     from ''   to '/x'   => absent
std::optional<String> lx_stringByRebasingPathFromRoot(StringView path,
                                                      const std::optional<String>& fromRoot,
                                                      StringView toRoot);

/// The path, when `other` compares equal to it under `options`
/// (StringCompareOptions); otherwise the path made of the leading components
/// of `path` that compare equal to `other`'s, one by one; "" when none does.
/// The default is the case-insensitive comparison.
///   '/Users/a/x' and '/users/A/y' => '/Users/a'
///   '/a' and '/b'                 => '/'
///   'a/x' and 'b/x'               => ''
///   '/A' and '/a'                 => '/A'
String lx_commonPathPrefix(StringView path, StringView other,
                           unsigned options = CaseInsensitiveSearch);

/// True when `path` has strictly more components than `parent` and starts
/// with all of them (case-insensitive). False for an absent parent and for a
/// parent equal to the path (case-insensitive).
///   '/A/b' under '/a'  => true
///   '/a'   under '/a'  => false
///   '/ab'  under '/a'  => false
///   '/a/b' under '/a/' => false   (the trailing "/" is a component)
bool lx_isChildOfPath(StringView path, const std::optional<String>& parent);

/// True for "" and for a string whose first unit is "/".
bool lx_hasCompletePathPrefix(StringView path);

// ---------------------------------------------------------------------------
// Extensions and slashes

/// The text after the last "." of the whole string (slashes are not looked
/// at); "" when there is no dot or the dot is the first or the last unit.
///   'archive.tar.gz' => 'gz'
///   'a.b/c'          => 'b/c'
///   '.profile'       => ''
///   'name.'          => ''
String lx_pathExtension(StringView path);

/// The text before the last "." of the whole string; a copy when there is no
/// dot or the dot is the last unit.
///   'archive.tar.gz' => 'archive.tar'
///   'a.b/c'          => 'a'
///   '.profile'       => ''
///   'name.'          => 'name.'
String lx_stringByDeletingPathExtension(StringView path);

/// Every extension of the last component, joined: starting from the platform's
/// `pathExtension`, the platform extension of what `lx_stringByDeletingPathExtension`
/// leaves is put in front while there is one.
///   'a.tar.gz'   => 'tar.gz'
///   'a'          => ''
///   'x.d/a.b.c'  => 'b.c'
///   'a.b/c'      => ''
String lx_allPathExtensions(StringView path);

/// One trailing slash removed when the string is at least 2 units long.
///   'a/' => 'a',  'a//' => 'a/',  '/' => '/',  '' => ''
String lx_stringByDeletingTrailingSlash(StringView path);

/// "/" appended unless the string already ends with one.
///   'a' => 'a/',  'a/' => 'a/',  '' => '/'
String lx_stringByEnsuringTrailingSlash(StringView path);

/// Every backslash-space replaced by a space.
///   'My\ File' => 'My File',  'a\\b' => 'a\\b'
String lx_stringByExpandingEscapedSpaces(StringView path);

// ---------------------------------------------------------------------------
// Items on disk (these consult the file system)

/// The file manager's display name of the item at the path (its last
/// component, extension hidden when the item says so). For a missing item,
/// the last path component.
String lx_pathDisplayName(StringView path);

/// `lx_pathDisplayName` passed through `lx_stringByDeletingPathExtension`.
String lx_pathDisplayNameWithoutExtension(StringView path);

/// The item's extension-hidden attribute; false when it cannot be read.
bool lx_isFileExtensionHidden(StringView path);

/// Writes the extension-hidden attribute; false when that fails.
bool lx_setFileExtensionHidden(StringView path, bool hidden);

/// False when the last path component starts with "."; otherwise whether the
/// file manager does not report the item hidden (an item whose state cannot be
/// read counts as visible).
bool lx_isFileVisible(StringView path);

// ---------------------------------------------------------------------------
// Names

/// True when non-empty, free of "/" and ":", not ending with "." and free of
/// "..".
///   'a.txt' => true,  '' => false,  'a/b' => false,  'a:b' => false,
///   'x.'    => false, 'a..b' => false
bool lx_isValidFilename(StringView name);

/// True when free of "//" and ":", not ending with "." and free of "..".
/// Unlike `lx_isValidFilename` it accepts "" and single slashes.
///   '' => true,  'a/b' => true,  'a//b' => false,  'a:b' => false,  'x.' => false
bool lx_isValidPathComponent(StringView component);

/// The range of the dot-separated word around `index` within `range`. A "."
/// at `index` gives (index, 1). Otherwise the range narrows: a "." before the
/// index moves its start after the dot, one at or after the index moves its
/// end before it. `range` is first clipped to the string.
///   'a.bcd.e', index 3, whole range => (2, 3)   ('bcd')
///   'a.bcd.e', index 1              => (1, 1)
///   'abc',     index 1              => (0, 3)
Range lx_wordRangeForFilenameAtIndex(StringView name, std::size_t index, Range range);

// ---------------------------------------------------------------------------
// Unique names

/// True when some element equals `string` (case-insensitively when asked).
bool lx_isString(StringView string, std::span<const String> strings, bool caseInsensitive);

namespace detail {
// The unique-name search with membership left to `contains`.
String uniqueString(const String& string, const std::function<bool(const String&)>& contains);
}  // namespace detail

/// The string itself when `set` does not contain it. Otherwise a numbered
/// variant: when the last of at least two space-separated words is an
/// unsigned decimal number (as strtoul reads it, whole word, not the overflow
/// value), the count starts at that number on the words before it; otherwise
/// at 2 on the whole string. The first "<base> <n>" not in the set wins.
///   'Report'   in {'Report'}               => 'Report 2'
///   'Report 2' in {'Report 2', 'Report 3'} => 'Report 4'
///   'Report '  in {'Report '}              => 'Report 0'   (empty word is 0)
///   'v +5'     in {'v +5'}                 => 'v 5'
///   'v -1'     in {'v -1'}                 => 'v -1 2'
/// `Set` is any set of Strings with `contains()` (std::unordered_set<String>,
/// std::set<String>). Each candidate costs one lookup.
template <class Set>
requires requires(const Set& s, const String& v) {
  { s.contains(v) } -> std::convertible_to<bool>;
}
String lx_stringUniqueToSet(const String& string, const Set& set) {
  return detail::uniqueString(string, [&set](const String& s) { return set.contains(s); });
}

/// `lx_stringUniqueToSet` with membership `lx_isString(candidate, strings,
/// caseInsensitive)`. Takes `bool` only, so a suffix literal never lands here.
template <std::same_as<bool> Bool>
String lx_stringUniqueToArray(const String& string, std::span<const String> strings,
                              Bool caseInsensitive) {
  return detail::uniqueString(
      string, [&](const String& s) { return lx_isString(s, strings, caseInsensitive); });
}

/// The string when `strings` does not hold it; otherwise a unique variant.
/// With `filenames` and a non-empty `lx_pathExtension`, only elements with that
/// extension compete, compared without it, and the extension is put back. A
/// `copySuffix` is added as " <suffix>" unless the base already ends with it
/// (as its last word, or followed by a number).
///   'Report.txt' among {'Report.txt'}, 'copy', filenames        => 'Report copy.txt'
///   'Report copy.txt' among {…, 'Report copy.txt'}, 'copy', …   => 'Report copy 2.txt'
///   'Report copy 3' among {'Report copy 3'}, 'copy'             => 'Report copy 4'
///   'a' among {'a'}, no suffix                                  => 'a 2'
String lx_stringUniqueToArray(const String& string, std::span<const String> strings,
                              const std::optional<String>& copySuffix, bool filenames = false);

/// `lx_stringUniqueToArray` with file-name handling on.
String lx_filenameUniqueToArray(const String& name, std::span<const String> names,
                                const std::optional<String>& copySuffix);

/// `lx_filenameUniqueToArray` against the names in the directory at
/// `directory`; an unreadable or missing directory counts as empty.
String lx_filenameUniqueToPath(const String& name, StringView directory,
                               const std::optional<String>& copySuffix);

}  // namespace lx
