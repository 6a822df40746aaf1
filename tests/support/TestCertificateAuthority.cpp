#include "support/TestCertificateAuthority.h"

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <atomic>
#include <stdexcept>

namespace lx::test {

namespace {

constexpr long kSecondsPerDay = 86'400;

using KeyPtr = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;
using CertificatePtr = std::unique_ptr<X509, decltype(&X509_free)>;

KeyPtr makeKey() { return KeyPtr(EVP_EC_gen("P-256"), &EVP_PKEY_free); }

void addExtension(X509* certificate, X509* issuer, int nid, const std::string& value) {
  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
  X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, nid, value.c_str());
  if (!extension) throw std::runtime_error("cannot make a certificate extension");
  X509_add_ext(certificate, extension, -1);
  X509_EXTENSION_free(extension);
}

// A certificate for `key` named `commonName`; `issuer` null signs itself.
CertificatePtr makeCertificate(EVP_PKEY* key, const std::string& commonName, X509* issuer,
                               EVP_PKEY* issuerKey, long notBeforeDays, long notAfterDays,
                               bool isAuthority) {
  static std::atomic<long> serial{1};
  CertificatePtr certificate(X509_new(), &X509_free);
  X509* cert = certificate.get();
  X509_set_version(cert, 2);
  ASN1_INTEGER_set(X509_get_serialNumber(cert), serial++);
  X509_gmtime_adj(X509_getm_notBefore(cert), notBeforeDays * kSecondsPerDay);
  X509_gmtime_adj(X509_getm_notAfter(cert), notAfterDays * kSecondsPerDay);
  X509_set_pubkey(cert, key);
  X509_NAME* name = X509_get_subject_name(cert);
  X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8,
                             reinterpret_cast<const unsigned char*>(commonName.c_str()), -1, -1, 0);
  X509_set_issuer_name(cert, issuer ? X509_get_subject_name(issuer) : name);
  X509* signer = issuer ? issuer : cert;
  if (isAuthority) {
    addExtension(cert, signer, NID_basic_constraints, "critical,CA:TRUE");
    addExtension(cert, signer, NID_key_usage, "critical,keyCertSign,cRLSign");
  } else {
    const bool isAddress = commonName.find_first_not_of("0123456789.") == std::string::npos;
    addExtension(cert, signer, NID_subject_alt_name, (isAddress ? "IP:" : "DNS:") + commonName);
    addExtension(cert, signer, NID_ext_key_usage, "serverAuth");
  }
  X509_sign(cert, issuerKey ? issuerKey : key, EVP_sha256());
  return certificate;
}

std::string pem(X509* certificate) {
  BIO* bio = BIO_new(BIO_s_mem());
  PEM_write_bio_X509(bio, certificate);
  char* bytes = nullptr;
  const long length = BIO_get_mem_data(bio, &bytes);
  std::string text(bytes, static_cast<std::size_t>(length));
  BIO_free(bio);
  return text;
}

std::string pem(EVP_PKEY* key) {
  BIO* bio = BIO_new(BIO_s_mem());
  PEM_write_bio_PrivateKey(bio, key, nullptr, nullptr, 0, nullptr, nullptr);
  char* bytes = nullptr;
  const long length = BIO_get_mem_data(bio, &bytes);
  std::string text(bytes, static_cast<std::size_t>(length));
  BIO_free(bio);
  return text;
}

}  // namespace

struct TestCertificateAuthority::Impl {
  KeyPtr key = makeKey();
  CertificatePtr certificate{nullptr, &X509_free};
};

TestCertificateAuthority::TestCertificateAuthority() : impl_(std::make_unique<Impl>()) {
  impl_->certificate =
      makeCertificate(impl_->key.get(), "Vantor Test Authority", nullptr, nullptr, -1, 365, true);
}

TestCertificateAuthority::~TestCertificateAuthority() = default;

std::string TestCertificateAuthority::certificatePEM() const {
  return pem(impl_->certificate.get());
}

TLSIdentity TestCertificateAuthority::issue(const std::string& host, long notBeforeDays,
                                            long notAfterDays) const {
  KeyPtr key = makeKey();
  CertificatePtr leaf = makeCertificate(key.get(), host, impl_->certificate.get(), impl_->key.get(),
                                        notBeforeDays, notAfterDays, false);
  return {pem(leaf.get()) + certificatePEM(), pem(key.get())};
}

TLSIdentity TestCertificateAuthority::selfSigned(const std::string& host) {
  KeyPtr key = makeKey();
  CertificatePtr certificate = makeCertificate(key.get(), host, nullptr, nullptr, -1, 30, false);
  return {pem(certificate.get()), pem(key.get())};
}

}  // namespace lx::test
