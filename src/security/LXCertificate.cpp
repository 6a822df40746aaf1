#include "vantorcore/security/LXCertificate.h"

namespace lx {

LX_DEFINE_CLASS(LXCertificate, Object)

std::shared_ptr<LXCertificate> LXCertificate::initWithSecCertificate(Certificate certificate) {
  return std::make_shared<LXCertificate>(std::move(certificate));
}

std::shared_ptr<LXCertificate> LXCertificate::initWithData(DataView data) {
  auto certificate = Certificate::fromDER(data);
  return certificate ? initWithSecCertificate(std::move(*certificate)) : nullptr;
}

String LXCertificate::description() const { return certificate_.subjectSummary(); }

bool LXCertificate::isEqual(const Object& other) const {
  const auto* certificate = dynamic_cast<const LXCertificate*>(&other);
  return certificate && certificate->certificate_ == certificate_;
}

}  // namespace lx
