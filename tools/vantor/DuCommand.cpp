// `vantor du`: file counts and sizes of folder trees, like `du -s`.
#include <string>

#include "Command.h"
#include "StreamIO.h"
#include "vantorcore/files/FileManager+DirectoryContents.h"
#include "vantorcore/platform/String+Paths.h"

namespace vantor {
namespace {

constexpr char kUsage[] =
    "usage: vantor du [--apparent | --count] [--hidden | --no-hidden] PATH...\n\n"
    "Prints, for each folder, the allocated size of everything below it in\n"
    "bytes (st_blocks x 512, as `du -s` counts blocks), and the path,\n"
    "tab-separated. --apparent: the logical size (st_size, as `du -sb`).\n"
    "--count: the number of items that are not folders instead.\n"
    "Hidden items (a leading dot, or named in their folder's .hidden file)\n"
    "count by default, as `du` counts them; --hidden says so explicitly,\n"
    "--no-hidden leaves them out, and everything below a hidden folder.\n"
    "Package contents count; symbolic links are never followed and folders\n"
    "add no size. Exit 1 when a path is not a folder.";

const Command& self() {
  static const Command command{"du", "", kUsage, nullptr};
  return command;
}

int run(Arguments args) {
  bool apparent = false;
  bool count = false;
  bool hidden = true;
  std::vector<std::string> paths;
  for (const std::string& a : args) {
    if (a == "--apparent") {
      apparent = true;
    } else if (a == "--count") {
      count = true;
    } else if (a == "--hidden" || a == "--no-hidden") {
      hidden = a == "--hidden";
    } else if (a.starts_with("--")) {
      return usageError(self(), "unknown option " + a);
    } else {
      paths.push_back(a);
    }
  }
  if (paths.empty()) return usageError(self(), "no path given");
  if (apparent && count) return usageError(self(), "--apparent and --count exclude each other");
  lx::FileManager& manager = *lx::FileManager::defaultManager();
  int status = 0;
  for (const std::string& path : paths) {
    const lx::String folder = lx::stringWithFileSystemRepresentation(path);
    bool isDirectory = false;
    if (!manager.fileExistsAtPath(folder, &isDirectory) || !isDirectory) {
      status = fail("du", path + ": not a folder");
      continue;
    }
    std::uint64_t value = 0;
    if (count) {
      value = lx::lx_numberOfFilesAtPath(manager, folder, hidden);
    } else {
      std::uint64_t physical = 0;
      const std::uint64_t logical =
          lx::lx_sizeOfFolderContentsAtPath(manager, folder, &physical, hidden);
      value = apparent ? logical : physical;
    }
    if (!writeOut(std::to_string(value) + "\t" + path + "\n")) {
      return fail("du", "cannot write the output");
    }
  }
  return status;
}

}  // namespace

VANTOR_COMMAND("du", "file counts and sizes of folder trees", kUsage, run);

}  // namespace vantor
