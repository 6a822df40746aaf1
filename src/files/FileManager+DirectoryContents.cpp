#include "vantorcore/files/FileManager+DirectoryContents.h"

#include <algorithm>
#include <atomic>
#include <cstring>
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

// What the listing filters make of one set of settings, converted once.
struct ListingRules {
  explicit ListingRules(const LXDeepListingFilters& filters)
      : includeHidden(filters.includeHidden),
        includeDirectories(filters.includeDirectories),
        filtersByConformance(filters.conformsToUTI.has_value()),
        includingUTIs(filters.includingUTIs),
        excludingPredicate(filters.excludingPredicate) {
    // Names compare as the file system's bytes, so no item's name needs
    // converting.
    for (const String& name : filters.excludesFiles) {
      excludedNames.push_back(fileSystemRepresentation(name));
    }
    // An identifier that names no type lets no typed file conform, and
    // excludes nothing.
    if (filters.conformsToUTI) wanted = ContentType::typeWithIdentifier(*filters.conformsToUTI);
    for (const String& identifier : filters.excludingUTIs) {
      if (std::optional<ContentType> type = ContentType::typeWithIdentifier(identifier)) {
        excluded.push_back(*type);
      }
    }
  }

  // Whether a file of content type `type` is listed: it conforms to the
  // wanted type, and conforms to no excluded type unless it is exactly one
  // of the including identifiers.
  [[nodiscard]] bool listsFileOfType(const ContentType& type) const {
    if (filtersByConformance && !(wanted && type.conformsTo(*wanted))) return false;
    const bool isExcluded = std::any_of(excluded.begin(), excluded.end(),
                                        [&](const ContentType& e) { return type.conformsTo(e); });
    return !isExcluded || std::find(includingUTIs.begin(), includingUTIs.end(),
                                    type.identifier()) != includingUTIs.end();
  }

  [[nodiscard]] bool filtersByType() const { return filtersByConformance || !excluded.empty(); }

  // Excluded names count only when hidden items are included.
  [[nodiscard]] bool isVisible(const DirectoryItem& item) const {
    if (!includeHidden) return !item.hidden;
    return std::find(excludedNames.begin(), excludedNames.end(), item.name) == excludedNames.end();
  }

  bool includeHidden;
  bool includeDirectories;
  bool filtersByConformance;
  std::optional<ContentType> wanted;
  std::vector<ContentType> excluded;
  const std::vector<String>& includingUTIs;
  std::vector<std::string> excludedNames;
  const LXPathPredicate& excludingPredicate;
};

// What an extension means to a listing, decided once per extension and
// walk: a tree holds many files but few extensions, and the type lookup and
// conformance tests cost far more than a hash.
class ExtensionVerdicts {
 public:
  struct Verdict {
    bool isPackage = false;  // for folders
    bool listed = true;      // for files; a file without a type is always listed
  };

  explicit ExtensionVerdicts(const ListingRules& rules) : rules_(rules) {}

  const Verdict& of(std::string_view name) {
    const std::string_view extension = extensionOf(name);
    if (extension.empty()) return untyped_;
    auto found = verdicts_.find(extension);
    if (found == verdicts_.end()) found = verdicts_.emplace(extension, decide(extension)).first;
    return found->second;
  }

 private:
  Verdict decide(std::string_view extension) const {
    const std::optional<ContentType> type = lx_typeConsideringOverridesWithFilenameExtension(
        stringWithFileSystemRepresentation(extension));
    if (!type) return untyped_;
    return {type->conformsTo(ContentType::package()), rules_.listsFileOfType(*type)};
  }

  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view s) const noexcept {
      return std::hash<std::string_view>{}(s);
    }
  };
  const ListingRules& rules_;
  std::unordered_map<std::string, Verdict, Hash, std::equal_to<>> verdicts_;
  const Verdict untyped_{};
};

// Paths back to back, each after its length, in blocks that are filled and
// never moved: listing a tree costs no allocation per item, and growing the
// list never copies what it holds.
class PathList {
 public:
  void add(std::string_view path) {
    const auto length = static_cast<Length>(path.size());
    if (blocks_.empty() || blocks_.back().size() + sizeof length + path.size() > kBlockSize) {
      blocks_.emplace_back().reserve(std::max(kBlockSize, sizeof length + path.size()));
    }
    std::string& block = blocks_.back();
    block.append(reinterpret_cast<const char*>(&length), sizeof length);
    block.append(path);
    ++count_;
  }

