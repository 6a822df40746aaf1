// The shared-mime-info readers and the content-type registry built from
// what they read: arbitrary "globs2", "subclasses" and "aliases" files
// (the input split at the first two NUL bytes) never crash the readers or
// the registry, and every type the registry then hands out conforms to
// itself and to public.item or public.content.
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>
#include <string_view>

#include "vantorcore/platform/ContentType.h"
#include "vantorcore/platform/Log.h"
#include "vantorcore/platform/SharedMimeInfo.h"

namespace {

const std::string& scratchFolder() {
  static const std::string folder = [] {
    std::string path = "/tmp/shared_mime_info_fuzz." + std::to_string(getpid());
    std::string command = "mkdir -p " + path;
    if (std::system(command.c_str()) != 0) std::abort();
    return path;
  }();
  return folder;
}

void write(const std::string& name, std::string_view text) {
  std::ofstream(scratchFolder() + "/" + name, std::ios::binary | std::ios::trunc)
      .write(text.data(), static_cast<std::streamsize>(text.size()));
}

std::string_view take(std::string_view& input) {
  const std::size_t nul = input.find('\0');
  const std::string_view part = input.substr(0, nul);
  input.remove_prefix(nul == std::string_view::npos ? input.size() : nul + 1);
  return part;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto quiet = lx::discardLogLines();
  (void)quiet;
  std::string_view input(reinterpret_cast<const char*>(data), size);
  const std::string_view globs = take(input);
  const std::string_view subclasses = take(input);
  const std::string_view aliases = input;
  const auto parsedGlobs = lx::SharedMimeInfo::parseGlobs2(globs);
  (void)lx::SharedMimeInfo::parsePairs(subclasses);
  (void)lx::SharedMimeInfo::parsePairs(aliases);

  write("globs2", globs);
  write("subclasses", subclasses);
  write("aliases", aliases);
  lx::ContentType::reloadRegistry(std::vector<lx::String>{lx::fromUTF8(scratchFolder())});
  for (const auto& glob : parsedGlobs) {
    for (const auto& [tag, tagClass] :
         {std::pair(glob.mimeType, lx::UTTagClassMIMEType),
          std::pair(glob.pattern.substr(glob.pattern.starts_with(u"*.") ? 2 : 0),
                    lx::UTTagClassFilenameExtension)}) {
      const auto type = lx::ContentType::typeWithTag(tag, tagClass, std::nullopt);
      if (!type) continue;
      if (!type->conformsTo(*type)) std::abort();
      if (!type->conformsTo(lx::ContentType::item()) &&
          !type->conformsTo(lx::ContentType::content())) {
        std::abort();
      }
      if (const auto again = lx::ContentType::typeWithIdentifier(type->identifier());
          !again || !(*again == *type)) {
        std::abort();
      }
      (void)type->supertypes();
      (void)type->declaration();
    }
  }
  return 0;
}
