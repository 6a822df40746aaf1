#include "vantorcore/platform/Trust.h"

#include <openssl/x509.h>
#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <cstdlib>
#include <mutex>
#include <string>

namespace lx {
namespace {

using Store = std::shared_ptr<X509_STORE>;

std::string environment(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

// The system's roots, loaded again only when the variables that point
// OpenSSL at them change: loading a CA bundle costs far more than a check.
Store systemStore() {
  static std::mutex mutex;
  static Store cached;
  static std::string cachedKey;
  const std::string key = environment("SSL_CERT_FILE") + '\n' + environment("SSL_CERT_DIR");
  std::lock_guard lock(mutex);
  if (!cached || key != cachedKey) {
    X509_STORE* store = X509_STORE_new();
    if (!store) return nullptr;
    X509_STORE_set_default_paths(store);
    cached = Store(store, &X509_STORE_free);
    cachedKey = key;
  }
  return cached;
}

TrustIssue issueFor(int error) {
  switch (error) {
    case X509_V_ERR_CERT_HAS_EXPIRED:
      return TrustIssue::Expired;
    case X509_V_ERR_CERT_NOT_YET_VALID:
      return TrustIssue::NotYetValid;
    case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
    case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
      return TrustIssue::SelfSigned;
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
    case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
    case X509_V_ERR_CERT_UNTRUSTED:
      return TrustIssue::UnknownIssuer;
    case X509_V_ERR_HOSTNAME_MISMATCH:
    case X509_V_ERR_IP_ADDRESS_MISMATCH:
      return TrustIssue::HostNameMismatch;
    case X509_V_ERR_CERT_SIGNATURE_FAILURE:
    case X509_V_ERR_UNABLE_TO_DECRYPT_CERT_SIGNATURE:
    case X509_V_ERR_UNABLE_TO_DECODE_ISSUER_PUBLIC_KEY:
      return TrustIssue::BadSignature;
    case X509_V_ERR_INVALID_CA:
    case X509_V_ERR_PATH_LENGTH_EXCEEDED:
    case X509_V_ERR_KEYUSAGE_NO_CERTSIGN:
      return TrustIssue::InvalidCA;
    case X509_V_ERR_INVALID_PURPOSE:
      return TrustIssue::WrongPurpose;
    default:
      return TrustIssue::Other;
  }
}

// Lower ranks come first; problems of one rank keep the enumeration order.
int precedence(TrustIssue issue) {
  switch (issue) {
    case TrustIssue::Expired:
    case TrustIssue::NotYetValid:
      return 0;
    case TrustIssue::UnknownIssuer:
    case TrustIssue::SelfSigned:
      return 1;
    default:
      return 2;
  }
}

// Keeps going after every error so that all of them are recorded.
int recordError(int ok, X509_STORE_CTX* context) {
  if (!ok) {
    auto* issues = static_cast<std::vector<TrustIssue>*>(X509_STORE_CTX_get_app_data(context));
    issues->push_back(issueFor(X509_STORE_CTX_get_error(context)));
  }
  return 1;
}

void add(std::vector<TrustIssue>& issues, TrustIssue issue) {
  if (std::find(issues.begin(), issues.end(), issue) == issues.end()) issues.push_back(issue);
}

}  // namespace

std::unique_ptr<Trust> Trust::create(std::vector<Certificate> certificates,
                                     std::vector<TrustPolicy> policies, OSStatus* status) {
  if (certificates.empty() || certificates.size() > kMaximumChainLength || policies.empty()) {
    if (status) *status = errSecParam;
    return nullptr;
  }
  if (status) *status = errSecSuccess;
  return std::unique_ptr<Trust>(new Trust(std::move(certificates), std::move(policies)));
}

OSStatus Trust::evaluate(TrustResult* result) {
  issues_.clear();
  const Store store = systemStore();
  using Context = std::unique_ptr<X509_STORE_CTX, decltype(&X509_STORE_CTX_free)>;
  struct FreeStack {
    void operator()(STACK_OF(X509) * stack) const { sk_X509_free(stack); }
  };
  using Stack = std::unique_ptr<STACK_OF(X509), FreeStack>;
  const Context context(X509_STORE_CTX_new(), &X509_STORE_CTX_free);
  const Stack untrusted(sk_X509_new_null());
  if (!store || !context || !untrusted) return errSecNotAvailable;
  for (std::size_t i = 1; i < certificates_.size(); ++i) {
    sk_X509_push(untrusted.get(), certificates_[i].x509());
  }
  X509* leaf = certificates_.front().x509();
  if (X509_STORE_CTX_init(context.get(), store.get(), leaf, untrusted.get()) != 1) {
    return errSecNotAvailable;
  }
  X509_VERIFY_PARAM* parameters = X509_STORE_CTX_get0_param(context.get());
  for (const TrustPolicy& policy : policies_) {
    if (policy.kind() != TrustPolicy::Kind::SSLServer) continue;
    X509_VERIFY_PARAM_set_purpose(parameters, X509_PURPOSE_SSL_SERVER);
    if (policy.host()) {
      const std::string host = toUTF8(*policy.host());
      X509_VERIFY_PARAM_set_hostflags(parameters, X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS);
      X509_VERIFY_PARAM_set1_host(parameters, host.c_str(), host.size());
    }
  }
  std::vector<TrustIssue> reported;
  X509_STORE_CTX_set_app_data(context.get(), &reported);
  X509_STORE_CTX_set_verify_cb(context.get(), &recordError);
  if (X509_verify_cert(context.get()) < 0) return errSecNotAvailable;

  const Certificate& first = certificates_.front();
  const double now = Date::now().timeIntervalSince1970();
  if (first.notValidAfter().timeIntervalSince1970() < now) add(issues_, TrustIssue::Expired);
  if (first.notValidBefore().timeIntervalSince1970() > now) add(issues_, TrustIssue::NotYetValid);
  for (TrustIssue issue : reported) add(issues_, issue);
  std::stable_sort(issues_.begin(), issues_.end(),
                   [](TrustIssue a, TrustIssue b) { return precedence(a) < precedence(b); });
  if (result) {
    if (issues_.empty()) {
      *result = TrustResult::Unspecified;
    } else {
      const bool fatal = std::any_of(issues_.begin(), issues_.end(), &Trust::isFatal);
      *result = fatal ? TrustResult::FatalTrustFailure : TrustResult::RecoverableTrustFailure;
    }
  }
  return errSecSuccess;
}

std::int32_t Trust::resultCode() const noexcept {
  return issues_.empty() ? 0 : codeForIssue(issues_.front());
}

std::int32_t Trust::codeForIssue(TrustIssue issue) noexcept {
  switch (issue) {
    case TrustIssue::Expired:
      return kTrustCodeCertificateExpired;
    case TrustIssue::NotYetValid:
      return kTrustCodeCertificateNotYetValid;
    case TrustIssue::UnknownIssuer:
      return kTrustCodeNotTrusted;
    case TrustIssue::SelfSigned:
      return kTrustCodeInvalidAnchor;
    case TrustIssue::HostNameMismatch:
      return kTrustCodeHostNameMismatch;
    case TrustIssue::BadSignature:
      return kTrustCodeVerificationFailure;
    case TrustIssue::InvalidCA:
      return kTrustCodeInvalidCA;
    case TrustIssue::WrongPurpose:
      return kTrustCodeInvalidPurpose;
    case TrustIssue::Other:
      return kTrustCodeUnknownFailure;
  }
  return kTrustCodeUnknownFailure;
}

bool Trust::isFatal(TrustIssue issue) noexcept {
  return issue == TrustIssue::BadSignature || issue == TrustIssue::InvalidCA ||
         issue == TrustIssue::WrongPurpose;
}

}  // namespace lx
