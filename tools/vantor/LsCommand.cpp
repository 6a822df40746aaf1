// `vantor ls`: a folder's contents, or with --deep its whole tree, through
// the library's directory listings.
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Command.h"
#include "StreamIO.h"
#include "vantorcore/files/FileManager+DirectoryContents.h"
#include "vantorcore/platform/String+Paths.h"

namespace vantor {
namespace {

constexpr char kUsage[] =
    "usage: vantor ls [--deep] [--no-hidden] [--no-directories] [--exclude NAME]...\n"
    "                 [--type ID | --except ID... [--keep ID]...] PATH\n\n"
    "Prints the paths of the items in the folder, one per line. --deep lists\n"
    "the whole tree, a folder before its contents, never entering packages;\n"
    "then:\n"
    "  --no-hidden       leaves out hidden items (a leading dot, or named in\n"
    "                    the folder's .hidden file)\n"
    "  --no-directories  lists files only\n"
    "  --exclude NAME    leaves out items of that exact name (only while\n"
    "                    hidden items are listed)\n"
    "  --type ID         only files whose content type conforms to ID\n"
    "  --except ID       leaves out files whose type conforms to ID ...\n"
    "  --keep ID         ... unless their type is exactly ID\n"
    "Files without a content type (no extension) are always listed.";

const Command& self() {
  static const Command command{"ls", "", kUsage, nullptr};
  return command;
}

struct Options {
  bool deep = false;
  bool hidden = true;
  bool directories = true;
  std::vector<lx::String> excludes;
  std::optional<lx::String> type;
  std::vector<lx::String> excepting;
  std::vector<lx::String> keeping;
  std::optional<std::string> path;
};

// Parses the arguments; absent after printing the usage error.
std::optional<Options> parse(Arguments args, int& status) {
  Options o;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    const bool takesValue = a == "--exclude" || a == "--type" || a == "--except" || a == "--keep";
    if (takesValue && i + 1 == args.size()) {
      status = usageError(self(), a + " needs a value");
      return std::nullopt;
    }
    if (a == "--deep") {
      o.deep = true;
    } else if (a == "--no-hidden") {
      o.hidden = false;
    } else if (a == "--no-directories") {
      o.directories = false;
    } else if (a == "--exclude") {
      o.excludes.push_back(lx::stringWithFileSystemRepresentation(args[++i]));
    } else if (a == "--type") {
      o.type = lx::fromUTF8(args[++i]);
    } else if (a == "--except") {
      o.excepting.push_back(lx::fromUTF8(args[++i]));
    } else if (a == "--keep") {
      o.keeping.push_back(lx::fromUTF8(args[++i]));
    } else if (a.starts_with("--") || o.path) {
      status = usageError(self(), "unexpected argument " + a);
      return std::nullopt;
    } else {
      o.path = a;
    }
  }
  if (!o.path) {
    status = usageError(self(), "no path given");
    return std::nullopt;
  }
  if (o.type && !o.excepting.empty()) {
    status = usageError(self(), "--type and --except exclude each other");
    return std::nullopt;
  }
  return o;
}

// Collects output into large blocks: a deep listing can run to millions of
// lines, and a write per line would cost more than the walk.
class BlockWriter {
 public:
  BlockWriter() { out_.reserve(kBlockSize + 4096); }
  void add(std::string_view path) {
    if (failed_) return;
    out_.append(path);
    out_ += '\n';
    if (out_.size() >= kBlockSize) flush();
  }
  // False when any write failed.
  bool flush() {
    if (!failed_ && !writeOut(out_)) failed_ = true;
    out_.clear();
    return !failed_;
  }

 private:
  static constexpr std::size_t kBlockSize = 1 << 18;
  std::string out_;
  bool failed_ = false;
};

void listShallow(lx::FileManager& manager, const lx::String& path, BlockWriter& out) {
  const auto names = manager.contentsOfDirectoryAtPath(path);
  if (!names) return;
  for (const lx::String& name : *names) {
    out.add(lx::fileSystemRepresentation(lx::stringByAppendingPathComponent(path, name)));
  }
}

void listDeep(lx::FileManager& manager, const Options& o, const lx::String& path,
              BlockWriter& out) {
  lx::LXDeepListingFilters filters;
  filters.includeHidden = o.hidden;
  filters.includeDirectories = o.directories;
  filters.excludesFiles = o.excludes;
  filters.conformsToUTI = o.type;
  filters.excludingUTIs = o.excepting;
  filters.includingUTIs = o.keeping;
  lx::lx_enumerateDeepDirectoryContentsAtPath(manager, path, filters,
                                              [&](std::string_view item) { out.add(item); });
}

int run(Arguments args) {
  int status = 0;
  const std::optional<Options> options = parse(args, status);
  if (!options) return status;
  lx::FileManager& manager = *lx::FileManager::defaultManager();
  const lx::String path = lx::stringWithFileSystemRepresentation(*options->path);
  bool isDirectory = false;
  if (!manager.fileExistsAtPath(path, &isDirectory) || !isDirectory) {
    return fail("ls", *options->path + ": not a folder");
  }
  BlockWriter out;
  if (options->deep) {
    listDeep(manager, *options, path, out);
  } else {
    listShallow(manager, path, out);
  }
  return out.flush() ? 0 : fail("ls", "cannot write the output");
}

}  // namespace

VANTOR_COMMAND("ls", "folder contents and deep listings with filters", kUsage, run);

}  // namespace vantor
