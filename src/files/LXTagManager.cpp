#include "vantorcore/files/LXTagManager.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cerrno>

#include "vantorcore/files/FileManager+Folders.h"
#include "vantorcore/platform/Color+Additions.h"
#include "vantorcore/platform/Exception.h"
#include "vantorcore/platform/PropertyList.h"
#include "vantorcore/platform/String+Paths.h"
#include "vantorcore/platform/UserDefaults.h"
#include "vantorcore/text/LXUUID.h"
#include "vantorcore/text/String+PathAdditions.h"

namespace lx {

LX_DEFINE_CLASS(LXTagManager, Object)

namespace {

// The value of the first row, when it is a blob of at least one byte.
std::optional<Data> readTagValueBlob(const String& databasePath) {
  sqlite3* db = nullptr;
  const std::string path = fileSystemRepresentation(databasePath);
  if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK) {
    sqlite3_close(db);  // a handle may exist even when opening failed
    return std::nullopt;
  }
  sqlite3_stmt* statement = nullptr;
  std::optional<Data> blob;
  if (sqlite3_prepare_v2(db, LXTagManager::kTagQuery, sizeof(LXTagManager::kTagQuery) - 1,
                         &statement, nullptr) == SQLITE_OK &&
      sqlite3_step(statement) == SQLITE_ROW && sqlite3_column_type(statement, 0) == SQLITE_BLOB) {
    const auto* bytes = static_cast<const std::uint8_t*>(sqlite3_column_blob(statement, 0));
    const int size = sqlite3_column_bytes(statement, 0);
    if (bytes && size >= 1) blob = Data(bytes, bytes + size);
  }
  sqlite3_finalize(statement);
  sqlite3_close(db);
  return blob;
}

// Plainly written (not atomically), readable by the user only.
bool writeScratchFile(const String& path, const Data& data) {
  const int fd =
      ::open(fileSystemRepresentation(path).c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (fd < 0) return false;
  std::size_t written = 0;
  while (written < data.size()) {
    const ssize_t n = ::write(fd, data.data() + written, data.size() - written);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    written += static_cast<std::size_t>(n);
  }
  return ::close(fd) == 0 && written == data.size();
}

// The blob as a dictionary, by way of a scratch file in the temporary-items
// folder, as the file browser's own readers do.
std::optional<Dictionary> dictionaryFromBlob(const Data& blob) {
  auto manager = FileManager::defaultManager();
  const auto folder = lx_temporaryItemsFolder(*manager, true);
  if (!folder) return std::nullopt;
  const String path = stringByAppendingPathComponent(*folder, LXUUID::UUID()->stringValue());
  std::optional<Value> value;
  if (writeScratchFile(path, blob)) value = PropertyList::readFile(path);
  manager->removeItemAtPath(path);
  if (!value || !value->isDictionary()) return std::nullopt;
  return *value->asDictionary();
}

// A number, or a string read for its leading integer as the platform's
// integer conversion does; anything else has no index.
std::optional<std::int64_t> labelIndexOf(const Value& value) {
  if (value.isNumber() || value.isString()) return value.int64Value();
  return std::nullopt;
}

}  // namespace

String LXTagManager::databasePath() {
  return stringByAppendingPathComponent(LXUserHomeDirectory(), kDatabasePathInHome);
}

bool LXTagManager::canAccessTagMetadata() {
  static const bool readable =
      ::access(fileSystemRepresentation(databasePath()).c_str(), R_OK) == 0;
  return readable;
}

Dictionary LXTagManager::builtInTagColorIndexes() {
  return Dictionary{{u"Gray", 1},   {u"Green", 2},     {u"Purple", 3}, {u"Blue", 4},
                    {u"Yellow", 5}, {u"Red", 6},       {u"Orange", 7}, {u"Work", -1},
                    {u"Home", -1},  {u"Important", -1}};
}

void LXTagManager::updateTags() {
  resetCache();
  readTagsFromDatabase();
  readFavoriteTags();
  if (tagToColorIndex_.empty()) tagToColorIndex_ = builtInTagColorIndexes();
  if (favoriteTags_.empty()) {
    favoriteTags_ = {u"Red", u"Orange", u"Yellow", u"Green", u"Blue", u"Gray"};
  }
}

void LXTagManager::readTagsFromDatabase() {
  const auto blob = readTagValueBlob(databasePath());
  if (!blob) return;
  const auto value = dictionaryFromBlob(*blob);
  if (!value) return;
  const Array* tags = (*value)[u"FinderTags"].asArray();
  if (!tags) return;
  for (const Value& element : *tags) {
    const Dictionary* tag = element.asDictionary();
    if (!tag) continue;
    const Value* name = tag->find(u"n");
    if (!name || !name->isString()) continue;
    const Value* label = tag->find(u"l");
    const auto index = label ? labelIndexOf(*label) : std::optional<std::int64_t>(-1);
    if (index) tagToColorIndex_.set(*name->asString(), Value(*index));
  }
}

void LXTagManager::readFavoriteTags() {
  const auto suite = UserDefaults::suiteNamed(u"com.apple.finder");
  if (!suite) return;
  const auto names = suite->arrayForKey(u"FavoriteTagNames");
  if (!names) return;
  for (const Value& name : *names) {
    if (const SharedString* text = name.asString(); text && !text->view().empty()) {
      favoriteTags_.push_back(text->str());
    }
  }
}

void LXTagManager::resetCache() {
  tags_ = Array();
  favoriteTags_.clear();
  fileLabelColors_.clear();
  fileLabelSecondaryColors_.clear();
  tagToColorIndex_ = Dictionary();
  for (const Color& label : LXFileLabelColors()) {
    Color primary = lx_colorByAdjustingBrightness(label, 0.05);
    if (!lx_isGrayscaleColor(primary)) primary = lx_colorByAdjustingSaturation(primary, 0.05);
    fileLabelColors_.push_back(primary);
    fileLabelSecondaryColors_.push_back(lx_colorByAdjustingLightness(primary, -0.15));
  }
}

std::int64_t LXTagManager::colorIndexForTag(StringView tag) const {
  const Value* index = tagToColorIndex_.find(tag);
  return index ? index->int64Value() : -1;
}

Color LXTagManager::colorForTag(StringView tag, Color* secondaryColor) const {
  const std::int64_t index = colorIndexForTag(tag);
  if (index == -1) {
    if (secondaryColor) *secondaryColor = Color::fromRGBA(0, 0, 0, 0.275);
    return Color::fromRGBA(0, 0, 0, 0);
  }
  if (index < 0 || static_cast<std::uint64_t>(index) >= fileLabelColors_.size() ||
      static_cast<std::uint64_t>(index) >= fileLabelSecondaryColors_.size()) {
    throw RangeException(stringWithFormat(
        u"label colour index %lld of tag \"%@\" is beyond %lu colours",
        static_cast<long long>(index), tag, static_cast<unsigned long>(fileLabelColors_.size())));
  }
  if (secondaryColor) *secondaryColor = fileLabelSecondaryColors_[index];
  return fileLabelColors_[index];
}

}  // namespace lx
