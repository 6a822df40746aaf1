// `LXStateRestorationUnarchiver` reads a state-restoration archive (see
// LXStateRestorationArchiver.h) and rebuilds its objects. Each identifier is
// decoded at most once, so objects stored once come back as one object
// however many keys name them.
//
//   LXStateRestorationUnarchiver unarchiver(data);
//   unarchiver.setRestorationContext(context);
//   auto window = unarchiver.decodeObjectForKey(u"window").objectAs<Window>();
//   unarchiver.finishDecoding();
//
// Finding classes, for an entry's class name: this unarchiver's class map,
// then the shared one, then the registered class of that name, then the
// delegate's `cannotDecodeObjectOfClassName`; else the value is null.
// Restoration classes ("rc") are found the same way, the delegate's
// `objectRestorationClassForClassName` last.
//
// Coded objects are made by their class's keyed factory (`initWithCoder`)
// with this unarchiver, and what their `awakeAfterUsingCoder` answers is the
// value. Restorable objects come from the delegate's
// `objectWithRestorationIdentifier`, else from their restoration class's
// `objectWithRestorationIdentifier` (which gets the restoration context),
// then read their state in `decodeRestorableStateWithCoder`; the delegate's
// `didDecodeObject` may replace them. A restorable object that cannot be
// made is remembered as failed: every key naming it gives null without a
// second attempt. A restoration class that is not `ObjectRestoration` logs
// "Restoration class does not conform to LXObjectRestoration, skipping: %@".
//
// Failures never raise, except for three programming errors:
//   - a delegate replacement that is not `StateRestoring`:
//     `InvalidArgumentException` "Object returned from delegate does not
//     conform to the LXStateRestoring protocol: %@";
//   - `decodeInt32ForKey` of a stored 64-bit value of 2^31 or more:
//     `RangeException` "Value exceeds maximum for int32_t type" (values below
//     the 32-bit range are not checked and come back cut to their low 32
//     bits);
//   - `decodeFloatForKey` of a stored double above the largest float:
//     `RangeException` "Value exceeds maximum for float type" (only the
//     positive side is checked; -1e39 comes back as -infinity).
// Anything unreadable (not a property list, entries of the wrong type,
// identifiers with no entry, scalars with the wrong byte count, unknown
// classes) decodes as null, false or 0; corrupt documents and refused
// classes also leave an error in `error()` (`decodingFailurePolicy` is
// `SetErrorAndReturn`).
//
// Two guards the archive format itself does not have:
//   - a coded or restorable object that reaches its own identifier while it
//     is being decoded (a cycle, which the format cannot express for coded
//     objects) gets null there, with the line "CONDITION FAILED: object
//     <identifier> refers to itself while being decoded";
//   - objects nested more than `LXStateRestorationMaximumDepth` deep decode
//     as null, with "CONDITION FAILED: archive nests objects deeper than
//     1024 levels" and an error, rather than exhausting the stack.
//
// One thread from construction to `finishDecoding`.
#pragma once

#include "vantorcore/Export.h"

#include <map>
#include <memory>
#include <optional>
#include <span>
#include <unordered_set>
#include <vector>

#include "vantorcore/archiving/LXStateRestorationArchiver.h"
#include "vantorcore/archiving/LXStateRestorationContext.h"
#include "vantorcore/archiving/LXStateRestorationItem.h"
#include "vantorcore/platform/BoxedValue.h"
#include "vantorcore/platform/Coder.h"
#include "vantorcore/platform/KeylessCoding.h"

namespace LX_API lx {

class LXStateRestorationUnarchiver;

/// Optional hooks of an unarchiver's delegate; the defaults answer null,
/// which means "no answer".
class LXStateRestorationUnarchiverDelegate {
 public:
  virtual ~LXStateRestorationUnarchiverDelegate() = default;
  /// A class to decode `className` with when no class of that name is
  /// found; `originalClasses` is the stored class chain, most derived first.
  virtual const Class* cannotDecodeObjectOfClassName(
      LXStateRestorationUnarchiver& /*unarchiver*/, const String& /*className*/,
      const std::vector<String>& /*originalClasses*/) {
    return nullptr;
  }
  /// A restoration class for `className` when none of that name is found.
  virtual const Class* objectRestorationClassForClassName(
      LXStateRestorationUnarchiver& /*unarchiver*/, const String& /*className*/) {
    return nullptr;
  }
  /// Supplies a restorable object itself, before its restoration class is
  /// asked; `cls` is its decoding class (may be null). The object's keys are
  /// readable from the unarchiver during the call. An archive without a
  /// restoration identifier for the object gives the empty string, here and
  /// to the restoration class.
  virtual ObjectPtr objectWithRestorationIdentifier(
      LXStateRestorationUnarchiver& /*unarchiver*/, const String& /*restorationIdentifier*/,
      const Class* /*cls*/, const std::vector<String>& /*originalClasses*/) {
    return nullptr;
  }
  /// A replacement for a restored object, which must be `StateRestoring`.
  virtual ObjectPtr didDecodeObject(LXStateRestorationUnarchiver& /*unarchiver*/,
                                    const ObjectPtr& /*object*/) {
    return nullptr;
  }
};

class LXStateRestorationUnarchiver : public Coder {
 public:
  /// An unarchiver of `data`, a property list in any format. When it is not
  /// one, or not a dictionary, `error()` says so and every key reads as
  /// absent.
  explicit LXStateRestorationUnarchiver(DataView data);
  ~LXStateRestorationUnarchiver() override;

