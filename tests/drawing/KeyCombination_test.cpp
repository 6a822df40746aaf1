#include "vantorcore/drawing/KeyCombination.h"

#include <gtest/gtest.h>
#include <xkbcommon/xkbcommon-keysyms.h>

#include <unordered_set>

#include "vantorcore/drawing/DrawingError.h"

namespace lx {
namespace {

constexpr ModifierFlags kNone = ModifierFlags::None, kShift = ModifierFlags::Shift,
                        kControl = ModifierFlags::Control, kOption = ModifierFlags::Option,
                        kCommand = ModifierFlags::Command;

// One table feeds parsing in each form and printing back.
struct Form {
  ModifierFlags modifiers;
  std::uint32_t keysym;
  const char16_t* accelerator;
  const char16_t* display;
  const char16_t* symbols;
};
const Form kForms[] = {
    {kControl | kShift, XKB_KEY_k, u"<Control><Shift>k", u"Ctrl+Shift+K", u"⌃⇧K"},
    {kControl | kShift | kCommand, XKB_KEY_k, u"<Control><Shift><Super>k", u"Ctrl+Shift+Super+K",
     u"⌃⇧⌘K"},
    {kOption, XKB_KEY_F4, u"<Alt>F4", u"Alt+F4", u"⌥F4"},
    {kNone, XKB_KEY_F35, u"F35", u"F35", u"F35"},
    {kCommand, XKB_KEY_Return, u"<Super>Return", u"Super+Return", u"⌘↩"},
    {kNone, XKB_KEY_Escape, u"Escape", u"Esc", u"⎋"},
    {kControl, XKB_KEY_BackSpace, u"<Control>BackSpace", u"Ctrl+Backspace", u"⌃⌫"},
    {kShift, XKB_KEY_Delete, u"<Shift>Delete", u"Shift+Delete", u"⇧⌦"},
    {kControl, XKB_KEY_Tab, u"<Control>Tab", u"Ctrl+Tab", u"⌃⇥"},
    {kControl, XKB_KEY_space, u"<Control>space", u"Ctrl+Space", u"⌃Space"},
    {kOption | kShift, XKB_KEY_Left, u"<Shift><Alt>Left", u"Shift+Alt+Left", u"⌥⇧←"},
    {kNone, XKB_KEY_Down, u"Down", u"Down", u"↓"},
    {kControl, XKB_KEY_Page_Up, u"<Control>Page_Up", u"Ctrl+Page Up", u"⌃⇞"},
    {kControl, XKB_KEY_plus, u"<Control>plus", u"Ctrl++", u"⌃+"},
    {kNone, XKB_KEY_plus, u"plus", u"+", u"+"},
    {kControl, XKB_KEY_1, u"<Control>1", u"Ctrl+1", u"⌃1"},
    {kCommand, XKB_KEY_odiaeresis, u"<Super>odiaeresis", u"Super+Ö", u"⌘Ö"},
    {kCommand, 0x1002325, u"<Super>U2325", u"Super+⌥", u"⌘⌥"},
    {kControl, 0x1002303, u"<Control>U2303", u"Ctrl+⌃", u"⌃⌃"},
    {kControl, XKB_KEY_KP_1, u"<Control>KP_1", u"Ctrl+KP_1", u"⌃KP_1"},
    {kNone, 0x10021DF, u"U21DF", u"U21DF", u"U21DF"},  // typing ⇟, not Page Down
    {kNone, XKB_KEY_XF86AudioPlay, u"XF86AudioPlay", u"XF86AudioPlay", u"XF86AudioPlay"},
};

TEST(KeyCombination, ParsesPrintsAndHashesEveryForm) {
  std::unordered_set<KeyCombination> distinct;
  for (const Form& f : kForms) {
    SCOPED_TRACE(toUTF8(f.accelerator));
    const auto expected = KeyCombination::fromKeysym(f.modifiers, f.keysym);
    ASSERT_TRUE(expected);
    EXPECT_EQ(expected->acceleratorString(), f.accelerator);
    EXPECT_EQ(expected->displayString(), f.display);
    EXPECT_EQ(expected->symbolString(), f.symbols);
    for (const char16_t* text : {f.accelerator, f.display, f.symbols}) {
      ErrorPtr error;
      EXPECT_EQ(KeyCombination::parse(text, &error), expected) << toUTF8(text);
      EXPECT_FALSE(error) << toUTF8(text);
    }
    EXPECT_EQ(KeyCombination::fromAccelerator(f.accelerator), expected);
    EXPECT_EQ(KeyCombination::fromDisplayString(f.display), expected);
    EXPECT_EQ(KeyCombination::fromSymbolString(f.symbols), expected);
    distinct.insert(*expected);
    distinct.insert(*KeyCombination::parse(f.display));
  }
  EXPECT_EQ(distinct.size(), std::size(kForms)) << "equal when parsed, apart otherwise";
  EXPECT_NE(KeyCombination::parse(u"Ctrl+K"), KeyCombination::parse(u"Ctrl+Shift+K"));
}

TEST(KeyCombination, AcceptsOtherSpellings) {
  const auto ctrlK = KeyCombination::fromKeysym(kControl, XKB_KEY_k);
  const auto superReturn = KeyCombination::fromKeysym(kCommand, XKB_KEY_Return);
  const struct {
    const char16_t* text;
    std::optional<KeyCombination> expected;
  } cases[] = {
      {u"<ctrl>K", ctrlK},
      {u"<Primary>k", ctrlK},
      {u"<CTL>k", ctrlK},
      {u"ctrl+k", ctrlK},
      {u"Control + K", ctrlK},
      {u"⌃k", ctrlK},
      {u"<Super>KP_Enter", KeyCombination::fromKeysym(kCommand, XKB_KEY_KP_Enter)},
      {u"Cmd+Enter", superReturn},
      {u"command+return", superReturn},
      {u"<Mod1>a", KeyCombination::fromKeysym(kOption, XKB_KEY_a)},
      {u"Option+A", KeyCombination::fromKeysym(kOption, XKB_KEY_a)},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(KeyCombination::parse(c.text), c.expected) << toUTF8(c.text);
  }
}

TEST(KeyCombination, ClearErrors) {
  const struct {
    const char16_t* text;
    DrawingErrorCode code;
    const char16_t* description;
  } cases[] = {
      {u"", DrawingErrorCode::MalformedKeyCombination, u"Empty key combination"},
      {u"<Control>", DrawingErrorCode::MalformedKeyCombination, u"No key in '<Control>'"},
      {u"<Control", DrawingErrorCode::MalformedKeyCombination, u"Unclosed '<' in '<Control'"},
      {u"<>k", DrawingErrorCode::MalformedKeyCombination, u"Empty modifier in '<>k'"},
      {u"<Hyper>k", DrawingErrorCode::MalformedKeyCombination,
       u"Unknown modifier 'Hyper' in '<Hyper>k'"},
      {u"<Shift><shift>k", DrawingErrorCode::MalformedKeyCombination,
       u"Repeated modifier 'shift' in '<Shift><shift>k'"},
      {u"<Control>NoSuchKey", DrawingErrorCode::UnknownKey,
       u"Unknown key 'NoSuchKey' in '<Control>NoSuchKey'"},
      {u"Ctrl+", DrawingErrorCode::MalformedKeyCombination, u"No key in 'Ctrl+'"},
      {u"+K", DrawingErrorCode::MalformedKeyCombination, u"Empty modifier in '+K'"},
      {u"Ctrl++K", DrawingErrorCode::MalformedKeyCombination, u"Empty modifier in 'Ctrl++K'"},
      {u"Hyper+K", DrawingErrorCode::MalformedKeyCombination,
       u"Unknown modifier 'Hyper' in 'Hyper+K'"},
      {u"Ctrl+Foo", DrawingErrorCode::UnknownKey, u"Unknown key 'Foo' in 'Ctrl+Foo'"},
      {u"⌃⌃K", DrawingErrorCode::MalformedKeyCombination, u"Repeated modifier symbol in '⌃⌃K'"},
      {u"Ctrl+\t", DrawingErrorCode::UnknownKey, u"Unknown key '\t' in 'Ctrl+\t'"},
      {u"<Control>Shift_L", DrawingErrorCode::UnknownKey,
       u"Keysym 0xFFE1 is not a key a combination can use"},
      {u"Ctrl+\x7F", DrawingErrorCode::UnknownKey, u"Unknown key '\x7F' in 'Ctrl+\x7F'"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.text));
    ErrorPtr error;
    EXPECT_FALSE(KeyCombination::parse(c.text, &error));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain(), LXDrawingErrorDomain);
    EXPECT_EQ(error->code(), static_cast<std::int64_t>(c.code));
    EXPECT_EQ(error->localizedDescription(), c.description);
  }
  // The length limit, at it and one past it.
  const String atLimit =
      u"<Control>" + String(KeyCombination::kMaximumTextLength - 10, u' ') + u"k";
  ASSERT_EQ(atLimit.size(), KeyCombination::kMaximumTextLength);
  EXPECT_TRUE(KeyCombination::fromAccelerator(atLimit));
  EXPECT_FALSE(KeyCombination::fromAccelerator(atLimit + u" "));
}

