#include "vantorcore/drawing/FaviconLoader.h"

#include <algorithm>
#include <string>

#include "vantorcore/drawing/DrawingError.h"
#include "vantorcore/drawing/IconDecoder.h"
#include "vantorcore/platform/Clock.h"
#include "vantorcore/platform/PercentEncoding.h"
#include "vantorcore/platform/URLError.h"
#include "vantorcore/platform/URLRequest.h"
#include "vantorcore/text/Data+Base64.h"

namespace lx {
namespace {

// An http(s) URL with a host: something a site's icon can belong to.
bool isSiteURL(const URL& url) {
  const auto scheme = url.scheme();
  return (scheme == u"http" || scheme == u"https") && url.host() && !url.host()->empty();
}

// Failures that say nobody is there to ask for an icon either.
bool siteUnreachable(const ErrorPtr& error) {
  if (!error || error->domain() != NSURLErrorDomain) return false;
  const std::int64_t code = error->code();
  return code == NSURLErrorTimedOut || code == NSURLErrorCannotConnectToHost ||
         code == NSURLErrorCannotFindHost;
}

// The bytes of a data URL ("data:[type][;base64],payload", RFC 2397);
// absent when it is malformed.
std::optional<Data> dataURLBytes(const URL& url) {
  const std::string text = toUTF8(url.absoluteString());
  const std::size_t comma = text.find(',');
  if (comma == std::string::npos) return std::nullopt;
  const std::string_view header = std::string_view(text).substr(0, comma);
  auto payload = percentDecodeUTF8(std::string_view(text).substr(comma + 1));
  if (!payload) return std::nullopt;
  if (header.ends_with(";base64")) return lx_dataWithBase64String(fromUTF8(*payload));
  return Data(payload->begin(), payload->end());
}

bool isHTMLResponse(const HTTPURLResponse& response) {
  const auto type = response.MIMEType();
  return response.statusCode() / 100 == 2 &&
         (!type || type == u"text/html" || type == u"application/xhtml+xml");
}

}  // namespace

std::shared_ptr<FaviconLoader> FaviconLoader::sharedLoader() {
  static const auto shared = make();
  return shared;
}

std::shared_ptr<FaviconLoader> FaviconLoader::make(FaviconCache cache, double timeout,
                                                   std::shared_ptr<DispatchQueue> completionQueue) {
  return std::make_shared<FaviconLoader>(std::move(cache), timeout, std::move(completionQueue));
}

FaviconLoader::FaviconLoader(FaviconCache cache, double timeout,
                             std::shared_ptr<DispatchQueue> completionQueue)
    : cache_(std::move(cache)),
      timeout_(timeout),
      completionQueue_(std::move(completionQueue)),
      session_(URLSession::sessionWithConfiguration(
          URLSessionConfiguration::ephemeralSessionConfiguration())) {}

FaviconLoader::~FaviconLoader() { session_->invalidateAndCancel(); }

void FaviconLoader::loadFavicon(const URL& pageURL, int side, Completion completion) {
  if (side <= 0 || side > kMaximumIconSide) {
    complete(std::move(completion), std::nullopt,
             makeDrawingError(DrawingErrorCode::InvalidSize,
                              u"Invalid icon size " + fromUTF8(std::to_string(side))));
    return;
  }
  const auto key = isSiteURL(pageURL) ? FaviconCache::siteKey(pageURL) : std::nullopt;
  if (!key) {
    complete(std::move(completion), std::nullopt, URLErrorWithCode(NSURLErrorBadURL, pageURL));
    return;
  }
  {
    std::lock_guard lock(mutex_);
    auto& waiters = waiting_[*key];
    waiters.push_back(Waiter{side, std::move(completion)});
    if (waiters.size() > 1) return;  // the running fetch answers this one too
  }
  // The cache is read off the caller's thread: it may be the main thread.
  DispatchQueue::global()->async(
      [self = shared_from_this(), key = *key, pageURL, side] { self->start(key, pageURL, side); });
}

void FaviconLoader::start(const String& key, URL pageURL, int side) {
  if (auto cached = cache_.iconData(pageURL, Clock::current()->currentDate())) {
    if (lx_decodeIcon(*cached, side)) {
      finish(key, std::move(cached), nullptr);
      return;
    }
  }
  auto fetch = std::make_shared<Fetch>(Fetch{pageURL, {}, 0, side, nullptr});
  URLRequest request(pageURL, URLRequestCachePolicy::UseProtocolCachePolicy, timeout_);
  session_
      ->dataTaskWithRequest(
          std::move(request),
          [self = shared_from_this(), key, fetch](
              std::optional<Data> body, std::shared_ptr<HTTPURLResponse> response, ErrorPtr error) {
            self->pageLoaded(key, fetch, std::move(body), response, std::move(error));
          })
      ->resume();
}

void FaviconLoader::pageLoaded(const String& key, std::shared_ptr<Fetch> fetch,
                               std::optional<Data> body,
                               const std::shared_ptr<HTTPURLResponse>& response, ErrorPtr error) {
  if (siteUnreachable(error) || (error && !response)) {
    finish(key, std::nullopt, std::move(error));
    return;
  }
  const URL pageURL = response ? response->URL() : fetch->pageURL;
  DataView page;
  if (response && body && isHTMLResponse(*response)) {
    page = DataView(*body).first(std::min(body->size(), kMaximumPageBytes));
  }
  fetch->candidates = lx_faviconLinks(page, pageURL);
  // Keep the default location even when many links come first.
  if (fetch->candidates.size() > kMaximumCandidates + 1) {
    const FaviconLink last = fetch->candidates.back();
    fetch->candidates.erase(fetch->candidates.begin() + kMaximumCandidates,
                            fetch->candidates.end());
    if (last.kind == FaviconLinkKind::DefaultLocation) fetch->candidates.push_back(last);
  }
  tryNextCandidate(key, std::move(fetch));
}

void FaviconLoader::tryNextCandidate(const String& key, std::shared_ptr<Fetch> fetch) {
  if (fetch->next >= fetch->candidates.size()) {
    Dictionary info{{SharedString(NSLocalizedDescriptionKey),
                     Value(u"No icon could be loaded for " + fetch->pageURL.absoluteString())}};
    if (fetch->lastError) info.set(NSUnderlyingErrorKey, Value(fetch->lastError));
    finish(key, std::nullopt,
           Error::make(String(LXDrawingErrorDomain),
                       static_cast<std::int64_t>(DrawingErrorCode::NoFavicon), std::move(info)));
    return;
  }
  const URL candidate = fetch->candidates[fetch->next++].url;
  if (candidate.scheme() == u"data") {
    inlineIconLoaded(key, std::move(fetch), candidate);
    return;
  }
  URLRequest request(candidate, URLRequestCachePolicy::UseProtocolCachePolicy, timeout_);
  session_
      ->dataTaskWithRequest(
          std::move(request),
          [self = shared_from_this(), key, fetch, candidate](
              std::optional<Data> body, std::shared_ptr<HTTPURLResponse> response, ErrorPtr error) {
            if (!error && response && response->statusCode() != 200) {
              error = URLErrorWithCode(
                  NSURLErrorBadServerResponse, candidate,
                  u"HTTP status " + fromUTF8(std::to_string(response->statusCode())));
            }
            if (!error && body && lx_decodeIcon(*body, fetch->validationSide, &error)) {
              self->cache_.storeIconData(fetch->pageURL, *body, Clock::current()->currentDate());
              self->finish(key, std::move(body), nullptr);
              return;
            }
            fetch->lastError = std::move(error);
            self->tryNextCandidate(key, fetch);
          })
      ->resume();
}

void FaviconLoader::inlineIconLoaded(const String& key, std::shared_ptr<Fetch> fetch,
                                     const URL& candidate) {
  ErrorPtr error;
  std::optional<Data> bytes = dataURLBytes(candidate);
  if (!bytes) {
    error = URLErrorWithCode(NSURLErrorBadURL, candidate, u"Malformed data URL");
  } else if (lx_decodeIcon(*bytes, fetch->validationSide, &error)) {
    cache_.storeIconData(fetch->pageURL, *bytes, Clock::current()->currentDate());
    finish(key, std::move(bytes), nullptr);
    return;
  }
  fetch->lastError = std::move(error);
  tryNextCandidate(key, std::move(fetch));
}

void FaviconLoader::finish(const String& key, std::optional<Data> icon, ErrorPtr error) {
  std::vector<Waiter> waiters;
  {
    std::lock_guard lock(mutex_);
    waiters = std::move(waiting_[key]);
    waiting_.erase(key);
  }
  for (Waiter& waiter : waiters) {
    ErrorPtr decodeError = error;
    std::optional<ImageSurface> image;
    if (icon) image = lx_decodeIcon(*icon, waiter.side, &decodeError);
    complete(std::move(waiter.completion), std::move(image), image ? nullptr : decodeError);
  }
}

void FaviconLoader::complete(Completion completion, std::optional<ImageSurface> icon,
                             ErrorPtr error) {
  completionQueue_->async([completion = std::move(completion), icon = std::move(icon),
                           error = std::move(error)] { completion(icon, error); });
}

}  // namespace lx
