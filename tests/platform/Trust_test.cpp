#include "vantorcore/platform/Trust.h"

#include <gtest/gtest.h>

#include "support/TestCertificates.h"

namespace lx {
namespace {

using test::CertificateRequest;
using test::issueCertificate;

constexpr long kDay = 86400;

class TrustTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    ca_ = new test::Issued(issueCertificate({.commonName = "Vantor Test CA", .isCA = true}));
    roots_ = new test::ScopedTrustedRoots({ca_->certificate});
  }
  static void TearDownTestSuite() {
    delete roots_;
    delete ca_;
  }
  static test::Issued leaf(CertificateRequest request, const test::Issued* issuer = nullptr) {
    if (request.dnsNames.empty()) request.dnsNames = {"www.example.test"};
    return issueCertificate(request, issuer ? issuer : ca_);
  }

  static test::Issued* ca_;
  static test::ScopedTrustedRoots* roots_;
};

test::Issued* TrustTest::ca_ = nullptr;
test::ScopedTrustedRoots* TrustTest::roots_ = nullptr;

TEST_F(TrustTest, ProblemsComeInPrecedenceOrderAndDecideFatality) {
  const auto good = leaf({.commonName = "good", .ipAddresses = {"127.0.0.1"}});
  const auto otherCA = issueCertificate({.commonName = "Other CA", .isCA = true});
  const auto intermediate = issueCertificate({.commonName = "Intermediate", .isCA = true}, ca_);
  const auto viaIntermediate = leaf({.commonName = "via"}, &intermediate);
  const auto notACA = leaf({.commonName = "not a CA"});
  const auto underLeaf = leaf({.commonName = "under a leaf"}, &notACA);
  const auto selfSigned =
      issueCertificate({.commonName = "self", .dnsNames = {"www.example.test"}});
  struct Case {
    const char* name;
    std::vector<Certificate> chain;
    std::optional<String> host;  // absent: the basic policy only
    TrustResult result;
    std::vector<TrustIssue> issues;
  } cases[] = {
      {"good", {good.certificate}, u"www.example.test", TrustResult::Unspecified, {}},
      {"good, no host check", {good.certificate}, std::nullopt, TrustResult::Unspecified, {}},
      {"host names compare without case",
       {good.certificate},
       u"WWW.Example.TEST",
       TrustResult::Unspecified,
       {}},
      {"wrong host",
       {good.certificate},
       u"mail.example.test",
       TrustResult::RecoverableTrustFailure,
       {TrustIssue::HostNameMismatch}},
      {"expired",
       {leaf({.commonName = "old", .validFromSeconds = -30 * kDay, .validForSeconds = kDay})
            .certificate},
       u"www.example.test",
       TrustResult::RecoverableTrustFailure,
       {TrustIssue::Expired}},
      {"not yet valid",
       {leaf({.commonName = "new", .validFromSeconds = 2 * kDay}).certificate},
       u"www.example.test",
       TrustResult::RecoverableTrustFailure,
       {TrustIssue::NotYetValid}},
      {"self-signed",
       {selfSigned.certificate},
       u"www.example.test",
       TrustResult::RecoverableTrustFailure,
       {TrustIssue::SelfSigned}},
      {"unknown issuer",
       {leaf({.commonName = "stranger"}, &otherCA).certificate},
       u"www.example.test",
       TrustResult::RecoverableTrustFailure,
       {TrustIssue::UnknownIssuer}},
      {"expired from an unknown issuer",
       {leaf(
            {.commonName = "old stranger", .validFromSeconds = -30 * kDay, .validForSeconds = kDay},
            &otherCA)
            .certificate},
       u"www.example.test",
       TrustResult::RecoverableTrustFailure,
       {TrustIssue::Expired, TrustIssue::UnknownIssuer}},
      {"flipped signature byte",
       {test::withFlippedSignatureByte(good.certificate)},
       u"www.example.test",
       TrustResult::FatalTrustFailure,
       {TrustIssue::BadSignature}},
      {"issued by a leaf",
       {underLeaf.certificate, notACA.certificate},
       u"www.example.test",
       TrustResult::FatalTrustFailure,
       {TrustIssue::InvalidCA}},
      {"intermediate given",
       {viaIntermediate.certificate, intermediate.certificate},
       u"www.example.test",
       TrustResult::Unspecified,
       {}},
      {"intermediate after unrelated extras",
       {viaIntermediate.certificate, otherCA.certificate, ca_->certificate,
        intermediate.certificate},
       u"www.example.test",
       TrustResult::Unspecified,
       {}},
      {"intermediate missing",
       {viaIntermediate.certificate},
       u"www.example.test",
       TrustResult::RecoverableTrustFailure,
       {TrustIssue::UnknownIssuer}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    std::vector<TrustPolicy> policies{TrustPolicy::basicX509()};
    if (c.host) policies.push_back(TrustPolicy::sslServer(c.host));
    auto trust = Trust::create(c.chain, policies);
    ASSERT_TRUE(trust);
    TrustResult result = TrustResult::Invalid;
    ASSERT_EQ(trust->evaluate(&result), errSecSuccess);
    EXPECT_EQ(result, c.result);
    ASSERT_GE(trust->issues().size(), c.issues.size());
    EXPECT_TRUE(std::equal(c.issues.begin(), c.issues.end(), trust->issues().begin()));
    EXPECT_EQ(trust->resultCode(), c.issues.empty() ? 0 : Trust::codeForIssue(c.issues.front()));
  }
}

TEST_F(TrustTest, ChainLengthLimit) {
  const auto good = leaf({.commonName = "good"});
  struct Case {
    std::size_t length;
    bool accepted;
  } cases[] = {{0, false},
               {1, true},
               {Trust::kMaximumChainLength, true},
               {Trust::kMaximumChainLength + 1, false},
               {10000, false}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.length);
    OSStatus status = errSecSuccess;
    auto trust = Trust::create(std::vector<Certificate>(c.length, good.certificate),
                               {TrustPolicy::basicX509()}, &status);
    EXPECT_EQ(trust != nullptr, c.accepted);
    EXPECT_EQ(status, c.accepted ? errSecSuccess : errSecParam);
    if (trust) {
      TrustResult result = TrustResult::Invalid;
      EXPECT_EQ(trust->evaluate(&result), errSecSuccess);
      EXPECT_EQ(result, TrustResult::Unspecified);
    }
  }
  EXPECT_EQ(Trust::create({good.certificate}, {}), nullptr) << "no policy";
}

TEST_F(TrustTest, FatalProblems) {
  for (TrustIssue issue :
       {TrustIssue::BadSignature, TrustIssue::InvalidCA, TrustIssue::WrongPurpose}) {
    EXPECT_TRUE(Trust::isFatal(issue));
  }
  for (TrustIssue issue :
       {TrustIssue::Expired, TrustIssue::NotYetValid, TrustIssue::UnknownIssuer,
        TrustIssue::SelfSigned, TrustIssue::HostNameMismatch, TrustIssue::Other}) {
    EXPECT_FALSE(Trust::isFatal(issue));
  }
}

}  // namespace
}  // namespace lx
