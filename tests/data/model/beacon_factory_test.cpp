#include "data/model/beacon_factory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "data/model/beacon_table.h"
#include "platform/fake/fake_sdk.h"

namespace vicinix {
namespace {

using namespace std::chrono_literals;

constexpr const char* kNamespace = "edd1ebeac04e5defa017";

class BeaconFactoryTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_NE(factory.realm(), nullptr); }
  std::vector<Beacon> stored() { return BeaconTable(*factory.realm()).all(); }

  FakeSdk env;
  BeaconFactory& factory = BeaconFactory::shared();
};

TEST_F(BeaconFactoryTest, ThrottleHoldsUntilStrictlyPastTheExpiration) {
  struct Case {
    int64_t setting;
    std::chrono::milliseconds ago;
    bool allowed;
    const char* printed;
  };
  env.sdk().setDebugging(true);
  for (const Case& c : {
           Case{0, 3599s, false, "Last beacon update: 3599.0"},
           Case{0, 3601s, true, "Last beacon update: 3601.0"},
           Case{60, 60s, false, "Last beacon update: 60.0"},
           Case{60, 60001ms, true, "Last beacon update: 60.001"},
       }) {
    env.defaults->setInteger("VicinixBeaconExpirationVersionDefaultsKey", c.setting);
    env.log->clear();
    Beacon beacon{.updated = env.sdk().clock().now() - c.ago};
    EXPECT_EQ(beacon.isAllowedToUpdate(), c.allowed) << c.setting << " " << c.ago.count();
    EXPECT_THAT(env.log->debugLines(), testing::ElementsAre(c.printed));
  }
  env.log->clear();
  EXPECT_TRUE(Beacon{}.isAllowedToUpdate());
  EXPECT_TRUE(env.log->debugLines().empty());
}

TEST_F(BeaconFactoryTest, FindsOrCreatesOneRecordPerPair) {
  EXPECT_FALSE(factory.findBeacon(kNamespace, "000000000001"));
  EXPECT_TRUE(stored().empty());

  auto first = factory.findBeacon(kNamespace, "000000000001", true);
  ASSERT_TRUE(first);
  EXPECT_EQ(*first, (Beacon{first->id, kNamespace, "000000000001", FakeSdk::defaultStart()}));
  env.time->advance(1s);
  EXPECT_EQ(factory.findBeacon(kNamespace, "000000000001", true), first);
  auto second = factory.findBeacon(kNamespace, "000000000002", true);
  ASSERT_TRUE(second);
  EXPECT_NE(second->id, first->id);
  EXPECT_THAT(stored(), testing::ElementsAre(*first, *second));
}

TEST_F(BeaconFactoryTest, SetUpdateStampsTheStoredRecordLaterOnTheMainQueue) {
  Beacon beacon = *factory.findBeacon(kNamespace, "000000000001", true);
  factory.setUpdate(beacon);
  factory.setUpdate(Beacon{.id = "never-stored"});
  EXPECT_EQ(factory.findBeacon(kNamespace, "000000000001"), beacon) << "not written yet";
  env.time->runUntilIdle();
  beacon = *factory.findBeacon(kNamespace, "000000000001");
  EXPECT_EQ(beacon.updated, FakeSdk::defaultStart());
  EXPECT_EQ(stored().size(), 1u);
}

TEST_F(BeaconFactoryTest, AFailedInsertIsPrintedAndTheRecordReturnedUnsaved) {
  env.sdk().setDebugging(true);
  factory.realm()->connection().exec("PRAGMA query_only = ON");
  auto first = factory.findBeacon(kNamespace, "000000000001", true);
  auto again = factory.findBeacon(kNamespace, "000000000001", true);
  ASSERT_TRUE(first && again);
  EXPECT_NE(first->id, again->id);
  EXPECT_THAT(env.log->debugLines(),
              testing::ElementsAre(testing::HasSubstr("readonly"), testing::HasSubstr("readonly")));
  EXPECT_TRUE(stored().empty());
}

}  // namespace
}  // namespace vicinix
