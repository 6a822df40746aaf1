// Drives the path, trimming and substring operations with arbitrary UTF-16
// (lone surrogates included) and checks the invariants that must hold for
// any input: no crash or hang, file-name bytes survive a round trip, the
// library's standardising is idempotent, unique names are really unique.
// Operations that write to disk are left out.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <cstdlib>
#include <unordered_set>
#include <vector>

#include "vantorcore/platform/CharacterSet.h"
#include "vantorcore/platform/String+Paths.h"
#include "vantorcore/text/String+POSIXUtilities.h"
#include "vantorcore/text/String+PathAdditions.h"
#include "vantorcore/text/String+Substrings.h"
#include "vantorcore/text/String+Trim.h"

namespace {

using lx::String;

String consumeString(FuzzedDataProvider& data) {
  const std::size_t units = data.ConsumeIntegralInRange<std::size_t>(0, 64);
  String out;
  for (std::size_t i = 0; i < units && data.remaining_bytes() >= 2; ++i) {
    // Bias towards the units paths care about, so the interesting branches
    // are reached quickly; any unit stays possible.
    const auto kind = data.ConsumeIntegralInRange<int>(0, 7);
    static constexpr char16_t kPathUnits[] = u"/./..~ :\\[]5+-";
    if (kind < 4) {
      out.push_back(kPathUnits[data.ConsumeIntegralInRange<std::size_t>(0, 14)]);
    } else {
      out.push_back(data.ConsumeIntegral<char16_t>());
    }
  }
  return out;
}

void check(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  FuzzedDataProvider data(bytes, size);
  const String a = consumeString(data);
  const String b = consumeString(data);
  const String c = consumeString(data);
  const std::size_t index = data.ConsumeIntegral<std::size_t>();
  const lx::Range range{data.ConsumeIntegral<std::size_t>(), data.ConsumeIntegral<std::size_t>()};
  const unsigned options = data.ConsumeIntegral<unsigned>() & 0x1ff;

  // Platform primitives.
  const std::string raw(reinterpret_cast<const char*>(bytes), size);
  check(lx::fileSystemRepresentation(lx::stringWithFileSystemRepresentation(raw)) == raw);
  (void)lx::fileSystemRepresentation(a);
  (void)lx::pathWithComponents(lx::pathComponents(a));
  (void)lx::stringByAppendingPathComponent(a, b);
  (void)lx::lastPathComponent(a);
  (void)lx::stringByDeletingLastPathComponent(a);
  (void)lx::stringByDeletingPathExtension(a);
  (void)lx::stringByAppendingPathExtension(a, b);
  (void)lx::stringByAbbreviatingWithTildeInPath(a);
  (void)lx::stringByStandardizingPath(a);
  check(lx::pathExtension(a).size() <= a.size());

  // The library's path operations.
  const String standard = lx::lx_stringByStandardizingUnixPath(a);
  check(lx::lx_stringByStandardizingUnixPath(standard) == standard);
  (void)lx::lx_stringByExpandingTildeInPathToUserHomeDirectory(a);
  (void)lx::lx_stringByAbbreviatingWithUserHomeTildeInPath(a);
  (void)lx::lx_stringByTrimmingPathToUsersDirectory(a);
  (void)lx::lx_stringByNormalizingPath(a);
  (void)lx::lx_stringByRebasingPathFromRoot(a, b, c);
  (void)lx::lx_commonPathPrefix(a, b, options);
  (void)lx::lx_isChildOfPath(a, b);
  (void)lx::lx_hasCompletePathPrefix(a);
  (void)lx::lx_stringByDeletingPathExtension(a);
  check(lx::lx_allPathExtensions(a).size() <= a.size());
  (void)lx::lx_stringByDeletingTrailingSlash(a);
  (void)lx::lx_stringByEnsuringTrailingSlash(a);
  (void)lx::lx_stringByExpandingEscapedSpaces(a);
  (void)lx::lx_isValidFilename(a);
  (void)lx::lx_isValidPathComponent(a);
  const lx::Range word = lx::lx_wordRangeForFilenameAtIndex(a, index, range);
  check(word.end() <= a.size());

  const std::vector<String> taken = {a, b, c,
                                     lx::lx_stringUniqueToSet(a, std::unordered_set<String>{a})};
  const std::unordered_set<String> takenSet(taken.begin(), taken.end());
  check(!takenSet.contains(lx::lx_stringUniqueToSet(a, takenSet)));
  const String copy = lx::lx_stringUniqueToArray(a, taken, b, data.ConsumeBool());
  (void)copy;
  (void)lx::lx_stringUniqueToArray(a, taken, data.ConsumeBool());

  // Trimming and substrings.
  const lx::CharacterSet set = lx::CharacterSet::characterSetWithCharactersInString(b);
  (void)lx::lx_stringByTrimmingPrefix(a, b);
  (void)lx::lx_stringByTrimmingSuffix(a, b);
  (void)lx::lx_stringByTrimmingCharactersInSet(a, set);
  (void)lx::lx_stringByTrimmingLeadingAndTrailingCharactersInSet(a, set);
  (void)lx::lx_stringByReplacingCharactersInSet(a, set, c);
  (void)lx::lx_stringByDeletingCharactersInSet(a, set);
  check(lx::lx_substringToIndex(a, index).size() <= a.size());
  (void)lx::lx_containsString(a, b, options);
  (void)lx::lx_numberOfInstancesOfString(a, b, options);
  (void)lx::lx_rangeOfSubstringDelimitedByString(a, b, c, options, range);
  (void)lx::lx_getIPv4Address(a, nullptr);
  (void)lx::lx_getIPv6Address(a, nullptr);
  return 0;
}
