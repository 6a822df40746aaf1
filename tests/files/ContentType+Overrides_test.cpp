#include "vantorcore/files/ContentType+Overrides.h"

#include <gtest/gtest.h>

#include <thread>

#include "files/TypeLookupTables.h"

namespace lx {
namespace {

ContentType typeNamed(StringView identifier) {
  return ContentType::typeWithIdentifier(identifier).value();
}

// Every test starts with an empty cache and leaves no override behind.
class TypeOverridesTest : public testing::Test {
 protected:
  void SetUp() override { lx_removeAllCachedTypeLookups(); }
  void TearDown() override {
    for (const auto& [tagClass, tags] : detail::typeOverrideKeys()) {
      for (const String& tag : tags) lx_setTypeOverride(std::nullopt, tag, tagClass);
    }
    lx_removeAllCachedTypeLookups();
  }
};

TEST_F(TypeOverridesTest, AnOverrideWinsEvenAgainstTheConstraintUntilRemoved) {
  lx_setTypeOverrideForFilenameExtension(ContentType::plainText(), u"png");
  const struct {
    const char16_t* extension;
    std::optional<ContentType> supertype;
    const char16_t* identifier;
  } cases[] = {
      {u"png", ContentType::data(), u"public.plain-text"},
      {u"png", ContentType::image(), u"public.plain-text"},
      {u"png", std::nullopt, u"public.plain-text"},
      {u"PNG", ContentType::image(), u"public.png"},  // tags are exact
      {u"gif", ContentType::image(), u"com.compuserve.gif"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.extension));
    const auto type = lx_typeConsideringOverridesWithFilenameExtension(c.extension, c.supertype);
    ASSERT_TRUE(type);
    EXPECT_EQ(type->identifier(), c.identifier);
  }
  EXPECT_EQ(lx_typeOverrideForFilenameExtension(u"png"), ContentType::plainText());
  EXPECT_FALSE(lx_typeOverrideForMIMEType(u"png"));

  lx_setTypeOverrideForMIMEType(ContentType::plainText(), u"image/png");
  EXPECT_EQ(lx_typeConsideringOverridesWithMIMEType(u"image/png"), ContentType::plainText());
  lx_setTypeOverrideForMIMEType(std::nullopt, u"image/png");
  EXPECT_FALSE(lx_typeOverrideForMIMEType(u"image/png"));
  EXPECT_EQ(lx_typeConsideringOverridesWithMIMEType(u"image/png"), typeNamed(u"public.png"));
  lx_setTypeOverrideForMIMEType(std::nullopt, u"image/never-set");  // nothing to remove
}

TEST_F(TypeOverridesTest, TheFirstConstraintDecidesTheCachedAnswer) {
  const auto first = lx_typeConsideringOverridesWithFilenameExtension(u"png", ContentType::text());
  const auto second =
      lx_typeConsideringOverridesWithFilenameExtension(u"png", ContentType::image());
  ASSERT_TRUE(first && second);
  EXPECT_TRUE(first->isDynamic());
  EXPECT_EQ(*second, *first);
  EXPECT_FALSE(second->conformsTo(ContentType::image()));
  lx_removeAllCachedTypeLookups();
  EXPECT_EQ(lx_typeConsideringOverridesWithFilenameExtension(u"png", ContentType::image()),
            typeNamed(u"public.png"));
}

// Empty tags and classes take no override; they and unknown ones have no
// answer, and no answer is cached.
TEST_F(TypeOverridesTest, EmptyOrUnknownTagsGiveAbsentAndCacheNothing) {
  const struct {
    StringView tag, tagClass;
    bool empty;
  } cases[] = {
      {u"", UTTagClassFilenameExtension, true},
      {u"", UTTagClassMIMEType, true},
      {u"txt", u"", true},
      {u"png", u"com.example.unknown-class", false},
      {u"not-a-mime-type", UTTagClassMIMEType, false},
      {u"a/b", UTTagClassFilenameExtension, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.tag) + "/" + toUTF8(c.tagClass));
    if (c.empty) lx_setTypeOverride(ContentType::plainText(), c.tag, c.tagClass);
    EXPECT_FALSE(lx_typeOverrideForTag(c.tag, c.tagClass));
    EXPECT_FALSE(lx_typeConsideringOverridesWithTag(c.tag, c.tagClass, std::nullopt));
  }
  EXPECT_FALSE(lx_typeConsideringOverridesWithFilenameExtension(u""));
  EXPECT_FALSE(lx_typeConsideringOverridesWithMIMEType(u""));
  for (const auto& [tagClass, tags] : detail::typeOverrideKeys()) EXPECT_TRUE(tags.empty());
  EXPECT_TRUE(detail::typeLookupCacheKeys().empty());
}

