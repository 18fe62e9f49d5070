#include "data/model/event_factory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "data/model/event_table.h"
#include "platform/fake/fake_sdk.h"
#include "support/scoped_time_zone.h"

namespace vicinix {
namespace {

class EventFactoryTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_NE(factory_.realm(), nullptr); }
  std::vector<Event> recorded() { return EventTable(*factory_.realm()).all(); }

  test::ScopedTimeZone prague_{"Europe/Prague"};
  FakeSdk env_;
  EventFactory& factory_ = EventFactory::shared();
};

TEST_F(EventFactoryTest, RecordsTypeLinksLocalTimestampAndTheDeviceStateOfTheMoment) {
  factory_.create(EventType::appStarted);
  env_.time->advance(std::chrono::hours(24 * 30));  // into summer time
  for (const char* key : {"VicinixBluetoothOnDefaultsKey", "VicinixInternetConnectionDefaultsKey",
                          "VicinixNotificationsAllowedDefaultsKey"}) {
    env_.defaults->setBool(key, true);
  }
  env_.location->enabled = true;
  Beacon beacon{.id = "b", .namespace_ = "edd1ebeac04e5defa017", .instance = "0123456789ab"};
  factory_.create(EventType::notification, "c42", &beacon);

  auto events = recorded();
  ASSERT_EQ(events.size(), 2u);
  EXPECT_EQ(events[0], (Event{.id = events[0].id,
                              .type = "APP_STARTED",
                              .created = FakeSdk::defaultStart(),
                              .timestamp = "2024-03-01T09:15:02.517+0100"}));
  EXPECT_EQ(events[1], (Event{events[1].id, "PULL_NOTIFICATION",
                              FakeSdk::defaultStart() + std::chrono::hours(24 * 30),
                              "2024-03-31T10:15:02.517+0200", "c42", "edd1ebeac04e5defa017",
                              "0123456789ab", true, true, true, true}));
  EXPECT_THAT(events[0].id, testing::MatchesRegex("[0-9A-F-]{36}"));
  EXPECT_NE(events[0].id, events[1].id);
}

}  // namespace
}  // namespace vicinix
