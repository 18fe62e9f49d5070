#include "data/model/event_factory.h"

#include <gtest/gtest.h>

#include "data/model/event_table.h"
#include "platform/fake/fake_sdk.h"

namespace vicinix {
namespace {

class EventFactoryTest : public ::testing::Test {
 protected:
  std::vector<Event> recorded() { return EventTable(*EventFactory::shared().realm()).all(); }

  FakeSdk env_;
};

TEST_F(EventFactoryTest, RecordsTypeAndLocalTimestampWithoutLinks) {
  ASSERT_NE(EventFactory::shared().realm(), nullptr);
  EventFactory::shared().create(EventType::appStarted);

  auto events = recorded();
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0], (Event{.id = events[0].id,
                              .type = "APP_STARTED",
                              .created = FakeSdk::defaultStart(),
                              .timestamp = "2024-03-01T09:15:02.517+0100"}));
  EXPECT_EQ(events[0].id.size(), 36u);
  EXPECT_EQ(events[0].id.find_first_of("abcdef"), std::string::npos) << events[0].id;
}

TEST_F(EventFactoryTest, NotificationCarriesCampaignAndBeacon) {
  Beacon beacon{.id = "b", .namespace_ = "edd1ebeac04e5defa017", .instance = "0123456789ab"};
  env_.time->advance(std::chrono::hours(24 * 30));  // into summer time
  EventFactory::shared().create(EventType::notification, "c42", &beacon);

  auto events = recorded();
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].type, "PULL_NOTIFICATION");
  EXPECT_EQ(events[0].timestamp, "2024-03-31T10:15:02.517+0200");
  EXPECT_EQ(events[0].campaignId, "c42");
  EXPECT_EQ(events[0].beaconNamespace, "edd1ebeac04e5defa017");
  EXPECT_EQ(events[0].beaconInstance, "0123456789ab");
}

TEST_F(EventFactoryTest, KeepsTheDeviceStateOfTheMomentInRecordedOrder) {
  auto& factory = EventFactory::shared();
  factory.create(EventType::appStarted);
  env_.defaults->setBool("VicinixBluetoothOnDefaultsKey", true);
  env_.defaults->setBool("VicinixInternetConnectionDefaultsKey", true);
  env_.defaults->setBool("VicinixNotificationsAllowedDefaultsKey", true);
  env_.location->enabled = true;
  factory.create(EventType::list);
  factory.create(EventType::appClosed);

  auto events = recorded();
  ASSERT_EQ(events.size(), 3u);
  EXPECT_EQ(events[0].type, "APP_STARTED");
  EXPECT_FALSE(events[0].hasBluetoothTurnedOn || events[0].hasInternetConnection ||
               events[0].hasLocationPermission || events[0].hasNotificationPermission);
  EXPECT_EQ(events[1].type, "CAMPAIGNS_LIST");
  EXPECT_TRUE(events[1].hasBluetoothTurnedOn && events[1].hasInternetConnection &&
              events[1].hasLocationPermission && events[1].hasNotificationPermission);
  EXPECT_EQ(events[2].type, "APP_CLOSED");
  EXPECT_NE(events[0].id, events[1].id);
}

TEST_F(EventFactoryTest, DeleteAllEventsEmptiesTheStoreQuietly) {
  env_.sdk().setDebugging(true);
  auto& factory = EventFactory::shared();
  factory.deleteAllEvents();
  factory.create(EventType::appStarted);
  factory.create(EventType::appClosed);
  factory.deleteAllEvents();
  EXPECT_TRUE(recorded().empty());
  EXPECT_TRUE(env_.log->debugLines().empty());
}

TEST_F(EventFactoryTest, AFailedDeleteIsOnlyPrinted) {
  env_.sdk().setDebugging(true);
  auto& factory = EventFactory::shared();
  factory.create(EventType::appStarted);
  factory.realm()->connection().exec("PRAGMA query_only = ON");

  factory.deleteAllEvents();
  EXPECT_EQ(recorded().size(), 1u);
  ASSERT_EQ(env_.log->debugLines().size(), 1u);
  EXPECT_NE(env_.log->debugLines()[0].find("readonly"), std::string::npos);
}

TEST_F(EventFactoryTest, AFailedRecordIsFatal) {
  auto& factory = EventFactory::shared();
  factory.realm()->connection().exec("PRAGMA query_only = ON");
  EXPECT_DEATH(factory.create(EventType::appStarted), "Unable to record an event: .*readonly");
}

}  // namespace
}  // namespace vicinix
