// `LXStateRestorationArchiver` writes the restorable state of a graph of
// interface and model objects as a state-restoration archive, which
// `LXStateRestorationUnarchiver` reads back. Unlike the JSON keyed archive it
// keeps object identity: every object is stored once, under a fresh
// identifier, and every key that reaches it names that identifier.
//
// The archive is a binary property list holding one dictionary:
//
//   { "r" : { "v" : { <root key> : <identifier>, ... } },
//     "o" : { <identifier> : <entry>, ... } }
//
// Identifiers are fresh UUIDs in upper-case text. An entry of "o" is, by
// what was stored:
//   restorable or coded object   its item (see LXStateRestorationItem.h)
//   string, number, date, data   the property-list value itself
//   scalar (`encodeInt32` ...)   { "t" : "v", "e" : <type encoding>,
//                                  "v" : <the scalar's little-endian bytes> }
// The scalar encodings: `encodeBool` "B" (1 byte), `encodeInt32` "i" (4),
// `encodeInt64` "q" (8), `encodeFloat` "f" (4), `encodeDouble` "d" (8).
// Values are never shared: storing one string twice makes two entries.
//
// What is stored for an object, in this order:
//  1. `StateRestoring` objects (restorable) become items of type "r" that
//     their restoration class recreates; they write their state in
//     `encodeRestorableStateWithCoder`. The delegate may substitute them.
//  2. Strings, numbers, dates, data and `BoxedValue`s are values.
//  3. `Coding` objects become items of type "c", written by the
//     `encodeWithCoder` of their `replacementObjectForCoder`, recorded under
//     their `classForCoder`. Arrays and dictionaries are coded too, as
//     "NSArray" items holding their members under the keyless keys and
//     "NSDictionary" items holding their entries under their own keys (null
//     members are left out: property lists have no null).
//  4. Anything else throws `InvalidArgumentException` "Object does not
//     conform to either the LXStateRestoring or NSCoding protocols: %@".
// Class names go through the class-name maps (per archiver, then shared), so
// a class can be written under another name ("c", "oc" and "rc").
//
// Graphs that nest more than `LXStateRestorationMaximumDepth` objects inside
// one another are cut there, so that every archive written can be read: the
// object that would open level 1025 is left out with the line "CONDITION
// FAILED: object graph nests deeper than 1024 objects: <description>".
//
// One thread from construction to `finishEncoding`.
#pragma once

#include "vantorcore/Export.h"

#include <map>
#include <memory>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

#include "vantorcore/archiving/LXStateRestorationItem.h"
#include "vantorcore/platform/Coder.h"
#include "vantorcore/platform/Data.h"
#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/Value.h"

namespace LX_API lx {

class LXStateRestorationArchiver;

/// The protocols of restorable objects and of the classes that recreate
/// them, under the archive's names (see platform/Object.h).
///@{
using LXStateRestoring = StateRestoring;
using LXObjectRestoration = ObjectRestoration;
///@}

/// Optional hook of an archiver's delegate.
class LXStateRestorationArchiverDelegate {
 public:
  virtual ~LXStateRestorationArchiverDelegate() = default;
  /// Asked for every restorable object before it is stored (also when it
  /// was stored before): returns the object to store in its place, or null
  /// to leave it out. The answer must be `StateRestoring`, else the archiver
  /// throws `InvalidArgumentException` "Object returned from delegate does
  /// not conform to the LXStateRestoring protocol: %@". Default: `object`.
  virtual ObjectPtr willEncodeObject(LXStateRestorationArchiver& /*archiver*/,
                                     const ObjectPtr& object) {
    return object;
  }
};

class LXStateRestorationArchiver : public Coder {
 public:
  /// An archiver that `finishEncoding` writes into `data`, which must
  /// outlive it (or at least that call).
  explicit LXStateRestorationArchiver(Data& data);
  ~LXStateRestorationArchiver() override;

