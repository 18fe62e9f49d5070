#include "platform/linux/netlink_reachability_probe.h"

#include <linux/if.h>
#include <linux/if_link.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace vicinix {
namespace {

// NLMSG_OK without its signed/unsigned comparison, which clang rejects.
bool messageFits(const nlmsghdr* message, int left) {
  return left >= static_cast<int>(sizeof(nlmsghdr)) && message->nlmsg_len >= sizeof(nlmsghdr) &&
         message->nlmsg_len <= static_cast<unsigned>(left);
}

class UniqueFd {
 public:
  UniqueFd() = default;
  explicit UniqueFd(int fd) : fd_(fd) {}
  UniqueFd(UniqueFd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    if (this != &other) {
      reset();
      fd_ = std::exchange(other.fd_, -1);
    }
    return *this;
  }
  ~UniqueFd() { reset(); }
  int get() const { return fd_; }
  explicit operator bool() const { return fd_ >= 0; }
  void reset() {
    if (fd_ >= 0) close(fd_);
    fd_ = -1;
  }

 private:
  int fd_ = -1;
};

// A NETLINK_ROUTE socket. It belongs to the network namespace of the calling
// thread for its whole life, whichever thread uses it later.
UniqueFd openRouteSocket() {
  UniqueFd fd(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE));
  if (!fd) return fd;
  sockaddr_nl local{};
  local.nl_family = AF_NETLINK;
  if (bind(fd.get(), reinterpret_cast<sockaddr*>(&local), sizeof local) != 0) return UniqueFd();
  // A reply the kernel never sends must not hang flags() forever.
  timeval timeout{.tv_sec = 5, .tv_usec = 0};
  setsockopt(fd.get(), SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
  return fd;
}

// Builds one request message in place.
class Request {
 public:
  Request(uint16_t type, uint16_t flags) {
    header()->nlmsg_len = NLMSG_HDRLEN;
    header()->nlmsg_type = type;
    header()->nlmsg_flags = flags;
  }
  nlmsghdr* header() { return reinterpret_cast<nlmsghdr*>(buffer_); }
  template <class T>
  T* append() {
    auto* body = reinterpret_cast<T*>(buffer_ + header()->nlmsg_len);
    header()->nlmsg_len += NLMSG_ALIGN(sizeof(T));
    return body;
  }
  void attribute(uint16_t type, const void* data, size_t length) {
    auto* attribute = reinterpret_cast<rtattr*>(buffer_ + header()->nlmsg_len);
    attribute->rta_type = type;
    attribute->rta_len = static_cast<uint16_t>(RTA_LENGTH(length));
    std::memcpy(RTA_DATA(attribute), data, length);
    header()->nlmsg_len += RTA_SPACE(length);
  }

