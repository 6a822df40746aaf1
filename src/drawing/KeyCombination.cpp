#include "vantorcore/drawing/KeyCombination.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "drawing/XkbcommonLibrary.h"
#include "vantorcore/drawing/DrawingError.h"

namespace lx {
namespace {

using detail::xkbcommon;

struct ModifierSpelling {
  ModifierFlags flag;
  StringView accelerator, display, symbol;
  const char16_t* stored;
};

// Accelerators and display strings list modifiers in GTK's order; symbols
// in the order the symbol form's own platform uses.
constexpr ModifierSpelling kModifiers[] = {
    {ModifierFlags::Control, u"<Control>", u"Ctrl", u"⌃", u"control"},
    {ModifierFlags::Shift, u"<Shift>", u"Shift", u"⇧", u"shift"},
    {ModifierFlags::Option, u"<Alt>", u"Alt", u"⌥", u"option"},
    {ModifierFlags::Command, u"<Super>", u"Super", u"⌘", u"command"},
};
constexpr std::array<int, 4> kSymbolOrder = {0, 2, 1, 3};

struct ModifierAlias {
  StringView name;
  ModifierFlags flag;
};
constexpr ModifierAlias kAcceleratorModifiers[] = {
    {u"control", ModifierFlags::Control}, {u"ctrl", ModifierFlags::Control},
    {u"ctl", ModifierFlags::Control},     {u"primary", ModifierFlags::Control},
    {u"shift", ModifierFlags::Shift},     {u"shft", ModifierFlags::Shift},
    {u"alt", ModifierFlags::Option},      {u"mod1", ModifierFlags::Option},
    {u"super", ModifierFlags::Command}};
constexpr ModifierAlias kDisplayModifiers[] = {
    {u"ctrl", ModifierFlags::Control},  {u"control", ModifierFlags::Control},
    {u"shift", ModifierFlags::Shift},   {u"alt", ModifierFlags::Option},
    {u"option", ModifierFlags::Option}, {u"super", ModifierFlags::Command},
    {u"cmd", ModifierFlags::Command},   {u"command", ModifierFlags::Command}};

struct NamedKey {
  std::uint32_t keysym;
  StringView display, symbol;
};
constexpr NamedKey kNamedKeys[] = {
    {XKB_KEY_Return, u"Return", u"↩"},
    {XKB_KEY_Escape, u"Esc", u"⎋"},
    {XKB_KEY_BackSpace, u"Backspace", u"⌫"},
    {XKB_KEY_Delete, u"Delete", u"⌦"},
    {XKB_KEY_Tab, u"Tab", u"⇥"},
    {XKB_KEY_space, u"Space", u"Space"},
    {XKB_KEY_Left, u"Left", u"←"},
    {XKB_KEY_Right, u"Right", u"→"},
    {XKB_KEY_Up, u"Up", u"↑"},
    {XKB_KEY_Down, u"Down", u"↓"},
    {XKB_KEY_Page_Up, u"Page Up", u"⇞"},
    {XKB_KEY_Page_Down, u"Page Down", u"⇟"},
    {XKB_KEY_Home, u"Home", u"↖"},
    {XKB_KEY_End, u"End", u"↘"},
};
// Other spellings people type for the named keys.
struct KeyAlias {
  StringView name;
  std::uint32_t keysym;
};
constexpr KeyAlias kKeyAliases[] = {{u"Enter", XKB_KEY_Return},
                                    {u"Escape", XKB_KEY_Escape},
                                    {u"Del", XKB_KEY_Delete},
                                    {u"PgUp", XKB_KEY_Page_Up},
                                    {u"PgDn", XKB_KEY_Page_Down}};

bool isModifierKeysym(std::uint32_t keysym) {
  return (keysym >= XKB_KEY_Shift_L && keysym <= XKB_KEY_Hyper_R) ||
         (keysym >= XKB_KEY_ISO_Lock && keysym <= XKB_KEY_ISO_Last_Group_Lock);
}

bool isControl(char32_t c) { return c < 0x20 || (c >= 0x7F && c < 0xA0); }

// The key that typing `c` presses, as keys are kept (lower-case).
std::uint32_t keysymTyping(char32_t c) {
  return xkbcommon().keysym_to_lower(xkbcommon().utf32_to_keysym(c));
}

std::string quoted(StringView text) { return "'" + toUTF8(text) + "'"; }

std::string hex(unsigned value, int digits) {
  char text[16];
  std::snprintf(text, sizeof text, "%0*X", digits, value);
  return text;
}

std::nullopt_t fail(ErrorPtr* error, DrawingErrorCode code, const std::string& text) {
  setError(error, makeDrawingError(code, fromUTF8(text)));
  return std::nullopt;
}

StringView trimmed(StringView s) {
  while (!s.empty() && s.front() == u' ') s.remove_prefix(1);
  while (!s.empty() && s.back() == u' ') s.remove_suffix(1);
  return s;
}

// The key a token names, lower-cased: a character, a key symbol, a display
// name or alias, or an XKB name; 0 when none.
std::uint32_t keysymForToken(StringView token) {
  if (token.empty()) return XKB_KEY_NoSymbol;
  std::size_t length = 0;
  const char32_t first = codePointAt(token, 0, &length);
  if (length == token.size()) {
    for (const NamedKey& k : kNamedKeys) {
      if (k.symbol == token) return k.keysym;
    }
    if (isControl(first)) return XKB_KEY_NoSymbol;
    if (const std::uint32_t keysym = keysymTyping(first)) return keysym;
  }
  for (const NamedKey& k : kNamedKeys) {
    if (isEqualCaseInsensitive(k.display, token)) return k.keysym;
  }
  for (const KeyAlias& a : kKeyAliases) {
    if (isEqualCaseInsensitive(a.name, token)) return a.keysym;
  }
  const std::string name = toUTF8(token);
  xkb_keysym_t keysym = xkbcommon().keysym_from_name(name.c_str(), XKB_KEYSYM_NO_FLAGS);
  if (keysym == XKB_KEY_NoSymbol) {
    keysym = xkbcommon().keysym_from_name(name.c_str(), XKB_KEYSYM_CASE_INSENSITIVE);
  }
  return xkbcommon().keysym_to_lower(keysym);
}

// Adds `flag` unless already there; false for a repeat.
bool addModifier(ModifierFlags& flags, ModifierFlags flag) {
  if (hasModifier(flags, flag)) return false;
  flags = flags | flag;
  return true;
}

// Adds the modifier `name` spells in `aliases`; false, with the error, for
// an empty, unknown or repeated one.
template <std::size_t N>
bool addNamedModifier(ModifierFlags& flags, StringView name, const ModifierAlias (&aliases)[N],
                      StringView text, ErrorPtr* error) {
  const ModifierAlias* alias =
      std::find_if(std::begin(aliases), std::end(aliases),
                   [&](const ModifierAlias& a) { return isEqualCaseInsensitive(a.name, name); });
  std::string problem;
  if (name.empty()) {
    problem = "Empty modifier";
  } else if (alias == std::end(aliases)) {
    problem = "Unknown modifier " + quoted(name);
  } else if (!addModifier(flags, alias->flag)) {
    problem = "Repeated modifier " + quoted(name);
  } else {
    return true;
  }
  fail(error, DrawingErrorCode::MalformedKeyCombination, problem + " in " + quoted(text));
  return false;
}

std::optional<KeyCombination> finish(ModifierFlags flags, StringView keyToken, StringView text,
                                     ErrorPtr* error) {
  if (trimmed(keyToken).empty()) {
    return fail(error, DrawingErrorCode::MalformedKeyCombination, "No key in " + quoted(text));
  }
  const std::uint32_t keysym = keysymForToken(trimmed(keyToken));
  if (keysym == XKB_KEY_NoSymbol) {
    return fail(error, DrawingErrorCode::UnknownKey,
                "Unknown key " + quoted(trimmed(keyToken)) + " in " + quoted(text));
  }
  return KeyCombination::fromKeysym(flags, keysym, error);
}

bool tooLong(StringView text, ErrorPtr* error) {
  if (text.empty()) {
    fail(error, DrawingErrorCode::MalformedKeyCombination, "Empty key combination");
    return true;
  }
  if (text.size() <= KeyCombination::kMaximumTextLength) return false;
  fail(error, DrawingErrorCode::MalformedKeyCombination,
       "Key combination longer than " + std::to_string(KeyCombination::kMaximumTextLength) +
           " characters");
  return true;
}

std::optional<ModifierFlags> symbolModifier(StringView text, std::size_t at) {
  for (const ModifierSpelling& m : kModifiers) {
    if (text.substr(at, m.symbol.size()) == m.symbol) return m.flag;
  }
  return std::nullopt;
}

}  // namespace

std::optional<KeyCombination> KeyCombination::fromKeysym(ModifierFlags modifiers,
                                                         std::uint32_t keysym, ErrorPtr* error) {
  char name[64];
  if (keysym == XKB_KEY_NoSymbol || isModifierKeysym(keysym) ||
      xkbcommon().keysym_get_name(keysym, name, sizeof name) < 0 || keysym > 0x1FFFFFFF) {
    return fail(error, DrawingErrorCode::UnknownKey,
                "Keysym 0x" + hex(keysym, 1) + " is not a key a combination can use");
  }
  return KeyCombination(modifiers & static_cast<ModifierFlags>(0x0F),
                        xkbcommon().keysym_to_lower(keysym));
}

std::optional<KeyCombination> KeyCombination::fromCharacter(ModifierFlags modifiers,
                                                            char32_t character, ErrorPtr* error) {
  const xkb_keysym_t keysym =
      isControl(character) ? XKB_KEY_NoSymbol : xkbcommon().utf32_to_keysym(character);
  if (keysym == XKB_KEY_NoSymbol) {
    return fail(error, DrawingErrorCode::UnknownKey,
                "No key types U+" + hex(static_cast<unsigned>(character), 4));
  }
  return fromKeysym(modifiers, keysym, error);
}

std::optional<KeyCombination> KeyCombination::fromAccelerator(StringView text, ErrorPtr* error) {
  if (tooLong(text, error)) return std::nullopt;
  ModifierFlags flags = ModifierFlags::None;
  StringView rest = text;
  while (!rest.empty() && rest.front() == u'<') {
    const std::size_t close = rest.find(u'>');
    if (close == StringView::npos) {
      return fail(error, DrawingErrorCode::MalformedKeyCombination,
                  "Unclosed '<' in " + quoted(text));
    }
    if (!addNamedModifier(flags, rest.substr(1, close - 1), kAcceleratorModifiers, text, error)) {
      return std::nullopt;
    }
    rest.remove_prefix(close + 1);
  }
  return finish(flags, rest, text, error);
}

std::optional<KeyCombination> KeyCombination::fromDisplayString(StringView text, ErrorPtr* error) {
  if (tooLong(text, error)) return std::nullopt;
  // The key follows the last '+' that is not itself the key ("Ctrl++").
  std::size_t split =
      text.size() >= 2 && text.ends_with(u"++") ? text.size() - 2 : text.rfind(u'+');
  if (text == u"+") split = StringView::npos;
  const StringView keyToken = split == StringView::npos ? text : text.substr(split + 1);
  ModifierFlags flags = ModifierFlags::None;
  StringView modifiers = split == StringView::npos ? StringView() : text.substr(0, split + 1);
  while (!modifiers.empty()) {
    const std::size_t plus = modifiers.find(u'+');
    const StringView name = trimmed(modifiers.substr(0, plus));
    if (!addNamedModifier(flags, name, kDisplayModifiers, text, error)) return std::nullopt;
    modifiers.remove_prefix(plus + 1);
  }
  return finish(flags, keyToken, text, error);
}

std::optional<KeyCombination> KeyCombination::fromSymbolString(StringView text, ErrorPtr* error) {
  if (tooLong(text, error)) return std::nullopt;
  ModifierFlags flags = ModifierFlags::None;
  std::size_t at = 0;
  // The last character is always the key, even a modifier symbol ("⌘⌥"
  // is Command with the key that types ⌥).
  while (at + 1 < text.size()) {
    const std::optional<ModifierFlags> flag = symbolModifier(text, at);
    if (!flag) break;
    if (!addModifier(flags, *flag)) {
      return fail(error, DrawingErrorCode::MalformedKeyCombination,
                  "Repeated modifier symbol in " + quoted(text));
    }
    ++at;  // every modifier symbol is one UTF-16 unit
  }
  return finish(flags, text.substr(at), text, error);
}

std::optional<KeyCombination> KeyCombination::parse(StringView text, ErrorPtr* error) {
  if (!text.empty() && text.front() == u'<' && text.size() > 1) return fromAccelerator(text, error);
  if (symbolModifier(text, 0)) return fromSymbolString(text, error);
  return fromDisplayString(text, error);
}

std::string KeyCombination::xkbKeyName() const {
  // libxkbcommon answers the older alias for these; GTK and people use the
  // newer names.
  if (keysym_ == XKB_KEY_Page_Up) return "Page_Up";
  if (keysym_ == XKB_KEY_Page_Down) return "Page_Down";
  char name[64];
  xkbcommon().keysym_get_name(keysym_, name, sizeof name);
  return name;
}

std::optional<char32_t> KeyCombination::character() const noexcept {
  const char32_t c = xkbcommon().keysym_to_utf32(keysym_);
  if (c == 0 || isControl(c)) return std::nullopt;
  return c;
}

String KeyCombination::acceleratorString() const {
  String out;
  for (const ModifierSpelling& m : kModifiers) {
    if (hasModifier(modifiers_, m.flag)) out += m.accelerator;
  }
  return out + fromUTF8(xkbKeyName());
}

namespace {

// A key's name in the display form: its character (letters upper-case)
// when reading that character back gives this key, else its XKB name:
// keypad keys type the same digits as the main row, and the arrows of the
// symbol form stand for the named keys, not for keys typing arrows.
String displayKeyName(std::uint32_t keysym, const std::optional<char32_t>& character) {
  for (const NamedKey& k : kNamedKeys) {
    if (k.keysym == keysym) return String(k.display);
  }
  String out;
  if (character) appendCodePoint(out, *character);
  const bool isKeySymbol = std::any_of(std::begin(kNamedKeys), std::end(kNamedKeys),
                                       [&](const NamedKey& k) { return k.symbol == out; });
  out.clear();
  if (character && !isKeySymbol && keysymTyping(*character) == keysym) {
    const char32_t upper = xkbcommon().keysym_to_utf32(xkbcommon().keysym_to_upper(keysym));
    appendCodePoint(out, upper && keysymTyping(upper) == keysym ? upper : *character);
    return out;
  }
  char name[64];
  xkbcommon().keysym_get_name(keysym, name, sizeof name);
  return fromUTF8(name);
}

}  // namespace

String KeyCombination::displayString() const {
  String out;
  for (const ModifierSpelling& m : kModifiers) {
    if (hasModifier(modifiers_, m.flag)) out.append(m.display).append(u"+");
  }
  return out + displayKeyName(keysym_, character());
}

String KeyCombination::symbolString() const {
  String out;
  for (const int i : kSymbolOrder) {
    if (hasModifier(modifiers_, kModifiers[i].flag)) out += kModifiers[i].symbol;
  }
  for (const NamedKey& k : kNamedKeys) {
    if (k.keysym == keysym_) return out + String(k.symbol);
  }
  return out + displayKeyName(keysym_, character());
}

Dictionary KeyCombination::dictionaryRepresentation() const {
  Array modifiers;
  for (const ModifierSpelling& m : kModifiers) {
    if (hasModifier(modifiers_, m.flag)) modifiers.push_back(Value(m.stored));
  }
  return Dictionary{{SharedString(u"key"), Value(fromUTF8(xkbKeyName()))},
                    {SharedString(u"modifiers"), Value(std::move(modifiers))}};
}

std::optional<KeyCombination> KeyCombination::fromDictionary(const Dictionary& dictionary,
                                                             ErrorPtr* error) {
  const Value* key = dictionary.find(u"key");
  if (!key || !key->isString() || key->asString()->empty()) {
    return fail(error, DrawingErrorCode::MalformedKeyCombination,
                "A stored key combination needs a \"key\" string");
  }
  ModifierFlags flags = ModifierFlags::None;
  if (const Value* modifiers = dictionary.find(u"modifiers")) {
    const Array* list = modifiers->asArray();
    if (!list) {
      return fail(error, DrawingErrorCode::MalformedKeyCombination,
                  "The \"modifiers\" of a stored key combination must be an array");
    }
    for (const Value& item : *list) {
      const ModifierSpelling* found = nullptr;
      for (const ModifierSpelling& m : kModifiers) {
        if (item.isString() && item.asString()->view() == StringView(m.stored)) found = &m;
      }
      if (!found) {
        return fail(error, DrawingErrorCode::MalformedKeyCombination,
                    "Unknown stored modifier in a key combination");
      }
      flags = flags | found->flag;
    }
  }
  const std::string name = toUTF8(key->asString()->view());
  const xkb_keysym_t keysym = xkbcommon().keysym_from_name(name.c_str(), XKB_KEYSYM_NO_FLAGS);
  if (keysym == XKB_KEY_NoSymbol) {
    return fail(error, DrawingErrorCode::UnknownKey, "Unknown key name '" + name + "'");
  }
  return fromKeysym(flags, keysym, error);
}

void KeyCombination::writeToDefaults(UserDefaults& defaults, StringView key) const {
  defaults.setObject(Value(dictionaryRepresentation()), key);
}

std::optional<KeyCombination> KeyCombination::readFromDefaults(UserDefaults& defaults,
                                                               StringView key, ErrorPtr* error) {
  const std::optional<Value> stored = defaults.objectForKey(key);
  if (!stored) return std::nullopt;
  const Dictionary* dictionary = stored->asDictionary();
  if (!dictionary) {
    return fail(error, DrawingErrorCode::MalformedKeyCombination,
                "The value under " + quoted(key) + " is not a key combination dictionary");
  }
  return fromDictionary(*dictionary, error);
}

}  // namespace lx
