// The folders in which the library and its host keep files, found and made
// on demand: temporary items, items cleaned at start-up, caches and
// application support.
//
// Linux places:
//   temporary items      $TMPDIR (else /tmp) / <process name>
//   clean-at-start-up    <caches> / "Cleanup At Startup" / <process name>
//   caches               <caches> / <process name>
//   application support  $XDG_DATA_HOME (else ~/.local/share) / <name>
// where <caches> is $XDG_CACHE_HOME (else ~/.cache) and <process name> is
// `ProcessInfo::processName()`.
//
// Two naming schemes are kept on purpose: the `lx_applicationSupport…`
// functions name the application's folder after the bundle's executable
// name, the `lx_bundleIDApplicationSupport…` functions after its bundle
// identifier. Each caller uses the one it names.
//
// Folder creation errors are ignored: the path is returned even when the
// folder could not be made. Every function may be called from any thread.
#pragma once

#include "vantorcore/Export.h"

#include <optional>

#include "vantorcore/platform/Bundle.h"
#include "vantorcore/platform/FileManager.h"
#include "vantorcore/platform/URL.h"
#include "vantorcore/platform/Value.h"

namespace LX_API lx {

/// The temporary-items folder. The path is computed once per process and
/// kept; with `create` the folder (and the folders above it) is made.
/// The same path is returned either way.
std::optional<String> lx_temporaryItemsFolder(FileManager& manager, bool create);
/// The folder for items to be cleaned up at the next start: computed once,
/// made on demand like the temporary-items folder.
std::optional<String> lx_chewableItemsFolder(FileManager& manager, bool create);
/// The process's caches folder: computed once, made on demand.
std::optional<String> lx_cachesFolder(FileManager& manager, bool create);

/// The three folders above as file URLs.
///@{
std::optional<URL> lx_temporaryItemsURL(FileManager& manager, bool create);
std::optional<URL> lx_chewableItemsURL(FileManager& manager, bool create);
std::optional<URL> lx_cachesURL(FileManager& manager, bool create);
///@}

/// The application-support folder joined with the bundle's executable name,
/// made with its intermediate folders. Absent (and nothing made) when the
/// bundle has no executable name.
std::optional<String> lx_applicationSupportFolderForBundle(FileManager& manager,
                                                           const Bundle& bundle);
/// The same for the main bundle.
std::optional<String> lx_applicationSupportFolder(FileManager& manager);
/// The main bundle's (or `bundle`'s) application-support folder joined with
/// `name`, made with intermediate folders and `attributes` (see
/// `FileManager::createDirectoryAtPath`).
///@{
std::optional<String> lx_applicationSupportSubFolder(FileManager& manager, StringView name,
                                                     const Dictionary& attributes = {});
std::optional<String> lx_applicationSupportSubFolder(FileManager& manager, StringView name,
                                                     const Dictionary& attributes,
                                                     const Bundle& bundle);
///@}

/// The application-support paths above as file URLs.
///@{
std::optional<URL> lx_applicationSupportURLForBundle(FileManager& manager, const Bundle& bundle);
std::optional<URL> lx_applicationSupportURL(FileManager& manager);
std::optional<URL> lx_applicationSupportSubURL(FileManager& manager, StringView name,
                                               const Dictionary& attributes = {});
std::optional<URL> lx_applicationSupportSubURL(FileManager& manager, StringView name,
                                               const Dictionary& attributes, const Bundle& bundle);
///@}

/// The application-support folder joined with the main bundle's identifier,
/// made with intermediate folders. Absent when the bundle has no identifier.
std::optional<URL> lx_bundleIDApplicationSupportURL(FileManager& manager);
/// That folder joined with `folder`, made with intermediate folders and
/// `attributes`; for the main bundle or `bundle`.
///@{
std::optional<URL> lx_bundleIDApplicationSupportURLForFolder(FileManager& manager,
                                                             StringView folder,
                                                             const Dictionary& attributes = {});
std::optional<URL> lx_bundleIDApplicationSupportURLForFolder(FileManager& manager,
                                                             StringView folder,
                                                             const Dictionary& attributes,
                                                             const Bundle& bundle);
///@}

}  // namespace lx
