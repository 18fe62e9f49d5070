#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

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

template <typename Record>
std::string ids(const std::vector<Record>& records) {
  std::string joined;
  for (const Record& record : records) joined += record.id + " ";
  return joined;
}

class TablesTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_NE(database_, nullptr); }

  void commit(const std::function<void()>& changes) {
    auto error = database_->write(changes);
    ASSERT_FALSE(error) << *error;
  }

  // `full` first goes in bare under its own id, so the update must write every
  // field and keep the row ahead of `bare`.
  template <typename Table, typename Record>
  void expectRoundTrip(const Record& full, const Record& bare) {
    Table table(*database_);
    commit([&] {
      table.addOrUpdate(Record{.id = full.id});
      table.addOrUpdate(bare);
      table.addOrUpdate(full);
    });
    EXPECT_EQ(table.all(), (std::vector{full, bare}));
    EXPECT_EQ(table.find(bare.id), bare);
  }

  FakeSdk env_;
  std::unique_ptr<Database> database_ = Database::open({.fileURL = env_.appData() / "t.db"});
};

TEST_F(TablesTest, EveryRecordRoundTripsAndUpdatesInPlace) {
  expectRoundTrip<BeaconTable>(Beacon{"b1", "ns", "inst", kWhen, kWhen + microseconds(1)},
                               Beacon{.id = "b2", .created = kWhen});
  expectRoundTrip<CampaignTable>(
      Campaign{"c1", "title", "text", "https://x/n.png", "PUSH", "https://x/detail",
               "https://x/l.png", "list title", "list text", false, "inapp", 3600, 5, kWhen,
               kWhen + microseconds(2), kWhen - microseconds(3), 4},
      Campaign{.id = "c2", .created = kWhen});
  expectRoundTrip<BlockTable>(Block{"k1", "IMAGE", 1, "c1"}, Block{.id = "k2"});
  expectRoundTrip<AttributeTable>(Attribute{"a1", "src", "https://x/a.png", 3, "k1"},
                                  Attribute{.id = "a2"});
  EXPECT_EQ(BeaconTable(*database_).find("nope"), std::nullopt);

  const Event full("e1", "PULL_NOTIFICATION", kWhen, "2024-03-01T09:15:02.517+0100", "c1", "ns",
                   "inst", true, true, true, true);
  Event bare{.id = "e2", .type = "APP_STARTED", .created = kWhen};
  commit([&] {
    EventTable(*database_).add(full);
    EventTable(*database_).add(bare);
  });
  EXPECT_EQ(EventTable(*database_).all(), (std::vector{full, bare}));
}

TEST_F(TablesTest, QueriesReturnOnlyTheMatchingRowsInInsertionOrder) {
  BlockTable blocks(*database_);
  AttributeTable attributes(*database_);
  CampaignTable campaigns(*database_);
  BeaconTable beacons(*database_);
  commit([&] {
    for (const Block& block :
         std::vector<Block>{{"x1", "", 1, "c1"}, {"y1", "", 1, "c2"}, {"x2", "", 2, "c1"}, {"z"}})
      blocks.addOrUpdate(block);
    for (const Attribute& attribute : std::vector<Attribute>{
             {"p", "", "", 0, "x2"}, {"q", "", "", 0, "x1"}, {"r", "", "", 1, "x2"}})
      attributes.addOrUpdate(attribute);
    for (auto [id, type] : {std::pair{"a", "PUSH"}, {"b", "LIST"}, {"c", "PUSH"}})
      campaigns.addOrUpdate({.id = id, .type = type});
    for (const Beacon& beacon : std::vector<Beacon>{
             {"1", "ns", "i"}, {"2", "other", "inst"}, {"3", "ns", "inst"}, {"4", "ns", "inst"}})
      beacons.addOrUpdate(beacon);
  });

  EXPECT_EQ(ids(blocks.blocksOf("c1")), "x1 x2 ");
  EXPECT_EQ(ids(blocks.blocksOf("")), "");
  EXPECT_EQ(ids(attributes.attributesOf("x2")), "p r ");
  EXPECT_EQ(ids(campaigns.allWithTypeOtherThan("LIST")), "a c ");
  EXPECT_EQ(beacons.first("ns", "inst").value_or(Beacon{}).id, "3");
  EXPECT_EQ(beacons.first("inst", "ns"), std::nullopt);

  // Nothing cascades: a block's attributes outlive it.
  commit([&] {
    blocks.remove("x2");
    campaigns.remove("b");
  });
  EXPECT_EQ(ids(blocks.all()), "x1 y1 z ");
  EXPECT_EQ(ids(attributes.attributesOf("x2")), "p r ");
  EXPECT_EQ(campaigns.count(), 2);
}

TEST_F(TablesTest, AFailedWriteRollsEverythingBackAndReportsWhy) {
  EventTable events(*database_);
  auto thrown = [&] {
    events.add({.id = "x"});
    throw std::runtime_error("disk on fire");
  };
  EXPECT_EQ(database_->write(thrown), "disk on fire");
  // A duplicate id fails inside SQLite rather than in the lambda.
  EXPECT_THAT(database_->write([&] {
    for (int i = 0; i < 2; ++i) events.add({.id = "y"});
  }),
              testing::Optional(testing::HasSubstr("UNIQUE")));
  EXPECT_FALSE(database_->write([&] { events.add({.id = "later"}); }));
  EXPECT_EQ(ids(events.all()), "later ");
}

TEST_F(TablesTest, AFileFromALaterSchemaIsRefused) {
  ASSERT_NE(Database::open({.fileURL = env_.appData() / "new.db", .schemaVersion = 3}), nullptr);
  EXPECT_EQ(Database::open({.fileURL = env_.appData() / "new.db"}), nullptr);
  EXPECT_NE(Database::open({.fileURL = env_.appData() / "new.db", .schemaVersion = 3}), nullptr);
}

}  // namespace
}  // namespace vicinix
