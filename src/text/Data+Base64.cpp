#include <array>
#include <bit>
#include <cstring>

#include "vantorcore/text/Data+Base64.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace lx {
namespace {

// The word-at-a-time loops below read and write multi-byte values in
// little-endian order.
static_assert(std::endian::native == std::endian::little);

constexpr char kBase64Alphabet[] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char kBase32Alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567";
constexpr char kBase16Alphabet[] = "0123456789abcdef";
constexpr std::uint8_t kInvalid = 0xFF;

// Character pairs for 12 bits (Base64), 10 bits (Base32) and 8 bits
// (Base16), so the hot loops do one lookup per two output characters.
template <int Bits>
constexpr std::array<std::uint16_t, 1u << Bits> pairTable(const char* alphabet) {
  std::array<std::uint16_t, 1u << Bits> table{};
  constexpr int half = Bits / 2;
  for (unsigned v = 0; v < table.size(); ++v) {
    const auto first = static_cast<unsigned char>(alphabet[v >> half]);
    const auto second = static_cast<unsigned char>(alphabet[v & ((1u << half) - 1)]);
    // Stored so that a little-endian 16-bit store writes `first` first.
    table[v] = static_cast<std::uint16_t>(first | (second << 8));
  }
  return table;
}
constexpr auto kBase64Pairs = pairTable<12>(kBase64Alphabet);
constexpr auto kBase32Pairs = pairTable<10>(kBase32Alphabet);
constexpr auto kBase16Pairs = pairTable<8>(kBase16Alphabet);

constexpr std::array<std::uint8_t, 256> decodeTable(const char* alphabet, bool bothCases) {
  std::array<std::uint8_t, 256> table{};
  table.fill(kInvalid);
  for (unsigned v = 0; alphabet[v]; ++v) {
    const auto c = static_cast<unsigned char>(alphabet[v]);
    table[c] = static_cast<std::uint8_t>(v);
    if (bothCases && c >= 'a' && c <= 'f') table[c - 'a' + 'A'] = static_cast<std::uint8_t>(v);
  }
  return table;
}
constexpr auto kBase64Values = decodeTable(kBase64Alphabet, false);
constexpr auto kBase32Values = decodeTable(kBase32Alphabet, false);
constexpr auto kBase16Values = decodeTable(kBase16Alphabet, true);

// Base32 character pairs: the 10 bits of two characters, or 0x8000 when
// either is not in the alphabet; four lookups decode a group of eight.
const std::array<std::uint16_t, 65536>& base32PairValues() {
  static const auto* table = [] {
    auto* t = new std::array<std::uint16_t, 65536>;
    for (unsigned first = 0; first < 256; ++first) {
      for (unsigned second = 0; second < 256; ++second) {
        const std::uint8_t a = kBase32Values[first], b = kBase32Values[second];
        // Indexed by a little-endian 16-bit load: the first character is the low byte.
        (*t)[first | (second << 8)] =
            (a == kInvalid || b == kInvalid) ? 0x8000 : static_cast<std::uint16_t>(a << 5 | b);
      }
    }
    return t;
  }();
  return *table;
}

// Base64 quads: each table places one character's sextet at its position in
// the 24-bit group; an invalid character sets bit 31, so one OR over a group
// tells whether the fast path may take it.
constexpr std::array<std::uint32_t, 256> quadTable(int shift) {
  std::array<std::uint32_t, 256> table{};
  for (unsigned c = 0; c < 256; ++c) {
    table[c] = kBase64Values[c] == kInvalid ? 0x80000000u
                                            : static_cast<std::uint32_t>(kBase64Values[c]) << shift;
  }
  return table;
}
constexpr auto kQuad0 = quadTable(18);
constexpr auto kQuad1 = quadTable(12);
constexpr auto kQuad2 = quadTable(6);
constexpr auto kQuad3 = quadTable(0);

inline std::uint32_t quad(const unsigned char* s) noexcept {
  return kQuad0[s[0]] | kQuad1[s[1]] | kQuad2[s[2]] | kQuad3[s[3]];
}

inline void put16(char* out, std::uint16_t pair) noexcept { std::memcpy(out, &pair, 2); }

inline std::uint64_t loadBigEndian64(const std::uint8_t* p) noexcept {
  std::uint64_t v;
  std::memcpy(&v, p, 8);
  return __builtin_bswap64(v);
}

void encodeBase64(const std::uint8_t* in, std::size_t n, char* out) noexcept {
  std::size_t i = 0;
  // Six bytes per step through an 8-byte load (the two extra bytes are
  // read, not used).
  for (; i + 8 <= n; i += 6, out += 8) {
    const std::uint64_t v = loadBigEndian64(in + i);
    put16(out, kBase64Pairs[(v >> 52) & 0xFFF]);
    put16(out + 2, kBase64Pairs[(v >> 40) & 0xFFF]);
    put16(out + 4, kBase64Pairs[(v >> 28) & 0xFFF]);
    put16(out + 6, kBase64Pairs[(v >> 16) & 0xFFF]);
  }
  for (; i + 3 <= n; i += 3, out += 4) {
    const std::uint32_t v = (in[i] << 16) | (in[i + 1] << 8) | in[i + 2];
    put16(out, kBase64Pairs[v >> 12]);
    put16(out + 2, kBase64Pairs[v & 0xFFF]);
  }
  if (i < n) {
    const std::uint32_t v = (in[i] << 16) | (i + 1 < n ? in[i + 1] << 8 : 0);
    out[0] = kBase64Alphabet[v >> 18];
    out[1] = kBase64Alphabet[(v >> 12) & 63];
    out[2] = i + 1 < n ? kBase64Alphabet[(v >> 6) & 63] : '=';
    out[3] = '=';
  }
}

void encodeBase32(const std::uint8_t* in, std::size_t n, char* out) noexcept {
  std::size_t i = 0;
  for (; i + 8 <= n; i += 5, out += 8) {
    const std::uint64_t v = loadBigEndian64(in + i) >> 24;
    put16(out, kBase32Pairs[(v >> 30) & 0x3FF]);
    put16(out + 2, kBase32Pairs[(v >> 20) & 0x3FF]);
    put16(out + 4, kBase32Pairs[(v >> 10) & 0x3FF]);
    put16(out + 6, kBase32Pairs[v & 0x3FF]);
  }
  for (; i < n; i += 5, out += 8) {
    const std::size_t take = n - i < 5 ? n - i : 5;
    std::uint64_t v = 0;
    for (std::size_t k = 0; k < 5; ++k) v = (v << 8) | (k < take ? in[i + k] : 0);
    // Characters that carry bits of the input: 2, 4, 5, 7 or 8.
    static constexpr int kCharacters[6] = {0, 2, 4, 5, 7, 8};
    for (int k = 0; k < 8; ++k) {
      out[k] = k < kCharacters[take] ? kBase32Alphabet[(v >> (35 - 5 * k)) & 31] : '=';
    }
  }
}

#if defined(__SSE2__)
// Sixteen nibbles to hexadecimal digits: '0' + n, plus 39 more for a-f.
inline __m128i hexDigits(__m128i nibbles) noexcept {
  const __m128i letters = _mm_cmpgt_epi8(nibbles, _mm_set1_epi8(9));
  return _mm_add_epi8(_mm_add_epi8(nibbles, _mm_set1_epi8('0')),
                      _mm_and_si128(letters, _mm_set1_epi8('a' - '0' - 10)));
}

// Sixteen hexadecimal digits (either case) to their values; `valid` gets
// 0xFF in each lane that held one.
inline __m128i hexValues(__m128i chars, __m128i& valid) noexcept {
  const __m128i digit = _mm_sub_epi8(chars, _mm_set1_epi8('0'));
  const __m128i isDigit = _mm_cmpeq_epi8(_mm_min_epu8(digit, _mm_set1_epi8(9)), digit);
  const __m128i letter = _mm_sub_epi8(_mm_or_si128(chars, _mm_set1_epi8(0x20)), _mm_set1_epi8('a'));
  const __m128i isLetter = _mm_cmpeq_epi8(_mm_min_epu8(letter, _mm_set1_epi8(5)), letter);
  valid = _mm_or_si128(isDigit, isLetter);
  return _mm_or_si128(_mm_and_si128(isDigit, digit),
                      _mm_and_si128(isLetter, _mm_add_epi8(letter, _mm_set1_epi8(10))));
}

// Eight digit pairs (as 16-bit lanes, first digit low) to eight bytes in
// 16-bit lanes.
inline __m128i joinNibbles(__m128i values) noexcept {
  return _mm_or_si128(_mm_slli_epi16(_mm_and_si128(values, _mm_set1_epi16(0xFF)), 4),
                      _mm_srli_epi16(values, 8));
}
#endif

void encodeBase16(const std::uint8_t* in, std::size_t n, char* out) noexcept {
  std::size_t i = 0;
#if defined(__SSE2__)
  for (; i + 16 <= n; i += 16, out += 32) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + i));
    const __m128i high = hexDigits(_mm_and_si128(_mm_srli_epi16(v, 4), _mm_set1_epi8(0x0F)));
    const __m128i low = hexDigits(_mm_and_si128(v, _mm_set1_epi8(0x0F)));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_unpacklo_epi8(high, low));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 16), _mm_unpackhi_epi8(high, low));
  }