TEST(KeyCombination, KeysymsAndCharacters) {
  EXPECT_FALSE(KeyCombination::fromKeysym(kNone, XKB_KEY_NoSymbol));
  EXPECT_FALSE(KeyCombination::fromKeysym(kNone, XKB_KEY_Super_R));
  EXPECT_FALSE(KeyCombination::fromKeysym(kNone, XKB_KEY_ISO_Level3_Shift));
  EXPECT_FALSE(KeyCombination::fromKeysym(kNone, 0xFFFFFFFF));
  EXPECT_EQ(KeyCombination::fromKeysym(kNone, XKB_KEY_K)->keysym(), XKB_KEY_k);
  EXPECT_EQ(KeyCombination::fromCharacter(kShift, U'Q')->xkbKeyName(), "q");
  EXPECT_EQ(KeyCombination::fromCharacter(kNone, U'€')->xkbKeyName(), "EuroSign");
  EXPECT_EQ(KeyCombination::fromCharacter(kNone, U'€')->character(), U'€');
  EXPECT_FALSE(KeyCombination::fromCharacter(kNone, U'\n'));
  EXPECT_FALSE(KeyCombination::fromKeysym(kNone, XKB_KEY_Return)->character());
  // Bits beyond the four modifiers are dropped.
  EXPECT_EQ(
      KeyCombination::fromKeysym(static_cast<ModifierFlags>(0xF2), XKB_KEY_a)->modifierFlags(),
      kControl);
}

