// The stores on a database file that goes wrong under them: one that cannot
// be opened, one another process holds, one that turns out corrupt.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "data/model/campaign_factory.h"
#include "data/model/campaign_table.h"
#include "data/model/database_handle.h"
#include "data/model/event_factory.h"
#include "data/model/event_table.h"
#include "data/model/realm_configurator.h"
#include "platform/fake/fake_sdk.h"
#include "platform/linux/temporary_directory.h"
#include "support/damaged_database.h"

namespace vicinix {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using namespace std::chrono_literals;

std::vector<std::string> types(const std::vector<Event>& events) {
  std::vector<std::string> list;
  for (const Event& event : events) list.push_back(event.type);
  return list;
}

TEST(DatabaseHandleTest, AFileThatCannotBeOpenedIsTriedAgainAtMostEveryFewSeconds) {
  FakeSdk env;
  const fs::path file = RealmConfigurator::vicinixConfiguration().fileURL;
  fs::create_directory(file);  // in the database's way
  EventFactory& events = EventFactory::shared();
  events.create(EventType::appStarted);
  events.deleteAllEvents();
  EXPECT_EQ(events.unsavedCount(), 1u);

  fs::remove(file);
  env.time->advance(DatabaseHandle::retryInterval - 1s);
  events.create(EventType::appClosed);
  EXPECT_EQ(events.unsavedCount(), 2u) << "tried again too soon";

  env.time->advance(1s);
  auto stored = events.allEvents();
  ASSERT_TRUE(stored);
  EXPECT_THAT(types(*stored), ElementsAre("APP_STARTED", "APP_CLOSED"));
  EXPECT_EQ(events.unsavedCount(), 0u);
  EXPECT_THAT(env.log->systemLines(),
              ElementsAre(HasSubstr("cannot be used"), HasSubstr("usable again")));
}

TEST(DatabaseHandleTest, EventsRecordedWhileAnotherWriterHoldsTheFileAreKept) {
  FakeSdk env;
  auto other = Database::open(RealmConfigurator::vicinixConfiguration());
  ASSERT_NE(other, nullptr);
  other->connection().exec("BEGIN IMMEDIATE");

  EventFactory& events = EventFactory::shared();
  ASSERT_NE(events.realm(), nullptr) << "opening waited for the writer";
  events.realm()->connection().setBusyTimeout(0);  // rather than the usual 5 s
  events.create(EventType::newInstallation);
  events.create(EventType::appStarted);
  EXPECT_EQ(events.unsavedCount(), 2u);

  other->connection().exec("ROLLBACK");
  events.create(EventType::appClosed);
  EXPECT_THAT(types(EventTable(*other).all()),
              ElementsAre("NEW_INSTALLATION", "APP_STARTED", "APP_CLOSED"));
  EXPECT_THAT(env.log->systemLines(),
              ElementsAre(HasSubstr("database is locked"), HasSubstr("usable again")));
}

class DamagedDatabaseTest : public ::testing::TestWithParam<test::Damage> {};

TEST_P(DamagedDatabaseTest, IsSetAsideAndEveryStoreMovesToAFreshOne) {
  testing::TemporaryDirectory appData;
  {
    FakeSdk env(FakeSdk::Options{.appData = appData.path});
    for (int n = 0; n < 40; ++n) EventFactory::shared().create(EventType::appStarted);
    ASSERT_TRUE(CampaignFactory::shared().find("old", true));
  }
  const fs::path directory = appData.path / "Library" / "Vicinix" / "Realm";
  test::damageDatabase(directory / "vicinix.realm", GetParam());

  FakeSdk env(FakeSdk::Options{.appData = appData.path});
  // Opened first: with the damage deeper in, this store's connection is on
  // the old file when another store finds it out.
  CampaignFactory& campaigns = CampaignFactory::shared();
  EventFactory& events = EventFactory::shared();
  events.create(EventType::appClosed);
  EXPECT_EQ(events.unsavedCount(), 0u) << "not written again on the fresh file";
  ASSERT_TRUE(campaigns.find("new", true));

  auto fresh = Database::open(RealmConfigurator::vicinixConfiguration());
  ASSERT_NE(fresh, nullptr);
  EXPECT_THAT(types(EventTable(*fresh).all()), ElementsAre("APP_CLOSED"));
  EXPECT_TRUE(CampaignTable(*fresh).find("new"));
  EXPECT_FALSE(CampaignTable(*fresh).find("old"));
  auto lines = env.log->systemLines();
  ASSERT_THAT(lines, ElementsAre(HasSubstr("is corrupt")));
  std::string kept = lines[0].substr(lines[0].find("kept as ") + 8);
  EXPECT_TRUE(fs::exists(directory / kept.substr(0, kept.find(','))))
      << "the damaged file stays for recovery by hand";
}

INSTANTIATE_TEST_SUITE_P(Damage, DamagedDatabaseTest,
                         ::testing::Values(test::Damage::header, test::Damage::eventTable),
                         [](const auto& info) {
                           return info.param == test::Damage::header ? "Header" : "EventTable";
                         });

}  // namespace
}  // namespace vicinix