 private:
  alignas(nlmsghdr) unsigned char buffer_[128] = {};
};

template <class Visit>
void forEachAttribute(rtattr* first, int length, Visit visit) {
  for (rtattr* attribute = first; RTA_OK(attribute, length);
       attribute = RTA_NEXT(attribute, length)) {
    visit(*attribute);
  }
}

uint32_t attributeU32(const rtattr& attribute) {
  uint32_t value = 0;
  if (RTA_PAYLOAD(&attribute) >= sizeof value)
    std::memcpy(&value, RTA_DATA(&attribute), sizeof value);
  return value;
}

std::string attributeString(const rtattr& attribute) {
  const char* text = static_cast<const char*>(RTA_DATA(&attribute));
  return std::string(text, strnlen(text, RTA_PAYLOAD(&attribute)));
}

bool linkIsDown(unsigned flags) {
  return (flags & (RTNH_F_DEAD | RTNH_F_LINKDOWN)) != 0;
}

// Well-known public resolvers: any global unicast address would do, these
// are merely ones that no site routes specially.
const std::string_view kPublicIPv4("\x01\x01\x01\x01", 4);  // 1.1.1.1
const std::string_view kPublicIPv6("\x26\x06\x47\x00\x47\x00\0\0\0\0\0\0\0\0\x11\x11",
                                   16);  // 2606:4700:4700::1111

int firstLiveNexthop(rtattr& multipath) {
  auto* nexthop = static_cast<rtnexthop*>(RTA_DATA(&multipath));
  int left = static_cast<int>(RTA_PAYLOAD(&multipath));
  while (RTNH_OK(nexthop, left)) {
    if (!linkIsDown(nexthop->rtnh_flags)) return nexthop->rtnh_ifindex;
    left -= NLMSG_ALIGN(nexthop->rtnh_len);
    nexthop = RTNH_NEXT(nexthop);
  }
  return 0;
}

struct RouteAttributes {
  int interface = 0;  // 0 when no path is usable
  bool viaGateway = false;
  std::string source;  // the address the kernel would send from, raw bytes
};

RouteAttributes readRoute(nlmsghdr& message) {
  auto* route = static_cast<rtmsg*>(NLMSG_DATA(&message));
  RouteAttributes found;
  forEachAttribute(RTM_RTA(route), static_cast<int>(RTM_PAYLOAD(&message)), [&](rtattr& attribute) {
    switch (attribute.rta_type) {
      case RTA_OIF:
        found.interface = static_cast<int>(attributeU32(attribute));
        break;
      case RTA_GATEWAY:
        found.viaGateway = true;
        break;
      case RTA_PREFSRC:
        found.source.assign(static_cast<const char*>(RTA_DATA(&attribute)),
                            RTA_PAYLOAD(&attribute));
        break;
      case RTA_MULTIPATH:
        if (found.interface == 0) found.interface = firstLiveNexthop(attribute);
        break;
    }
  });
  return found;
}

struct LinkAttributes {
  std::string name;
  std::string kind;  // "veth", "wwan", ...; empty for plain hardware
  unsigned flags = 0;
};

LinkAttributes readLink(nlmsghdr& message) {
  auto* link = static_cast<ifinfomsg*>(NLMSG_DATA(&message));
  LinkAttributes found;
  found.flags = link->ifi_flags;
  forEachAttribute(IFLA_RTA(link), static_cast<int>(IFLA_PAYLOAD(&message)),
                   [&](rtattr& attribute) {
                     if (attribute.rta_type == IFLA_IFNAME) found.name = attributeString(attribute);
                     if (attribute.rta_type != IFLA_LINKINFO) return;
                     forEachAttribute(static_cast<rtattr*>(RTA_DATA(&attribute)),
                                      static_cast<int>(RTA_PAYLOAD(&attribute)), [&](rtattr& info) {
                                        if (info.rta_type == IFLA_INFO_KIND)
                                          found.kind = attributeString(info);
                                      });
                   });
  return found;
}

// Asks the kernel over one socket. Several threads (callers of flags() and the
// watcher) share it, so every exchange holds the lock.
class RouteReader {
 public:
  explicit RouteReader(UniqueFd fd) : fd_(std::move(fd)), buffer_(65536) {}

  std::optional<ReachabilityFlags> flags(uint32_t address) {
    std::lock_guard lock(mutex_);
    return address == 0 ? anyAddressFlags() : addressFlags(address);
  }

 private:
  enum class Outcome { kDone, kKernelError, kFailed, kInterrupted };