  /// The value stored under `key` in the item being read (at first the
  /// root's keys); null when the key is absent or the value cannot be
  /// decoded.
  Value decodeObjectForKey(StringView key) override;
  /// `decodeObjectForKey`, restricted to `classes` only when the unarchiver
  /// `requiresSecureCoding`: then coded objects of other classes are not
  /// made, and values of other classes give null with an error.
  Value decodeObjectOfClasses(std::span<const Class* const> classes, StringView key) override;
  [[nodiscard]] bool containsValueForKey(StringView key) override;
  /// True for a stored "B" scalar that is not 0; else false.
  bool decodeBoolForKey(StringView key) override;
  /// An "i" scalar, or a "q" one below 2^31 (see the top for the exception
  /// above); else 0.
  std::int32_t decodeInt32ForKey(StringView key) override;
  /// An "i" or "q" scalar; else 0.
  std::int64_t decodeInt64ForKey(StringView key) override;
  /// An "f" scalar, or a "d" one narrowed (see the top for the exception
  /// above); else 0.
  float decodeFloatForKey(StringView key) override;
  /// An "f" or "d" scalar; else 0.
  double decodeDoubleForKey(StringView key) override;
  /// The stored data; absent when the key is missing or holds no data.
  std::optional<Data> decodeBytesForKey(StringView key) override;
  /// Keyless reading of the next key "LX.coding.<n>" (see Coder.h); the
  /// position advances whether or not a value is there.
  bool decodeValueOfObjCType(const char* type, void* address, std::size_t size) override;
  /// The next keyless object.
  Value decodeObject() override;

  // Scalars written as plain numbers (`encodeObject(Value(5))`) read as
  // their natural encodings: booleans "B", integers "q" (unsigned ones "Q"),
  // reals "d".

  /// False unless set; see `decodeObjectOfClasses`.
  [[nodiscard]] bool requiresSecureCoding() const override { return requiresSecureCoding_; }
  /// When on, only classes that support secure coding are decoded.
  void setRequiresSecureCoding(bool on) noexcept { requiresSecureCoding_ = on; }
  [[nodiscard]] DecodingFailurePolicy decodingFailurePolicy() const override {
    return DecodingFailurePolicy::SetErrorAndReturn;
  }

  /// This unarchiver's class for `name`, else the shared map's; null when
  /// neither maps it.
  [[nodiscard]] const Class* classForClassName(StringView name) const;
  /// Decodes `name` as `cls` in this unarchiver; null removes the entry.
  void setClass(const Class* cls, StringView name);
  /// The shared map's class for `name`, used by every unarchiver.
  static const Class* sharedClassForClassName(StringView name);
  /// Sets the shared map's class for `name`; null removes it. Locked, so
  /// any thread may call it.
  static void setSharedClass(const Class* cls, StringView name);

  /// The class to decode `name` with (see the top for the order), or null.
  /// With `allowedClasses`, only a class that is one of them or derives
  /// from one is returned.
  const Class* decodingClassForClassName(const std::optional<String>& name,
                                         const std::vector<String>& originalClasses,
                                         std::span<const Class* const> allowedClasses = {});
  /// The restoration class for `name`, or null.
  const Class* objectRestorationClassForClassName(const String& name);

  /// Tells every restored object `finishedRestoringState`, in the order
  /// they were restored, and forgets every decoded object. Call once, after
  /// the last decode.
  void finishDecoding();

  /// The delegate, held weakly; null when none was set or it is gone.
  [[nodiscard]] std::shared_ptr<LXStateRestorationUnarchiverDelegate> delegate() const {
    return delegate_.lock();
  }
  /// Held weakly.
  void setDelegate(std::weak_ptr<LXStateRestorationUnarchiverDelegate> delegate) {
    delegate_ = std::move(delegate);
  }
  /// Handed to every restoration class; a fresh empty context at first.
  [[nodiscard]] const std::shared_ptr<LXStateRestorationContext>& restorationContext() const {
    return restorationContext_;
  }
  /// The context restored objects read shared state from; null for none.
  void setRestorationContext(std::shared_ptr<LXStateRestorationContext> context) {
    restorationContext_ = std::move(context);
  }

 protected:
  String coderName() const override { return u"LXStateRestorationUnarchiver"; }

 private:
  class ItemScope;

  Value decodedValueForKey(StringView key, std::span<const Class* const> allowedClasses);
  Value decodedValueForIdentifier(const String& identifier,
                                  std::span<const Class* const> allowedClasses);
  Value decodeEntry(const String& identifier, const Value& entry,
                    std::span<const Class* const> allowedClasses);
  Value decodeCoded(const std::shared_ptr<LXStateRestorationItem>& item,
                    std::span<const Class* const> allowedClasses);
  Value decodeCollection(const Class& cls, std::span<const Class* const> allowedClasses);
  Value decodeRestorable(const std::shared_ptr<LXStateRestorationItem>& item);
  ObjectPtr restoreObject(const LXStateRestorationItem& item);
  /// Whether another item may be opened; logs and fails when not.
  bool mayOpenItem(const String& identifier);
  /// The scalar under `key` as a box, or null.
  std::shared_ptr<BoxedValue> scalarForKey(StringView key);
  LXStateRestorationItem& currentItem() { return *itemStack_.back(); }

  std::vector<std::shared_ptr<LXStateRestorationItem>> itemStack_;
  Dictionary undecodedObjects_;
  Dictionary objects_;                   // identifier => decoded value
  Dictionary restoredObjects_;           // item identifier => object, or null if it failed
  std::unordered_set<String> decoding_;  // items being decoded, against cycles
  std::map<String, const Class*, std::less<>> classMap_;
  std::weak_ptr<LXStateRestorationUnarchiverDelegate> delegate_;
  std::shared_ptr<LXStateRestorationContext> restorationContext_;
  KeylessCoding keyless_;
  bool requiresSecureCoding_ = false;
};

}  // namespace lx
