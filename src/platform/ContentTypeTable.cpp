#include "platform/ContentTypeTable.h"

#include <array>

namespace lx::detail {

namespace {

// MIME types are written as shared-mime-info spells them (its canonical name
// first), so that the database's extensions and aliases join these types
// instead of declaring twins.
constexpr std::array<BuiltInContentType, 93> kTable{{
    // The roots of the graph.
    {u"public.item", u"", u"", u""},
    {u"public.content", u"", u"", u""},
    {u"public.composite-content", u"public.content", u"", u""},
    {u"public.data", u"public.item", u"", u"application/octet-stream"},
    {u"public.directory", u"public.item", u"", u""},
    {u"public.folder", u"public.directory", u"", u"inode/directory"},
    {u"public.volume", u"public.folder", u"", u"inode/mount-point"},
    {u"com.apple.package", u"public.directory", u"", u""},
    {u"com.apple.bundle", u"public.directory", u"", u""},
    {u"public.symlink", u"public.item", u"", u"inode/symlink"},
    {u"public.executable", u"public.item", u"", u""},
    {u"public.unix-executable", u"public.data public.executable", u"", u"application/x-executable"},
    // Text.
    {u"public.text", u"public.data public.content", u"", u""},
    {u"public.plain-text", u"public.text", u"txt text", u"text/plain"},
    {u"public.utf8-plain-text", u"public.plain-text", u"", u"text/plain;charset=utf-8"},
    {u"public.delimited-values-text", u"public.text", u"", u""},
    {u"public.comma-separated-values-text", u"public.delimited-values-text", u"csv", u"text/csv"},
    {u"public.tab-separated-values-text", u"public.delimited-values-text", u"tsv",
     u"text/tab-separated-values"},
    {u"public.rtf", u"public.text", u"rtf", u"application/rtf text/rtf"},
    {u"public.html", u"public.text", u"html htm", u"text/html"},
    {u"public.xml", u"public.text", u"xml", u"application/xml text/xml"},
    {u"public.json", u"public.text", u"json", u"application/json"},
    {u"public.yaml", u"public.text", u"yaml yml", u"application/x-yaml application/yaml"},
    {u"net.daringfireball.markdown", u"public.plain-text", u"md markdown", u"text/markdown"},
    {u"public.css", u"public.text", u"css", u"text/css"},
    {u"public.log", u"public.plain-text", u"log", u"text/x-log"},
    {u"public.vcard", u"public.text", u"vcf vcard", u"text/vcard"},
    {u"com.apple.ical.ics", u"public.text", u"ics", u"text/calendar"},
    // Source code and scripts.
    {u"public.source-code", u"public.plain-text", u"", u""},
    {u"public.c-source", u"public.source-code", u"c", u"text/x-csrc"},
    {u"public.c-header", u"public.source-code", u"h", u"text/x-chdr"},
    {u"public.c-plus-plus-source", u"public.source-code", u"cpp cc cxx", u"text/x-c++src"},
    {u"public.c-plus-plus-header", u"public.source-code", u"hpp hh hxx", u"text/x-c++hdr"},
    {u"public.objective-c-source", u"public.source-code", u"m", u"text/x-objcsrc"},
    {u"public.objective-c-plus-plus-source", u"public.source-code", u"mm", u"text/x-objc++src"},
    {u"public.swift-source", u"public.source-code", u"swift", u"text/x-swift"},
    {u"com.sun.java-source", u"public.source-code", u"java", u"text/x-java"},
    {u"public.script", u"public.source-code", u"", u""},
    {u"public.shell-script", u"public.script", u"sh command", u"application/x-shellscript"},
    {u"public.python-script", u"public.script", u"py", u"text/x-python3 text/x-python"},
    {u"public.ruby-script", u"public.script", u"rb", u"application/x-ruby"},
    {u"public.perl-script", u"public.script", u"pl pm", u"application/x-perl"},
    {u"com.netscape.javascript-source", u"public.script", u"js mjs",
     u"application/javascript text/javascript"},
    // Images.
    {u"public.image", u"public.data public.content", u"", u""},
    {u"public.png", u"public.image", u"png", u"image/png"},
    {u"public.jpeg", u"public.image", u"jpeg jpg jpe", u"image/jpeg"},
    {u"com.compuserve.gif", u"public.image", u"gif", u"image/gif"},
    {u"public.tiff", u"public.image", u"tiff tif", u"image/tiff"},
    {u"com.microsoft.bmp", u"public.image", u"bmp", u"image/bmp"},
    {u"com.microsoft.ico", u"public.image", u"ico", u"image/vnd.microsoft.icon image/x-icon"},
    {u"public.svg-image", u"public.image", u"svg", u"image/svg+xml"},
    {u"public.heic", u"public.image", u"heic heif", u"image/heif image/heic"},
    {u"org.webmproject.webp", u"public.image", u"webp", u"image/webp"},
    // Audio and video.
    {u"public.audiovisual-content", u"public.data public.content", u"", u""},
    {u"public.audio", u"public.audiovisual-content", u"", u""},
    {u"public.movie", u"public.audiovisual-content", u"", u""},
    {u"public.video", u"public.movie", u"", u""},
    {u"public.mp3", u"public.audio", u"mp3", u"audio/mpeg"},
    {u"public.mpeg-4-audio", u"public.audio", u"m4a", u"audio/mp4"},
    {u"com.microsoft.waveform-audio", u"public.audio", u"wav wave", u"audio/x-wav audio/wav"},
    {u"public.aiff-audio", u"public.audio", u"aiff aif", u"audio/x-aiff audio/aiff"},
    {u"org.xiph.flac", u"public.audio", u"flac", u"audio/flac"},
    {u"public.mpeg-4", u"public.movie", u"mp4", u"video/mp4"},
    {u"com.apple.quicktime-movie", u"public.movie", u"mov qt", u"video/quicktime"},
    {u"public.avi", u"public.movie", u"avi", u"video/x-msvideo"},
    {u"public.mpeg", u"public.movie", u"mpeg mpg", u"video/mpeg"},
    {u"org.webmproject.webm", u"public.movie", u"webm", u"video/webm"},
    {u"public.mpeg-2-transport-stream", u"public.movie", u"ts", u"video/mp2t"},
    // Documents.
    {u"com.adobe.pdf", u"public.data public.composite-content", u"pdf", u"application/pdf"},
    {u"com.apple.property-list", u"public.data", u"plist", u"application/x-plist"},
    {u"public.email-message", u"public.data public.content", u"eml", u"message/rfc822"},
    {u"com.microsoft.word.doc", u"public.data public.composite-content", u"doc",
     u"application/msword"},
    {u"com.microsoft.excel.xls", u"public.data public.composite-content", u"xls",
     u"application/vnd.ms-excel"},
    {u"com.microsoft.powerpoint.ppt", u"public.data public.composite-content", u"ppt",
     u"application/vnd.ms-powerpoint"},
    {u"org.openxmlformats.wordprocessingml.document",
     u"public.zip-archive public.composite-content", u"docx",
     u"application/vnd.openxmlformats-officedocument.wordprocessingml.document"},
    {u"org.openxmlformats.spreadsheetml.sheet", u"public.zip-archive public.composite-content",
     u"xlsx", u"application/vnd.openxmlformats-officedocument.spreadsheetml.sheet"},
    {u"org.openxmlformats.presentationml.presentation",
     u"public.zip-archive public.composite-content", u"pptx",
     u"application/vnd.openxmlformats-officedocument.presentationml.presentation"},
    {u"org.oasis-open.opendocument.text", u"public.zip-archive public.composite-content", u"odt",
     u"application/vnd.oasis.opendocument.text"},
    {u"org.idpf.epub-container", u"public.zip-archive public.composite-content", u"epub",
     u"application/epub+zip"},
    // Archives, disk images and fonts.
    {u"public.archive", u"public.data", u"", u""},
    {u"public.zip-archive", u"public.archive", u"zip", u"application/zip"},
    {u"org.gnu.gnu-zip-archive", u"public.archive", u"gz gzip", u"application/gzip"},
    {u"public.tar-archive", u"public.archive", u"tar", u"application/x-tar"},
    {u"public.bzip2-archive", u"public.archive", u"bz2", u"application/x-bzip application/x-bzip2"},
    {u"org.tukaani.xz-archive", u"public.archive", u"xz", u"application/x-xz"},
    {u"org.7-zip.7-zip-archive", u"public.archive", u"7z", u"application/x-7z-compressed"},
    {u"com.sun.java-archive", u"public.zip-archive public.executable", u"jar",
     u"application/x-java-archive"},
    {u"public.iso-image", u"public.data", u"iso", u"application/x-cd-image"},
    {u"public.font", u"public.data public.content", u"", u""},
    {u"public.truetype-ttf-font", u"public.font", u"ttf", u"font/ttf"},
    {u"public.opentype-font", u"public.font", u"otf", u"font/otf"},
    {u"org.w3.woff", u"public.font", u"woff", u"font/woff"},
    {u"org.w3.woff2", u"public.font", u"woff2", u"font/woff2"},
}};

}  // namespace

std::span<const BuiltInContentType> builtInContentTypes() noexcept { return kTable; }

}  // namespace lx::detail
