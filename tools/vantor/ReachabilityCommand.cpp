// `vantor reachability [HOST] [--watch [--count N]]`: whether this machine
// (or HOST) has a route out, once or as it changes.
#include <iostream>

#include "Command.h"
#include "StreamIO.h"
#include "vantorcore/platform/NotificationCenter.h"
#include "vantorcore/platform/RunLoop.h"
#include "vantorcore/web/LXNetworkReachability.h"

namespace vantor {
namespace {

constexpr char kUsage[] =
    "usage: vantor reachability [HOST] [--watch [--count N]]\n\n"
    "Without HOST prints 'online' or 'offline' for the general internet route;\n"
    "with HOST, 'reachable' or 'not reachable' for that host (resolved first).\n"
    "Reachable means the kernel has a route there; nothing is sent. Exits 0\n"
    "when online or reachable, 1 otherwise. --watch prints one line per change\n"
    "(after 'watching' on standard error), until interrupted or N changes.";

const Command& self() {
  static const Command command{"reachability", "", kUsage, nullptr};
  return command;
}

std::string describe(bool host, bool reachable) {
  if (host) return reachable ? "reachable" : "not reachable";
  return reachable ? "online" : "offline";
}

int watch(const std::optional<std::string>& host, std::optional<long> count) {
  long seen = 0;
  const auto loop = lx::RunLoop::current();
  auto print = [&](bool reachable) {
    std::cout << describe(host.has_value(), reachable) << std::endl;
    if (count && ++seen >= *count) loop->stop();
  };
  std::shared_ptr<lx::LXNetworkReachability> general;
  std::shared_ptr<lx::NetworkReachability> target;
  lx::NotificationCenter::Token token;
  if (host) {
    target = lx::NetworkReachability::withName(lx::fromUTF8(*host));
    bool first = true;
    target->scheduleWithRunLoop(loop, lx::DefaultRunLoopMode, [&](std::uint32_t flags) {
      if (!std::exchange(first, false)) print(lx::LXNetworkReachability::flagsSayOnline(flags));
    });
  } else {
    general = lx::LXNetworkReachability::initWithURL(lx::LXNetworkReachability::defaultTestURL());
    token = lx::NotificationCenter::defaultCenter().addObserver(
        lx::String(lx::LXNetworkStateChangedNotification), general, [&](const lx::Notification& n) {
          print(n.userInfo()[lx::LXNetworkStateIsOnline].boolValue());
        });
  }
  std::cerr << "vantor reachability: watching" << std::endl;
  while (!count || seen < *count) loop->runMode(lx::DefaultRunLoopMode, lx::Date::distantFuture());
  return 0;
}

int run(Arguments args) {
  std::optional<std::string> host;
  bool watching = false;
  std::optional<long> count;
  for (std::size_t i = 0; i < args.size(); ++i) {
    if (args[i] == "--watch") {
      watching = true;
    } else if (args[i] == "--count" && i + 1 < args.size()) {
      char* end = nullptr;
      count = std::strtol(args[++i].c_str(), &end, 10);
      if (!end || *end != '\0' || *count < 1)
        return usageError(self(), "--count takes a positive number");
    } else if (args[i].starts_with("-") || host) {
      return usageError(self(), "unexpected argument '" + args[i] + "'");
    } else {
      host = args[i];
    }
  }
  if (count && !watching) return usageError(self(), "--count is for --watch");
  if (watching) return watch(host, count);
  const bool reachable = host ? lx::LXNetworkReachability::flagsSayOnline(
                                    lx::NetworkReachability::withName(lx::fromUTF8(*host))->flags())
                              : lx::LXNetworkReachability::isOnlineNow();
  std::cout << describe(host.has_value(), reachable) << std::endl;
  return reachable ? 0 : 1;
}

}  // namespace

VANTOR_COMMAND("reachability", "whether this machine or a host has a route out", kUsage, run);

}  // namespace vantor
