#include "vantorcore/drawing/FaviconLoader.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <map>
#include <string>
#include <thread>

#include "concurrency/ConcurrencyTestSupport.h"
#include "drawing/IconTestSupport.h"
#include "support/TestHTTPServer.h"
#include "support/TestSupport.h"
#include "vantorcore/drawing/DrawingError.h"
#include "vantorcore/drawing/IconDecoder.h"
#include "vantorcore/platform/PercentEncoding.h"
#include "vantorcore/platform/Thread.h"
#include "vantorcore/platform/URLError.h"
#include "vantorcore/text/Data+Base64.h"

namespace lx {
namespace {

using test::HTTPReply;
using test::icoOf;
using test::pngHeaderClaiming;
using test::pngOf;
using test::solidBitmap;
using test::svgOf;

constexpr std::uint32_t kRed = 0xFFFF0000, kGreen = 0xFF008000, kBlue = 0xFF0000FF;

HTTPReply html(const std::string& body) {
  return HTTPReply::make(200, body, {"Content-Type: text/html; charset=utf-8"});
}
HTTPReply image(const std::string& body) { return HTTPReply::make(200, body); }
HTTPReply missing() {
  return HTTPReply::make(404, "<html>not here</html>", {"Content-Type: text/html"});
}
HTTPReply silence() {
  HTTPReply reply;
  reply.then = HTTPReply::Then::Stall;
  return reply;
}

// A site on the test server: path => reply, anything else 404.
class Site {
 public:
  explicit Site(std::map<std::string, HTTPReply> replies)
      : replies_(std::move(replies)), server_([this](const test::HTTPRequestRecord& request) {
          if (request.target == "/" && gated_) {
            while (!gateOpen_) std::this_thread::sleep_for(std::chrono::milliseconds(1));
          }
          const auto found = replies_.find(request.target);
          return found == replies_.end() ? missing() : found->second;
        }) {}
  ~Site() { gateOpen_ = true; }

  [[nodiscard]] URL url(const std::string& path = "/") const {
    return *URL::URLWithString(fromUTF8(server_.url(path)));
  }
  [[nodiscard]] std::size_t requestsFor(const std::string& path) const {
    std::size_t count = 0;
    for (const auto& request : server_.requests()) count += request.target == path;
    return count;
  }
  [[nodiscard]] std::size_t requestCount() const { return server_.requests().size(); }
  // Holds the page's reply until `openGate`.
  void closeGate() { gated_ = true; }
  void openGate() { gateOpen_ = true; }

