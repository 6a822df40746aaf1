#include "vantorcore/files/FileManager+Folders.h"
#include "vantorcore/platform/ProcessInfo.h"
#include "vantorcore/platform/String+Paths.h"

namespace lx {

namespace {

String userCachesFolder(const FileManager& manager) {
  const std::vector<String> paths = manager.searchPathsForDirectory(SearchPathDirectory::Caches);
  if (!paths.empty()) return paths.front();
  return stringByAppendingPathComponent(manager.homeDirectoryForCurrentUser(), u"Library/Caches");
}

std::optional<String> applicationSupportDirectory(const FileManager& manager) {
  const std::vector<String> paths =
      manager.searchPathsForDirectory(SearchPathDirectory::ApplicationSupport);
  if (paths.empty()) return std::nullopt;
  return paths.front();
}

String joined(StringView folder, StringView name) {
  return stringByAppendingPathComponent(folder, name);
}

// Makes the folder when asked and hands the path back whatever happened.
std::optional<String> madeOnDemand(FileManager& manager, const std::optional<String>& path,
                                   bool create, const Dictionary& attributes = {}) {
  if (create && path) manager.createDirectoryAtPath(*path, true, attributes);
  return path;
}

std::optional<URL> asURL(const std::optional<String>& path) {
  if (!path) return std::nullopt;
  return URL::fileURLWithPath(*path, true);
}

std::optional<String> executableFolder(FileManager& manager, const Bundle& bundle) {
  const std::optional<String> support = applicationSupportDirectory(manager);
  const std::optional<String> executable = bundle.executableName();
  if (!support || !executable || executable->empty()) return std::nullopt;
  return madeOnDemand(manager, joined(*support, *executable), true);
}

std::optional<String> identifierFolder(FileManager& manager, const Bundle& bundle) {
  const std::optional<String> support = applicationSupportDirectory(manager);
  const std::optional<String> identifier = bundle.bundleIdentifier();
  if (!support || !identifier || identifier->empty()) return std::nullopt;
  return madeOnDemand(manager, joined(*support, *identifier), true);
}

std::optional<String> subFolder(FileManager& manager, const std::optional<String>& parent,
                                StringView name, const Dictionary& attributes) {
  if (!parent) return std::nullopt;
  return madeOnDemand(manager, joined(*parent, name), true, attributes);
}

}  // namespace

// The three process-wide paths are computed once: the environment they come
// from is read at first use and then kept for the life of the process.
std::optional<String> lx_temporaryItemsFolder(FileManager& manager, bool create) {
  // The platform's temporary directory always exists on Linux ($TMPDIR or
  // /tmp), so the caches fallback of other systems never applies here.
  static const std::optional<String> path =
      joined(manager.temporaryDirectory(), ProcessInfo::processName());
  return madeOnDemand(manager, path, create);
}

std::optional<String> lx_chewableItemsFolder(FileManager& manager, bool create) {
  static const std::optional<String> path =
      joined(joined(userCachesFolder(manager), u"Cleanup At Startup"), ProcessInfo::processName());
  return madeOnDemand(manager, path, create);
}

std::optional<String> lx_cachesFolder(FileManager& manager, bool create) {
  static const std::optional<String> path =
      joined(userCachesFolder(manager), ProcessInfo::processName());
  return madeOnDemand(manager, path, create);
}

std::optional<URL> lx_temporaryItemsURL(FileManager& manager, bool create) {
  return asURL(lx_temporaryItemsFolder(manager, create));
}
std::optional<URL> lx_chewableItemsURL(FileManager& manager, bool create) {
  return asURL(lx_chewableItemsFolder(manager, create));
}
std::optional<URL> lx_cachesURL(FileManager& manager, bool create) {
  return asURL(lx_cachesFolder(manager, create));
}

std::optional<String> lx_applicationSupportFolderForBundle(FileManager& manager,
                                                           const Bundle& bundle) {
  return executableFolder(manager, bundle);
}

std::optional<String> lx_applicationSupportFolder(FileManager& manager) {
  return executableFolder(manager, Bundle::main());
}

std::optional<String> lx_applicationSupportSubFolder(FileManager& manager, StringView name,
                                                     const Dictionary& attributes) {
  return lx_applicationSupportSubFolder(manager, name, attributes, Bundle::main());
}

std::optional<String> lx_applicationSupportSubFolder(FileManager& manager, StringView name,
                                                     const Dictionary& attributes,
                                                     const Bundle& bundle) {
  return subFolder(manager, executableFolder(manager, bundle), name, attributes);
}

std::optional<URL> lx_applicationSupportURLForBundle(FileManager& manager, const Bundle& bundle) {
  return asURL(lx_applicationSupportFolderForBundle(manager, bundle));
}
std::optional<URL> lx_applicationSupportURL(FileManager& manager) {
  return asURL(lx_applicationSupportFolder(manager));
}
std::optional<URL> lx_applicationSupportSubURL(FileManager& manager, StringView name,
                                               const Dictionary& attributes) {
  return asURL(lx_applicationSupportSubFolder(manager, name, attributes));
}
std::optional<URL> lx_applicationSupportSubURL(FileManager& manager, StringView name,
                                               const Dictionary& attributes, const Bundle& bundle) {
  return asURL(lx_applicationSupportSubFolder(manager, name, attributes, bundle));
}

std::optional<URL> lx_bundleIDApplicationSupportURL(FileManager& manager) {
  return asURL(identifierFolder(*FileManager::defaultManager(), Bundle::main()));
}

std::optional<URL> lx_bundleIDApplicationSupportURLForFolder(FileManager& manager,
                                                             StringView folder,
                                                             const Dictionary& attributes) {
  return lx_bundleIDApplicationSupportURLForFolder(manager, folder, attributes, Bundle::main());
}

std::optional<URL> lx_bundleIDApplicationSupportURLForFolder(FileManager& manager,
                                                             StringView folder,
                                                             const Dictionary& attributes,
                                                             const Bundle& bundle) {
  return asURL(subFolder(manager, identifierFolder(manager, bundle), folder, attributes));
}

}  // namespace lx
