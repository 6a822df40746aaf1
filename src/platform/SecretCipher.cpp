#include "SecretCipher.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

#include <memory>

namespace lx {
namespace {

using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)>;

CipherContext newContext() { return {EVP_CIPHER_CTX_new(), &EVP_CIPHER_CTX_free}; }

}  // namespace

SecretCipher::SecretCipher(DataView key) : key_(key.begin(), key.end()) {}

SecretCipher::~SecretCipher() { OPENSSL_cleanse(key_.data(), key_.size()); }

Data SecretCipher::makeKey() {
  Data key(kKeySize);
  if (RAND_bytes(key.data(), static_cast<int>(key.size())) != 1) key.clear();
  return key;
}

std::optional<Data> SecretCipher::seal(DataView secret, DataView reference) const {
  Data sealed(kNonceSize + secret.size() + kTagSize);
  if (RAND_bytes(sealed.data(), static_cast<int>(kNonceSize)) != 1) return std::nullopt;
  const auto context = newContext();
  int length = 0;
  if (!context ||
      EVP_EncryptInit_ex(context.get(), EVP_aes_256_gcm(), nullptr, key_.data(), sealed.data()) !=
          1 ||
      EVP_EncryptUpdate(context.get(), nullptr, &length, reference.data(),
                        static_cast<int>(reference.size())) != 1 ||
      EVP_EncryptUpdate(context.get(), sealed.data() + kNonceSize, &length, secret.data(),
                        static_cast<int>(secret.size())) != 1 ||
      EVP_EncryptFinal_ex(context.get(), sealed.data() + kNonceSize + length, &length) != 1 ||
      EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_GET_TAG, kTagSize,
                          sealed.data() + kNonceSize + secret.size()) != 1) {
    return std::nullopt;
  }
  return sealed;
}

std::optional<Data> SecretCipher::open(DataView sealed, DataView reference) const {
  if (sealed.size() < kNonceSize + kTagSize) return std::nullopt;
  const std::size_t size = sealed.size() - kNonceSize - kTagSize;
  Data secret(size);
  // The tag buffer is written to by the ctrl call's signature only.
  Data tag(sealed.end() - kTagSize, sealed.end());
  const auto context = newContext();
  int length = 0;
  if (!context ||
      EVP_DecryptInit_ex(context.get(), EVP_aes_256_gcm(), nullptr, key_.data(), sealed.data()) !=
          1 ||
      EVP_DecryptUpdate(context.get(), nullptr, &length, reference.data(),
                        static_cast<int>(reference.size())) != 1 ||
      EVP_DecryptUpdate(context.get(), secret.data(), &length, sealed.data() + kNonceSize,
                        static_cast<int>(size)) != 1 ||
      EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_SET_TAG, kTagSize, tag.data()) != 1 ||
      EVP_DecryptFinal_ex(context.get(), secret.data() + length, &length) != 1) {
    OPENSSL_cleanse(secret.data(), secret.size());
    return std::nullopt;
  }
  return secret;
}

}  // namespace lx
