#include "vantorcore/text/String+Trim.h"

#include "vantorcore/platform/Scanner.h"
#include "vantorcore/text/Scanner+Additions.h"

namespace lx {

String lx_stringByTrimmingPrefix(StringView string, StringView prefix) {
  if (string.starts_with(prefix)) string.remove_prefix(prefix.size());
  return String(string);
}

String lx_stringByTrimmingSuffix(StringView string, StringView suffix) {
  if (string.ends_with(suffix)) string.remove_suffix(suffix.size());
  return String(string);
}

String lx_stringByTrimmingCharactersInSet(StringView string, const CharacterSet& set) {
  Scanner scanner{String(string)};
  scanner.setScanLocation(string.size());
  if (!scanBackwardCharactersFromSet(scanner, set, nullptr)) return String(string);
  return String(string.substr(0, scanner.scanLocation()));
}

String lx_stringByTrimmingLeadingAndTrailingCharactersInSet(StringView string,
                                                            const CharacterSet& set) {
  Scanner scanner{lx_stringByTrimmingCharactersInSet(string, set)};
  scanner.setCharactersToBeSkipped(std::nullopt);
  scanner.scanCharactersFromSet(set);
  return scanner.string().substr(scanner.scanLocation());
}

String lx_stringByReplacingCharactersInSet(StringView string, const CharacterSet& set,
                                           StringView replacement) {
  String out;
  bool replaced = false;
  std::size_t i = 0;
  while (i < string.size()) {
    std::size_t length = 1;
    if (set.containsCodePointAt(string, i, &length)) {
      if (!replaced) out.assign(string.substr(0, i));
      out.append(replacement);
      replaced = true;
    } else if (replaced) {
      out.append(string.substr(i, length));
    }
    i += length;
  }
  return replaced ? out : String(string);
}

String lx_stringByDeletingCharactersInSet(StringView string, const CharacterSet& set) {
  return lx_stringByReplacingCharactersInSet(string, set, u"");
}

String lx_substringToIndex(const String& string, std::size_t index) {
  return index >= string.size() ? string : string.substr(0, index);
}

}  // namespace lx
