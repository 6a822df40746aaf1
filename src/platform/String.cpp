#include "vantorcore/platform/String.h"

#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/ustring.h>

#include <algorithm>
#include <cstdio>

#include "ASCIICase.h"
#include "vantorcore/platform/Exception.h"
#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/Value.h"

namespace lx {
namespace {

constexpr char16_t kReplacement = 0xFFFD;

bool isHighSurrogate(char32_t u) { return u >= 0xD800 && u <= 0xDBFF; }
bool isLowSurrogate(char32_t u) { return u >= 0xDC00 && u <= 0xDFFF; }

// Length of the UTF-8 sequence a lead byte starts, or 0 for a byte that
// cannot start one; `low`/`high` bound the second byte (this rules out
// overlongs and surrogates without a second pass).
int utf8SequenceLength(unsigned char lead, unsigned char& low, unsigned char& high) {
  low = 0x80;
  high = 0xBF;
  if (lead >= 0xC2 && lead <= 0xDF) return 2;
  if (lead >= 0xE0 && lead <= 0xEF) {
    if (lead == 0xE0) low = 0xA0;
    if (lead == 0xED) high = 0x9F;
    return 3;
  }
  if (lead >= 0xF0 && lead <= 0xF4) {
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;
    return 4;
  }
  return 0;
}

// Decodes one code point at `i`; returns the number of bytes used, and -1 in
// `cp` for a maximal ill-formed subsequence.
std::size_t decodeUTF8(std::string_view s, std::size_t i, char32_t& cp, bool& ok) {
  const auto lead = static_cast<unsigned char>(s[i]);
  if (lead < 0x80) {
    cp = lead;
    ok = true;
    return 1;
  }
  unsigned char low, high;
  const int n = utf8SequenceLength(lead, low, high);
  if (n == 0) {
    ok = false;
    return 1;
  }
  char32_t value = lead & (0x7F >> n);
  std::size_t used = 1;
  for (int k = 1; k < n; ++k) {
    if (i + used >= s.size()) {
      ok = false;
      return used;
    }
    const auto b = static_cast<unsigned char>(s[i + used]);
    if (b < low || b > high) {
      ok = false;
      return used;
    }
    low = 0x80;
    high = 0xBF;
    value = (value << 6) | (b & 0x3F);
    ++used;
  }
  cp = value;
  ok = true;
  return used;
}

}  // namespace

std::string toUTF8(StringView text) {
  std::string out;
  out.reserve(text.size() + text.size() / 2);
  for (std::size_t i = 0; i < text.size(); ++i) {
    char32_t c = text[i];
    if (c < 0x80) {
      out.push_back(static_cast<char>(c));
      continue;
    }
    if (isHighSurrogate(c) && i + 1 < text.size() && isLowSurrogate(text[i + 1])) {
      c = 0x10000 + ((c - 0xD800) << 10) + (text[i + 1] - 0xDC00);
      ++i;
    } else if (isHighSurrogate(c) || isLowSurrogate(c)) {
      c = kReplacement;
    }
    if (c < 0x800) {
      out.push_back(static_cast<char>(0xC0 | (c >> 6)));
      out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else if (c < 0x10000) {
      out.push_back(static_cast<char>(0xE0 | (c >> 12)));
      out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else {
      out.push_back(static_cast<char>(0xF0 | (c >> 18)));
      out.push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    }
  }
  return out;
}

String fromUTF8(std::string_view text) {
  String out;
  out.reserve(text.size());
  std::size_t i = 0;
  while (i < text.size()) {
    // ASCII runs are the common case; copy them without decoding.
    while (i < text.size() && static_cast<unsigned char>(text[i]) < 0x80) {
      out.push_back(static_cast<char16_t>(text[i]));
      ++i;
    }
    if (i >= text.size()) break;
    char32_t cp = 0;
    bool ok = false;
    i += decodeUTF8(text, i, cp, ok);
    if (ok) {
      appendCodePoint(out, cp);
    } else {
      out.push_back(kReplacement);
    }
  }
  return out;
}

bool isValidUTF8(std::string_view text) noexcept {
  std::size_t i = 0;
  while (i < text.size()) {
    char32_t cp;
    bool ok;
    i += decodeUTF8(text, i, cp, ok);
    if (!ok) return false;
  }
  return true;
}

bool isValidUTF16(StringView text) noexcept {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (isHighSurrogate(text[i])) {
      if (i + 1 >= text.size() || !isLowSurrogate(text[i + 1])) return false;
      ++i;
    } else if (isLowSurrogate(text[i])) {
      return false;
    }
  }
  return true;
}

char32_t codePointAt(StringView text, std::size_t index, std::size_t* length) noexcept {
  char32_t c = text[index];
  if (isHighSurrogate(c) && index + 1 < text.size() && isLowSurrogate(text[index + 1])) {
    if (length) *length = 2;
    return 0x10000 + ((c - 0xD800) << 10) + (text[index + 1] - 0xDC00);
  }
  if (length) *length = 1;
  return c;
}

void appendCodePoint(String& out, char32_t c) {
  if (c < 0x10000) {
    out.push_back(static_cast<char16_t>(c));
  } else {
    c -= 0x10000;
    out.push_back(static_cast<char16_t>(0xD800 + (c >> 10)));
    out.push_back(static_cast<char16_t>(0xDC00 + (c & 0x3FF)));
  }
}

// ---------------------------------------------------------------------------
// Comparison

namespace {

bool isASCII(StringView s) {
  return std::all_of(s.begin(), s.end(), [](char16_t c) { return c < 0x80; });
}

String normalize(StringView s, bool compatibility) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::Normalizer2* n = compatibility ? icu::Normalizer2::getNFKDInstance(status)
                                            : icu::Normalizer2::getNFDInstance(status);
  if (U_FAILURE(status)) return String(s);
  icu::UnicodeString in(false, s.data(), static_cast<int32_t>(s.size()));
  if (n->isNormalized(in, status) && U_SUCCESS(status)) return String(s);
  status = U_ZERO_ERROR;
  icu::UnicodeString out = n->normalize(in, status);
  if (U_FAILURE(status)) return String(s);
  return String(out.getBuffer(), static_cast<std::size_t>(out.length()));
}

String foldCase(StringView s) {
  if (isASCII(s)) {
    String out(s);
    for (auto& c : out)
      if (c >= 'A' && c <= 'Z') c = static_cast<char16_t>(c + 32);
    return out;
  }
  String out(s.size() + 8, u'\0');
  UErrorCode status = U_ZERO_ERROR;
  int32_t n = u_strFoldCase(out.data(), static_cast<int32_t>(out.size()), s.data(),
                            static_cast<int32_t>(s.size()), U_FOLD_CASE_DEFAULT, &status);
  if (status == U_BUFFER_OVERFLOW_ERROR) {
    out.assign(static_cast<std::size_t>(n), u'\0');
    status = U_ZERO_ERROR;
    n = u_strFoldCase(out.data(), n, s.data(), static_cast<int32_t>(s.size()), U_FOLD_CASE_DEFAULT,
                      &status);
  }
  if (U_FAILURE(status)) return String(s);
  out.resize(static_cast<std::size_t>(n));
  return out;
}

bool isMark(char32_t c) { return U_GET_GC_MASK(c) & U_GC_M_MASK; }

String stripMarks(StringView s) {
  String out;
  out.reserve(s.size());
  for (std::size_t i = 0; i < s.size();) {
    std::size_t len;
    char32_t c = codePointAt(s, i, &len);
    if (!isMark(c)) out.append(s.substr(i, len));
    i += len;
  }
  return out;
}

// Brings a string into the form that comparison under `options` works on.
String comparisonForm(StringView s, unsigned options) {
  const bool literal = options & LiteralSearch;
  const bool width = options & WidthInsensitiveSearch;
  const bool diacritics = options & DiacriticInsensitiveSearch;
  String out;
  if ((!literal || width || diacritics) && !isASCII(s)) {
    out = normalize(s, width);
  } else {
    out = String(s);
  }
  if (options & CaseInsensitiveSearch) out = foldCase(out);
  if (diacritics) out = stripMarks(out);
  return out;
}

int compareUnits(StringView a, StringView b, bool numeric) {
  std::size_t i = 0, j = 0;
  while (i < a.size() && j < b.size()) {
    if (numeric && detail::isASCIIDigit(a[i]) && detail::isASCIIDigit(b[j])) {
      std::size_t ei = i, ej = j;
      while (ei < a.size() && detail::isASCIIDigit(a[ei])) ++ei;
      while (ej < b.size() && detail::isASCIIDigit(b[ej])) ++ej;
      std::size_t si = i, sj = j;
      while (si + 1 < ei && a[si] == '0') ++si;
      while (sj + 1 < ej && b[sj] == '0') ++sj;
      if (ei - si != ej - sj) return ei - si < ej - sj ? -1 : 1;
      for (; si < ei; ++si, ++sj) {
        if (a[si] != b[sj]) return a[si] < b[sj] ? -1 : 1;
      }
      i = ei;
      j = ej;
      continue;
    }
    if (a[i] != b[j]) return a[i] < b[j] ? -1 : 1;
    ++i;
    ++j;
  }
  if (i < a.size()) return 1;
  if (j < b.size()) return -1;
  return 0;
}

}  // namespace

ComparisonResult compare(StringView a, StringView b, unsigned options) {
  const bool numeric = options & NumericSearch;
  int r;
  if ((options & ~(LiteralSearch | NumericSearch)) == 0 &&
      ((options & LiteralSearch) || (isASCII(a) && isASCII(b)))) {
    r = compareUnits(a, b, numeric);
  } else {
    r = compareUnits(comparisonForm(a, options), comparisonForm(b, options), numeric);
  }
  return static_cast<ComparisonResult>(r);
}

bool isEqualCaseInsensitive(StringView a, StringView b) {
  return compare(a, b, CaseInsensitiveSearch) == ComparisonResult::Same;
}

// ---------------------------------------------------------------------------
// Search

namespace {

// The base letter of a precomposed character ('é' => 'e'), so that a
// diacritic-insensitive search matches either form.
char32_t baseCharacter(char32_t c) {
  if (c < 0xC0) return c;
  UErrorCode status = U_ZERO_ERROR;
  const icu::Normalizer2* nfd = icu::Normalizer2::getNFDInstance(status);
  icu::UnicodeString decomposition;
  if (U_FAILURE(status) || !nfd->getDecomposition(static_cast<UChar32>(c), decomposition)) return c;
  return static_cast<char32_t>(decomposition.char32At(0));
}

char32_t searchFold(char32_t c, unsigned options) {
  if ((options & WidthInsensitiveSearch) && c >= 0xFF01 && c <= 0xFF5E) c -= 0xFEE0;
  if (options & DiacriticInsensitiveSearch) c = baseCharacter(c);
  if (options & CaseInsensitiveSearch) c = u_foldCase(c, U_FOLD_CASE_DEFAULT);
  return c;
}

// Matches `needle` at `start`; on success returns the end of the match.
// Case folding here is simple (one code point to one), so 'ß' does not match
// "ss" in a search although it compares equal; search results must map back
// to positions in the haystack, which full folding cannot promise.
std::optional<std::size_t> matchAt(StringView h, std::size_t start, std::size_t limit,
                                   StringView needle, unsigned options) {
  const bool marks = options & DiacriticInsensitiveSearch;
  std::size_t i = start, j = 0;
  while (j < needle.size()) {
    std::size_t nl;
    char32_t nc = codePointAt(needle, j, &nl);
    if (marks && isMark(nc)) {
      j += nl;
      continue;
    }
    while (marks && i < limit && isMark(codePointAt(h, i))) {
      std::size_t hl;
      codePointAt(h, i, &hl);
      i += hl;
    }
    if (i >= limit) return std::nullopt;
    std::size_t hl;
    char32_t hc = codePointAt(h.substr(0, limit), i, &hl);
    if (searchFold(hc, options) != searchFold(nc, options)) return std::nullopt;
    i += hl;
    j += nl;
  }
  return i;
}

}  // namespace

Range rangeOfString(StringView haystack, StringView needle, unsigned options,
                    std::optional<Range> range) {
  const Range r = range.value_or(Range{0, haystack.size()});
  if (r.location > haystack.size() || r.length > haystack.size() - r.location) {
    throw RangeException(u"rangeOfString: range {" + fromUTF8(std::to_string(r.location)) + u", " +
                         fromUTF8(std::to_string(r.length)) + u"} out of bounds");
  }
  if (needle.empty() || r.length == 0) return {};
  const bool backwards = options & BackwardsSearch;
  const bool anchored = options & AnchoredSearch;
  const std::size_t limit = r.end();
  const unsigned matchOptions =
      options & (CaseInsensitiveSearch | DiacriticInsensitiveSearch | WidthInsensitiveSearch);

  if (matchOptions == 0) {
    const StringView window = haystack.substr(r.location, r.length);
    if (anchored) {
      if (backwards) {
        if (window.ends_with(needle)) return {limit - needle.size(), needle.size()};
      } else if (window.starts_with(needle)) {
        return {r.location, needle.size()};
      }
      return {};
    }
    const std::size_t at = backwards ? window.rfind(needle) : window.find(needle);
    if (at == StringView::npos) return {};
    return {r.location + at, needle.size()};
  }

  if (!backwards) {
    for (std::size_t start = r.location; start < limit; ++start) {
      if (auto end = matchAt(haystack, start, limit, needle, matchOptions)) {
        return {start, *end - start};
      }
      if (anchored) break;
    }
    return {};
  }
  for (std::size_t start = limit; start-- > r.location;) {
    if (auto end = matchAt(haystack, start, limit, needle, matchOptions)) {
      if (!anchored || *end == limit) return {start, *end - start};
    }
  }
  return {};
}

bool containsString(StringView haystack, StringView needle, unsigned options) {
  return rangeOfString(haystack, needle, options).found();
}

namespace {
String mapCase(StringView s, bool upper) {
  String out(s.size() + 8, u'\0');
  UErrorCode status = U_ZERO_ERROR;
  auto call = [&](int32_t capacity) {
    return upper ? u_strToUpper(out.data(), capacity, s.data(), static_cast<int32_t>(s.size()), "",
                                &status)
                 : u_strToLower(out.data(), capacity, s.data(), static_cast<int32_t>(s.size()), "",
                                &status);
  };
  int32_t n = call(static_cast<int32_t>(out.size()));
  if (status == U_BUFFER_OVERFLOW_ERROR) {
    status = U_ZERO_ERROR;
    out.assign(static_cast<std::size_t>(n), u'\0');
    n = call(n);
  }
  if (U_FAILURE(status)) return String(s);
  out.resize(static_cast<std::size_t>(n));
  return out;
}
}  // namespace

String lowercaseString(StringView s) { return mapCase(s, false); }
String uppercaseString(StringView s) { return mapCase(s, true); }

std::vector<String> componentsSeparatedByString(StringView s, StringView separator) {
  std::vector<String> out;
  if (separator.empty()) {
    out.emplace_back(s);
    return out;
  }
  std::size_t start = 0;
  while (true) {
    const std::size_t at = s.find(separator, start);
    if (at == StringView::npos) {
      out.emplace_back(s.substr(start));
      return out;
    }
    out.emplace_back(s.substr(start, at - start));
    start = at + separator.size();
  }
}

String componentsJoinedByString(std::span<const String> pieces, StringView separator) {
  String out;
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    if (i) out.append(separator);
    out.append(pieces[i]);
  }
  return out;
}

String stringByReplacingOccurrences(StringView s, StringView target, StringView replacement) {
  if (target.empty()) return String(s);
  String out;
  std::size_t start = 0;
  while (true) {
    const std::size_t at = s.find(target, start);
    if (at == StringView::npos) break;
    out.append(s.substr(start, at - start));
    out.append(replacement);
    start = at + target.size();
  }
  out.append(s.substr(start));
  return out;
}

}  // namespace lx
