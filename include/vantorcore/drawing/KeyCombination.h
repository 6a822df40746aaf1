// `KeyCombination`: a keyboard shortcut, modifier flags plus one key, read
// and written in the three forms a Linux desktop meets:
//
//   GTK accelerator   <Control><Shift>k      (GtkApplication, .ui files)
//   display           Ctrl+Shift+K           (menus, settings panels)
//   symbols           ⌃⇧⌘K                   (compact, as on the other platform)
//
// The key is an XKB keysym, so every key libxkbcommon names can be used and
// its XKB name ("k", "Return", "F5", "Left") is the key's stable spelling.
// Letters are kept lower-case: Shift is a modifier, never part of the key.
//
// A value type with equality and hashing (`std::hash` is specialised).
#pragma once

#include "vantorcore/Export.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "vantorcore/platform/Error.h"
#include "vantorcore/platform/String.h"
#include "vantorcore/platform/UserDefaults.h"
#include "vantorcore/platform/Value.h"

namespace LX_API lx {

/// Modifier keys as bits, so that a combination holds several.
enum class ModifierFlags : std::uint8_t {
  None = 0,
  Shift = 1 << 0,
  Control = 1 << 1,
  /// Alt on a PC keyboard.
  Option = 1 << 2,
  /// Super (the logo key) on a PC keyboard.
  Command = 1 << 3,
};
/// Combine and intersect modifier sets.
///@{
constexpr ModifierFlags operator|(ModifierFlags a, ModifierFlags b) noexcept {
  return static_cast<ModifierFlags>(static_cast<std::uint8_t>(a) | static_cast<std::uint8_t>(b));
}
constexpr ModifierFlags operator&(ModifierFlags a, ModifierFlags b) noexcept {
  return static_cast<ModifierFlags>(static_cast<std::uint8_t>(a) & static_cast<std::uint8_t>(b));
}
///@}
/// Whether `flags` holds every modifier of `which`.
constexpr bool hasModifier(ModifierFlags flags, ModifierFlags which) noexcept {
  return (flags & which) == which && which != ModifierFlags::None;
}

class KeyCombination {
 public:
  /// The longest text the parsers read; longer text is malformed.
  static constexpr std::size_t kMaximumTextLength = 256;

  /// `keysym` with `modifiers`. Absent, with an `UnknownKey` error in
  /// `LXDrawingErrorDomain`, for XKB's NoSymbol, a modifier key itself
  /// (Shift_L, Control_R, Super_L...), or a value beyond the keysym range.
  static std::optional<KeyCombination> fromKeysym(ModifierFlags modifiers, std::uint32_t keysym,
                                                  ErrorPtr* error = nullptr);
  /// The key that types `character` (a letter in either case gives its
  /// lower-case key). Absent for control characters and code points
  /// without a keysym.
  static std::optional<KeyCombination> fromCharacter(ModifierFlags modifiers, char32_t character,
                                                     ErrorPtr* error = nullptr);

