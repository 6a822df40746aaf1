#include "vantorcore/files/FileManager+DirectoryContents.h"

#include <atomic>
#include <iterator>
#include <thread>
#include <unordered_map>

#include "vantorcore/files/ContentType+Overrides.h"
#include "vantorcore/platform/DirectoryEnumerator.h"
#include "vantorcore/platform/String+Paths.h"

namespace lx {

namespace {

// The text after the name's last dot, when that dot is neither first nor
// last (as `pathExtension` says).
std::string_view extensionOf(std::string_view name) {
  const std::size_t dot = name.rfind('.');
  if (dot == std::string_view::npos || dot == 0 || dot + 1 == name.size()) return {};
  return name.substr(dot + 1);
}

// Content types by extension, looked up once per extension and walk: a tree
// holds many files but few extensions.
class TypeCache {
 public:
  const std::optional<ContentType>& typeOf(std::string_view name) {
    const std::string_view extension = extensionOf(name);
    if (extension.empty()) return none_;
    auto found = types_.find(extension);
    if (found == types_.end()) {
      found =
          types_
              .emplace(std::string(extension), lx_typeConsideringOverridesWithFilenameExtension(
                                                   stringWithFileSystemRepresentation(extension)))
              .first;
    }
    return found->second;
  }

  bool isPackage(std::string_view name) {
    const std::optional<ContentType>& type = typeOf(name);
    return type && type->conformsTo(ContentType::package());
  }

 private:
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view s) const noexcept {
      return std::hash<std::string_view>{}(s);
    }
  };
  std::unordered_map<std::string, std::optional<ContentType>, Hash, std::equal_to<>> types_;
  const std::optional<ContentType> none_;
};

std::optional<ContentType> typeNamed(const String& identifier) {
  return ContentType::typeWithIdentifier(identifier);
}

// The visibility rule both listings share: excluded names count only when
// hidden items are included.
bool isVisible(const DirectoryItem& item, bool includeHidden,
               const std::vector<String>& excludesFiles) {
  if (!includeHidden) return !item.hidden;
  if (excludesFiles.empty()) return true;
  const String name = stringWithFileSystemRepresentation(item.name);
  return std::find(excludesFiles.begin(), excludesFiles.end(), name) == excludesFiles.end();
}

// What one listing walk keeps: `listFile` decides for each visible file
// outside packages (with the calling thread's type cache); folders follow
// the shared rules; `skip`, when given, sees every visible item first.
struct ListingRules {
  bool includeHidden;
  bool includeDirectories;
  const std::vector<String>& excludesFiles;
  std::function<bool(const DirectoryItem&)> skip;
  std::function<bool(const DirectoryItem&, TypeCache&)> listFile;
};

// Lists `item` into `contents` by the rules; true when it is a folder to
// enter.
bool visit(const DirectoryItem& item, const ListingRules& rules, TypeCache& types,
           std::vector<String>& contents) {
  if (!isVisible(item, rules.includeHidden, rules.excludesFiles) ||
      (rules.skip && rules.skip(item))) {
    return false;
  }
  if (item.isDirectory()) {
    if (types.isPackage(item.name)) return false;
    if (rules.includeDirectories) contents.push_back(stringWithFileSystemRepresentation(item.path));
    return true;
  }
  if (rules.listFile(item, types))
    contents.push_back(stringWithFileSystemRepresentation(item.path));
  return false;
}

DirectoryEnumerator enumeratorFor(const ListingRules& rules) {
  return DirectoryEnumerator(rules.includeHidden ? DirectoryEnumerator::None
                                                 : DirectoryEnumerator::Hidden);
}

void listSequentially(StringView path, std::vector<String>& contents, const ListingRules& rules,
                      TypeCache& types) {
  enumeratorFor(rules).enumerate(path, [&](const DirectoryItem& item, unsigned) {
    return visit(item, rules, types, contents);
  });
}

