#include <gtest/gtest.h>

#include "data/model/campaign_table.h"
#include "data/model/event_factory.h"
#include "data/model/event_table.h"
#include "data/model/realm_configurator.h"
#include "platform/fake/fake_sdk.h"

namespace vicinix {
namespace {

TEST(DatabaseConnectionsTest, TwoStoresSeeEachOthersCommits) {
  FakeSdk env;
  EventFactory& factory = EventFactory::shared();
  auto other = Database::open(RealmConfigurator::vicinixConfiguration());
  ASSERT_NE(factory.realm(), nullptr);
  ASSERT_NE(other, nullptr);
  CampaignTable mine(*factory.realm());
  CampaignTable theirs(*other);

  ASSERT_FALSE(other->write([&] { theirs.addOrUpdate({.id = "c", .listTitle = "old"}); }));
  ASSERT_EQ(mine.find("c").value().listTitle, "old");
  // Having read must not pin this connection to the snapshot it read from.
  ASSERT_FALSE(other->write([&] { theirs.addOrUpdate({.id = "c", .listTitle = "new"}); }));
  EXPECT_EQ(mine.all().at(0).listTitle, "new");

  factory.create(EventType::appStarted);
  EXPECT_EQ(EventTable(*other).count(), 1);
  factory.deleteAllEvents();
  EXPECT_EQ(EventTable(*other).count(), 0);
}

}  // namespace
}  // namespace vicinix