  /// Reads a GTK accelerator: modifiers in angle brackets (case-insensitive:
  /// Control, Ctrl, Ctl, Primary; Shift, Shft; Alt, Mod1; Super), then an
  /// XKB key name (exact case first, then any case).
  ///   '<Control><Shift>k' => Control+Shift, k      '<ctrl>K' => Control, k
  ///   '<Alt>F4' => Option, F4    '<Control>' => error (no key)
  static std::optional<KeyCombination> fromAccelerator(StringView text, ErrorPtr* error = nullptr);
  /// Reads the display form: modifier words joined by '+' (Ctrl, Control,
  /// Shift, Alt, Option, Super, Cmd, Command; any case), then the key as a
  /// single character, a display name (Esc, Return, Enter, Space, Tab,
  /// Backspace, Delete, Left, Page Up...) or an XKB name.
  ///   'Ctrl+Shift+K' => Control+Shift, k     'Ctrl++' => Control, plus
  ///   'F5' => F5     'Ctrl+' => error (no key)
  static std::optional<KeyCombination> fromDisplayString(StringView text,
                                                         ErrorPtr* error = nullptr);
  /// Reads the symbol form: any of ⌃ ⌥ ⇧ ⌘ in any order, then the key as a
  /// character, a key symbol (↩ ⎋ ⌫ ⌦ ⇥ ← → ↑ ↓ ⇞ ⇟ ↖ ↘) or a name as in the
  /// display form. The last character is never a modifier.
  ///   '⌃⇧⌘K' => Control+Shift+Command, k     '⌥←' => Option, Left
  ///   '⌘⌥'   => Command, the key typing ⌥   '⌃⌃K' => error (repeated)
  static std::optional<KeyCombination> fromSymbolString(StringView text, ErrorPtr* error = nullptr);
  /// Any of the three forms, told apart by their first character ('<' for
  /// an accelerator, a modifier symbol for the symbol form).
  static std::optional<KeyCombination> parse(StringView text, ErrorPtr* error = nullptr);

  /// The modifiers held down.
  [[nodiscard]] ModifierFlags modifierFlags() const noexcept { return modifiers_; }
  /// The XKB keysym of the key.
  [[nodiscard]] std::uint32_t keysym() const noexcept { return keysym_; }
  /// The key's XKB name: "k", "Return", "F5", "plus".
  [[nodiscard]] std::string xkbKeyName() const;
  /// The character the key types without modifiers, if it types one that
  /// is not a control character.
  [[nodiscard]] std::optional<char32_t> character() const noexcept;

  /// '<Control><Shift><Alt><Super>' as present, then the XKB name.
  [[nodiscard]] String acceleratorString() const;
  /// 'Ctrl+Shift+Alt+Super+' as present, then the key's display name
  /// (letters upper-case).
  [[nodiscard]] String displayString() const;
  /// '⌃⌥⇧⌘' as present, then the key's symbol or display name.
  [[nodiscard]] String symbolString() const;

  /// {"key": XKB name, "modifiers": ["control", "shift", "option",
  /// "command"] as present}, the form kept in user defaults.
  [[nodiscard]] Dictionary dictionaryRepresentation() const;
  /// The combination a `dictionaryRepresentation` describes; absent, with
  /// a `MalformedKeyCombination` or `UnknownKey` error, for a missing or
  /// non-string key, a modifier list that is not an array of known names,
  /// or an unknown key name.
  static std::optional<KeyCombination> fromDictionary(const Dictionary& dictionary,
                                                      ErrorPtr* error = nullptr);
  /// Stores the dictionary under `key` in `defaults`.
  void writeToDefaults(UserDefaults& defaults, StringView key) const;
  /// The combination stored under `key`; absent when there is none (no
  /// error then) or it cannot be read (an error as for `fromDictionary`).
  static std::optional<KeyCombination> readFromDefaults(UserDefaults& defaults, StringView key,
                                                        ErrorPtr* error = nullptr);

  /// A hash consistent with `==`, for unordered containers.
  [[nodiscard]] std::size_t hash() const noexcept {
    return std::hash<std::uint64_t>{}(static_cast<std::uint64_t>(keysym_) << 8 |
                                      static_cast<std::uint8_t>(modifiers_));
  }
  /// Equal when key and modifiers are.
  friend bool operator==(const KeyCombination&, const KeyCombination&) = default;

 private:
  KeyCombination(ModifierFlags modifiers, std::uint32_t keysym) noexcept
      : modifiers_(modifiers), keysym_(keysym) {}

  ModifierFlags modifiers_;
  std::uint32_t keysym_;
};

}  // namespace lx

/// Lets key combinations key unordered containers.
template <>
struct std::hash<lx::KeyCombination> {
  /// Hashes with `KeyCombination::hash`.
  std::size_t operator()(const lx::KeyCombination& k) const noexcept { return k.hash(); }
};
