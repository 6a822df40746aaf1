// Message digests and HMACs of byte buffers, through OpenSSL's EVP
// interfaces, and their hexadecimal forms. Reentrant; any thread.
#pragma once

#include "vantorcore/Export.h"

#include <memory>
#include <optional>

#include "vantorcore/platform/Data.h"
#include "vantorcore/platform/String.h"

namespace LX_API lx {

/// The 16-byte MD5 digest.
Data lx_MD5Data(DataView data);
/// The 20-byte SHA-1 digest.
Data lx_SHA1Hash(DataView data);
/// The 32-byte SHA-256 digest; absent for more than 4,294,967,295 bytes
/// (the length the digest interface this mirrors could take).
std::optional<Data> lx_SHA256Hash(DataView data);
/// The 20-byte HMAC-SHA-1 of `data` under `key` (any key length).
Data lx_HMACSHA1WithKey(DataView data, DataView key);
/// The 32-byte HMAC-SHA-256 of `data` under `key`.
Data lx_HMACSHA256WithKey(DataView data, DataView key);

/// The MD5 digest as 32 lower-case hexadecimal digits.
///   '' => 'd41d8cd98f00b204e9800998ecf8427e'
String lx_MD5Checksum(DataView data);
/// The receiver, which must already be a 16-byte digest, as 32 lower-case
/// hexadecimal digits; absent for any other length.
std::optional<String> lx_MD5String(DataView digest);

/// Each byte as two hexadecimal digits with `separator` between bytes; the
/// whole result is then lower-cased, separator included.
///   (0A FF, ':') => '0a:ff'   (0A FF, 'X') => '0axff'   ((), ':') => ''
String lx_hexStringWithSeparator(DataView data, StringView separator);
/// `lx_hexStringWithSeparator(data, "")`.
String lx_hexString(DataView data);

/// A running digest or HMAC for data that arrives in pieces (files,
/// streams). One context per stream; not for concurrent use.
class DigestContext {
 public:
  /// The digest algorithms.
  enum class Algorithm { MD5, SHA1, SHA256 };

  /// A plain digest, or an HMAC when `hmacKey` is given.
  explicit DigestContext(Algorithm algorithm, std::optional<DataView> hmacKey = std::nullopt);
  ~DigestContext();
  DigestContext(const DigestContext&) = delete;
  DigestContext& operator=(const DigestContext&) = delete;

  /// Feeds `data` to the digest.
  void update(DataView data);
  /// The digest of everything given; the context is spent afterwards.
  Data finish();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace lx
