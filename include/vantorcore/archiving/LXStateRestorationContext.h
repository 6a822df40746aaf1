// `LXStateRestorationContext`: values an application hands to every
// restoration class while an `LXStateRestorationUnarchiver` rebuilds objects
// (the window being restored, a document, a model store).
//
//   auto context = std::make_shared<LXStateRestorationContext>();
//   (*context)[u"store"] = Value(store);
//   unarchiver.setRestorationContext(context);
//
// One thread, like the unarchiver it serves.
#pragma once

#include "vantorcore/Export.h"

#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/Value.h"

namespace LX_API lx {

class LXStateRestorationContext : public Object {
  LX_DECLARE_CLASS(LXStateRestorationContext)

 public:
  /// One entry, for `context[key]` reads and writes.
  class Slot {
   public:
    /// A reference to `key` of `context`; the context must outlive it.
    Slot(LXStateRestorationContext& context, StringView key) : context_(context), key_(key) {}
    /// `setObject(value, key)`: null removes the entry.
    Slot& operator=(Value value) {
      context_.setObject(std::move(value), key_);
      return *this;
    }
    /// `objectForKey(key)`.
    operator Value() const { return context_.objectForKey(key_); }  // NOLINT

   private:
    LXStateRestorationContext& context_;
    StringView key_;
  };

  LXStateRestorationContext() = default;

  /// The value under `key`, or null.
  [[nodiscard]] Value objectForKey(StringView key) const;
  /// Sets `key` to `value`; a null value removes the key.
  void setObject(Value value, StringView key);
  /// The value under `key`, or null.
  [[nodiscard]] Value operator[](StringView key) const { return objectForKey(key); }
  /// A writable reference to `key`: assigning null removes the entry.
  Slot operator[](StringView key) { return Slot(*this, key); }
  /// The entries, in the order they were first set.
  [[nodiscard]] const Dictionary& dictionary() const noexcept { return values_; }

 private:
  Dictionary values_;
};

}  // namespace lx
