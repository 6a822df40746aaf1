// `LXUniquingMutableSet<T>`: interns values, so equal values share one
// immutable instance.
#pragma once

#include "vantorcore/Export.h"

#include <memory>
#include <mutex>
#include <unordered_set>

#include "vantorcore/platform/Value.h"

namespace LX_API lx {

template <class T = Value>
class LXUniquingMutableSet {
 public:
  /// The stored instance equal to `object`; when there is none, a copy of
  /// `object` is stored and returned. Later changes to the caller's object
  /// never reach the stored copy. Null for a null argument. Thread-safe.
  ///   uniqueObject("a") then uniqueObject(another "a") => the same pointer
  ///@{
  std::shared_ptr<const T> uniqueObject(const T* object) {
    if (!object) return nullptr;
    std::lock_guard lock(mutex_);
    auto probe = std::shared_ptr<const T>(std::shared_ptr<const T>(), object);  // not owning
    if (auto it = set_.find(probe); it != set_.end()) return *it;
    auto copy = std::make_shared<const T>(*object);
    set_.insert(copy);
    return copy;
  }
  std::shared_ptr<const T> uniqueObject(const T& object) { return uniqueObject(&object); }
  ///@}

  /// Distinct values stored.
  [[nodiscard]] std::size_t count() const {
    std::lock_guard lock(mutex_);
    return set_.size();
  }

 private:
  struct Hash {
    std::size_t operator()(const std::shared_ptr<const T>& p) const { return std::hash<T>()(*p); }
  };
  struct Equal {
    bool operator()(const std::shared_ptr<const T>& a, const std::shared_ptr<const T>& b) const {
      return *a == *b;
    }
  };
  mutable std::mutex mutex_;
  std::unordered_set<std::shared_ptr<const T>, Hash, Equal> set_;
};

}  // namespace lx
