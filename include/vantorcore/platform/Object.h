// `Object`, the base of every reference-counted class of the library, and the
// per-class metadata (`Class`) with its registry.
//
// Objects live in `std::shared_ptr`; weak references are `std::weak_ptr`.
// Each class that takes part in lookup by name, coding or calls by name
// declares itself with `LX_DECLARE_CLASS` in its body and `LX_DEFINE_CLASS`
// in its source file:
//
//   class Note : public lx::Object {
//     LX_DECLARE_CLASS(Note)
//    public: ...
//   };
//   LX_DEFINE_CLASS(Note, lx::Object)
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "vantorcore/platform/String.h"
#include "vantorcore/platform/Value.h"

namespace lx {

class Class;
class Coder;

class Object : public std::enable_shared_from_this<Object> {
 public:
  Object() = default;
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;
  virtual ~Object();

  /// The root class ("Object") that every registered class descends from.
  static const Class& staticClass();
  /// The class metadata of the object's dynamic class.
  [[nodiscard]] virtual const Class& objectClass() const;
  /// The registered class name ("LXUUID", "Object").
  [[nodiscard]] const String& className() const;
  /// What `%@` prints: "<ClassName: 0x...>" unless a class says more.
  [[nodiscard]] virtual String description() const;
  /// Identity unless a class compares by value; `hash` must agree with it.
  [[nodiscard]] virtual bool isEqual(const Object& other) const { return this == &other; }
  [[nodiscard]] virtual std::size_t hash() const noexcept;

  /// Whether the object's class is `cls` or derives from it.
  [[nodiscard]] bool isKindOfClass(const Class& cls) const;
  /// Whether the object's class (or a superclass) has the named method.
  [[nodiscard]] bool respondsToSelector(std::string_view selector) const;

  /// Values attached to this object under a key address; they are released
  /// with the object. Setting an absent value removes the entry. Thread-safe.
  void setAssociatedValue(const void* key, std::optional<Value> value);
  [[nodiscard]] std::optional<Value> associatedValue(const void* key) const;

  /// This object as a `shared_ptr` of its dynamic type, or null while it is
  /// not (yet) owned by one.
  template <class T>
  [[nodiscard]] std::shared_ptr<T> sharedAs() {
    return std::dynamic_pointer_cast<T>(weak_from_this().lock());
  }

 private:
  mutable std::mutex associationsMutex_;
  std::unique_ptr<std::map<const void*, Value>> associations_;
};

using ObjectPtr = std::shared_ptr<Object>;

/// Per-class metadata, registered once per process. Immutable after
/// registration except for the method table, which registration fills.
class Class {
 public:
  /// A method callable by name: receives the object and its arguments.
  using Method = std::function<Value(Object& self, std::span<const Value> arguments)>;
  /// Makes a new instance for the keyed-coding path ("init with coder").
  using CoderFactory = std::function<ObjectPtr(Coder& coder)>;
  /// Makes a new plain instance.
  using Factory = std::function<ObjectPtr()>;

  Class(String name, const Class* superclass);

  [[nodiscard]] const String& name() const noexcept { return name_; }
  [[nodiscard]] const Class* superclass() const noexcept { return superclass_; }
  /// True for this class and every class derived from it.
  [[nodiscard]] bool isSubclassOfClass(const Class& other) const noexcept;

  void setFactory(Factory f) { factory_ = std::move(f); }
  void setCoderFactory(CoderFactory f) { coderFactory_ = std::move(f); }
  [[nodiscard]] const Factory& factory() const noexcept { return factory_; }
  [[nodiscard]] const CoderFactory& coderFactory() const noexcept { return coderFactory_; }

  /// Adds (or replaces) a method of this class.
  void addMethod(std::string selector, Method method);
  /// The method found on this class or its nearest superclass, or null.
  [[nodiscard]] const Method* methodNamed(std::string_view selector) const;

  /// Protocol conformance, by protocol name ("Coding", "StateRestoring").
  void addProtocol(std::string protocol);
  [[nodiscard]] bool conformsToProtocol(std::string_view protocol) const;

 private:
  String name_;
  const Class* superclass_;
  Factory factory_;
  CoderFactory coderFactory_;
  mutable std::mutex mutex_;
  std::map<std::string, Method, std::less<>> methods_;
  std::vector<std::string> protocols_;
};

/// The process-wide table of classes by name. Thread-safe.
class ClassRegistry {
 public:
  /// The class registered under `name`, or null.
  static const Class* classNamed(StringView name);
  /// Registers a class; the first registration of a name wins and is returned.
  static Class& registerClass(String name, const Class* superclass);
};

}  // namespace lx

/// Declares the class-metadata members inside a class body.
#define LX_DECLARE_CLASS(Name)                      \
 public:                                            \
  static const ::lx::Class& staticClass();          \
  const ::lx::Class& objectClass() const override { \
    return staticClass();                           \
  }                                                 \
                                                    \
 private:

/// Defines the metadata of `Name`, a subclass of `Super`, in a source file,
/// inside the class's namespace. The class registers itself by name when the
/// program starts.
#define LX_DEFINE_CLASS(Name, Super)                                                \
  const ::lx::Class& Name::staticClass() {                                         \
    static ::lx::Class& cls =                                                      \
        ::lx::ClassRegistry::registerClass(u## #Name, &Super::staticClass());      \
    return cls;                                                                     \
  }                                                                                 \
  [[maybe_unused]] static const ::lx::Class& lx_register_##Name = Name::staticClass();
