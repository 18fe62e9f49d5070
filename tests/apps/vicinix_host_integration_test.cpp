// vicinix-host as an integrator runs it, against the reference backend.

#include <SQLiteCpp/Database.h>
#include <gtest/gtest.h>
#include <unistd.h>
#include <vicinix/version.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>

#include "support/backend_process.h"
#include "support/damaged_database.h"
#include "support/host_process.h"
#include "support/linux_sdk.h"

namespace vicinix {
namespace {

class VicinixHostTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dataDir = std::filesystem::temp_directory_path() /
              ("vicinix-host-test-" + std::to_string(::getpid()) + "-" +
               ::testing::UnitTest::GetInstance()->current_test_info()->name());
    std::filesystem::remove_all(dataDir);
  }
  void TearDown() override { std::filesystem::remove_all(dataDir); }

  test::CommandResult host(const std::string& arguments) {
    return test::runCommand(std::string(VICINIX_HOST_BINARY) + " " + arguments + " --data-dir " +
                            dataDir.string());
  }

  std::filesystem::path dataDir;
};

TEST_F(VicinixHostTest, ConfigureUploadsStoredEventsAndPrintsTheSettings) {
  test::BackendProcess backend;
  for (int n = 0; n < 3; ++n) ASSERT_EQ(host("record-event --type APP_STARTED").exitCode, 0);
  ASSERT_EQ(host("record-event --type PULL_NOTIFICATION --campaign-id c1 "
                 "--beacon edd1ebeac04e5defa017:0123456789ab")
                .exitCode,
            0);
  auto events = nlohmann::json::parse(host("events").out);
  ASSERT_EQ(events.size(), 4u);
  EXPECT_EQ(events[3]["beaconNamespace"], "edd1ebeac04e5defa017");
  EXPECT_EQ(events[0]["campaignId"], nullptr);

  auto result = host("configure --app-key demo-app-key --endpoint " + backend.endpoint());
  ASSERT_EQ(result.exitCode, 0) << result.err;
  auto settings = nlohmann::json::parse(result.out);
  EXPECT_EQ(settings["VicinixDailyNotificationLimitVersionDefaultsKey"], 5);
  EXPECT_EQ(settings["VicinixNamespacesVersionDefaultsKey"][1], "f7826da6bc5b71e0893e");
  EXPECT_TRUE(settings["VicinixRequiredSdkVersionUpdateDateDefaultsKey"].is_string());
  EXPECT_NE(result.err.find("uploaded 4 events in 1 batch"), std::string::npos) << result.err;
  EXPECT_EQ(backend.events().size(), 4u);
  EXPECT_EQ(nlohmann::json::parse(host("events").out).size(), 0u);

  // The settings file keeps dates to the second, as XML property lists do.
  auto stored = nlohmann::json::parse(host("settings").out);
  EXPECT_EQ(stored.size(), 19u) << "17 stored settings and the facade's two keys";
  const char* dateKey = "VicinixRequiredSdkVersionUpdateDateDefaultsKey";
  EXPECT_EQ(stored[dateKey].get<std::string>().substr(0, 19),
            settings[dateKey].get<std::string>().substr(0, 19));
  stored.erase(dateKey);
  settings.erase(dateKey);
  EXPECT_EQ(stored, settings) << "what configure printed is what was stored";
  EXPECT_EQ(stored["VicinixApplicationKeyDefaultsKey"], "demo-app-key");
}

TEST_F(VicinixHostTest, ConfigureFailsClearlyWhenTheBackendCannotBeUsed) {
  auto unreachable = host("configure --app-key demo-app-key --endpoint http://127.0.0.1:9/graphql");
  EXPECT_NE(unreachable.exitCode, 0);
  EXPECT_NE(unreachable.err.find("error: cannot configure from http://127.0.0.1:9/graphql"),
            std::string::npos)
      << unreachable.err;

  test::BackendProcess backend;
  auto refused = host("configure --app-key wrong-key --endpoint " + backend.endpoint());
  EXPECT_NE(refused.exitCode, 0);
  EXPECT_NE(refused.err.find("Unknown application key"), std::string::npos) << refused.err;
}

