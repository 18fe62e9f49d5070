#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <thread>

#include "platform/linux/netlink_reachability_probe.h"

namespace vicinix {
namespace {

using namespace std::chrono_literals;

constexpr ReachabilityFlags kReachable = kReachabilityReachable;
constexpr ReachabilityFlags kLocal =
    kReachabilityReachable | kReachabilityIsLocalAddress | kReachabilityIsDirect;
constexpr ReachabilityFlags kOnLink = kReachabilityReachable | kReachabilityIsDirect;
constexpr ReachabilityFlags kCellular = kReachabilityReachable | kReachabilityIsWWAN;

uint32_t ipv4(const char* text) {
  return inet_addr(text);
}

// Exit status and combined output of a shell command.
std::pair<int, std::string> shell(const std::string& command) {
  std::string output;
  FILE* pipe = popen((command + " 2>&1").c_str(), "r");
  if (pipe == nullptr) return {-1, "popen failed"};
  std::array<char, 256> chunk;
  while (fgets(chunk.data(), chunk.size(), pipe) != nullptr) output += chunk.data();
  return {pclose(pipe), output};
}

// A network namespace of our own, deleted again however the test ends.
class NetworkNamespace {
 public:
  NetworkNamespace() {
    static std::atomic<int> counter{0};
    name_ = "vicinix-test-" + std::to_string(getpid()) + "-" + std::to_string(counter++);
    auto [status, output] = shell("ip netns add " + name_);
    if (status != 0) {
      unavailable_ = output.empty() ? "ip netns add failed" : output;
      return;
    }
    created_ = true;
    ip("link set lo up");
  }
  ~NetworkNamespace() {
    if (created_) shell("ip netns del " + name_);
  }

  bool created() const { return created_; }
  const std::string& unavailable() const { return unavailable_; }

  void ip(const std::string& arguments) {
    auto [status, output] = shell("ip -n " + name_ + " " + arguments);
    ASSERT_EQ(status, 0) << "ip " << arguments << ": " << output;
  }

  // Runs `make` on a thread that has entered the namespace.
  template <class Make>
  auto inside(Make make) -> decltype(make()) {
    decltype(make()) made{};
    std::thread([&] {
      int fd = open(("/var/run/netns/" + name_).c_str(), O_RDONLY | O_CLOEXEC);
      bool entered = fd >= 0 && setns(fd, CLONE_NEWNET) == 0;
      if (fd >= 0) close(fd);
      if (entered) made = make();
    }).join();
    return made;
  }

 private:
  std::string name_;
  std::string unavailable_;
  bool created_ = false;
};

class NetlinkReachabilityTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!ns.created()) GTEST_SKIP() << "network namespaces unavailable here: " << ns.unavailable();
  }

  // Made inside the namespace, asked from the test thread outside it.
  std::unique_ptr<ReachabilityTarget> target(uint32_t address) {
    auto made = ns.inside([&] { return probe->targetForAddress(address); });
    EXPECT_NE(made, nullptr);
    return made;
  }
  std::optional<ReachabilityFlags> flagsFor(const char* address) {
    auto made = target(ipv4(address));
    return made ? made->flags() : std::nullopt;
  }

  // The uplink: veth0 (198.51.100.2/24) whose peer stays in the namespace.
  void addUplink(const std::string& name = "veth0", const std::string& peer = "veth1") {
    ns.ip("link add " + name + " type veth peer name " + peer);
    ns.ip("addr add 198.51.100.2/24 dev " + name);
    ns.ip("link set " + name + " up");
    ns.ip("link set " + peer + " up");
  }

  NetworkNamespace ns;
  std::shared_ptr<ReachabilityProbe> probe = makeNetlinkReachabilityProbe();
};

TEST_F(NetlinkReachabilityTest, ReachableExactlyWhileAUsableDefaultRouteExists) {
  auto any = target(0);
  auto host = ns.inside([&] { return probe->targetForHostName("api.vicinix.io"); });
  ASSERT_TRUE(any && host);
  // The test process itself may well have a default route; the targets must
  // still answer for the namespace they were made in.
  EXPECT_EQ(any->flags(), 0u);
  EXPECT_EQ(host->flags(), 0u);
  EXPECT_EQ(flagsFor("127.0.0.1"), kLocal);
  EXPECT_EQ(flagsFor("203.0.113.9"), 0u);

  addUplink();
  ns.ip("route add default via 198.51.100.1");
  EXPECT_EQ(any->flags(), kReachable);
  EXPECT_EQ(host->flags(), kReachable);
  EXPECT_EQ(flagsFor("198.51.100.7"), kOnLink);
  EXPECT_EQ(flagsFor("203.0.113.9"), kReachable);
  EXPECT_EQ(flagsFor("198.51.100.2"), kLocal);
}

TEST_F(NetlinkReachabilityTest, DefaultRouteOverACellularInterfaceSetsIsWWAN) {
  addUplink("wwan0", "cellpeer");
  ns.ip("route add default via 198.51.100.1 dev wwan0");
  EXPECT_EQ(target(0)->flags(), kCellular);
  EXPECT_EQ(flagsFor("203.0.113.9"), kCellular);
  EXPECT_EQ(flagsFor("198.51.100.2"), kLocal);
}

TEST_F(NetlinkReachabilityTest, CallbackReportsEachChangeOfFlagsOnce) {
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<ReachabilityFlags> reports;
  auto any = target(0);
  ASSERT_TRUE(any);
  ASSERT_TRUE(any->setCallback([&](ReachabilityFlags flags) {
    std::lock_guard lock(mutex);
    reports.push_back(flags);
    changed.notify_all();
  }));
  auto waitForLast = [&](ReachabilityFlags expected) {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, 10s,
                            [&] { return !reports.empty() && reports.back() == expected; });
  };

  addUplink();
  ns.ip("route add default via 198.51.100.1");
  EXPECT_TRUE(waitForLast(kReachable));
  // Cable out: the route stays in the table, marked linkdown, and only a
  // link message tells.
  ns.ip("link set veth1 down");
  EXPECT_TRUE(waitForLast(0));
  ns.ip("link set veth1 up");
  EXPECT_TRUE(waitForLast(kReachable));
  ns.ip("route del default");
  EXPECT_TRUE(waitForLast(0));
  any->clearCallback();

  std::lock_guard lock(mutex);
  EXPECT_EQ(reports, (std::vector<ReachabilityFlags>{kReachable, 0, kReachable, 0}))
      << "the starting state is not a change, and netlink's repeats are not either";
}

}  // namespace
}  // namespace vicinix
