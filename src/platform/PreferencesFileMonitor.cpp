#include "PreferencesFileMonitor.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/steady_timer.hpp>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "vantorcore/platform/DispatchEngine.h"
#include "vantorcore/platform/FileIO.h"
#include "vantorcore/platform/Log.h"
#include "vantorcore/platform/String+Paths.h"

namespace lx::detail {

namespace asio = boost::asio;

namespace {
// Content written and closed, renamed in or out, removed, or permissions
// changed. Plain modifications are left out: a writer still busy with the
// file is heard when it closes it.
constexpr std::uint32_t kFolderEvents =
    IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE | IN_ATTRIB;
}  // namespace

struct PreferencesFileMonitor::Engine {
  asio::posix::stream_descriptor stream{dispatchEngineContext()};
};

struct PreferencesFileMonitor::Watch {
  int descriptor;
  std::string name;
  std::shared_ptr<std::function<void()>> changed;
  asio::steady_timer timer{dispatchEngineContext()};
  bool pending = false;
};

PreferencesFileMonitor& PreferencesFileMonitor::shared() {
  static auto* monitor = new PreferencesFileMonitor;  // serves the process to its end
  return *monitor;
}

PreferencesFileMonitor::PreferencesFileMonitor() : engine_(std::make_unique<Engine>()) {
  fd_ = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  if (fd_ < 0) {
    logFormat(u"UserDefaults: cannot watch preference files: %s", std::strerror(errno));
    return;
  }
  engine_->stream.assign(fd_);
  waitForEvents();
}

std::uint64_t PreferencesFileMonitor::watch(const String& path, std::function<void()> changed) {
  if (fd_ < 0) return 0;
  const std::string folder = fileSystemRepresentation(stringByDeletingLastPathComponent(path));
  // A store not yet written may have no folder; its first writer makes it.
  std::error_code ignored;
  std::filesystem::create_directories(folder, ignored);
  std::lock_guard lock(mutex_);
  const int descriptor = ::inotify_add_watch(fd_, folder.c_str(), kFolderEvents);
  if (descriptor < 0) {
    logFormat(u"UserDefaults: cannot watch %s: %s", folder.c_str(), std::strerror(errno));
    return 0;
  }
  ++folderReferences_[descriptor];
  auto watch = std::make_shared<Watch>();
  watch->descriptor = descriptor;
  watch->name = fileSystemRepresentation(lastPathComponent(path));
  watch->changed = std::make_shared<std::function<void()>>(std::move(changed));
  const std::uint64_t id = nextId_++;
  watches_.emplace(id, std::move(watch));
  return id;
}

void PreferencesFileMonitor::unwatch(std::uint64_t id) {
  std::lock_guard lock(mutex_);
  auto it = watches_.find(id);
  if (it == watches_.end()) return;
  it->second->timer.cancel();
  auto folder = folderReferences_.find(it->second->descriptor);
  if (folder != folderReferences_.end() && --folder->second == 0) {
    ::inotify_rm_watch(fd_, folder->first);
    folderReferences_.erase(folder);
  }
  watches_.erase(it);
}

void PreferencesFileMonitor::waitForEvents() {
  engine_->stream.async_wait(asio::posix::stream_descriptor::wait_read,
                             [this](const boost::system::error_code& error) {
                               if (error) return;
                               readEvents();
                               waitForEvents();
                             });
}

void PreferencesFileMonitor::readEvents() {
  alignas(inotify_event) std::array<char, 16 * 1024> buffer;
  for (;;) {
    const ssize_t length = ::read(fd_, buffer.data(), buffer.size());
    if (length <= 0) return;  // drained (EAGAIN), or nothing more to read
    std::vector<std::uint64_t> due;
    {
      std::lock_guard lock(mutex_);
      for (ssize_t offset = 0; offset < length;) {
        const auto* event = reinterpret_cast<const inotify_event*>(buffer.data() + offset);
        offset += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
        if (event->mask & IN_Q_OVERFLOW) {
          // Events were lost: every file may have changed.
          for (const auto& [id, watch] : watches_) due.push_back(id);
          continue;
        }
        if (event->mask & IN_IGNORED) {
          // The folder went away; its stores are no longer watched.
          folderReferences_.erase(event->wd);
          for (const auto& [id, watch] : watches_) {
            if (watch->descriptor == event->wd) watch->descriptor = -1;
          }
          continue;
        }
        const std::string_view name = event->len ? std::string_view(event->name) : "";
        for (const auto& [id, watch] : watches_) {
          if (watch->descriptor == event->wd && watch->name == name) due.push_back(id);
        }
      }
    }
    for (std::uint64_t id : due) schedule(id);
  }
}

void PreferencesFileMonitor::schedule(std::uint64_t id) {
  std::lock_guard lock(mutex_);
  auto it = watches_.find(id);
  if (it == watches_.end() || it->second->pending) return;
  std::shared_ptr<Watch> watch = it->second;
  watch->pending = true;
  watch->timer.expires_after(kCoalescingDelay);
  watch->timer.async_wait([this, watch](const boost::system::error_code& error) {
    std::shared_ptr<std::function<void()>> changed;
    {
      std::lock_guard lock(mutex_);
      watch->pending = false;
      if (error) return;
      changed = watch->changed;
    }
    (*changed)();
  });
}

}  // namespace lx::detail