  /// Stores `object` (see the top of this file) and maps `key` to it in the
  /// item being written. Null objects, objects the delegate leaves out and
  /// graphs cut at the depth limit map nothing.
  void encodeObject(const Value& object, StringView key) override;
  /// Stores a boxed scalar under a fresh identifier and maps `key` to it.
  void encodeBool(bool value, StringView key) override;
  void encodeInt32(std::int32_t value, StringView key) override;
  void encodeInt64(std::int64_t value, StringView key) override;
  void encodeFloat(float value, StringView key) override;
  void encodeDouble(double value, StringView key) override;
  /// Stores the bytes as data.
  void encodeBytes(DataView bytes, StringView key) override;
  /// Keyless coding: stores the value of `type` at `address` (see Coder.h)
  /// under the next key "LX.coding.<n>" of the item being written; the
  /// position advances even when nothing is stored (null objects, types
  /// without a stored form).
  void encodeValueOfObjCType(const char* type, const void* address) override;
  /// The next keyless object.
  void encodeObject(const Value& object) override;

  /// The name this archiver writes for `cls`: its own map's, else the
  /// shared map's; absent when neither has one or `cls` is null.
  [[nodiscard]] std::optional<String> classNameForClass(const Class* cls) const;
  /// Writes `cls` under `name` in this archiver; absent removes the entry,
  /// a null class does nothing.
  void setClassName(std::optional<String> name, const Class* cls);
  /// The shared map's name for `cls`, used by every archiver.
  static std::optional<String> sharedClassNameForClass(const Class* cls);
  /// Sets the shared map's name for `cls`, as `setClassName` does. The
  /// shared map is locked, so any thread may change it, but an archive being
  /// written sees a change from its next object on.
  static void setSharedClassName(std::optional<String> name, const Class* cls);
  /// `classNameForClass`, else the class's registered name.
  [[nodiscard]] String classNameToEncodeForClass(const Class& cls) const;
  /// The names to write for `cls` and each of its superclasses, most
  /// derived first; empty for a null class.
  [[nodiscard]] std::vector<String> originalClassesForClass(const Class* cls) const;

  /// Serialises the archive into the data given at construction (replacing
  /// its contents) and forgets every stored object and value. Call once.
  void finishEncoding();

  /// The delegate, held weakly; null when none was set or it is gone.
  [[nodiscard]] std::shared_ptr<LXStateRestorationArchiverDelegate> delegate() const {
    return delegate_.lock();
  }
  /// Held weakly.
  void setDelegate(std::weak_ptr<LXStateRestorationArchiverDelegate> delegate) {
    delegate_ = std::move(delegate);
  }

 protected:
  String coderName() const override { return u"LXStateRestorationArchiver"; }

 private:
  struct Stored {
    ObjectPtr object;  // keeps the address, the identity key, unique
    std::shared_ptr<LXStateRestorationItem> item;
    SharedString identifier;  // the item's, shared by every reference to it
  };
  class ItemScope;

  /// Stores `object`; its identifier, or absent when nothing names it.
  std::optional<SharedString> encodeObjectReturningIdentifier(const Value& object);
  std::optional<SharedString> encodeRestorable(ObjectPtr object);
  std::optional<SharedString> encodeCoded(const ObjectPtr& object);
  std::optional<SharedString> encodeCollection(const Value& collection);
  SharedString storeValue(Value value);
  void mapKey(const std::optional<SharedString>& identifier, StringView key);
  /// `key` as a string shared by every item that uses it.
  SharedString sharedKey(StringView key);
  /// A new item with `cls`'s class chain, or null (with the log line) when
  /// it would nest too deep.
  std::shared_ptr<LXStateRestorationItem> makeItem(LXStateRestorationItem::Type type,
                                                   const Class& cls, const Value& what);
  /// Enters `item` for `object` in the archive; its identifier.
  SharedString registerItem(const ObjectPtr& object,
                            const std::shared_ptr<LXStateRestorationItem>& item);
  LXStateRestorationItem& currentItem() { return *itemStack_.back(); }

  Data& data_;
  std::unordered_map<const Object*, Stored> objectsToItems_;
  // Identifier => item (as an object) or value, in the order stored. Every
  // identifier is fresh, so no lookup is needed until the archive is written.
  std::vector<std::pair<SharedString, Value>> objects_;
  std::unordered_map<StringView, SharedString> keys_;  // views into their values
  std::vector<std::shared_ptr<LXStateRestorationItem>> itemStack_;
  std::map<const Class*, String> classMap_;
  std::weak_ptr<LXStateRestorationArchiverDelegate> delegate_;
};

}  // namespace lx
