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

// The raw values are the backend's enum; a typo in one would lose those events.
TEST(EventTypeTest, RawValuesRoundTripAndStrangersAreRejected) {
  for (EventType type : {EventType::newInstallation, EventType::campaignDetailFromNotification,
                         EventType::campaignDetailFromList, EventType::notification,
                         EventType::list, EventType::appStarted, EventType::appClosed}) {
    EXPECT_EQ(eventTypeFromRawValue(rawValue(type)), type) << rawValue(type);
  }
  for (const char* stranger : {"", "app_started", "APP_STARTED ", "appStarted"}) {
    EXPECT_EQ(eventTypeFromRawValue(stranger), std::nullopt) << stranger;
  }
}

}  // namespace
}  // namespace vicinix