  // Sends `request` and hands every reply message to `onMessage` until the
  // kernel has answered in full.
  template <class OnMessage>
  Outcome exchange(Request& request, OnMessage onMessage) {
    nlmsghdr* header = request.header();
    header->nlmsg_seq = ++sequence_;
    sockaddr_nl kernel{};
    kernel.nl_family = AF_NETLINK;
    if (sendto(fd_.get(), header, header->nlmsg_len, 0, reinterpret_cast<sockaddr*>(&kernel),
               sizeof kernel) < 0) {
      return Outcome::kFailed;
    }
    bool interrupted = false;
    for (;;) {
      ssize_t got = recv(fd_.get(), buffer_.data(), buffer_.size(), 0);
      if (got < 0 && errno == EINTR) continue;
      if (got <= 0) return Outcome::kFailed;
      int left = static_cast<int>(got);
      for (auto* message = reinterpret_cast<nlmsghdr*>(buffer_.data()); messageFits(message, left);
           message = NLMSG_NEXT(message, left)) {
        // Left over from an earlier exchange that gave up waiting.
        if (message->nlmsg_seq != header->nlmsg_seq) continue;
        if (message->nlmsg_flags & NLM_F_DUMP_INTR) interrupted = true;
        if (message->nlmsg_type == NLMSG_DONE) {
          return interrupted ? Outcome::kInterrupted : Outcome::kDone;
        }
        if (message->nlmsg_type == NLMSG_ERROR) {
          auto* error = static_cast<nlmsgerr*>(NLMSG_DATA(message));
          return error->error == 0 ? Outcome::kDone : Outcome::kKernelError;
        }
        onMessage(*message);
        if (!(message->nlmsg_flags & NLM_F_MULTI)) return Outcome::kDone;
      }
    }
  }

  // The any-address counts as reachable while packets to the Internet have a
  // way out over either family. Rather than reading tables ourselves we ask
  // the kernel where a packet to a public address would go, so policy rules,
  // the tables they pick and metrics are weighed exactly as for real traffic.
  std::optional<ReachabilityFlags> anyAddressFlags() {
    std::optional<WayOut> ways[] = {wayOut(AF_INET, kPublicIPv4), wayOut(AF_INET6, kPublicIPv6)};
    bool anyRead = false, usable = false, allCellular = true;
    for (const auto& way : ways) {
      if (!way) continue;
      anyRead = true;
      if (!way->usable) continue;
      usable = true;
      allCellular = allCellular && way->cellular;
    }
    if (!anyRead) return std::nullopt;
    if (!usable) return ReachabilityFlags{0};
    // Only a host whose every way out is a modem is on cellular.
    return kReachabilityReachable | (allCellular ? kReachabilityIsWWAN : 0u);
  }

  struct WayOut {
    bool usable = false;
    bool cellular = false;
  };

  // Nothing when the kernel could not be asked.
  std::optional<WayOut> wayOut(int family, std::string_view destination) {
    Lookup found = lookup(family, destination);
    if (found.outcome == Outcome::kKernelError) return WayOut{};  // unreachable, no route...
    if (found.outcome != Outcome::kDone) return std::nullopt;
    if (found.type != RTN_UNICAST || found.route.interface == 0) return WayOut{};
    // Only a source beyond the link talks beyond it. Before SLAAC (or with a
    // router that announces no prefix) the kernel offers a link-local source,
    // or even ::1 while that one is still tentative.
    if (family == AF_INET6 && !isBeyondLink(found.route.source)) return WayOut{};
    std::optional<LinkAttributes> link = readLinkOf(found.route.interface);
    if (!link) return std::nullopt;
    // Unplugged cables and lost Wi-Fi associations leave the routes in place.
    if ((link->flags & (IFF_UP | IFF_LOWER_UP)) != (IFF_UP | IFF_LOWER_UP)) return WayOut{};
    return WayOut{.usable = true, .cellular = isCellular(*link)};
  }

  static bool isBeyondLink(const std::string& address) {
    static const std::string unspecified(16, '\0'), loopback = unspecified.substr(0, 15) + '\1';
    if (address.size() != 16 || address == unspecified || address == loopback) return false;
    bool linkLocal = static_cast<uint8_t>(address[0]) == 0xfe &&
                     (static_cast<uint8_t>(address[1]) & 0xc0) == 0x80;
    return !linkLocal;
  }

  struct Lookup {
    Outcome outcome = Outcome::kFailed;
    unsigned type = RTN_UNSPEC;
    RouteAttributes route;
  };

