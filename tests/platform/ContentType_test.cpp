#include "vantorcore/platform/ContentType.h"

#include <gtest/gtest.h>

#include "support/TestSupport.h"
#include "vantorcore/platform/Log.h"

namespace lx {
namespace {

String folderOf(const std::filesystem::path& path) { return fromUTF8(path.native()); }

// Each test builds the registry it needs and leaves the system's behind.
class ContentTypeTest : public testing::Test {
 protected:
  void TearDown() override { ContentType::reloadRegistry(); }

  static void useBuiltInTableOnly() { ContentType::reloadRegistry(std::vector<String>{}); }

  // A shared-mime-info folder with the three files.
  static std::filesystem::path makeDatabase(std::string_view globs, std::string_view subclasses,
                                            std::string_view aliases) {
    const auto folder = test::makeTemporaryFolder("mime");
    test::writeFile(folder / "globs2", globs);
    test::writeFile(folder / "subclasses", subclasses);
    test::writeFile(folder / "aliases", aliases);
    return folder;
  }

  // Two owners for some extensions, a differently cased glob, aliases, a
  // subclass loop, a pattern glob and a whole-name glob.
  static std::filesystem::path makeExampleDatabase() {
    return makeDatabase(
        "50:text/x-matlab:*.m\n"
        "50:text/x-objcsrc:*.m\n"
        "50:text/vnd.trolltech.linguist:*.ts\n"
        "50:video/mp2t:*.ts\n"
        "50:video/mp2t:*.m2t\n"
        "50:text/x-c++src:*.C:cs\n"
        "50:text/x-csrc:*.c:cs\n"
        "80:application/x-zz:*.zz\n"
        "30:application/x-yy:*.zz\n"
        "50:application/x-qq:*.QQ\n"
        "50:image/x-foo+xml:*.foo\n"
        "50:application/x-pattern:*.[ab]x\n"
        "50:application/x-named:makefile\n",
        "image/x-foo+xml application/xml\n"
        "application/x-loop-a application/x-loop-b\n"
        "application/x-loop-b application/x-loop-a\n",
        "image/x-old-foo image/x-foo+xml\n"
        "application/x-mp2t video/mp2t\n");
  }