// Lists the tree in enumeration order. Without a caller's predicate (which
// must stay on the calling thread) the root's subfolders are listed on
// several threads, each into a list of its own, and the lists are joined in
// the root's order.
void listTree(StringView path, std::vector<String>& contents, const ListingRules& rules) {
  TypeCache types;
  if (rules.skip) return listSequentially(path, contents, rules, types);
  // The root's own items; a subfolder to enter leaves a gap for its list.
  std::vector<String> top;
  std::vector<std::pair<std::size_t, String>> gaps;  // position in `top`, folder
  enumeratorFor(rules).enumerate(path, [&](const DirectoryItem& item, unsigned) {
    if (visit(item, rules, types, top)) {
      gaps.emplace_back(top.size(), stringWithFileSystemRepresentation(item.path));
    }
    return false;
  });
  std::vector<std::vector<String>> below(gaps.size());
  std::atomic<std::size_t> next{0};
  const auto work = [&] {
    TypeCache own;
    for (std::size_t i; (i = next.fetch_add(1)) < gaps.size();) {
      listSequentially(gaps[i].second, below[i], rules, own);
    }
  };
  const unsigned threads =
      std::min<std::size_t>(DirectoryEnumerator::defaultThreadCount(), gaps.size());
  std::vector<std::thread> helpers;
  for (unsigned t = 1; t < threads; ++t) helpers.emplace_back(work);
  work();
  for (std::thread& helper : helpers) helper.join();

  std::size_t total = contents.size() + top.size();
  for (const auto& list : below) total += list.size();
  contents.reserve(total);
  std::size_t taken = 0;
  for (std::size_t g = 0; g <= gaps.size(); ++g) {
    const std::size_t until = g < gaps.size() ? gaps[g].first : top.size();
    std::move(top.begin() + taken, top.begin() + until, std::back_inserter(contents));
    taken = until;
    if (g < gaps.size()) std::move(below[g].begin(), below[g].end(), std::back_inserter(contents));
  }
}

}  // namespace

std::uint64_t lx_numberOfFilesAtPath(FileManager&, StringView path) {
  const unsigned threads = DirectoryEnumerator::defaultThreadCount();
  // One counter per thread, each on its own cache line.
  struct alignas(64) Counter {
    std::uint64_t files = 0;
  };
  std::vector<Counter> counters(threads);
  DirectoryEnumerator().enumerateConcurrently(path, threads,
                                              [&](const DirectoryItem& item, unsigned worker) {
                                                if (item.isDirectory()) return true;
                                                ++counters[worker].files;
                                                return false;
                                              });
  std::uint64_t count = 0;
  for (const Counter& c : counters) count += c.files;
  return count;
}

void lx_numberOfFilesAtURLRecursive(FileManager& manager, const URL& url, std::uint64_t& numFiles) {
  numFiles += lx_numberOfFilesAtPath(manager, url.path());
}

std::uint64_t lx_sizeOfFolderContentsAtPath(FileManager& manager, StringView path,
                                            std::uint64_t* physicalSize) {
  std::uint64_t size = 0;
  std::uint64_t physical = 0;
  lx_sizeOfFolderContentsAtPathRecursive(manager, path, size, physical);
  if (physicalSize) *physicalSize = physical;
  return size;
}

void lx_sizeOfFolderContentsAtPathRecursive(FileManager&, StringView path, std::uint64_t& size,
                                            std::uint64_t& physicalSize) {
  const unsigned threads = DirectoryEnumerator::defaultThreadCount();
  struct alignas(64) Sums {
    std::uint64_t logical = 0;
    std::uint64_t physical = 0;
  };
  std::vector<Sums> sums(threads);
  DirectoryEnumerator(DirectoryEnumerator::Sizes)
      .enumerateConcurrently(path, threads, [&](const DirectoryItem& item, unsigned worker) {
        if (item.hasSizes) {
          sums[worker].logical += item.logicalSize;
          sums[worker].physical += item.allocatedSize;
        }
        return item.isDirectory();
      });
  for (const Sums& s : sums) {
    size += s.logical;
    physicalSize += s.physical;
  }
}

