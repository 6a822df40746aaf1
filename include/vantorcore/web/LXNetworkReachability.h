// `LXNetworkReachability`: whether the machine is online, with a
// notification when that changes.
//
// Online means the general internet route is reachable without a
// connection having to be set up first, which on Linux means "has a route"
// (see NetworkReachability.h): a machine with a default route counts as
// online even when the far side of it is down.
#pragma once

#include "vantorcore/Export.h"

#include <atomic>
#include <memory>

#include "vantorcore/platform/NetworkReachability.h"
#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/URL.h"

namespace LX_API lx {

/// Posted by a reachability object, on the thread that scheduled it, when
/// its online state changes; the user info holds `LXNetworkStateIsOnline`.
inline constexpr StringView LXNetworkStateChangedNotification = u"NetworkStateChangedNotification";
/// User-info key: the new online state, a boolean.
inline constexpr StringView LXNetworkStateIsOnline = u"IsOnline";
/// User-info key for clients that tell cellular links apart; never set here.
inline constexpr StringView LXNetworkStateIsCellular = u"IsCellular";

class LXNetworkReachability : public Object {
  LX_DECLARE_CLASS(LXNetworkReachability)
 public:
  /// The root of a well-known public web site, "https://www.debian.org/".
  static URL defaultTestURL();
  /// Whether the machine is online now: a fresh object for the default
  /// test URL without change callbacks, asked once.
  static bool isOnlineNow();
  /// The same for `url`.
  static bool isURLReachable(const URL& url);
  /// The process's object for the default test URL with change callbacks,
  /// scheduled on the run loop of the thread that first asks for it.
  static std::shared_ptr<LXNetworkReachability> sharedInstance();

  /// The default test URL without change callbacks.
  static std::shared_ptr<LXNetworkReachability> init();
  /// `url` with change callbacks.
  static std::shared_ptr<LXNetworkReachability> initWithURL(const URL& url);
  /// Finds the first answer before returning, waiting up to 5 s for it.
  /// With `callback`, watches for changes on the calling thread's run loop
  /// (default mode), which must run for notifications to come. When the
  /// first answer takes longer, it logs (with "DebugLogging" on) "Reachability
  /// initial check timed out for <url>... assuming isOnline = 0", watches
  /// the URL's host instead (callbacks or not), and stays not ready until
  /// the first change report.
  static std::shared_ptr<LXNetworkReachability> initWithCallback(bool callback, const URL& url);

  /// Watches reachability of `url`'s host.
  explicit LXNetworkReachability(URL url) : url_(std::move(url)) {}
  ~LXNetworkReachability() override;

  /// Whether the host can be reached.
  [[nodiscard]] bool isOnline() const noexcept { return online_.load(); }
  /// Whether the first answer has come in.
  [[nodiscard]] bool isReady() const noexcept { return ready_.load(); }
  /// The URL whose host is watched.
  [[nodiscard]] const URL& url() const noexcept { return url_; }
  /// Stores the state and, when it changed, posts
  /// `LXNetworkStateChangedNotification` on the calling thread.
  void setOnline(bool online);
  /// Marks the first answer as in (for tests and subclasses).
  void setReady(bool ready) noexcept { ready_.store(ready); }

  /// Online according to the platform's flags: reachable, and no
  /// connection required.
  static constexpr bool flagsSayOnline(std::uint32_t flags) noexcept {
    return (flags & (NetworkReachabilityReachable | NetworkReachabilityConnectionRequired)) ==
           NetworkReachabilityReachable;
  }

 private:
  void scheduleChanges(const std::shared_ptr<NetworkReachability>& reachability);
  void findInitialAnswer();

  std::atomic<bool> online_{false};
  std::shared_ptr<NetworkReachability> reachability_;
  URL url_;
  bool callbackInstalled_ = false;
  std::atomic<bool> ready_{false};
};

}  // namespace lx