  static String identifierFor(StringView tag, StringView tagClass,
                              std::optional<StringView> supertype = u"public.data") {
    std::optional<ContentType> constraint;
    if (supertype) constraint = ContentType::typeWithIdentifier(*supertype);
    const auto type = ContentType::typeWithTag(tag, tagClass, constraint);
    return type ? type->identifier() : u"(absent)";
  }
};

// The same tag can name different types in each registry: the built-in table
// alone, the example database over it, and the machine's own database.
TEST_F(ContentTypeTest, TagsResolveInEachRegistry) {
  const std::vector<String> builtIn, example{folderOf(makeExampleDatabase())};
  const std::vector<String> system{u"/usr/share/mime"};
  const StringView ext = UTTagClassFilenameExtension, mime = UTTagClassMIMEType;
  const struct {
    const std::vector<String>* folders;
    const char16_t* tag;
    StringView tagClass;
    const char16_t* identifier;
    std::optional<StringView> supertype = u"public.data";
  } cases[] = {
      {&builtIn, u"png", ext, u"public.png"},
      {&builtIn, u"PNG", ext, u"public.png", u"public.image"},
      {&builtIn, u"txt", ext, u"public.plain-text", std::nullopt},
      {&builtIn, u"ts", ext, u"public.mpeg-2-transport-stream"},
      {&builtIn, u"m", ext, u"public.objective-c-source"},
      {&builtIn, u"text/plain", mime, u"public.plain-text", u"public.text"},
      {&builtIn, u"IMAGE/PNG", mime, u"public.png"},
      {&builtIn, u"inode/directory", mime, u"public.folder", std::nullopt},
      {&builtIn, u"", ext, u"(absent)"},
      {&builtIn, u"png", u"", u"(absent)"},
      {&builtIn, u"png", u"com.apple.ostype", u"(absent)"},
      {&builtIn, u"a/b", ext, u"(absent)"},
      {&builtIn, u"plain", mime, u"(absent)"},
      {&builtIn, u"text/", mime, u"(absent)"},
      {&builtIn, u"/plain", mime, u"(absent)"},
      {&builtIn, u"text/pl ain", mime, u"(absent)"},
      {&example, u"m", ext, u"public.objective-c-source"},
      {&example, u"ts", ext, u"public.mpeg-2-transport-stream"},
      {&example, u"m2t", ext, u"public.mpeg-2-transport-stream"},
      {&example, u"application/x-mp2t", mime, u"public.mpeg-2-transport-stream"},
      {&example, u"c", ext, u"public.c-source"},
      {&example, u"zz", ext, u"org.freedesktop.mime.application.x-zz"},
      {&example, u"qq", ext, u"org.freedesktop.mime.application.x-qq"},
      {&example, u"foo", ext, u"org.freedesktop.mime.image.x-foo-xml"},
      {&example, u"image/x-old-foo", mime, u"org.freedesktop.mime.image.x-foo-xml"},
      {&example, u"application/x-loop-a", mime, u"org.freedesktop.mime.application.x-loop-a"},
      // A constraint picks an owner that lost the tag.
      {&example, u"ts", ext, u"org.freedesktop.mime.text.vnd.trolltech.linguist", u"public.text"},
      {&system, u"py", ext, u"public.python-script"},
      {&system, u"ts", ext, u"public.mpeg-2-transport-stream"},
      {&system, u"m", ext, u"public.objective-c-source"},
      {&system, u"otf", ext, u"public.opentype-font"},
      {&system, u"heic", ext, u"public.heic"},
      {&system, u"image/heic", mime, u"public.heic"},
      {&system, u"text/x-c", mime, u"public.c-source"},
      {&system, u"go", ext, u"org.freedesktop.mime.text.x-go"},
  };
  const std::vector<String>* loaded = nullptr;
  for (const auto& c : cases) {
    if (c.folders != loaded) {
      if (c.folders == &system && !std::filesystem::exists("/usr/share/mime/globs2")) {
        GTEST_SKIP() << "no shared-mime-info";
      }
      ContentType::reloadRegistry(*c.folders);
      loaded = c.folders;
    }
    SCOPED_TRACE(toUTF8((c.folders->empty() ? u"built-in" : c.folders->front()) + u": " + c.tag));
    EXPECT_EQ(identifierFor(c.tag, c.tagClass, c.supertype), c.identifier);
  }
  EXPECT_TRUE(ContentType::typeWithFilenameExtension(u"go")->conformsTo(ContentType::plainText()));
}

TEST_F(ContentTypeTest, ConformanceFollowsTheDeclaredGraph) {
  useBuiltInTableOnly();
  const struct {
    const char16_t* type;
    const char16_t* supertype;
    bool conforms;
  } cases[] = {
      {u"public.png", u"public.png", true},
      {u"public.png", u"public.image", true},
      {u"public.png", u"public.data", true},
      {u"public.png", u"public.item", true},
      {u"public.png", u"public.content", true},
      {u"public.png", u"public.text", false},
      {u"public.c-source", u"public.plain-text", true},
      {u"public.python-script", u"public.source-code", true},
      {u"public.folder", u"public.directory", true},
      {u"public.folder", u"public.data", false},
      {u"com.apple.package", u"public.directory", true},
      {u"org.openxmlformats.wordprocessingml.document", u"public.archive", true},
      {u"public.data", u"public.png", false},
      {u"public.item", u"public.data", false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.type) + " -> " + toUTF8(c.supertype));
    const auto type = ContentType::typeWithIdentifier(c.type);
    const auto supertype = ContentType::typeWithIdentifier(c.supertype);
    ASSERT_TRUE(type && supertype);
    EXPECT_EQ(type->conformsTo(*supertype), c.conforms);
  }
}

TEST_F(ContentTypeTest, AConstraintPassesOverTypesThatDoNotConform) {
  useBuiltInTableOnly();
  const auto type = ContentType::typeWithFilenameExtension(u"png", ContentType::text());
  ASSERT_TRUE(type);
  EXPECT_TRUE(type->isDynamic());
  EXPECT_TRUE(type->conformsTo(ContentType::text()));
  EXPECT_FALSE(type->conformsTo(ContentType::image()));
  EXPECT_EQ(type->preferredFilenameExtension(), u"png");
  EXPECT_EQ(ContentType::typesWithTag(u"png", UTTagClassFilenameExtension, ContentType::text()),
            std::vector<ContentType>{});
}

TEST_F(ContentTypeTest, DynamicIdentifiersNameTheirTagAndDecodeBack) {
  useBuiltInTableOnly();
  const auto unknown = ContentType::typeWithFilenameExtension(u"XYZZY");
  ASSERT_TRUE(unknown);
  // hex of "public.filename-extension=xyzzy;public.data"
  EXPECT_EQ(unknown->identifier(),
            u"dyn.7075626c69632e66696c656e616d652d657874656e73696f6e3d78797a7a793b7075626c69632e"
            u"64617461");
  EXPECT_EQ(unknown->tags(UTTagClassFilenameExtension), std::vector<String>{u"xyzzy"});
  EXPECT_EQ(unknown->conformsToIdentifiers(), std::vector<String>{u"public.data"});
  const String identifier = unknown->identifier();
  const struct {
    String identifier;
    bool decodes;
  } cases[] = {
      {identifier, true},
      {uppercaseString(identifier), true},
      {identifier.substr(0, identifier.size() - 1), false},  // odd length
      {identifier.substr(0, identifier.size() - 2), false},  // "public.dat" is no type
      {u"dyn.", false},
      {u"dyn.zz", false},
      {u"dyn.3d3b7075626c69632e64617461", false},  // "=;public.data": no class, no tag
      // "public.mime-type=plain;public.data": not a MIME type
      {u"dyn.7075626c69632e6d696d652d747970653d706c61696e3b7075626c69632e64617461", false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.identifier));
    const auto decoded = ContentType::typeWithIdentifier(c.identifier);
    EXPECT_EQ(decoded.has_value(), c.decodes);
    if (decoded && c.decodes) {
      EXPECT_EQ(*decoded, *unknown);
      EXPECT_TRUE(decoded->conformsTo(ContentType::data()));
    }
  }
}