#endif
  for (; i + 4 <= n; i += 4, out += 8) {
    const std::uint64_t v = static_cast<std::uint64_t>(kBase16Pairs[in[i]]) |
                            static_cast<std::uint64_t>(kBase16Pairs[in[i + 1]]) << 16 |
                            static_cast<std::uint64_t>(kBase16Pairs[in[i + 2]]) << 32 |
                            static_cast<std::uint64_t>(kBase16Pairs[in[i + 3]]) << 48;
    std::memcpy(out, &v, 8);
  }
  for (; i < n; ++i, out += 2) put16(out, kBase16Pairs[in[i]]);
}

// UTF-16 text as bytes: characters outside ASCII become 0x80, which no
// alphabet holds, so each decoder treats them as it treats any stranger.
std::string narrow(StringView text) {
  std::string out(text.size(), '\0');
  for (std::size_t i = 0; i < text.size(); ++i) {
    out[i] = static_cast<char>(text[i] < 0x80 ? text[i] : 0x80);
  }
  return out;
}

String widen(std::string_view ascii) { return String(ascii.begin(), ascii.end()); }

String encodeToString(BinaryTextEncoding encoding, DataView data) {
  std::string text(encodedBinaryTextLength(encoding, data.size()), '\0');
  encodeBinaryText(encoding, data, text.data());
  return widen(text);
}

