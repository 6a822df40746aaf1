#include "vantorcore/text/VantorCoreLocale.h"

#include <gtest/gtest.h>

#include "support/Catalogue.h"
#include "support/TestSupport.h"
#include "vantorcore/platform/Error.h"

namespace lx {
namespace {

TEST(VantorCoreLocaleTest, NonLocalizedStringIsItsArgument) {
  const String text = u"Untranslated ✓";
  const StringView result = LXNonLocalizedString(text);
  EXPECT_EQ(result.data(), text.data());
  EXPECT_EQ(result.size(), text.size());
}

TEST(VantorCoreLocaleTest, MissingEntriesYieldTheKey) {
  const char16_t* keys[] = {u"No such key", u"Ünïcödé", u"%@ and %d"};
  for (const char16_t* key : keys) {
    SCOPED_TRACE(toUTF8(key));
    EXPECT_EQ(LXLocal(key), key);
    EXPECT_EQ(LXAppLocal(key), key);
    EXPECT_EQ(LXLocalizedString(key, nullptr), key);
    EXPECT_EQ(LXLocalizedStringFromTable(key, nullptr, u"NoTable"), key);
    EXPECT_EQ(LXLocalizedStringFromTable(key, &Bundle::framework(), std::nullopt), key);
  }
  EXPECT_EQ(LXLocal(u""), u"");
}

TEST(VantorCoreLocaleTest, LookupsUseTheGivenBundleAndTable) {
  const auto folder = test::makeTemporaryFolder("locale-bundle");
  ASSERT_TRUE(test::writeCatalogue(folder, "de", "FrameLocaleStrings",
                                   "msgid \"Save\"\nmsgstr \"Sichern\"\n"));
  ASSERT_TRUE(
      test::writeCatalogue(folder, "de", "Localizable", "msgid \"Save\"\nmsgstr \"Speichern\"\n"));
  const Bundle* bundle = Bundle::bundleWithPath(fromUTF8(folder.string()));
  ASSERT_NE(bundle, nullptr);
  test::ScopedMessageLanguage german("de");
  EXPECT_EQ(LXLocalizedStringFromTable(u"Save", bundle, u"FrameLocaleStrings"), u"Sichern");
  EXPECT_EQ(LXLocalizedString(u"Save", bundle), u"Speichern");
  EXPECT_EQ(LXLocalizedString(u"Load", bundle), u"Load");
  EXPECT_EQ(LXLocalizedStringFromTable(u"Save", nullptr, u"FrameLocaleStrings"), u"Save");
  // Which classes belong to the library is Bundle's rule, tested there.
  EXPECT_EQ(&LXBundleForClass(Object::staticClass()), &Bundle::framework());
}

}  // namespace
}  // namespace lx