TEST_F(ContentTypeTest, DatabaseTypesJoinOrExtendTheBuiltInOnes) {
  const auto folder = makeExampleDatabase();
  ContentType::reloadRegistry(std::vector<String>{folderOf(folder)});
  // Only plain "*.<ext>" globs become extension tags.
  EXPECT_TRUE(ContentType::typeWithFilenameExtension(u"ax")->isDynamic());
  // The losing owners stay reachable.
  EXPECT_EQ(ContentType::typesWithTag(u"m", UTTagClassFilenameExtension, std::nullopt).size(), 2u);
  const auto foo = ContentType::typeWithIdentifier(u"org.freedesktop.mime.image.x-foo-xml");
  ASSERT_TRUE(foo);
  EXPECT_EQ(foo->conformsToIdentifiers(), (std::vector<String>{u"public.xml", u"public.image"}));
  EXPECT_TRUE(foo->conformsTo(ContentType::text()));
  EXPECT_EQ(foo->tags(UTTagClassMIMEType),
            (std::vector<String>{u"image/x-foo+xml", u"image/x-old-foo"}));
  EXPECT_EQ(foo->declaringBundleURL(), URL::fileURLWithPath(folderOf(folder), true));
  const auto loop = ContentType::typeWithMIMEType(u"application/x-loop-a", std::nullopt);
  ASSERT_TRUE(loop);
  EXPECT_TRUE(loop->conformsTo(*ContentType::typeWithMIMEType(u"application/x-loop-b")));
  EXPECT_EQ(loop->supertypes().size(), 3u);  // loop-b, public.data, public.item
  const auto transport = ContentType::typeWithIdentifier(u"public.mpeg-2-transport-stream");
  EXPECT_EQ(transport->tags(UTTagClassFilenameExtension), (std::vector<String>{u"ts", u"m2t"}));
}