 private:
  std::map<std::string, HTTPReply> replies_;
  std::atomic<bool> gated_{false}, gateOpen_{false};
  test::TestHTTPServer server_;
};

struct Result {
  std::optional<ImageSurface> icon;
  ErrorPtr error;
  bool onMain = false;
};

std::shared_ptr<FaviconLoader> freshLoader(double timeout = 10) {
  return FaviconLoader::make(FaviconCache(fromUTF8(test::makeTemporaryFolder("favicons").string())),
                             timeout);
}

void load(FaviconLoader& loader, const URL& url, int side, std::optional<Result>& out) {
  loader.loadFavicon(url, side, [&out](std::optional<ImageSurface> icon, ErrorPtr error) {
    out = Result{std::move(icon), std::move(error), Thread::isMainThread()};
  });
}

Result loadNow(FaviconLoader& loader, const URL& url, int side) {
  std::optional<Result> result;
  load(loader, url, side, result);
  EXPECT_TRUE(test::spinUntil([&] { return result.has_value(); }));
  EXPECT_TRUE(result && result->onMain);
  return result.value_or(Result{});
}

std::int64_t drawingCode(DrawingErrorCode code) { return static_cast<std::int64_t>(code); }

TEST(FaviconLoader, FindsTheIconOfASite) {
  const std::string redPNG = pngOf(16, 16, 0xFF0000);
  constexpr auto kNone = static_cast<std::int64_t>(DrawingErrorCode::NoFavicon);
  struct Outcome {
    const char* name;
    std::uint32_t centre;     // 0: no icon
    std::int64_t underlying;  // with no icon: the code under NoFavicon
  };
  const struct {
    Outcome expected;
    std::map<std::string, HTTPReply> replies;
  } rows[] = {
      {{"a linked PNG", kRed, 0},
       {{"/", html("<link rel=icon href=i.png>")}, {"/i.png", image(redPNG)}}},
      {{"a linked ICO of bitmaps", kBlue, 0},
       {{"/", html("<link rel='shortcut icon' href=/static/i.ico>")},
        {"/static/i.ico", image(icoOf({{solidBitmap(16, 0xFF0000FF)}}))}}},
      {{"a scalable icon before a small one", kGreen, 0},
       {{"/", html("<link rel=icon href=s.png sizes=16x16><link rel=icon href=v.svg sizes=any>")},
        {"/s.png", image(redPNG)},
        {"/v.svg", image(svgOf("#008000"))}}},
      {{"a base href", kRed, 0},
       {{"/", html("<base href=/b/><link rel=apple-touch-icon href=t.png>")},
        {"/b/t.png", image(redPNG)}}},
      {{"a page that is not HTML", kRed, 0},
       {{"/", HTTPReply::json(200, R"({"icon":"/i.png"})")},
        {"/i.png", image(pngOf(16, 16, 0x0000FF))},
        {"/favicon.ico", image(icoOf({{redPNG}}))}}},
      {{"a missing page", kRed, 0}, {{"/favicon.ico", image(icoOf({{redPNG}}))}}},
      {{"broken links, then the default location", kRed, 0},
       {{"/", html("<link rel=icon href=gone.png><link rel=icon href=page.html>")},
        {"/page.html", html("<html></html>")},
        {"/favicon.ico", image(icoOf({{redPNG}}))}}},
      {{"an icon inlined in base64, never fetched", kRed, 0},
       {{"/", html("<link rel=icon href='data:image/png;base64," +
                   toUTF8(lx_base64String(test::bytes(redPNG))) + "'>")}}},
      {{"an icon inlined percent-encoded", kGreen, 0},
       {{"/", html("<link rel=icon href='data:image/svg+xml," +
                   percentEncodeUTF8(svgOf("#008000"), kURLHostAllowedCharacterSet) + "'>")}}},
      {{"an inlined icon without its comma, then the default location", kRed, 0},
       {{"/", html("<link rel=icon href='data:image/png;base64'>")},
        {"/favicon.ico", image(icoOf({{redPNG}}))}}},
      {{"no icon anywhere", 0, NSURLErrorBadServerResponse}, {{"/", html("<title>plain</title>")}}},
      {{"only an oversized icon", 0, NSURLErrorBadServerResponse},
       {{"/", html("<link rel=icon href=huge.png>")},
        {"/huge.png", image(pngHeaderClaiming(kMaximumIconSide + 1, kMaximumIconSide + 1))}}},
      {{"an ICO with no entries", 0, drawingCode(DrawingErrorCode::MalformedImage)},
       {{"/favicon.ico", image(icoOf({}))}}},
  };
  for (const auto& row : rows) {
    const Outcome& expected = row.expected;
    SCOPED_TRACE(expected.name);
    Site site(row.replies);
    auto loader = freshLoader();
    const Result result = loadNow(*loader, site.url(), 32);
    if (expected.centre != 0) {
      ASSERT_TRUE(result.icon) << (result.error ? toUTF8(result.error->description()) : "");
      EXPECT_EQ(result.icon->width(), 32);
      EXPECT_EQ(result.icon->pixel(16, 16), expected.centre);
      continue;
    }
    EXPECT_FALSE(result.icon);
    ASSERT_TRUE(result.error);
    EXPECT_EQ(result.error->code(), kNone);
    const Value* underlying = result.error->userInfo().find(NSUnderlyingErrorKey);
    ASSERT_TRUE(underlying);
    EXPECT_EQ(underlying->objectAs<Error>()->code(), expected.underlying);
  }
}

TEST(FaviconLoader, RefusesBadRequestsWithoutFetchingAndTimesOutOnSilence) {
  Site site({});
  Site silent({{"/", silence()}, {"/favicon.ico", image(pngOf(4, 4, 0))}});
  auto loader = freshLoader(1);
  const struct {
    const char* name;
    URL url;
    int side;
    std::int64_t code;
  } rows[] = {
      {"side 0", site.url(), 0, drawingCode(DrawingErrorCode::InvalidSize)},
      {"one past the largest side", site.url(), kMaximumIconSide + 1,
       drawingCode(DrawingErrorCode::InvalidSize)},
      {"a file URL", URL::fileURLWithPath(u"/tmp/x.html"), 16, NSURLErrorBadURL},
      {"a site that never answers", silent.url(), 16, NSURLErrorTimedOut},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const Result result = loadNow(*loader, row.url, row.side);
    EXPECT_FALSE(result.icon);
    ASSERT_TRUE(result.error);
    EXPECT_EQ(result.error->code(), row.code);
  }
  EXPECT_EQ(site.requestCount(), 0u);
  EXPECT_EQ(silent.requestsFor("/favicon.ico"), 0u);
}

TEST(FaviconLoader, ConcurrentRequestsShareOneFetchAndTheCache) {
  Site site({{"/", html("<link rel=icon href=i.png>")}, {"/i.png", image(pngOf(8, 8, 0xFF0000))}});
  site.closeGate();
  auto loader = freshLoader();
  const int sides[] = {1, 16, 16, kMaximumIconSide};
  std::optional<Result> results[4];
  for (int i = 0; i < 4; ++i)
    load(*loader, site.url(i == 0 ? "/" : "/other/page"), sides[i], results[i]);
  site.openGate();
  ASSERT_TRUE(test::spinUntil([&] {
    return std::all_of(std::begin(results), std::end(results),
                       [](auto& r) { return r.has_value(); });
  }));
  for (int i = 0; i < 4; ++i) {
    SCOPED_TRACE(i);
    ASSERT_TRUE(results[i]->icon);
    EXPECT_EQ(results[i]->icon->width(), sides[i]);
    EXPECT_TRUE(results[i]->onMain);
  }
  EXPECT_EQ(site.requestsFor("/i.png"), 1u);
  // Later requests joined the first, so their own pages were never asked for.
  EXPECT_EQ(site.requestsFor("/"), 1u);
  EXPECT_EQ(site.requestsFor("/other/page"), 0u);

  // A second loader on the same folder answers from the cache.
  const std::size_t before = site.requestCount();
  auto again = FaviconLoader::make(loader->cache());
  EXPECT_TRUE(loadNow(*again, site.url(), 24).icon);
  EXPECT_EQ(site.requestCount(), before);
}

}  // namespace
}  // namespace lx
