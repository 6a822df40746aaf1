#include "vantorcore/concurrency/LXMapTable.h"

namespace lx {

LX_DEFINE_CLASS(LXMapTable, Object)

std::shared_ptr<LXMapTable> LXMapTable::strongToStrongObjectsMapTable() {
  return std::make_shared<LXMapTable>(ValueOwnership::Strong);
}

std::shared_ptr<LXMapTable> LXMapTable::strongToWeakObjectsMapTable() {
  return std::make_shared<LXMapTable>(ValueOwnership::Weak);
}

std::optional<Value> LXMapTable::live(const Slot& slot) {
  if (auto* value = std::get_if<Value>(&slot)) return *value;
  if (auto object = std::get<std::weak_ptr<Object>>(slot).lock()) return Value(std::move(object));
  return std::nullopt;
}

void LXMapTable::purge() const {
  std::erase_if(storage_, [](const auto& entry) { return !live(entry.second); });
}

Value LXMapTable::objectForKey(const Value& key) const {
  if (key.isNull()) return {};
  auto it = storage_.find(key);
  if (it == storage_.end()) return {};
  return live(it->second).value_or(Value());
}

void LXMapTable::setObject(const Value& object, const Value& key) {
  if (object.isNull() || key.isNull()) return;
  Slot slot = object;
  if (ownership_ == ValueOwnership::Weak && object.isObject()) {
    slot = std::weak_ptr<Object>(object.asObject());
  }
  storage_.insert_or_assign(key, std::move(slot));
}

void LXMapTable::removeObjectForKey(const Value& key) {
  if (!key.isNull()) storage_.erase(key);
}

void LXMapTable::removeAllObjects() { storage_.clear(); }

std::size_t LXMapTable::count() const {
  purge();
  return storage_.size();
}

Array LXMapTable::allKeys() const {
  purge();
  Array keys;
  for (auto& [key, slot] : storage_) keys.push_back(key);
  return keys;
}

Array LXMapTable::allValues() const {
  purge();
  Array values;
  for (auto& [key, slot] : storage_) values.push_back(live(slot).value_or(Value()));
  return values;
}

void LXMapTable::addEntriesFromDictionary(const Dictionary& dictionary) {
  for (auto& [key, value] : dictionary) setObject(value, Value(key));
}

void LXMapTable::removeObjectsForKeys(const Array& keys) {
  for (auto& key : keys) removeObjectForKey(key);
}

Value LXMapTable::anyKey() const {
  purge();
  return storage_.empty() ? Value() : storage_.begin()->first;
}

Value LXMapTable::keyForValue(const Value& value) const {
  auto object = value.asObject();
  if (!object) return {};
  for (auto& key : allKeys()) {
    if (objectForKey(key).asObject() == object) return key;
  }
  return {};
}

}  // namespace lx
