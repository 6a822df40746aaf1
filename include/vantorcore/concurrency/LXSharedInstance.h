// `LXSharedInstance<Derived>`: gives each class derived from it exactly one
// instance, made on first use and never destroyed.
//
//   class TagManager : public lx::LXSharedInstance<TagManager> {
//     friend class lx::LXSharedInstance<TagManager>;
//     TagManager() = default;                     // only the base makes it
//     void sharedInstanceInitialize() override;   // set-up, once
//   };
//   auto manager = TagManager::sharedInstance();
//
// Each class gets its own cell and once-flag from the template, so a class
// cannot forget to supply them (the platform's "+sharedInstancePtr not
// implemented" condition has no counterpart here). C++ has no hook for "a
// class is first touched", so the instance is made by the first call of
// `sharedInstance()` or `init()`, on the calling thread, with other callers
// waiting until `sharedInstanceInitialize` has returned.
#pragma once

#include "vantorcore/Export.h"

#include <atomic>
#include <cstdint>
#include <limits>
#include <memory>
#include <mutex>

#include "vantorcore/platform/Object.h"

namespace LX_API lx {

namespace detail {
/// Logs "-init called twice on <class> shared instance" when debug logging
/// is on.
void logSharedInstanceInitCalledTwice(const Object& instance);
/// Logs "CONDITION FAILED: LXSharedInstance - Tried to dealloc a sharedInstance."
void logSharedInstanceDestroyed();
}  // namespace detail

template <class Derived>
class LXSharedInstance : public Object {
 public:
  /// The one instance, made (and set up by `sharedInstanceInitialize`) on
  /// the first call. Thread-safe; the instance lives until the process ends.
  static std::shared_ptr<Derived> sharedInstance() {
    Cell& cell = cellOf();
    if (cell.ready.load(std::memory_order_acquire)) return cell.instance;
    // Recursive, so set-up code may ask for its own instance.
    std::lock_guard lock(cell.mutex);
    if (!cell.instance) {
      auto* raw = new Derived();
      // Never destroyed: the owner's deleter does nothing.
      cell.instance = std::shared_ptr<Derived>(raw, [](Derived*) {});
      raw->sharedInstanceInitialize();
      cell.ready.store(true, std::memory_order_release);
    }
    return cell.instance;
  }

  /// What "initialising another allocation" gives: the existing instance
  /// (logging "-init called twice on <class> shared instance" with debug
  /// logging on), or the new one when there was none.
  static std::shared_ptr<Derived> init() {
    if (cellOf().ready.load(std::memory_order_acquire)) {
      detail::logSharedInstanceInitCalledTwice(*cellOf().instance);
    }
    return sharedInstance();
  }

  /// Reference counting does not apply to shared instances; the platform
  /// reports this count for them.
  static constexpr std::int64_t retainCount() noexcept {
    return std::numeric_limits<std::int64_t>::max();
  }

 protected:
  LXSharedInstance() = default;
  ~LXSharedInstance() override { detail::logSharedInstanceDestroyed(); }

  /// Set-up of the one instance, run once right after it is made. Nothing
  /// by default.
  virtual void sharedInstanceInitialize() {}

 private:
  struct Cell {
    std::recursive_mutex mutex;
    std::atomic<bool> ready{false};
    std::shared_ptr<Derived> instance;
  };
  static Cell& cellOf() {
    static auto* cell = new Cell;  // lives as long as the instance
    return *cell;
  }
};

}  // namespace lx
