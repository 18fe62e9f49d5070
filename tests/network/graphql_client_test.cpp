#include "network/graphql_client.h"

#include <gtest/gtest.h>

#include "platform/fake/fake_sdk.h"
#include "support/graphql_responder.h"

namespace vicinix {
namespace {

using std::chrono::milliseconds;
using test::GraphQLResponder;

Event sampleEvent(int n) {
  Event event;
  event.id = "E" + std::to_string(n);
  event.type = "APP_STARTED";
  event.timestamp = "2024-03-01T09:15:02.517+0100";
  return event;
}

std::map<std::string, std::string> headersOf(const HttpRequest& request) {
  return {request.headers.begin(), request.headers.end()};
}

class GraphQLClientTest : public ::testing::Test {
 protected:
  FakeSdk env;
};

// The texts are the backend contract; any byte changed is a request the
// deployed backend may reject.
TEST_F(GraphQLClientTest, QueryTextsAreExact) {
  EXPECT_EQ(GraphQLClient::applicationConfigurationQuery(),
            "{  sdkApplicationConfig {id, name, key, useAppBadges, beaconExpiration, "
            "campaignExpiration, requiredSdkVersionExpiration, scaningIntervalOnForeground, "
            "dailyNotificationLimit, theme {primaryColor backgroundColor textColor fontSize "
            "lineHeight spacing titleColor titleFontSize headingColor headingFontSize "
            "buttonTextColor buttonBackground}, namespaces{id, name, ibeaconUuid, eddystoneUid}}}");
  EXPECT_EQ(GraphQLClient::sdkConfigurationQuery(), "{ sdkConfig { requiredIosSdkVersion }}");

  const std::string selection =
      "{id, type, cooldown, maximumNotificationsPerUser, notificationText, notificationTitle, "
      "notificationImage, listImage, listTitle, listText, isActive, detailUrl, inAppEvent, "
      "blocks {id, type, attributes {id, key,value}}}";
  Beacon beacon{.id = "b", .namespace_ = "edd1ebeac04e5defa017", .instance = "0123456789ab"};
  EXPECT_EQ(GraphQLClient::notificationQuery(beacon),
            "{sdkFetchPullNotifications(beaconNamespace: \"edd1ebeac04e5defa017\", "
            "beaconInstance:\"0123456789ab\") " +
                selection + "}");

  Campaign campaign;
  campaign.id = "c1";
  EXPECT_EQ(GraphQLClient::notificationsQuery({campaign}),
            "{sdkFetchCampaigns(ids:[\"c1\", ]) " + selection + "}");
}

TEST_F(GraphQLClientTest, SplicedValuesAreNotEscaped) {
  Beacon beacon{.id = "b", .namespace_ = "ab\"cd", .instance = "x\\y"};
  EXPECT_NE(GraphQLClient::notificationQuery(beacon).find("beaconNamespace: \"ab\"cd\", "
                                                          "beaconInstance:\"x\\y\")"),
            std::string::npos);
}

TEST_F(GraphQLClientTest, EventMutationUsesEachEventsOwnFlags) {
  Event withBeacon = sampleEvent(1);
  withBeacon.type = "PULL_NOTIFICATION";
  withBeacon.campaignId = "c1";
  withBeacon.beaconNamespace = "ns";
  withBeacon.beaconInstance = "in";
  withBeacon.hasBluetoothTurnedOn = true;
  withBeacon.hasNotificationPermission = true;
  Event bare = sampleEvent(2);
  bare.hasInternetConnection = true;
  bare.hasLocationPermission = true;

  EXPECT_EQ(GraphQLClient::logMutation({withBeacon, bare}),
            "mutation{sdkCreateLog(events:["
            "{eventType:PULL_NOTIFICATION, timestamp:\"2024-03-01T09:15:02.517+0100\", "
            "beaconNamespace:\"ns\", beaconInstance:\"in\", campaignId:\"c1\", "
            "hasBluetoothTurnedOn: true, hasInternetConnection: false, "
            "hasLocationPermission: false, hasNotificationPermission: true}, "
            "{eventType:APP_STARTED, timestamp:\"2024-03-01T09:15:02.517+0100\", "
            "beaconNamespace:\"\", beaconInstance:\"\", campaignId:\"\", "
            "hasBluetoothTurnedOn: false, hasInternetConnection: true, "
            "hasLocationPermission: true, hasNotificationPermission: false}, ])}");
}

TEST_F(GraphQLClientTest, HeadersCarryIdentityAndCurrentState) {
  env.defaults->setString("VicinixApplicationKeyDefaultsKey", "key-1");
  env.defaults->setString("VicinixDeviceIDDefaultsKey", "DEVICE-1");
  env.defaults->setBool("VicinixBluetoothOnDefaultsKey", true);
  env.location->enabled = true;
  auto request = GraphQLClient().graphQLRequest(true, {{"query", "{ a }"}});
  ASSERT_TRUE(request);
  EXPECT_EQ(request->url, "https://backend.test/graphql");
  EXPECT_EQ(request->timeout, std::chrono::seconds(60));
  EXPECT_EQ(request->body, R"({"query":"{ a }"})");
  EXPECT_EQ(headersOf(*request), (std::map<std::string, std::string>{
                                     {"content-type", "application/json"},
                                     {"application-key", "key-1"},
                                     {"device-id", "DEVICE-1"},
                                     {"sdk-version", "1"},
                                     {"device-vendor", "Apple"},
                                     {"device-model", "x86_64"},
                                     {"device-os", "6.1.0-test"},
                                     {"platform", "IOS"},
                                     {"has-bluetooth-turned-on", "true"},
                                     {"has-internet-connection", "false"},
                                     {"has-location-permission", "true"},
                                     {"has-notification-permission", "false"},
                                 }));
}

TEST_F(GraphQLClientTest, FortyFiveEventsGoAsThreeBatchesTwentyMillisecondsApart) {
  std::vector<std::pair<Duration, size_t>> sent;
  env.http->setResponder([&](const HttpRequest& request) {
    std::string query = GraphQLResponder::queryOf(request);
    size_t events = 0;
    for (size_t at = query.find("{eventType:"); at != std::string::npos;
         at = query.find("{eventType:", at + 1)) {
      ++events;
    }
    sent.emplace_back(env.time->elapsed(), events);
    return HttpResponse{.error = {}, .status = 200, .body = R"({"data":{"sdkCreateLog":"OK"}})"};
  });
  std::vector<Event> events;
  for (int n = 0; n < 45; ++n) events.push_back(sampleEvent(n));
  int replies = 0;
  GraphQLClient().log(events, [&](std::optional<JsonValue> reply) {
    ASSERT_TRUE(reply);
    ++replies;
  });
  env.time->advance(milliseconds(100));
  EXPECT_EQ(sent, (std::vector<std::pair<Duration, size_t>>{
                      {milliseconds(0), 20}, {milliseconds(20), 20}, {milliseconds(40), 5}}));
  EXPECT_EQ(replies, 3);

  GraphQLClient().log({}, [&](std::optional<JsonValue>) { ++replies; });
  env.time->advance(milliseconds(100));
  EXPECT_EQ(sent.size(), 3u) << "an empty list sends nothing";
}

TEST_F(GraphQLClientTest, FailuresReachTheHandlerAsDocumented) {
  env.sdk().setDebugging(true);
  struct Case {
    const char* name;
    HttpResponse response;
    bool called;
    bool present;
    const char* line;
  };
  std::vector<Case> cases = {
      {"transport error",
       {.error = "Couldn't connect to server", .status = 0, .body = {}},
       true,
       false,
       "Error Request: POST https://backend.test/graphql"},
      {"no data",
       {.error = {}, .status = 200, .body = {}},
       true,
       false,
       "Error: did not receive data"},
      {"not JSON", {.error = {}, .status = 500, .body = "<html>oops</html>"}, true, true, nullptr},
  };
  for (const auto& c : cases) {
    env.log->clear();
    env.http->setResponder([&](const HttpRequest&) { return c.response; });
    int calls = 0;
    std::optional<JsonValue> received;
    GraphQLClient().sdkConfiguration([&](std::optional<JsonValue> reply) {
      ++calls;
      received = reply;
    });
    env.time->runUntilIdle();
    EXPECT_EQ(calls, 1) << c.name;
    EXPECT_EQ(received.has_value(), c.present) << c.name;
    if (received) {
      EXPECT_TRUE(received->isNull()) << c.name;
    }
    if (c.line) {
      auto lines = env.log->debugLines();
      EXPECT_NE(std::find(lines.begin(), lines.end(), c.line), lines.end()) << c.name;
    }
  }
}

TEST_F(GraphQLClientTest, UnsendableRequestsNeverCallTheHandler) {
  env.sdk().setDebugging(true);
  int calls = 0;
  GraphQLClient("not a url").sdkConfiguration([&](auto) { ++calls; });
  Beacon invalidUtf8{.id = "b", .namespace_ = "\xff\xfe", .instance = "1"};
  GraphQLClient().notification(invalidUtf8, [&](auto) { ++calls; });
  env.time->runUntilIdle();
  EXPECT_EQ(calls, 0);
  EXPECT_TRUE(env.http->requests().empty());
  EXPECT_EQ(env.log->debugLines(),
            (std::vector<std::string>{"Error: cannot create URL",
                                      "Error: cannot create JSON from query"}));
}

}  // namespace
}  // namespace vicinix
