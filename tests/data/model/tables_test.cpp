#include <gtest/gtest.h>

#include "data/model/attribute_table.h"
#include "data/model/beacon_table.h"
#include "data/model/block_table.h"
#include "data/model/campaign_table.h"
#include "data/model/event_table.h"
#include "platform/fake/fake_sdk.h"

namespace vicinix {
namespace {

using std::chrono::microseconds;

// Odd microseconds, so a store that keeps only milliseconds or seconds shows.
const Date kWhen = FakeSdk::defaultStart() + microseconds(123);

class TablesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    database_ = Database::open({.fileURL = env_.appData() / "tables.db"});
    ASSERT_NE(database_, nullptr);
  }

  void commit(const std::function<void()>& changes) {
    auto error = database_->write(changes);
    ASSERT_FALSE(error) << *error;
  }

  FakeSdk env_;
  std::unique_ptr<Database> database_;
};

TEST_F(TablesTest, EveryRecordRoundTripsWithAndWithoutItsOptionals) {
  Beacon beacon{"b1", "ns", "inst", kWhen, kWhen + microseconds(1)};
  Beacon bare{.id = "b2", .namespace_ = "ns2", .instance = "i2", .created = kWhen};
  Campaign campaign{.id = "c1",
                    .notificationTitle = "title",
                    .notificationText = "text",
                    .notificationImagePath = "https://x/n.png",
                    .type = "PUSH",
                    .detailURLPath = "https://x/detail",
                    .listImagePath = "https://x/l.png",
                    .listTitle = "list title",
                    .listText = "list text",
                    .isActive = false,
                    .inAppEvent = "inapp",
                    .cooldown = 3600,
                    .maximumNotificationsPerUser = 5,
                    .created = kWhen,
                    .updated = kWhen + microseconds(2),
                    .notificationSent = kWhen - microseconds(3),
                    .notificationCount = 4};
  Campaign plain{.id = "c2", .created = kWhen};
  Block block{"k1", "IMAGE", 1, "c1"};
  Block orphan{.id = "k2", .type = "TEXT", .sortIndex = 2};
  Attribute attribute{"a1", "src", "https://x/a.png", 0, "k1"};
  Attribute loose{.id = "a2", .key = "alt", .value = ""};
  Event event{.id = "e1",
              .type = "PULL_NOTIFICATION",
              .created = kWhen,
              .timestamp = "2024-03-01T09:15:02.517+0100",
              .campaignId = "c1",
              .beaconNamespace = "ns",
              .beaconInstance = "inst",
              .hasBluetoothTurnedOn = true,
              .hasInternetConnection = true,
              .hasLocationPermission = true,
              .hasNotificationPermission = true};
  Event quiet{.id = "e2", .type = "APP_STARTED", .created = kWhen, .timestamp = "t"};

  commit([&] {
    BeaconTable(*database_).addOrUpdate(beacon);
    BeaconTable(*database_).addOrUpdate(bare);
    CampaignTable(*database_).addOrUpdate(campaign);
    CampaignTable(*database_).addOrUpdate(plain);
    BlockTable(*database_).addOrUpdate(block);
    BlockTable(*database_).addOrUpdate(orphan);
    AttributeTable(*database_).addOrUpdate(attribute);
    AttributeTable(*database_).addOrUpdate(loose);
    EventTable(*database_).add(event);
    EventTable(*database_).add(quiet);
  });

  EXPECT_EQ(BeaconTable(*database_).all(), (std::vector{beacon, bare}));
  EXPECT_EQ(CampaignTable(*database_).all(), (std::vector{campaign, plain}));
  EXPECT_EQ(BlockTable(*database_).all(), (std::vector{block, orphan}));
  EXPECT_EQ(AttributeTable(*database_).all(), (std::vector{attribute, loose}));
  EXPECT_EQ(EventTable(*database_).all(), (std::vector{event, quiet}));
  EXPECT_EQ(CampaignTable(*database_).find("c2"), plain);
  EXPECT_EQ(BlockTable(*database_).find("k2"), orphan);
  EXPECT_EQ(AttributeTable(*database_).find("a1"), attribute);
  EXPECT_EQ(BeaconTable(*database_).find("nope"), std::nullopt);
  EXPECT_TRUE(plain.isActive);
}

