#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <thread>

#include "platform/linux/netlink_reachability_probe.h"

namespace vicinix {
namespace {

using namespace std::chrono_literals;

constexpr ReachabilityFlags kReachable = kReachabilityReachable;
constexpr ReachabilityFlags kLocal =
    kReachabilityReachable | kReachabilityIsLocalAddress | kReachabilityIsDirect;
constexpr ReachabilityFlags kCellular = kReachabilityReachable | kReachabilityIsWWAN;

// Each test gets a network namespace of its own, with only loopback up.
class NetlinkReachabilityTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (std::system(("ip netns add " + name).c_str()) != 0) {
      GTEST_SKIP() << "network namespaces unavailable here (ip says why above)";
    }
    ip("link set lo up");
  }
  void TearDown() override {
    EXPECT_TRUE(IsSkipped() || std::system(("ip netns del " + name).c_str()) == 0);
  }

  void ip(const std::string& arguments) {
    ASSERT_EQ(std::system(("ip -n " + name + " " + arguments).c_str()), 0) << arguments;
  }
  // An uplink 198.51.100.2/24 on a veth pair whose peer stays in the namespace.
  void addUplink(const std::string& device, const std::string& peer) {
    ip("link add " + device + " type veth peer name " + peer);
    ip("addr add 198.51.100.2/24 dev " + device);
    ip("link set " + device + " up");
    ip("link set " + peer + " up");
  }

  // Made on a thread inside the namespace, asked from the test thread outside it.
  template <class Make>
  auto inside(Make make) -> decltype(make()) {
    decltype(make()) made{};
    std::thread([&] {
      int fd = open(("/var/run/netns/" + name).c_str(), O_RDONLY | O_CLOEXEC);
      if (fd >= 0 && setns(fd, CLONE_NEWNET) == 0) made = make();
      if (fd >= 0) close(fd);
    }).join();
    EXPECT_NE(made, nullptr);
    return made;
  }
  std::optional<ReachabilityFlags> flagsFor(const char* address) {
    auto target = inside([&] { return probe->targetForAddress(inet_addr(address)); });
    return target ? target->flags() : std::nullopt;
  }

  // Starts collecting what `target` reports.
  bool watch(ReachabilityTarget& target) {
    return target.setCallback([this](ReachabilityFlags flags) {
      std::lock_guard lock(mutex);
      reports.push_back(flags);
      changed.notify_all();
    });
  }
  bool reported(ReachabilityFlags expected) {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, 10s,
                            [&] { return !reports.empty() && reports.back() == expected; });
  }

  std::string name = "vicinix-test-" + std::to_string(getpid());
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<ReachabilityFlags> reports;
  std::shared_ptr<ReachabilityProbe> probe = makeNetlinkReachabilityProbe();
};

TEST_F(NetlinkReachabilityTest, ReachableWhileAUsableDefaultRouteExistsReportingEachChangeOnce) {
  auto any = inside([&] { return probe->targetForAddress(0); });
  ASSERT_TRUE(any);
  // The test process itself may well have a default route; the targets must
  // still answer for the namespace they were made in.
  EXPECT_EQ(any->flags(), 0u);
  EXPECT_EQ(flagsFor("203.0.113.9"), 0u);

  ASSERT_TRUE(watch(*any));

  addUplink("veth0", "veth1");
  ip("route add default via 198.51.100.1");
  EXPECT_TRUE(reported(kReachable));
  EXPECT_EQ(flagsFor("203.0.113.9"), kReachable);
  // Cable out: the route stays in the table, marked linkdown, and only a
  // link message tells.
  ip("link set veth1 down");
  EXPECT_TRUE(reported(0));
  ip("link set veth1 up");
  EXPECT_TRUE(reported(kReachable));
  ip("route del default");
  EXPECT_TRUE(reported(0));
  any->clearCallback();

  std::lock_guard lock(mutex);
  EXPECT_EQ(reports, (std::vector<ReachabilityFlags>{kReachable, 0, kReachable, 0}))
      << "the starting state is not a change, and netlink's repeats are not either";
}

TEST_F(NetlinkReachabilityTest, DefaultRouteOverACellularInterfaceSetsIsWWAN) {
  addUplink("wwan0", "cellpeer");
  ip("route add default via 198.51.100.1 dev wwan0");
  EXPECT_EQ(flagsFor("0.0.0.0"), kCellular);
  EXPECT_EQ(flagsFor("203.0.113.9"), kCellular);
  EXPECT_EQ(flagsFor("198.51.100.2"), kLocal);  // its own address is not reached over the air
}

TEST_F(NetlinkReachabilityTest, IPv6OnlyCountsOnceTheHostHasAnAddressBeyondTheLink) {
  if (access("/proc/sys/net/ipv6", F_OK) != 0) GTEST_SKIP() << "no IPv6 in this kernel";
  auto any = inside([&] { return probe->targetForAddress(0); });
  ASSERT_TRUE(any);
  ip("link add veth0 type veth peer name veth1");
  ip("link set veth0 up");
  ip("link set veth1 up");
  ip("-6 route add default via fe80::1 dev veth0");
  EXPECT_EQ(any->flags(), 0u) << "a link-local source reaches no further than the link";

  ASSERT_TRUE(watch(*any));
  ip("-6 addr add 2001:db8:1::2/64 dev veth0 nodad");
  EXPECT_TRUE(reported(kReachable)) << "an address arriving is a change of its own";
  ip("link set veth1 down");
  EXPECT_TRUE(reported(0));
}

TEST_F(NetlinkReachabilityTest, DefaultRouteInATableChosenByARuleCounts) {
  auto any = inside([&] { return probe->targetForAddress(0); });
  ASSERT_TRUE(any);
  addUplink("veth0", "veth1");
  ip("route add default via 198.51.100.1 table 100");
  EXPECT_EQ(any->flags(), 0u) << "no rule sends traffic to table 100 yet";

  ASSERT_TRUE(watch(*any));
  ip("rule add pref 100 lookup 100");
  EXPECT_TRUE(reported(kReachable));
  ip("rule del pref 100");
  EXPECT_TRUE(reported(0));
}

}  // namespace
}  // namespace vicinix
