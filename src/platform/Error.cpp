#include "vantorcore/platform/Error.h"

#include <cstring>

namespace lx {

LX_DEFINE_CLASS(Error, Object)

Error::Error(String domain, std::int64_t code, Dictionary userInfo)
    : domain_(std::move(domain)), code_(code), userInfo_(std::move(userInfo)) {}

ErrorPtr Error::make(String domain, std::int64_t code, Dictionary userInfo) {
  return std::make_shared<Error>(std::move(domain), code, std::move(userInfo));
}

ErrorPtr Error::posix(int code) {
  char buf[256] = {};
  const char* text = strerror_r(code, buf, sizeof buf);
  return make(String(NSPOSIXErrorDomain), code,
              Dictionary{{String(NSLocalizedDescriptionKey), Value(fromUTF8(text))}});
}

String Error::localizedDescription() const {
  if (const Value* v = userInfo_.find(NSLocalizedDescriptionKey); v && v->isString()) {
    return *v->asString();
  }
  return stringWithFormat(u"The operation couldn\u2019t be completed. (%@ error %lld.)", domain_,
                          code_);
}

std::optional<String> Error::localizedRecoverySuggestion() const {
  if (const Value* v = userInfo_.find(NSLocalizedRecoverySuggestionErrorKey); v && v->isString())
    return *v->asString();
  return std::nullopt;
}

std::optional<String> Error::localizedFailureReason() const {
  if (const Value* v = userInfo_.find(NSLocalizedFailureReasonErrorKey); v && v->isString())
    return *v->asString();
  return std::nullopt;
}

String Error::description() const {
  return stringWithFormat(u"Error Domain=%@ Code=%lld \"%@\"", domain_, code_,
                          localizedDescription());
}

bool Error::isEqual(const Object& other) const {
  auto* e = dynamic_cast<const Error*>(&other);
  return e && e->domain_ == domain_ && e->code_ == code_ && e->userInfo_ == userInfo_;
}

std::size_t Error::hash() const noexcept {
  return std::hash<String>{}(domain_) ^ static_cast<std::size_t>(code_);
}

}  // namespace lx