TEST_F(TablesTest, AddOrUpdateOverwritesInPlaceAndKeepsTheOrder) {
  CampaignTable campaigns(*database_);
  commit([&] {
    for (const char* id : {"a", "b", "c"}) campaigns.addOrUpdate({.id = id, .type = "PUSH"});
  });
  Campaign changed{.id = "a", .type = "LIST", .isActive = false, .updated = kWhen};
  commit([&] { campaigns.addOrUpdate(changed); });

  auto all = campaigns.all();
  ASSERT_EQ(all.size(), 3u);
  EXPECT_EQ(all[0], changed);
  EXPECT_EQ(all[1].id, "b");
  EXPECT_EQ(all[2].id, "c");
  EXPECT_EQ(campaigns.count(), 3);
  ASSERT_EQ(campaigns.allWithTypeOtherThan("LIST").size(), 2u);
  EXPECT_EQ(campaigns.allWithTypeOtherThan("PUSH"), std::vector{changed});

  commit([&] { campaigns.remove("b"); });
  EXPECT_EQ(campaigns.count(), 2);
  EXPECT_EQ(campaigns.find("b"), std::nullopt);
}

TEST_F(TablesTest, InverseLinksReturnOnlyTheLinkedRowsInInsertionOrder) {
  BlockTable blocks(*database_);
  AttributeTable attributes(*database_);
  commit([&] {
    blocks.addOrUpdate({"x1", "TEXT", 1, "c1"});
    blocks.addOrUpdate({"y1", "TEXT", 1, "c2"});
    blocks.addOrUpdate({"x2", "IMAGE", 2, "c1"});
    blocks.addOrUpdate({"z", "TEXT", 1, std::nullopt});
    blocks.addOrUpdate({"x1", "IMAGE", 1, "c1"});  // an update must not move it to the end
    attributes.addOrUpdate({"p", "k", "v", 0, "x2"});
    attributes.addOrUpdate({"q", "k", "v", 0, "x1"});
    attributes.addOrUpdate({"r", "k", "v", 1, "x2"});
  });

  std::vector<std::string> ids;
  for (const Block& block : blocks.blocksOf("c1")) ids.push_back(block.id);
  EXPECT_EQ(ids, (std::vector<std::string>{"x1", "x2"}));
  EXPECT_EQ(blocks.blocksOf("c1")[0].type, "IMAGE");
  EXPECT_TRUE(blocks.blocksOf("none").empty());

  ids.clear();
  for (const Attribute& attribute : attributes.attributesOf("x2")) ids.push_back(attribute.id);
  EXPECT_EQ(ids, (std::vector<std::string>{"p", "r"}));

  // Nothing cascades: a block's attributes outlive it.
  commit([&] { blocks.remove("x2"); });
  EXPECT_EQ(attributes.attributesOf("x2").size(), 2u);
}

TEST_F(TablesTest, BeaconFirstFindsTheEarliestMatchOnBothParts) {
  BeaconTable beacons(*database_);
  commit([&] {
    beacons.addOrUpdate({.id = "1", .namespace_ = "ns", .instance = "other"});
    beacons.addOrUpdate({.id = "2", .namespace_ = "ns", .instance = "inst"});
    beacons.addOrUpdate({.id = "3", .namespace_ = "ns", .instance = "inst"});
  });
  ASSERT_TRUE(beacons.first("ns", "inst"));
  EXPECT_EQ(beacons.first("ns", "inst")->id, "2");
  EXPECT_EQ(beacons.first("inst", "ns"), std::nullopt);
}

}  // namespace
}  // namespace vicinix
