// Certificate reading: PEM documents and DER, then every accessor of what
// was read. Nothing may crash, hang or leak, whatever the input.
#include <cstddef>
#include <cstdint>

#include "vantorcore/platform/Certificate.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto certificates = lx::Certificate::certificatesFromData(lx::DataView(data, size));
  if (!certificates) return 0;
  for (const lx::Certificate& certificate : *certificates) {
    (void)certificate.commonName();
    (void)certificate.subjectSummary();
    (void)certificate.issuerSummary();
    (void)certificate.notValidBefore();
    (void)certificate.notValidAfter();
    (void)certificate.sha256Fingerprint();
    (void)certificate.isSelfIssued();
    const auto again = lx::Certificate::fromDER(certificate.data());
    if (!again || !(*again == certificate)) __builtin_trap();
  }
  return 0;
}
