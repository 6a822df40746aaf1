#include "vantorcore/platform/SharedMimeInfo.h"

#include <algorithm>

#include "platform/ASCIICase.h"
#include "vantorcore/platform/FileIO.h"
#include "vantorcore/platform/ProcessInfo.h"
#include "vantorcore/platform/String+Paths.h"

namespace lx {

namespace {

// Calls `handle` with each line that is neither empty nor a comment; the
// line ends are "\n", with a stray "\r" before them tolerated.
template <class Handler>
void forEachLine(std::string_view text, Handler handle) {
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (line.empty() || line.front() == '#') continue;
    handle(line);
  }
}

// "media/subtype" with both halves non-empty and no white space.
bool isMIMEType(std::string_view text) {
  const std::size_t slash = text.find('/');
  if (slash == 0 || slash == std::string_view::npos || slash + 1 == text.size()) return false;
  return std::none_of(text.begin(), text.end(), [](char c) {
    return c == ' ' || c == '\t' || static_cast<unsigned char>(c) < 0x20;
  });
}

std::optional<int> parseWeight(std::string_view text) {
  if (text.empty() || text.size() > 3) return std::nullopt;
  int weight = 0;
  for (char c : text) {
    if (c < '0' || c > '9') return std::nullopt;
    weight = weight * 10 + (c - '0');
  }
  if (weight > SharedMimeInfo::kMaximumWeight) return std::nullopt;
  return weight;
}

std::optional<SharedMimeInfo::Glob> parseGlobLine(std::string_view line) {
  const std::size_t first = line.find(':');
  if (first == std::string_view::npos) return std::nullopt;
  const std::size_t second = line.find(':', first + 1);
  if (second == std::string_view::npos) return std::nullopt;
  const auto weight = parseWeight(line.substr(0, first));
  const std::string_view type = line.substr(first + 1, second - first - 1);
  std::string_view pattern = line.substr(second + 1);
  std::string_view flags;
  if (const std::size_t third = pattern.find(':'); third != std::string_view::npos) {
    flags = pattern.substr(third + 1);
    pattern = pattern.substr(0, third);
  }
  if (!weight || !isMIMEType(type) || pattern.empty()) return std::nullopt;
  bool caseSensitive = false;
  while (!flags.empty()) {
    const std::size_t comma = flags.find(',');
    caseSensitive = caseSensitive || flags.substr(0, comma) == "cs";
    flags.remove_prefix(comma == std::string_view::npos ? flags.size() : comma + 1);
  }
  return SharedMimeInfo::Glob{*weight, detail::asciiLowercase(type), fromUTF8(pattern),
                              caseSensitive};
}

std::optional<std::string> readText(StringView path) {
  auto data = readFileContents(path);
  if (!data) return std::nullopt;
  return std::string(data->begin(), data->end());
}

}  // namespace

std::vector<SharedMimeInfo::Glob> SharedMimeInfo::parseGlobs2(std::string_view text,
                                                              std::size_t* malformedLines) {
  std::vector<Glob> globs;
  std::size_t malformed = 0;
  forEachLine(text, [&](std::string_view line) {
    if (auto glob = parseGlobLine(line)) {
      globs.push_back(std::move(*glob));
    } else {
      ++malformed;
    }
  });
  if (malformedLines) *malformedLines += malformed;
  return globs;
}

std::vector<SharedMimeInfo::Pair> SharedMimeInfo::parsePairs(std::string_view text,
                                                             std::size_t* malformedLines) {
  std::vector<Pair> pairs;
  std::size_t malformed = 0;
  forEachLine(text, [&](std::string_view line) {
    const std::size_t space = line.find(' ');
    const std::string_view left = line.substr(0, space);
    const std::string_view right =
        space == std::string_view::npos ? std::string_view() : line.substr(space + 1);
    if (isMIMEType(left) && isMIMEType(right)) {
      pairs.emplace_back(detail::asciiLowercase(left), detail::asciiLowercase(right));
    } else {
      ++malformed;
    }
  });
  if (malformedLines) *malformedLines += malformed;
  return pairs;
}

std::optional<SharedMimeInfo::Folder> SharedMimeInfo::readFolder(StringView path) {
  const auto globs = readText(stringByAppendingPathComponent(path, u"globs2"));
  const auto subclasses = readText(stringByAppendingPathComponent(path, u"subclasses"));
  const auto aliases = readText(stringByAppendingPathComponent(path, u"aliases"));
  if (!globs && !subclasses && !aliases) return std::nullopt;
  Folder folder;
  if (globs) folder.globs = parseGlobs2(*globs, &folder.malformedLines);
  if (subclasses) folder.subclasses = parsePairs(*subclasses, &folder.malformedLines);
  if (aliases) folder.aliases = parsePairs(*aliases, &folder.malformedLines);
  return folder;
}

std::vector<String> SharedMimeInfo::systemFolders() {
  std::vector<String> folders;
  const auto dataHome = ProcessInfo::environmentValue("XDG_DATA_HOME");
  folders.push_back(dataHome && dataHome->starts_with(u'/')
                        ? stringByAppendingPathComponent(*dataHome, u"mime")
                        : stringByAppendingPathComponent(homeDirectory(), u".local/share/mime"));
  auto dataDirs = ProcessInfo::environmentValue("XDG_DATA_DIRS");
  if (!dataDirs || dataDirs->empty()) dataDirs = u"/usr/local/share:/usr/share";
  for (const String& dir : componentsSeparatedByString(*dataDirs, u":")) {
    if (!dir.starts_with(u'/')) continue;
    String folder = stringByAppendingPathComponent(dir, u"mime");
    if (std::find(folders.begin(), folders.end(), folder) == folders.end()) {
      folders.push_back(std::move(folder));
    }
  }
  return folders;
}

}  // namespace lx
