#include "vantorcore/files/LXSystemVersion.h"

#include <algorithm>
#include <atomic>
#include <limits>

#include "vantorcore/platform/Exception.h"
#include "vantorcore/platform/Log.h"
#include "vantorcore/platform/OSRelease.h"

namespace lx {

LX_DEFINE_CLASS(LXSystemVersion, Object)

namespace {

bool isDigit(char16_t c) { return c >= u'0' && c <= u'9'; }

std::uint64_t saturatingValue(StringView digits) {
  constexpr std::uint64_t kMax = std::numeric_limits<std::uint64_t>::max();
  std::uint64_t value = 0;
  for (char16_t c : digits) {
    const auto digit = static_cast<std::uint64_t>(c - u'0');
    if (value > (kMax - digit) / 10) return kMax;
    value = value * 10 + digit;
  }
  return value;
}

// Digit strings by value, of any length.
int compareNumerically(StringView a, StringView b) {
  const auto significant = [](StringView s) {
    const std::size_t first = s.find_first_not_of(u'0');
    return first == StringView::npos ? StringView() : s.substr(first);
  };
  a = significant(a);
  b = significant(b);
  if (a.size() != b.size()) return a.size() < b.size() ? -1 : 1;
  const int order = a.compare(b);
  return order < 0 ? -1 : order > 0 ? 1 : 0;
}

bool isZero(StringView digits) { return digits.find_first_not_of(u'0') == StringView::npos; }

// Wide enough that no marker value overflows it.
unsigned __int128 preReleaseScore(const LXSystemVersion& v) {
  return static_cast<unsigned __int128>(v.beta()) * 10000 +
         static_cast<unsigned __int128>(v.alpha()) * 1000 + v.dev();
}

struct KeptVersion {
  std::uint64_t generation;
  std::shared_ptr<LXSystemVersion> version;
};
std::atomic<std::shared_ptr<const KeptVersion>> keptCurrentVersion;

}  // namespace

std::optional<String> LXSystemVersionReadComponentValue(StringView string, std::size_t start,
                                                        std::size_t* end) {
  std::size_t position = std::min(start, string.size());
  while (position < string.size() && isDigit(string[position])) ++position;
  if (end) *end = start < string.size() ? position : start;
  if (start >= string.size() || position == start) return std::nullopt;
  return String(string.substr(start, position - start));
}

std::shared_ptr<LXSystemVersion> LXSystemVersion::initWithSystemVersionString(StringView string) {
  auto version = std::make_shared<LXSystemVersion>();
  version->parse(string);
  return version;
}

std::shared_ptr<LXSystemVersion> LXSystemVersion::init() {
  throw InvalidArgumentException(u"System versions cannot be initialized with -init");
}

std::shared_ptr<LXSystemVersion> LXSystemVersion::systemVersionWithString(StringView string) {
  return initWithSystemVersionString(string);
}

std::shared_ptr<LXSystemVersion> LXSystemVersion::systemVersionWithBundle(const Bundle& bundle) {
  const auto value = bundle.objectForInfoDictionaryKey(u"CFBundleShortVersionString");
  if (!value || !value->isString()) return nullptr;
  return initWithSystemVersionString(*value->asString());
}

std::shared_ptr<LXSystemVersion> LXSystemVersion::currentSystemVersion() {
  const std::uint64_t generation = OSRelease::generation();
  const auto kept = keptCurrentVersion.load(std::memory_order_acquire);
  if (kept && kept->generation == generation) return kept->version;
  const auto versionID = OSRelease::value(u"VERSION_ID");
  if (!versionID || versionID->empty()) return nullptr;
  auto version = systemVersionWithString(*versionID);
  keptCurrentVersion.store(std::make_shared<const KeptVersion>(KeptVersion{generation, version}),
                           std::memory_order_release);
  return version;
}

void LXSystemVersion::parse(StringView string) {
  std::vector<String> components;
  std::size_t cursor = 0;
  while (cursor < string.size()) {
    const char16_t c = string[cursor];
    std::size_t end = cursor;
    if (c == u'.') {
      if (auto run = LXSystemVersionReadComponentValue(string, cursor + 1, &end)) {
        components.push_back(std::move(*run));
        cursor = end;
      } else {
        logLine(u"LXSystemVersion: Warning, found \".\" without a following digit value.");
        cursor = end + 1;
      }
    } else if (c == u'a' || c == u'b' || c == u'd') {
      const auto run = LXSystemVersionReadComponentValue(string, cursor + 1, &end);
      const std::uint64_t value = run ? saturatingValue(*run) : 0;
      (c == u'a' ? alpha_ : c == u'b' ? beta_ : dev_) = value;
      cursor = end;
    } else if (auto run = LXSystemVersionReadComponentValue(string, cursor, &end)) {
      components.push_back(std::move(*run));
      cursor = end;
    } else {
      logFormat(u"LXSystemVersion: Found unsupported character in version string, bailing:\"%@\".",
                string);
      break;
    }
  }
  while (components.size() > 1 && isZero(components.back())) components.pop_back();
  setComponents(std::move(components));
}

void LXSystemVersion::setComponents(std::vector<String> components) {
  components_ = components.empty() ? std::vector<String>{u"0"} : std::move(components);
  updateCanonicalString();
}

void LXSystemVersion::setAlpha(std::uint64_t alpha) {
  alpha_ = alpha;
  updateCanonicalString();
}

void LXSystemVersion::setBeta(std::uint64_t beta) {
  beta_ = beta;
  updateCanonicalString();
}

void LXSystemVersion::setDev(std::uint64_t dev) {
  dev_ = dev;
  updateCanonicalString();
}

void LXSystemVersion::updateCanonicalString() {
  String text = componentsJoinedByString(components_, u".");
  const auto appendMarker = [&](char16_t letter, std::uint64_t value) {
    if (value == 0) return;
    text.push_back(letter);
    text += fromUTF8(std::to_string(value));
  };
  appendMarker(u'b', beta_);
  appendMarker(u'a', alpha_);
  appendMarker(u'd', dev_);
  canonical_ = std::move(text);
}

String LXSystemVersion::description() const {
  return stringWithFormat(u"<%@: %p : %@>", className(), static_cast<const void*>(this),
                          canonical_);
}

std::shared_ptr<LXSystemVersion> LXSystemVersion::copy() { return sharedAs<LXSystemVersion>(); }

int LXSystemVersion::compare(const LXSystemVersion& other) const {
  std::lock_guard lock(lock_);
  if (const auto it = comparisons_.find(StringView(other.canonical_)); it != comparisons_.end()) {
    return it->second;
  }
  const int result = compareUncached(other);
  comparisons_.emplace(other.canonical_, result);
  return result;
}

int LXSystemVersion::compareUncached(const LXSystemVersion& other) const {
  const std::size_t shared = std::min(components_.size(), other.components_.size());
  for (std::size_t i = 0; i < shared; ++i) {
    if (const int order = compareNumerically(components_[i], other.components_[i])) return order;
  }
  if (components_.size() != other.components_.size()) {
    return components_.size() < other.components_.size() ? -1 : 1;
  }
  const auto mine = preReleaseScore(*this);
  const auto theirs = preReleaseScore(other);
  if (mine == theirs) return 0;
  if (mine == 0) return 1;  // a release is later than its pre-releases
  if (theirs == 0) return -1;
  return mine < theirs ? -1 : 1;
}

bool LXSystemVersion::isEqualToSystemVersion(const LXSystemVersion& other) const {
  return compare(other) == 0;
}
bool LXSystemVersion::isLessThanSystemVersion(const LXSystemVersion& other) const {
  return compare(other) < 0;
}
bool LXSystemVersion::isLessThanOrEqualToSystemVersion(const LXSystemVersion& other) const {
  return compare(other) <= 0;
}
bool LXSystemVersion::isGreaterThanSystemVersion(const LXSystemVersion& other) const {
  return compare(other) > 0;
}
bool LXSystemVersion::isGreaterThanOrEqualToSystemVersion(const LXSystemVersion& other) const {
  return compare(other) >= 0;
}

bool LXSystemVersion::isEqualToString(StringView other) const {
  return isEqualToSystemVersion(*systemVersionWithString(other));
}
bool LXSystemVersion::isLessThanString(StringView other) const {
  return isLessThanSystemVersion(*systemVersionWithString(other));
}
bool LXSystemVersion::isLessThanOrEqualToString(StringView other) const {
  return isLessThanOrEqualToSystemVersion(*systemVersionWithString(other));
}
bool LXSystemVersion::isGreaterThanString(StringView other) const {
  return isGreaterThanSystemVersion(*systemVersionWithString(other));
}
bool LXSystemVersion::isGreaterThanOrEqualToString(StringView other) const {
  return isGreaterThanOrEqualToSystemVersion(*systemVersionWithString(other));
}

bool LXSystemVersion::isEqual(const Object& other) const {
  const auto* version = dynamic_cast<const LXSystemVersion*>(&other);
  return version && compare(*version) == 0;
}

std::size_t LXSystemVersion::hash() const noexcept { return std::hash<StringView>{}(canonical_); }

}  // namespace lx
