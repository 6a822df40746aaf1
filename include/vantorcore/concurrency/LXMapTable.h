// `LXMapTable`: a map from values to values that tolerates null keys and
// values and can hold its object values weakly.
#pragma once

#include "vantorcore/Export.h"

#include <memory>
#include <unordered_map>
#include <variant>
#include <vector>

#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/Value.h"

namespace LX_API lx {

/// Keys are held strongly and compared by value (objects by `isEqual`).
/// Not locked: one thread at a time. Enumeration order is unspecified but
/// stable while the table is not changed.
class LXMapTable : public Object {
  LX_DECLARE_CLASS(LXMapTable)

 public:
  /// How the table holds its values: strongly, or weakly so that entries vanish with their objects.
  enum class ValueOwnership { Strong, Weak };

  /// Strong keys, strong values.
  static std::shared_ptr<LXMapTable> strongToStrongObjectsMapTable();
  /// Strong keys, weak object values: an entry whose object has died reads
  /// as absent (and is purged). Values that are not objects (strings,
  /// numbers...) cannot die and are kept as copies.
  static std::shared_ptr<LXMapTable> strongToWeakObjectsMapTable();

  /// An empty table holding values as `ownership` says.
  explicit LXMapTable(ValueOwnership ownership) : ownership_(ownership) {}

  /// The value under `key`; null for a null key or an absent entry.
  [[nodiscard]] Value objectForKey(const Value& key) const;
  /// Ignored when the object or the key is null.
  void setObject(const Value& object, const Value& key);
  /// Ignored for a null key.
  void removeObjectForKey(const Value& key);
  /// Removes every entry.
  void removeAllObjects();
  /// Live entries (dead weak entries are purged first).
  [[nodiscard]] std::size_t count() const;

  /// Snapshots of the live keys and values, in the same order (what the
  /// platform's key and object enumerators walk).
  [[nodiscard]] Array allKeys() const;
  /// The live values, in no particular order.
  [[nodiscard]] Array allValues() const;

  /// Sets every entry of `dictionary` (string keys).
  void addEntriesFromDictionary(const Dictionary& dictionary);
  /// Removes each listed key.
  void removeObjectsForKeys(const Array& keys);

  /// The first key enumeration yields, or null when empty.
  [[nodiscard]] Value anyKey() const;
  /// The first key (in `allKeys` order) whose value is the very same object
  /// as `value`; null when none, for an equal but distinct object, and for
  /// values that are not objects (they have no identity).
  [[nodiscard]] Value keyForValue(const Value& value) const;

 private:
  using Slot = std::variant<Value, std::weak_ptr<Object>>;
  static std::optional<Value> live(const Slot& slot);
  void purge() const;

  ValueOwnership ownership_;
  mutable std::unordered_map<Value, Slot> storage_;
};

}  // namespace lx
