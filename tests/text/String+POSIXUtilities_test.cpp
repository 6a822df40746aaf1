#include "vantorcore/text/String+POSIXUtilities.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>

namespace lx {
namespace {

TEST(POSIXTextTest, ConfstrAndStrerror) {
  const std::optional<String> path = lx_confstr(_CS_PATH);
  ASSERT_TRUE(path.has_value());
  EXPECT_NE(path->find(u"/bin"), String::npos);
  EXPECT_FALSE(lx_confstr(-12345).has_value());

  EXPECT_EQ(lx_strerror(ENOENT), u"No such file or directory");
  const std::optional<String> unknown = lx_strerror(99999);
  ASSERT_TRUE(unknown.has_value());
  EXPECT_NE(unknown->find(u"99999"), String::npos);
}

TEST(IPAddressTest, ParsesByFamily) {
  struct Case {
    String text;
    bool v4, v6;
  } cases[] = {
      {u"1.2.3.4", true, false},
      {u"1.2.3", false, false},
      {u"::1", false, true},
      {u"[fe80::1]", false, true},
      {u"[[::1]]", false, true},
      {u"[1.2.3.4]", false, false},
      {u"", false, false},
      {u"256.1.1.1", false, false},
      {u"::ffff:1.2.3.4", false, true},
      {String(u"1.2.3.4\0x", 9), false, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.text));
    ErrorPtr error;
    EXPECT_EQ(lx_getIPv4Address(c.text, nullptr, &error), c.v4);
    EXPECT_EQ(lx_getIPv6Address(c.text, nullptr, &error), c.v6);
    EXPECT_EQ(error, nullptr);
  }
}

TEST(IPAddressTest, FillsTheCallersBuffer) {
  in_addr v4{};
  ASSERT_TRUE(lx_getIPv4Address(u"127.0.0.1", &v4));
  EXPECT_EQ(ntohl(v4.s_addr), 0x7f000001u);
  in6_addr v6{};
  ASSERT_TRUE(lx_getIPv6Address(u"[::1]", &v6));
  EXPECT_EQ(v6.s6_addr[15], 1);
}

TEST(IPAddressTest, UnsupportedFamilyReportsAPOSIXError) {
  ErrorPtr error;
  EXPECT_FALSE(lx_getIPAddress(u"1.2.3.4", nullptr, AF_UNIX, &error));
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->domain(), NSPOSIXErrorDomain);
  EXPECT_EQ(error->code(), EAFNOSUPPORT);
  EXPECT_FALSE(lx_getIPAddress(u"1.2.3.4", nullptr, AF_UNIX, nullptr));
}

}  // namespace
}  // namespace lx