std::optional<Data> decodeString(BinaryTextEncoding encoding, StringView string) {
  BinaryTextDecoder decoder(encoding);
  Data out;
  if (!decoder.update(narrow(string), out) || !decoder.finish(out)) return std::nullopt;
  return out;
}

}  // namespace

std::size_t encodedBinaryTextLength(BinaryTextEncoding encoding, std::size_t size) noexcept {
  switch (encoding) {
    case BinaryTextEncoding::Base64:
      return (size + 2) / 3 * 4;
    case BinaryTextEncoding::Base32:
      return (size + 4) / 5 * 8;
    case BinaryTextEncoding::Base16:
      break;
  }
  return size * 2;
}

void encodeBinaryText(BinaryTextEncoding encoding, DataView data, char* out) noexcept {
  switch (encoding) {
    case BinaryTextEncoding::Base64:
      return encodeBase64(data.data(), data.size(), out);
    case BinaryTextEncoding::Base32:
      return encodeBase32(data.data(), data.size(), out);
    case BinaryTextEncoding::Base16:
      return encodeBase16(data.data(), data.size(), out);
  }
}

bool BinaryTextDecoder::update(std::string_view text, Data& out) {
  if (failed_) return false;
  bool ok = false;
  switch (encoding_) {
    case BinaryTextEncoding::Base64:
      ok = updateBase64(text, out);
      break;
    case BinaryTextEncoding::Base32:
      ok = updateBase32(text, out);
      break;
    case BinaryTextEncoding::Base16:
      ok = updateBase16(text, out);
      break;
  }
  failed_ = !ok;
  return ok;
}

bool BinaryTextDecoder::finish(Data& out) {
  // Text may not stop inside a group or inside Base64's padding.
  if (pending_ != 0 || padding_ != 0) failed_ = true;
  return !failed_;
}

