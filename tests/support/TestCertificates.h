// Certificates made on the spot with OpenSSL for the trust tests: a CA and
// leaves that are good, expired, not yet valid, for another host,
// self-signed, from an unknown issuer, or with a damaged signature.
#pragma once

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>
#include <stdlib.h>

#include "vantorcore/platform/Certificate.h"

namespace lx::test {

struct CertificateRequest {
  std::string commonName = {};
  std::vector<std::string> dnsNames = {};
  std::vector<std::string> ipAddresses = {};
  long validFromSeconds = -3600;  // relative to now
  long validForSeconds = 30L * 86400;
  bool isCA = false;
};

/// A certificate and its private key.
struct Issued {
  Certificate certificate;
  std::shared_ptr<evp_pkey_st> key;
};

/// Makes the system trust store, for this process, `roots` alone: writes
/// them to a file and points SSL_CERT_FILE at it (SSL_CERT_DIR at an empty
/// folder) until destroyed.
class ScopedTrustedRoots {
 public:
  explicit ScopedTrustedRoots(const std::vector<Certificate>& roots);
  ~ScopedTrustedRoots();
  ScopedTrustedRoots(const ScopedTrustedRoots&) = delete;
  ScopedTrustedRoots& operator=(const ScopedTrustedRoots&) = delete;

 private:
  std::string previousFile_, previousDirectory_, folder_;
};

namespace detail {

inline void addExtension(X509* certificate, X509* issuer, int nid, const std::string& value) {
  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
  X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, nid, value.c_str());
  X509_add_ext(certificate, extension, -1);
  X509_EXTENSION_free(extension);
}

inline std::string getenvOr(const char* name) {
  const char* value = getenv(name);
  return value ? value : "";
}

}  // namespace detail

/// A new certificate for `request`, signed by `issuer` (self-signed when null).
inline Issued issueCertificate(const CertificateRequest& request, const Issued* issuer = nullptr) {
  std::shared_ptr<EVP_PKEY> key(EVP_EC_gen("P-256"), &EVP_PKEY_free);
  X509* certificate = X509_new();
  X509_set_version(certificate, 2);
  unsigned char serial[16];
  RAND_bytes(serial, sizeof serial);
  serial[0] &= 0x7f;
  BIGNUM* number = BN_bin2bn(serial, sizeof serial, nullptr);
  BN_to_ASN1_INTEGER(number, X509_get_serialNumber(certificate));
  BN_free(number);
  X509_gmtime_adj(X509_getm_notBefore(certificate), request.validFromSeconds);
  X509_gmtime_adj(X509_getm_notAfter(certificate),
                  request.validFromSeconds + request.validForSeconds);
  X509_NAME* name = X509_get_subject_name(certificate);
  X509_NAME_add_entry_by_txt(name, "O", MBSTRING_UTF8,
                             reinterpret_cast<const unsigned char*>("Vantor Tests"), -1, -1, 0);
  X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8,
                             reinterpret_cast<const unsigned char*>(request.commonName.c_str()), -1,
                             -1, 0);
  X509* signer = issuer ? issuer->certificate.x509() : certificate;
  X509_set_issuer_name(certificate, X509_get_subject_name(signer));
  X509_set_pubkey(certificate, key.get());
  if (request.isCA) {
    detail::addExtension(certificate, signer, NID_basic_constraints, "critical,CA:TRUE");
    detail::addExtension(certificate, signer, NID_key_usage, "critical,keyCertSign,cRLSign");
  } else {
    detail::addExtension(certificate, signer, NID_basic_constraints, "critical,CA:FALSE");
    detail::addExtension(certificate, signer, NID_ext_key_usage, "serverAuth");
  }
  std::string names;
  for (const std::string& dns : request.dnsNames) names += (names.empty() ? "DNS:" : ",DNS:") + dns;
  for (const std::string& ip : request.ipAddresses) names += (names.empty() ? "IP:" : ",IP:") + ip;
  if (!names.empty()) detail::addExtension(certificate, signer, NID_subject_alt_name, names);
  detail::addExtension(certificate, signer, NID_subject_key_identifier, "hash");
  X509_sign(certificate, issuer ? issuer->key.get() : key.get(), EVP_sha256());
  Issued result{Certificate::fromX509(certificate), key};
  X509_free(certificate);
  return result;
}

/// `certificate` with the last byte of its signature flipped.
inline Certificate withFlippedSignatureByte(const Certificate& certificate) {
  Data der = certificate.data();
  der.back() ^= 0x01;
  return *Certificate::fromDER(der);
}

/// The PEM text of `certificates`, one block each.
inline std::string pemOf(const std::vector<Certificate>& certificates) {
  std::string pem;
  for (const Certificate& certificate : certificates) {
    BIO* bio = BIO_new(BIO_s_mem());
    PEM_write_bio_X509(bio, certificate.x509());
    char* bytes = nullptr;
    const long size = BIO_get_mem_data(bio, &bytes);
    pem.append(bytes, static_cast<std::size_t>(size));
    BIO_free(bio);
  }
  return pem;
}

inline ScopedTrustedRoots::ScopedTrustedRoots(const std::vector<Certificate>& roots)
    : previousFile_(detail::getenvOr("SSL_CERT_FILE")),
      previousDirectory_(detail::getenvOr("SSL_CERT_DIR")) {
  std::string folder = (std::filesystem::temp_directory_path() / "vantor-roots-XXXXXX").string();
  folder_ = mkdtemp(folder.data()) ? folder : std::string();
  std::ofstream(folder_ + "/roots.pem") << pemOf(roots);
  std::filesystem::create_directories(folder_ + "/none");
  setenv("SSL_CERT_FILE", (folder_ + "/roots.pem").c_str(), 1);
  setenv("SSL_CERT_DIR", (folder_ + "/none").c_str(), 1);
}

inline ScopedTrustedRoots::~ScopedTrustedRoots() {
  setenv("SSL_CERT_FILE", previousFile_.c_str(), 1);
  setenv("SSL_CERT_DIR", previousDirectory_.c_str(), 1);
  std::error_code ignored;
  if (!folder_.empty()) std::filesystem::remove_all(folder_, ignored);
}

}  // namespace lx::test
