// The whole road on real parts: a bundled capture replayed into the headless
// host, the reference backend on loopback, desktop notifications on a private
// session bus.

#include <SQLiteCpp/Database.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <nlohmann/json.hpp>
#include <random>
#include <set>
#include <thread>
#include <vector>

#include "platform/linux/notification_picture_folder.h"
#include "platform/linux/temporary_directory.h"
#include "support/backend_process.h"
#include "support/damaged_database.h"
#include "support/host_process.h"
#include "support/linux_sdk.h"
#include "support/private_bus.h"

namespace vicinix {
namespace {

using namespace std::chrono_literals;
using nlohmann::json;

const std::string kCapture = std::string(VICINIX_SOURCE_DIR) + "/samples/store-entrance.btsnoop";

class HeadlessHostTest : public ::testing::Test {
 protected:
  void SetUp() override {
    bus.startMock("notification_daemon", "org.freedesktop.Notifications",
                  R"({"capabilities": "body actions action-icons icon-static persistence"})");
  }

  std::vector<std::string> runArguments(const std::vector<std::string>& extra = {}) {
    std::vector<std::string> arguments{
        "run",        "--app-key",      "demo-app-key", "--endpoint",         backend.endpoint(),
        "--data-dir", dataDir.string(), "--source",     "replay:" + kCapture, "--replay-speed",
        "4",          "--debug"};
    arguments.insert(arguments.end(), extra.begin(), extra.end());
    return arguments;
  }
  void recordEvent() {
    ASSERT_EQ(test::runCommand(std::string(VICINIX_HOST_BINARY) +
                               " record-event --type APP_STARTED --data-dir " + dataDir.string())
                  .exitCode,
              0);
  }
  json inspect(const std::string& what) {
    return json::parse(test::runCommand(std::string(VICINIX_HOST_BINARY) + " " + what +
                                        " --data-dir " + dataDir.string())
                           .out);
  }
  // Every Notify the desktop got, in order, as GVariant text.
  std::vector<std::string> notified() {
    auto reply =
        bus.call("org.freedesktop.Notifications", "/org/freedesktop/Notifications",
                 "org.freedesktop.DBus.Mock", "GetMethodCalls", g_variant_new("(s)", "Notify"));
    std::vector<std::string> calls;
    GVariant* list = g_variant_get_child_value(reply.get(), 0);
    for (gsize i = 0; i < g_variant_n_children(list); ++i) {
      GVariant* call = g_variant_get_child_value(list, i);
      gchar* text = g_variant_print(call, FALSE);
      calls.emplace_back(text);
      g_free(text);
      g_variant_unref(call);
    }
    g_variant_unref(list);
    return calls;
  }
  // Where the host keeps its notification pictures.
  std::filesystem::path pictures() {
    return NotificationPictureFolder::rootFor("vicinix-host", dataDir / "Library");
  }
  std::vector<std::string> picturesLeft() {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(pictures()))
      names.push_back(entry.path().lexically_relative(pictures()).string());
    return names;
  }
  std::vector<json> requestsFor(const std::string& operation) {
    std::vector<json> found;
    for (const auto& request : backend.requests()) {
      if (request["operation"] == operation) found.push_back(request);
    }
    return found;
  }

