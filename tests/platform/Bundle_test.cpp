#include "vantorcore/platform/Bundle.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "support/Catalogue.h"
#include "support/TestSupport.h"
#include "vantorcore/platform/ProcessInfo.h"

namespace lx {
namespace {

namespace fs = std::filesystem;

constexpr char kPluginInfo[] = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0"><dict>
  <key>CFBundleIdentifier</key><string>com.example.frame-plugin</string>
  <key>CFBundleExecutable</key><string>Plugin</string>
</dict></plist>)";

// A bundle folder with an Info.plist and French tables.
fs::path makePlugin() {
  const fs::path folder = test::makeTemporaryFolder("plugin");
  test::writeFile(folder / "Info.plist", kPluginInfo);
  EXPECT_TRUE(test::writeCatalogue(folder, "fr", "FrameGreetings",
                                   "msgid \"Open\"\nmsgstr \"Ouvrir\"\n\n"
                                   "msgid \"Café\"\nmsgstr \"Kaffee ☕\"\n"));
  EXPECT_TRUE(
      test::writeCatalogue(folder, "fr", "Localizable", "msgid \"Quit\"\nmsgstr \"Quitter\"\n"));
  return folder;
}

TEST(BundleTest, MainBundleIsTheExecutablesFolder) {
  Bundle& main = Bundle::main();
  EXPECT_EQ(&main, &Bundle::main());
  EXPECT_EQ(main.bundlePath(), fromUTF8(fs::read_symlink("/proc/self/exe").parent_path().string()));
  EXPECT_EQ(main.executableName(), ProcessInfo::processName());
  EXPECT_EQ(main.localeFolder(), main.bundlePath() + u"/locale");
}

TEST(BundleTest, SetInfoDictionaryDescribesTheHost) {
  Bundle& main = Bundle::main();
  const Dictionary saved = main.infoDictionary();
  main.setInfoDictionary(
      {{u"CFBundleIdentifier", u"com.example.frame-host"}, {u"CFBundleName", u"Frame Host"}});
  EXPECT_EQ(main.bundleIdentifier(), u"com.example.frame-host");
  EXPECT_EQ(Bundle::bundleWithIdentifier(u"com.example.frame-host"), &main);
  EXPECT_EQ(main.objectForInfoDictionaryKey(u"CFBundleName"), Value(u"Frame Host"));
  EXPECT_EQ(main.objectForInfoDictionaryKey(u"CFBundleVersion"), std::nullopt);
  main.setInfoDictionary(saved);
  EXPECT_EQ(Bundle::bundleWithIdentifier(u"com.example.frame-host"), nullptr);
}

TEST(BundleTest, MainBundleNamesTheProcessAsItsExecutable) {
  Bundle& main = Bundle::main();
  const Dictionary saved = main.infoDictionary();
  const struct {
    const char* name;
    Dictionary info;
    Value executable;
  } cases[] = {
      {"no key", {}, Value(ProcessInfo::processName())},
      {"a named executable wins", {{u"CFBundleExecutable", u"Host"}}, Value(u"Host")},
      {"an empty name is kept as given", {{u"CFBundleExecutable", u""}}, Value(u"")},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    main.setInfoDictionary(c.info);
    EXPECT_EQ(main.objectForInfoDictionaryKey(u"CFBundleExecutable"), c.executable);
  }
  main.setInfoDictionary(saved);
}

TEST(BundleTest, FrameworkBundleIsFoundByIdentifier) {
  Bundle& framework = Bundle::framework();
  EXPECT_EQ(Bundle::bundleWithIdentifier(u"com.vantor.VantorCore"), &framework);
  EXPECT_EQ(framework.objectForInfoDictionaryKey(u"CFBundleName"), Value(u"VantorCore"));
  // The test programs link the library's code in, so it lives beside them.
  EXPECT_EQ(framework.bundlePath(), Bundle::main().bundlePath());
  EXPECT_NE(&framework, &Bundle::main());
  EXPECT_EQ(Bundle::bundleWithIdentifier(u"com.example.nothing"), nullptr);
  EXPECT_EQ(Bundle::bundleWithIdentifier(u""), nullptr);
}

TEST(BundleTest, ClassesAreAssignedToTheLibraryOrTheHost) {
  const Class& library = ClassRegistry::registerClass(u"LXFrameTestThing", &Object::staticClass());
  const Class& host = ClassRegistry::registerClass(u"FrameTestWidget", &Object::staticClass());
  const Class& hostSubclass = ClassRegistry::registerClass(u"FrameTestThing", &library);
  const Class& marked =
      ClassRegistry::registerClass(u"FrameTestPlatformType", &Object::staticClass());
  Bundle::markFrameworkClass(marked);
  EXPECT_EQ(&Bundle::bundleForClass(Object::staticClass()), &Bundle::framework());
  EXPECT_EQ(&Bundle::bundleForClass(library), &Bundle::framework());
  EXPECT_EQ(&Bundle::bundleForClass(marked), &Bundle::framework());
  EXPECT_EQ(&Bundle::bundleForClass(host), &Bundle::main());
  EXPECT_EQ(&Bundle::bundleForClass(hostSubclass), &Bundle::main());
}

TEST(BundleTest, BundlesByPathAreMadeOnceAndRegistered) {
  const fs::path folder = makePlugin();
  Bundle* plugin = Bundle::bundleWithPath(fromUTF8(folder.string()));
  ASSERT_NE(plugin, nullptr);
  EXPECT_EQ(Bundle::bundleWithPath(fromUTF8((folder / "locale" / "..").string())), plugin);
  EXPECT_EQ(plugin->bundleIdentifier(), u"com.example.frame-plugin");
  EXPECT_EQ(plugin->executableName(), u"Plugin");
  EXPECT_EQ(Bundle::bundleWithIdentifier(u"com.example.frame-plugin"), plugin);

  EXPECT_EQ(Bundle::bundleWithPath(fromUTF8((folder / "missing").string())), nullptr);
  EXPECT_EQ(Bundle::bundleWithPath(fromUTF8((folder / "Info.plist").string())), nullptr);

  // An unreadable Info.plist still makes a bundle, with an empty dictionary.
  const fs::path brokenFolder = test::makeTemporaryFolder("broken");
  test::writeFile(brokenFolder / "Info.plist", "<plist><dict><key>oops");
  Bundle* broken = Bundle::bundleWithPath(fromUTF8(brokenFolder.string()));
  ASSERT_NE(broken, nullptr);
  EXPECT_TRUE(broken->infoDictionary().empty());
  EXPECT_EQ(broken->bundleIdentifier(), std::nullopt);
  EXPECT_EQ(broken->executableName(), std::nullopt);
}

TEST(BundleTest, LocalizedStringsComeFromTheBundlesCatalogues) {
  Bundle* plugin = Bundle::bundleWithPath(fromUTF8(makePlugin().string()));
  ASSERT_NE(plugin, nullptr);
  test::ScopedMessageLanguage french("fr");
  struct Case {
    const char16_t* key;
    const char16_t* value;
    std::optional<StringView> table;
    String expected;
  } cases[] = {
      {u"Open", u"", u"FrameGreetings", u"Ouvrir"},
      {u"Café", u"", u"FrameGreetings", u"Kaffee ☕"},
      {u"Open", u"Fallback", u"FrameGreetings", u"Ouvrir"},
      {u"Close", u"", u"FrameGreetings", u"Close"},         // missing: the key
      {u"Close", u"Fermer", u"FrameGreetings", u"Fermer"},  // missing: a non-empty value
      {u"Quit", u"", std::nullopt, u"Quitter"},             // the default table
      {u"Quit", u"", u"", u"Quitter"},
      {u"Open", u"", u"NoSuchTable", u"Open"},
      {u"Open", u"", u"../fr/LC_MESSAGES/FrameGreetings", u"Open"},  // not a path
      {u"", u"", u"FrameGreetings", u""},                            // never the catalogue header
      {u"", u"Empty", u"FrameGreetings", u"Empty"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.key));
    EXPECT_EQ(plugin->localizedString(c.key, c.value, c.table), c.expected);
  }
  const StringView withNul(u"Open\0", 5);  // not a C string: not looked up
  EXPECT_EQ(plugin->localizedString(withNul, u"", u"FrameGreetings"), String(withNul));
}

TEST(BundleTest, EachBundleHasItsOwnTables) {
  const fs::path other = test::makeTemporaryFolder("other");
  ASSERT_TRUE(
      test::writeCatalogue(other, "fr", "Localizable", "msgid \"Quit\"\nmsgstr \"Sortir\"\n"));
  Bundle* first = Bundle::bundleWithPath(fromUTF8(makePlugin().string()));
  Bundle* second = Bundle::bundleWithPath(fromUTF8(other.string()));
  ASSERT_TRUE(first && second);
  test::ScopedMessageLanguage french("fr");
  EXPECT_EQ(first->localizedString(u"Quit"), u"Quitter");
  EXPECT_EQ(second->localizedString(u"Quit"), u"Sortir");
  EXPECT_EQ(Bundle::main().localizedString(u"Quit"), u"Quit");
}

TEST(BundleTest, UntranslatedLocaleShowsKeys) {
  // The test process never calls setlocale, so gettext stays in "C".
  EXPECT_EQ(Bundle::bundleWithPath(fromUTF8(makePlugin().string()))
                ->localizedString(u"Open", u"", u"FrameGreetings"),
            u"Open");
}

}  // namespace
}  // namespace lx
