#include "files/MIMETypeTable.h"

#include <algorithm>
#include <array>
#include <utility>

namespace lx::detail {

namespace {
// Sorted by extension for binary search.
constexpr std::array<std::pair<StringView, StringView>, 64> kTable{{
    {u"7z", u"application/x-7z-compressed"},
    {u"aac", u"audio/aac"},
    {u"aif", u"audio/aiff"},
    {u"aiff", u"audio/aiff"},
    {u"avi", u"video/x-msvideo"},
    {u"bmp", u"image/bmp"},
    {u"bz2", u"application/x-bzip2"},
    {u"c", u"text/x-c"},
    {u"cpp", u"text/x-c++src"},
    {u"css", u"text/css"},
    {u"csv", u"text/csv"},
    {u"doc", u"application/msword"},
    {u"docx", u"application/vnd.openxmlformats-officedocument.wordprocessingml.document"},
    {u"eml", u"message/rfc822"},
    {u"epub", u"application/epub+zip"},
    {u"flac", u"audio/flac"},
    {u"gif", u"image/gif"},
    {u"gz", u"application/gzip"},
    {u"h", u"text/x-chdr"},
    {u"heic", u"image/heic"},
    {u"htm", u"text/html"},
    {u"html", u"text/html"},
    {u"ico", u"image/vnd.microsoft.icon"},
    {u"ics", u"text/calendar"},
    {u"jpeg", u"image/jpeg"},
    {u"jpg", u"image/jpeg"},
    {u"js", u"text/javascript"},
    {u"json", u"application/json"},
    {u"m4a", u"audio/mp4"},
    {u"md", u"text/markdown"},
    {u"mid", u"audio/midi"},
    {u"mjs", u"text/javascript"},
    {u"mov", u"video/quicktime"},
    {u"mp3", u"audio/mpeg"},
    {u"mp4", u"video/mp4"},
    {u"mpeg", u"video/mpeg"},
    {u"odt", u"application/vnd.oasis.opendocument.text"},
    {u"ogg", u"audio/ogg"},
    {u"otf", u"font/otf"},
    {u"pdf", u"application/pdf"},
    {u"plist", u"application/x-plist"},
    {u"png", u"image/png"},
    {u"ppt", u"application/vnd.ms-powerpoint"},
    {u"py", u"text/x-python"},
    {u"rtf", u"application/rtf"},
    {u"sh", u"application/x-sh"},
    {u"svg", u"image/svg+xml"},
    {u"tar", u"application/x-tar"},
    {u"tif", u"image/tiff"},
    {u"tiff", u"image/tiff"},
    {u"ttf", u"font/ttf"},
    {u"txt", u"text/plain"},
    {u"vcf", u"text/vcard"},
    {u"wav", u"audio/wav"},
    {u"webm", u"video/webm"},
    {u"webp", u"image/webp"},
    {u"woff", u"font/woff"},
    {u"woff2", u"font/woff2"},
    {u"xls", u"application/vnd.ms-excel"},
    {u"xlsx", u"application/vnd.openxmlformats-officedocument.spreadsheetml.sheet"},
    {u"xml", u"application/xml"},
    {u"xz", u"application/x-xz"},
    {u"yaml", u"application/yaml"},
    {u"zip", u"application/zip"},
}};
static_assert(std::is_sorted(kTable.begin(), kTable.end(),
                             [](const auto& a, const auto& b) { return a.first < b.first; }));
}  // namespace

std::optional<StringView> mimeTypeForExtension(StringView lowercaseExtension) {
  const auto it = std::lower_bound(kTable.begin(), kTable.end(), lowercaseExtension,
                                   [](const std::pair<StringView, StringView>& entry,
                                      StringView key) { return entry.first < key; });
  if (it == kTable.end() || it->first != lowercaseExtension) return std::nullopt;
  return it->second;
}

}  // namespace lx::detail
