#include "vantorcore/files/LXTagManager.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include "support/TestSupport.h"
#include "vantorcore/files/FileManager+Folders.h"
#include "vantorcore/platform/Color+Additions.h"
#include "vantorcore/platform/Exception.h"
#include "vantorcore/platform/PropertyList.h"
#include "vantorcore/platform/String+Paths.h"
#include "vantorcore/platform/UserDefaults.h"
#include "vantorcore/text/String+PathAdditions.h"

namespace lx {
namespace {

namespace fs = std::filesystem;

Data binaryPlist(const Value& value) {
  return PropertyList::write(value, PropertyList::Format::Binary).value();
}

Value tag(StringView name, std::optional<Value> label) {
  Dictionary d{{u"n", Value(name)}};
  if (label) d.set(u"l", *label);
  return Value(std::move(d));
}

Data finderTags(Array tags) { return binaryPlist(Value(Dictionary{{u"FinderTags", Value(tags)}})); }

// Each test gets a home of its own, with the database written as asked.
class TagManagerTest : public testing::Test {
 protected:
  void SetUp() override {
    home_ = test::makeTemporaryFolder("home");
    const String home = fromUTF8(home_.native());
    previous_ = setUserHomeDirectoryLookup([home] { return std::optional<String>(home); });
    finder()->removeObjectForKey(u"FavoriteTagNames");
  }
  void TearDown() override {
    setUserHomeDirectoryLookup(previous_);
    finder()->removeObjectForKey(u"FavoriteTagNames");
  }

  static std::shared_ptr<UserDefaults> finder() {
    return UserDefaults::suiteNamed(u"com.apple.finder");
  }

  fs::path databaseFile() const { return home_ / toUTF8(LXTagManager::kDatabasePathInHome); }

  // The store table and the value table, with `values` as (Z_PK, value)
  // rows in insertion order; a value is a blob unless `asText`. Without
  // `withTables`, one unrelated table instead.
  void writeDatabase(const std::vector<std::pair<int, Data>>& values, bool asText = false,
                     bool withTables = true) {
    std::string sql = withTables
                          ? "create table ZSYDMANAGEDSTORE (Z_PK integer, ZIDENTIFIER text);"
                            "create table ZSYDMANAGEDKEYVALUE (Z_PK integer, ZPLISTDATAVALUE);"
                            "insert into ZSYDMANAGEDSTORE values (3, 'com.apple.other'), "
                            "(7, 'com.apple.finder');"
                          : "create table other (x);";
    for (const auto& [key, value] : values) {
      std::string blob = "X'";
      for (const std::uint8_t byte : value)
        blob += {"0123456789ABCDEF"[byte >> 4], "0123456789ABCDEF"[byte & 15]};
      blob += "'";
      sql += "insert into ZSYDMANAGEDKEYVALUE values (" + std::to_string(key) + ", " +
             (asText ? "cast(" + blob + " as text)" : blob) + ");";
    }
    fs::create_directories(databaseFile().parent_path());
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(databaseFile().c_str(), &db), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
        << sqlite3_errmsg(db);
    sqlite3_close(db);
  }

  static std::shared_ptr<LXTagManager> updated() {
    auto manager = LXTagManager::sharedInstance();
    manager->updateTags();
    return manager;
  }

