#include "vantorcore/files/LXFileSystemWatcher.h"

#include "vantorcore/files/FileManager+Additions.h"
#include "vantorcore/platform/BoxedValue.h"
#include "vantorcore/platform/Log.h"
#include "vantorcore/platform/String+Paths.h"
#include "vantorcore/platform/StringFormat.h"
#include "vantorcore/text/DebugLogging.h"
#include "vantorcore/text/String+PathAdditions.h"

namespace lx {

LX_DEFINE_CLASS(LXFileSystemWatcher, Object)

namespace {

constexpr StringView kRootPathKey = u"RootPath";
constexpr StringView kLastEventIDKey = u"LastEventID";
constexpr StringView kDataVolumePrefix = u"/System/Volumes/Data/";
// The length of "/System/Volumes/Data": the sanitised path keeps its "/".
constexpr std::size_t kDataVolumePrefixCut = 20;

void debugLog(StringView format, const String& argument = {}) {
  if (LXDebugLoggingIsEnabled()) logFormat(format, argument);
}

}  // namespace

String LXFileSystemWatcher::sanitizedPath(StringView path) {
  if (path.starts_with(kDataVolumePrefix)) return String(path.substr(kDataVolumePrefixCut));
  return String(path);
}

std::shared_ptr<LXFileSystemWatcher> LXFileSystemWatcher::initWithRootPath(
    const std::optional<String>& rootPath, std::uint64_t lastEventID) {
  if (!rootPath) return nullptr;
  if (const std::optional<String> bootDisk = lx_bootDiskPath()) {
    if (rootPath->starts_with(stringByAppendingPathComponent(*bootDisk, u"System"))) {
      return nullptr;
    }
  }
  auto watcher = std::make_shared<LXFileSystemWatcher>();
  watcher->rootPath_ = sanitizedPath(*rootPath);
  watcher->lastEventID_ = lastEventID;
  return watcher;
}

std::shared_ptr<LXFileSystemWatcher> LXFileSystemWatcher::initWithCoder(Coder& coder) {
  const Value root = coder.decodeObjectForKey(kRootPathKey);
  // Keyed archives keep the box as a plain number; other coders the box.
  const Value stored = coder.decodeObjectForKey(kLastEventIDKey);
  std::uint64_t lastEventID = kFSEventStreamEventIdSinceNow;
  if (stored.isInteger()) {
    lastEventID = stored.uint64Value();
  } else if (const auto box = stored.objectAs<BoxedValue>()) {
    lastEventID = box->uint64Value().value_or(kFSEventStreamEventIdSinceNow);
  }
  return initWithRootPath(
      root.isString() ? std::optional<String>(root.asString()->str()) : std::nullopt, lastEventID);
}

void LXFileSystemWatcher::encodeWithCoder(Coder& coder) const {
  coder.encodeObject(Value(rootPath_), kRootPathKey);
  if (stream_) {
    if (lastEventID_ == kFSEventStreamEventIdSinceNow) lastEventID_ = stream_->latestEventId();
    stream_->saveSnapshot();
  }
  coder.encodeObject(Value(BoxedValue::valueWithUInt64(lastEventID_)), kLastEventIDKey);
}

LXFileSystemWatcher::~LXFileSystemWatcher() {
  delegate_.reset();
  if (stream_) {
    stream_->stop();
    stream_->invalidate();
  }
}

bool LXFileSystemWatcher::start() { return startWithFlags(kDefaultCreateFlags); }

bool LXFileSystemWatcher::startWithFlags(FSEventStreamCreateFlags flags) {
  if (stream_) return stream_->start();
  if (rootPath_.empty()) return false;
  debugLog(u"Starting %@", description());
  const std::weak_ptr<LXFileSystemWatcher> weak =
      std::static_pointer_cast<LXFileSystemWatcher>(shared_from_this());
  stream_ = FileSystemEventStream::create(
      lx_stringByExpandingTildeInPathToUserHomeDirectory(rootPath_), lastEventID_, latency_, flags,
      [weak](FileSystemEventStream& stream, const std::vector<FileSystemEvent>& events) {
        if (const auto self = weak.lock()) {
          self->streamDidDeliverEvents(stream.latestEventId(), events);
        }
      });
  if (!stream_) {
    debugLog(u"Couldn't create event stream");
    return false;
  }
  rootPathResolved_ = sanitizedPath(stream_->pathsBeingWatched().front());
  stream_->setDispatchQueue(DispatchQueue::main());
  return stream_->start();
}

void LXFileSystemWatcher::stop() {
  if (!stream_) return;
  debugLog(u"Stopping %@", description());
  stream_->stop();
}

void LXFileSystemWatcher::streamDidDeliverEvents(FSEventStreamEventId latestEventID,
                                                 const std::vector<FileSystemEvent>& events) {
  const String root = sanitizedPath(rootPath_);
  const std::optional<String> resolved =
      rootPathResolved_ ? std::optional<String>(sanitizedPath(*rootPathResolved_)) : std::nullopt;
  lastEventID_ = latestEventID;
  std::vector<std::shared_ptr<LXFileSystemChange>> changes;
  for (const FileSystemEvent& event : events) {
    std::optional<String> path = sanitizedPath(event.path);
    const FSEventStreamEventFlags flags = event.flags;
    if (flags & kFSEventStreamEventFlagHistoryDone) {
      debugLog(u"FSEvent history complete");
    } else if (flags & kFSEventStreamEventFlagRootChanged) {
      debugLog(u"FSEvent root changed");
      const auto delegate = delegate_.lock();
      if (delegate && delegate->respondsToRootDidMoveToPath()) {
        delegate->rootDidMoveToPath(*this, *path);
      }
    } else if (flags & kFSEventStreamEventFlagMustScanSubDirs) {
      debugLog(u"FSEvent must scan subdirs");
      if (!lx_isChildOfPath(*path, resolved) && resolved) path = *resolved;
    } else if (resolved) {
      if (path->size() >= resolved->size()) {
        if (!path->starts_with(*resolved)) LXConditionFailed(u"Root paths do not match");
        path = root + path->substr(resolved->size());
      } else if (!lx_isChildOfPath(*path, resolved)) {
        path.reset();
      }
      if (flags & kFSEventStreamEventFlagUserDropped) {
        debugLog(u"Client not keeping up with FSEvent stream... dropping events");
      }
      if (flags & kFSEventStreamEventFlagKernelDropped) {
        debugLog(u"Kernel not keeping up with FSEvent stream... dropping events");
      }
    }
    if (path) changes.push_back(std::make_shared<LXFileSystemChange>(path, event.eventID, flags));
  }
  if (changes.empty()) return;
  if (const auto delegate = delegate_.lock()) delegate->didRecieveChanges(*this, changes);
}

String LXFileSystemWatcher::description() const {
  return Object::description() +
         stringWithFormat(u" Root Path = %@, Last EventID = %qu", rootPath_, lastEventID_);
}

}  // namespace lx
