// The reactive form of preferences observation: a key as a stream of its
// values.
//
// C++ has no reactive framework in its standard library, so the stream is
// kept small: a `Publisher<T>` is a value (centre, key, options) that never
// fails and emits `std::optional<T>`; `subscribe` takes the closure that
// receives each value and returns a `Subscription`, a move-only token whose
// destruction (or `cancel`) ends the stream. There is no demand: every
// value is sent as it comes.
//
// How it maps onto the centre:
//   subscribe(receive)  addObserverForKey(key, options, block) where block
//                       converts each value to T (absent when the key is
//                       unset or holds another type) and calls receive; the
//                       subscription keeps the returned token and the centre
//   cancel()            removeObserver(token), then forgets both; a second
//                       cancel does nothing
//   options             LXPreferencesObservationOptionInitial: the current
//                       value is sent from inside subscribe
//
//   auto sub = LXPreferencesObservationCenter::defaultCenter()
//                  ->publisher<std::int64_t>(u"FontSize", LXPreferencesObservationOptionInitial)
//                  .subscribe([](const std::optional<std::int64_t>& size) { ... });
//
// Conversions: `Value` takes anything; `String`, `Data`, `Date`, `Array`,
// `Dictionary` take only that type; `bool` and arithmetic types take any
// number (booleans included), never a string.
#pragma once

#include "vantorcore/Export.h"

#include <functional>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

#include "vantorcore/observation/LXPreferencesObservationCenter.h"

namespace LX_API lx {

namespace detail {
/// The preference value as `T`, or absent when it has another type.
template <class T>
std::optional<T> preferenceValueAs(const std::optional<Value>& value) {
  if (!value) return std::nullopt;
  if constexpr (std::is_same_v<T, Value>) {
    return *value;
  } else if constexpr (std::is_same_v<T, bool>) {
    if (value->isNumber()) return value->boolValue();
  } else if constexpr (std::is_integral_v<T> && std::is_signed_v<T>) {
    if (value->isNumber()) return static_cast<T>(value->int64Value());
  } else if constexpr (std::is_integral_v<T>) {
    if (value->isNumber()) return static_cast<T>(value->uint64Value());
  } else if constexpr (std::is_floating_point_v<T>) {
    if (value->isNumber()) return static_cast<T>(value->doubleValue());
  } else if constexpr (std::is_same_v<T, String>) {
    if (const SharedString* s = value->asString()) return s->str();
  } else if constexpr (std::is_same_v<T, Data>) {
    if (const Data* d = value->asData()) return *d;
  } else if constexpr (std::is_same_v<T, Date>) {
    if (const Date* d = value->asDate()) return *d;
  } else if constexpr (std::is_same_v<T, Array>) {
    if (const Array* a = value->asArray()) return *a;
  } else if constexpr (std::is_same_v<T, Dictionary>) {
    if (const Dictionary* d = value->asDictionary()) return *d;
  } else {
    static_assert(sizeof(T) == 0, "preferences hold no values of this type");
  }
  return std::nullopt;
}
}  // namespace detail

/// Ends a publisher's stream when cancelled or destroyed. Move-only; a
/// default-made or moved-from subscription does nothing.
class LXPreferencesObservationCenter::Subscription {
 public:
  Subscription() = default;
  /// Holds `token`; the observation ends when the subscription is destroyed or cancelled.
  Subscription(std::shared_ptr<LXPreferencesObservation> token,
               std::shared_ptr<LXPreferencesObservationCenter> center)
      : token_(std::move(token)), center_(std::move(center)) {}
  /// Subscriptions move; a moved-from one cancels nothing.
  ///@{
  Subscription(Subscription&& other) noexcept = default;
  Subscription& operator=(Subscription&& other) noexcept;
  ///@}
  Subscription(const Subscription&) = delete;
  Subscription& operator=(const Subscription&) = delete;
  ~Subscription() { cancel(); }

  /// Stops the values; later calls do nothing. A value being delivered on
  /// another thread may still arrive.
  void cancel();
  /// Whether values still come.
  [[nodiscard]] bool isActive() const noexcept { return token_ && center_; }

 private:
  std::shared_ptr<LXPreferencesObservation> token_;
  std::shared_ptr<LXPreferencesObservationCenter> center_;
};

/// The values of one key as `std::optional<T>`; never fails.
template <class T>
class LXPreferencesObservationCenter::Publisher {
 public:
  /// What subscribers receive: the new value, absent when the key was removed.
  using Output = std::optional<T>;

  /// A publisher of `key` on `center`; `options` as for `addObserverForKey`.
  Publisher(std::shared_ptr<LXPreferencesObservationCenter> center, String key, unsigned options)
      : center_(std::move(center)), key_(std::move(key)), options_(options) {}

  /// Starts the stream: `receiveValue` gets every later value (and, with the
  /// initial option, the current one before this returns) on the thread
  /// that reports it. An inactive subscription when the store is gone.
  [[nodiscard]] Subscription subscribe(std::function<void(const Output&)> receiveValue) const {
    auto token = center_->addObserverForKey(
        key_, options_,
        [receive = std::move(receiveValue)](const String&, const std::optional<Value>& value) {
          receive(detail::preferenceValueAs<T>(value));
        });
    if (!token) return {};
    return Subscription(std::move(token), center_);
  }

  /// The centre the publisher observes through.
  [[nodiscard]] const std::shared_ptr<LXPreferencesObservationCenter>& center() const noexcept {
    return center_;
  }
  /// The published key.
  [[nodiscard]] const String& key() const noexcept { return key_; }
  /// The observation options subscribers get.
  [[nodiscard]] unsigned options() const noexcept { return options_; }

 private:
  std::shared_ptr<LXPreferencesObservationCenter> center_;
  String key_;
  unsigned options_;
};

template <class T>
LXPreferencesObservationCenter::Publisher<T> LXPreferencesObservationCenter::publisher(
    StringView key, unsigned options) {
  return Publisher<T>(std::static_pointer_cast<LXPreferencesObservationCenter>(shared_from_this()),
                      String(key), options);
}

}  // namespace lx
