#include <gtest/gtest.h>

#include <array>

#include "data/model/attribute.h"
#include "data/model/campaign.h"
#include "data/model/event_type.h"

namespace vicinix {
namespace {

TEST(ImageNameTest, ComesFromTheUrlOrFallsBackToTheId) {
  // path, campaign's notification image name, attribute's image name
  for (auto [path, notification, attribute] : std::vector<std::array<const char*, 3>>{
           {"", "42_notification.jpg", "42_attribute.jpg"},
           {"not a url.png", "42_notification.jpg", "42_attribute.jpg"},
           {"https://x/images/a.png?v=3", "a.png", "a.png"},
           {"https://x/b%20c.jpg", "b c.jpg", "b c.jpg"},
           {"https://x/p/b", "b", "42_attribute.jpg"},
           // Names that would leave the cache directory fall back too.
           {"https://x/", "42_notification.jpg", "42_attribute.jpg"},
           {"https://x/a/..", "42_notification.jpg", "42_attribute.jpg"},
           {"https://x/..%2F..%2Fetc%2Fpasswd", "42_notification.jpg", "42_attribute.jpg"},
           {"https://x/a%00b", "42_notification.jpg", "42_attribute.jpg"}}) {
    EXPECT_EQ((Campaign{.id = "42", .notificationImagePath = path}.notificationImageName()),
              notification)
        << path;
    EXPECT_EQ((Attribute{.id = "42", .value = path}.imageName()), attribute) << path;
  }
  EXPECT_EQ((Campaign{.id = "42", .listImagePath = "https://x/l.png"}.listImageName()), "l.png");
  EXPECT_EQ((Campaign{.id = "42", .notificationImagePath = "https://x/n.png"}.listImageName()),
            "42_list.jpg");
}

TEST(EventTypeTest, RawValuesRoundTripAndStrangersAreRejected) {
  const std::pair<EventType, const char*> cases[] = {
      {EventType::newInstallation, "NEW_INSTALLATION"},
      {EventType::campaignDetailFromNotification, "CAMPAIGN_DETAIL_FROM_PULL_NOTIFICATION"},
      {EventType::campaignDetailFromList, "CAMPAIGN_DETAIL_FROM_CAMPAIGNS_LIST"},
      {EventType::notification, "PULL_NOTIFICATION"},
      {EventType::list, "CAMPAIGNS_LIST"},
      {EventType::appStarted, "APP_STARTED"},
      {EventType::appClosed, "APP_CLOSED"}};
  for (auto [type, raw] : cases) {
    EXPECT_EQ(rawValue(type), raw);
    EXPECT_EQ(eventTypeFromRawValue(raw), type);
  }
  for (const char* stranger : {"", "app_started", "APP_STARTED ", "NOTIFICATION", "appStarted"}) {
    EXPECT_EQ(eventTypeFromRawValue(stranger), std::nullopt) << stranger;
  }
}

}  // namespace
}  // namespace vicinix
