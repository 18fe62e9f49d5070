#include "core/vicinix_configurator.h"

#include <gtest/gtest.h>
#include <vicinix/vicinix_appearance.h>

#include <filesystem>

#include "base/property_list.h"
#include "platform/fake/fake_sdk.h"
#include "support/graphql_responder.h"
#include "support/scoped_time_zone.h"

namespace vicinix {
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::seconds;
using test::GraphQLResponder;

constexpr char kVersionQuery[] = "{ sdkConfig { requiredIosSdkVersion }}";
const std::string kUpdateDateKey = "VicinixRequiredSdkVersionUpdateDateDefaultsKey";

class VicinixConfiguratorTest : public ::testing::Test {
 protected:
  FakeSdk env;

  void answer() {
    env.http->setResponder(
        GraphQLResponder()
            .on("sdkApplicationConfig", test::sampleConfigurationReply())
            .on("sdkConfig", R"({"data":{"sdkConfig":{"requiredIosSdkVersion":0}}})"));
  }
  std::vector<std::string> queries() {
    std::vector<std::string> texts;
    for (const auto& request : env.http->requests())
      texts.push_back(GraphQLResponder::queryOf(request));
    return texts;
  }
};

// An error reply still completes and keeps the stored configuration; no
// reply at all neither completes nor stamps the version check.
TEST_F(VicinixConfiguratorTest, ErrorReplyCompletesButNoReplyDoesNot) {
  env.sdk().setDebugging(true);
  env.defaults->setInteger("VicinixDailyNotificationLimitVersionDefaultsKey", 9);
  env.http->replyWith(R"({"errors":[{"message":"Unknown application key"}],"data":null})");
  int completions = 0;
  VicinixConfigurator::configure([&] { ++completions; });
  env.time->runUntilIdle();
  EXPECT_EQ(completions, 1);
  EXPECT_EQ(VicinixConfigurator::dailyNotificationLimit(), 9);
  auto lines = env.log->debugLines();
  EXPECT_NE(std::find(lines.begin(), lines.end(), "ERROR: while getting config data..."),
            lines.end());

  env.http->setResponder([](const HttpRequest&) {
    return HttpResponse{.error = "Couldn't connect to server", .status = 0, .body = {}};
  });
  VicinixConfigurator::configure([&] { ++completions; });
  env.time->advance(seconds(1));
  EXPECT_EQ(completions, 1);
  EXPECT_FALSE(env.defaults->object(kUpdateDateKey).has_value());
}

TEST_F(VicinixConfiguratorTest, RealReplyIsAppliedAndRequiredVersionAskedFiftyMillisecondsLater) {
  answer();
  int completions = 0;
  VicinixConfigurator::configure([&] { ++completions; });
  env.time->runUntilIdle();
  EXPECT_EQ(completions, 1);
  using C = VicinixConfigurator;
  EXPECT_EQ(std::tuple(C::dailyNotificationLimit(), C::campaignExpiration(),
                       C::scaningIntervalOnForeground(), C::requiredSdkVersionExpiration(),
                       C::beaconExpiration(), C::useAppBadges()),
            std::tuple(3, 7200, 10, 600, 1800, true));
  EXPECT_EQ(C::allowedNamespaces(),
            (std::vector<std::string>{"edd1ebeac04e5defa017", "f7826da6bc5b71e0893e"}));
  EXPECT_EQ(C::allowediBeacons(),
            (std::vector<std::string>{"B9407F30-F5F8-466E-AFF9-25556B57FE6D", ""}));
  EXPECT_TRUE(std::filesystem::exists(env.appData() / "Documents" / "theme.plist"));
  EXPECT_EQ(VicinixAppearance::spacing(), 8.5) << "the new theme is in force";
  EXPECT_EQ(VicinixAppearance::buttonColor(), (Color{0, 1, 0, 1}));

  EXPECT_EQ(queries().size(), 1u);
  env.time->advance(milliseconds(49));
  EXPECT_EQ(queries().size(), 1u);
  env.time->advance(milliseconds(1));
  ASSERT_EQ(queries().size(), 2u);
  EXPECT_EQ(queries()[1], kVersionQuery);
  EXPECT_EQ(env.defaults->date(kUpdateDateKey), env.time->now());
}

// A GraphQL backend answers null for every unset field: those theme keys take
// their defaults, the rest of the theme is kept.
TEST_F(VicinixConfiguratorTest, NullThemeFieldsTakeTheirDefaults) {
  VicinixConfigurator::parseAppConfiguration(JsonValue::parse(
      R"({"data":{"sdkApplicationConfig":{"theme":{"spacing":8.5,"titleFontSize":null}}}})"));
  EXPECT_EQ(VicinixAppearance::spacing(), 8.5);
  EXPECT_EQ(VicinixAppearance::titleFontSize(), 24.0);
}

// The default freshness is a day, inclusive; a configured period replaces it.
TEST_F(VicinixConfiguratorTest, RequiredVersionIsAskedOnlyWhenStale) {
  answer();
  for (auto [period, age, asked] :
       {std::tuple{0, 86400, false}, {0, 86401, true}, {60, 61, true}}) {
    env.defaults->setInteger("VicinixRequiredSdkVersionExpirationVersionDefaultsKey", period);
    env.defaults->setDate(kUpdateDateKey, env.time->now() - seconds(age));
    size_t before = queries().size();
    VicinixConfigurator::configure([] {});
    env.time->advance(milliseconds(100));
    EXPECT_EQ(queries().size() - before, asked ? 2u : 1u) << age << " s old";
  }
}

// Anything but a number (or a Boolean) stores nothing, so the question is
// asked again next time and the gate stays as it was.
TEST_F(VicinixConfiguratorTest, GateClosesAtOneAndReopensAtZero) {
  EXPECT_TRUE(VicinixConfigurator::sdkEnabled()) << "absent reads 0";
  for (auto [answer, enabled, stored] : {std::tuple{"1", false, true},
                                         {"0", true, true},
                                         {"2", false, true},
                                         {"\"0\"", false, false},
                                         {"null", false, false},
                                         {"false", true, true},
                                         {"true", false, true}}) {
    auto before = env.defaults->date(kUpdateDateKey);
    env.time->advance(seconds(1));
    VicinixConfigurator::parseSdkConfiguration(JsonValue::parse(
        std::string(R"({"data":{"sdkConfig":{"requiredIosSdkVersion":)") + answer + "}}}"));
    EXPECT_EQ(VicinixConfigurator::sdkEnabled(), enabled) << answer;
    EXPECT_EQ(env.defaults->date(kUpdateDateKey) != before, stored) << answer;
  }
}

TEST_F(VicinixConfiguratorTest, DailyLimitCountsPerLocalDay) {
  test::ScopedTimeZone prague("Europe/Prague");
  env.defaults->setInteger("VicinixTodaysNotificationCountDefaultsKey", 50);
  EXPECT_FALSE(VicinixConfigurator::reachedNotificationLimit()) << "limit 0 means none";

  env.defaults->setInteger("VicinixDailyNotificationLimitVersionDefaultsKey", 3);
  // 23:59:30 in Prague (UTC+1 in March).
  env.time->setNow(std::chrono::sys_days{std::chrono::year{2024} / 3 / 1} + hours(22) +
                   std::chrono::minutes(59) + seconds(30));
  env.defaults->setInteger("VicinixTodaysNotificationCountDefaultsKey", 3);
  env.defaults->setDate("VicinixNotificationLimitDateDefaultsKey", env.time->now());
  EXPECT_TRUE(VicinixConfigurator::reachedNotificationLimit());

  // After midnight the limit check stamps the new day; the notification it
  // lets through is the day's first, not yesterday's fourth.
  env.time->advance(seconds(31));
  EXPECT_FALSE(VicinixConfigurator::reachedNotificationLimit());
  EXPECT_EQ(env.defaults->date("VicinixNotificationLimitDateDefaultsKey"), env.time->now());
  VicinixConfigurator::increaseNotificationCount();
  EXPECT_EQ(VicinixConfigurator::todaysNotificationCount(), 1);
  VicinixConfigurator::increaseNotificationCount();
  VicinixConfigurator::increaseNotificationCount();
  EXPECT_TRUE(VicinixConfigurator::reachedNotificationLimit());
}

TEST_F(VicinixConfiguratorTest, DeviceIdIsMadeOnceInUpperCase) {
  std::string id = VicinixConfigurator::deviceID();
  ASSERT_EQ(id.size(), 36u);
  EXPECT_EQ(id.find_first_of("abcdef"), std::string::npos);
  EXPECT_EQ(VicinixConfigurator::deviceID(), id);
}

TEST_F(VicinixConfiguratorTest, InternetCheckStoresWhetherAnyConnectionExists) {
  using Flags = std::optional<ReachabilityFlags>;
  for (auto [flags, connected] : {std::pair{Flags(kReachabilityReachable), true},
                                  {kReachabilityReachable | kReachabilityIsWWAN, true},
                                  {kReachabilityReachable | kReachabilityConnectionRequired, false},
                                  {std::nullopt, false}}) {
    env.reachability->setFlags(flags);
    int before = env.defaults->synchronizeCount();
    VicinixConfigurator::checkForInternetConnection();
    EXPECT_EQ(VicinixConfigurator::hasInternetConnection(), connected);
    EXPECT_GT(env.defaults->synchronizeCount(), before);
  }
}

TEST_F(VicinixConfiguratorTest, RefusedReachabilityIsFatal) {
  env.reachability->refuseTargets(true);
  EXPECT_DEATH(VicinixConfigurator::checkForInternetConnection(), "0.0.0.0");
}

}  // namespace
}  // namespace vicinix
