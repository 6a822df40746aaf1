#include "vantorcore/text/String+PathAdditions.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <mutex>
#include <unordered_set>
#include <utility>

#include "vantorcore/files/FileManager+Additions.h"
#include "vantorcore/platform/FileManager.h"
#include "vantorcore/platform/String+Paths.h"

namespace lx {
namespace {

std::mutex& lookupMutex() {
  static std::mutex mutex;
  return mutex;
}

UserHomeDirectoryLookup& installedLookup() {
  static UserHomeDirectoryLookup lookup;
  return lookup;
}

// A word read by strtoul in base 10 with nothing left over, and not the
// overflow value: the unique-name counter. An empty word reads as 0.
std::optional<unsigned long> wholeUnsignedNumber(StringView word) {
  const std::string text = toUTF8(word);
  char* end = nullptr;
  const unsigned long value = std::strtoul(text.c_str(), &end, 10);
  if (end != text.c_str() + text.size() || value == ULONG_MAX) return std::nullopt;
  return value;
}

// Whether the base already carries the copy suffix, as its last word or
// followed by a counter ('Report copy', 'Report copy 3').
bool endsWithCopySuffix(StringView base, StringView suffix) {
  const std::vector<String> words = componentsSeparatedByString(base, u" ");
  const std::size_t n = words.size();
  if (n >= 2 && words[n - 1] == suffix) return true;
  return n >= 3 && words[n - 2] == suffix && wholeUnsignedNumber(words[n - 1]).has_value();
}

}  // namespace

UserHomeDirectoryLookup setUserHomeDirectoryLookup(UserHomeDirectoryLookup lookup) {
  std::lock_guard lock(lookupMutex());
  return std::exchange(installedLookup(), std::move(lookup));
}

String LXUserHomeDirectory() {
  UserHomeDirectoryLookup lookup;
  {
    std::lock_guard lock(lookupMutex());
    lookup = installedLookup();
  }
  std::optional<String> home = lookup ? lookup() : homeDirectoryOfRealUser();
  return home ? *home : LXHomeDirectory();
}

String LXHomeDirectory() {
  const String home = homeDirectory();
  char* resolved = realpath(fileSystemRepresentation(home).c_str(), nullptr);
  if (resolved == nullptr) return home;
  String result = stringWithFileSystemRepresentation(resolved);
  std::free(resolved);
  return result;
}

String lx_stringByExpandingTildeInPathToUserHomeDirectory(StringView path) {
  if (!path.starts_with(u'~')) return String(path);
  return stringByAppendingPathComponent(LXUserHomeDirectory(), path.substr(1));
}

String lx_stringByAbbreviatingWithUserHomeTildeInPath(StringView path) {
  const String home = LXUserHomeDirectory();
  if (!path.starts_with(home)) return String(path);
  return stringByAppendingPathComponent(u"~", path.substr(home.size()));
}

String lx_stringByTrimmingPathToUsersDirectory(StringView path) {
  const std::optional<String> boot = lx_bootDiskPath();
  if (!boot || boot->empty() || boot->size() >= path.size() || !path.starts_with(*boot)) {
    return String(path);
  }
  return String(path.substr(boot->size()));
}

String lx_stringByNormalizingPath(StringView path) {
  String expanded = lx_stringByExpandingTildeInPathToUserHomeDirectory(path);
  if (rangeOfString(expanded, u"/Volumes/", CaseInsensitiveSearch | AnchoredSearch).found() ||
      lowercaseString(expanded) == u"/volumes") {
    return expanded;
  }
  const std::optional<String> boot = lx_bootDiskPath();
  return boot ? stringByAppendingPathComponent(*boot, expanded) : expanded;
}

String lx_stringByStandardizingUnixPath(StringView path) {
  return detail::resolveDotComponents(path, false);
}

std::optional<String> lx_stringByRebasingPathFromRoot(StringView path,
                                                      const std::optional<String>& fromRoot,
                                                      StringView toRoot) {
  if (!fromRoot) return String(path);
  if (fromRoot->empty() || fromRoot->size() > path.size() ||
      !isEqualCaseInsensitive(path.substr(0, fromRoot->size()), *fromRoot)) {
    return std::nullopt;
  }
  std::vector<String> components = pathComponents(toRoot);
  std::vector<String> rest = pathComponents(path.substr(fromRoot->size()));
  components.insert(components.end(), std::make_move_iterator(rest.begin()),
                    std::make_move_iterator(rest.end()));
  return pathWithComponents(components);
}

String lx_commonPathPrefix(StringView path, StringView other, unsigned options) {
  if (compare(path, other, options) == ComparisonResult::Same) return String(path);
  const std::vector<String> mine = pathComponents(path);
  const std::vector<String> theirs = pathComponents(other);
  std::size_t common = 0;
  while (common < mine.size() && common < theirs.size() &&
         compare(mine[common], theirs[common], options) == ComparisonResult::Same) {
    ++common;
  }
  return pathWithComponents(std::span(mine).first(common));
}

bool lx_isChildOfPath(StringView path, const std::optional<String>& parent) {
  if (!parent || isEqualCaseInsensitive(path, *parent)) return false;
  const std::vector<String> child = pathComponents(path);
  const std::vector<String> ancestors = pathComponents(*parent);
  if (child.size() <= ancestors.size()) return false;
  return std::equal(ancestors.begin(), ancestors.end(), child.begin(),
                    [](const String& a, const String& b) { return isEqualCaseInsensitive(a, b); });
}

bool lx_hasCompletePathPrefix(StringView path) { return path.empty() || path.front() == u'/'; }

String lx_pathExtension(StringView path) {
  // The last dot of the whole string, slashes included: 'a.b/c' has the
  // extension 'b/c'. Callers rely on that.
  const std::size_t dot = path.rfind(u'.');
  if (dot == StringView::npos || dot == 0 || dot + 1 == path.size()) return String();
  return String(path.substr(dot + 1));
}

String lx_stringByDeletingPathExtension(StringView path) {
  const std::size_t dot = path.rfind(u'.');
  if (dot == StringView::npos || dot + 1 == path.size()) return String(path);
  return String(path.substr(0, dot));
}

String lx_allPathExtensions(StringView path) {
  String all = pathExtension(path);
  if (all.empty()) return all;
  String rest = lx_stringByDeletingPathExtension(path);
  for (String next = pathExtension(rest); !next.empty(); next = pathExtension(rest)) {
    all = next + u"." + all;
    rest = lx_stringByDeletingPathExtension(rest);
  }
  return all;
}

String lx_stringByDeletingTrailingSlash(StringView path) {
  if (path.size() >= 2 && path.back() == u'/') path.remove_suffix(1);
  return String(path);
}

String lx_stringByEnsuringTrailingSlash(StringView path) {
  String out(path);
  if (!out.ends_with(u'/')) out.push_back(u'/');
  return out;
}

String lx_stringByExpandingEscapedSpaces(StringView path) {
  return stringByReplacingOccurrences(path, u"\\ ", u" ");
}

String lx_pathDisplayName(StringView path) {
  return FileManager::threadSafeManager()->displayNameAtPath(path);
}

String lx_pathDisplayNameWithoutExtension(StringView path) {
  return lx_stringByDeletingPathExtension(lx_pathDisplayName(path));
}

bool lx_isFileExtensionHidden(StringView path) {
  return FileManager::threadSafeManager()->isExtensionHiddenAtPath(path);
}

bool lx_setFileExtensionHidden(StringView path, bool hidden) {
  return FileManager::threadSafeManager()->setExtensionHiddenAtPath(path, hidden);
}

bool lx_isFileVisible(StringView path) {
  if (lastPathComponent(path).starts_with(u'.')) return false;
  return !FileManager::threadSafeManager()->isHiddenAtPath(path).value_or(false);
}

bool lx_isValidFilename(StringView name) {
  return !name.empty() && name.find_first_of(u"/:") == StringView::npos && !name.ends_with(u'.') &&
         name.find(u"..") == StringView::npos;
}

bool lx_isValidPathComponent(StringView component) {
  return component.find(u"//") == StringView::npos && component.find(u':') == StringView::npos &&
         !component.ends_with(u'.') && component.find(u"..") == StringView::npos;
}

Range lx_wordRangeForFilenameAtIndex(StringView name, std::size_t index, Range range) {
  if (index < name.size() && name[index] == u'.') return Range{index, 1};
  std::size_t start = std::min(range.location, name.size());
  std::size_t end = start + std::min(range.length, name.size() - start);
  for (;;) {
    const std::size_t dot = name.substr(start, end - start).find(u'.');
    if (dot == StringView::npos) break;
    if (start + dot < index) {
      start += dot + 1;
    } else {
      end = start + dot;
    }
  }
  return Range{start, end - start};
}

bool lx_isString(StringView string, std::span<const String> strings, bool caseInsensitive) {
  return std::any_of(strings.begin(), strings.end(), [&](const String& s) {
    return caseInsensitive ? isEqualCaseInsensitive(s, string) : s == string;
  });
}

String detail::uniqueString(const String& string,
                            const std::function<bool(const String&)>& contains) {
  if (!contains(string)) return string;
  String base = string;
  unsigned long counter = 2;
  const std::size_t space = string.rfind(u' ');
  if (space != String::npos) {
    if (const auto number = wholeUnsignedNumber(StringView(string).substr(space + 1))) {
      base.resize(space);
      counter = *number;
    }
  }
  // One buffer for all candidates: "<base> " stays, the digits change.
  String candidate = base + u" ";
  const std::size_t prefix = candidate.size();
  for (;; ++counter) {
    candidate.resize(prefix);
    const std::string digits = std::to_string(counter);
    candidate.append(digits.begin(), digits.end());
    if (!contains(candidate)) return candidate;
  }
}

String lx_stringUniqueToArray(const String& string, std::span<const String> strings,
                              const std::optional<String>& copySuffix, bool filenames) {
  if (std::find(strings.begin(), strings.end(), string) == strings.end()) return string;
  const String extension = filenames ? lx_pathExtension(string) : String();
  std::unordered_set<String> taken;
  String base;
  if (!extension.empty()) {
    for (const auto& s : strings) {
      if (lx_pathExtension(s) == extension) taken.insert(lx_stringByDeletingPathExtension(s));
    }
    base = lx_stringByDeletingPathExtension(string);
  } else {
    taken.insert(strings.begin(), strings.end());
    base = string;
  }
  if (copySuffix && !endsWithCopySuffix(base, *copySuffix)) base += u" " + *copySuffix;
  String unique = lx_stringUniqueToSet(base, taken);
  if (!extension.empty()) unique += u"." + extension;
  return unique;
}

String lx_filenameUniqueToArray(const String& name, std::span<const String> names,
                                const std::optional<String>& copySuffix) {
  return lx_stringUniqueToArray(name, names, copySuffix, true);
}

String lx_filenameUniqueToPath(const String& name, StringView directory,
                               const std::optional<String>& copySuffix) {
  const std::vector<String> names =
      FileManager::threadSafeManager()->contentsOfDirectoryAtPath(directory).value_or(
          std::vector<String>{});
  return lx_filenameUniqueToArray(name, names, copySuffix);
}

}  // namespace lx
