// `Certificate`: one X.509 certificate as an immutable value, read from DER
// or PEM with OpenSSL. Copies share the parsed certificate.
//
// Equality and hashing follow the encoded (DER) bytes, so two readings of one
// certificate are equal and a certificate differing in one signature byte is
// not.
#pragma once

#include "vantorcore/Export.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

#include "vantorcore/platform/Data.h"
#include "vantorcore/platform/Date.h"
#include "vantorcore/platform/Error.h"
#include "vantorcore/platform/String.h"

struct x509_st;

namespace LX_API lx {

// Codes of `NSCocoaErrorDomain` the readers use, with the platform's values.
inline constexpr std::int64_t NSFileReadCorruptFileError = 259;

class Certificate {
 public:
  /// The most certificates `certificatesFromPEM` reads from one document:
  /// more than any CA bundle holds, few enough that a hostile document of
  /// thousands fails fast (reading one costs OpenSSL 3 about half a
  /// millisecond).
  static constexpr std::size_t kMaximumPEMCertificates = 1000;

  /// The certificate encoded in `der`, which must hold exactly one
  /// certificate and nothing after it; absent for anything else.
  static std::optional<Certificate> fromDER(DataView der);
  /// Every certificate in a PEM document, in document order. Text around
  /// the blocks is ignored. Absent with `NSFileReadCorruptFileError` when
  /// there is no certificate, a block is truncated or malformed, or there
  /// are more than `kMaximumPEMCertificates`.
  static std::optional<std::vector<Certificate>> certificatesFromPEM(DataView pem,
                                                                     ErrorPtr* error = nullptr);
  /// PEM when the data holds "-----BEGIN CERTIFICATE-----", else one DER
  /// certificate.
  static std::optional<std::vector<Certificate>> certificatesFromData(DataView data,
                                                                      ErrorPtr* error = nullptr);
  /// Takes a reference to `certificate` (which must not be null).
  static Certificate fromX509(x509_st* certificate);

  /// The DER encoding.
  [[nodiscard]] const Data& data() const noexcept { return *der_; }
  /// The subject's common name, or absent when it has none.
  [[nodiscard]] std::optional<String> commonName() const;
  /// A short name for people: the common name, else the organisation, else
  /// the whole subject on one line ("C=DE, O=Example").
  [[nodiscard]] String subjectSummary() const;
  /// The issuer on one line, in the same form as the subject.
  [[nodiscard]] String issuerSummary() const;
  /// The validity period; the certificate is invalid outside it.
  ///@{
  [[nodiscard]] Date notValidBefore() const;
  [[nodiscard]] Date notValidAfter() const;
  ///@}
  /// SHA-256 of the DER encoding.
  [[nodiscard]] Data sha256Fingerprint() const;
  /// Whether subject and issuer are the same name.
  [[nodiscard]] bool isSelfIssued() const;
  /// The OpenSSL certificate, owned by this value.
  [[nodiscard]] x509_st* x509() const noexcept { return x509_.get(); }

  /// Equal when the DER bytes are.
  friend bool operator==(const Certificate& a, const Certificate& b) noexcept {
    return a.der_ == b.der_ || *a.der_ == *b.der_;
  }
  /// A hash consistent with `==`.
  [[nodiscard]] std::size_t hash() const noexcept;

 private:
  Certificate(std::shared_ptr<x509_st> x509, std::shared_ptr<const Data> der)
      : x509_(std::move(x509)), der_(std::move(der)) {}

  std::shared_ptr<x509_st> x509_;
  std::shared_ptr<const Data> der_;
};

}  // namespace lx
