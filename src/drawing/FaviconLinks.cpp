#include "vantorcore/drawing/FaviconLinks.h"

#include <algorithm>

#include "vantorcore/drawing/IconDecoder.h"
#include "vantorcore/xml/LXXMLDocument.h"
#include "vantorcore/xml/LXXMLNode.h"

namespace lx {
namespace {

bool isHTMLSpace(char16_t c) {
  return c == u' ' || c == u'\t' || c == u'\n' || c == u'\f' || c == u'\r';
}

std::vector<String> tokens(StringView text) {
  std::vector<String> result;
  String current;
  for (char16_t c : text) {
    if (isHTMLSpace(c)) {
      if (!current.empty()) result.push_back(std::move(current));
      current.clear();
    } else {
      current.push_back(c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c + 32) : c);
    }
  }
  if (!current.empty()) result.push_back(std::move(current));
  return result;
}

// A positive decimal number of at most six digits, else 0.
int dimension(StringView digits) {
  if (digits.empty() || digits.size() > 6) return 0;
  int value = 0;
  for (char16_t c : digits) {
    if (c < u'0' || c > u'9') return 0;
    value = value * 10 + (c - u'0');
  }
  return value;
}

std::optional<FaviconLinkKind> kindOf(StringView rel) {
  const auto words = tokens(rel);
  auto has = [&](StringView word) {
    return std::find(words.begin(), words.end(), word) != words.end();
  };
  if (has(u"apple-touch-icon") || has(u"apple-touch-icon-precomposed")) {
    return FaviconLinkKind::AppleTouchIcon;
  }
  if (has(u"icon")) return has(u"shortcut") ? FaviconLinkKind::ShortcutIcon : FaviconLinkKind::Icon;
  return std::nullopt;
}

bool isWebURL(const URL& url) {
  const auto scheme = url.scheme();
  return scheme == u"http" || scheme == u"https";
}

// Pages often inline a small icon rather than link to one.
bool isIconURL(const URL& url) { return isWebURL(url) || url.scheme() == u"data"; }

// 0 for the suitable known sizes, 1 unknown, 2 too large to decode.
String trimmed(StringView text) {
  while (!text.empty() && isHTMLSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && isHTMLSpace(text.back())) text.remove_suffix(1);
  return String(text);
}

int group(const FaviconLink& link) {
  if (link.size == kFaviconAnySize || (link.size > 0 && link.size <= kMaximumIconSide)) return 0;
  return link.size == 0 ? 1 : 2;
}

}  // namespace

int lx_faviconSizeFromSizes(StringView sizes) noexcept {
  int largest = 0;
  for (const String& token : tokens(sizes)) {
    if (token == u"any") return kFaviconAnySize;
    const std::size_t x = token.find(u'x');
    if (x == String::npos) continue;
    const int width = dimension(StringView(token).substr(0, x));
    const int height = dimension(StringView(token).substr(x + 1));
    if (width > 0 && height > 0) largest = std::max({largest, width, height});
  }
  return largest;
}

std::vector<FaviconLink> lx_faviconLinks(DataView html, const URL& pageURL) {
  std::vector<FaviconLink> links;
  const auto document = html.empty() ? std::nullopt : LXXMLDocument::HTMLDocumentWithData(html);
  const auto root = document ? document->rootElement() : std::nullopt;
  if (root) {
    URL base = pageURL;
    if (auto bases = root->elementsForCSSSelector(u"base[href]"); bases && !bases->empty()) {
      if (auto resolved = URL::URLWithString(*bases->front().attributeNamed(u"href"), pageURL)) {
        base = resolved->absoluteURL();
      }
    }
    for (const LXXMLElement& element :
         root->elementsForCSSSelector(u"link[rel][href]").value_or(std::vector<LXXMLElement>{})) {
      const auto kind = kindOf(*element.attributeNamed(u"rel"));
      const String href = trimmed(*element.attributeNamed(u"href"));
      if (!kind || href.empty()) continue;
      auto url = URL::URLWithString(href, base);
      if (!url || !isIconURL(*url)) continue;
      links.push_back(FaviconLink{
          url->absoluteURL(),
          lx_faviconSizeFromSizes(element.attributeNamed(u"sizes").value_or(u"")), *kind});
    }
  }
  std::stable_sort(links.begin(), links.end(), [](const FaviconLink& a, const FaviconLink& b) {
    if (group(a) != group(b)) return group(a) < group(b);
    return group(a) == 0 && a.size > b.size;
  });
  auto fallback = URL::URLWithString(u"/favicon.ico", pageURL);
  if (fallback && isWebURL(*fallback)) {
    const String absolute = fallback->absoluteString();
    const bool listed = std::any_of(links.begin(), links.end(), [&](const FaviconLink& link) {
      return link.url.absoluteString() == absolute;
    });
    if (!listed)
      links.push_back(FaviconLink{fallback->absoluteURL(), 0, FaviconLinkKind::DefaultLocation});
  }
  return links;
}

}  // namespace lx
