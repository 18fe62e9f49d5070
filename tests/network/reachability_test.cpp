#include "network/reachability.h"

#include <gtest/gtest.h>
#include <vicinix/notification_center.h>

#include "platform/fake/fake_sdk.h"

namespace vicinix {
namespace {

using Connection = Reachability::Connection;

TEST(ReachabilityTest, FlagsMapToConnections) {
  constexpr ReachabilityFlags R = kReachabilityReachable, W = kReachabilityIsWWAN,
                              C = kReachabilityConnectionRequired,
                              D = kReachabilityConnectionOnDemand,
                              T = kReachabilityConnectionOnTraffic,
                              I = kReachabilityInterventionRequired;
  using Case = std::tuple<std::optional<ReachabilityFlags>, bool, Connection>;
  for (auto [flags, cellularAllowed, expected] :
       {Case{std::nullopt, true, Connection::none}, Case{0u, true, Connection::none},
        Case{W, true, Connection::none}, Case{R, true, Connection::wifi},
        Case{R | C, true, Connection::none}, Case{R | C | D, true, Connection::wifi},
        Case{R | C | T, true, Connection::wifi}, Case{R | C | D | I, true, Connection::none},
        Case{R | W, true, Connection::cellular}, Case{R | W, false, Connection::none},
        Case{R | C | W, true, Connection::cellular}}) {
    EXPECT_EQ(Reachability::connectionFor(flags, cellularAllowed), expected)
        << flags.value_or(0xFFFFFFFFu) << " cellular " << cellularAllowed;
  }
}

TEST(ReachabilityTest, NotifierReportsChangesOnlyOnTheMainQueue) {
  FakeSdk env;
  env.reachability->setFlags(kReachabilityReachable);
  auto reachability = Reachability::forZeroAddress();
  std::vector<std::string> calls;
  reachability->whenReachable = [&](Reachability& r) {
    EXPECT_TRUE(env.sdk().mainQueue().isCurrent());
    calls.push_back(std::string("reachable ") + Reachability::description(r.connection()));
  };
  reachability->whenUnreachable = [&](Reachability&) { calls.push_back("unreachable"); };
  int posted = 0;
  NotificationCenter::defaultCenter().addObserver(
      Reachability::kChangedNotification,
      [&](const NotificationCenter::Notification&) { ++posted; });

  // The first reading is the first change; the notifier then finds nothing new.
  EXPECT_EQ(reachability->connection(), Connection::wifi);
  ASSERT_FALSE(reachability->startNotifier());
  EXPECT_TRUE(reachability->notifierRunning());
  env.time->runUntilIdle();
  env.reachability->change(kReachabilityReachable);  // no change: nothing reported
  env.time->runUntilIdle();
  env.reachability->change(0);
  EXPECT_EQ(calls.size(), 1u) << "nothing runs before the queues do";
  env.time->runUntilIdle();
  env.reachability->change(kReachabilityReachable | kReachabilityIsWWAN);
  env.time->runUntilIdle();
  EXPECT_EQ(calls,
            (std::vector<std::string>{"reachable WiFi", "unreachable", "reachable Cellular"}));
  EXPECT_EQ(posted, 3);

  reachability->stopNotifier();
  env.reachability->change(0);
  env.time->runUntilIdle();
  EXPECT_EQ(calls.size(), 3u);

  // A change already on its way to the main queue finds the monitor gone.
  ASSERT_FALSE(reachability->startNotifier());
  env.reachability->change(kReachabilityReachable);
  env.time->runUntilIdle();
  env.reachability->change(0);
  reachability.reset();
  env.time->runUntilIdle();
  EXPECT_EQ(calls.back(), "reachable WiFi");
}

TEST(ReachabilityTest, RefusalsAreReportedAsErrors) {
  FakeSdk env;
  env.reachability->refuseCallbacks(true);
  EXPECT_EQ(Reachability::forZeroAddress()->startNotifier(),
            ReachabilityError::UnableToSetCallback);
  env.reachability->refuseCallbacks(false);
  env.reachability->setFlags(std::nullopt);
  EXPECT_EQ(Reachability::forZeroAddress()->startNotifier(),
            ReachabilityError::UnableToGetInitialFlags);
  env.reachability->refuseTargets(true);
  ReachabilityError error{};
  EXPECT_FALSE(Reachability::forHostName("example.org", &error));
  EXPECT_EQ(error, ReachabilityError::FailedToCreateWithHostname);
}

}  // namespace
}  // namespace vicinix
