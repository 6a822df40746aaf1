#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/params.h>

#include <cstdint>

#include "vantorcore/text/Data+Hash.h"

namespace lx {
namespace {

// Fetched once: an implicit fetch on every call would cost a provider
// lookup per digest, which shows on short inputs.
const EVP_MD* digestType(DigestContext::Algorithm algorithm) {
  static const EVP_MD* md5 = EVP_MD_fetch(nullptr, "MD5", nullptr);
  static const EVP_MD* sha1 = EVP_MD_fetch(nullptr, "SHA1", nullptr);
  static const EVP_MD* sha256 = EVP_MD_fetch(nullptr, "SHA256", nullptr);
  switch (algorithm) {
    case DigestContext::Algorithm::MD5:
      return md5;
    case DigestContext::Algorithm::SHA1:
      return sha1;
    case DigestContext::Algorithm::SHA256:
      break;
  }
  return sha256;
}

const char* digestName(DigestContext::Algorithm algorithm) {
  switch (algorithm) {
    case DigestContext::Algorithm::MD5:
      return "MD5";
    case DigestContext::Algorithm::SHA1:
      return "SHA1";
    case DigestContext::Algorithm::SHA256:
      break;
  }
  return "SHA256";
}

Data digest(DigestContext::Algorithm algorithm, DataView data) {
  Data out(EVP_MAX_MD_SIZE);
  unsigned int length = 0;
  if (EVP_Digest(data.data(), data.size(), out.data(), &length, digestType(algorithm), nullptr) !=
      1) {
    length = 0;
  }
  out.resize(length);
  return out;
}

Data hmac(DigestContext::Algorithm algorithm, DataView data, DataView key) {
  Data out(EVP_MAX_MD_SIZE);
  unsigned int length = 0;
  // A zero-length key is a valid HMAC key; OpenSSL wants a non-null pointer.
  static const unsigned char kEmpty = 0;
  if (!HMAC(digestType(algorithm), key.empty() ? &kEmpty : key.data(), static_cast<int>(key.size()),
            data.data(), data.size(), out.data(), &length)) {
    length = 0;
  }
  out.resize(length);
  return out;
}

constexpr char kHexDigits[] = "0123456789abcdef";

}  // namespace

struct DigestContext::Impl {
  EVP_MD_CTX* md = nullptr;
  EVP_MAC* macType = nullptr;
  EVP_MAC_CTX* mac = nullptr;
  std::size_t size = 0;
};

DigestContext::DigestContext(Algorithm algorithm, std::optional<DataView> hmacKey)
    : impl_(std::make_unique<Impl>()) {
  impl_->size = static_cast<std::size_t>(EVP_MD_get_size(digestType(algorithm)));
  if (!hmacKey) {
    impl_->md = EVP_MD_CTX_new();
    EVP_DigestInit_ex(impl_->md, digestType(algorithm), nullptr);
    return;
  }
  impl_->macType = EVP_MAC_fetch(nullptr, "HMAC", nullptr);
  impl_->mac = EVP_MAC_CTX_new(impl_->macType);
  OSSL_PARAM params[] = {OSSL_PARAM_construct_utf8_string(
                             OSSL_MAC_PARAM_DIGEST, const_cast<char*>(digestName(algorithm)), 0),
                         OSSL_PARAM_construct_end()};
  static const unsigned char kEmpty = 0;
  EVP_MAC_init(impl_->mac, hmacKey->empty() ? &kEmpty : hmacKey->data(), hmacKey->size(), params);
}

DigestContext::~DigestContext() {
  EVP_MD_CTX_free(impl_->md);
  EVP_MAC_CTX_free(impl_->mac);
  EVP_MAC_free(impl_->macType);
}

void DigestContext::update(DataView data) {
  if (impl_->md) {
    EVP_DigestUpdate(impl_->md, data.data(), data.size());
  } else {
    EVP_MAC_update(impl_->mac, data.data(), data.size());
  }
}

Data DigestContext::finish() {
  Data out(EVP_MAX_MD_SIZE);
  std::size_t length = 0;
  if (impl_->md) {
    unsigned int n = 0;
    if (EVP_DigestFinal_ex(impl_->md, out.data(), &n) == 1) length = n;
  } else if (EVP_MAC_final(impl_->mac, out.data(), &length, out.size()) != 1) {
    length = 0;
  }
  out.resize(length);
  return out;
}

Data lx_MD5Data(DataView data) { return digest(DigestContext::Algorithm::MD5, data); }
Data lx_SHA1Hash(DataView data) { return digest(DigestContext::Algorithm::SHA1, data); }

std::optional<Data> lx_SHA256Hash(DataView data) {
  if (data.size() > UINT32_MAX) return std::nullopt;
  return digest(DigestContext::Algorithm::SHA256, data);
}

Data lx_HMACSHA1WithKey(DataView data, DataView key) {
  return hmac(DigestContext::Algorithm::SHA1, data, key);
}

Data lx_HMACSHA256WithKey(DataView data, DataView key) {
  return hmac(DigestContext::Algorithm::SHA256, data, key);
}

String lx_MD5Checksum(DataView data) { return lx_hexString(lx_MD5Data(data)); }

std::optional<String> lx_MD5String(DataView digest) {
  if (digest.size() != 16) return std::nullopt;
  return lx_hexString(digest);
}

String lx_hexStringWithSeparator(DataView data, StringView separator) {
  String out;
  out.reserve(data.size() * (2 + separator.size()));
  for (std::size_t i = 0; i < data.size(); ++i) {
    out.push_back(static_cast<char16_t>(kHexDigits[data[i] >> 4]));
    out.push_back(static_cast<char16_t>(kHexDigits[data[i] & 15]));
    if (i + 1 < data.size()) out.append(separator);
  }
  // The digits are already lower case; the separator's letters are lowered
  // too, as the whole text always was.
  return separator.empty() ? out : lowercaseString(out);
}

String lx_hexString(DataView data) { return lx_hexStringWithSeparator(data, u""); }

}  // namespace lx