TEST(KeyCombination, StoredInUserDefaults) {
  const auto defaults = UserDefaults::suiteNamed(u"lx.test.KeyCombination");
  for (const Form& f : kForms) {
    const auto combination = KeyCombination::fromKeysym(f.modifiers, f.keysym);
    combination->writeToDefaults(*defaults, u"shortcut");
    EXPECT_EQ(KeyCombination::readFromDefaults(*defaults, u"shortcut"), combination);
  }
  EXPECT_EQ(
      KeyCombination::parse(u"Ctrl+Shift+K")->dictionaryRepresentation(),
      (Dictionary{{SharedString(u"key"), Value(u"k")},
                  {SharedString(u"modifiers"), Value(Array{Value(u"control"), Value(u"shift")})}}));
  ErrorPtr error;
  EXPECT_FALSE(KeyCombination::readFromDefaults(*defaults, u"absent", &error));
  EXPECT_FALSE(error);

  auto stored = [](Value key, std::optional<Value> modifiers = std::nullopt) {
    Dictionary d{{SharedString(u"key"), std::move(key)}};
    if (modifiers) d.set(SharedString(u"modifiers"), std::move(*modifiers));
    return Value(std::move(d));
  };
  constexpr auto kMalformed = DrawingErrorCode::MalformedKeyCombination;
  constexpr auto kUnknown = DrawingErrorCode::UnknownKey;
  const struct {
    const char* name;
    Value stored;
    DrawingErrorCode code;
  } bad[] = {
      {"not a dictionary", Value(u"Ctrl+K"), kMalformed},
      {"no key", Value(Dictionary{}), kMalformed},
      {"empty key", stored(Value(u"")), kMalformed},
      {"number key", stored(Value(7)), kMalformed},
      {"modifiers not a list", stored(Value(u"k"), Value(3)), kMalformed},
      {"unknown modifier", stored(Value(u"k"), Value(Array{Value(u"hyper")})), kMalformed},
      {"unknown key", stored(Value(u"Foo")), kUnknown},
      {"modifier key", stored(Value(u"Control_L")), kUnknown},
  };
  for (const auto& b : bad) {
    SCOPED_TRACE(b.name);
    defaults->setObject(b.stored, u"shortcut");
    ErrorPtr readError;
    EXPECT_FALSE(KeyCombination::readFromDefaults(*defaults, u"shortcut", &readError));
    ASSERT_TRUE(readError);
    EXPECT_EQ(readError->code(), static_cast<std::int64_t>(b.code));
  }
  // A missing modifier list means none.
  EXPECT_EQ(KeyCombination::fromDictionary(*stored(Value(u"F1")).asDictionary()),
            KeyCombination::fromKeysym(kNone, XKB_KEY_F1));
}

}  // namespace
}  // namespace lx
