// `Object`, the base of every reference-counted class of the library, and the
// per-class metadata (`Class`) with its registry.
//
// Objects live in `std::shared_ptr`; weak references are `std::weak_ptr`.
// Each class that takes part in lookup by name, coding or calls by name
// declares itself with `LX_DECLARE_CLASS` in its body and `LX_DEFINE_CLASS`
// in its source file:
//
//   class Note : public lx::Object, public lx::Coding {
//     LX_DECLARE_CLASS(Note)
//    public:
//     void encodeWithCoder(lx::Coder& coder) const override;
//     static std::shared_ptr<Note> initWithCoder(lx::Coder& coder);
//   };
//   LX_DEFINE_CLASS(Note, lx::Object)
//
// `LX_DEFINE_CLASS` looks at the class and records what it finds: a default
// constructor becomes the plain factory, a static `initWithCoder(Coder&)` the
// keyed factory that unarchivers call by class name, and the protocol
// classes below (`Coding`, `SecureCoding`, `StateRestoring`,
// `ObjectRestoration`) its conformance. Nothing else needs registering.
#pragma once

#include "vantorcore/Export.h"

#include <concepts>
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

namespace LX_API lx {

class Class;
class Coder;

/// Protocol names, as `Class::conformsToProtocol` takes them.
///@{
inline constexpr std::string_view kCodingProtocol = "Coding";
inline constexpr std::string_view kSecureCodingProtocol = "SecureCoding";
inline constexpr std::string_view kStateRestoringProtocol = "StateRestoring";
inline constexpr std::string_view kObjectRestorationProtocol = "ObjectRestoration";
///@}

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
  /// A hash that agrees with `isEqual`: the address unless a class says more.
  [[nodiscard]] virtual std::size_t hash() const noexcept;

  /// Whether the object's class is `cls` or derives from it.
  [[nodiscard]] bool isKindOfClass(const Class& cls) const;
  /// `isKindOfClass(T::staticClass())` for a registered class `T`.
  template <class T>
  [[nodiscard]] bool isKindOfClass() const {
    return isKindOfClass(T::staticClass());
  }
  /// Whether the object's class is exactly `cls` (subclasses answer false).
  [[nodiscard]] bool isMemberOfClass(const Class& cls) const { return &objectClass() == &cls; }
  /// Whether the object's class (or a superclass) has the named method.
  [[nodiscard]] bool respondsToSelector(std::string_view selector) const;
  /// Calls the named method of the object's class (or a superclass) with
  /// `arguments`; absent when no class in the chain has it.
  std::optional<Value> performSelector(std::string_view selector,
                                       std::span<const Value> arguments = {});

  // -- Coding hooks, with the platform's defaults --------------------------

  /// The object an archiver writes in this object's place, or null to write
  /// nothing. Default: this object itself.
  virtual std::shared_ptr<Object> replacementObjectForCoder(Coder& coder);
  /// The class an archiver records for this object (and whose keyed factory
  /// reads it back). Default: the object's own class.
  [[nodiscard]] virtual const Class& classForCoder() const { return objectClass(); }
  /// The object an unarchiver hands out in place of this freshly decoded
  /// one. Default: this object itself.
  virtual std::shared_ptr<Object> awakeAfterUsingCoder(Coder& coder);

  /// Values attached to this object under a key address; they are released
  /// with the object. Setting an absent value removes the entry. Thread-safe.
  void setAssociatedValue(const void* key, std::optional<Value> value);
  /// The value attached under `key`, or absent. Thread-safe.
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

/// Objects are shared; null means none.
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
  /// Recreates a restorable object from its restoration identifier, a
  /// restoration context and the coder (the `ObjectRestoration` path).
  using RestorationFactory =
      std::function<ObjectPtr(const String& identifier, const ObjectPtr& context, Coder& coder)>;

  /// A class named `name` below `superclass` (null for a root class).
  Class(String name, const Class* superclass);

  /// The class name, as the registry knows it.
  [[nodiscard]] const String& name() const noexcept { return name_; }
  /// The superclass; null for a root class.
  [[nodiscard]] const Class* superclass() const noexcept { return superclass_; }
  /// True for this class and every class derived from it.
  [[nodiscard]] bool isSubclassOfClass(const Class& other) const noexcept;

  /// How objects of the class are made: plainly, from a coder, or for state restoration; empty when
  /// the class does not support that way.
  ///@{
  void setFactory(Factory f) { factory_ = std::move(f); }
  void setCoderFactory(CoderFactory f) { coderFactory_ = std::move(f); }
  void setRestorationFactory(RestorationFactory f) { restorationFactory_ = std::move(f); }
  [[nodiscard]] const Factory& factory() const noexcept { return factory_; }
  [[nodiscard]] const CoderFactory& coderFactory() const noexcept { return coderFactory_; }
  [[nodiscard]] const RestorationFactory& restorationFactory() const noexcept {
    return restorationFactory_;
  }
  ///@}

  /// A new instance from the plain factory, or null when the class has none
  /// (abstract classes, classes without a default constructor).
  [[nodiscard]] ObjectPtr instantiate() const { return factory_ ? factory_() : nullptr; }
  /// A new instance initialised from `coder` by the keyed factory, or null
  /// when the class has none or the factory declines the coder's contents.
  [[nodiscard]] ObjectPtr instantiateWithCoder(Coder& coder) const {
    return coderFactory_ ? coderFactory_(coder) : nullptr;
  }

  /// Adds (or replaces) a method of this class.
  void addMethod(std::string selector, Method method);
  /// The method found on this class or its nearest superclass, or null.
  [[nodiscard]] const Method* methodNamed(std::string_view selector) const;