  [[nodiscard]] std::size_t size() const noexcept { return count_; }

  template <typename Handler>
  void forEach(Handler&& handle) const {
    for (const std::string& block : blocks_) {
      for (std::size_t at = 0; at < block.size();) {
        Length length = 0;
        std::memcpy(&length, block.data() + at, sizeof length);
        at += sizeof length;
        handle(std::string_view(block).substr(at, length));
        at += length;
      }
    }
  }

 private:
  using Length = std::uint32_t;  // far above PATH_MAX, as deep walks go beyond it
  // Below malloc's mmap threshold, so blocks come from the heap and freeing
  // them costs no unmapping.
  static constexpr std::size_t kBlockSize = 64 * 1024;
  std::vector<std::string> blocks_;
  std::size_t count_ = 0;
};

// Lists `item` into `listed` by the rules; true when it is a folder to
// enter.
bool visit(const DirectoryItem& item, const ListingRules& rules, ExtensionVerdicts& verdicts,
           PathList& listed) {
  if (!rules.isVisible(item)) return false;
  if (rules.excludingPredicate &&
      rules.excludingPredicate(stringWithFileSystemRepresentation(item.path))) {
    return false;
  }
  if (item.isDirectory()) {
    if (verdicts.of(item.name).isPackage) return false;
    if (rules.includeDirectories) listed.add(item.path);
    return true;
  }
  if (!rules.filtersByType() || verdicts.of(item.name).listed) listed.add(item.path);
  return false;
}

DirectoryEnumerator enumeratorFor(const ListingRules& rules) {
  return DirectoryEnumerator(rules.includeHidden ? DirectoryEnumerator::None
                                                 : DirectoryEnumerator::Hidden);
}

// A listing in enumeration order: the root's own items and, after the
// folder each belongs to, the lists of the subtrees walked on other threads.
struct Listing {
  PathList top;
  std::vector<std::pair<std::size_t, PathList>> subtrees;  // position in `top`, list

  [[nodiscard]] std::size_t size() const {
    std::size_t total = top.size();
    for (const auto& subtree : subtrees) total += subtree.second.size();
    return total;
  }

  template <typename Handler>
  void forEach(Handler&& handle) const {
    auto subtree = subtrees.begin();
    const auto subtreesAfter = [&](std::size_t listed) {
      for (; subtree != subtrees.end() && subtree->first == listed; ++subtree) {
        subtree->second.forEach(handle);
      }
    };
    std::size_t listed = 0;
    subtreesAfter(listed);
    top.forEach([&](std::string_view path) {
      handle(path);
      subtreesAfter(++listed);
    });
  }
};

void listSequentially(StringView path, const ListingRules& rules, ExtensionVerdicts& verdicts,
                      PathList& listed) {
  enumeratorFor(rules).enumerate(path, [&](const DirectoryItem& item, unsigned) {
    return visit(item, rules, verdicts, listed);
  });
}

// Lists the tree in enumeration order. Without a caller's predicate (which
// must stay on the calling thread) the root's subfolders are listed on
// several threads, each into a list of its own.
Listing listTree(StringView path, const ListingRules& rules) {
  Listing listing;
  ExtensionVerdicts verdicts(rules);
  if (rules.excludingPredicate) {
    listSequentially(path, rules, verdicts, listing.top);
    return listing;
  }
  std::vector<std::string> folders;
  enumeratorFor(rules).enumerate(path, [&](const DirectoryItem& item, unsigned) {
    if (visit(item, rules, verdicts, listing.top)) {
      listing.subtrees.emplace_back(listing.top.size(), PathList());
      folders.emplace_back(item.path);
    }
    return false;
  });
  std::atomic<std::size_t> next{0};
  const auto work = [&] {
    ExtensionVerdicts own(rules);
    for (std::size_t i; (i = next.fetch_add(1)) < folders.size();) {
      listSequentially(stringWithFileSystemRepresentation(folders[i]), rules, own,
                       listing.subtrees[i].second);
    }
  };
  const unsigned threads =
      std::min<std::size_t>(DirectoryEnumerator::defaultThreadCount(), folders.size());
  std::vector<std::thread> helpers;
  for (unsigned t = 1; t < threads; ++t) helpers.emplace_back(work);
  work();
  for (std::thread& helper : helpers) helper.join();
  return listing;
}