  // What the kernel would do with a packet to `destination` (raw address
  // bytes of `family`) sent by this process right now.
  Lookup lookup(int family, std::string_view destination) {
    Request request(RTM_GETROUTE, NLM_F_REQUEST);
    auto* query = request.append<rtmsg>();
    query->rtm_family = static_cast<unsigned char>(family);
    query->rtm_dst_len = static_cast<unsigned char>(destination.size() * 8);
    request.attribute(RTA_DST, destination.data(), destination.size());
    Lookup found;
    found.outcome = exchange(request, [&](nlmsghdr& message) {
      if (message.nlmsg_type != RTM_NEWROUTE) return;
      found.type = static_cast<rtmsg*>(NLMSG_DATA(&message))->rtm_type;
      found.route = readRoute(message);
    });
    return found;
  }

  std::optional<ReachabilityFlags> addressFlags(uint32_t address) {
    Lookup found = lookup(AF_INET, std::string_view(reinterpret_cast<const char*>(&address), 4));
    // The kernel answers "network unreachable" and the like as errors.
    if (found.outcome == Outcome::kKernelError) return ReachabilityFlags{0};
    if (found.outcome != Outcome::kDone) return std::nullopt;
    if (found.type == RTN_LOCAL) {
      return kReachabilityReachable | kReachabilityIsLocalAddress | kReachabilityIsDirect;
    }
    if (found.type != RTN_UNICAST) return ReachabilityFlags{0};
    ReachabilityFlags flags = kReachabilityReachable;
    if (!found.route.viaGateway) flags |= kReachabilityIsDirect;
    if (found.route.interface != 0) {
      auto link = readLinkOf(found.route.interface);
      if (link && isCellular(*link)) flags |= kReachabilityIsWWAN;
    }
    return flags;
  }

  std::optional<LinkAttributes> readLinkOf(int interface) {
    LinkAttributes link;
    Request request(RTM_GETLINK, NLM_F_REQUEST);
    request.append<ifinfomsg>()->ifi_index = interface;
    Outcome outcome = exchange(request, [&](nlmsghdr& message) {
      if (message.nlmsg_type == RTM_NEWLINK) link = readLink(message);
    });
    if (outcome != Outcome::kDone || link.name.empty()) return std::nullopt;
    return link;
  }

  // Modems have "ww" names under systemd and udev ("wwan0", "wwp0s20u4i6"),
  // the kernel's WWAN framework makes links of kind "wwan", and older USB modem
  // drivers mark their devices DEVTYPE=wwan.
  static bool isCellular(const LinkAttributes& link) {
    if (link.name.starts_with("ww") || link.kind == "wwan") return true;
    // sysfs shows the namespace it was mounted in, which is ours outside tests.
    std::ifstream uevent("/sys/class/net/" + link.name + "/uevent");
    for (std::string line; std::getline(uevent, line);) {
      if (line == "DEVTYPE=wwan") return true;
    }
    return false;
  }

  std::mutex mutex_;
  UniqueFd fd_;
  std::vector<char> buffer_;
  uint32_t sequence_ = 0;
};

// Links for carrier, addresses for IPv6 sources, routes and rules for the way out.
constexpr unsigned kWatchedGroups[] = {RTNLGRP_LINK,       RTNLGRP_IPV4_IFADDR, RTNLGRP_IPV6_IFADDR,
                                       RTNLGRP_IPV4_ROUTE, RTNLGRP_IPV6_ROUTE,  RTNLGRP_IPV4_RULE,
                                       RTNLGRP_IPV6_RULE};

// What a watcher thread uses. It holds its own reference, so the target may
// drop its callback, or die, from inside the callback.
struct Watch {
  std::shared_ptr<RouteReader> reader;
  std::shared_ptr<UniqueFd> events;
  UniqueFd wake;
  uint32_t address = 0;
  ReachabilityTarget::Callback callback;
  std::optional<ReachabilityFlags> reported;
  std::atomic<bool> stop{false};