TEST_F(TypeOverridesTest, OverridesNestByClassAndTheCacheByTag) {
  lx_setTypeOverrideForFilenameExtension(ContentType::plainText(), u"conf");
  lx_setTypeOverrideForFilenameExtension(ContentType::plainText(), u"cfg");
  lx_setTypeOverrideForMIMEType(ContentType::plainText(), u"text/x-conf");
  EXPECT_EQ(detail::typeOverrideKeys(),
            (detail::KeyTree{{String(UTTagClassFilenameExtension), {u"cfg", u"conf"}},
                             {String(UTTagClassMIMEType), {u"text/x-conf"}}}));
  lx_typeConsideringOverridesWithFilenameExtension(u"png");
  lx_typeConsideringOverridesWithMIMEType(u"image/png");
  lx_typeConsideringOverridesWithFilenameExtension(u"conf");  // an override: not cached
  EXPECT_EQ(detail::typeLookupCacheKeys(),
            (detail::KeyTree{{u"image/png", {String(UTTagClassMIMEType)}},
                             {u"png", {String(UTTagClassFilenameExtension)}}}));
}

TEST_F(TypeOverridesTest, TheCacheEmptiesWhenOneTagMoreThanItsLimitArrives) {
  const auto tagNumber = [](std::size_t n) { return u"x" + fromUTF8(std::to_string(n)); };
  const struct {
    std::size_t tags;
    bool firstStillCached;
  } cases[] = {
      {kTypeLookupCacheCountLimit, true},
      {kTypeLookupCacheCountLimit + 1, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.tags);
    lx_removeAllCachedTypeLookups();
    for (std::size_t n = 0; n < c.tags; ++n) {
      lx_typeConsideringOverridesWithFilenameExtension(tagNumber(n), ContentType::data());
    }
    // A cached answer ignores the new constraint; a fresh one honours it.
    const auto first =
        lx_typeConsideringOverridesWithFilenameExtension(tagNumber(0), ContentType::image());
    ASSERT_TRUE(first);
    EXPECT_EQ(first->conformsTo(ContentType::image()), !c.firstStillCached);
  }
}

TEST_F(TypeOverridesTest, DirectSupertypesComeFromTheDeclaration) {
  const struct {
    ContentType type;
    std::vector<ContentType> supertypes;
  } cases[] = {
      {typeNamed(u"public.png"), {ContentType::image()}},
      {ContentType::text(), {ContentType::data(), ContentType::content()}},
      {ContentType::item(), {}},
      {*ContentType::typeWithFilenameExtension(u"xyzzy", ContentType::text()),
       {ContentType::text()}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.type.identifier()));
    EXPECT_EQ(lx_directSupertypes(c.type), c.supertypes);
  }
  EXPECT_EQ(lx_declaringBundleURL(ContentType::item()), ContentType::item().declaringBundleURL());
}

TEST_F(TypeOverridesTest, ConcurrentSettersAndLookupsFinish) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t] {
      const String tag = u"t" + fromUTF8(std::to_string(t));
      for (int i = 0; i < 500; ++i) {
        lx_setTypeOverrideForFilenameExtension(
            i % 2 ? std::optional(ContentType::plainText()) : std::nullopt, tag);
        EXPECT_TRUE(lx_typeConsideringOverridesWithFilenameExtension(tag));
        EXPECT_TRUE(lx_typeConsideringOverridesWithFilenameExtension(u"png"));
        if (i % 100 == 0) lx_removeAllCachedTypeLookups();
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(lx_typeOverrideForFilenameExtension(u"t0"), ContentType::plainText());
}

}  // namespace
}  // namespace lx
