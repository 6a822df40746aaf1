// `LXTrust`: one server-certificate trust decision. It evaluates a chain
// for a host with the platform trust engine (`Trust`) and answers trusted
// (1), refused (0) or "ask the user" (-1), with a reason that selects the
// question to put to the user.
//
// Certificates a user accepted for a host are remembered for the rest of the
// process (in memory only, never on disk) and make later recoverable
// failures for that host and certificate pass. Fatal failures (a bad
// signature, an invalid CA, the wrong purpose) are refused even then.
//
// Linux has no certificate sheets. The host application puts the question to
// its user itself: it installs a `UserQuestionHandler`, and
// `beginEvaluationWithMessage` calls it for a -1 answer and remembers the
// certificate when the user accepts. Without a handler, -1 counts as refused.
#pragma once

#include "vantorcore/Export.h"

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <variant>
#include <vector>

#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/Trust.h"
#include "vantorcore/security/LXCertificate.h"

namespace LX_API lx {

/// The answers of `LXTrust::evaluate`.
///@{
inline constexpr int LXTrustEvaluationTrusted = 1;
inline constexpr int LXTrustEvaluationRefused = 0;
inline constexpr int LXTrustEvaluationAskUser = -1;
///@}

/// Why the user is asked; each selects a question.
enum class LXTrustFeedbackReason : unsigned {
  Invalid = 1,           ///< any other failure
  Expired = 2,           ///< the certificate has expired
  NotYetValid = 3,       ///< the certificate is not yet valid
  UnknownAuthority = 4,  ///< signed by an unknown certifying authority
};

class LXTrust : public Object {
  LX_DECLARE_CLASS(LXTrust)

 public:
  /// One platform certificate, an array of them, or an array of
  /// `LXCertificate`; the first certificate is the leaf.
  using CertificateOrArray = std::variant<Certificate, std::vector<Certificate>,
                                          std::vector<std::shared_ptr<LXCertificate>>>;
  /// Shows `question` (and the caller's `message`, when there is one) to the
  /// user with the certificate of `trust`, and calls `answer` exactly once,
  /// on any thread, with whether the user chose to connect anyway.
  using UserQuestionHandler =
      std::function<void(const LXTrust& trust, const String& question,
                         const std::optional<String>& message, std::function<void(bool)> answer)>;

  /// Trust in `certificate` for `host`, evaluated with `trust`.
  LXTrust(std::shared_ptr<Trust> trust, std::shared_ptr<LXCertificate> certificate, String host);

  /// A trust with the SSL-server policy for `host` (left out when the host
  /// is an IPv4 or IPv6 address literal, so literals are never compared with
  /// the certificate's names) and the basic X.509 policy. Null when the
  /// chain is empty or longer than `Trust::kMaximumChainLength`.
  static std::shared_ptr<LXTrust> initWithCertificateOrArray(const CertificateOrArray& certificates,
                                                             const String& host);
  /// The same with the caller's policies.
  static std::shared_ptr<LXTrust> initWithCertificateOrArray(const CertificateOrArray& certificates,
                                                             const String& host,
                                                             std::vector<TrustPolicy> policies);
  /// Keeps `trust` and wraps the first of `certificates`; null without a
  /// trust or certificates.
  static std::shared_ptr<LXTrust> initWithSecTrust(std::shared_ptr<Trust> trust,
                                                   const std::vector<Certificate>& certificates,
                                                   const String& host);

  /// Whether the user accepted `certificate` for `host` in this process.
  /// Any thread.
  static bool userTrustsCertificate(const LXCertificate& certificate, const String& host);
  /// Remembers that the user accepted `certificate` for `host`. Any thread.
  static void addUserTrustedCertificate(const LXCertificate& certificate, const String& host);

  /// Evaluates the chain: 1 trusted, 0 refused (with the line
  /// "untrusted certificate <subject> (<result>)" for a denial or fatal
  /// failure), -1 for the user to decide, with the reason in `*reason`.
  int evaluate(LXTrustFeedbackReason* reason = nullptr);
  /// `evaluate` on the high-priority (user-initiated) global queue; the
  /// handler runs there with the answer.
  void evaluateWithCompletionHandler(std::function<void(int evaluation)> handler);
  /// The answer for a platform result, as `evaluate` gives it; the reason
  /// comes from the chain's result code.
  int evaluationForTrustResult(TrustResult result, LXTrustFeedbackReason* reason = nullptr);
  /// The question for `reason`, with the host filled in.
  [[nodiscard]] String localizedDescriptionForFeedbackReason(LXTrustFeedbackReason reason) const;

  /// Installs the closure that asks the user (null removes it). Any thread.
  static void setUserQuestionHandler(UserQuestionHandler handler);
  /// Evaluates and, for -1, asks the user through the installed handler,
  /// remembering the certificate when they accept; `completion` receives
  /// whether to connect, on the thread that answered (the calling thread
  /// when nobody was asked).
  void beginEvaluationWithMessage(const std::optional<String>& message,
                                  std::function<void(bool trusted)> completion);

  /// The leaf certificate.
  [[nodiscard]] const std::shared_ptr<LXCertificate>& certificate() const noexcept {
    return certificate_;
  }
  /// The host the chain must be valid for.
  [[nodiscard]] const String& host() const noexcept { return host_; }
  /// The platform trust object.
  [[nodiscard]] const std::shared_ptr<Trust>& secTrust() const noexcept { return trust_; }
  /// The help anchor a certificate panel would offer (spelled as the
  /// platform's property is).
  [[nodiscard]] const std::optional<String>& helpAncherURL() const noexcept {
    return helpAncherURL_;
  }
  /// The help link shown with a trust question; absent for none.
  void setHelpAncherURL(std::optional<String> url) { helpAncherURL_ = std::move(url); }

 private:
  std::mutex mutex_;  // one evaluation of the trust at a time
  std::shared_ptr<Trust> trust_;
  std::shared_ptr<LXCertificate> certificate_;
  String host_;
  std::optional<String> helpAncherURL_;
};

}  // namespace lx
