// `TrustPolicy`: what a trust evaluation checks a certificate chain for.
#pragma once

#include "vantorcore/Export.h"

#include <optional>

#include "vantorcore/platform/String.h"

namespace LX_API lx {

class TrustPolicy {
 public:
  /// What a chain is checked for: any use, or a TLS server (with its host name).
  enum class Kind {
    BasicX509,  ///< a valid chain to a trusted root, within its dates
    SSLServer,  ///< also the TLS-server purpose and, when given, the host name
  };

  /// The basic X.509 policy.
  static TrustPolicy basicX509() { return TrustPolicy(Kind::BasicX509, std::nullopt); }
  /// The TLS-server policy; `host` (a DNS name) is checked against the
  /// leaf's subject alternative names (or, lacking those, its common name)
  /// when given.
  static TrustPolicy sslServer(std::optional<String> host) {
    return TrustPolicy(Kind::SSLServer, std::move(host));
  }

  /// What the policy checks for.
  [[nodiscard]] Kind kind() const noexcept { return kind_; }
  /// The host a server policy checks the certificate against; absent for other policies.
  [[nodiscard]] const std::optional<String>& host() const noexcept { return host_; }

 private:
  TrustPolicy(Kind kind, std::optional<String> host) : kind_(kind), host_(std::move(host)) {}

  Kind kind_;
  std::optional<String> host_;
};

}  // namespace lx
