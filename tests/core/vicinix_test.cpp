#include "core/vicinix.h"

#include <gtest/gtest.h>

#include "base/notification_center.h"
#include "data/model/campaign_factory.h"
#include "data/model/event_factory.h"
#include "data/model/event_table.h"
#include "platform/fake/fake_sdk.h"
#include "support/graphql_responder.h"

namespace vicinix {
namespace {

using std::chrono::milliseconds;

class VicinixTest : public ::testing::Test {
 protected:
  FakeSdk env;

  void SetUp() override {
    env.http->setResponder(
        test::GraphQLResponder()
            .on("sdkApplicationConfig", test::sampleConfigurationReply())
            .on("sdkConfig", R"({"data":{"sdkConfig":{"requiredIosSdkVersion":0}}})")
            .on("sdkFetchCampaigns", R"({"data":{"sdkFetchCampaigns":[]}})")
            .on("sdkCreateLog", R"({"data":{"sdkCreateLog":"OK"}})"));
  }
  std::vector<std::string> eventTypes() {
    std::vector<std::string> types;
    for (const Event& event : EventTable(*EventFactory::shared().realm()).all()) {
      types.push_back(event.type);
    }
    return types;
  }
  std::vector<std::string> linesStartingWith(const std::string& prefix) {
    std::vector<std::string> lines;
    for (const auto& line : env.log->debugLines()) {
      if (line.rfind(prefix, 0) == 0) lines.push_back(line);
    }
    return lines;
  }
};

TEST_F(VicinixTest, StartStoresTheKeyAsksForNotificationsAndScans) {
  Vicinix::start("key-1");
  env.time->runUntilIdle();
  EXPECT_EQ(Vicinix::applicationKey(), "key-1");
  EXPECT_EQ(env.application->minimumBackgroundFetchInterval(), 3600);
  EXPECT_TRUE(env.bluetooth->isScanning());
  EXPECT_EQ(env.notifications->authorizationRequests(), std::vector<int>{7});
  EXPECT_EQ(env.defaults->integer("VicinixLastSDKVersionDefaultsKey"), 1);
}

TEST_F(VicinixTest, ADisabledSdkConfiguresButNeverScansAndFetchesNothingInTheBackground) {
  env.defaults->setInteger("VicinixRequiredSDKVersionDefaultsKey", 1);
  Vicinix::start("key");
  env.time->runUntilIdle();
  EXPECT_FALSE(env.bluetooth->isScanning());
  EXPECT_EQ(Vicinix::applicationKey(), "key");
  size_t requests = env.http->requests().size();
  EXPECT_GE(requests, 1u);

  int completions = 0;
  Vicinix::performBackgroundFetch([&] { ++completions; });
  EXPECT_EQ(completions, 1);
  EXPECT_EQ(env.http->requests().size(), requests);
}

TEST_F(VicinixTest, BackgroundFetchCompletesOnceAfterItsThreeTasks) {
  env.sdk().setDebugging(true);
  int completions = 0, updates = 0;
  NotificationCenter::defaultCenter().addObserver(Vicinix::campaignsUpdated,
                                                  [&](const auto&) { ++updates; });
  Vicinix::performBackgroundFetch([&] { ++completions; });
  EXPECT_EQ(completions, 0);  // the upload resolved at once: nothing to send
  env.time->runUntilIdle();
  EXPECT_EQ(completions, 1);
  EXPECT_EQ(updates, 1);
  EXPECT_EQ(linesStartingWith("Remaining tasks: "),
            (std::vector<std::string>{"Remaining tasks: [configure, campaignUpdate]",
                                      "Remaining tasks: [campaignUpdate]", "Remaining tasks: []"}));
  EXPECT_EQ(env.log->debugLines().back(), "BG Fetch completed...");
}

TEST_F(VicinixTest, BatchRepliesBeyondTheFirstFindNoTaskLeft) {
  for (int n = 0; n < 21; ++n) EventFactory::shared().create(EventType::appStarted);
  env.sdk().setDebugging(true);
  int completions = 0;
  Vicinix::performBackgroundFetch([&] { ++completions; });
  env.time->runAll();
  EXPECT_EQ(completions, 2);  // the list is empty again after the second batch
  EXPECT_EQ(linesStartingWith("Remaining tasks: ").size(), 4u);
}

TEST_F(VicinixTest, OnlyKnownCampaignsOfAScreenTypeAreOpened) {
  env.sdk().setDebugging(true);
  Vicinix::openCampaignDetailInModal("nope");
  EXPECT_EQ(env.log->debugLines().back(), "ERROR: there is no campaign with id nope");
  CampaignFactory::shared().parse(JsonValue::parse(R"({"id":"v","type":"VIDEO","isActive":true})"));
  CampaignFactory::shared().parse(
      JsonValue::parse(R"({"id":"w","type":"WEB_PAGE","isActive":true})"));
  Vicinix::openCampaignDetailInModal("v");
  EXPECT_EQ(env.log->debugLines().back().rfind(
                "ERROR: Opening unsupported campaign type\n\nCampaign {", 0),
            0u);
  EXPECT_FALSE(env.application->root()->presentedViewController());
  EXPECT_TRUE(eventTypes().empty());

  // Presented on the topmost screen; recorded even without a window.
  Vicinix::openCampaignDetailInModal("w");
  Vicinix::openCampaignDetailInModal("w");
  auto first = env.application->root()->presentedViewController();
  ASSERT_TRUE(first && first->presentedViewController());
  EXPECT_EQ(first->presentedViewController()->description(),
            "VicinixNavigationViewController > VicinixWebViewController campaign w \"\"");
  env.application->setRoot(nullptr);
  Vicinix::openCampaignDetailInModal("w");
  EXPECT_EQ(eventTypes().size(), 3u);
}

}  // namespace
}  // namespace vicinix
