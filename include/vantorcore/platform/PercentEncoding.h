// Percent-encoding of strings for URLs: the platform's allowed-character sets
// of the URL parts and the two string operations that use them.
//
// Encoding works on the UTF-8 bytes of a string: an ASCII character in the
// allowed set is kept, every other byte becomes "%XX" with upper-case hex.
#pragma once

#include "vantorcore/Export.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "vantorcore/platform/String.h"

namespace LX_API lx {

/// A set of ASCII characters as a 128-bit map. Characters outside ASCII are
/// never members, so they are always percent-encoded.
class URLAllowedSet {
 public:
  constexpr URLAllowedSet() noexcept = default;
  /// A set of the ASCII characters in `members`.
  constexpr explicit URLAllowedSet(std::string_view members) noexcept {
    for (const char c : members) add(static_cast<unsigned char>(c));
  }
  /// Adds the character `c` (below 128).
  constexpr void add(unsigned c) noexcept {
    if (c < 128) bits_[c >> 6] |= std::uint64_t{1} << (c & 63);
  }
  /// Whether `c` is in the set; never true at or above 128.
  [[nodiscard]] constexpr bool contains(unsigned c) const noexcept {
    return c < 128 && ((bits_[c >> 6] >> (c & 63)) & 1) != 0;
  }

 private:
  std::array<std::uint64_t, 2> bits_{};
};

// The allowed sets of the URL parts, exactly as the platform defines them
// (all include the letters, the digits and "-._~"):
//   user, password: !$&'()*+,;=
//   host:           !$&'()*+,:;=[]
//   path:           !$&'()*+,/:=@        (no ";" and no "?")
//   query:          !$&'()*+,/:;=?@
//   fragment:       !$&'()*+,/:;=?@
/// The unreserved characters, which every component keeps as they are.
#define LX_URL_UNRESERVED "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~"
/// The characters each URL component keeps as they are, as the table above lists.
///@{
inline constexpr URLAllowedSet kURLUserAllowedCharacterSet{LX_URL_UNRESERVED "!$&'()*+,;="};
inline constexpr URLAllowedSet kURLPasswordAllowedCharacterSet{LX_URL_UNRESERVED "!$&'()*+,;="};
inline constexpr URLAllowedSet kURLHostAllowedCharacterSet{LX_URL_UNRESERVED "!$&'()*+,:;=[]"};
inline constexpr URLAllowedSet kURLPathAllowedCharacterSet{LX_URL_UNRESERVED "!$&'()*+,/:=@"};
inline constexpr URLAllowedSet kURLQueryAllowedCharacterSet{LX_URL_UNRESERVED "!$&'()*+,/:;=?@"};
inline constexpr URLAllowedSet kURLFragmentAllowedCharacterSet{LX_URL_UNRESERVED "!$&'()*+,/:;=?@"};
///@}
#undef LX_URL_UNRESERVED

/// Percent-encodes the UTF-8 bytes of `text` that are not in `allowed`.
/// Absent when `text` holds a lone surrogate (it has no UTF-8 form).
///   'a b/ü' (path set) => 'a%20b/%C3%BC'
std::optional<String> stringByAddingPercentEncoding(StringView text, const URLAllowedSet& allowed);

/// The same on UTF-8 text; never fails.
std::string percentEncodeUTF8(std::string_view utf8, const URLAllowedSet& allowed);

/// Replaces every "%XX" by its byte and reads the result as UTF-8. Absent
/// when an escape is not "%" and two hex digits, or when the bytes are not
/// UTF-8.
///   'a%20b' => 'a b'     '%zz' => absent     '%C3' => absent     '' => ''
std::optional<String> stringByRemovingPercentEncoding(StringView text);

/// The byte-level decoding: absent for a malformed escape only.
std::optional<std::string> percentDecodeUTF8(std::string_view text);

}  // namespace lx
