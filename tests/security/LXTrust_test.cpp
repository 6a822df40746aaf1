#include "vantorcore/security/LXTrust.h"

#include <gtest/gtest.h>

#include <future>

#include "support/TestCertificates.h"
#include "vantorcore/platform/Log.h"

namespace lx {
namespace {

using test::issueCertificate;

constexpr long kDay = 86400;

class LXTrustTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    ca_ = new test::Issued(issueCertificate({.commonName = "Trust CA", .isCA = true}));
    roots_ = new test::ScopedTrustedRoots({ca_->certificate});
  }
  static void TearDownTestSuite() {
    delete roots_;
    delete ca_;
  }
  void TearDown() override { LXTrust::setUserQuestionHandler(nullptr); }

  static std::shared_ptr<LXTrust> trustFor(const test::Issued& issued, const String& host) {
    return LXTrust::initWithCertificateOrArray(issued.certificate, host);
  }

  static test::Issued* ca_;
  static test::ScopedTrustedRoots* roots_;
};

test::Issued* LXTrustTest::ca_ = nullptr;
test::ScopedTrustedRoots* LXTrustTest::roots_ = nullptr;

TEST_F(LXTrustTest, AnswersAndReasons) {
  const auto good = issueCertificate(
      {.commonName = "good", .dnsNames = {"a.example.test"}, .ipAddresses = {"127.0.0.1"}}, ca_);
  const auto bare = issueCertificate({.commonName = "no names at all"}, ca_);
  struct Case {
    const char* name;
    test::Issued issued;
    String host;
    int evaluation;
    LXTrustFeedbackReason reason;
  } cases[] = {
      {"good", good, u"a.example.test", 1, LXTrustFeedbackReason::Invalid},
      {"wrong host", good, u"b.example.test", -1, LXTrustFeedbackReason::Invalid},
      {"IPv4 literal skips the host check", bare, u"192.0.2.1", 1, LXTrustFeedbackReason::Invalid},
      {"IPv6 literal skips the host check", bare, u"::1", 1, LXTrustFeedbackReason::Invalid},
      {"expired",
       issueCertificate({.commonName = "old",
                         .dnsNames = {"a.example.test"},
                         .validFromSeconds = -10 * kDay,
                         .validForSeconds = kDay},
                        ca_),
       u"a.example.test", -1, LXTrustFeedbackReason::Expired},
      {"not yet valid",
       issueCertificate(
           {.commonName = "new", .dnsNames = {"a.example.test"}, .validFromSeconds = kDay}, ca_),
       u"a.example.test", -1, LXTrustFeedbackReason::NotYetValid},
      {"self-signed", issueCertificate({.commonName = "self", .dnsNames = {"a.example.test"}}),
       u"a.example.test", -1, LXTrustFeedbackReason::UnknownAuthority},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    auto trust = trustFor(c.issued, c.host);
    ASSERT_TRUE(trust);
    LXTrustFeedbackReason reason = LXTrustFeedbackReason::Invalid;
    EXPECT_EQ(trust->evaluate(&reason), c.evaluation);
    EXPECT_EQ(reason, c.reason);
    std::promise<int> answer;  // the same answer off the caller's thread
    trust->evaluateWithCompletionHandler([&](int evaluation) { answer.set_value(evaluation); });
    EXPECT_EQ(answer.get_future().get(), c.evaluation);
  }
}

TEST_F(LXTrustTest, UserDecisionsCountPerHostAndOnlyForRecoverableFailures) {
  const auto self = issueCertificate({.commonName = "mine", .dnsNames = {"nas.example.test"}});
  auto trust = trustFor(self, u"nas.example.test");
  LXTrustFeedbackReason reason{};
  EXPECT_EQ(trust->evaluate(&reason), -1);
  EXPECT_EQ(reason, LXTrustFeedbackReason::UnknownAuthority);
  LXTrust::addUserTrustedCertificate(*trust->certificate(), u"nas.example.test");
  EXPECT_EQ(trust->evaluate(), 1);
  EXPECT_EQ(trustFor(self, u"other.example.test")->evaluate(), -1);

  const auto forged = test::Issued{
      test::withFlippedSignatureByte(
          issueCertificate({.commonName = "forged", .dnsNames = {"nas.example.test"}}, ca_)
              .certificate),
      nullptr};
  auto refused = trustFor(forged, u"nas.example.test");
  LXTrust::addUserTrustedCertificate(*refused->certificate(), u"nas.example.test");
  ScopedLogCapture capture;
  EXPECT_EQ(refused->evaluate(), 0);
  EXPECT_TRUE(capture.contains(u"untrusted certificate forged (6)"));
}

