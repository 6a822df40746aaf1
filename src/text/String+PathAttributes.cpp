#include "vantorcore/platform/FileManager.h"
#include "vantorcore/platform/String+Paths.h"
#include "vantorcore/text/String+PathAdditions.h"
#include "vantorcore/text/String+PathAttributes.h"
#include "vantorcore/text/VantorCoreLocale.h"

namespace lx::PathNode {
namespace {

std::optional<Dictionary> attributes(StringView path) {
  return FileManager::defaultManager()->attributesOfItemAtPath(path);
}

bool isFolder(const Dictionary& attributes) {
  const SharedString* type = attributes[NSFileType].asString();
  return type && *type == NSFileTypeDirectory;
}

// The kinds of the common document types, by lower-case extension. A full
// content-type registry would describe every type; this covers what a file
// list usually shows.
struct KindEntry {
  const char16_t* extension;
  const char16_t* kind;
};
constexpr KindEntry kKinds[] = {
    {u"txt", u"Plain text document"},
    {u"md", u"Markdown document"},
    {u"rtf", u"RTF document"},
    {u"pdf", u"PDF document"},
    {u"html", u"HTML document"},
    {u"htm", u"HTML document"},
    {u"xml", u"XML document"},
    {u"json", u"JSON document"},
    {u"csv", u"CSV document"},
    {u"log", u"Log file"},
    {u"png", u"PNG image"},
    {u"jpg", u"JPEG image"},
    {u"jpeg", u"JPEG image"},
    {u"gif", u"GIF image"},
    {u"tif", u"TIFF image"},
    {u"tiff", u"TIFF image"},
    {u"svg", u"SVG image"},
    {u"webp", u"WebP image"},
    {u"mp3", u"MP3 audio"},
    {u"wav", u"WAVE audio"},
    {u"mp4", u"MPEG-4 movie"},
    {u"mov", u"QuickTime movie"},
    {u"zip", u"ZIP archive"},
    {u"gz", u"Gzip archive"},
    {u"tar", u"Tar archive"},
    {u"dmg", u"Disk image"},
    {u"docx", u"Word document"},
    {u"xlsx", u"Excel spreadsheet"},
    {u"pptx", u"PowerPoint presentation"},
    {u"plist", u"Property list"},
    {u"c", u"C source"},
    {u"cpp", u"C++ source"},
    {u"h", u"C header"},
    {u"py", u"Python script"},
    {u"sh", u"Shell script"},
    {u"app", u"Application"},
};

}  // namespace

String displayName(StringView path) {
  String name = FileManager::defaultManager()->displayNameAtPath(path);
  return name.empty() ? lastPathComponent(path) : name;
}

std::optional<Date> modificationDate(StringView path) {
  const auto attrs = attributes(path);
  if (!attrs) return std::nullopt;
  const Date* date = (*attrs)[NSFileModificationDate].asDate();
  return date ? std::optional<Date>(*date) : std::nullopt;
}

std::optional<String> kind(StringView path) {
  const auto attrs = attributes(path);
  if (!attrs) return std::nullopt;
  if (isFolder(*attrs)) return LXLocal(u"Folder");
  const String extension = lowercaseString(pathExtension(path));
  for (const KindEntry& entry : kKinds) {
    if (extension == entry.extension) return LXLocal(entry.kind);
  }
  return LXLocal(u"Document");
}

std::optional<std::uint64_t> size(StringView path) {
  const auto attrs = attributes(path);
  if (!attrs || isFolder(*attrs)) return std::nullopt;
  const Value& value = (*attrs)[NSFileSize];
  if (!value.isNumber()) return std::nullopt;
  return value.uint64Value();
}

String path(StringView path) { return lx_stringByNormalizingPath(path); }

}  // namespace lx::PathNode
