#include "campaigns/campaign_manager.h"

#include <gtest/gtest.h>
#include <vicinix/notification_center.h>
#include <vicinix/vicinix.h>

#include "core/vicinix_configurator.h"
#include "data/model/beacon_factory.h"
#include "data/model/campaign_factory.h"
#include "data/model/event_factory.h"
#include "data/model/event_table.h"
#include "platform/fake/fake_sdk.h"
#include "support/graphql_responder.h"

namespace vicinix {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

class CampaignManagerTest : public ::testing::Test {
 protected:
  FakeSdk env;

  Campaign stored(const std::string& json) {
    auto campaign = CampaignFactory::shared().parse(JsonValue::parse(json));
    env.time->runUntilIdle();
    return *campaign;
  }
  std::vector<std::string> notified() {
    std::vector<std::string> ids;
    for (const auto& request : env.notifications->requests()) ids.push_back(request.identifier);
    return ids;
  }
};

TEST_F(CampaignManagerTest, NeedsUpdateOnlyPastTheExpiration) {
  Campaign campaign{.id = "c"};
  EXPECT_TRUE(campaign.needsUpdate());
  campaign.updated = env.time->now() - seconds(3600);
  EXPECT_FALSE(campaign.needsUpdate());
  campaign.updated = env.time->now() - seconds(3601);
  EXPECT_TRUE(campaign.needsUpdate());
  env.defaults->setInteger("VicinixCampaignExpirationLimitVersionDefaultsKey", 7200);
  EXPECT_FALSE(campaign.needsUpdate());
}

TEST_F(CampaignManagerTest, ShouldNotifyHonoursCooldownAndTheStrictCap) {
  Campaign campaign{.id = "c", .cooldown = 600, .maximumNotificationsPerUser = 1};
  EXPECT_TRUE(campaign.shouldNotify());  // never notified
  campaign.notificationSent = env.time->now() - seconds(600);
  campaign.notificationCount = 1;
  EXPECT_FALSE(campaign.shouldNotify());
  campaign.notificationSent = env.time->now() - seconds(601);
  EXPECT_TRUE(campaign.shouldNotify());  // a cap of 1 allows a second one
  campaign.notificationCount = 2;
  env.sdk().setDebugging(true);
  EXPECT_FALSE(campaign.shouldNotify());
  EXPECT_EQ(env.log->debugLines().back(), "Maximum notifications per user reached, c");
}

TEST_F(CampaignManagerTest, RefreshDeletesDueCampaignsTheBackendNoLongerReturns) {
  stored(R"({"id":"a","isActive":true,"type":"PAGE"})");
  stored(R"({"id":"b","isActive":true,"type":"PAGE"})");
  stored(R"({"id":"fresh","isActive":true,"type":"PAGE"})");
  env.time->advance(seconds(3000));
  CampaignFactory::shared().setUpdate(Campaign{.id = "fresh"});
  env.time->advance(seconds(601));
  env.http->setResponder(test::GraphQLResponder().on(
      "sdkFetchCampaigns",
      R"({"data":{"sdkFetchCampaigns":[{"id":"a","isActive":true,"type":"PAGE"}]}})"));
  int completions = 0;
  CampaignManager::updateAllCampaigns([&] { ++completions; });
  env.time->runUntilIdle();

  EXPECT_EQ(completions, 1);
  std::string query = test::GraphQLResponder::queryOf(env.http->requests().at(0));
  EXPECT_NE(query.find("ids:[\"a\", \"b\", ]"), std::string::npos) << query;
  EXPECT_EQ(query.find("fresh"), std::string::npos) << query;
  std::vector<std::string> left;
  auto all = CampaignFactory::shared().allCampaigns();
  for (const Campaign& campaign : *all) left.push_back(campaign.id);
  EXPECT_EQ(left, (std::vector<std::string>{"a", "fresh"}));
  EXPECT_EQ(CampaignFactory::shared().find("a")->updated, env.time->now());
}

TEST_F(CampaignManagerTest, RefreshKeepsEverythingOnAnErrorReplyAndSkipsWhenDisabled) {
  stored(R"({"id":"a","isActive":true})");
  env.time->advance(seconds(3601));
  env.http->replyWith(R"({"errors":[{"message":"down"}]})");
  int completions = 0;
  CampaignManager::updateAllCampaigns([&] { ++completions; });
  env.time->runUntilIdle();
  EXPECT_EQ(completions, 1);
  EXPECT_TRUE(CampaignFactory::shared().find("a"));

  env.defaults->setInteger("VicinixRequiredSDKVersionDefaultsKey", 1);
  CampaignManager::updateAllCampaigns([&] { ++completions; });
  EXPECT_EQ(completions, 2);  // at once
  EXPECT_EQ(env.http->requests().size(), 1u);
}

TEST_F(CampaignManagerTest, NotificationsAre50MsApartInReplyOrderAndTheBeaconIsStamped) {
  stored(R"({"id":"cool","isActive":true,"cooldown":3600,"notificationTitle":"x"})");
  CampaignFactory::shared().setNotified(Campaign{.id = "cool"});
  env.time->runUntilIdle();
  int received = 0;
  NotificationCenter::defaultCenter().addObserver(Vicinix::campaignRecieved,
                                                  [&](const auto&) { ++received; });
  Beacon beacon = *BeaconFactory::shared().findBeacon("edd1ebeac04e5defa017", "0123456789ab", true);
  auto reply = JsonValue::parse(R"([{"id":"n1","isActive":true,"notificationTitle":"one"},
    {"id":"cool","isActive":true,"notificationTitle":"x","cooldown":3600},
    {"id":"off","isActive":false},
    {"id":"n2","isActive":true,"notificationTitle":"two"},
    {"id":"n3","isActive":true,"notificationText":"three"}])");
  Date replied = env.time->now();
  CampaignManager::notifyCampaigns(reply.array(), beacon);
  EXPECT_EQ(received, 1);

  std::vector<size_t> added;
  for (int step : {0, 49, 1, 49, 1}) {
    env.time->advance(milliseconds(step));
    added.push_back(env.notifications->requests().size());
  }
  EXPECT_EQ(added, (std::vector<size_t>{1, 1, 2, 2, 3}));
  EXPECT_EQ(notified(),
            (std::vector<std::string>{"CampaignNotification_n1", "CampaignNotification_n2",
                                      "CampaignNotification_n3"}));
  EXPECT_EQ(BeaconFactory::shared().findBeacon("edd1ebeac04e5defa017", "0123456789ab")->updated,
            replied);
  auto events = EventTable(*EventFactory::shared().realm()).all();
  ASSERT_EQ(events.size(), 3u);
  EXPECT_EQ(events[0].type, "PULL_NOTIFICATION");
  EXPECT_EQ(events[0].campaignId, "n1");
  EXPECT_EQ(events[0].beaconInstance, "0123456789ab");
  EXPECT_EQ(CampaignFactory::shared().find("n3")->notificationCount, 1);
}

}  // namespace
}  // namespace vicinix
