// `vantor demo`: a short tour of what the library does, each line an
// operation and its result, area by area.
#include <algorithm>
#include <iostream>
#include <unordered_set>

#include "Command.h"
#include "vantorcore/concurrency/Timer+Tolerance.h"
#include "vantorcore/platform/JSON.h"
#include "vantorcore/platform/String+Paths.h"
#include "vantorcore/text/Data+Base64.h"
#include "vantorcore/text/Data+Hash.h"
#include "vantorcore/text/Date+Conversions.h"
#include "vantorcore/text/LXUUID.h"
#include "vantorcore/text/String+Collation.h"
#include "vantorcore/text/String+PathAdditions.h"
#include "vantorcore/text/String+PunyCode.h"

namespace vantor {
namespace {

using lx::String;

void show(std::string_view call, const String& result) {
  // Pad by characters, not bytes, so lines with non-ASCII text line up too.
  const auto width = static_cast<std::size_t>(
      std::count_if(call.begin(), call.end(), [](char c) { return (c & 0xC0) != 0x80; }));
  std::cout << "  " << call << std::string(width < 62 ? 62 - width : 1, ' ') << "=> '"
            << lx::fileSystemRepresentation(result) << "'\n";
}

void pathSection() {
  std::cout << "Paths and file names\n";
  show("lx_pathExtension('archive.tar.gz')", lx::lx_pathExtension(u"archive.tar.gz"));
  show("lx_allPathExtensions('archive.tar.gz')", lx::lx_allPathExtensions(u"archive.tar.gz"));
  show("lx_pathExtension('.profile')", lx::lx_pathExtension(u".profile"));
  show("lx_stringByStandardizingUnixPath('/a/./b/../c/')",
       lx::lx_stringByStandardizingUnixPath(u"/a/./b/../c/"));
  show("lx_stringByRebasingPathFromRoot('/ab/c', '/a', '/x')",
       lx::lx_stringByRebasingPathFromRoot(u"/ab/c", String(u"/a"), u"/x").value_or(u"(absent)"));
  show("lx_commonPathPrefix('/Users/a/x', '/users/A/y')",
       lx::lx_commonPathPrefix(u"/Users/a/x", u"/users/A/y"));
  const std::unordered_set<String> taken = {u"Report", u"Report 2"};
  show("lx_stringUniqueToSet('Report', {Report, Report 2})",
       lx::lx_stringUniqueToSet(String(u"Report"), taken));
  const std::vector<String> files = {u"Notes.txt", u"Notes copy.txt"};
  show("lx_filenameUniqueToArray('Notes copy.txt', …, 'copy')",
       lx::lx_filenameUniqueToArray(u"Notes copy.txt", files, String(u"copy")));
  show("lx_stringByAbbreviatingWithUserHomeTildeInPath(home + '/x')",
       lx::lx_stringByAbbreviatingWithUserHomeTildeInPath(lx::LXUserHomeDirectory() + u"/x"));
}

const char* orderName(lx::ComparisonResult r) {
  switch (r) {
    case lx::ComparisonResult::Ascending:
      return "ascending";
    case lx::ComparisonResult::Same:
      return "same";
    case lx::ComparisonResult::Descending:
      return "descending";
  }
  return "?";
}

void textSection() {
  std::cout << "\nText and data\n";
  const lx::Data hello = lx::dataFromBytes("hello");
  show("lx_base64String('hello')", lx::lx_base64String(hello));
  show("lx_base32String('hello')", lx::lx_base32String(hello));
  show("lx_hexString(lx_SHA256Hash('abc'))",
       lx::lx_hexString(lx::lx_SHA256Hash(lx::dataFromBytes("abc")).value_or(lx::Data{})));
  show("lx_punyCode('münchen.de')", lx::lx_punyCode(u"münchen.de"));
  show("lx_versionCompare('1.0b3', '1.0')",
       lx::fromUTF8(orderName(lx::lx_versionCompare(u"1.0b3", u"1.0"))));
  show("lx_localizedStandardCompare('file9', 'file10')",
       lx::fromUTF8(orderName(lx::lx_localizedStandardCompare(u"file9", u"file10"))));
  show("lx_rfc1123String(784111777)", lx::lx_rfc1123String(lx::Date(784111777)));
}

void objectSection() {
  std::cout << "\nObjects and JSON\n";
  show("LXUUID::UUID()->stringValue()", lx::LXUUID::UUID()->stringValue());
  const lx::Value document(lx::Dictionary{{u"name", u"Grüße"}, {u"sizes", lx::Array{1, 2.5}}});
  show("stringWithJSONObject({name, sizes})",
       lx::fromUTF8(lx::JSONSerialization::stringWithJSONObject(document).value_or("(failed)")));
  show("lx_toleranceForTimeInterval(400)",
       lx::stringWithFormat(u"%g", lx::lx_toleranceForTimeInterval(400)));
}

int run(Arguments) {
  std::cout << "VantorCore demo\n\n";
  pathSection();
  textSection();
  objectSection();
  return 0;
}

}  // namespace

VANTOR_COMMAND("demo", "a short tour of the library with live results",
               "usage: vantor demo\n\nPrints a few library operations with their results.", run);

}  // namespace vantor
