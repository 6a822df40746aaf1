#include "vantorcore/observation/LXPreferencesObservationCenter+Publisher.h"

namespace lx {

LXPreferencesObservationCenter::Subscription&
LXPreferencesObservationCenter::Subscription::operator=(Subscription&& other) noexcept {
  if (this != &other) {
    cancel();
    token_ = std::move(other.token_);
    center_ = std::move(other.center_);
  }
  return *this;
}

void LXPreferencesObservationCenter::Subscription::cancel() {
  if (token_ && center_) center_->removeObserver(token_);
  token_.reset();
  center_.reset();
}

LXPreferencesObservationCenter::Publisher<Value> LXPreferencesObservationCenter::publisher(
    StringView key, unsigned options) {
  return publisher<Value>(key, options);
}

}  // namespace lx
