// Paths and text: the platform's path operations next to the library's own
// path additions, version ordering, Punycode host names, Base64/Base32 and a
// digest. Every string is UTF-16 (`lx::String`); `toUTF8` is for printing.
//
// Prints each result and exits non-zero when one differs from what the
// reference documents.
#include <cstdio>
#include <string>

#include "vantorcore/platform/String+Paths.h"
#include "vantorcore/platform/String.h"
#include "vantorcore/text/Data+Base64.h"
#include "vantorcore/text/Data+Hash.h"
#include "vantorcore/text/String+Collation.h"
#include "vantorcore/text/String+PathAdditions.h"
#include "vantorcore/text/String+PunyCode.h"

namespace {

int failures = 0;

void expect(const char* what, const lx::String& got, const lx::String& want) {
  std::printf("%-44s %s\n", what, lx::toUTF8(got).c_str());
  if (got != want) {
    std::printf("  expected %s\n", lx::toUTF8(want).c_str());
    ++failures;
  }
}

}  // namespace

int main() {
  // The platform's path operations work on components.
  expect("lastPathComponent(/tmp/notes/a.txt)", lx::lastPathComponent(u"/tmp/notes/a.txt"),
         u"a.txt");
  expect("stringByStandardizingPath(/a/./b/../c)", lx::stringByStandardizingPath(u"/a/./b/../c"),
         u"/a/c");

  // The library's additions keep their documented quirks: the extension
  // comes from the whole string, prefixes are tested as text.
  expect("lx_pathExtension(archive.tar.gz)", lx::lx_pathExtension(u"archive.tar.gz"), u"gz");
  expect("lx_allPathExtensions(archive.tar.gz)", lx::lx_allPathExtensions(u"archive.tar.gz"),
         u"tar.gz");
  auto rebased = lx::lx_stringByRebasingPathFromRoot(u"/a/b/c", lx::String(u"/a"), u"/x");
  expect("rebase /a/b/c from /a to /x", rebased.value_or(u"(absent)"), u"/x/b/c");
  expect("lx_isChildOfPath(/A/b, /a)",
         lx::lx_isChildOfPath(u"/A/b", lx::String(u"/a")) ? u"yes" : u"no", u"yes");

  // Versions order by their numbers; a trailing word marks a pre-release.
  auto order = lx::lx_versionCompare(u"1.0b2", u"1.0");
  expect("lx_versionCompare(1.0b2, 1.0)",
         order == lx::ComparisonResult::Ascending ? u"ascending" : u"not ascending", u"ascending");

  // Internationalised host names as DNS sees them.
  expect("lx_punyCode(bücher.example)", lx::lx_punyCode(u"bücher.example"),
         u"xn--bcher-kva.example");

  // Byte encodings round-trip; a digest printed as hex.
  const std::string text = "hello";
  const lx::Data bytes(text.begin(), text.end());
  expect("lx_base64String(hello)", lx::lx_base64String(bytes), u"aGVsbG8=");
  expect("lx_base32String(hello)", lx::lx_base32String(bytes), u"NBSWY3DP");
  auto decoded = lx::lx_dataWithBase64String(u"aGVsbG8=");
  expect("lx_dataWithBase64String(aGVsbG8=)",
         decoded ? lx::fromUTF8(std::string(decoded->begin(), decoded->end())) : u"(absent)",
         u"hello");
  expect("lx_hexString(lx_SHA1Hash(hello))", lx::lx_hexString(lx::lx_SHA1Hash(bytes)),
         u"aaf4c61ddcc5e8a2dabede0f3b482cd9aea9434d");

  return failures == 0 ? 0 : 1;
}
