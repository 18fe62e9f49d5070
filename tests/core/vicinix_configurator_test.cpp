#include "core/vicinix_configurator.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "core/property_list.h"
#include "platform/fake/fake_sdk.h"
#include "support/graphql_responder.h"
#include "ui/vicinix_appearance.h"

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

  void answer(int requiredVersion = 0) {
    env.http->setResponder(
        GraphQLResponder()
            .on("sdkApplicationConfig", test::sampleConfigurationReply())
            .on("sdkConfig", R"({"data":{"sdkConfig":{"requiredIosSdkVersion":)" +
                                 std::to_string(requiredVersion) + "}}}"));
  }
  std::vector<std::string> queries() {
    std::vector<std::string> texts;
    for (const auto& request : env.http->requests()) {
      texts.push_back(GraphQLResponder::queryOf(request));
    }
    return texts;
  }
};

TEST_F(VicinixConfiguratorTest, RealReplyIsAppliedInFull) {
  answer();
  int completions = 0;
  VicinixConfigurator::configure([&] { ++completions; });
  env.time->runUntilIdle();

  EXPECT_EQ(completions, 1);
  EXPECT_EQ(VicinixConfigurator::dailyNotificationLimit(), 3);
  EXPECT_EQ(VicinixConfigurator::campaignExpiration(), 7200);
  EXPECT_EQ(VicinixConfigurator::scaningIntervalOnForeground(), 10);
  EXPECT_EQ(VicinixConfigurator::requiredSdkVersionExpiration(), 600);
  EXPECT_EQ(VicinixConfigurator::beaconExpiration(), 1800);
  EXPECT_TRUE(VicinixConfigurator::useAppBadges());
  EXPECT_EQ(VicinixConfigurator::allowedNamespaces(),
            (std::vector<std::string>{"edd1ebeac04e5defa017", "f7826da6bc5b71e0893e"}));
  EXPECT_EQ(VicinixConfigurator::allowediBeacons(),
            (std::vector<std::string>{"B9407F30-F5F8-466E-AFF9-25556B57FE6D", ""}));

  // The theme went to Documents/theme.plist and is in force.
  auto path = env.appData() / "Documents" / "theme.plist";
  ASSERT_TRUE(std::filesystem::exists(path));
  EXPECT_EQ(VicinixAppearance::textFontSize(), 20.0);
  EXPECT_EQ(VicinixAppearance::spacing(), 8.5);
  EXPECT_EQ(VicinixAppearance::buttonColor(), (Color{0, 1, 0, 1}));
  EXPECT_EQ(VicinixAppearance::textColor(), (Color{0, 0, 0, 1}));
}

TEST_F(VicinixConfiguratorTest, ReplyWithoutConfigurationChangesNothingButCompletes) {
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
}

TEST_F(VicinixConfiguratorTest, NoReplyMeansNoCompletion) {
  env.http->setResponder([](const HttpRequest&) {
    return HttpResponse{.error = "Couldn't connect to server", .status = 0, .body = {}};
  });
  int completions = 0;
  VicinixConfigurator::configure([&] { ++completions; });
  env.time->advance(seconds(1));
  EXPECT_EQ(completions, 0);
  EXPECT_FALSE(env.defaults->object(kUpdateDateKey).has_value());
}

TEST_F(VicinixConfiguratorTest, RequiredVersionIsAskedFiftyMillisecondsLater) {
  answer();
  VicinixConfigurator::configure([] {});
  env.time->runUntilIdle();
  EXPECT_EQ(queries().size(), 1u);
  env.time->advance(milliseconds(49));
  EXPECT_EQ(queries().size(), 1u);
  env.time->advance(milliseconds(1));
  ASSERT_EQ(queries().size(), 2u);
  EXPECT_EQ(queries()[1], kVersionQuery);
  EXPECT_EQ(env.defaults->date(kUpdateDateKey), env.time->now());
}

// The default freshness is a day: one second inside it asks nothing, one
// second outside asks again; a configured period replaces the day.
TEST_F(VicinixConfiguratorTest, RequiredVersionIsAskedOnlyWhenStale) {
  answer();
  struct Case {
    int64_t period;
    seconds age;
    bool asked;
  };
  for (Case c : {Case{0, seconds(86399), false}, Case{0, seconds(86400), false},
                 Case{0, seconds(86401), true}, Case{60, seconds(61), true}}) {
    env.defaults->setInteger("VicinixRequiredSdkVersionExpirationVersionDefaultsKey", c.period);
    env.defaults->setDate(kUpdateDateKey, env.time->now() - c.age);
    size_t before = queries().size();
    VicinixConfigurator::configure([] {});
    env.time->advance(milliseconds(100));
    EXPECT_EQ(queries().size() - before, c.asked ? 2u : 1u) << c.age.count() << " s old";
  }
}

// Anything but a number (or a Boolean) stores nothing, so the question is
// asked again next time and the gate stays as it was.
TEST_F(VicinixConfiguratorTest, GateClosesAtOneAndReopensAtZero) {
  EXPECT_TRUE(VicinixConfigurator::sdkEnabled()) << "absent reads 0";
  struct Case {
    const char* answer;
    bool enabled;
  };
  for (Case c : {Case{"1", false}, Case{"0", true}, Case{"2", false}, Case{"\"0\"", false},
                 Case{"null", false}, Case{"false", true}, Case{"true", false}}) {
    auto before = env.defaults->date(kUpdateDateKey);
    env.time->advance(seconds(1));
    VicinixConfigurator::parseSdkConfiguration(JsonValue::parse(
        std::string(R"({"data":{"sdkConfig":{"requiredIosSdkVersion":)") + c.answer + "}}}"));
    EXPECT_EQ(VicinixConfigurator::sdkEnabled(), c.enabled) << c.answer;
    bool stored = std::string(c.answer) != "\"0\"" && std::string(c.answer) != "null";
    EXPECT_EQ(env.defaults->date(kUpdateDateKey) != before, stored) << c.answer;
  }
}

TEST_F(VicinixConfiguratorTest, DailyLimitCountsPerLocalDay) {
  EXPECT_FALSE(VicinixConfigurator::reachedNotificationLimit()) << "limit 0 means none";
  env.defaults->setInteger("VicinixTodaysNotificationCountDefaultsKey", 50);
  EXPECT_FALSE(VicinixConfigurator::reachedNotificationLimit());

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
  struct Case {
    std::optional<ReachabilityFlags> flags;
    bool connected;
  };
  for (Case c : {Case{kReachabilityReachable, true},
                 Case{kReachabilityReachable | kReachabilityIsWWAN, true},
                 Case{kReachabilityReachable | kReachabilityConnectionRequired, false},
                 Case{0u, false}, Case{std::nullopt, false}}) {
    env.reachability->setFlags(c.flags);
    int before = env.defaults->synchronizeCount();
    VicinixConfigurator::checkForInternetConnection();
    EXPECT_EQ(VicinixConfigurator::hasInternetConnection(), c.connected);
    EXPECT_GT(env.defaults->synchronizeCount(), before);
  }
}

TEST_F(VicinixConfiguratorTest, RefusedReachabilityIsFatal) {
  env.reachability->refuseTargets(true);
  EXPECT_DEATH(VicinixConfigurator::checkForInternetConnection(), "0.0.0.0");
}

}  // namespace
}  // namespace vicinix
