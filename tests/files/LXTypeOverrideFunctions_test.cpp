#include "vantorcore/files/LXTypeOverrideFunctions.h"

#include <gtest/gtest.h>

#include "vantorcore/files/ContentType+Overrides.h"
#include "vantorcore/files/ContentTypeOverrides.h"

namespace lx {
namespace {

constexpr StringView kExtension = UTTagClassFilenameExtension;

TEST(LXTypeOverrideFunctionsTest, IdentifiersGoThroughTheSameTables) {
  lx_removeAllCachedTypeLookups();
  LXTypeRegisterOverrideIdentifierForTag(u"public.plain-text", kExtension, u"nfo");
  const struct {
    const char16_t* tag;
    std::optional<StringView> conformingTo;
    std::optional<String> identifier;
  } cases[] = {
      {u"nfo", u"public.image", u"public.plain-text"},  // the override wins
      {u"png", u"public.data", u"public.png"},
      {u"jpg", std::nullopt, u"public.jpeg"},
      {u"gif", u"no.such.type", u"com.compuserve.gif"},  // no constraint
      {u"", u"public.data", std::nullopt},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.tag));
    EXPECT_EQ(LXTypeCreatePreferredIdentifierForTag(kExtension, c.tag, c.conformingTo),
              c.identifier);
  }
  EXPECT_EQ(LXTypeGetOverrideIdentifierForTag(kExtension, u"nfo"), u"public.plain-text");
  EXPECT_EQ(lx_typeOverrideForFilenameExtension(u"nfo"), ContentType::plainText());
  EXPECT_EQ(ContentTypeOverrides::overrideType(FilenameExtension{u"nfo"}),
            ContentType::plainText());
  // An identifier that names no type removes the override, as an absent type does.
  LXTypeRegisterOverrideIdentifierForTag(u"no.such.type", kExtension, u"nfo");
  EXPECT_FALSE(LXTypeGetOverrideIdentifierForTag(kExtension, u"nfo"));
  LXTypeRegisterOverrideIdentifierForTag(u"public.plain-text", kExtension, u"nfo");
  LXTypeUnregisterOverrideIdentifierForTag(kExtension, u"nfo");
  EXPECT_FALSE(LXTypeGetOverrideIdentifierForTag(kExtension, u"nfo"));
  lx_removeAllCachedTypeLookups();
}

TEST(LXTypeOverrideFunctionsTest, TheNewerInterfaceFormMatchesTheClassOperations) {
  lx_removeAllCachedTypeLookups();
  ContentTypeOverrides::setOverride(ContentType::plainText(), MIMEType{u"application/x-nfo"});
  EXPECT_EQ(ContentTypeOverrides::type(MIMEType{u"application/x-nfo"}, ContentType::image()),
            ContentType::plainText());
  EXPECT_EQ(ContentTypeOverrides::overrideType(u"application/x-nfo", UTTagClassMIMEType),
            ContentType::plainText());
  ContentTypeOverrides::setOverride(std::nullopt, u"application/x-nfo", UTTagClassMIMEType);
  EXPECT_FALSE(lx_typeOverrideForMIMEType(u"application/x-nfo"));
  EXPECT_EQ(ContentTypeOverrides::type(FilenameExtension{u"png"}),
            ContentType::typeWithIdentifier(u"public.png"));
  EXPECT_EQ(ContentTypeOverrides::directSupertypes(ContentType::plainText()),
            std::vector<ContentType>{ContentType::text()});
  EXPECT_TRUE(ContentTypeOverrides::declaringBundleURL(ContentType::plainText()));
  lx_removeAllCachedTypeLookups();
}

}  // namespace
}  // namespace lx