  fs::path home_;
  UserHomeDirectoryLookup previous_;
};

const std::vector<String> kBuiltInFavorites{u"Red",   u"Orange", u"Yellow",
                                            u"Green", u"Blue",   u"Gray"};

TEST_F(TagManagerTest, WithoutADatabaseTheBuiltInTablesApply) {
  const auto manager = updated();
  EXPECT_EQ(manager->tagToColorIndex(), LXTagManager::builtInTagColorIndexes());
  EXPECT_EQ(manager->tagToColorIndex().size(), 10u);
  EXPECT_EQ(manager->tagToColorIndex().keys().front(), u"Gray");
  EXPECT_EQ(manager->favoriteTags(), kBuiltInFavorites);
  EXPECT_TRUE(manager->tags().empty());
  EXPECT_EQ(manager->colorIndexForTag(u"Red"), 6);
  EXPECT_EQ(manager->colorIndexForTag(u"Unknown"), -1);
}

TEST_F(TagManagerTest, TagElementsOfEachShape) {
  const struct {
    const char* name;
    Array tags;
    Dictionary expected;
  } cases[] = {
      {"a named tag replaces the table", {tag(u"Work", 4)}, {{u"Work", 4}}},
      {"no label means -1", {tag(u"Plain", std::nullopt)}, {{u"Plain", -1}}},
      {"a later element wins", {tag(u"A", 1), tag(u"B", 2), tag(u"A", 3)}, {{u"A", 3}, {u"B", 2}}},
      {"a label that is a string is read as a number",
       {tag(u"S", Value(u"5")), tag(u"T", Value(u"x"))},
       {{u"S", 5}, {u"T", 0}}},
      {"other labels, names and elements are skipped",
       {tag(u"Arr", Value(Array{1})), Value(u"loose"), Value(Dictionary{{u"l", 2}}),
        Value(Dictionary{{u"n", 9}, {u"l", 2}}), tag(u"Kept", 2)},
       {{u"Kept", 2}}},
      {"an empty list leaves the table", {}, LXTagManager::builtInTagColorIndexes()},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    fs::remove_all(home_ / "Library");
    writeDatabase({{7, finderTags(c.tags)}});
    EXPECT_EQ(updated()->tagToColorIndex(), c.expected);
  }
}

TEST_F(TagManagerTest, DamagedSourcesFallBackToTheBuiltInTable) {
  const Data garbage(8 << 20, 0xA5);  // a huge blob that is no property list
  const struct {
    const char* name;
    std::vector<std::pair<int, Data>> values;
    bool asText = false;
    bool withTables = true;
    std::string file = {};  // when not empty, the whole file instead of a database
  } cases[] = {
      {"not SQLite", {}, false, true, std::string(4096, 'x')},
      {"no tables", {}, false, false},
      {"no row", {}},
      {"a row of another store", {{3, finderTags({tag(u"Work", 4)})}}},
      {"an empty blob", {{7, Data()}}},
      {"a one-byte blob", {{7, Data{'b'}}}},
      {"text instead of a blob", {{7, finderTags({tag(u"W", 4)})}}, true},
      {"no property list", {{7, Data{'{', 'x'}}}},
      {"a huge blob", {{7, garbage}}},
      {"a top-level array", {{7, binaryPlist(Value(Array{tag(u"W", 4)}))}}},
      {"FinderTags not an array", {{7, binaryPlist(Value(Dictionary{{u"FinderTags", 4}}))}}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    fs::remove_all(home_ / "Library");
    writeDatabase(c.values, c.asText, c.withTables);
    if (!c.file.empty()) test::writeFile(databaseFile(), c.file);
    const auto manager = updated();
    EXPECT_EQ(manager->tagToColorIndex(), LXTagManager::builtInTagColorIndexes());
    EXPECT_EQ(manager->favoriteTags(), kBuiltInFavorites);
  }
  // No scratch copy (named by a UUID) is left behind.
  const auto scratch = lx_temporaryItemsFolder(*FileManager::defaultManager(), false);
  for (const auto& entry : fs::directory_iterator(fileSystemRepresentation(*scratch))) {
    EXPECT_NE(entry.path().filename().string().size(), 36u) << entry.path();
  }
}

TEST_F(TagManagerTest, FavouritesAndTagsFallBackIndependently) {
  finder()->setObject(Value(Array{Value(u"Blue"), Value(u""), Value(3), Value(u"Work")}),
                      u"FavoriteTagNames");
  auto manager = updated();
  EXPECT_EQ(manager->favoriteTags(), (std::vector<String>{u"Blue", u"Work"}));
  EXPECT_EQ(manager->tagToColorIndex(), LXTagManager::builtInTagColorIndexes());

  finder()->setObject(Value(Array{Value(u""), Value(3)}), u"FavoriteTagNames");
  // Only the first matching row counts.
  writeDatabase({{7, finderTags({tag(u"Work", 4)})}, {7, finderTags({tag(u"Second", 2)})}});
  manager = updated();
  EXPECT_EQ(manager->favoriteTags(), kBuiltInFavorites);
  EXPECT_EQ(manager->tagToColorIndex(), (Dictionary{{u"Work", 4}}));
}

TEST_F(TagManagerTest, ColoursByIndexWithTheClearColourForNone) {
  writeDatabase({{7, finderTags({tag(u"None", std::nullopt), tag(u"Gray", 1), tag(u"Last", 7),
                                 tag(u"Past", 8), tag(u"Negative", -2)})}});
  const auto manager = updated();
  ASSERT_EQ(manager->fileLabelColors().size(), 8u);
  const struct {
    const char16_t* tag;
    std::optional<Color> primary, secondary;  // absent: RangeException
  } cases[] = {
      {u"None", Color::fromRGBA(0, 0, 0, 0), Color::fromRGBA(0, 0, 0, 0.275)},
      {u"Unknown", Color::fromRGBA(0, 0, 0, 0), Color::fromRGBA(0, 0, 0, 0.275)},
      {u"Gray", manager->fileLabelColors()[1], manager->fileLabelSecondaryColors()[1]},
      {u"Last", manager->fileLabelColors()[7], manager->fileLabelSecondaryColors()[7]},
      {u"Past", std::nullopt, std::nullopt},
      {u"Negative", std::nullopt, std::nullopt},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.tag));
    Color secondary = Color::fromRGBA(0.5, 0.5, 0.5);
    if (!c.primary) {
      EXPECT_THROW(manager->colorForTag(c.tag, &secondary), RangeException);
      EXPECT_THROW(manager->colorForTag(c.tag), RangeException);
      continue;
    }
    EXPECT_EQ(manager->colorForTag(c.tag, &secondary), *c.primary);
    EXPECT_EQ(secondary, *c.secondary);
    EXPECT_EQ(manager->colorForTag(c.tag), *c.primary);
  }
}

TEST_F(TagManagerTest, LabelColoursAreBrightenedAndGreysStayUnsaturated) {
  const auto manager = updated();
  const auto labels = LXFileLabelColors();
  for (std::size_t i = 0; i < labels.size(); ++i) {
    SCOPED_TRACE(i);
    const Color brighter = lx_colorByAdjustingBrightness(labels[i], 0.05);
    const Color primary =
        lx_isGrayscaleColor(labels[i]) ? brighter : lx_colorByAdjustingSaturation(brighter, 0.05);
    EXPECT_EQ(manager->fileLabelColors()[i], primary);
    EXPECT_EQ(manager->fileLabelSecondaryColors()[i], lx_colorByAdjustingLightness(primary, -0.15));
  }
  EXPECT_TRUE(lx_isGrayscaleColor(manager->fileLabelColors()[1]));  // gray stays grey
  EXPECT_GT(manager->fileLabelColors()[1].red(), labels[1].red());
  manager->resetCache();
  EXPECT_TRUE(manager->tagToColorIndex().empty());
  EXPECT_TRUE(manager->favoriteTags().empty());
  EXPECT_EQ(manager->fileLabelColors().size(), 8u);
}

TEST_F(TagManagerTest, AccessToTheDatabaseIsDecidedOnce) {
  writeDatabase({});
  EXPECT_TRUE(LXTagManager::canAccessTagMetadata());
  fs::remove(databaseFile());
  EXPECT_TRUE(LXTagManager::canAccessTagMetadata());
  EXPECT_EQ(LXTagManager::databasePath(),
            fromUTF8((home_ / toUTF8(LXTagManager::kDatabasePathInHome)).native()));
}

}  // namespace
}  // namespace lx
