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
  std::vector<Beacon> stored() { return BeaconTable(*factory.realm()).all(); }

  FakeSdk env;
  BeaconFactory& factory = BeaconFactory::shared();
};

TEST_F(BeaconFactoryTest, ThrottleHoldsUntilStrictlyPastTheExpiration) {
  // Expiration setting in seconds (0: the hour), how long ago, allowed.
  const std::tuple<int64_t, std::chrono::milliseconds, bool> cases[] = {
      {0, 3599s, false}, {0, 3601s, true}, {60, 60s, false}, {60, 60001ms, true}};
  for (const auto& [setting, ago, allowed] : cases) {
    env.defaults->setInteger("VicinixBeaconExpirationVersionDefaultsKey", setting);
    Beacon beacon{.updated = env.sdk().clock().now() - ago};
    EXPECT_EQ(beacon.isAllowedToUpdate(), allowed) << setting << " " << ago.count();
  }
  EXPECT_TRUE(Beacon{}.isAllowedToUpdate());
}

TEST_F(BeaconFactoryTest, FindsOrCreatesOneRecordPerPairAndStampsItLater) {
  EXPECT_FALSE(factory.findBeacon(kNamespace, "000000000001"));
  auto first = factory.findBeacon(kNamespace, "000000000001", true);
  ASSERT_TRUE(first);
  EXPECT_EQ(*first, (Beacon{first->id, kNamespace, "000000000001", FakeSdk::defaultStart()}));
  env.time->advance(1s);
  EXPECT_EQ(factory.findBeacon(kNamespace, "000000000001", true), first);
  auto second = factory.findBeacon(kNamespace, "000000000002", true);
  ASSERT_TRUE(second);
  EXPECT_NE(second->id, first->id);

  factory.setUpdate(*first);
  factory.setUpdate(Beacon{.id = "never-stored"});
  EXPECT_THAT(stored(), testing::ElementsAre(*first, *second)) << "not written yet";
  env.time->runUntilIdle();
  first->updated = FakeSdk::defaultStart() + 1s;
  EXPECT_THAT(stored(), testing::ElementsAre(*first, *second));
}

TEST_F(BeaconFactoryTest, AFailedInsertIsPrintedAndTheRecordReturnedUnsaved) {
  env.sdk().setDebugging(true);
  factory.realm()->connection().exec("PRAGMA query_only = ON");
  auto first = factory.findBeacon(kNamespace, "000000000001", true);
  auto again = factory.findBeacon(kNamespace, "000000000001", true);
  ASSERT_TRUE(first && again);
  EXPECT_NE(first->id, again->id);
  EXPECT_THAT(env.log->debugLines(), testing::ElementsAre(testing::HasSubstr("readonly")));
  env.time->advance(DatabaseHandle::retryInterval);
  EXPECT_TRUE(stored().empty());
}

}  // namespace
}  // namespace vicinix
