// The SDK against the reference backend on loopback, over the real Linux
// platform: libcurl, the GLib main loop, the settings file and SQLite.

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "core/vicinix_configurator.h"
#include "data/model/event_factory.h"
#include "data/model/event_table.h"
#include "events/event_manager.h"
#include "network/graphql_client.h"
#include "support/backend_process.h"
#include "support/linux_sdk.h"

namespace vicinix {
namespace {

using namespace std::chrono_literals;

int64_t storedEvents() {
  return EventTable(*EventFactory::shared().realm()).count();
}

void recordEvents(int count) {
  for (int n = 0; n < count; ++n) EventFactory::shared().create(EventType::appStarted);
}

class BackendIntegrationTest : public ::testing::Test {
 protected:
  test::BackendProcess backend;
};

// Every text the SDK sends must be valid GraphQL for the backend contract,
// and an accepted upload of 45 events goes as 20, 20 and 5 and empties the store.
TEST_F(BackendIntegrationTest, EveryQueryTheSdkSendsValidates) {
  test::LinuxSdk env(backend.endpoint());
  VicinixConfigurator::save("demo-app-key");
  env.sdk().defaults().setBool("VicinixBluetoothOnDefaultsKey", true);
  recordEvents(44);
  Beacon beacon{.id = "b", .namespace_ = "edd1ebeac04e5defa017", .instance = "0123456789ab"};
  EventFactory::shared().create(EventType::notification, std::string("c1"), &beacon);

  int replies = 0;
  auto count = [&](std::optional<JsonValue> reply) {
    EXPECT_TRUE(reply);
    ++replies;
  };
  VicinixConfigurator::configure([] {});
  GraphQLClient().notification(beacon, count);
  GraphQLClient().notifications({Campaign{.id = "c1"}, Campaign{.id = "c2"}}, count);
  EventManager::logAllEvents([&] { ++replies; });
  ASSERT_TRUE(env.runUntil([&] { return replies == 5 && storedEvents() == 0; }));
  ASSERT_TRUE(env.runUntil([&] { return backend.requests().size() == 7; }));

  std::set<std::string> operations;
  std::vector<size_t> batchSizes;
  for (const auto& request : backend.requests()) {
    EXPECT_EQ(request["errors"], nlohmann::json::array()) << request["query"];
    EXPECT_EQ(request["status"], 200);
    EXPECT_EQ(request["headers"]["application-key"], "demo-app-key");
    EXPECT_EQ(request["headers"]["has-bluetooth-turned-on"], "true");
    operations.insert(request["operation"].get<std::string>());
    if (request["operation"] != "sdkCreateLog") continue;
    std::string query = request["query"];
    batchSizes.push_back(0);
    for (size_t at = 0; (at = query.find("{eventType:", at)) != std::string::npos; ++at) {
      ++batchSizes.back();
    }
  }
  EXPECT_EQ(operations,
            (std::set<std::string>{"sdkApplicationConfig", "sdkConfig", "sdkFetchPullNotifications",
                                   "sdkFetchCampaigns", "sdkCreateLog"}));
  // Batches leave 20 ms apart but may overtake each other on the way.
  std::sort(batchSizes.begin(), batchSizes.end());
  EXPECT_EQ(batchSizes, (std::vector<size_t>{5, 20, 20}));
  auto received = backend.events();
  ASSERT_EQ(received.size(), 45u);
  auto notification = std::find_if(received.begin(), received.end(), [](const auto& event) {
    return event["eventType"] == "PULL_NOTIFICATION";
  });
  ASSERT_NE(notification, received.end());
  EXPECT_EQ((*notification)["campaignId"], "c1");
  EXPECT_EQ((*notification)["beaconInstance"], "0123456789ab");
  EXPECT_EQ(received[0]["deviceId"], VicinixConfigurator::deviceID());
}

TEST_F(BackendIntegrationTest, BadRepliesLeaveTheEventsInPlace) {
  for (std::string mode : {"notJson", "status500", "close", "hang", "unreachable"}) {
    SCOPED_TRACE(mode);
    bool unreachable = mode == "unreachable";
    test::LinuxSdk env(unreachable ? "http://127.0.0.1:9/graphql" : backend.endpoint(), 500ms);
    VicinixConfigurator::save("demo-app-key");
    recordEvents(3);
    if (!unreachable) backend.admin("fault", {{"mode", mode}, {"count", 1}});
    int completions = 0;
    EventManager::logAllEvents([&] { ++completions; });
    ASSERT_TRUE(env.runUntil([&] { return completions == 1; }));
    env.runUntil([] { return false; }, 50ms);  // let any clearing task run
    EXPECT_EQ(storedEvents(), 3);
  }
}

TEST_F(BackendIntegrationTest, NamespaceWithAQuoteGetsAnErrorReplyNotACrash) {
  test::LinuxSdk env(backend.endpoint());
  const Beacon beacon{.id = "b", .namespace_ = "ab\"cd", .instance = "1"};
  std::optional<std::optional<JsonValue>> called;
  GraphQLClient().notification(beacon, [&](std::optional<JsonValue> reply) { called = reply; });
  ASSERT_TRUE(env.runUntil([&] { return called.has_value(); }));
  ASSERT_TRUE(*called);
  const JsonValue& received = **called;
  EXPECT_TRUE(received["errors"][0]["message"].isString());
  EXPECT_TRUE(received["data"]["sdkFetchPullNotifications"].array().empty());
}

}  // namespace
}  // namespace vicinix