TEST_F(ContentTypeTest, HigherFoldersReplaceTheGlobsOfLowerOnes) {
  const auto low = makeDatabase("50:application/x-a:*.aa\n50:application/x-b:*.bb\n", "", "");
  const auto high =
      makeDatabase("50:application/x-a:*.aaa\n50:application/x-b:__NOGLOBS__\n", "", "");
  ContentType::reloadRegistry(std::vector<String>{folderOf(high), folderOf(low)});
  const auto a = ContentType::typeWithMIMEType(u"application/x-a");
  const auto b = ContentType::typeWithMIMEType(u"application/x-b");
  ASSERT_TRUE(a && b);
  EXPECT_EQ(a->tags(UTTagClassFilenameExtension), std::vector<String>{u"aaa"});
  EXPECT_TRUE(b->tags(UTTagClassFilenameExtension).empty());
  EXPECT_TRUE(ContentType::typeWithFilenameExtension(u"aa")->isDynamic());
}

TEST_F(ContentTypeTest, MalformedLinesAreSkippedAndCountedOncePerFolder) {
  const auto folder =
      makeDatabase("50:application/x-a:*.aa\nnonsense\n101:a/b:*.x\n", "one-word\n", "");
  ScopedLogCapture log;
  ContentType::reloadRegistry(std::vector<String>{folderOf(folder), u"/nonexistent/mime"});
  EXPECT_EQ(log.lines(),
            std::vector<String>{u"ContentType: skipped 3 malformed lines in " + folderOf(folder)});
  EXPECT_EQ(identifierFor(u"aa", UTTagClassFilenameExtension),
            u"org.freedesktop.mime.application.x-a");
}

TEST_F(ContentTypeTest, DeclarationsUseAStringForOneValueAndAnArrayForSeveral) {
  useBuiltInTableOnly();
  const Dictionary png = ContentType::typeWithIdentifier(u"public.png")->declaration();
  EXPECT_EQ(png[kUTTypeIdentifierKey], Value(u"public.png"));
  EXPECT_EQ(png[kUTTypeConformsToKey], Value(u"public.image"));
  EXPECT_EQ(png[kUTTypeTagSpecificationKey],
            Value(Dictionary{{UTTagClassFilenameExtension, Value(u"png")},
                             {UTTagClassMIMEType, Value(u"image/png")}}));
  const Dictionary text = ContentType::text().declaration();
  EXPECT_EQ(text[kUTTypeConformsToKey],
            Value(Array{Value(u"public.data"), Value(u"public.content")}));
  EXPECT_FALSE(text.contains(kUTTypeTagSpecificationKey));
  EXPECT_FALSE(ContentType::item().declaration().contains(kUTTypeConformsToKey));
  EXPECT_TRUE(ContentType::item().declaringBundleURL().has_value());
  EXPECT_FALSE(ContentType::typeWithFilenameExtension(u"xyzzy")->declaringBundleURL());
}

TEST_F(ContentTypeTest, IdentifiersIgnoreCaseAndTypesOutliveAReload) {
  useBuiltInTableOnly();
  const auto kept = ContentType::typeWithIdentifier(u"PUBLIC.PNG");
  ASSERT_TRUE(kept);
  EXPECT_EQ(kept->identifier(), u"public.png");
  EXPECT_FALSE(ContentType::typeWithIdentifier(u"no.such.type"));
  EXPECT_FALSE(ContentType::typeWithIdentifier(u""));
  ContentType::reloadRegistry();
  EXPECT_EQ(kept->preferredMIMEType(), u"image/png");
  EXPECT_EQ(*kept, *ContentType::typeWithIdentifier(u"public.png"));
  EXPECT_EQ(kept->hash(), ContentType::typeWithIdentifier(u"Public.PNG")->hash());
}

}  // namespace
}  // namespace lx
