#include "vantorcore/platform/OSRelease.h"

#include <algorithm>
#include <atomic>
#include <mutex>

#include "vantorcore/platform/FileIO.h"

namespace lx {

namespace {

std::optional<std::string> readSystemFiles() {
  for (const char16_t* path : {u"/etc/os-release", u"/usr/lib/os-release"}) {
    if (auto data = readFileContents(path)) return std::string(data->begin(), data->end());
  }
  return std::nullopt;
}

std::mutex sourceMutex;
OSRelease::Source currentSource;  // empty: readSystemFiles
std::atomic<std::uint64_t> sourceGeneration{0};

bool isKeyCharacter(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
}

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

// The value after "=", or absent when it is not one of the three forms.
std::optional<std::string> parseValue(std::string_view text) {
  while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
  if (text.empty()) return std::string();
  const char quote = text.front();
  if (quote != '"' && quote != '\'') {
    if (text.find_first_of(" \t\"'\\") != std::string_view::npos) return std::nullopt;
    return std::string(text);
  }
  std::string value;
  for (std::size_t i = 1; i < text.size(); ++i) {
    const char c = text[i];
    if (c == quote) {
      if (i + 1 != text.size()) return std::nullopt;  // text after the closing quote
      return value;
    }
    if (c == '\\' && quote == '"' && i + 1 < text.size()) {
      value.push_back(text[++i]);
    } else {
      value.push_back(c);
    }
  }
  return std::nullopt;  // unterminated
}

}  // namespace

OSRelease::Source OSRelease::setSource(Source source) {
  std::lock_guard lock(sourceMutex);
  std::swap(currentSource, source);
  sourceGeneration.fetch_add(1, std::memory_order_acq_rel);
  return source;
}

std::uint64_t OSRelease::generation() noexcept {
  return sourceGeneration.load(std::memory_order_acquire);
}

std::optional<Dictionary> OSRelease::read() {
  Source source;
  {
    std::lock_guard lock(sourceMutex);
    source = currentSource;
  }
  const auto text = source ? source() : readSystemFiles();
  if (!text) return std::nullopt;
  return parse(*text);
}

std::optional<String> OSRelease::value(StringView key) {
  const auto variables = read();
  if (!variables) return std::nullopt;
  const Value* value = variables->find(key);
  if (!value || !value->isString()) return std::nullopt;
  return value->asString()->str();
}

Dictionary OSRelease::parse(std::string_view text) {
  Dictionary variables;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    while (!line.empty() && isBlank(line.front())) line.remove_prefix(1);
    if (line.empty() || line.front() == '#') continue;
    const std::size_t equals = line.find('=');
    if (equals == 0 || equals == std::string_view::npos) continue;
    const std::string_view key = line.substr(0, equals);
    if (!std::all_of(key.begin(), key.end(), isKeyCharacter)) continue;
    if (auto value = parseValue(line.substr(equals + 1))) {
      variables.set(fromUTF8(key), Value(fromUTF8(*value)));
    }
  }
  return variables;
}

}  // namespace lx
