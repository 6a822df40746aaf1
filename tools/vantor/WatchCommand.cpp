// `vantor watch`: a folder tree's changes as they come, through the
// library's file-system watcher, resumable across runs with a state file.
#include <csignal>
#include <cstdio>
#include <string>

#include "Command.h"
#include "StreamIO.h"
#include "vantorcore/archiving/KeyedArchiver.h"
#include "vantorcore/archiving/KeyedUnarchiver.h"
#include "vantorcore/files/LXFileSystemWatcher.h"
#include "vantorcore/platform/FileIO.h"
#include "vantorcore/platform/FileManager.h"
#include "vantorcore/platform/RunLoop.h"
#include "vantorcore/platform/String+Paths.h"

namespace vantor {
namespace {

constexpr char kUsage[] =
    "usage: vantor watch PATH [--since ID] [--state FILE] [--latency SECONDS] [--count N]\n\n"
    "Prints the folders in which something changes below PATH, a line per\n"
    "change: the event identifier, its flags by name (\"-\" for none) and the\n"
    "folder, as batches come, until interrupted (or N changes were printed).\n"
    "  --since ID   also report what changed since event ID of an earlier run,\n"
    "               ending with a HistoryDone line\n"
    "  --state FILE resume from FILE when it exists, and save the watcher\n"
    "               there on exit (a keyed archive), so the next run with the\n"
    "               same FILE is told what changed in between\n"
    "  --latency    seconds to gather changes per batch (default 0.1)";

const Command& self() {
  static const Command command{"watch", "", kUsage, nullptr};
  return command;
}

volatile std::sig_atomic_t gInterrupted = 0;

std::string flagNames(std::uint32_t flags) {
  static const struct {
    std::uint32_t bit;
    const char* name;
  } kNames[] = {{lx::kFSEventStreamEventFlagMustScanSubDirs, "MustScanSubDirs"},
                {lx::kFSEventStreamEventFlagUserDropped, "UserDropped"},
                {lx::kFSEventStreamEventFlagKernelDropped, "KernelDropped"},
                {lx::kFSEventStreamEventFlagEventIdsWrapped, "EventIdsWrapped"},
                {lx::kFSEventStreamEventFlagHistoryDone, "HistoryDone"},
                {lx::kFSEventStreamEventFlagRootChanged, "RootChanged"}};
  std::string names;
  for (const auto& n : kNames) {
    if (!(flags & n.bit)) continue;
    if (!names.empty()) names += '|';
    names += n.name;
  }
  return names.empty() ? "-" : names;
}

class Printer : public lx::LXFileSystemWatcherDelegate {
 public:
  explicit Printer(long limit) : limit_(limit) {}
  void didRecieveChanges(
      lx::LXFileSystemWatcher&,
      const std::vector<std::shared_ptr<lx::LXFileSystemChange>>& changes) override {
    std::string out;
    for (const auto& change : changes) {
      out += std::to_string(change->eventID()) + " " + flagNames(change->flags()) + " " +
             lx::fileSystemRepresentation(change->path()) + "\n";
      if (limit_ > 0 && ++printed_ >= limit_) gInterrupted = 1;
    }
    if (!writeOut(out)) gInterrupted = 1;
  }

 private:
  long limit_;
  long printed_ = 0;
};

struct Options {
  std::string path;
  std::optional<std::uint64_t> since;
  std::optional<std::string> state;
  double latency = 0.1;
  long count = 0;
};

std::optional<Options> parse(Arguments args, int& status) {
  Options o;
  try {
    for (std::size_t i = 0; i < args.size(); ++i) {
      const std::string& a = args[i];
      const bool takesValue =
          a == "--since" || a == "--state" || a == "--latency" || a == "--count";
      if (takesValue && i + 1 == args.size()) throw std::invalid_argument(a + " needs a value");
      if (a == "--since") {
        o.since = std::stoull(args[++i]);
      } else if (a == "--state") {
        o.state = args[++i];
      } else if (a == "--latency") {
        o.latency = std::stod(args[++i]);
      } else if (a == "--count") {
        o.count = std::stol(args[++i]);
      } else if (a.starts_with("--") || !o.path.empty()) {
        throw std::invalid_argument("unexpected argument " + a);
      } else {
        o.path = a;
      }
    }
  } catch (const std::invalid_argument& e) {
    status = usageError(self(), e.what());
    return std::nullopt;
  } catch (const std::out_of_range&) {
    status = usageError(self(), "a number is out of range");
    return std::nullopt;
  }
  if (o.path.empty()) {
    status = usageError(self(), "no path given");
    return std::nullopt;
  }
  return o;
}

// The watcher of the state file when there is one for the same root, else a
// new one.
std::shared_ptr<lx::LXFileSystemWatcher> makeWatcher(const Options& o, const lx::String& root,
                                                     std::string& problem) {
  if (o.state) {
    if (const auto data = lx::readFileContents(lx::stringWithFileSystemRepresentation(*o.state))) {
      auto watcher = lx::KeyedUnarchiver::unarchivedObjectOfClass(
                         lx::LXFileSystemWatcher::staticClass(), *data)
                         .objectAs<lx::LXFileSystemWatcher>();
      if (!watcher) {
        problem = *o.state + ": not a saved watcher";
        return nullptr;
      }
      if (watcher->rootPath() != lx::LXFileSystemWatcher::sanitizedPath(root)) {
        problem = *o.state + ": saved for " + lx::toUTF8(watcher->rootPath());
        return nullptr;
      }
      return watcher;
    }
  }
  auto watcher = lx::LXFileSystemWatcher::initWithRootPath(
      root, o.since.value_or(lx::kFSEventStreamEventIdSinceNow));
  if (!watcher) problem = "cannot watch " + o.path;
  return watcher;
}

int run(Arguments args) {
  int status = 0;
  const std::optional<Options> options = parse(args, status);
  if (!options) return status;
  const lx::String given = lx::stringWithFileSystemRepresentation(options->path);
  const lx::String root = lx::stringByStandardizingPath(
      lx::isAbsolutePath(given)
          ? given
          : lx::stringByAppendingPathComponent(
                lx::FileManager::defaultManager()->currentDirectoryPath(), given));
  std::string problem;
  const auto watcher = makeWatcher(*options, root, problem);
  if (!watcher) return fail("watch", problem);
  const auto printer = std::make_shared<Printer>(options->count);
  watcher->setDelegate(printer);
  watcher->setLatency(options->latency);
  if (!watcher->start()) return fail("watch", "cannot start watching " + options->path);
  std::signal(SIGINT, [](int) { gInterrupted = 1; });
  std::signal(SIGTERM, [](int) { gInterrupted = 1; });
  const auto loop = lx::RunLoop::main();
  while (!gInterrupted) {
    loop->runMode(lx::DefaultRunLoopMode, lx::Date(lx::Date::now().timeIntervalSince1970() + 0.05));
  }
  if (options->state) {
    lx::ErrorPtr error;
    const auto data =
        lx::KeyedArchiver::archivedDataWithRootObject(lx::Value(watcher), true, &error);
    if (!data ||
        !lx::writeFileAtomically(*data, lx::stringWithFileSystemRepresentation(*options->state),
                                 0600, &error)) {
      return fail("watch", "cannot save the state to " + *options->state);
    }
  }
  return 0;
}

}  // namespace

VANTOR_COMMAND("watch", "folder-tree changes as they come, resumable", kUsage, run);

}  // namespace vantor
