#include <unicode/regex.h>
#include <unicode/uidna.h>

#include <memory>

#include "platform/ASCIICase.h"
#include "vantorcore/platform/String+Paths.h"
#include "vantorcore/platform/URLComponents.h"
#include "vantorcore/text/String+PathAdditions.h"
#include "vantorcore/text/String+PunyCode.h"

namespace lx {
namespace {

// The scheme prefix and the "www." groups that follow it stay unconverted.
const icu::RegexPattern* prefixPattern() {
  static const std::unique_ptr<icu::RegexPattern> pattern = [] {
    UErrorCode status = U_ZERO_ERROR;
    UParseError parseError;
    std::unique_ptr<icu::RegexPattern> p(icu::RegexPattern::compile(
        icu::UnicodeString(u"(.*?:\\/\\/)(www\\.)*"), UREGEX_CASE_INSENSITIVE, parseError, status));
    return U_SUCCESS(status) ? std::move(p) : nullptr;
  }();
  return pattern.get();
}

// The length of the prefix `s` starts with, 0 when there is none.
std::size_t prefixLength(StringView s) {
  const icu::RegexPattern* pattern = prefixPattern();
  if (!pattern) return 0;
  UErrorCode status = U_ZERO_ERROR;
  const icu::UnicodeString text(false, reinterpret_cast<const UChar*>(s.data()),
                                static_cast<int32_t>(s.size()));
  std::unique_ptr<icu::RegexMatcher> matcher(pattern->matcher(text, status));
  if (U_FAILURE(status) || !matcher->lookingAt(status) || U_FAILURE(status)) return 0;
  const int32_t end = matcher->end(status);
  return U_SUCCESS(status) && end > 0 ? static_cast<std::size_t>(end) : 0;
}

// ICU's ToASCII: a measuring call, where the overflow status counts as
// success, then a filling call. This is the IDNA2003 interface, deprecated
// in ICU in favour of UTS #46, but the only one that allows unassigned code
// points, which the conversion depends on.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
std::optional<String> idnToASCII(StringView text) {
  const auto* src = reinterpret_cast<const UChar*>(text.data());
  const auto length = static_cast<int32_t>(text.size());
  UErrorCode status = U_ZERO_ERROR;
  const int32_t needed =
      uidna_IDNToASCII(src, length, nullptr, 0, UIDNA_ALLOW_UNASSIGNED, nullptr, &status);
  if (status > U_ZERO_ERROR && status != U_BUFFER_OVERFLOW_ERROR) return std::nullopt;
  String out(static_cast<std::size_t>(needed), u'\0');
  status = U_ZERO_ERROR;
  const int32_t written = uidna_IDNToASCII(src, length, reinterpret_cast<UChar*>(out.data()),
                                           needed, UIDNA_ALLOW_UNASSIGNED, nullptr, &status);
  if (status > U_ZERO_ERROR) return std::nullopt;
  out.resize(static_cast<std::size_t>(std::min(written, needed)));
  return out;
}
#pragma GCC diagnostic pop

using detail::isASCII;

// Cuts `rest` at the first `marker`: returns the part before (with the
// marker when `keepMarkerInHead`), leaving the remainder in `rest`.
StringView cutBefore(StringView& rest, StringView marker, bool keepMarkerInHead) {
  const std::size_t at = rest.find(marker);
  if (at == StringView::npos) return {};
  const std::size_t headLength = keepMarkerInHead ? at + marker.size() : at;
  const StringView head = rest.substr(0, headLength);
  rest.remove_prefix(headLength);
  return head;
}

StringView cutFrom(StringView& rest, char16_t marker) {
  const std::size_t at = rest.find(marker);
  if (at == StringView::npos) return {};
  const StringView tail = rest.substr(at);
  rest = rest.substr(0, at);
  return tail;
}

bool bothEmptyOrBothNot(const std::optional<String>& a, const std::optional<String>& b) {
  return (!a || a->empty()) == (!b || b->empty());
}

std::optional<URLComponents> faithfulComponents(const URL& url, bool resolving) {
  auto c = URLComponents::componentsWithURL(url, resolving);
  if (!c) return std::nullopt;
  if (!bothEmptyOrBothNot(c->host(), url.host()) ||
      !bothEmptyOrBothNot(c->scheme(), url.scheme()) ||
      !bothEmptyOrBothNot(c->path(), url.path())) {
    return std::nullopt;
  }
  return c;
}

}  // namespace

String lx_punyCode(StringView receiver) {
  if (isASCII(receiver)) return String(receiver);
  const std::size_t prefix = prefixLength(receiver);
  const auto converted = idnToASCII(receiver.substr(prefix));
  if (!converted) return String(receiver);
  String out(receiver.substr(0, prefix));
  out += *converted;
  return out;
}

std::optional<URL> lx_URLWithString(std::optional<StringView> string) {
  if (!string) return std::nullopt;
  StringView rest = *string;
  const StringView schemePart = cutBefore(rest, u"://", true);
  const StringView userPart = cutBefore(rest, u"@", true);
  const StringView pathPart = cutFrom(rest, u'/');
  const StringView portPart = cutFrom(rest, u':');
  const String text =
      stringWithFormat(u"%@%@%@%@%@", userPart, schemePart, lx_punyCode(rest), portPart, pathPart);
  return URL::URLWithString(text);
}

URL lx_punyCode(const URL& receiver) {
  if (receiver.isFileURL()) return receiver;
  auto components = faithfulComponents(receiver, true);
  if (!components) components = faithfulComponents(receiver, false);
  if (!components) return receiver;
  if (const auto host = components->host()) components->setHost(lx_punyCode(*host));
  const auto rebuilt = components->URL();
  return rebuilt ? *rebuilt : receiver;
}

bool lx_isVolume(const URL& receiver) {
  const std::vector<String> components =
      pathComponents(lx_stringByNormalizingPath(receiver.path()));
  return components.size() == 3 && components[1] == u"Volumes";
}

}  // namespace lx