// Text that once cost events: a quote in an id made its batch a syntax error,
// which the other batch's acceptance then deleted unsent; bytes that are not
// UTF-8 stopped the inspection commands and could never be uploaded.
TEST_F(VicinixHostTest, OddTextIsSentAsItIsAndNothingIsLost) {
  test::BackendProcess backend;
  std::multiset<std::string> ids{"a\xEF\xBF\xBD"};  // U+FFFD for the byte stored below
  for (int n = 0; n < 24; ++n) {
    std::string id = n == 5 ? R"(say "hi" \ now)" : "c" + std::to_string(n);
    ASSERT_EQ(host("record-event --type APP_STARTED --campaign-id '" + id + "'").exitCode, 0);
    if (n < 23) ids.insert(id);
  }
  auto refused = host(R"sh(record-event --type APP_STARTED --campaign-id "$(printf 'a\377')")sh");
  EXPECT_NE(refused.exitCode, 0);
  EXPECT_NE(refused.err.find("UTF-8"), std::string::npos) << refused.err;
  SQLite::Database((dataDir / "Library/Vicinix/Realm/vicinix.realm").string(),
                   SQLite::OPEN_READWRITE)
      .exec("UPDATE event SET campaign_id = CAST(X'61FF' AS TEXT) WHERE campaign_id = 'c23'");
  EXPECT_EQ(nlohmann::json::parse(host("events").out)[23]["campaignId"], "a\xEF\xBF\xBD");

  auto result = host("configure --app-key demo-app-key --endpoint " + backend.endpoint());
  EXPECT_NE(result.err.find("uploaded 24 events in 2 batches; 0 left"), std::string::npos)
      << result.err;
  std::multiset<std::string> received;
  for (const auto& event : backend.events()) received.insert(event["campaignId"]);
  EXPECT_EQ(received, ids);
}

// A reply that arrives at once but is of no use ends the command at once.
TEST_F(VicinixHostTest, ConfigureEndsWithItsExchanges) {
  test::BackendProcess backend;
  backend.admin("fault", {{"mode", "notJson"}});
  auto start = std::chrono::steady_clock::now();
  EXPECT_NE(host("configure --app-key demo-app-key --endpoint " + backend.endpoint()).exitCode, 0);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
}

TEST_F(VicinixHostTest, FreshInstallationReadsAsDefaults) {
  std::filesystem::create_directories(dataDir);
  auto settings = nlohmann::json::parse(host("settings").out);
  EXPECT_EQ(settings["VicinixRequiredSDKVersionDefaultsKey"], 0);
  EXPECT_EQ(settings["VicinixBluetoothOnDefaultsKey"], false);
  EXPECT_EQ(settings["VicinixNamespacesVersionDefaultsKey"], nlohmann::json::array());
  EXPECT_EQ(settings["VicinixDeviceIDDefaultsKey"], nullptr) << "inspection creates nothing";
  EXPECT_NE(host("record-event --type NOT_A_KIND").exitCode, 0);
}

TEST_F(VicinixHostTest, InspectionTellsAMissingOrUnreadableDatabaseFromAnEmptyOne) {
  const std::vector<std::string> commands{"events", "campaigns", "beacons"};
  std::filesystem::create_directories(dataDir);
  for (const auto& command : commands) {
    auto missing = host(command);
    EXPECT_EQ(missing.exitCode, 5) << command;
    EXPECT_NE(missing.err.find(command + ": error: no database at "), std::string::npos);
  }
  ASSERT_EQ(host("record-event --type APP_STARTED").exitCode, 0);
  EXPECT_EQ(nlohmann::json::parse(host("events").out).size(), 1u);
  auto empty = host("campaigns");
  EXPECT_EQ(empty.exitCode, 0);
  EXPECT_EQ(nlohmann::json::parse(empty.out), nlohmann::json::array());

  const auto realm = dataDir / "Library" / "Vicinix" / "Realm";
  test::damageDatabase(realm / "vicinix.realm", test::Damage::header);
  for (const auto& command : commands) {
    auto unreadable = host(command);
    EXPECT_EQ(unreadable.exitCode, 6) << command;
    EXPECT_NE(unreadable.err.find("unreadable database"), std::string::npos) << unreadable.err;
  }
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(realm), {}), 1)
      << "looking sets nothing aside";
}

TEST_F(VicinixHostTest, RunRefusesACaptureItCannotReadAndASecondHostOnTheDirectory) {
  const std::string run = "run --app-key k --endpoint http://127.0.0.1:9/graphql --source replay:";
  for (std::string capture : {std::string("/nonexistent.btsnoop"),
                              std::string(VICINIX_SOURCE_DIR) + "/backend/data/sample.json"}) {
    auto refused = host(run + capture + " --duration 30");
    EXPECT_EQ(refused.exitCode, 2) << refused.out;
    EXPECT_NE(refused.err.find("run: error: cannot replay " + capture), std::string::npos)
        << refused.err;
  }

  const std::string capture = std::string(VICINIX_SOURCE_DIR) + "/samples/store-entrance.btsnoop";
  test::HostProcess first({"run", "--app-key", "k", "--endpoint", "http://127.0.0.1:9/graphql",
                           "--source", "replay:" + capture, "--duration", "30", "--data-dir",
                           dataDir.string()});
  ASSERT_TRUE(first.waitForOutput("run: starting")) << first.err();
  auto second = host(run + capture + " --duration 30");
  EXPECT_EQ(second.exitCode, 2);
  EXPECT_NE(second.err.find("another vicinix-host (pid " + std::to_string(first.pid()) + ")"),
            std::string::npos)
      << second.err;
}

