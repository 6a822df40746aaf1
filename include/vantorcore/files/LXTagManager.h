// `LXTagManager`: a read-only mirror of the user's file tags as the file
// browser of the library's home platform keeps them: which tag names exist,
// the label colour index of each, which tags are favourites, and the two
// colours to draw each tag with.
//
// Sources, each with a built-in fallback used when it yields nothing:
// - tags: the first row of the file browser's value in the synchronised
//   key-value database, `databasePath()` under the user's home (from the
//   user database, `LXUserHomeDirectory`); fallback `builtInTagColorIndexes()`;
// - favourites: "FavoriteTagNames" of the "com.apple.finder" preferences
//   suite (UserDefaults); fallback "Red", "Orange", "Yellow", "Green",
//   "Blue", "Gray";
// - label colours: `LXFileLabelColors()` (Linux has no workspace label
//   colours; see platform/Color+Additions.h).
// Every failure (no database, not SQLite, no such table, a value that is no
// property list or not a dictionary, unexpected element shapes) is silent
// and only means the fallback applies. Nothing is ever written except a
// scratch copy of the value in the temporary-items folder, removed at once.
//
// Testing with it: the home directory comes from
// `setUserHomeDirectoryLookup` (text/String+PathAdditions.h) and the
// preferences suite from $XDG_CONFIG_HOME, so a test points both at a
// temporary folder, writes the database and the suite there, and calls
// `updateTags()`:
//
//   lx::setUserHomeDirectoryLookup([home] { return std::optional<lx::String>(home); });
//   auto manager = lx::LXTagManager::sharedInstance();
//   manager->updateTags();
//
// `canAccessTagMetadata()` is decided by its first call in the process.
//
// Threads: no locking. `updateTags` and `resetCache` change the containers
// in place and are meant for the main thread; no other thread may read
// while they run.
#pragma once

#include "vantorcore/Export.h"

#include <cstdint>
#include <vector>

#include "vantorcore/concurrency/LXSharedInstance.h"
#include "vantorcore/platform/Color.h"
#include "vantorcore/platform/String.h"
#include "vantorcore/platform/Value.h"

namespace LX_API lx {

class LXTagManager : public LXSharedInstance<LXTagManager> {
  LX_DECLARE_CLASS(LXTagManager)
  friend class LXSharedInstance<LXTagManager>;

 public:
  /// The database below the home directory.
  static constexpr StringView kDatabasePathInHome =
      u"Library/SyncedPreferences/com.apple.kvs/com.apple.KeyValueService-Production.sqlite";
  /// The one statement run against it (135 bytes, passed with that length).
  static constexpr char kTagQuery[] =
      "select ZPLISTDATAVALUE from ZSYDMANAGEDKEYVALUE where Z_PK = (select Z_PK from "
      "ZSYDMANAGEDSTORE where ZIDENTIFIER = 'com.apple.finder')";
  static_assert(sizeof(kTagQuery) - 1 == 135);

  /// `LXUserHomeDirectory()` with `kDatabasePathInHome` appended.
  static String databasePath();

  /// Whether the database file is readable by this process. Decided by the
  /// first call and kept for the life of the process.
  static bool canAccessTagMetadata();

  /// The built-in tag table: Gray 1, Green 2, Purple 3, Blue 4, Yellow 5,
  /// Red 6, Orange 7, and Work, Home, Important with -1 (no colour).
  static Dictionary builtInTagColorIndexes();

  /// Re-reads everything: `resetCache`, then tags, favourites and the
  /// fallbacks for whichever of the two came out empty.
  void updateTags();
  /// Empties every container and refills the two colour arrays from the
  /// label colours: each brightened by 0.05 and, unless grey, saturated by
  /// 0.05 for the primary; the primary with lightness lowered by 0.15 for the
  /// secondary.
  void resetCache();

  /// The tag's label colour index, or -1 when the name is unknown.
  [[nodiscard]] std::int64_t colorIndexForTag(StringView tag) const;
  /// The tag's primary colour, and through `secondaryColor` (when given) its
  /// secondary one. Index -1: the clear colour, with white 0.0 at alpha 0.275
  /// as the secondary. Throws `RangeException` for an index outside the
  /// colour arrays (a database may name any number).
  Color colorForTag(StringView tag, Color* secondaryColor = nullptr) const;

  /// The colours of the seven labels, in label order.
  [[nodiscard]] const std::vector<Color>& fileLabelColors() const noexcept {
    return fileLabelColors_;
  }
  /// Darker companions of the label colours, for outlines.
  [[nodiscard]] const std::vector<Color>& fileLabelSecondaryColors() const noexcept {
    return fileLabelSecondaryColors_;
  }
  /// Always empty: reset on every update and never filled.
  [[nodiscard]] const Array& tags() const noexcept { return tags_; }
  /// Favourite tag names, in the file browser's order.
  [[nodiscard]] const std::vector<String>& favoriteTags() const noexcept { return favoriteTags_; }
  /// Tag name to label colour index (integer values), in the source's order.
  [[nodiscard]] const Dictionary& tagToColorIndex() const noexcept { return tagToColorIndex_; }

  /// Replace the manager's data; for tests and for hosts that load it themselves.
  ///@{
  void setFileLabelColors(std::vector<Color> colors) { fileLabelColors_ = std::move(colors); }
  void setFileLabelSecondaryColors(std::vector<Color> colors) {
    fileLabelSecondaryColors_ = std::move(colors);
  }
  void setTags(Array tags) { tags_ = std::move(tags); }
  void setFavoriteTags(std::vector<String> tags) { favoriteTags_ = std::move(tags); }
  void setTagToColorIndex(Dictionary indexes) { tagToColorIndex_ = std::move(indexes); }
  ///@}

 protected:
  /// Runs `updateTags` once, when the shared instance is made.
  void sharedInstanceInitialize() override { updateTags(); }

 private:
  LXTagManager() = default;

  // The tag list of the database's property-list value ("FinderTags").
  void readTagsFromDatabase();
  void readFavoriteTags();

  std::vector<Color> fileLabelColors_;
  std::vector<Color> fileLabelSecondaryColors_;
  Array tags_;
  std::vector<String> favoriteTags_;
  Dictionary tagToColorIndex_;
};

}  // namespace lx