// The settings both walks share.
LXDeepListingFilters filtersOf(bool includeHidden, bool includeDirectories,
                               const std::vector<String>& excludesFiles) {
  LXDeepListingFilters filters;
  filters.includeHidden = includeHidden;
  filters.includeDirectories = includeDirectories;
  filters.excludesFiles = excludesFiles;
  return filters;
}

void collect(StringView path, const LXDeepListingFilters& filters, std::vector<String>& contents) {
  const ListingRules rules(filters);
  const Listing listing = listTree(path, rules);
  contents.reserve(contents.size() + listing.size());
  listing.forEach(
      [&](std::string_view item) { contents.push_back(stringWithFileSystemRepresentation(item)); });
}

}  // namespace

std::uint64_t lx_numberOfFilesAtPath(FileManager&, StringView path, bool includeHidden) {
  const unsigned threads = DirectoryEnumerator::defaultThreadCount();
  // One counter per thread, each on its own cache line.
  struct alignas(64) Counter {
    std::uint64_t files = 0;
  };
  std::vector<Counter> counters(threads);
  DirectoryEnumerator(includeHidden ? DirectoryEnumerator::None : DirectoryEnumerator::Hidden)
      .enumerateConcurrently(path, threads, [&](const DirectoryItem& item, unsigned worker) {
        if (!includeHidden && item.hidden) return false;
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

std::uint64_t lx_sizeOfFolderContentsAtPath(FileManager&, StringView path,
                                            std::uint64_t* physicalSize, bool includeHidden) {
  const unsigned threads = DirectoryEnumerator::defaultThreadCount();
  struct alignas(64) Sums {
    std::uint64_t logical = 0;
    std::uint64_t physical = 0;
  };
  std::vector<Sums> sums(threads);
  DirectoryEnumerator(DirectoryEnumerator::Sizes |
                      (includeHidden ? DirectoryEnumerator::None : DirectoryEnumerator::Hidden))
      .enumerateConcurrently(path, threads, [&](const DirectoryItem& item, unsigned worker) {
        if (!includeHidden && item.hidden) return false;
        if (item.hasSizes) {
          sums[worker].logical += item.logicalSize;
          sums[worker].physical += item.allocatedSize;
        }
        return item.isDirectory();
      });
  std::uint64_t size = 0;
  std::uint64_t physical = 0;
  for (const Sums& s : sums) {
    size += s.logical;
    physical += s.physical;
  }
  if (physicalSize) *physicalSize = physical;
  return size;
}

void lx_sizeOfFolderContentsAtPathRecursive(FileManager& manager, StringView path,
                                            std::uint64_t& size, std::uint64_t& physicalSize) {
  std::uint64_t physical = 0;
  size += lx_sizeOfFolderContentsAtPath(manager, path, &physical);
  physicalSize += physical;
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
  LXDeepListingFilters filters = filtersOf(includeHidden, includeDirectories, excludesFiles);
  filters.conformsToUTI = conformsToUTI;
  collect(path, filters, contents);
}

void lx_deepDirectoryContentsAtPathRecursive(FileManager&, StringView path,
                                             std::vector<String>& contents, bool includeHidden,
                                             bool includeDirectories,
                                             const std::vector<String>& excludingUTIs,
                                             const std::vector<String>& excludesFiles,
                                             const std::vector<String>& includingUTIs,
                                             const LXPathPredicate& excludingPredicate) {
  LXDeepListingFilters filters = filtersOf(includeHidden, includeDirectories, excludesFiles);
  filters.excludingUTIs = excludingUTIs;
  filters.includingUTIs = includingUTIs;
  filters.excludingPredicate = excludingPredicate;
  collect(path, filters, contents);
}

void lx_enumerateDeepDirectoryContentsAtPath(FileManager&, StringView path,
                                             const LXDeepListingFilters& filters,
                                             const LXListedPathHandler& handler) {
  const ListingRules rules(filters);
  listTree(path, rules).forEach(handler);
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
