// `LXStateRestorationItem`: one stored object of a state-restoration archive
// (see LXStateRestorationArchiver.h for the archive's layout), with the keys
// its coding wrote and what a reader needs to recreate it.
//
// Dictionary form, written by `dictionaryRepresentation` and read by
// `initWithDictionaryRepresentation`; keys are present only when their field
// is set:
//   "i"   identifier                       always
//   "t"   "r" restorable / "c" coded       for those two types
//   "c"   class name                       "oc" class chain, most derived first
//   "ri"  restoration identifier           "rc" restoration class name
//   "v"   key => identifier of the value   when the item holds a key
//
// Items belong to the coder that made them; not thread-safe.
#pragma once

#include "vantorcore/Export.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/String.h"
#include "vantorcore/platform/Value.h"

namespace LX_API lx {

/// The most items a state-restoration coder opens inside one another (the
/// root's keys are depth 0, an object stored under them depth 1). Deeper
/// graphs would exhaust the stack of the coder's recursion; the archiver and
/// the unarchiver refuse them instead (see their headers).
inline constexpr std::size_t LXStateRestorationMaximumDepth = 1024;

class LXStateRestorationItem : public Object {
  LX_DECLARE_CLASS(LXStateRestorationItem)

 public:
  /// How the item's object is recreated.
  enum class Type : std::int32_t {
    /// By its restoration class, from its restoration identifier.
    Restorable = 0,
    /// By its class's keyed factory (`initWithCoder`).
    Coded = 1,
  };

  /// An empty restorable item with a fresh identifier.
  LXStateRestorationItem();
  /// An item from its dictionary form. Entries of the wrong type are
  /// ignored (the field keeps its default), as is a "t" other than "r" or
  /// "c"; class-chain entries and "v" entries that are not strings are
  /// dropped.
  explicit LXStateRestorationItem(const Dictionary& representation);

  /// The dictionary form described at the top of this file.
  [[nodiscard]] Dictionary dictionaryRepresentation() const;
  /// "<LXStateRestorationItem: 0x…> {identifier = …; type = …; …}".
  [[nodiscard]] String description() const override;

  /// The identifier of the value stored under `key`, or absent.
  [[nodiscard]] std::optional<String> objectIdentifierForKey(StringView key) const;
  /// Maps `key` to `identifier`, replacing an earlier mapping.
  void setObjectIdentifier(SharedString identifier, SharedString key);

  /// A fresh UUID in the canonical upper-case text form.
  static String makeIdentifier();

  /// The item's identifier, unique within its archive.
  ///@{
  [[nodiscard]] const String& identifier() const noexcept { return identifier_; }
  void setIdentifier(String identifier) { identifier_ = std::move(identifier); }
  ///@}
  /// Key => identifier (string values).
  [[nodiscard]] const Dictionary& objectIdentifiers() const noexcept { return objectIdentifiers_; }
  /// What kind of entry the item is.
  ///@{
  [[nodiscard]] Type type() const noexcept { return type_; }
  void setType(Type type) noexcept { type_ = type; }
  ///@}
  /// The recorded class name; absent for entries that carry no object.
  ///@{
  [[nodiscard]] const std::optional<String>& objectClassName() const noexcept {
    return objectClassName_;
  }
  void setObjectClassName(std::optional<String> name) { objectClassName_ = std::move(name); }
  ///@}
  /// The class chain, most derived first; empty when unset.
  [[nodiscard]] const std::vector<String>& originalClasses() const noexcept {
    return originalClasses_;
  }
  /// The class names recorded for the object, most derived first.
  void setOriginalClasses(std::vector<String> classes) { originalClasses_ = std::move(classes); }
  /// The restoration identifier the object was saved under; absent when it had none.
  ///@{
  [[nodiscard]] const std::optional<String>& restorationIdentifier() const noexcept {
    return restorationIdentifier_;
  }
  void setRestorationIdentifier(std::optional<String> identifier) {
    restorationIdentifier_ = std::move(identifier);
  }
  ///@}
  /// The class that recreates the object on restore; absent when the object's own class does.
  ///@{
  [[nodiscard]] const std::optional<String>& restorationClassName() const noexcept {
    return restorationClassName_;
  }
  void setRestorationClassName(std::optional<String> name) {
    restorationClassName_ = std::move(name);
  }
  ///@}
  /// The next keyless position; starts at 0.
  [[nodiscard]] std::int32_t positionalCodingIndex() const noexcept {
    return positionalCodingIndex_;
  }
  /// The item's place among the siblings coded without keys.
  void setPositionalCodingIndex(std::int32_t index) noexcept { positionalCodingIndex_ = index; }
  /// The key of the next keyless value ("LX.coding.<index>"); advances the
  /// index.
  String takePositionalKey();
  /// "LX.coding.<index>".
  static String positionalKey(std::int32_t index);

 private:
  String identifier_;
  Dictionary objectIdentifiers_;
  Type type_ = Type::Restorable;
  std::optional<String> objectClassName_;
  std::vector<String> originalClasses_;
  std::optional<String> restorationIdentifier_;
  std::optional<String> restorationClassName_;
  std::int32_t positionalCodingIndex_ = 0;
};

}  // namespace lx