  void requestStop() {
    stop.store(true, std::memory_order_release);
    uint64_t one = 1;
    [[maybe_unused]] ssize_t ignored = write(wake.get(), &one, sizeof one);
  }
};

// Empties the socket: what changed does not matter, only that something did.
void drain(int fd) {
  char scratch[16384];
  for (;;) {
    ssize_t got = recv(fd, scratch, sizeof scratch, MSG_DONTWAIT);
    // ENOBUFS: the kernel dropped messages for us. Still just "something changed".
    if (got > 0 || (got < 0 && (errno == EINTR || errno == ENOBUFS))) continue;
    return;
  }
}

void runWatch(std::shared_ptr<Watch> watch) {
  pollfd fds[2] = {{watch->events->get(), POLLIN, 0}, {watch->wake.get(), POLLIN, 0}};
  while (!watch->stop.load(std::memory_order_acquire)) {
    if (poll(fds, 2, -1) < 0) {
      if (errno == EINTR) continue;
      return;
    }
    if (fds[1].revents != 0) return;
    drain(fds[0].fd);
    if (watch->stop.load(std::memory_order_acquire)) return;
    // One change arrives as several messages; only a different answer counts.
    auto flags = watch->reader->flags(watch->address);
    if (!flags || flags == watch->reported) continue;
    watch->reported = flags;
    watch->callback(*flags);
  }
}

class NetlinkTarget final : public ReachabilityTarget {
 public:
  NetlinkTarget(uint32_t address, std::shared_ptr<RouteReader> reader, UniqueFd events)
      : address_(address),
        reader_(std::move(reader)),
        events_(std::make_shared<UniqueFd>(std::move(events))) {}

  ~NetlinkTarget() override { clearCallback(); }

  // Any thread; the answer comes from the namespace the target was made in.
  std::optional<ReachabilityFlags> flags() override { return reader_->flags(address_); }

  // Any thread, but not overlapping clearCallback(). Changes are reported on
  // the watcher thread, compared with the flags read here, so the callback
  // does not run for the state it started in.
  bool setCallback(Callback callback) override {
    clearCallback();
    auto watch = std::make_shared<Watch>();
    watch->reader = reader_;
    watch->events = events_;
    watch->wake = UniqueFd(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    watch->address = address_;
    watch->callback = std::move(callback);
    if (!watch->wake || !subscribe(true)) return false;
    // Subscribed first, read second: a change in between is not missed.
    drain(events_->get());
    watch->reported = reader_->flags(address_);
    watch_ = watch;
    watcher_ = std::thread(runWatch, std::move(watch));
    return true;
  }

  // Any thread, also from inside the callback. Once it returns the callback
  // is not called again (unless it is the caller).
  void clearCallback() override {
    if (!watch_) return;
    watch_->requestStop();
    if (watcher_.get_id() == std::this_thread::get_id()) {
      watcher_.detach();
    } else {
      watcher_.join();
    }
    watch_.reset();
    subscribe(false);
  }

 private:
  bool subscribe(bool on) {
    for (unsigned group : kWatchedGroups) {
      if (setsockopt(events_->get(), SOL_NETLINK,
                     on ? NETLINK_ADD_MEMBERSHIP : NETLINK_DROP_MEMBERSHIP, &group,
                     sizeof group) != 0 &&
          on) {
        subscribe(false);
        return false;
      }
    }
    return true;
  }

  const uint32_t address_;
  const std::shared_ptr<RouteReader> reader_;
  const std::shared_ptr<UniqueFd> events_;
  std::shared_ptr<Watch> watch_;
  std::thread watcher_;
};

class NetlinkReachabilityProbe final : public ReachabilityProbe {
 public:
  std::unique_ptr<ReachabilityTarget> targetForAddress(uint32_t ipv4Address) override {
    // Without netlink (a sandbox that denies it) the target still exists: its
    // flags cannot be read, which means no connection, not a failed start.
    UniqueFd queries = openRouteSocket();
    UniqueFd events = openRouteSocket();
    return std::make_unique<NetlinkTarget>(
        ipv4Address, std::make_shared<RouteReader>(std::move(queries)), std::move(events));
  }

  std::unique_ptr<ReachabilityTarget> targetForHostName(const std::string& host) override {
    if (host.empty()) return nullptr;
    return targetForAddress(0);
  }
};

}  // namespace

std::shared_ptr<ReachabilityProbe> makeNetlinkReachabilityProbe() {
  return std::make_shared<NetlinkReachabilityProbe>();
}

}  // namespace vicinix
