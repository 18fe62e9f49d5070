#include <gtest/gtest.h>

#include "data/model/attribute.h"
#include "data/model/campaign.h"
#include "data/model/event_type.h"

namespace vicinix {
namespace {

TEST(CampaignTest, ImageNamesComeFromTheUrlOrFallBackToTheId) {
  Campaign campaign{.id = "42"};
  EXPECT_EQ(campaign.notificationImageName(), "42_notification.jpg");
  EXPECT_EQ(campaign.listImageName(), "42_list.jpg");

  campaign.notificationImagePath = "https://x/images/a.png?v=3";
  campaign.listImagePath = "https://x/b%20c.jpg";
  EXPECT_EQ(campaign.notificationImageName(), "a.png");
  EXPECT_EQ(campaign.listImageName(), "b c.jpg");

  campaign.notificationImagePath = "not a url.png";
  EXPECT_EQ(campaign.notificationImageName(), "42_notification.jpg");
}

TEST(AttributeTest, ImageNameNeedsAComponentLongerThanOneCharacter) {
  Attribute attribute{.id = "7", .value = "https://x/pics/a.png"};
  EXPECT_EQ(attribute.imageName(), "a.png");

  for (const char* value : {"https://x/", "https://x", "https://x/p/b", "", "two words"}) {
    attribute.value = value;
    EXPECT_EQ(attribute.imageName(), "7_attribute.jpg") << value;
  }
}

TEST(EventTypeTest, RawValuesRoundTripAndStrangersAreRejected) {
  const EventType all[] = {EventType::newInstallation,
                           EventType::campaignDetailFromNotification,
                           EventType::campaignDetailFromList,
                           EventType::notification,
                           EventType::list,
                           EventType::appStarted,
                           EventType::appClosed};
  const char* raw[] = {"NEW_INSTALLATION",
                       "CAMPAIGN_DETAIL_FROM_PULL_NOTIFICATION",
                       "CAMPAIGN_DETAIL_FROM_CAMPAIGNS_LIST",
                       "PULL_NOTIFICATION",
                       "CAMPAIGNS_LIST",
                       "APP_STARTED",
                       "APP_CLOSED"};
  for (size_t i = 0; i < std::size(all); ++i) {
    EXPECT_EQ(rawValue(all[i]), raw[i]);
    EXPECT_EQ(eventTypeFromRawValue(raw[i]), all[i]);
  }
  for (const char* stranger : {"", "app_started", "APP_STARTED ", "NOTIFICATION", "appStarted"}) {
    EXPECT_EQ(eventTypeFromRawValue(stranger), std::nullopt) << stranger;
  }
}

}  // namespace
}  // namespace vicinix