  /// Protocol conformance, by protocol name ("Coding", "StateRestoring"),
  /// inherited by subclasses.
  void addProtocol(std::string protocol);
  /// Whether the class or a superclass adopts `protocol`.
  [[nodiscard]] bool conformsToProtocol(std::string_view protocol) const;
  /// Whether instances may be read by a coder that `requiresSecureCoding`:
  /// the class (or a superclass) conforms to `SecureCoding`.
  [[nodiscard]] bool supportsSecureCoding() const {
    return conformsToProtocol(kSecureCodingProtocol);
  }

 private:
  String name_;
  const Class* superclass_;
  Factory factory_;
  CoderFactory coderFactory_;
  RestorationFactory restorationFactory_;
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
  /// Registers `T` under `name` and records its factories and protocols (see
  /// the top of this file). `LX_DEFINE_CLASS` calls this.
  template <class T>
  static Class& registerClassOf(String name, const Class* superclass);
};

/// Objects that can be written to and read from a keyed `Coder`. A class
/// conforms by deriving from `Coding` and, to be readable by class name,
/// declaring `static std::shared_ptr<Self> initWithCoder(Coder&)` that returns
/// null when the coder holds nothing usable.
class Coding {
 public:
  virtual ~Coding() = default;
  /// Writes the object's fields into `coder` by key (or in order, when
  /// `coder.allowsKeyedCoding()` is false).
  virtual void encodeWithCoder(Coder& coder) const = 0;
};

/// Objects whose keyed factory checks what it reads (types, ranges), so that
/// a coder that `requiresSecureCoding` may instantiate them from untrusted
/// archives. A class opts in by deriving from `SecureCoding` instead of
/// `Coding`.
class SecureCoding : public Coding {};

/// Objects whose interface state is saved and restored by identity. Every
/// operation is optional; the defaults do nothing and answer absent.
class StateRestoring {
 public:
  virtual ~StateRestoring() = default;
  /// The identifier the object is restored under, or absent.
  [[nodiscard]] virtual std::optional<String> restorationIdentifier() const { return std::nullopt; }
  /// The class that recreates the object, or null for none.
  [[nodiscard]] virtual const Class* objectRestorationClass() const { return nullptr; }
  /// State restoration hooks: save state, read it back, and learn that every object has been
  /// restored. They do nothing by default.
  ///@{
  virtual void encodeRestorableStateWithCoder(Coder& /*coder*/) const {}
  virtual void decodeRestorableStateWithCoder(Coder& /*coder*/) {}
  virtual void finishedRestoringState() {}
  ///@}
};

/// Marks a class that recreates restorable objects: it declares
/// `static ObjectPtr objectWithRestorationIdentifier(const String& identifier,
/// const ObjectPtr& context, Coder& coder)`, found through
/// `Class::restorationFactory()`.
class ObjectRestoration {
 public:
  virtual ~ObjectRestoration() = default;
};

namespace detail {
template <class T>
concept HasCoderFactory = requires(Coder& coder) {
  { T::initWithCoder(coder) } -> std::convertible_to<ObjectPtr>;
};
template <class T>
concept HasRestorationFactory = requires(const String& id, const ObjectPtr& ctx, Coder& coder) {
  { T::objectWithRestorationIdentifier(id, ctx, coder) } -> std::convertible_to<ObjectPtr>;
};
}  // namespace detail

template <class T>
Class& ClassRegistry::registerClassOf(String name, const Class* superclass) {
  Class& cls = registerClass(std::move(name), superclass);
  if constexpr (std::is_default_constructible_v<T> && !std::is_abstract_v<T>) {
    cls.setFactory([] { return std::make_shared<T>(); });
  }
  if constexpr (detail::HasCoderFactory<T>) {
    cls.setCoderFactory([](Coder& coder) -> ObjectPtr { return T::initWithCoder(coder); });
  }
  if constexpr (detail::HasRestorationFactory<T>) {
    cls.setRestorationFactory(
        [](const String& id, const ObjectPtr& context, Coder& coder) -> ObjectPtr {
          return T::objectWithRestorationIdentifier(id, context, coder);
        });
  }
  if constexpr (std::is_base_of_v<Coding, T>) cls.addProtocol(std::string(kCodingProtocol));
  if constexpr (std::is_base_of_v<SecureCoding, T>) {
    cls.addProtocol(std::string(kSecureCodingProtocol));
  }
  if constexpr (std::is_base_of_v<StateRestoring, T>) {
    cls.addProtocol(std::string(kStateRestoringProtocol));
  }
  if constexpr (std::is_base_of_v<ObjectRestoration, T>) {
    cls.addProtocol(std::string(kObjectRestorationProtocol));
  }
  return cls;
}

}  // namespace lx

/// Declares the class-metadata members inside a class body.
#define LX_DECLARE_CLASS(Name)                                              \
 public:                                                                    \
  static const ::lx::Class& staticClass();                                  \
  const ::lx::Class& objectClass() const override { return staticClass(); } \
                                                                            \
 private:

/// Defines the metadata of `Name`, a subclass of `Super`, in a source file,
/// inside the class's namespace. The class registers itself by name when the
/// program starts, with the factories and protocols `registerClassOf` finds.
#define LX_DEFINE_CLASS(Name, Super)                                                  \
  const ::lx::Class& Name::staticClass() {                                            \
    static ::lx::Class& cls =                                                         \
        ::lx::ClassRegistry::registerClassOf<Name>(u## #Name, &Super::staticClass()); \
    return cls;                                                                       \
  }                                                                                   \
  [[maybe_unused]] static const ::lx::Class& lx_register_##Name = Name::staticClass();
