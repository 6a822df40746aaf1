// Base64, Base32 and Base16 text for byte buffers (RFC 4648 alphabets).
//
// The `lx_` operations work on whole buffers and `String`s. Below them sit
// byte-level forms on ASCII text (`encodeBinaryText`, `BinaryTextDecoder`)
// that stream: the `vantor encode` command feeds standard input through them
// chunk by chunk. All of it is reentrant; any thread.
#pragma once

#include "vantorcore/Export.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "vantorcore/platform/Data.h"
#include "vantorcore/platform/String.h"

namespace LX_API lx {

/// Standard Base64 ("A–Z a–z 0–9 + /") with "=" padding and no line breaks.
///   '' => ''    'f' => 'Zg=='    'fo' => 'Zm8='    'foo' => 'Zm9v'
String lx_base64String(DataView data);

/// Decodes standard Base64, skipping every character outside the alphabet
/// and "=" (line breaks, spaces, non-ASCII). Absent when the remaining text
/// is not whole groups of four: a leftover character, a group without its
/// padding, "=" other than one or two closing the last group, or alphabet
/// characters after the padding.
///   'Zm9v' => 'foo'    'Zm 9v\r\n' => 'foo'    'Zg==' => 'f'    '' => ''
///   'Zg' => absent     'Z===' => absent        'Zg==Zg==' => absent
std::optional<Data> lx_dataWithBase64String(StringView string);

/// RFC 4648 Base32 ("A–Z 2–7"): each 5 bytes become 8 characters; a final
/// partial group is padded with "=" to 8.
///   'f' => 'MY======'   'fo' => 'MZXQ===='   'foo' => 'MZXW6==='
///   'foob' => 'MZXW6YQ='   'fooba' => 'MZXW6YTB'   '' => ''
String lx_base32String(DataView data);

/// Decodes RFC 4648 Base32 strictly. Absent when the length is not a
/// multiple of 8, a character is neither in the (upper-case) alphabet nor
/// "=", the closing "=" run is not 0, 1, 3, 4 or 6 long, or "=" appears
/// before it. A final group gives 1, 2, 3 or 4 bytes when its 3rd, 5th, 6th
/// or 8th character is "=".
///   'MZXW6===' => 'foo'   'mzxw6===' => absent   'MZXW6YQ' => absent
///   'MZXW6Y==' => absent (two "=")              'MZ=W6===' => absent
std::optional<Data> lx_dataWithBase32String(StringView string);

/// Two lower-case hexadecimal digits per byte, no separators.
///   0A FF => '0aff'    '' => ''
String lx_base16String(DataView data);

/// Decodes hexadecimal text of either case; absent for an odd length or a
/// character that is not a hexadecimal digit (spaces included).
///   '0aFF' => 0A FF    'abc' => absent    '0g' => absent
std::optional<Data> lx_dataWithBase16String(StringView string);

// --- Byte-level forms ------------------------------------------------------

/// The text encodings the streaming decoder reads.
enum class BinaryTextEncoding { Base64, Base32, Base16 };

/// The number of characters `encodeBinaryText` writes for `size` bytes.
std::size_t encodedBinaryTextLength(BinaryTextEncoding encoding, std::size_t size) noexcept;

/// Writes the text form of `data` (padded, as the `lx_` forms) to `out`,
/// which must hold `encodedBinaryTextLength` characters. Feeding a stream in
/// chunks gives the text of the whole when every chunk but the last is a
/// multiple of 3 (Base64) or 5 (Base32) bytes.
void encodeBinaryText(BinaryTextEncoding encoding, DataView data, char* out) noexcept;

/// An incremental decoder with the rules of the `lx_dataWithBase…String`
/// operations: text may arrive in chunks split anywhere. After a failure it
/// stays failed.
class BinaryTextDecoder {
 public:
  /// A decoder for `encoding`, ready for input.
  explicit BinaryTextDecoder(BinaryTextEncoding encoding) noexcept : encoding_(encoding) {}

  /// Decodes `text`, appending the bytes to `out`; false once the text is
  /// known to be invalid.
  bool update(std::string_view text, Data& out);
  /// Ends the text; false when it is invalid or ends inside a group.
  bool finish(Data& out);

 private:
  bool updateBase64(std::string_view text, Data& out);
  bool updateBase32(std::string_view text, Data& out);
  bool updateBase16(std::string_view text, Data& out);
  bool base32Group(const char* group, Data& out);

  BinaryTextEncoding encoding_;
  bool failed_ = false;
  bool ended_ = false;      // padding seen: nothing but skipped text may follow
  std::uint32_t bits_ = 0;  // Base64 sextets or the Base16 nibble not yet written
  int pending_ = 0;         // how many of them
  int padding_ = 0;         // Base64 "=" seen so far
  char group_[8] = {};      // Base32 characters of an unfinished group
};

}  // namespace lx
