// The registration behind an observed dotted key path: it observes every
// step of the path and turns a change of any step into one change of the
// whole path for the client.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

#include "vantorcore/platform/Observable.h"

namespace lx::detail {

/// The keys of a dotted key path, empty ones included ("a..b" has three).
std::vector<String> splitKeyPath(StringView keyPath);
/// Walks `components` from `start` through observables and dictionaries.
std::optional<Value> valueAlongPath(std::optional<Value> start, std::span<const String> components);

class KeyPathObservation : public KeyValueObserver,
                           public std::enable_shared_from_this<KeyPathObservation> {
 public:
  KeyPathObservation(Observable& root, String keyPath, std::weak_ptr<KeyValueObserver> client,
                     unsigned options, void* context);
  ~KeyPathObservation() override;

  /// Observes each step reachable now.
  void attach();
  /// Stops every delivery and leaves every step; the root must be alive.
  void detach();

  void observeValueForKeyPath(const String& keyPath, Object& object, const Dictionary& change,
                              void* context) override;

 private:
  struct Link {
    Observable* raw = nullptr;
    std::weak_ptr<Object> owner;  // empty for the root
  };
  // Moves the observation of each step to the object now found there.
  void relink();
  void leave(std::size_t index, const Link& link);
  int indexOfLink(const Object& object);
  void deliver(const Dictionary& change);

  Observable& root_;
  std::weak_ptr<Object> rootOwner_;
  const bool rootShared_;
  const String keyPath_;
  const std::vector<String> components_;
  const std::weak_ptr<KeyValueObserver> client_;
  const unsigned options_;
  void* const context_;
  std::atomic<bool> detached_{false};

  std::mutex relinkMutex_;  // one relink at a time; held while (un)registering
  std::mutex mutex_;        // guards links_ and pendingOld_
  std::vector<Link> links_;
  std::vector<Value> pendingOld_;
};

}  // namespace lx::detail
