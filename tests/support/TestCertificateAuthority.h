// A certificate authority made in memory for TLS tests (OpenSSL's API, P-256
// keys), so no test depends on files or on the system's trust store.
#pragma once

#include <memory>
#include <string>

#include "support/TestHTTPServer.h"

namespace lx::test {

class TestCertificateAuthority {
 public:
  /// A new authority with a self-signed root certificate.
  TestCertificateAuthority();
  ~TestCertificateAuthority();
  TestCertificateAuthority(const TestCertificateAuthority&) = delete;
  TestCertificateAuthority& operator=(const TestCertificateAuthority&) = delete;

  /// The root certificate, PEM, for a client to trust.
  [[nodiscard]] std::string certificatePEM() const;
  /// A server identity for `host` (a DNS name or an IP address) signed by
  /// this authority, valid from `notBeforeDays` to `notAfterDays` from now
  /// (negative: in the past).
  [[nodiscard]] TLSIdentity issue(const std::string& host, long notBeforeDays = -1,
                                  long notAfterDays = 30) const;
  /// A server identity for `host` that signs itself.
  static TLSIdentity selfSigned(const std::string& host);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace lx::test
