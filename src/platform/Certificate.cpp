#include "vantorcore/platform/Certificate.h"

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <string_view>

namespace lx {
namespace {

constexpr std::string_view kPEMBegin = "-----BEGIN CERTIFICATE-----";
constexpr std::string_view kPEMEnd = "-----END CERTIFICATE-----";

std::shared_ptr<x509_st> own(X509* certificate) {
  return std::shared_ptr<x509_st>(certificate, &X509_free);
}

std::shared_ptr<const Data> encode(X509* certificate) {
  auto der = std::make_shared<Data>();
  const int size = i2d_X509(certificate, nullptr);
  if (size <= 0) return der;
  der->resize(static_cast<std::size_t>(size));
  unsigned char* out = der->data();
  i2d_X509(certificate, &out);
  return der;
}

std::optional<String> entryOf(const X509_NAME* name, int nid) {
  const int index = X509_NAME_get_index_by_NID(name, nid, -1);
  if (index < 0) return std::nullopt;
  const ASN1_STRING* value = X509_NAME_ENTRY_get_data(X509_NAME_get_entry(name, index));
  unsigned char* utf8 = nullptr;
  const int length = ASN1_STRING_to_UTF8(&utf8, value);
  if (length < 0) return std::nullopt;
  String text = fromUTF8(std::string_view(reinterpret_cast<const char*>(utf8), length));
  OPENSSL_free(utf8);
  return text;
}

String oneLine(const X509_NAME* name) {
  BIO* bio = BIO_new(BIO_s_mem());
  X509_NAME_print_ex(bio, name, 0, XN_FLAG_ONELINE & ~ASN1_STRFLGS_ESC_MSB);
  char* bytes = nullptr;
  const long size = BIO_get_mem_data(bio, &bytes);
  String text = fromUTF8(std::string_view(bytes, static_cast<std::size_t>(size)));
  BIO_free(bio);
  return text;
}

Date dateOf(const ASN1_TIME* time) {
  struct tm parts {};
  if (!time || ASN1_TIME_to_tm(time, &parts) != 1) return Date(0);
  return Date(static_cast<double>(timegm(&parts)));
}

ErrorPtr corrupt(const char* reason) {
  return Error::make(String(NSCocoaErrorDomain), NSFileReadCorruptFileError,
                     Dictionary{{String(NSLocalizedDescriptionKey), Value(reason)}});
}

}  // namespace

Certificate Certificate::fromX509(x509_st* certificate) {
  X509_up_ref(certificate);
  return Certificate(own(certificate), encode(certificate));
}

std::optional<Certificate> Certificate::fromDER(DataView der) {
  const unsigned char* cursor = der.data();
  X509* certificate = d2i_X509(nullptr, &cursor, static_cast<long>(der.size()));
  if (!certificate) return std::nullopt;
  auto owned = own(certificate);
  if (cursor != der.data() + der.size()) return std::nullopt;
  return Certificate(std::move(owned), std::make_shared<const Data>(der.begin(), der.end()));
}

std::optional<std::vector<Certificate>> Certificate::certificatesFromPEM(DataView pem,
                                                                         ErrorPtr* error) {
  const std::string_view text = asStringView(pem);
  std::vector<Certificate> certificates;
  std::size_t at = 0;
  // Block by block, each read on its own, so a damaged block is an error
  // rather than the end of the document, and no read looks past its block.
  while ((at = text.find(kPEMBegin, at)) != std::string_view::npos) {
    if (certificates.size() == kMaximumPEMCertificates) {
      setError(error, corrupt("Too many certificates."));
      return std::nullopt;
    }
    const std::size_t end = text.find(kPEMEnd, at);
    if (end == std::string_view::npos) {
      setError(error, corrupt("A certificate block has no end."));
      return std::nullopt;
    }
    const std::string_view block = text.substr(at, end + kPEMEnd.size() - at);
    BIO* bio = BIO_new_mem_buf(block.data(), static_cast<int>(block.size()));
    X509* certificate = bio ? PEM_read_bio_X509(bio, nullptr, nullptr, nullptr) : nullptr;
    BIO_free(bio);
    if (!certificate) {
      setError(error, corrupt("A certificate block is damaged."));
      return std::nullopt;
    }
    certificates.push_back(Certificate(own(certificate), encode(certificate)));
    at += block.size();
  }
  if (certificates.empty()) {
    setError(error, corrupt("There is no certificate."));
    return std::nullopt;
  }
  return certificates;
}

std::optional<std::vector<Certificate>> Certificate::certificatesFromData(DataView data,
                                                                          ErrorPtr* error) {
  if (asStringView(data).find(kPEMBegin) != std::string_view::npos) {
    return certificatesFromPEM(data, error);
  }
  auto certificate = fromDER(data);
  if (!certificate) {
    setError(error, corrupt("The data is neither a PEM document nor one DER certificate."));
    return std::nullopt;
  }
  return std::vector<Certificate>{std::move(*certificate)};
}

std::optional<String> Certificate::commonName() const {
  return entryOf(X509_get_subject_name(x509_.get()), NID_commonName);
}

String Certificate::subjectSummary() const {
  const X509_NAME* subject = X509_get_subject_name(x509_.get());
  if (auto name = entryOf(subject, NID_commonName)) return *name;
  if (auto organisation = entryOf(subject, NID_organizationName)) return *organisation;
  return oneLine(subject);
}

String Certificate::issuerSummary() const { return oneLine(X509_get_issuer_name(x509_.get())); }

Date Certificate::notValidBefore() const { return dateOf(X509_get0_notBefore(x509_.get())); }

Date Certificate::notValidAfter() const { return dateOf(X509_get0_notAfter(x509_.get())); }

Data Certificate::sha256Fingerprint() const {
  Data digest(32);
  unsigned int size = 0;
  EVP_Digest(der_->data(), der_->size(), digest.data(), &size, EVP_sha256(), nullptr);
  digest.resize(size);
  return digest;
}

bool Certificate::isSelfIssued() const {
  return X509_NAME_cmp(X509_get_subject_name(x509_.get()), X509_get_issuer_name(x509_.get())) == 0;
}

std::size_t Certificate::hash() const noexcept {
  return std::hash<std::string_view>{}(asStringView(*der_));
}

}  // namespace lx
