// `vantor trust CERT [--chain MORE] --host H`: the LXTrust answer for a
// certificate chain and host, against the system's roots.
#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <iostream>
#include <optional>

#include "Command.h"
#include "StreamIO.h"
#include "vantorcore/security/LXTrust.h"

namespace {

constexpr char kUsage[] =
    "usage: vantor trust CERT [--chain MORE] --host HOST\n\n"
    "Evaluates the certificate in CERT (PEM or DER; further certificates in it\n"
    "and in MORE help build the chain) for HOST against the system's roots\n"
    "(SSL_CERT_FILE and SSL_CERT_DIR are honoured), and prints the answer\n"
    "(trusted, refused, ask), and for ask the reason and the question.\n"
    "Exit status: 0 trusted, 1 refused or unreadable input, 3 ask the user.";

const vantor::Command kSelf{"trust", "", kUsage, nullptr};

std::optional<std::vector<lx::Certificate>> readCertificates(const std::string& path) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    vantor::fail("trust", path + ": " + std::strerror(errno));
    return std::nullopt;
  }
  std::vector<std::uint8_t> bytes;
  const bool read = vantor::readAll(fd, bytes);
  ::close(fd);
  lx::ErrorPtr error;
  auto certificates = read ? lx::Certificate::certificatesFromData(bytes, &error) : std::nullopt;
  if (!certificates) {
    vantor::fail("trust", path + ": " +
                              (error ? lx::toUTF8(error->localizedDescription())
                                     : std::string("cannot be read")));
  }
  return certificates;
}

const char* reasonName(lx::LXTrustFeedbackReason reason) {
  switch (reason) {
    case lx::LXTrustFeedbackReason::Expired:
      return "expired";
    case lx::LXTrustFeedbackReason::NotYetValid:
      return "not yet valid";
    case lx::LXTrustFeedbackReason::UnknownAuthority:
      return "unknown certifying authority";
    default:
      return "invalid";
  }
}

int run(vantor::Arguments args) {
  std::optional<std::string> certificatePath, chainPath, host;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (a == "--chain" || a == "--host") {
      if (i + 1 >= args.size()) return vantor::usageError(kSelf, a + " needs a value");
      (a == "--chain" ? chainPath : host) = args[++i];
    } else if (!certificatePath && !a.starts_with("--")) {
      certificatePath = a;
    } else {
      return vantor::usageError(kSelf, "unexpected argument '" + a + "'");
    }
  }
  if (!certificatePath || !host) return vantor::usageError(kSelf, "CERT and --host are required");
  auto chain = readCertificates(*certificatePath);
  if (!chain) return 1;
  if (chainPath) {
    const auto more = readCertificates(*chainPath);
    if (!more) return 1;
    chain->insert(chain->end(), more->begin(), more->end());
  }
  const auto trust = lx::LXTrust::initWithCertificateOrArray(*chain, lx::fromUTF8(*host));
  if (!trust) {
    return vantor::fail("trust", "the chain holds more than " +
                                     std::to_string(lx::Trust::kMaximumChainLength) +
                                     " certificates");
  }
  lx::LXTrustFeedbackReason reason = lx::LXTrustFeedbackReason::Invalid;
  const int evaluation = trust->evaluate(&reason);
  if (evaluation == lx::LXTrustEvaluationTrusted) {
    std::cout << "trusted\n";
    return 0;
  }
  if (evaluation == lx::LXTrustEvaluationRefused) {
    std::cout << "refused\n";
    return 1;
  }
  std::cout << "ask\nreason: " << static_cast<unsigned>(reason) << " (" << reasonName(reason)
            << ")\nquestion: " << lx::toUTF8(trust->localizedDescriptionForFeedbackReason(reason))
            << "\n";
  return 3;
}

}  // namespace

VANTOR_COMMAND("trust", "whether to trust a server certificate chain for a host", kUsage, run);
