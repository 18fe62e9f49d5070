#include "beacons/beacon_manager.h"

#include <gtest/gtest.h>

#include "base/notification_center.h"
#include "core/vicinix.h"
#include "core/vicinix_configurator.h"
#include "data/model/beacon_factory.h"
#include "platform/fake/fake_sdk.h"
#include "support/graphql_responder.h"

namespace vicinix {
namespace {

using std::chrono::seconds;

const PeripheralIdentifier kDevice{{0x1}};

// A UID frame of namespace edd1ebeac04e5defa017 and an instance ending in `last`.
ServiceDataMap uid(uint8_t last = 0xab) {
  return {{"FEAA", {0x00, 0xEB, 0xED, 0xD1, 0xEB, 0xEA, 0xC0, 0x4E, 0x5D, 0xEF,
                    0xA0, 0x17, 0x01, 0x23, 0x45, 0x67, 0x89, last, 0x00, 0x00}}};
}

class BeaconManagerTest : public ::testing::Test {
 protected:
  FakeSdk env;
  int received = 0;

  void SetUp() override {
    env.defaults->setStringArray("VicinixNamespacesVersionDefaultsKey", {"edd1ebeac04e5defa017"});
    env.http->setResponder(test::GraphQLResponder().on(
        "sdkFetchPullNotifications",
        R"({"data":{"sdkFetchPullNotifications":[{"id":"c1","isActive":true,"notificationTitle":"Hi"}]}})"));
    NotificationCenter::defaultCenter().addObserver(Vicinix::campaignRecieved,
                                                    [this](const auto&) { ++received; });
    BeaconManager::shared().startScanning();
    env.time->runUntilIdle();
  }
  void see(ServiceDataMap frame = uid()) {
    env.bluetooth->advertise(kDevice, std::move(frame), -60);
    env.time->runUntilIdle();
  }
  // Quiet long enough for the scanner to lose the beacon, so the next sighting is a find.
  void leave() { env.time->advance(seconds(16)); }
  std::vector<std::string> queries() {
    std::vector<std::string> texts;
    for (const auto& request : env.http->requests()) {
      texts.push_back(test::GraphQLResponder::queryOf(request));
    }
    return texts;
  }
};

TEST_F(BeaconManagerTest, AFoundBeaconOfAnAllowedNamespaceFetchesItsCampaignsOncePerExpiration) {
  see();
  see();  // an update, not a find
  ASSERT_EQ(queries().size(), 1u);
  EXPECT_NE(queries()[0].find("edd1ebeac04e5defa017"), std::string::npos);
  EXPECT_NE(queries()[0].find("0123456789ab"), std::string::npos);
  EXPECT_EQ(received, 1);
  EXPECT_EQ(env.notifications->requests().size(), 1u);

  env.sdk().setDebugging(true);
  leave();
  see();  // found again within the hour: no request
  EXPECT_EQ(queries().size(), 1u);
  EXPECT_EQ(env.log->debugLines().front(),
            "LOST Namespace: edd1ebeac04e5defa017, Instance: 0123456789ab");

  env.time->advance(seconds(3600));
  see();
  EXPECT_EQ(queries().size(), 2u);
}

TEST_F(BeaconManagerTest, AFailedRequestLeavesTheBeaconUnstamped) {
  env.http->replyWith(R"({"errors":[{"message":"boom"}]})");
  see();
  leave();
  see();
  EXPECT_EQ(queries().size(), 2u);
  EXPECT_EQ(received, 0);
  EXPECT_FALSE(BeaconFactory::shared().findBeacon("edd1ebeac04e5defa017", "0123456789ab")->updated);

  env.http->replyWith(R"({"data":{"sdkFetchPullNotifications":[]}})");
  leave();
  see();
  EXPECT_EQ(received, 1);  // an empty answer still counts as an answer
  EXPECT_TRUE(BeaconFactory::shared().findBeacon("edd1ebeac04e5defa017", "0123456789ab")->updated);
}

TEST_F(BeaconManagerTest, OtherNamespacesAndEIDSightingsAreUnsupported) {
  env.sdk().setDebugging(true);
  env.defaults->setStringArray("VicinixNamespacesVersionDefaultsKey", {"EDD1EBEAC04E5DEFA017"});
  see();
  see({{"FEAA", {0x30, 0xF0, 1, 2, 3, 4, 5, 6, 7, 8}}});
  EXPECT_TRUE(queries().empty());
  auto lines = env.log->debugLines();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0],
            "Find unsupported beacon: (Eddystone BeaconID beacon: "
            "edd1ebeac04e5defa0170123456789ab, txPower: -21, RSSI: -60)");
  EXPECT_EQ(lines[1].rfind("Find unsupported beacon: (Eddystone EID ", 0), 0u);
}

TEST_F(BeaconManagerTest, TheBluetoothStatusIsStored) {
  env.bluetooth->setState(BluetoothCentralState::poweredOff);
  BeaconManager::shared().startScanning();
  env.time->runUntilIdle();
  EXPECT_FALSE(VicinixConfigurator::bluetoothOn());
  env.bluetooth->setState(BluetoothCentralState::poweredOn);
  env.time->runUntilIdle();
  EXPECT_TRUE(VicinixConfigurator::bluetoothOn());
}

TEST_F(BeaconManagerTest, IBeaconRegionsAreMonitoredOnlyWhereRangingExists) {
  env.defaults->setStringArray("VicinixiBeaconsDefaultsKey",
                               {"F7826DA6-4FA2-4E98-8024-BC5B71E0893E", "not-a-uuid"});
  BeaconManager::shared().startRangingIBeacons();
  std::vector<std::string> setupOnly{"requestAlwaysAuthorization",
                                     "allowsBackgroundLocationUpdates"};
  EXPECT_EQ(env.location->calls(), setupOnly);
  env.location->ranging = true;
  BeaconManager::shared().startRangingIBeacons();
  auto calls = env.location->calls();
  ASSERT_EQ(calls.size(), 4u);
  EXPECT_EQ(calls[2], "startMonitoring F7826DA6-4FA2-4E98-8024-BC5B71E0893E");
  EXPECT_EQ(calls[3], "startRanging F7826DA6-4FA2-4E98-8024-BC5B71E0893E");
}

}  // namespace
}  // namespace vicinix
