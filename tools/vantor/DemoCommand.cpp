// `vantor demo`: a short tour of what the library does, each line an
// operation and its result. Later work adds its own sections here.
#include <iostream>
#include <unordered_set>

#include "Command.h"
#include "vantorcore/platform/String+Paths.h"
#include "vantorcore/text/String+PathAdditions.h"

namespace vantor {
namespace {

using lx::String;

void show(std::string_view call, const String& result) {
  std::cout << "  " << call << std::string(call.size() < 62 ? 62 - call.size() : 1, ' ') << "=> '"
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

int run(Arguments) {
  std::cout << "VantorCore demo\n\n";
  pathSection();
  return 0;
}

}  // namespace

VANTOR_COMMAND("demo", "a short tour of the library with live results",
               "usage: vantor demo\n\nPrints a few library operations with their results.", run);

}  // namespace vantor