bool BinaryTextDecoder::updateBase64(std::string_view text, Data& out) {
  const auto* s = reinterpret_cast<const unsigned char*>(text.data());
  const std::size_t n = text.size();
  const std::size_t start = out.size();
  out.resize(start + n / 4 * 3 + 8);
  std::uint8_t* o = out.data() + start;
  std::size_t i = 0;
  while (i < n) {
    if (pending_ == 0 && !ended_) {
      // Whole groups of alphabet characters, two at a time; each writes four
      // bytes of which the next group overwrites the fourth.
      while (i + 8 <= n) {
        const std::uint32_t a = quad(s + i), b = quad(s + i + 4);
        if ((a | b) & 0x80000000u) break;
        const std::uint32_t wa = __builtin_bswap32(a << 8), wb = __builtin_bswap32(b << 8);
        std::memcpy(o, &wa, 4);
        std::memcpy(o + 3, &wb, 4);
        o += 6;
        i += 8;
      }
      // A single group, as before a line break every 76 characters.
      if (i + 4 <= n) {
        const std::uint32_t a = quad(s + i);
        if (!(a & 0x80000000u)) {
          const std::uint32_t wa = __builtin_bswap32(a << 8);
          std::memcpy(o, &wa, 4);
          o += 3;
          i += 4;
          continue;
        }
      }
      if (i >= n) break;
    }
    const unsigned char c = s[i++];
    const std::uint8_t v = kBase64Values[c];
    if (v != kInvalid) {
      if (ended_) return false;
      bits_ = (bits_ << 6) | v;
      if (++pending_ == 4) {
        *o++ = static_cast<std::uint8_t>(bits_ >> 16);
        *o++ = static_cast<std::uint8_t>(bits_ >> 8);
        *o++ = static_cast<std::uint8_t>(bits_);
        pending_ = 0;
        bits_ = 0;
      }
    } else if (c == '=') {
      if (ended_) {
        if (padding_ == 0) return false;  // a third "="
        padding_ = 0;
        continue;
      }
      if (pending_ == 3) {
        *o++ = static_cast<std::uint8_t>(bits_ >> 10);
        *o++ = static_cast<std::uint8_t>(bits_ >> 2);
      } else if (pending_ == 2) {
        *o++ = static_cast<std::uint8_t>(bits_ >> 4);
        padding_ = 1;
      } else {
        return false;
      }
      ended_ = true;
      pending_ = 0;
      bits_ = 0;
    }
  }
  out.resize(static_cast<std::size_t>(o - out.data()));
  return true;
}

bool BinaryTextDecoder::base32Group(const char* group, Data& out) {
  int firstPad = 8;
  while (firstPad > 0 && group[firstPad - 1] == '=') --firstPad;
  std::uint64_t v = 0;
  for (int k = 0; k < 8; ++k) {
    const std::uint8_t value =
        k < firstPad ? kBase32Values[static_cast<unsigned char>(group[k])] : 0;
    if (value == kInvalid) return false;  // a stranger, lower case, or an early "="
    v = (v << 5) | value;
  }
  static constexpr int kBytesForPadding[9] = {5, 4, -1, 3, 2, -1, 1, -1, -1};
  const int bytes = kBytesForPadding[8 - firstPad];
  if (bytes < 0) return false;
  for (int k = 0; k < bytes; ++k) out.push_back(static_cast<std::uint8_t>(v >> (32 - 8 * k)));
  ended_ = firstPad < 8;
  return true;
}

