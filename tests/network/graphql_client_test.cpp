#include "network/graphql_client.h"

#include <gtest/gtest.h>

#include "platform/fake/fake_sdk.h"
#include "support/graphql_responder.h"

namespace vicinix {
namespace {

using std::chrono::milliseconds;

Event sampleEvent(int n) {
  return {.id = "E" + std::to_string(n),
          .type = "APP_STARTED",
          .timestamp = "2024-03-01T09:15:02.517+0100"};
}

class GraphQLClientTest : public ::testing::Test {
 protected:
  FakeSdk env;
};

const std::string kSelection =
    "{id, type, cooldown, maximumNotificationsPerUser, notificationText, notificationTitle, "
    "notificationImage, listImage, listTitle, listText, isActive, detailUrl, inAppEvent, "
    "blocks {id, type, attributes {id, key,value}}}";

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
  EXPECT_EQ(GraphQLClient::notificationsQuery({Campaign{.id = "c1"}}),
            "{sdkFetchCampaigns(ids:[\"c1\", ]) " + kSelection + "}");
}

// Spliced values are GraphQL string literals. What the backend and the SDK
// produce (hex, ids, timestamps, any UTF-8) goes byte for byte as before.
TEST_F(GraphQLClientTest, SplicedValuesAreGraphQLStringLiterals) {
  for (auto [value, expected] : std::initializer_list<std::pair<std::string, std::string>>{
           {"C0FFEE00-1234-4ABC-9DEF-0123456789AB", "C0FFEE00-1234-4ABC-9DEF-0123456789AB"},
           {"2024-03-01T09:15:02.517-0330", "2024-03-01T09:15:02.517-0330"},
           {"spring_2024 (Jarní) 'x' /{}", "spring_2024 (Jarní) 'x' /{}"},
           {"a\"b\\", "a\\\"b\\\\"},
           {std::string("\n\r\t\x01\0", 5), "\\n\\r\\t\\u0001\\u0000"},
       }) {
    EXPECT_EQ(GraphQLClient::notificationQuery({.id = "b", .namespace_ = value, .instance = "i"}),
              "{sdkFetchPullNotifications(beaconNamespace: \"" + expected +
                  "\", beaconInstance:\"i\") " + kSelection + "}");
    Event event = sampleEvent(1);
    event.timestamp = value;
    event.campaignId = event.beaconNamespace = event.beaconInstance = value;
    std::string quoted = "\"" + expected + "\", ";
    EXPECT_EQ(GraphQLClient::logMutation({event}),
              "mutation{sdkCreateLog(events:[{eventType:APP_STARTED, timestamp:" + quoted +
                  "beaconNamespace:" + quoted + "beaconInstance:" + quoted +
                  "campaignId:" + quoted +
                  "hasBluetoothTurnedOn: false, hasInternetConnection: false, "
                  "hasLocationPermission: false, hasNotificationPermission: false}, ])}");
  }
}

TEST_F(GraphQLClientTest, EventMutationUsesEachEventsOwnFlags) {
  Event withBeacon = sampleEvent(1);
  withBeacon.type = "PULL_NOTIFICATION";
  withBeacon.campaignId = "c1";
  withBeacon.beaconNamespace = "ns";
  withBeacon.beaconInstance = "in";
  withBeacon.hasBluetoothTurnedOn = withBeacon.hasNotificationPermission = true;
  Event bare = sampleEvent(2);
  bare.hasInternetConnection = bare.hasLocationPermission = true;

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
  EXPECT_EQ((std::map<std::string, std::string>(request->headers.begin(), request->headers.end())),
            (std::map<std::string, std::string>{{"content-type", "application/json"},
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
                                                {"has-notification-permission", "false"}}));
}

TEST_F(GraphQLClientTest, FortyFiveEventsGoAsThreeBatchesTwentyMillisecondsApart) {
  std::vector<std::pair<Duration, size_t>> sent;
  env.http->setResponder([&](const HttpRequest& request) {
    std::string query = test::GraphQLResponder::queryOf(request);
    size_t events = 0;
    for (size_t at = 0; (at = query.find("{eventType:", at)) != std::string::npos; ++at) ++events;
    sent.emplace_back(env.time->elapsed(), events);
    return HttpResponse{.error = {}, .status = 200, .body = R"({"data":{"sdkCreateLog":"OK"}})"};
  });
  std::vector<Event> events;
  for (int n = 0; n < 45; ++n) events.push_back(sampleEvent(n));
  int replies = 0;
  GraphQLClient().log(events, [&](std::optional<JsonValue> reply) { replies += bool(reply); });
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
    HttpResponse response;
    bool present;  // a null reply rather than none
    const char* line;
  };
  for (const Case& c :
       {Case{{.error = "Couldn't connect to server", .status = 0, .body = {}},
             false,
             "Error Request: POST https://backend.test/graphql"},
        Case{{.error = {}, .status = 200, .body = {}}, false, "Error: did not receive data"},
        Case{{.error = {}, .status = 500, .body = "<html>oops</html>"}, true, ""}}) {
    SCOPED_TRACE(c.line);
    env.log->clear();
    env.http->setResponder([&](const HttpRequest&) { return c.response; });
    std::vector<std::optional<JsonValue>> received;
    GraphQLClient().sdkConfiguration(
        [&](std::optional<JsonValue> reply) { received.push_back(reply); });
    env.time->runUntilIdle();
    ASSERT_EQ(received.size(), 1u);
    EXPECT_EQ(received[0].has_value(), c.present);
    EXPECT_TRUE(!received[0] || received[0]->isNull());
    auto lines = env.log->debugLines();
    EXPECT_TRUE(!*c.line || std::ranges::find(lines, c.line) != lines.end());
  }
}

TEST_F(GraphQLClientTest, UnsendableRequestsNeverCallTheHandler) {
  env.sdk().setDebugging(true);
  int calls = 0;
  GraphQLClient("not a url").sdkConfiguration([&](auto) { ++calls; });
  env.time->runUntilIdle();
  EXPECT_EQ(calls, 0);
  EXPECT_TRUE(env.http->requests().empty());
  EXPECT_EQ(env.log->debugLines(), std::vector<std::string>{"Error: cannot create URL"});
}

}  // namespace
}  // namespace vicinix