// The exit-code table across commands, the refusals that come before any work,
// and where the key comes from. Usage errors take the table's code, not the
// argument parser's own.
TEST_F(VicinixHostTest, ExitCodesRefusalsAndTheKeysSources) {
  const std::string binary = VICINIX_HOST_BINARY;
  const std::string dead = " --endpoint http://127.0.0.1:9/graphql";
  struct Case {
    std::string arguments;
    int exitCode;
    std::string message;
  };
  for (const auto& [arguments, exitCode, message] : std::vector<Case>{
           {"--no-such-option", 2, "vicinix-host: error: "},
           {"", 2, "vicinix-host: error: A subcommand is required"},
           {"settings", 5, "settings: error: no data directory " + dataDir.string()},
           {"render list --png x.png", 5, "render: error: no data directory"},
           {"run" + dead, 2, "run: error: no application key"},
           {"run --app-key-file /nonexistent/key" + dead, 2, "cannot read the key file"},
           {"run --app-key k --app-key-file /dev/null" + dead, 2, "excludes"},
           {"run --app-key k --endpoint ''", 2, "is not a URL"},
       }) {
    auto result = host(arguments);
    EXPECT_EQ(result.exitCode, exitCode) << arguments << "\n" << result.err;
    EXPECT_NE(result.err.find(message), std::string::npos) << arguments << "\n" << result.err;
  }
  EXPECT_FALSE(std::filesystem::exists(dataDir)) << "refusing to look created nothing";
  auto version = test::runCommand(binary + " --version");
  EXPECT_EQ(version.exitCode, 0);
  EXPECT_EQ(version.out, "vicinix-host " VICINIX_VERSION_STRING " (backend protocol 1)\n");

  // The file's first line, trimmed, wins over the environment: the backend
  // refuses the environment's key, so a success proves which one was sent.
  test::BackendProcess backend;
  const auto keyFile =
      std::filesystem::temp_directory_path() / ("vicinix-key-" + std::to_string(::getpid()));
  std::ofstream(keyFile) << "  demo-app-key \t\nsecond line\n";
  std::filesystem::permissions(keyFile, std::filesystem::perms(0644));
  auto fromFile = test::runCommand(
      "VICINIX_APP_KEY=wrong-key " + binary + " configure --app-key-file " + keyFile.string() +
      " --endpoint " + backend.endpoint() + " --data-dir " + dataDir.string());
  std::filesystem::remove(keyFile);
  EXPECT_EQ(fromFile.exitCode, 0) << fromFile.err;
  EXPECT_EQ(nlohmann::json::parse(fromFile.out)["VicinixApplicationKeyDefaultsKey"],
            "demo-app-key");
  EXPECT_NE(fromFile.err.find("configure: warning: the key file " + keyFile.string() +
                              " can be read by every user"),
            std::string::npos)
      << fromFile.err;
  auto fromEnvironment =
      test::runCommand("VICINIX_APP_KEY=wrong-key " + binary + " configure --endpoint " +
                       backend.endpoint() + " --data-dir " + dataDir.string());
  EXPECT_EQ(fromEnvironment.exitCode, 3);
  EXPECT_NE(fromEnvironment.err.find("Unknown application key"), std::string::npos);

  // In a service whose output is the journal, each line carries its priority;
  // the SDK's own warnings included. Both streams go to one file, as systemd
  // connects them.
  auto journal = test::runCommand(
      "sh -c 'exec 2>&1; JOURNAL_STREAM=$(stat -L -c %d:%i /dev/stderr) exec \"$0\" \"$@\"' " +
      binary + " run --app-key k --source hci:7 --duration 0.2" + dead + " --data-dir " +
      dataDir.string());
  EXPECT_EQ(journal.exitCode, 0) << journal.out;
  for (const char* line : {"\n<6>run: starting with the key from --app-key against",
                           "\n<4>vicinix: ", "\n<4>run: warning: events not uploaded"})
    EXPECT_NE(("\n" + journal.out).find(line), std::string::npos) << line << "\n" << journal.out;
  auto plain = host("record-event --type NOT_A_KIND");
  EXPECT_EQ(plain.err.rfind("record-event: error: ", 0), 0u) << "no prefix off the journal";
}

}  // namespace
}  // namespace vicinix
