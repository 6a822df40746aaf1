// `FaviconLoader`: the icon of a web site, as an image of the size asked for.
//
// For a page URL the loader, unless the cache holds a fresh icon for the
// site, fetches the page, tries the icons its HTML links to in the order of
// `lx_faviconLinks` (at most `kMaximumCandidates` of them), then the site's
// /favicon.ico, and takes the first that answers 200 (or, for a data URL,
// whose bytes are well formed: RFC 2397, base64 or percent-encoded) and
// decodes. That
// icon's bytes go into the cache; every caller gets them decoded and scaled
// to its own size.
//
// Results, always through the completion, never by a crash or a hang:
//   - an icon: the image, null error;
//   - a size outside 1…`kMaximumIconSide`, or a URL that is not http(s)
//     with a host: `InvalidSize` / `NSURLErrorBadURL`, nothing fetched;
//   - a page that does not answer within the time-out, or a host that
//     refuses the connection: that URL error (`NSURLErrorTimedOut`…); no
//     icon is tried, since the site is not there;
//   - a page that is not HTML (an image, JSON, an error status): only
//     /favicon.ico is tried;
//   - no candidate that loads and decodes: `NoFavicon`, with the last
//     candidate's failure as `NSUnderlyingErrorKey`.
//
// At most one fetch per site (scheme, host and port) runs at a time:
// requests for a site already being fetched wait for that fetch and share
// its result. Completions run on the completion queue (the main queue
// unless told), so its run loop must run for them to happen. Thread-safe.
#pragma once

#include "vantorcore/Export.h"

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "vantorcore/drawing/FaviconCache.h"
#include "vantorcore/drawing/FaviconLinks.h"
#include "vantorcore/drawing/ImageSurface.h"
#include "vantorcore/platform/DispatchQueue.h"
#include "vantorcore/platform/Error.h"
#include "vantorcore/platform/URL.h"
#include "vantorcore/platform/URLSession.h"

namespace LX_API lx {

class FaviconLoader : public std::enable_shared_from_this<FaviconLoader> {
 public:
  /// The icon (absent on failure) and the error (null on success).
  using Completion = std::function<void(std::optional<ImageSurface> icon, ErrorPtr error)>;

  /// The idle time-out of each request, in seconds.
  static constexpr double kDefaultTimeout = 15;
  /// How many linked icons are tried before /favicon.ico.
  static constexpr std::size_t kMaximumCandidates = 8;
  /// How much of a page is searched for links.
  static constexpr std::size_t kMaximumPageBytes = 1 << 20;

  /// The process's loader: the default cache, the default time-out,
  /// completions on the main queue.
  static std::shared_ptr<FaviconLoader> sharedLoader();
  /// A loader with its own ephemeral URL session.
  static std::shared_ptr<FaviconLoader> make(
      FaviconCache cache = FaviconCache(), double timeout = kDefaultTimeout,
      std::shared_ptr<DispatchQueue> completionQueue = DispatchQueue::main());

  /// As `make`; use `make`, since loads keep the loader alive through a
  /// shared pointer.
  FaviconLoader(FaviconCache cache, double timeout, std::shared_ptr<DispatchQueue> completionQueue);
  ~FaviconLoader();

  /// The on-disk cache this loader reads first and fills.
  [[nodiscard]] const FaviconCache& cache() const noexcept { return cache_; }

  /// Loads the icon of the site of `pageURL` as a `side` × `side` image
  /// and calls `completion` once with the result (see above).
  void loadFavicon(const URL& pageURL, int side, Completion completion);

 private:
  struct Waiter {
    int side;
    Completion completion;
  };
  struct Fetch {
    URL pageURL;
    std::vector<FaviconLink> candidates;
    std::size_t next = 0;
    int validationSide = 0;
    ErrorPtr lastError;
  };

  void start(const String& key, URL pageURL, int side);
  void pageLoaded(const String& key, std::shared_ptr<Fetch> fetch, std::optional<Data> body,
                  const std::shared_ptr<HTTPURLResponse>& response, ErrorPtr error);
  void tryNextCandidate(const String& key, std::shared_ptr<Fetch> fetch);
  // A candidate whose bytes are in its own data URL: decoded without a fetch.
  void inlineIconLoaded(const String& key, std::shared_ptr<Fetch> fetch, const URL& candidate);
  void finish(const String& key, std::optional<Data> icon, ErrorPtr error);
  void complete(Completion completion, std::optional<ImageSurface> icon, ErrorPtr error);

  FaviconCache cache_;
  double timeout_;
  std::shared_ptr<DispatchQueue> completionQueue_;
  std::shared_ptr<URLSession> session_;
  std::mutex mutex_;
  std::map<String, std::vector<Waiter>> waiting_;  // by site key, while a fetch runs
};

}  // namespace lx
