// A program outside the tree, built against an installed VantorCore: it checks
// the library it runs with against the headers, then decodes the keyed
// archive named on the command line, prints the root object's class, and
// checks that the classes named after it are registered. It never names those
// classes in code, so a static link that dropped unreferenced units fails here.
// It takes the one include that brings every public header, which must build
// with the flags pkg-config and the CMake package give and nothing else.
#include <cstdio>
#include <fstream>
#include <iterator>

#include <vantorcore/vantorcore.h>

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: host ARCHIVE [CLASS...]\n");
    return 2;
  }
  if (!lx::VantorCore::isCompatibleWith(VANTORCORE_VERSION_MAJOR, VANTORCORE_VERSION_MINOR) ||
      lx::VantorCore::version() != u"" VANTORCORE_VERSION) {
    std::fprintf(stderr, "headers %s, library %s\n", VANTORCORE_VERSION,
                 lx::toUTF8(lx::VantorCore::version()).c_str());
    return 1;
  }
  std::ifstream file(argv[1], std::ios::binary);
  const lx::Data archive{std::istreambuf_iterator<char>(file), {}};
  lx::ErrorPtr error;
  auto unarchiver = lx::KeyedUnarchiver::initForReadingFromData(archive, &error);
  if (!unarchiver) {
    std::fprintf(stderr, "not a keyed archive\n");
    return 1;
  }
  unarchiver->setRequiresSecureCoding(false);
  const auto root = unarchiver->decodeObject().asObject();
  if (!root) {
    std::fprintf(stderr, "the root object did not decode\n");
    return 1;
  }
  std::printf("%s\n", lx::toUTF8(root->className()).c_str());
  for (int i = 2; i < argc; ++i) {
    if (!lx::ClassRegistry::classNamed(lx::fromUTF8(argv[i]))) {
      std::fprintf(stderr, "class %s is not registered\n", argv[i]);
      return 1;
    }
  }
  return 0;
}
