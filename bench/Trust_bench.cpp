// Trust evaluations of one three-certificate chain (root in the trust store,
// intermediate and leaf presented), through LXTrust and through OpenSSL
// called directly with a store built once, as `openssl verify` does in a
// loop.
#include <benchmark/benchmark.h>
#include <openssl/x509_vfy.h>

#include "../tests/support/TestCertificates.h"
#include "vantorcore/security/LXTrust.h"

namespace {

struct Chain {
  lx::test::Issued root = lx::test::issueCertificate({.commonName = "Bench Root", .isCA = true});
  lx::test::Issued intermediate =
      lx::test::issueCertificate({.commonName = "Bench Intermediate", .isCA = true}, &root);
  lx::test::Issued leaf = lx::test::issueCertificate(
      {.commonName = "bench.example.test", .dnsNames = {"bench.example.test"}}, &intermediate);
  lx::test::ScopedTrustedRoots roots{{root.certificate}};
};

Chain& chain() {
  static Chain* c = new Chain;
  return *c;
}

void BM_LXTrustEvaluate(benchmark::State& state) {
  const std::vector<lx::Certificate> certificates{chain().leaf.certificate,
                                                  chain().intermediate.certificate};
  for (auto _ : state) {
    auto trust = lx::LXTrust::initWithCertificateOrArray(certificates, u"bench.example.test");
    if (trust->evaluate() != lx::LXTrustEvaluationTrusted) state.SkipWithError("not trusted");
  }
}
BENCHMARK(BM_LXTrustEvaluate);

void BM_OpenSSLVerify(benchmark::State& state) {
  X509_STORE* store = X509_STORE_new();
  X509_STORE_set_default_paths(store);
  STACK_OF(X509)* untrusted = sk_X509_new_null();
  sk_X509_push(untrusted, chain().intermediate.certificate.x509());
  for (auto _ : state) {
    X509_STORE_CTX* context = X509_STORE_CTX_new();
    X509_STORE_CTX_init(context, store, chain().leaf.certificate.x509(), untrusted);
    X509_VERIFY_PARAM* parameters = X509_STORE_CTX_get0_param(context);
    X509_VERIFY_PARAM_set_purpose(parameters, X509_PURPOSE_SSL_SERVER);
    X509_VERIFY_PARAM_set1_host(parameters, "bench.example.test", 0);
    if (X509_verify_cert(context) != 1) state.SkipWithError("not trusted");
    X509_STORE_CTX_free(context);
  }
  sk_X509_free(untrusted);
  X509_STORE_free(store);
}
BENCHMARK(BM_OpenSSLVerify);

}  // namespace

BENCHMARK_MAIN();