  test::PrivateBus bus;
  test::BackendProcess backend;
  testing::TemporaryDirectory temporary;
  const std::filesystem::path dataDir = temporary.path;
};

TEST_F(HeadlessHostTest, ABeaconLeadsToCampaignsNotificationsAndUploadedEvents) {
  // Pictures then wait in this test's own data directory, not the session's.
  unsetenv("XDG_RUNTIME_DIR");
  std::filesystem::create_directories(pictures() / "crashed" / "vicinix-1");
  std::ofstream(pictures() / "crashed" / "vicinix-1" / "old.jpg") << "jpeg";
  test::HostProcess host(runArguments());
  ASSERT_TRUE(host.waitForOutput("notification", 60s)) << host.out() << host.err();
  ASSERT_TRUE(host.waitForOutput("campaigns: received", 60s)) << host.out();
  // Wait for the desktop to show what the first beacon's reply promised.
  for (int attempt = 0; attempt < 300 && notified().size() < 2; ++attempt) usleep(20000);
  auto shown = notified();
  ASSERT_GE(shown.size(), 2u) << host.out();

  // A click on the first notification opens its campaign.
  bus.call("org.freedesktop.Notifications", "/org/freedesktop/Notifications",
           "org.freedesktop.DBus.Mock", "EmitSignal",
           g_variant_new_parsed("('org.freedesktop.Notifications', 'ActionInvoked', 'us', "
                                "[<uint32 1>, <'default'>])"));
  EXPECT_TRUE(host.waitForOutput("present: VicinixNavigationViewController", 20s)) << host.out();

  host.signal(SIGTERM);
  ASSERT_EQ(host.wait(30s), 0) << host.out() << host.err();

  // Configuration applied.
  json settings = inspect("settings");
  EXPECT_EQ(settings["VicinixApplicationKeyDefaultsKey"], "demo-app-key");
  EXPECT_EQ(settings["VicinixNamespacesVersionDefaultsKey"][0], "edd1ebeac04e5defa017");

  // One pull request per beacon (one expiration), with its namespace and instance.
  std::map<std::string, int> pulls;
  for (const auto& request : requestsFor("sdkFetchPullNotifications")) {
    std::string query = request["query"].is_string() ? request["query"].get<std::string>() : "";
    for (const char* instance : {"0123456789ab", "0123456789ac"}) {
      if (query.find(instance) != std::string::npos &&
          query.find("edd1ebeac04e5defa017") != std::string::npos) {
        ++pulls[instance];
      }
    }
  }
  EXPECT_EQ(pulls["0123456789ab"], 1) << host.out();

  // Campaigns stored with their blocks; the notifications carry their pictures.
  json campaigns = inspect("campaigns");
  ASSERT_FALSE(campaigns.empty());
  EXPECT_FALSE(campaigns[0]["blocks"].empty());
  bool picture = false;
  for (const std::string& call : shown) {
    picture = picture || call.find("'image-data': <(") != std::string::npos;
  }
  EXPECT_TRUE(picture) << "no notification carried a picture";
  // Shown, the pictures are gone; so is what a crashed run left.
  EXPECT_EQ(picturesLeft(), std::vector<std::string>{".lock"});

  // Everything was uploaded when the host went to the background, and the store emptied.
  EXPECT_TRUE(inspect("events").empty());
  std::multiset<std::string> types;
  bool pullEventWithBeacon = false;
  for (const auto& event : backend.events()) {
    types.insert(event["eventType"].is_string() ? event["eventType"].get<std::string>() : "?");
    if (event["eventType"] == "PULL_NOTIFICATION" && event["campaignId"].is_string() &&
        event["beaconInstance"] == "0123456789ab") {
      pullEventWithBeacon = true;
    }
  }
  EXPECT_TRUE(pullEventWithBeacon) << backend.events().dump();
  EXPECT_EQ(types.count("NEW_INSTALLATION"), 1u);
  EXPECT_EQ(types.count("CAMPAIGN_DETAIL_FROM_PULL_NOTIFICATION"), 1u);
  EXPECT_GE(types.count("APP_CLOSED"), 1u);
}

// The start uploads what an earlier run left, then records its own
// installation and app-started events: the accepted reply must not delete
// those unsent. Across two runs every recorded event reaches the backend once.
TEST_F(HeadlessHostTest, EveryEventArrivesExactlyOnceAcrossRuns) {
  for (const char* run : {"first-", "second-"}) {
    for (int n = 0; n < 25; ++n) {
      ASSERT_EQ(test::runCommand(std::string(VICINIX_HOST_BINARY) +
                                 " record-event --type APP_STARTED --data-dir " + dataDir.string() +
                                 " --campaign-id " + run + std::to_string(n))
                    .exitCode,
                0);
    }
    test::HostProcess host(runArguments({"--duration", "3"}));
    ASSERT_EQ(host.wait(60s), 0) << host.out() << host.err();
    EXPECT_TRUE(inspect("events").empty()) << run;
  }
  std::multiset<std::string> types;
  std::set<std::string> distinct;
  json received = backend.events();
  for (json event : received) {
    types.insert(event["eventType"].get<std::string>());
    event.erase("receivedAt");
    distinct.insert(event.dump());
  }
  EXPECT_EQ(distinct.size(), received.size()) << "nothing arrived twice";
  EXPECT_EQ(types.count("APP_STARTED"), 50u + 2u) << "those left and each run's own";
  EXPECT_EQ(types.count("NEW_INSTALLATION"), 1u);
  EXPECT_EQ(types.count("APP_CLOSED"), 2u);
}

// Under a daily limit of 1, a beacon whose reply holds three campaigns that
// may notify: they are scheduled 50 ms apart, before the first one's picture
// has come and the desktop has answered, and only that one is shown.
TEST_F(HeadlessHostTest, TheDailyLimitHoldsForOneBeaconsBurstOfCampaigns) {
  backend.admin("state",
                {{"application", {{"dailyNotificationLimit", 1}}},
                 {"pullNotifications", json::array({{{"namespace", "edd1ebeac04e5defa017"},
                                                     {"instance", "0123456789ab"},
                                                     {"campaigns", {"c1", "c2", "c5"}}}})}});
  test::HostProcess host(runArguments());
  auto refused = [&host] {
    std::string out = host.out();
    size_t count = 0;
    for (size_t at = out.find("Notification limit reached"); at != std::string::npos;
         at = out.find("Notification limit reached", at + 1)) {
      ++count;
    }
    return count;
  };
  ASSERT_TRUE(host.waitForOutput("Notification limit reached", 60s)) << host.out() << host.err();
  for (int attempt = 0; attempt < 500 && (refused() < 2 || notified().empty()); ++attempt) {
    usleep(20000);
  }
  EXPECT_EQ(refused(), 2u) << host.out();
  host.signal(SIGTERM);
  ASSERT_EQ(host.wait(30s), 0) << host.out() << host.err();
  auto shown = notified();
  ASSERT_EQ(shown.size(), 1u) << host.out();
  EXPECT_NE(shown[0].find("Welcome back!"), std::string::npos) << shown[0];
  EXPECT_EQ(inspect("settings")["VicinixTodaysNotificationCountDefaultsKey"], 1);
}

TEST_F(HeadlessHostTest, TheKillSwitchStopsDetection) {
  backend.admin("state", {{"sdkConfig", {{"requiredIosSdkVersion", 1}}}});
  test::HostProcess host(runArguments({"--duration", "4"}));
  ASSERT_EQ(host.wait(60s), 0) << host.out() << host.err();
  EXPECT_TRUE(requestsFor("sdkFetchPullNotifications").empty()) << host.out();
  EXPECT_EQ(inspect("settings")["VicinixRequiredSDKVersionDefaultsKey"], 1);
  EXPECT_TRUE(notified().empty());
}

// SIGKILL at random moments of replayed runs on one data directory. Every
// event the host committed must reach the backend, some twice when a kill fell
// between the backend's answer and the deletion, and the file stay sound.
TEST_F(HeadlessHostTest, KillsAtRandomMomentsLoseNoEventAndLeaveTheFileSound) {
  const auto file = dataDir / "Library" / "Vicinix" / "Realm" / "vicinix.realm";
  recordEvent();
  {
    // Noted by a trigger in the host's own transaction, which no kill can part.
    SQLite::Database database(file.string(), SQLite::OPEN_READWRITE);
    database.exec(
        "CREATE TABLE committed (type TEXT, timestamp TEXT);"
        "INSERT INTO committed SELECT type, timestamp FROM event;"
        "CREATE TRIGGER note_committed AFTER INSERT ON event BEGIN "
        "INSERT INTO committed VALUES (new.type, new.timestamp); END;");
  }
  auto integrityCheck = [&file] {
    SQLite::Database database(file.string(), SQLite::OPEN_READONLY);
    return database.execAndGet("PRAGMA integrity_check").getString();
  };
  const std::vector<std::string> run{
      "run",        "--app-key",      "demo-app-key", "--endpoint",         backend.endpoint(),
      "--data-dir", dataDir.string(), "--source",     "replay:" + kCapture, "--replay-speed",
      "16"};

  const unsigned seed = std::random_device()();
  std::mt19937 random(seed);
  std::uniform_int_distribution<int> killAfter(0, 2500);  // milliseconds
  int trials = 0, sound = 0;
  for (auto end = std::chrono::steady_clock::now() + 40s;
       trials < 40 && std::chrono::steady_clock::now() < end; ++trials) {
    test::HostProcess host(run);
    std::this_thread::sleep_for(std::chrono::milliseconds(killAfter(random)));
    host.signal(SIGKILL);
    host.wait();
    std::string check = integrityCheck();
    EXPECT_EQ(check, "ok") << "after kill " << trials + 1 << " (seed " << seed << ")";
    sound += check == "ok";
  }
  // A last run, let finish, sends what the kills left behind.
  std::vector<std::string> last = run;
  last.insert(last.end(), {"--duration", "4"});
  test::HostProcess finishing(last);
  ASSERT_EQ(finishing.wait(60s), 0) << finishing.out() << finishing.err();
  EXPECT_EQ(integrityCheck(), "ok");

  std::multiset<std::pair<std::string, std::string>> committed;
  SQLite::Database database(file.string(), SQLite::OPEN_READONLY);
  SQLite::Statement rows(database, "SELECT type, timestamp FROM committed");
  while (rows.executeStep()) committed.emplace(rows.getColumn(0), rows.getColumn(1));
  const size_t recorded = committed.size();
  size_t received = 0, twice = 0;
  for (const auto& event : backend.events()) {
    ++received;
    auto found = committed.find({event["eventType"], event["timestamp"]});
    if (found == committed.end()) {
      ++twice;
    } else {
      committed.erase(found);
    }
  }
  int64_t stored = database.execAndGet("SELECT count(*) FROM event").getInt64();
  std::cout << "kill trials: " << trials << " (seed " << seed << "), integrity_check ok after "
            << sound << "; events recorded " << recorded << ", received " << received << " ("
            << twice << " twice), still stored " << stored << ", lost " << committed.size()
            << std::endl;
  EXPECT_TRUE(committed.empty()) << "recorded but never received";
  EXPECT_EQ(stored, 0);
}

// Today's events must survive yesterday's damage: the host sets the file
// aside, carries on with a fresh one and uploads what it records from then on.
TEST_F(HeadlessHostTest, ADamagedDatabaseIsReplacedAndLaterEventsUploaded) {
  for (test::Damage damage : {test::Damage::eventTable, test::Damage::header}) {
    SCOPED_TRACE(damage == test::Damage::header ? "header" : "event table");
    std::filesystem::remove_all(dataDir);
    backend.admin("reset", json::object());
    for (int n = 0; n < 3; ++n) recordEvent();
    test::damageDatabase(dataDir / "Library" / "Vicinix" / "Realm" / "vicinix.realm", damage);

    test::HostProcess host(runArguments({"--duration", "3"}));
    ASSERT_EQ(host.wait(60s), 0) << host.out() << host.err();
    EXPECT_NE(host.err().find("is corrupt"), std::string::npos) << host.err();
    std::multiset<std::string> types;
    for (const auto& event : backend.events()) types.insert(event["eventType"].get<std::string>());
    EXPECT_EQ(types.count("APP_STARTED"), 1u) << host.out();
    EXPECT_EQ(types.count("APP_CLOSED"), 1u) << host.out();
    EXPECT_TRUE(inspect("events").empty());
  }
}

}  // namespace
}  // namespace vicinix
