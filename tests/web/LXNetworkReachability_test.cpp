#include "vantorcore/web/LXNetworkReachability.h"

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <stdlib.h>
#include <sys/wait.h>

#include <filesystem>

#include "concurrency/ConcurrencyTestSupport.h"
#include "vantorcore/platform/NotificationCenter.h"
#include "vantorcore/platform/URLError.h"
#include "vantorcore/web/LXURLTask.h"

namespace lx {
namespace {

// Marks the copy of this suite that runs inside a fresh network namespace.
constexpr const char* kInsideNamespace = "VANTOR_TEST_INSIDE_NETNS";

struct Posted {
  std::vector<bool> states;
  NotificationCenter::Token token;
  explicit Posted(const std::shared_ptr<LXNetworkReachability>& object) {
    token = NotificationCenter::defaultCenter().addObserver(
        String(LXNetworkStateChangedNotification), object, [this](const Notification& n) {
          states.push_back(n.userInfo()[LXNetworkStateIsOnline].boolValue());
        });
  }
};

TEST(LXNetworkReachabilityTest, FlagsSayOnlineOnlyWhenReachableWithoutAConnection) {
  struct Case {
    std::uint32_t flags;
    bool online;
  } cases[] = {{0, false},
               {NetworkReachabilityReachable, true},
               {NetworkReachabilityConnectionRequired, false},
               {NetworkReachabilityReachable | NetworkReachabilityConnectionRequired, false},
               {NetworkReachabilityReachable | NetworkReachabilityIsLocalAddress, true},
               {NetworkReachabilityTransientConnection, false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.flags);
    EXPECT_EQ(LXNetworkReachability::flagsSayOnline(c.flags), c.online);
  }
}

TEST(LXNetworkReachabilityTest, SetOnlinePostsOnlyChanges) {
  auto object = LXNetworkReachability::initWithCallback(false, *URL::URLWithString(u"http://h/"));
  EXPECT_TRUE(object->isReady());
  Posted posted(object);
  const bool start = object->isOnline();
  object->setOnline(start);
  object->setOnline(!start);
  object->setOnline(!start);
  object->setOnline(start);
  EXPECT_EQ(posted.states, (std::vector<bool>{!start, start}));
}

TEST(LXNetworkReachabilityTest, LoopbackIsReachableAndLocal) {
  EXPECT_TRUE(LXNetworkReachability::isURLReachable(*URL::URLWithString(u"http://127.0.0.1/")));
  sockaddr_in loopback{};
  loopback.sin_family = AF_INET;
  loopback.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const auto reachability =
      NetworkReachability::withAddress(reinterpret_cast<sockaddr*>(&loopback));
  EXPECT_EQ(reachability->flags(),
            NetworkReachabilityReachable | NetworkReachabilityIsLocalAddress);
}

bool run(const std::string& command) { return std::system(command.c_str()) == 0; }

// Everything below runs in a network namespace of its own, where this test
// adds and removes the default route itself.
TEST(LXNetworkReachabilityNamespace, FollowsRouteChanges) {
  if (!getenv(kInsideNamespace)) {
    if (!run("unshare -rn true 2>/dev/null")) {
      GTEST_SKIP() << "user namespaces are refused here (unshare -rn failed); route changes "
                      "cannot be made without touching the machine's own network";
    }
    const std::string self = std::filesystem::read_symlink("/proc/self/exe").string();
    const int status = std::system((std::string(kInsideNamespace) + "=1 unshare -rn '" + self +
                                    "' --gtest_filter='LXNetworkReachabilityNamespace.*'")
                                       .c_str());
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the namespaced run failed";
    return;
  }
  ASSERT_TRUE(run("ip link set lo up"));
  EXPECT_FALSE(LXNetworkReachability::isOnlineNow());  // no route at all
  ErrorPtr error;
  EXPECT_FALSE(LXURLTask::sendSynchronousRequest(
      URLRequest(*URL::URLWithString(u"http://no-such-host.invalid/")), nullptr, &error));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code(), NSURLErrorCannotFindHost);

  auto watcher = LXNetworkReachability::initWithURL(LXNetworkReachability::defaultTestURL());
  EXPECT_TRUE(watcher->isReady());
  EXPECT_FALSE(watcher->isOnline());
  Posted posted(watcher);
  ASSERT_TRUE(run("ip route add default dev lo"));
  ASSERT_TRUE(test::spinUntil([&] { return posted.states.size() == 1; }));
  EXPECT_TRUE(watcher->isOnline());
  EXPECT_TRUE(LXNetworkReachability::isOnlineNow());
  ASSERT_TRUE(run("ip route del default dev lo"));
  ASSERT_TRUE(test::spinUntil([&] { return posted.states.size() == 2; }));
  EXPECT_EQ(posted.states, (std::vector<bool>{true, false}));
  // A change that leaves the answer alone posts nothing.
  ASSERT_TRUE(run("ip addr add 10.9.9.9/32 dev lo"));
  test::spinUntil([] { return true; });
  EXPECT_EQ(posted.states.size(), 2u);
}

}  // namespace
}  // namespace lx