TEST_F(LXTrustTest, Questions) {
  auto trust = trustFor(issueCertificate({.commonName = "q"}, ca_), u"host.test");
  EXPECT_EQ(
      trust->localizedDescriptionForFeedbackReason(LXTrustFeedbackReason::UnknownAuthority),
      u"The certificate for this server was signed by an unknown certifying authority. You "
      u"might be connecting to a server that is pretending to be \u201Chost.test\u201D, which "
      u"could put your confidential information at risk. Would you like to connect to this "
      u"server anyway?");
  for (auto reason : {LXTrustFeedbackReason::Invalid, LXTrustFeedbackReason::Expired,
                      LXTrustFeedbackReason::NotYetValid}) {
    const String question = trust->localizedDescriptionForFeedbackReason(reason);
    EXPECT_NE(question.find(u"\u201Chost.test\u201D"), String::npos);
  }
}

TEST_F(LXTrustTest, Construction) {
  const auto leaf = issueCertificate({.commonName = "leaf", .dnsNames = {"c.example.test"}}, ca_);
  const std::vector<std::shared_ptr<LXCertificate>> wrapped{
      LXCertificate::initWithSecCertificate(leaf.certificate)};
  auto fromWrapped = LXTrust::initWithCertificateOrArray(wrapped, u"c.example.test");
  ASSERT_TRUE(fromWrapped);
  EXPECT_EQ(fromWrapped->evaluate(), 1);
  EXPECT_EQ(fromWrapped->certificate()->commonName(), u"leaf");
  EXPECT_EQ(fromWrapped->host(), u"c.example.test");
  EXPECT_TRUE(LXTrust::initWithCertificateOrArray(
      std::vector<Certificate>{leaf.certificate, ca_->certificate}, u"c.example.test"));
  EXPECT_FALSE(LXTrust::initWithCertificateOrArray(std::vector<Certificate>{}, u"c.example.test"));
  EXPECT_FALSE(LXTrust::initWithSecTrust(nullptr, {leaf.certificate}, u"c.example.test"));
  EXPECT_TRUE(LXCertificate::initWithData(leaf.certificate.data())->isEqual(*wrapped.front()));
  EXPECT_FALSE(LXCertificate::initWithData(Data{1, 2, 3}));
}

TEST_F(LXTrustTest, TheHostAsksTheUser) {
  const auto self = issueCertificate({.commonName = "ask", .dnsNames = {"ask.example.test"}});
  struct Case {
    const char* name;
    bool installHandler;
    bool accept;
    bool trusted;
  } cases[] = {{"no handler", false, false, false},
               {"declined", true, false, false},
               {"accepted", true, true, true}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    String asked;
    if (c.installHandler) {
      LXTrust::setUserQuestionHandler([&](const LXTrust&, const String& question,
                                          const std::optional<String>& message,
                                          std::function<void(bool)> answer) {
        asked = question;
        EXPECT_EQ(message, u"Connecting to the NAS");
        answer(c.accept);
      });
    }
    bool trusted = !c.trusted;
    trustFor(self, u"ask.example.test")
        ->beginEvaluationWithMessage(u"Connecting to the NAS", [&](bool t) { trusted = t; });
    EXPECT_EQ(trusted, c.trusted);
    EXPECT_EQ(!asked.empty(), c.installHandler);
    LXTrust::setUserQuestionHandler(nullptr);
  }
  EXPECT_EQ(trustFor(self, u"ask.example.test")->evaluate(), 1) << "acceptance is remembered";
}

}  // namespace
}  // namespace lx
