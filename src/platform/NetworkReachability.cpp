#include "vantorcore/platform/NetworkReachability.h"

#include <arpa/inet.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <cstring>

namespace lx {

namespace {

// Documentation addresses: routed by any default route, answered by nobody.
constexpr const char* kInternetProbeIPv4 = "192.0.2.1";
constexpr const char* kInternetProbeIPv6 = "2001:db8::1";
// Any port will do; connect(2) on a UDP socket sends nothing.
constexpr std::uint16_t kProbePort = 9;

sockaddr_storage probeAddress(int family, const char* text) {
  sockaddr_storage storage{};
  if (family == AF_INET) {
    auto* in = reinterpret_cast<sockaddr_in*>(&storage);
    in->sin_family = AF_INET;
    in->sin_port = htons(kProbePort);
    inet_pton(AF_INET, text, &in->sin_addr);
  } else {
    auto* in6 = reinterpret_cast<sockaddr_in6*>(&storage);
    in6->sin6_family = AF_INET6;
    in6->sin6_port = htons(kProbePort);
    inet_pton(AF_INET6, text, &in6->sin6_addr);
  }
  return storage;
}

bool isLoopback(const sockaddr_storage& address) {
  if (address.ss_family == AF_INET) {
    const auto* in = reinterpret_cast<const sockaddr_in*>(&address);
    return (ntohl(in->sin_addr.s_addr) >> 24) == 127;
  }
  const auto* in6 = reinterpret_cast<const sockaddr_in6*>(&address);
  return IN6_IS_ADDR_LOOPBACK(&in6->sin6_addr);
}

// The route test: connect(2) a UDP socket, which only asks the kernel for a
// route and a source address.
std::uint32_t flagsForAddress(sockaddr_storage address) {
  const int fd = ::socket(address.ss_family, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return 0;
  if (address.ss_family == AF_INET) {
    auto* in = reinterpret_cast<sockaddr_in*>(&address);
    if (in->sin_port == 0) in->sin_port = htons(kProbePort);
  } else {
    auto* in6 = reinterpret_cast<sockaddr_in6*>(&address);
    if (in6->sin6_port == 0) in6->sin6_port = htons(kProbePort);
  }
  const socklen_t length =
      address.ss_family == AF_INET ? sizeof(sockaddr_in) : sizeof(sockaddr_in6);
  const bool routed = ::connect(fd, reinterpret_cast<const sockaddr*>(&address), length) == 0;
  ::close(fd);
  if (!routed) return 0;
  return NetworkReachabilityReachable |
         (isLoopback(address) ? std::uint32_t{NetworkReachabilityIsLocalAddress} : 0u);
}

std::vector<sockaddr_storage> resolve(const String& host) {
  std::vector<sockaddr_storage> addresses;
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_DGRAM;
  addrinfo* list = nullptr;
  if (::getaddrinfo(toUTF8(host).c_str(), nullptr, &hints, &list) != 0) return addresses;
  for (addrinfo* entry = list; entry; entry = entry->ai_next) {
    sockaddr_storage storage{};
    std::memcpy(&storage, entry->ai_addr, entry->ai_addrlen);
    addresses.push_back(storage);
  }
  ::freeaddrinfo(list);
  return addresses;
}

}  // namespace

NetworkReachability::NetworkReachability() = default;

std::shared_ptr<NetworkReachability> NetworkReachability::withAddress(const sockaddr* address) {
  auto reachability = std::make_shared<NetworkReachability>();
  if (address->sa_family == AF_INET) {
    const auto* in = reinterpret_cast<const sockaddr_in*>(address);
    if (in->sin_addr.s_addr == INADDR_ANY) {
      reachability->addresses_ = {probeAddress(AF_INET, kInternetProbeIPv4),
                                  probeAddress(AF_INET6, kInternetProbeIPv6)};
    } else {
      sockaddr_storage storage{};
      std::memcpy(&storage, in, sizeof(sockaddr_in));
      reachability->addresses_ = {storage};
    }
  } else if (address->sa_family == AF_INET6) {
    sockaddr_storage storage{};
    std::memcpy(&storage, address, sizeof(sockaddr_in6));
    reachability->addresses_ = {storage};
  } else {
    return nullptr;
  }
  return reachability;
}

std::shared_ptr<NetworkReachability> NetworkReachability::withName(StringView host) {
  auto reachability = std::make_shared<NetworkReachability>();
  reachability->host_ = String(host);
  return reachability;
}

NetworkReachability::~NetworkReachability() { unschedule(); }

std::uint32_t NetworkReachability::flags() const {
  const auto targets = host_ ? resolve(*host_) : addresses_;
  for (const auto& target : targets) {
    if (const std::uint32_t flags = flagsForAddress(target)) return flags;
  }
  return 0;
}

bool NetworkReachability::scheduleWithRunLoop(const std::shared_ptr<RunLoop>& loop, StringView mode,
                                              Callback callback) {
  unschedule();
  const int fd = ::socket(AF_NETLINK, SOCK_RAW | SOCK_NONBLOCK | SOCK_CLOEXEC, NETLINK_ROUTE);
  if (fd < 0) return false;
  sockaddr_nl local{};
  local.nl_family = AF_NETLINK;
  local.nl_groups =
      RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR | RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_ROUTE;
  if (::bind(fd, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) {
    ::close(fd);
    return false;
  }
  std::lock_guard lock(mutex_);
  netlinkFd_ = fd;
  callback_ = std::move(callback);
  lastReported_.reset();
  // The source and the first report hold the object weakly: it may go away
  // while they are queued.
  std::weak_ptr<NetworkReachability> weak = weak_from_this();
  source_ = loop->addSource(fd, EPOLLIN,
                            [weak](std::uint32_t) {
                              if (const auto self = weak.lock()) self->routingChanged();
                            },
                            {String(mode)});
  loop->perform(
      [weak] {
        if (const auto self = weak.lock()) self->report();
      },
      {String(mode)});
  return true;
}

void NetworkReachability::routingChanged() {
  // Drain every queued message; one evaluation covers them all.
  char buffer[8192];
  int fd;
  {
    std::lock_guard lock(mutex_);
    fd = netlinkFd_;
  }
  if (fd < 0) return;
  while (::recv(fd, buffer, sizeof buffer, MSG_DONTWAIT) > 0) {
  }
  report();
}

void NetworkReachability::report() {
  const std::uint32_t now = flags();
  Callback callback;
  {
    std::lock_guard lock(mutex_);
    if (netlinkFd_ < 0 || lastReported_ == now) return;
    lastReported_ = now;
    callback = callback_;
  }
  if (callback) callback(now);
}

void NetworkReachability::unschedule() {
  source_.remove();
  std::lock_guard lock(mutex_);
  callback_ = nullptr;
  if (netlinkFd_ >= 0) {
    ::close(netlinkFd_);
    netlinkFd_ = -1;
  }
}

}  // namespace lx
