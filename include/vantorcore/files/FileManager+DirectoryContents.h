// What a folder holds: counting files, summing logical and
// physical sizes, deep listings with filters, and emptying a folder. Every
// walk goes through the platform's `DirectoryEnumerator`
// (platform/DirectoryEnumerator.h) with the values it needs read up front.
//
// Shared rules:
// - symbolic links are never followed: a link is one file of the size of
//   its target text;
// - folders are never counted and add no size;
// - unreadable folders and items that vanish mid-walk contribute nothing;
//   only `lx_removeDirectoryContentsAtPath` reports errors;
// - packages are folders whose extension's type (type overrides considered,
//   files/ContentType+Overrides.h) conforms to com.apple.package. The
//   listings neither list nor enter them; counts and sizes include them;
// - a file's content type comes from its extension; a file without one has
//   no content type and is listed whatever the type filters say;
// - counts and sizes walk on `DirectoryEnumerator::defaultThreadCount()`
//   threads. Listings list a folder before its contents; without a
//   predicate the root's subfolders are listed on that many threads and the
//   results joined in order, while a predicate is only ever called on the
//   calling thread.
//
// Stateless: every function may be called from any thread.
#pragma once

#include "vantorcore/Export.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>
#include <vector>

#include "vantorcore/platform/Error.h"
#include "vantorcore/platform/FileManager.h"
#include "vantorcore/platform/URL.h"

namespace LX_API lx {

/// Tells the excluding listing to leave out an item (and a folder's whole
/// subtree); called with the item's full path.
using LXPathPredicate = std::function<bool(const String& path)>;

/// The number of items below `path` that are not folders, at any depth;
/// 0 for an empty or missing folder. With `includeHidden` false, hidden
/// items (a leading "." or a name in the folder's ".hidden") are left out,
/// and with a hidden folder everything below it.
std::uint64_t lx_numberOfFilesAtPath(FileManager& manager, StringView path,
                                     bool includeHidden = true);
/// Adds the number of files below the file URL `url` to `numFiles`.
void lx_numberOfFilesAtURLRecursive(FileManager& manager, const URL& url, std::uint64_t& numFiles);

/// The summed logical size (st_size) of everything below `path`; the summed
/// allocated size (st_blocks × 512) goes to `physicalSize` when given.
/// Package contents are included, and hidden items unless `includeHidden`
/// is false (as for the count).
std::uint64_t lx_sizeOfFolderContentsAtPath(FileManager& manager, StringView path,
                                            std::uint64_t* physicalSize = nullptr,
                                            bool includeHidden = true);
/// Adds the two sums of the tree below `path` to `size` and `physicalSize`.
void lx_sizeOfFolderContentsAtPathRecursive(FileManager& manager, StringView path,
                                            std::uint64_t& size, std::uint64_t& physicalSize);

/// The full paths below `path`, a folder before its contents. Hidden items
/// are left out when `includeHidden` is false: a leading "." or a name in
/// the folder's ".hidden"; `excludesFiles` (exact names) applies only when
/// hidden items are included. Folders are listed when `includeDirectories`
/// (their contents either way). With `conformsToUTI`, only files whose
/// content type conforms to it, and files without a content type, are
/// listed.
///   lx_deepDirectoryContentsAtPath(m, "/t") => ["/t/.git", "/t/.git/HEAD", "/t/a.txt"]
std::vector<String> lx_deepDirectoryContentsAtPath(
    FileManager& manager, StringView path, bool includeHidden = true,
    bool includeDirectories = true, const std::optional<String>& conformsToUTI = std::nullopt,
    const std::vector<String>& excludesFiles = {});

/// The excluding listing: as above, but a file whose content type conforms
/// to one of `excludingUTIs` is listed only when its type's identifier is
/// exactly one of `includingUTIs` (exclusion by conformance, exceptions by
/// identity). `excludingPredicate`, evaluated on each visible item's path,
/// leaves out the item and a folder's whole subtree.
///   excluding public.image, including public.png: a.png listed, b.jpg not, c.txt listed
std::vector<String> lx_deepDirectoryContentsAtPath(FileManager& manager, StringView path,
                                                   bool includeHidden, bool includeDirectories,
                                                   const std::vector<String>& excludingUTIs,
                                                   const std::vector<String>& excludesFiles = {},
                                                   const std::vector<String>& includingUTIs = {},
                                                   const LXPathPredicate& excludingPredicate = {});

/// The two walks behind the listings, appending to `contents`.
///@{
void lx_deepDirectoryContentsAtPathRecursive(FileManager& manager, StringView path,
                                             std::vector<String>& contents, bool includeHidden,
                                             bool includeDirectories,
                                             const std::optional<String>& conformsToUTI,
                                             const std::vector<String>& excludesFiles);
void lx_deepDirectoryContentsAtPathRecursive(FileManager& manager, StringView path,
                                             std::vector<String>& contents, bool includeHidden,
                                             bool includeDirectories,
                                             const std::vector<String>& excludingUTIs,
                                             const std::vector<String>& excludesFiles,
                                             const std::vector<String>& includingUTIs,
                                             const LXPathPredicate& excludingPredicate);
///@}

/// The settings of both listings in one place, for the handler form below.
/// A file is listed when it passes both type filters: it conforms to
/// `conformsToUTI` (when given), and conforms to none of `excludingUTIs`
/// unless its type is exactly one of `includingUTIs`. Files without a
/// content type pass both.
struct LXDeepListingFilters {
  bool includeHidden = true;       ///< list hidden items and walk hidden folders
  bool includeDirectories = true;  ///< list folders (their contents either way)
  /// Exact names left out, only while hidden items are included.
  std::vector<String> excludesFiles;
  std::optional<String> conformsToUTI;  ///< only files conforming to this type
  std::vector<String> excludingUTIs;    ///< files conforming to these are left out...
  std::vector<String> includingUTIs;    ///< ...unless their type is exactly one of these
  /// Leaves out an item, and a folder's whole subtree; called on the
  /// calling thread only, and the walk then uses that thread alone.
  LXPathPredicate excludingPredicate;
};

/// Receives a listed path as the file system's bytes; the view is valid
/// during the call only.
using LXListedPathHandler = std::function<void(std::string_view path)>;

/// A deep listing handed over path by path, in the listings' order and on
/// the calling thread, without a `String` or an array element per item:
/// for callers that print or filter large trees.
///   filters {includeDirectories = false}, "/t" => handler("/t/a.txt"), handler("/t/sub/b.png")
void lx_enumerateDeepDirectoryContentsAtPath(FileManager& manager, StringView path,
                                             const LXDeepListingFilters& filters,
                                             const LXListedPathHandler& handler);

/// Removes every item in the folder (hidden ones too), in listing order.
/// False with the listing's error when the folder cannot be listed, or with
/// the first failed removal's error (items removed before it stay removed).
/// True for an empty folder.
bool lx_removeDirectoryContentsAtPath(FileManager& manager, StringView path,
                                      ErrorPtr* error = nullptr);

}  // namespace lx