bool BinaryTextDecoder::updateBase32(std::string_view text, Data& out) {
  const auto* s = reinterpret_cast<const unsigned char*>(text.data());
  const std::size_t n = text.size();
  std::size_t i = 0;
  // Finish a group begun in an earlier chunk.
  while (pending_ > 0 && i < n) {
    group_[pending_++] = static_cast<char>(s[i++]);
    if (pending_ == 8) {
      pending_ = 0;
      if (ended_ || !base32Group(group_, out)) return false;
    }
  }
  const auto& pairs = base32PairValues();
  // The 40 bits of a group of eight alphabet characters, or bit 15 set.
  auto group = [&pairs](const unsigned char* chars, std::uint64_t& bits) {
    std::uint64_t c;
    std::memcpy(&c, chars, 8);
    const std::uint32_t p0 = pairs[c & 0xFFFF], p1 = pairs[(c >> 16) & 0xFFFF],
                        p2 = pairs[(c >> 32) & 0xFFFF], p3 = pairs[c >> 48];
    bits =
        static_cast<std::uint64_t>(p0) << 30 | static_cast<std::uint64_t>(p1) << 20 | p2 << 10 | p3;
    return (p0 | p1 | p2 | p3) & 0x8000;
  };
  const std::size_t start = out.size();
  out.resize(start + (n - i) / 8 * 5 + 8);
  std::uint8_t* o = out.data() + start;
  while (i + 8 <= n) {
    if (ended_) return false;
    std::uint64_t a, b;
    if (i + 16 <= n && !(group(s + i, a) | group(s + i + 8, b))) {
      // Two groups at once: independent lookups overlap in the pipeline.
      const std::uint64_t wa = __builtin_bswap64(a << 24), wb = __builtin_bswap64(b << 24);
      std::memcpy(o, &wa, 8);
      std::memcpy(o + 5, &wb, 8);
      o += 10;
      i += 16;
      continue;
    }
    if (!group(s + i, a)) {
      const std::uint64_t wa = __builtin_bswap64(a << 24);
      std::memcpy(o, &wa, 8);
      o += 5;
      i += 8;
      continue;
    }
    // "=" or a stranger: the exact rules decide, and this group may end the text.
    out.resize(static_cast<std::size_t>(o - out.data()));
    if (!base32Group(reinterpret_cast<const char*>(s + i), out)) return false;
    i += 8;
    const std::size_t at = out.size();
    out.resize(at + (n - i) / 8 * 5 + 8);
    o = out.data() + at;
  }
  out.resize(static_cast<std::size_t>(o - out.data()));
  for (; i < n; ++i) {
    if (ended_) return false;
    group_[pending_++] = static_cast<char>(s[i]);
  }
  return true;
}

bool BinaryTextDecoder::updateBase16(std::string_view text, Data& out) {
  const auto* s = reinterpret_cast<const unsigned char*>(text.data());
  const std::size_t n = text.size();
  std::size_t i = 0;
  if (pending_ && i < n) {
    const std::uint8_t low = kBase16Values[s[i++]];
    if (low == kInvalid) return false;
    out.push_back(static_cast<std::uint8_t>(bits_ << 4 | low));
    pending_ = 0;
  }
  const std::size_t start = out.size();
  out.resize(start + (n - i) / 2);
  std::uint8_t* o = out.data() + start;
#if defined(__SSE2__)
  for (; i + 32 <= n; i += 32, o += 16) {
    __m128i validA, validB;
    const __m128i a = hexValues(_mm_loadu_si128(reinterpret_cast<const __m128i*>(s + i)), validA);
    const __m128i b =
        hexValues(_mm_loadu_si128(reinterpret_cast<const __m128i*>(s + i + 16)), validB);
    if (_mm_movemask_epi8(_mm_and_si128(validA, validB)) != 0xFFFF) return false;
    _mm_storeu_si128(reinterpret_cast<__m128i*>(o),
                     _mm_packus_epi16(joinNibbles(a), joinNibbles(b)));
  }
#endif
  for (; i + 2 <= n; i += 2) {
    const std::uint8_t high = kBase16Values[s[i]], low = kBase16Values[s[i + 1]];
    if ((high | low) & 0x80) return false;
    *o++ = static_cast<std::uint8_t>(high << 4 | low);
  }
  if (i < n) {
    bits_ = kBase16Values[s[i]];
    if (bits_ == kInvalid) return false;
    pending_ = 1;
  }
  return true;
}

String lx_base64String(DataView data) { return encodeToString(BinaryTextEncoding::Base64, data); }
String lx_base32String(DataView data) { return encodeToString(BinaryTextEncoding::Base32, data); }
String lx_base16String(DataView data) { return encodeToString(BinaryTextEncoding::Base16, data); }

std::optional<Data> lx_dataWithBase64String(StringView string) {
  return decodeString(BinaryTextEncoding::Base64, string);
}
std::optional<Data> lx_dataWithBase32String(StringView string) {
  return decodeString(BinaryTextEncoding::Base32, string);
}
std::optional<Data> lx_dataWithBase16String(StringView string) {
  return decodeString(BinaryTextEncoding::Base16, string);
}

}  // namespace lx
