#include <gtest/gtest.h>
#include <vicinix/vicinix_notification_client.h>

#include <fstream>
#include <iterator>

#include "core/vicinix_configurator.h"
#include "data/model/campaign_factory.h"
#include "data/model/event_factory.h"
#include "data/model/event_table.h"
#include "platform/fake/fake_sdk.h"
#include "ui/vicinix_navigation_view_controller.h"

namespace vicinix {
namespace {

using std::chrono::milliseconds;

class NotificationClientTest : public ::testing::Test {
 protected:
  FakeSdk env;
  VicinixNotificationClient& client = VicinixNotificationClient::shared();

  void schedule(const Campaign& campaign) {
    client.scheduleNotification(campaign);
    env.time->runUntilIdle();
  }
  int64_t dayCount() { return env.defaults->integer("VicinixTodaysNotificationCountDefaultsKey"); }
};

TEST_F(NotificationClientTest, BuildsTheRequestAndCountsTheDay) {
  env.defaults->setBool("VicinixAppBadgesVersionDefaultsKey", true);
  schedule(Campaign{.id = "abc", .notificationTitle = "", .notificationText = "Body"});
  auto requests = env.notifications->requests();
  ASSERT_EQ(requests.size(), 1u);
  EXPECT_EQ(requests[0].identifier, "CampaignNotification_abc");
  EXPECT_EQ(requests[0].content.title, "");
  EXPECT_EQ(requests[0].content.body, "Body");
  EXPECT_EQ(requests[0].content.userInfo,
            (std::map<std::string, std::string>{{"campaignID", "abc"}}));
  EXPECT_EQ(requests[0].triggerDelay, 0.5);
  EXPECT_EQ(env.application->applicationIconBadgeNumber(), 1);
  EXPECT_EQ(dayCount(), 1);

  env.defaults->setBool("VicinixAppBadgesVersionDefaultsKey", false);
  schedule(Campaign{.id = "def", .notificationTitle = "T"});
  EXPECT_EQ(env.application->applicationIconBadgeNumber(), 1);
  EXPECT_EQ(dayCount(), 2);
}

TEST_F(NotificationClientTest, SchedulesNothingUnderTheLimitWithoutTextOrWhenRefused) {
  env.sdk().setDebugging(true);
  schedule(Campaign{.id = "empty", .listTitle = "List"});
  EXPECT_EQ(env.log->debugLines().back(),
            "Error: Missing Notification Title and Message, (List, empty)");

  env.notifications->setAddError("server gone");
  schedule(Campaign{.id = "x", .notificationTitle = "T"});
  EXPECT_EQ(dayCount(), 0);  // a refused request counts for nothing

  env.notifications->setAddError(std::nullopt);
  env.defaults->setInteger("VicinixDailyNotificationLimitVersionDefaultsKey", 1);
  schedule(Campaign{.id = "y", .notificationTitle = "T"});
  schedule(Campaign{.id = "z", .notificationTitle = "T"});
  EXPECT_EQ(env.log->debugLines().back(), "Notification limit reached");
  EXPECT_EQ(env.notifications->requests().size(), 1u);
}

TEST_F(NotificationClientTest, APictureIsAttachedAsJPEGAtQuality08) {
  auto bytes = FakeImageCodec::pictureBytes(4, 4);
  env.http->replyWith(std::string(bytes.begin(), bytes.end()));
  schedule(Campaign{
      .id = "p", .notificationTitle = "T", .notificationImagePath = "https://img.test/n.png"});
  auto requests = env.notifications->requests();
  ASSERT_EQ(requests.size(), 1u);
  ASSERT_EQ(requests[0].content.attachments.size(), 1u);
  const auto& attachment = requests[0].content.attachments[0];
  EXPECT_EQ(attachment.identifier, "n.png");
  std::ifstream file(attachment.file, std::ios::binary);
  std::vector<uint8_t> written((std::istreambuf_iterator<char>(file)), {});
  EXPECT_DOUBLE_EQ(FakeImageCodec::jpegQuality(written), 0.8);

  // Cached now: scheduled at once and again after the refresh, same
  // identifier, counted once.
  schedule(Campaign{
      .id = "p", .notificationTitle = "T", .notificationImagePath = "https://img.test/n.png"});
  EXPECT_EQ(env.notifications->requests().size(), 3u);
  EXPECT_EQ(dayCount(), 2);

  // A picture that cannot be attached schedules nothing.
  env.notifications->setAttachmentsFail(true);
  env.sdk().setDebugging(true);
  schedule(Campaign{
      .id = "q", .notificationTitle = "T", .notificationImagePath = "https://img.test/q.png"});
  EXPECT_EQ(env.notifications->requests().size(), 3u);
  EXPECT_EQ(env.log->debugLines().back(), "Error while getting notification image data.");
}

// One beacon's campaigns are scheduled 50 ms apart, long before their
// pictures arrive: each must see the ones before it. One whose picture never
// comes gives its place back.
TEST_F(NotificationClientTest, TheDailyLimitHoldsWhilePicturesAreOnTheirWay) {
  env.defaults->setInteger("VicinixDailyNotificationLimitVersionDefaultsKey", 1);
  auto bytes = FakeImageCodec::pictureBytes(4, 4);
  env.http->setResponder([&](const HttpRequest& request) {
    if (request.url.ends_with("/broken.png"))
      return HttpResponse{.error = "timed out", .status = 0, .body = std::nullopt};
    return HttpResponse{
        .error = "", .status = 200, .body = std::string(bytes.begin(), bytes.end())};
  });
  env.http->setLatency(milliseconds(400));
  auto pictured = [](const std::string& id) {
    return Campaign{.id = id,
                    .notificationTitle = "T",
                    .notificationImagePath = "https://img.test/" + id + ".png"};
  };
  for (const char* id : {"a", "b", "c"}) {
    client.scheduleNotification(pictured(id));
    env.time->advance(milliseconds(50));
  }
  env.time->advance(milliseconds(1000));
  ASSERT_EQ(env.notifications->requests().size(), 1u);
  EXPECT_EQ(env.notifications->requests()[0].identifier, "CampaignNotification_a");
  EXPECT_EQ(dayCount(), 1);

  env.defaults->setInteger("VicinixDailyNotificationLimitVersionDefaultsKey", 2);
  client.scheduleNotification(pictured("broken"));
  env.time->advance(milliseconds(1000));
  schedule(Campaign{.id = "d", .notificationTitle = "T"});
  EXPECT_EQ(env.notifications->requests().size(), 2u);
  EXPECT_EQ(dayCount(), 2);
}

TEST_F(NotificationClientTest, PermissionAnswersAreStored) {
  env.notifications->setGranted(false);
  client.requestNotificationAuthorization();
  env.time->runUntilIdle();
  EXPECT_FALSE(VicinixConfigurator::notificationAllowed());
  EXPECT_EQ(env.notifications->authorizationRequests(), std::vector<int>{7});
  client.checkNotificationSettings();
  env.time->runUntilIdle();
  EXPECT_TRUE(VicinixConfigurator::notificationAllowed());
}

TEST_F(NotificationClientTest, AClickOpensTheCampaignOnlyWithItsId) {
  CampaignFactory::shared().parse(JsonValue::parse(R"({"id":"c1","type":"PAGE","isActive":true})"));
  env.time->runUntilIdle();
  VicinixNotificationClient::notificationTapped(NotificationResponse{});
  EXPECT_FALSE(env.application->root()->presentedViewController());

  NotificationResponse response;
  response.request.content.userInfo["campaignID"] = "c1";
  VicinixNotificationClient::notificationTapped(response);
  auto presented = env.application->root()->presentedViewController();
  ASSERT_TRUE(presented);
  EXPECT_EQ(presented->description(),
            "VicinixNavigationViewController > VicinixPageViewController campaign c1 \"\"");
  auto events = EventTable(*EventFactory::shared().realm()).all();
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].type, "CAMPAIGN_DETAIL_FROM_PULL_NOTIFICATION");
}

}  // namespace
}  // namespace vicinix
