#include "vantorcore/security/LXTrust.h"

#include <netinet/in.h>

#include <map>
#include <set>

#include "vantorcore/platform/DispatchQueue.h"
#include "vantorcore/platform/Log.h"
#include "vantorcore/text/String+POSIXUtilities.h"
#include "vantorcore/text/VantorCoreLocale.h"

namespace lx {

LX_DEFINE_CLASS(LXTrust, Object)

namespace {

// Certificates (by their bytes) that the user accepted, per host.
struct UserDecisions {
  std::mutex mutex;
  std::map<String, std::set<Data>> certificatesByHost;
};

UserDecisions& userDecisions() {
  static UserDecisions* decisions = new UserDecisions;  // never destroyed: used until exit
  return *decisions;
}

std::mutex questionHandlerMutex;
LXTrust::UserQuestionHandler questionHandler;

bool isAddressLiteral(const String& host) {
  in6_addr address{};
  return lx_getIPv4Address(host, &address) || lx_getIPv6Address(host, &address);
}

std::vector<Certificate> certificatesOf(const LXTrust::CertificateOrArray& certificates) {
  if (const auto* one = std::get_if<Certificate>(&certificates)) return {*one};
  if (const auto* many = std::get_if<std::vector<Certificate>>(&certificates)) return *many;
  std::vector<Certificate> result;
  for (const auto& certificate :
       std::get<std::vector<std::shared_ptr<LXCertificate>>>(certificates)) {
    if (certificate) result.push_back(certificate->secCertificate());
  }
  return result;
}

LXTrustFeedbackReason reasonForCode(std::int32_t code) {
  switch (code) {
    case kTrustCodeCertificateExpired:
      return LXTrustFeedbackReason::Expired;
    case kTrustCodeCertificateNotYetValid:
      return LXTrustFeedbackReason::NotYetValid;
    case kTrustCodeInvalidAnchor:
    case kTrustCodeNotTrusted:
    case kTrustCodeInvalidAuthority:
      return LXTrustFeedbackReason::UnknownAuthority;
    default:
      return LXTrustFeedbackReason::Invalid;
  }
}

}  // namespace

LXTrust::LXTrust(std::shared_ptr<Trust> trust, std::shared_ptr<LXCertificate> certificate,
                 String host)
    : trust_(std::move(trust)), certificate_(std::move(certificate)), host_(std::move(host)) {}

std::shared_ptr<LXTrust> LXTrust::initWithCertificateOrArray(const CertificateOrArray& certificates,
                                                             const String& host) {
  std::vector<TrustPolicy> policies;
  if (!isAddressLiteral(host)) policies.push_back(TrustPolicy::sslServer(host));
  policies.push_back(TrustPolicy::basicX509());
  return initWithCertificateOrArray(certificates, host, std::move(policies));
}

std::shared_ptr<LXTrust> LXTrust::initWithCertificateOrArray(const CertificateOrArray& certificates,
                                                             const String& host,
                                                             std::vector<TrustPolicy> policies) {
  std::vector<Certificate> chain = certificatesOf(certificates);
  std::shared_ptr<Trust> trust = Trust::create(chain, std::move(policies));
  return trust ? initWithSecTrust(std::move(trust), chain, host) : nullptr;
}

std::shared_ptr<LXTrust> LXTrust::initWithSecTrust(std::shared_ptr<Trust> trust,
                                                   const std::vector<Certificate>& certificates,
                                                   const String& host) {
  if (!trust || certificates.empty()) return nullptr;
  return std::make_shared<LXTrust>(
      std::move(trust), LXCertificate::initWithSecCertificate(certificates.front()), host);
}

bool LXTrust::userTrustsCertificate(const LXCertificate& certificate, const String& host) {
  UserDecisions& decisions = userDecisions();
  std::lock_guard lock(decisions.mutex);
  const auto it = decisions.certificatesByHost.find(host);
  return it != decisions.certificatesByHost.end() && it->second.count(certificate.data()) != 0;
}

void LXTrust::addUserTrustedCertificate(const LXCertificate& certificate, const String& host) {
  UserDecisions& decisions = userDecisions();
  std::lock_guard lock(decisions.mutex);
  decisions.certificatesByHost[host].insert(certificate.data());
}

int LXTrust::evaluate(LXTrustFeedbackReason* reason) {
  std::lock_guard lock(mutex_);
  TrustResult result = TrustResult::Invalid;
  if (trust_->evaluate(&result) != errSecSuccess) return LXTrustEvaluationRefused;
  return evaluationForTrustResult(result, reason);
}

int LXTrust::evaluationForTrustResult(TrustResult result, LXTrustFeedbackReason* reason) {
  switch (result) {
    case TrustResult::Proceed:
    case TrustResult::Unspecified:
      return LXTrustEvaluationTrusted;
    case TrustResult::Deny:
    case TrustResult::FatalTrustFailure:
      logFormat(u"untrusted certificate %@ (%d)", certificate_->description(),
                static_cast<int>(result));
      return LXTrustEvaluationRefused;
    default:
      break;
  }
  if (userTrustsCertificate(*certificate_, host_)) return LXTrustEvaluationTrusted;
  if (reason) *reason = reasonForCode(trust_->resultCode());
  return LXTrustEvaluationAskUser;
}

void LXTrust::evaluateWithCompletionHandler(std::function<void(int evaluation)> handler) {
  auto self = std::static_pointer_cast<LXTrust>(shared_from_this());
  DispatchQueue::global(DispatchQueuePriority::High)->async([self, handler = std::move(handler)] {
    handler(self->evaluate());
  });
}

String LXTrust::localizedDescriptionForFeedbackReason(LXTrustFeedbackReason reason) const {
  StringView question;
  switch (reason) {
    case LXTrustFeedbackReason::Expired:
      question =
          u"The certificate for this server has expired. You might be connecting to a server that "
          u"is pretending to be \u201C%@\u201D, which could put your confidential information at "
          u"risk. Would you like to connect to this server anyway?";
      break;
    case LXTrustFeedbackReason::NotYetValid:
      question =
          u"The certificate for this server is not yet valid. You might be connecting to a server "
          u"that is pretending to be \u201C%@\u201D, which could put your confidential information "
          u"at risk. Would you like to connect to this server anyway?";
      break;
    case LXTrustFeedbackReason::UnknownAuthority:
      question =
          u"The certificate for this server was signed by an unknown certifying authority. You "
          u"might be connecting to a server that is pretending to be \u201C%@\u201D, which could "
          u"put your confidential information at risk. Would you like to connect to this server "
          u"anyway?";
      break;
    default:
      question =
          u"The certificate for this server is invalid. You might be connecting to a server that "
          u"is pretending to be \u201C%@\u201D, which could put your confidential information at "
          u"risk. Would you like to connect to this server anyway?";
      break;
  }
  return stringWithFormat(LXLocal(question), host_);
}

void LXTrust::setUserQuestionHandler(UserQuestionHandler handler) {
  std::lock_guard lock(questionHandlerMutex);
  questionHandler = std::move(handler);
}

void LXTrust::beginEvaluationWithMessage(const std::optional<String>& message,
                                         std::function<void(bool trusted)> completion) {
  LXTrustFeedbackReason reason = LXTrustFeedbackReason::Invalid;
  const int evaluation = evaluate(&reason);
  UserQuestionHandler ask;
  {
    std::lock_guard lock(questionHandlerMutex);
    ask = questionHandler;
  }
  if (evaluation != LXTrustEvaluationAskUser || !ask) {
    completion(evaluation == LXTrustEvaluationTrusted);
    return;
  }
  auto self = std::static_pointer_cast<LXTrust>(shared_from_this());
  ask(*this, localizedDescriptionForFeedbackReason(reason), message,
      [self, completion = std::move(completion)](bool accepted) {
        if (accepted) addUserTrustedCertificate(*self->certificate_, self->host_);
        completion(accepted);
      });
}

}  // namespace lx
