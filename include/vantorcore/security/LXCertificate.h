// `LXCertificate`: the certificate object `LXTrust` hands out, over the
// platform `Certificate` value. Equal and hashed by the encoded bytes.
#pragma once

#include "vantorcore/Export.h"

#include <memory>
#include <optional>

#include "vantorcore/platform/Certificate.h"
#include "vantorcore/platform/Object.h"

namespace LX_API lx {

class LXCertificate : public Object {
  LX_DECLARE_CLASS(LXCertificate)

 public:
  /// Use `initWithSecCertificate`; public for make_shared.
  explicit LXCertificate(Certificate certificate) : certificate_(std::move(certificate)) {}

  /// Wraps a platform certificate.
  static std::shared_ptr<LXCertificate> initWithSecCertificate(Certificate certificate);
  /// The certificate of DER `data`; null when it holds anything else.
  static std::shared_ptr<LXCertificate> initWithData(DataView data);

  /// The platform certificate it wraps.
  [[nodiscard]] const Certificate& secCertificate() const noexcept { return certificate_; }
  /// The DER encoding.
  [[nodiscard]] const Data& data() const noexcept { return certificate_.data(); }
  /// The subject's common name, or absent.
  [[nodiscard]] std::optional<String> commonName() const { return certificate_.commonName(); }

  /// The subject summary, as `%@` prints it.
  [[nodiscard]] String description() const override;
  [[nodiscard]] bool isEqual(const Object& other) const override;
  [[nodiscard]] std::size_t hash() const noexcept override { return certificate_.hash(); }

 private:
  Certificate certificate_;
};

}  // namespace lx
