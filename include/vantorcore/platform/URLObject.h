// `URLObject`: a `URL` as an object, so that URLs can travel inside `Value`s
// (archives, user info) the way the platform's URL objects do.
//
// Immutable, so every operation is thread-safe.
#pragma once

#include "vantorcore/Export.h"

#include <memory>

#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/URL.h"

namespace LX_API lx {

class URLObject : public Object {
  LX_DECLARE_CLASS(URLObject)

 public:
  /// Wraps `url`.
  explicit URLObject(URL url) : url_(std::move(url)) {}
  /// A shared wrapper of `url`.
  static std::shared_ptr<URLObject> make(URL url) {
    return std::make_shared<URLObject>(std::move(url));
  }

  /// The wrapped URL.
  [[nodiscard]] const URL& url() const noexcept { return url_; }
  /// The absolute string.
  [[nodiscard]] String description() const override { return url_.absoluteString(); }
  /// Equal to a `URLObject` whose URL is equal (same resolved text).
  [[nodiscard]] bool isEqual(const Object& other) const override;
  [[nodiscard]] std::size_t hash() const noexcept override;

 private:
  URL url_;
};

}  // namespace lx
