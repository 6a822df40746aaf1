// AES-256-GCM sealing of item secrets, bound to the item's reference.
#pragma once

#include <optional>

#include "vantorcore/platform/Data.h"

namespace lx {

class SecretCipher {
 public:
  static constexpr std::size_t kKeySize = 32;
  static constexpr std::size_t kNonceSize = 12;
  static constexpr std::size_t kTagSize = 16;

  /// Holds a copy of `key`, which must be `kKeySize` bytes.
  explicit SecretCipher(DataView key);
  ~SecretCipher();
  SecretCipher(const SecretCipher&) = delete;
  SecretCipher& operator=(const SecretCipher&) = delete;

  /// A fresh random key; empty when the system has no randomness to give.
  static Data makeKey();

  /// nonce ‖ ciphertext ‖ tag for `secret`, with `reference` as associated
  /// data; absent when OpenSSL fails.
  [[nodiscard]] std::optional<Data> seal(DataView secret, DataView reference) const;
  /// The secret, or absent when `sealed` is malformed, was sealed under
  /// another key or reference, or was altered.
  [[nodiscard]] std::optional<Data> open(DataView sealed, DataView reference) const;

 private:
  Data key_;
};

}  // namespace lx
