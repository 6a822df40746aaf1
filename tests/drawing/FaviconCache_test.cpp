#include "vantorcore/drawing/FaviconCache.h"

#include <gtest/gtest.h>

#include "support/TestSupport.h"

namespace lx {
namespace {

URL site(const char* text) { return *URL::URLWithString(fromUTF8(text)); }

TEST(FaviconCache, SiteKeys) {
  const struct {
    const char* url;
    const char16_t* key;  // null: no key
  } rows[] = {
      {"https://Example.org/a", u"https_example.org_443"},
      {"http://example.org/a/b?c", u"http_example.org_80"},
      {"http://example.org:8080/", u"http_example.org_8080"},
      {"http://[::1]:8080/", u"http_%3A%3A1_8080"},
      {"http://a_b.test/", u"http_a%5Fb.test_80"},
      {"file:///tmp/x", nullptr},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.url);
    const auto key = FaviconCache::siteKey(site(row.url));
    if (row.key)
      EXPECT_EQ(key, String(row.key));
    else
      EXPECT_FALSE(key);
  }
}

TEST(FaviconCache, DefaultFolderIsUnderTheCacheHome) {
  test::ScopedEnvironmentVariable cacheHome("XDG_CACHE_HOME", "/tmp/cache-home");
  EXPECT_EQ(FaviconCache::defaultFolder(), u"/tmp/cache-home/vantorcore/favicons");
}

TEST(FaviconCache, EntriesExpire) {
  constexpr double kExpiry = 3600;
  const FaviconCache cache(fromUTF8(test::makeTemporaryFolder("favicons").string()), kExpiry);
  const Data icon = {1, 2, 3};
  const Date fetched(1'800'000'000);
  const URL a = site("https://a.test/page");
  ASSERT_TRUE(cache.storeIconData(a, icon, fetched));
  const struct {
    const char* name;
    double age;
    bool fresh;
  } rows[] = {
      {"just fetched", 0, true},
      {"at the expiry", kExpiry, true},
      {"one second past", kExpiry + 1, false},
      {"a moment past", kExpiry + 0.001, false},
      {"fetched in the future", -1, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const auto data = cache.iconData(site("https://a.test/other"),
                                     Date(fetched.timeIntervalSince1970() + row.age));
    EXPECT_EQ(data.has_value(), row.fresh);
    if (data) {
      EXPECT_EQ(*data, icon);
    }
  }
  EXPECT_FALSE(cache.iconData(site("http://a.test/"), fetched));  // another scheme, another site
  cache.removeIconData(a);
  EXPECT_FALSE(cache.iconData(a, fetched));
}

TEST(FaviconCache, DamagedEntriesAreIgnored) {
  const auto folder = test::makeTemporaryFolder("favicons");
  const FaviconCache cache(fromUTF8(folder.string()));
  const URL a = site("https://a.test/");
  for (const char* contents : {"", "LXFI", "LXFI1234567", "XXXX12345678icon"}) {
    SCOPED_TRACE(contents);
    test::writeFile(folder / "https_a.test_443.icon", contents);
    EXPECT_FALSE(cache.iconData(a, Date::now()));
  }
  // An entry with no icon bytes is still an entry.
  ASSERT_TRUE(cache.storeIconData(a, {}, Date(0)));
  EXPECT_EQ(cache.iconData(a, Date(1)), Data{});
}

}  // namespace
}  // namespace lx