std::vector<String> lx_deepDirectoryContentsAtPath(FileManager& manager, StringView path,
                                                   bool includeHidden, bool includeDirectories,
                                                   const std::optional<String>& conformsToUTI,
                                                   const std::vector<String>& excludesFiles) {
  std::vector<String> contents;
  lx_deepDirectoryContentsAtPathRecursive(manager, path, contents, includeHidden,
                                          includeDirectories, conformsToUTI, excludesFiles);
  return contents;
}

std::vector<String> lx_deepDirectoryContentsAtPath(FileManager& manager, StringView path,
                                                   bool includeHidden, bool includeDirectories,
                                                   const std::vector<String>& excludingUTIs,
                                                   const std::vector<String>& excludesFiles,
                                                   const std::vector<String>& includingUTIs,
                                                   const LXPathPredicate& excludingPredicate) {
  std::vector<String> contents;
  lx_deepDirectoryContentsAtPathRecursive(manager, path, contents, includeHidden,
                                          includeDirectories, excludingUTIs, excludesFiles,
                                          includingUTIs, excludingPredicate);
  return contents;
}

void lx_deepDirectoryContentsAtPathRecursive(FileManager&, StringView path,
                                             std::vector<String>& contents, bool includeHidden,
                                             bool includeDirectories,
                                             const std::optional<String>& conformsToUTI,
                                             const std::vector<String>& excludesFiles) {
  // An identifier that names no type lets no typed file conform.
  const std::optional<ContentType> wanted =
      conformsToUTI ? typeNamed(*conformsToUTI) : std::nullopt;
  listTree(path, contents,
           {includeHidden, includeDirectories, excludesFiles, nullptr,
            [&](const DirectoryItem& item, TypeCache& types) {
              if (!conformsToUTI) return true;
              const std::optional<ContentType>& type = types.typeOf(item.name);
              return !type || (wanted && type->conformsTo(*wanted));
            }});
}

void lx_deepDirectoryContentsAtPathRecursive(FileManager&, StringView path,
                                             std::vector<String>& contents, bool includeHidden,
                                             bool includeDirectories,
                                             const std::vector<String>& excludingUTIs,
                                             const std::vector<String>& excludesFiles,
                                             const std::vector<String>& includingUTIs,
                                             const LXPathPredicate& excludingPredicate) {
  std::vector<ContentType> excluded;
  for (const String& identifier : excludingUTIs) {
    if (std::optional<ContentType> type = typeNamed(identifier)) excluded.push_back(*type);
  }
  const auto skip = [&](const DirectoryItem& item) {
    return excludingPredicate(stringWithFileSystemRepresentation(item.path));
  };
  listTree(path, contents,
           {includeHidden, includeDirectories, excludesFiles,
            excludingPredicate ? std::function<bool(const DirectoryItem&)>(skip) : nullptr,
            [&](const DirectoryItem& item, TypeCache& types) {
              const std::optional<ContentType>& type = types.typeOf(item.name);
              if (!type) return true;
              const bool isExcluded =
                  std::any_of(excluded.begin(), excluded.end(),
                              [&](const auto& e) { return type->conformsTo(e); });
              if (!isExcluded) return true;
              return std::find(includingUTIs.begin(), includingUTIs.end(), type->identifier()) !=
                     includingUTIs.end();
            }});
}

bool lx_removeDirectoryContentsAtPath(FileManager& manager, StringView path, ErrorPtr* error) {
  const std::optional<std::vector<String>> names = manager.contentsOfDirectoryAtPath(path, error);
  if (!names) return false;
  for (const String& name : *names) {
    if (!manager.removeItemAtPath(stringByAppendingPathComponent(path, name), error)) return false;
  }
  return true;
}

}  // namespace lx
