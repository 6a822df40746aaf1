// `Trust`: one evaluation of a certificate chain against policies, on
// OpenSSL, standing in for the platform's trust objects.
//
// Roots come from the system's CA store (`X509_STORE_set_default_paths`,
// which honours SSL_CERT_FILE and SSL_CERT_DIR; the store is loaded once per
// process and again whenever those variables change). The first certificate
// is the leaf; the others may come in any order and only help to build the
// path. Host names are checked by OpenSSL's `X509_VERIFY_PARAM_set1_host`
// (no partial wildcards).
//
// OpenSSL reports only some of several problems (an expired leaf with an
// unknown issuer reports only the issuer), so the leaf's dates are checked
// here as well and every problem is kept, in this precedence:
//
//   1. dates:  expired, not yet valid
//   2. issuer: unknown issuer, self-signed and not trusted
//   3. the rest: host-name mismatch, bad signature, invalid CA, purpose, other
//
// The first problem gives `resultCode()`. Fatal problems (bad signature,
// invalid CA, wrong purpose) make the result `FatalTrustFailure`; the others
// are recoverable (`RecoverableTrustFailure`): a user may choose to trust
// such a certificate. No problem gives `Unspecified`, the platform's "trusted
// by the system's settings".
//
// A trust is for one thread at a time; different trusts may be evaluated
// on different threads at once.
#pragma once

#include "vantorcore/Export.h"

#include <cstdint>
#include <memory>
#include <vector>

#include "vantorcore/platform/Certificate.h"
#include "vantorcore/platform/SecureItemStore.h"
#include "vantorcore/platform/TrustPolicy.h"

namespace LX_API lx {

/// The platform's trust results, with its values.
enum class TrustResult : std::uint32_t {
  Invalid = 0,
  Proceed = 1,
  Deny = 3,
  Unspecified = 4,
  RecoverableTrustFailure = 5,
  FatalTrustFailure = 6,
  OtherError = 7,
};

/// One problem found in a chain.
enum class TrustIssue {
  Expired,
  NotYetValid,
  UnknownIssuer,
  SelfSigned,
  HostNameMismatch,
  BadSignature,
  InvalidCA,
  WrongPurpose,
  Other,
};

/// Result codes of a chain, in the platform's style (`resultCode`).
///@{
inline constexpr std::int32_t kTrustCodeCertificateExpired = static_cast<std::int32_t>(0x8001210A);
inline constexpr std::int32_t kTrustCodeCertificateNotYetValid =
    static_cast<std::int32_t>(0x8001210B);
inline constexpr std::int32_t kTrustCodeInvalidAnchor = static_cast<std::int32_t>(0x80012112);
inline constexpr std::int32_t kTrustCodeNotTrusted = static_cast<std::int32_t>(0x80012113);
inline constexpr std::int32_t kTrustCodeInvalidAuthority = static_cast<std::int32_t>(0x80012116);
inline constexpr std::int32_t kTrustCodeInvalidCA = static_cast<std::int32_t>(0x80012106);
inline constexpr std::int32_t kTrustCodeHostNameMismatch = static_cast<std::int32_t>(0x80012400);
inline constexpr std::int32_t kTrustCodeVerificationFailure = static_cast<std::int32_t>(0x80012109);
inline constexpr std::int32_t kTrustCodeInvalidPurpose = static_cast<std::int32_t>(0x80012117);
inline constexpr std::int32_t kTrustCodeUnknownFailure = static_cast<std::int32_t>(0x80012108);
///@}

class Trust {
 public:
  /// The longest chain accepted, as OpenSSL's default verification depth.
  static constexpr std::size_t kMaximumChainLength = 100;

  /// A trust for `certificates` (leaf first) under `policies`; null with
  /// `errSecParam` in `*status` when there is no certificate, more than
  /// `kMaximumChainLength`, or no policy.
  static std::unique_ptr<Trust> create(std::vector<Certificate> certificates,
                                       std::vector<TrustPolicy> policies,
                                       OSStatus* status = nullptr);

  /// Evaluates now; `errSecSuccess` and the result in `*result`, or
  /// `errSecNotAvailable` when OpenSSL could not run the evaluation.
  OSStatus evaluate(TrustResult* result);

  /// Every problem the last evaluation found, in precedence order.
  [[nodiscard]] const std::vector<TrustIssue>& issues() const noexcept { return issues_; }
  /// The code of the first problem, 0 when there was none.
  [[nodiscard]] std::int32_t resultCode() const noexcept;
  /// The code for one problem.
  static std::int32_t codeForIssue(TrustIssue issue) noexcept;
  /// Whether a problem rules out trusting the chain whatever the user says.
  static bool isFatal(TrustIssue issue) noexcept;

  /// The chain being evaluated, leaf first.
  [[nodiscard]] const std::vector<Certificate>& certificates() const noexcept {
    return certificates_;
  }
  /// The policies the chain is evaluated against.
  [[nodiscard]] const std::vector<TrustPolicy>& policies() const noexcept { return policies_; }

 private:
  Trust(std::vector<Certificate> certificates, std::vector<TrustPolicy> policies)
      : certificates_(std::move(certificates)), policies_(std::move(policies)) {}

  std::vector<Certificate> certificates_;
  std::vector<TrustPolicy> policies_;
  std::vector<TrustIssue> issues_;
};

}  // namespace lx
