#include "vantorcore/platform/Object.h"

#include <algorithm>
#include <cstdio>
#include <unordered_map>

namespace lx {

Object::~Object() = default;

const Class& Object::staticClass() {
  static Class& cls = ClassRegistry::registerClass(u"Object", nullptr);
  return cls;
}

const Class& Object::objectClass() const { return staticClass(); }

const String& Object::className() const { return objectClass().name(); }

String Object::description() const {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%p", static_cast<const void*>(this));
  return u"<" + className() + u": " + fromUTF8(buf) + u">";
}

std::size_t Object::hash() const noexcept { return std::hash<const void*>{}(this); }

std::shared_ptr<Object> Object::replacementObjectForCoder(Coder& /*coder*/) {
  return weak_from_this().lock();
}

std::shared_ptr<Object> Object::awakeAfterUsingCoder(Coder& /*coder*/) {
  return weak_from_this().lock();
}

bool Object::isKindOfClass(const Class& cls) const { return objectClass().isSubclassOfClass(cls); }

bool Object::respondsToSelector(std::string_view selector) const {
  return objectClass().methodNamed(selector) != nullptr;
}

std::optional<Value> Object::performSelector(std::string_view selector,
                                             std::span<const Value> arguments) {
  const Class::Method* method = objectClass().methodNamed(selector);
  if (!method) return std::nullopt;
  return (*method)(*this, arguments);
}

void Object::setAssociatedValue(const void* key, std::optional<Value> value) {
  // The old value is destroyed outside the lock: it may be an object whose
  // destructor touches this object's associations.
  Value old;
  std::lock_guard lock(associationsMutex_);
  if (!value) {
    if (associations_) {
      auto it = associations_->find(key);
      if (it != associations_->end()) {
        old = std::move(it->second);
        associations_->erase(it);
      }
    }
    return;
  }
  if (!associations_) associations_ = std::make_unique<std::map<const void*, Value>>();
  Value& slot = (*associations_)[key];
  old = std::move(slot);
  slot = std::move(*value);
}

std::optional<Value> Object::associatedValue(const void* key) const {
  std::lock_guard lock(associationsMutex_);
  if (!associations_) return std::nullopt;
  auto it = associations_->find(key);
  if (it == associations_->end()) return std::nullopt;
  return it->second;
}

// ---------------------------------------------------------------------------

Class::Class(String name, const Class* superclass)
    : name_(std::move(name)), superclass_(superclass) {}

bool Class::isSubclassOfClass(const Class& other) const noexcept {
  for (const Class* c = this; c; c = c->superclass_) {
    if (c == &other) return true;
  }
  return false;
}

void Class::addMethod(std::string selector, Method method) {
  std::lock_guard lock(mutex_);
  methods_[std::move(selector)] = std::move(method);
}

const Class::Method* Class::methodNamed(std::string_view selector) const {
  for (const Class* c = this; c; c = c->superclass_) {
    std::lock_guard lock(c->mutex_);
    auto it = c->methods_.find(selector);
    if (it != c->methods_.end()) return &it->second;
  }
  return nullptr;
}

void Class::addProtocol(std::string protocol) {
  std::lock_guard lock(mutex_);
  if (std::find(protocols_.begin(), protocols_.end(), protocol) == protocols_.end())
    protocols_.push_back(std::move(protocol));
}

bool Class::conformsToProtocol(std::string_view protocol) const {
  for (const Class* c = this; c; c = c->superclass_) {
    std::lock_guard lock(c->mutex_);
    if (std::find(c->protocols_.begin(), c->protocols_.end(), protocol) != c->protocols_.end())
      return true;
  }
  return false;
}

// ---------------------------------------------------------------------------

namespace {
struct Registry {
  std::mutex mutex;
  // Classes are never unregistered, so references handed out stay valid.
  std::unordered_map<String, std::unique_ptr<Class>> classes;
};
Registry& registry() {
  static Registry* r = new Registry;  // never destroyed: classes outlive statics
  return *r;
}
}  // namespace

const Class* ClassRegistry::classNamed(StringView name) {
  Registry& r = registry();
  std::lock_guard lock(r.mutex);
  auto it = r.classes.find(String(name));
  return it == r.classes.end() ? nullptr : it->second.get();
}

Class& ClassRegistry::registerClass(String name, const Class* superclass) {
  Registry& r = registry();
  std::lock_guard lock(r.mutex);
  auto it = r.classes.find(name);
  if (it != r.classes.end()) return *it->second;
  auto cls = std::make_unique<Class>(name, superclass);
  Class& ref = *cls;
  r.classes.emplace(std::move(name), std::move(cls));
  return ref;
}

}  // namespace lx
