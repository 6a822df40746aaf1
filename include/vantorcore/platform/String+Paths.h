// The platform string type's own path operations: splitting and joining
// components, extensions, tilde handling, standardising, and the bytes a file
// name has on disk.
//
// These are the platform's semantics, which the library's `lx_` path
// operations (text/String+PathAdditions.h) build on and sometimes deliberately
// differ from. Everything is textual unless a comment says otherwise; no
// function here touches the file system. All functions are pure and may be
// called from any thread.
//
// Shared rules: "/" separates components; a run of slashes counts as one; a
// trailing slash never makes a component empty. Lengths count UTF-16 units.
#pragma once

#include "vantorcore/Export.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "vantorcore/platform/String.h"

namespace LX_API lx {

/// The components of a path. A leading "/" is a component of its own, and so
/// is a trailing one; runs of slashes count as one separator.
///   '/a/b/' => ["/", "a", "b", "/"]
///   '/a/b'  => ["/", "a", "b"]
///   'a//b'  => ["a", "b"]
///   '/'     => ["/"]
///   '//'    => ["/"]
///   ''      => []
std::vector<String> pathComponents(StringView path);

/// Joins components by appending each in turn with
/// `stringByAppendingPathComponent`, starting from "". So a "/" component adds
/// nothing except at the start.
///   ["/", "a", "b"]      => '/a/b'
///   ["a", "b", "/"]      => 'a/b'
///   ["/"]                => '/'
///   []                   => ''
///   ["a/", "/b"]         => 'a/b'
String pathWithComponents(std::span<const String> components);

/// `path` and `component` joined with one "/". Duplicate slashes collapse and
/// a trailing slash is dropped, except when the whole result is "/".
///   'a'  + 'b'   => 'a/b'
///   'a/' + '/b'  => 'a/b'
///   '/'  + 'a'   => '/a'
///   ''   + 'a'   => 'a'
///   'a'  + ''    => 'a'
///   'a'  + '/'   => 'a'
///   ''   + '/'   => '/'
///   'a//b/' + '' => 'a/b'
String stringByAppendingPathComponent(StringView path, StringView component);

/// The last component, ignoring a trailing slash.
///   '/a/b.txt' => 'b.txt'
///   '/a/b/'    => 'b'
///   '/'        => '/'
///   'a'        => 'a'
///   ''         => ''
String lastPathComponent(StringView path);

/// The path without its last component (trailing slash ignored, slashes
/// collapsed).
///   '/a/b/' => '/a'
///   'a/b'   => 'a'
///   '/a'    => '/'
///   '/'     => '/'
///   'a'     => ''
///   ''      => ''
String stringByDeletingLastPathComponent(StringView path);

/// The extension of the last component: the text after its last ".", when
/// that dot is neither the component's first nor its last unit. Unlike
/// `lx_pathExtension`, a dot in an earlier component never counts.
///   'a.tar.gz'   => 'gz'
///   '/x/b.txt/'  => 'txt'
///   'dir.d/file' => ''
///   '.profile'   => ''
///   'name.'      => ''
String pathExtension(StringView path);

/// The path without "." and the extension of its last component (see
/// `pathExtension`); a trailing slash is dropped. Without an extension the
/// path is returned with only its trailing slash dropped.
///   'a.tar.gz'   => 'a.tar'
///   '/x/b.txt/'  => '/x/b'
///   'dir.d/file' => 'dir.d/file'
///   '.profile'   => '.profile'
///   'name.'      => 'name.'
String stringByDeletingPathExtension(StringView path);

/// The path with "." and `extension` added to its last component (trailing
/// slash dropped). A path without a last component to extend ('' or '/'), or an
/// extension holding "/", leaves the path unchanged.
///   'a'  + 'txt'     => 'a.txt'
///   'a/' + 'txt'     => 'a.txt'
///   'a'  + ''        => 'a.'
///   '/'  + 'txt'     => '/'
///   'a'  + 'x/y'     => 'a'
String stringByAppendingPathExtension(StringView path, StringView extension);

/// True when the path starts with "/" or "~" (a tilde path names a home
/// directory, so it is absolute once expanded).
///   '/a' => true, '~/a' => true, 'a' => false, '' => false
bool isAbsolutePath(StringView path);

/// The platform's home directory: `$HOME` when set and non-empty, otherwise
/// the user database's entry for the real user, otherwise "/". Tests steer it
/// through `HOME`. Never empty.
String homeDirectory();

/// The real user's (getuid) home directory from the user database, whatever
/// HOME says; absent when the database has no entry.
std::optional<String> homeDirectoryOfRealUser();

/// The home directory of the named user from the user database, or absent
/// when there is no such user.
std::optional<String> homeDirectoryForUser(StringView userName);

/// Expands a leading "~" (the current user's `homeDirectory()`) or "~user"
/// (that user's home from the user database). An unknown user, or a tilde that
/// is not the first unit, leaves the path unchanged. The expanded result drops
/// a trailing slash. With HOME=/home/al:
///   '~'        => '/home/al'
///   '~/x/'     => '/home/al/x'
///   '~root/x'  => '/root/x'
///   '~nobody1' => '~nobody1'   (no such user)
///   'a/~'      => 'a/~'
String stringByExpandingTildeInPath(StringView path);

/// Replaces a leading `homeDirectory()` by "~", component-wise (a path that
/// merely starts with the same text is left alone). A home of "/" abbreviates
/// nothing. With HOME=/home/al:
///   '/home/al'    => '~'
///   '/home/al/x/' => '~/x'
///   '/home/alan'  => '/home/alan'
String stringByAbbreviatingWithTildeInPath(StringView path);

/// A tidy form of the path, found without touching the file system (no
/// symbolic links are resolved): a leading tilde is expanded, "." components
/// and duplicate slashes removed, ".." removes the component before it, and a
/// trailing slash is dropped. ".." above "/" stays at "/"; leading ".." of a
/// relative path are kept, since their parent is not known.
///   '/a/./b/../c/' => '/a/c'
///   '/..'          => '/'
///   'a/../../b'    => '../b'
///   './a'          => 'a'
///   'a/..'         => ''
String stringByStandardizingPath(StringView path);

namespace detail {
// The dot-resolving pass shared by the platform's and the library's
// standardising: "." and empty components dropped, ".." takes back the
// previous component and never climbs above "/"; a leading ".." of a relative
// path is kept when `keepLeadingParents`, dropped otherwise. One pass, one
// allocation.
String resolveDotComponents(StringView path, bool keepLeadingParents);
}  // namespace detail

/// The bytes of a path as the kernel sees them: UTF-8, except that the lone
/// surrogates U+DC80..U+DCFF become the single bytes 0x80..0xFF. Those are
/// what `stringWithFileSystemRepresentation` makes of bytes that are not UTF-8
/// (the "surrogateescape" convention), so any file name read from disk comes
/// back to the same bytes. Any other lone surrogate becomes U+FFFD.
std::string fileSystemRepresentation(StringView path);

/// A path from the kernel's bytes: UTF-8 is decoded, and every byte of an
/// ill-formed sequence becomes the lone surrogate U+DC00 + byte, so nothing is
/// lost and `fileSystemRepresentation` restores the exact bytes.
///   "caf\xc3\xa9" => u"café"
///   "a\xff"       => u"a\xdcff"
String stringWithFileSystemRepresentation(std::string_view bytes);

}  // namespace lx
